"""What pixmill raises."""


class Error(ValueError):
    """A call that cannot be done: which call, which argument, what was wanted, what was given.

    `argument` and `wanted` are empty where no argument is to blame; `given` then tells what went wrong.
    """

    def __init__(self, call: str, argument: str = "", wanted: str = "", given: str = "") -> None:
        super().__init__(call, argument, wanted, given)
        self.call = call
        self.argument = argument
        self.wanted = wanted
        self.given = given

    def __str__(self) -> str:
        if not self.argument:
            return f"{self.call}: {self.given}"
        return f"{self.call}: {self.argument} is {self.given}, wanted {self.wanted}"


class Cancelled(Exception):
    """Work that ended because its progress callable answered False."""

    def __init__(self, call: str) -> None:
        super().__init__(call)
        self.call = call

    def __str__(self) -> str:
        return f"{self.call}: cancelled"
