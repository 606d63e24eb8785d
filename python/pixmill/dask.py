"""Pictures and tiles on many processes and machines, by Dask. Importing this module imports Dask; pixmill alone does not.

Every task works on one thread, since the processes are many. Workers start by spawn, so a script needs
`if __name__ == "__main__":`.
"""
from __future__ import annotations

import os
import tempfile
import time
import uuid
from collections.abc import Callable, Iterable, Iterator
from contextlib import contextmanager
from typing import Any, NamedTuple

import dask.array as _array
import distributed as _distributed
import numpy as np

from . import ThreadScope
from ._batch import Job, Result, develop_one, finished, settings_of
from ._errors import Error
from ._recipe import as_recipe
from ._tiles import Filter, checked_side, function_of, name_of, needs, rounded_up

__all__ = ["Report", "develop_many", "local_cluster", "map_tiles"]

array: Any = _array  # untyped, both
distributed: Any = _distributed

ENDINGS = {"jpeg": ".jpg", "png": ".png", "tiff": ".tif"}
ASK_EVERY, ANSWERS_WITHIN = 5.0, 30.0  # seconds: whether the scheduler is still the same, and how long that may take
FORMATS = {".jpg": "jpeg", ".jpeg": "jpeg", ".png": "png", ".tif": "tiff", ".tiff": "tiff"}


# Tiles


def chunks_of(length: int, side: int, margin: int, grid: int) -> tuple[int, ...]:
    """Chunks that begin on the grid, none shorter than the margin, which a neighbour must be able to give."""
    step = rounded_up(max(side, margin), grid)
    count = max(length // step, 1)
    rest = length - count * step
    if rest >= max(margin, 1):
        return (step,) * count + (rest,)
    return (step,) * (count - 1) + (length - (count - 1) * step,)


def filter_tile(block: Any, *guide: Any, function: Filter, values: dict[str, Any]) -> Any:
    guides = [np.ascontiguousarray(guide[0] if len(guide) == 1 else np.stack(guide, -1))] if guide else []
    with ThreadScope(1):
        return function_of(function)(np.ascontiguousarray(block), *guides, **values)


def planes_of(p: Any, guide: Any) -> list[Any]:
    """A guide as arrays of as many axes as p has: Dask's blocks are matched by their last axes."""
    if guide is None:
        return []
    if guide.ndim > p.ndim:
        return [guide[..., i] for i in range(guide.shape[-1])]
    if guide.ndim < p.ndim:
        raise Error("map_tiles", "guide", f"{p.ndim} axes, as p has", f"{guide.ndim}")
    return [guide]


def map_tiles(filter: Filter, p: Any, guide: Any = None, *, side: int = 1024, **parameters: Any) -> Any:
    """pixmill's filter on a dask.array, lazily: the bits that it has on the whole picture.

    filter: a filter of pixmill, or its name. p, guide: dask arrays, height and width first; they are cut into chunks
    of `side` pixels or a little more, on the filter's grid. Recursive filters may differ by one step of 16 bits.
    Raises pixmill.Error for a filter that needs the whole picture.
    """
    found = needs("map_tiles", filter, p.shape, guide, parameters)
    checked_side("map_tiles", side)
    cuts = tuple(chunks_of(p.shape[i], side, found.margin[i], found.grid[i]) for i in (0, 1))
    cut: dict[int, Any] = {0: cuts[0], 1: cuts[1], **({2: -1} if p.ndim == 3 else {})}
    planes = [plane.rechunk(cut) for plane in (p, *planes_of(p, guide))]
    depth = {axis: found.margin[axis] if len(cuts[axis]) > 1 else 0 for axis in (0, 1)}
    return array.map_overlap(
        filter_tile,
        *planes,
        depth=depth if p.ndim == 2 else {**depth, 2: 0},
        boundary="none",
        align_arrays=False,
        allow_rechunk=False,
        dtype=p.dtype,
        meta=np.empty((0,) * p.ndim, p.dtype),
        function=name_of(filter),
        values=found.values,
    )


# Batches


class Report(NamedTuple):
    """What became of a batch, in the order of its files."""

    pictures: list[Result]
    seconds: float

    def count(self, state: str) -> int:
        """How many pictures are "done", "before" (there already, of the same picture and recipe) or "failed"."""
        return sum(picture.state == state for picture in self.pictures)

    def __str__(self) -> str:
        counts = ", ".join(f"{self.count(state)} {state}" for state in ("done", "before", "failed"))
        failures = [picture.words for picture in self.pictures if picture.state == "failed"]
        return "\n".join([*failures, f"{counts}, in {self.seconds:.1f} s"])


def target_of(source: str, out: str, format: str | None) -> str:
    stem, ending = os.path.splitext(os.path.basename(source))
    own = FORMATS.get(ending.lower())
    if own is None or (format and format != own):
        ending = ENDINGS[format or "tiff"]
    return os.path.join(out, stem + ending)


def options_of(**options: Any) -> tuple[str, ...]:
    words: list[str] = []
    for name, value in options.items():
        if value is True:
            words.append("--" + name.replace("_", "-"))
        elif value is not None and value is not False:
            words += ["--" + name.replace("_", "-"), str(value)]
    return tuple(words)


def recipe_options(recipe: Any) -> tuple[tuple[str, ...], str | None, str]:
    """How the tool is told the recipe, on its standard input or not, and what it says."""
    if recipe is None:
        return (), None, ""
    if isinstance(recipe, (str, os.PathLike)):
        path = os.path.abspath(recipe)
        as_recipe("develop_many", path)  # a bad one is told before any work
        with open(path, encoding="utf-8") as file:
            return ("--recipe", path), None, file.read()
    text = recipe.to_json() if hasattr(recipe, "to_json") else as_recipe("develop_many", recipe).to_json()
    return ("--recipe", "/dev/stdin"), text, text


def plan(files: list[str], make: Callable[[str], Job]) -> list[Job | Result]:
    """A job for each file that is not done; one whose output is another's, or a picture to be read, fails."""
    sources = {os.path.realpath(file) for file in files}
    planned: list[Job | Result] = []
    taken: dict[str, str] = {}
    for file in files:
        job = make(file)
        place = os.path.realpath(job.target)
        if place in taken:
            words = f"{file}: its output {job.target} is that of {taken[place]} already"
        elif place in sources:
            words = f"{file}: its output {job.target} would take the place of an input"
        else:
            taken[place] = file
            planned.append(Result(file, job.target, "before") if finished(job) else job)
            continue
        planned.append(Result(file, job.target, "failed", words))
    return planned


@contextmanager
def local_cluster(workers: int | None = None) -> Iterator[Any]:
    """A client of worker processes on this machine, one thread each; as many as processors unless told."""
    with tempfile.TemporaryDirectory(prefix="pixmill-dask-") as scratch:
        with distributed.LocalCluster(
            n_workers=workers or len(os.sched_getaffinity(0)),
            threads_per_worker=1,
            processes=True,
            host="127.0.0.1",
            dashboard_address="127.0.0.1:0",
            memory_limit=0,
            local_directory=scratch,
        ) as cluster, distributed.Client(cluster) as client:
            yield client


@contextmanager
def connected(scheduler: str, patience: float) -> Iterator[Any]:
    with distributed.Client(scheduler, timeout=patience) as client:
        yield client


@contextmanager
def borrowed(client: Any) -> Iterator[Any]:
    yield client


def scheduler_of(client: Any) -> Any:
    """The name of the scheduler that answers; one that is restarted has another."""
    return client.sync(client.scheduler.identity, callback_timeout=ANSWERS_WITHIN)["id"]


class Batch:
    """Jobs that are handed to a cluster until every one has a result, also over a scheduler's restart."""

    def __init__(self, planned: list[Job | Result], progress: Callable[[int, int], object] | None) -> None:
        self.results: list[Result | None] = [one if isinstance(one, Result) else None for one in planned]
        self._jobs = planned
        self._progress = progress or (lambda done, total: None)

    def waiting(self) -> list[int]:
        return [i for i, result in enumerate(self.results) if result is None]

    def tell(self) -> None:
        self._progress(len(self.results) - len(self.waiting()), len(self.results))

    def settle(self, i: int, result: Result) -> None:
        self.results[i] = result
        self.tell()

    def fail(self, i: int, words: str) -> None:
        job = self._jobs[i]
        self.settle(i, Result(job.source, job.target, "failed", f"{job.source}: {words}"))

    def hand_over(self, client: Any) -> None:
        """Takes results until there are no more to come; those of a scheduler that was lost do not come.

        Mostly they are cancelled then, but a client that is just connecting again may wait for them without end.
        """
        scheduler, asked = scheduler_of(client), time.monotonic()
        futures = {client.submit(develop_one, self._jobs[i], pure=False): i for i in self.waiting()}
        coming = distributed.as_completed(futures)
        while not coming.is_empty():
            ready = coming.next_batch(block=False)
            for future in ready:
                self.take(futures[future], future)
            if time.monotonic() - asked > ASK_EVERY:
                if scheduler_of(client) != scheduler:
                    return
                asked = time.monotonic()
            if not ready:
                time.sleep(0.02)

    def take(self, i: int, future: Any) -> None:
        if future.status == "finished":
            self.settle(i, Result(*future.result(timeout=ANSWERS_WITHIN)))
        elif future.status == "error":
            failure = future.exception(timeout=ANSWERS_WITHIN)
            killed = isinstance(failure, distributed.KilledWorker)
            self.fail(i, "ends every worker that takes it" if killed else repr(failure))

    def run(self, connect: Callable[[], Any], patience: float) -> None:
        self.tell()
        heard = time.monotonic()
        while self.waiting():
            before = len(self.waiting())
            try:
                with connect() as client:
                    self.hand_over(client)
            except (OSError, TimeoutError, RuntimeError, distributed.CancelledError):
                pass  # the scheduler went away; it may come back
            if len(self.waiting()) < before:
                heard = time.monotonic()
            elif time.monotonic() - heard > patience:
                for i in self.waiting():
                    self.fail(i, "not done, as the scheduler is away")
            else:
                time.sleep(0.2)


def develop_many(
    files: Iterable[str | os.PathLike[str]],
    out: str | os.PathLike[str],
    recipe: Any = None,
    client: Any = None,
    *,
    scheduler: str | None = None,
    workers: int | None = None,
    format: str | None = None,
    depth: int | None = None,
    quality: int | None = None,
    lenient: bool = False,
    max_megapixels: float | None = None,
    force: bool = False,
    tool: str | tuple[str, ...] = "pixmill",
    options: tuple[str, ...] = (),
    progress: Callable[[int, int], object] | None = None,
    patience: float = 60.0,
) -> Report:
    """Develops picture files into the folder `out`, one a task, on worker processes of one thread each.

    files: JPEG, PNG, TIFF, camera raw and what else the command `pixmill` reads, which every worker needs, with the
    same paths. recipe: a Recipe, a mapping, the path of a file, or None for a neutral one. client: a
    distributed.Client; or scheduler: the address of one, "tcp://host:8786", that may be restarted meanwhile for
    `patience` seconds; else `workers` processes on this machine. format ("jpeg", "png", "tiff"), depth (8, 16),
    quality, lenient, max_megapixels, options: as the command's. force: does again what is done.
    progress: called with pictures done and all.

    A picture is written once, and whole or not at all, whichever worker is killed and however often the batch is
    started, one after another or at once. One that fails is told in the report, and the rest goes on.
    """
    begun = time.monotonic()
    folder = os.path.abspath(out)
    if client is not None and scheduler is not None:
        raise Error("develop_many", "scheduler", "None beside a client", repr(scheduler))
    told, text, recipe_words = recipe_options(recipe)
    chosen = options_of(format=format, depth=depth, quality=quality, lenient=lenient, max_megapixels=max_megapixels)
    command = (*((tool,) if isinstance(tool, str) else tool), "develop", "--quiet", "--jobs", "1", "--threads", "1")
    settings = settings_of(recipe_words, chosen, options)
    batch = uuid.uuid4().hex

    def job(file: str) -> Job:
        target = target_of(file, folder, format)
        return Job(file, target, (*command, *chosen, *told, *options), text, settings, batch, force)

    os.makedirs(folder, exist_ok=True)
    work = Batch(plan([os.path.abspath(file) for file in files], job), progress)
    if client is not None:
        work.run(lambda: borrowed(client), patience)
    elif scheduler is not None:
        address = scheduler
        work.run(lambda: connected(address, patience), patience)
    else:
        count = min(workers or len(os.sched_getaffinity(0)), max(len(work.waiting()), 1))
        work.run(lambda: local_cluster(count), patience)
    return Report([result for result in work.results if result is not None], time.monotonic() - begun)
