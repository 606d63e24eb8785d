"""No call from Python ends the process: random hostile arguments, each batch in a child of its own."""
import inspect
import os
import random
import subprocess
import sys

import pytest

BATCHES = int(os.environ.get("PIXMILL_HOSTILE_BATCHES", "6"))
CALLS = int(os.environ.get("PIXMILL_HOSTILE_CALLS", "1000"))
CONSTRUCTORS = {"Spline": "x y", "YDrDbTable": "mapping bands", "DrawMask": "picture", "ColourAdjustment": "warmth tint"}


def odd_arrays(pick):
    """Arrays as no filter wants them, and some that it does."""
    import numpy as np
    from numpy.lib.stride_tricks import as_strided

    kind = pick.choice(["u1", "u2", "f4", "f8", "i2", ">u2", "?", "O", "c8", "S3", "u1", "u2", "f4", "u2", "f4"])
    shape = pick.choice([(), (0,), (5,), (0, 4), (1, 1), (1, 9), (9, 1), (2, 2), (7, 5), (33, 40), (33, 40, 3),
                         (33, 40, 4), (33, 40, 0), (6, 5, 600), (2, 3, 4, 5), (33, 40), (33, 40)])
    array = np.zeros(shape, kind)
    if kind in ("u1", "u2"):
        array = np.random.default_rng(pick.randrange(99)).integers(0, 256, shape).astype(kind)
    elif kind == "f4":
        array = np.random.default_rng(pick.randrange(99)).random(shape, np.float32)
        if array.size and pick.random() < 0.3:
            array.flat[pick.randrange(array.size)] = pick.choice([np.nan, np.inf, -np.inf, 3e38, -1e30, 1e-45])
    if array.ndim >= 2 and array.size:
        array = pick.choice([
            lambda a: a, lambda a: a[::-1], lambda a: a[:, ::-1], lambda a: a[::2], lambda a: a[:, ::2], lambda a: a.T,
            lambda a: np.broadcast_to(a[:1], a.shape), lambda a: np.asfortranarray(a),
            lambda a: as_strided(a, a.shape, (0,) + a.strides[1:]),
            lambda a: as_strided(a, a.shape, (1,) + a.strides[1:]) if a.shape[0] < 4 else a,
            lambda a: a.view(type("Own", (np.ndarray,), {})), lambda a: np.ma.masked_array(a), lambda a: a, lambda a: a,
        ])(array)
    return array


def odd_value(pick, arrays):
    class Bad:
        def __float__(self):
            raise OSError("float")

    return pick.choice([
        lambda: odd_arrays(pick), lambda: odd_arrays(pick), lambda: odd_arrays(pick), lambda: pick.choice(arrays),
        lambda: pick.choice(arrays), lambda: pick.choice([0, 1, 2, 3, 5, 8, 40, -1, 2**31, 2**63, 10**30, True]),
        lambda: pick.choice([0.0, 0.5, -0.5, 1.0, 1e-9, 1e9, float("nan"), float("inf")]),
        lambda: pick.choice(["RGB", "cubic", "base", "", "\0", "x" * 1000, b"bytes"]),
        lambda: pick.choice([None, None, [], (), {}, {"light.shadows": 2}, {"locals": [{"mask": 3}]}, {1: 2}]),
        lambda: [(1, 2), (5, 5)], lambda: (0, 0, 5, 5), lambda: Bad(), lambda: [Bad()] * 4, lambda: ["x"] * 4, lambda: object, lambda: (lambda *a: a[0]),
        lambda: (lambda *a: 1 / 0), lambda: (lambda *a: a),
    ])()


def fitting(pick, name, usual, arrays):
    """A value that an argument of this name may well have."""
    if usual is not inspect.Parameter.empty and usual is not None and pick.random() < 0.7:
        return usual
    words, colours = arrays["words"], arrays["colours"]
    known = {
        "pixels": [colours], "array": [colours], "picture": [arrays["picture"]], "alpha": [arrays["bytes"], 1.2], "y": [words, words, 3], "x": [1, 4, [0, 1, 2, 3]], "width": [20], "height": [10],
        "edge": [arrays["bytes"], 0.5], "table": [arrays["table"], arrays["cube"]], "order": ["RGB", "BGR"],
        "interpolation": ["nearest", "linear", "cubic", "pyramid"], "zone": ["base", "shadows"],
        "progress": [None, lambda share: True], "recipe": [None, {"light.shadows": 0.3}],
        "view": [None, (1, 2, 20, 10)], "points": [[(1, 2), (30, 20)]], "mapping": [lambda *a: a if len(a) > 1 else a[0]],
        "half": [arrays["half"], False], "dr": [arrays["half"], words], "db": [arrays["half"], words],
        "key": ["light.shadows"], "text": ['{"version": 1}'], "path": ["/"], "t": [0.5], "n": [1, 2], "guide": [None],
        "out": [None],
    }
    planes = [words, arrays["bytes"], arrays["floats"]]
    if name in known:
        return pick.choice(known[name] + (planes if name in ("guide", "out") else []))
    if name in ("p", "fine", "medium", "coarse", "r", "g", "b", "below", "above", "full", "extra", "old_y"):
        return pick.choice(planes + [arrays["half"]]) if name == "p" else words
    return pick.choice([0, 1, 1, 2, 3, 16])


def targets(pixmill, arrays):
    """Every function, class and method with the names of its arguments."""
    developer, engine, half = pixmill.Developer(), pixmill.DetailEngine(), arrays["half"]
    developer.open(arrays["colours"])
    engine.setup(*[arrays["words"]] * 4, half, half)
    things = [arrays["picture"], developer, engine, pixmill.DrawMask(arrays["picture"]), pixmill.Recipe(),
              pixmill.Spline(range(4), range(4)), pixmill.ColourAdjustment(), pixmill.YDrDbTable(lambda *a: a),
              pixmill.Developer(), pixmill.DetailEngine()]
    calls = {name: getattr(pixmill, name) for name in pixmill.__all__ if callable(getattr(pixmill, name))}
    for thing in things:
        for name in dir(thing):
            if not name.startswith("_") or name in ("__call__", "__getitem__", "__setitem__"):
                calls[f"{type(thing).__name__}.{name} of {id(thing)}"] = getattr(thing, name)
    for name, call in calls.items():
        if callable(call):
            try:
                yield name, call, inspect.signature(call).parameters
            except ValueError:
                names = CONSTRUCTORS.get(name, "").split()
                yield name, call, {n: inspect.Parameter(n, inspect.Parameter.KEYWORD_ONLY) for n in names}


def arguments(pick, names, arrays):
    """An argument for most names, fitting ones for the most part."""
    share = pick.choice([0, 0.1, 0.4, 1])
    return {
        name: odd_value(pick, [v for v in arrays.values()]) if pick.random() < share else fitting(pick, name, parameter.default, arrays)
        for name, parameter in names.items()
        if name not in ("args", "self") and (parameter.default is parameter.empty or pick.random() < 0.3)
    }


def batch(seed):
    import resource

    import numpy as np
    import pixmill

    resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))
    pick = random.Random(seed)
    arrays = {"bytes": np.full((33, 40), 90, "u1"), "words": np.full((33, 40), 30000, "u2"),
              "floats": np.full((33, 40), 0.5, "f4"), "half": np.full((17, 20), 32768, "u2"),
              "colours": np.full((33, 40, 3), 80, "u1"), "table": np.arange(65536).astype("u2"),
              "cube": pixmill.identity_colour_table(5)}
    arrays["picture"] = pixmill.PlanarPicture.from_packed(arrays["colours"])
    known = list(targets(pixmill, arrays))
    ended = 0
    for _ in range(CALLS):
        name, call, names = pick.choice(known)
        given = arguments(pick, names, arrays)
        try:
            if name in ("set_threads", "ThreadScope"):
                call(pick.choice([1, 2, 8]))
            elif pick.random() < 0.2:
                call(*given.values())
            else:
                call(**given)
            ended += 1
        except (pixmill.Error, pixmill.Cancelled, TypeError, MemoryError, ZeroDivisionError, OSError, KeyError,
                ValueError, IndexError, UnicodeError) as error:
            assert "unknown exception" not in str(error), (name, error)
    print("ended well:", ended)


@pytest.mark.parametrize("seed", range(BATCHES))
def test_no_call_ends_the_process(seed):
    child = subprocess.run([sys.executable, __file__, str(seed)], capture_output=True, text=True, timeout=300)
    assert child.returncode == 0, f"{sys.executable} {__file__} {seed}\n{child.stderr[-3000:]}"
    assert int(child.stdout.split(":")[1]) > CALLS // 8, "hardly a call has come through"


if __name__ == "__main__":
    batch(int(sys.argv[1]))
