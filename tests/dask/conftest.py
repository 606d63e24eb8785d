"""What the tests share: pictures in files, a tool that takes its time, and who watches its outputs."""
import os
import pathlib
import subprocess
import threading
import time

import pytest

TOOL = os.environ["PIXMILL_TOOL"]
MAKE = os.environ["PIXMILL_MAKE"]


@pytest.fixture
def pictures(tmp_path):
    """Six pictures of different sizes, in a folder of their own."""
    folder = tmp_path / "in"
    folder.mkdir()
    names = [str(folder / f"p{i}.tif") for i in range(6)]
    for i, name in enumerate(names):
        subprocess.run([MAKE, str(300 + 20 * i), "200", name], check=True)
    return names


@pytest.fixture
def slow_tool(tmp_path):
    """The tool, half a second late, and telling the log which picture it begins."""
    log = tmp_path / "log"
    log.touch()
    script = tmp_path / "slow"
    script.write_text(f'#!/bin/sh\necho "$PPID $*" >>{log}\nsleep 0.5\nexec {TOOL} "$@"\n')
    script.chmod(0o755)
    script_and_log = str(script), log
    return script_and_log


class Watch:
    """Sees every file that takes the name of an output, by its number and its time."""

    def __init__(self, folder) -> None:
        self.seen: dict[str, set] = {}
        self._folder, self._ended = pathlib.Path(folder), threading.Event()
        self._thread = threading.Thread(target=self._look)

    def _look(self) -> None:
        while not self._ended.wait(0.002):
            for path in self._folder.glob("[!.]*"):
                found = path.stat()
                self.seen.setdefault(path.name, set()).add((found.st_ino, found.st_mtime_ns, found.st_size))

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_) -> None:
        time.sleep(0.05)
        self._ended.set()
        self._thread.join()


def expected(pictures, folder, *options):
    """The bytes that the command makes of each picture, by name."""
    folder.mkdir()
    made = {}
    for picture in pictures:
        target = folder / os.path.basename(picture)
        subprocess.run([TOOL, "develop", "--quiet", picture, "-o", target, *options], check=True)
        made[target.name] = target.read_bytes()
    return made


def check_whole(folder, wanted):
    """Every picture is there with its bytes, and nothing half made."""
    folder = pathlib.Path(folder)
    assert {path.name: path.read_bytes() for path in folder.glob("[!.]*")} == wanted
    left = [path.name for path in (folder / ".pixmill-batch").iterdir() if not path.name.endswith(".json")]
    assert left == []
