"""One picture of a batch, from file to file, as a worker process does it."""
from __future__ import annotations

import fcntl
import glob
import hashlib
import json
import os
import shutil
import socket
import subprocess
import time
from typing import Any, NamedTuple

STAGING = ".pixmill-batch"


class Job(NamedTuple):
    """A picture to be developed. Paths are the same on every machine."""

    source: str
    target: str
    command: tuple[str, ...]  # the tool with its options
    recipe: str | None  # JSON for its standard input
    settings: str  # all that the result depends on beside the source
    batch: str
    force: bool


class Result(NamedTuple):
    """What became of it."""

    source: str
    target: str
    state: str  # "done", "before" (it was there already), "failed"
    words: str = ""
    seconds: float = 0.0
    worker: str = ""


def settings_of(*parts: Any) -> str:
    return hashlib.sha256(repr(parts).encode()).hexdigest()[:32]


def stamp(path: str) -> list[int] | None:
    """Size and time of change; renaming keeps them."""
    try:
        found = os.stat(path)
    except OSError:
        return None
    return [found.st_size, found.st_mtime_ns]


def with_parent(command: tuple[str, ...]) -> tuple[str, ...]:
    """Ends with the worker, also when that is killed."""
    tool = shutil.which("setpriv")
    return (tool, "--pdeathsig", "KILL", *command) if tool else command


def staged_of(target: str) -> str:
    return os.path.join(os.path.dirname(target), STAGING, os.path.basename(target))


def discard(staged: str) -> None:
    """What a run that was killed has left; whoever calls holds the picture's lock."""
    folder, name = os.path.split(staged)
    for path in [staged, *glob.glob(os.path.join(glob.escape(folder), "." + glob.escape(name) + ".*.part"))]:
        try:
            os.remove(path)
        except FileNotFoundError:
            pass


def make(job: Job, staged: str) -> str:
    """Runs the tool; returns its notes. Raises RuntimeError with its words where it fails."""
    command = with_parent((*job.command, job.source, "-o", staged))
    ran = subprocess.run(command, input=job.recipe or "", capture_output=True, text=True, errors="replace", check=False)
    words = " ".join(ran.stderr.split("\n")).strip().replace(staged, job.target)
    if ran.returncode != 0:
        raise RuntimeError(words or f"{job.source}: the tool ended with {ran.returncode}")
    return words


class Record:
    """The picture's file in the staging folder: its lock while one works on it, and what was made of what."""

    def __init__(self, staged: str) -> None:
        os.makedirs(os.path.dirname(staged), exist_ok=True)
        self._file = open(staged + ".json", "a+", encoding="utf-8")
        fcntl.flock(self._file, fcntl.LOCK_EX)  # ends with the process, however that ends

    def __enter__(self) -> Record:
        return self

    def __exit__(self, *_: object) -> None:
        self._file.close()

    def read(self) -> dict[str, Any]:
        self._file.seek(0)
        try:
            found = json.loads(self._file.read())
        except ValueError:
            return {}  # new, or its writer was killed before anything was published
        return found if isinstance(found, dict) else {}

    def write(self, known: dict[str, Any]) -> None:
        self._file.seek(0)
        self._file.truncate()
        self._file.write(json.dumps(known))
        self._file.flush()
        os.fsync(self._file.fileno())


def finished(job: Job) -> bool:
    """Whether the target stands already, as far as this machine can see; nothing is waited for."""
    try:
        with open(staged_of(job.target) + ".json", encoding="utf-8") as file:
            known = json.load(file)
    except (OSError, ValueError):
        return False
    made = stamp(job.target)
    return not job.force and made is not None and known == {**known, "of": made_of(job), "made": made}


def made_of(job: Job) -> list[Any]:
    return [job.settings, stamp(job.source)]


def publish(job: Job, staged: str, record: Record) -> tuple[str, str]:
    """Makes sure that the target is there, whole, and written once. Returns the state and words.

    A record is written when the picture stands complete beside its place, before it takes its name: who finds one
    knows which of both is there.
    """
    known, of = record.read(), made_of(job)
    if known.get("made") and known.get("of") == of and (not job.force or known.get("batch") == job.batch):
        if known["made"] == stamp(staged):
            os.replace(staged, job.target)
        if known["made"] == stamp(job.target):
            return "done" if known.get("batch") == job.batch else "before", ""
    discard(staged)
    words = make(job, staged)
    made = stamp(staged)
    if made is None:
        raise RuntimeError(f"{job.source}: the tool made no picture of it")
    try:
        record.write({"of": of, "made": made, "batch": job.batch})
        os.replace(staged, job.target)
    except OSError:
        discard(staged)
        raise
    return "done", words


def develop_one(job: Job) -> Result:
    """The whole task of a worker; a picture that fails is a result like others."""
    begun = time.monotonic()
    worker = f"{socket.gethostname()}:{os.getpid()}"
    staged = staged_of(job.target)
    try:
        with Record(staged) as record:
            state, words = publish(job, staged, record)
    except (OSError, RuntimeError) as failure:
        state, words = "failed", str(failure)
    return Result(job.source, job.target, state, words, time.monotonic() - begun, worker)
