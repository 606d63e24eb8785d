"""Batches on real worker processes, and what may happen to them."""
import os
import signal
import socket
import subprocess
import sys
import threading
import time

import pixmill.dask
import pytest
from pixmill._batch import Job, develop_one

from conftest import MAKE, TOOL, Watch, check_whole, expected

RECIPE = {"light": {"shadows": 0.4}}
OPTIONS = ["--set", "light.shadows=0.4"]


def states(report):
    return [picture.state for picture in report.pictures]


class Started:
    """develop_many on a thread of its own."""

    def __init__(self, *arguments, **options):
        self._thread = threading.Thread(target=self._run, args=(arguments, options))
        self._thread.start()

    def _run(self, arguments, options):
        self.report = pixmill.dask.develop_many(*arguments, **options)

    def result(self):
        self._thread.join(240)
        assert not self._thread.is_alive()
        return self.report


def wait_for(lines, log, seconds=120):
    """Until the log has so many lines."""
    end = time.monotonic() + seconds
    while len(log.read_text().splitlines()) < lines:
        assert time.monotonic() < end
        time.sleep(0.02)


def test_a_killed_worker_and_a_bad_picture_cost_no_other(pictures, slow_tool, tmp_path):
    wanted = expected(pictures, tmp_path / "wanted", *OPTIONS)
    (tmp_path / "bad.jpg").write_bytes(b"")
    tool, log = slow_tool
    out = tmp_path / "out"
    out.mkdir()
    with pixmill.dask.local_cluster(2) as client, Watch(out) as watch:
        batch = Started([*pictures, tmp_path / "bad.jpg"], out, RECIPE, client, tool=tool)
        wait_for(2, log)
        os.kill(int(log.read_text().split()[0]), signal.SIGKILL)  # the worker that began the first picture
        report = batch.result()
    assert states(report) == ["done"] * 6 + ["failed"]
    assert "bad.jpg: is empty" in str(report)
    check_whole(out, wanted)
    assert all(len(seen) == 1 for seen in watch.seen.values())
    assert len(log.read_text().splitlines()) >= 8  # seven pictures, and one begun again


def test_a_picture_that_ends_every_worker_fails_alone(pictures, tmp_path):
    deadly = tmp_path / "deadly"
    deadly.write_text(f'#!/bin/sh\ncase "$*" in *p3.tif*) kill -9 $PPID; sleep 5;; esac\nexec {TOOL} "$@"\n')
    deadly.chmod(0o755)
    report = pixmill.dask.develop_many(pictures[2:5], tmp_path / "out", workers=1, tool=str(deadly))
    assert states(report) == ["done", "failed", "done"]
    assert "ends every worker" in str(report)


def test_a_tool_that_makes_nothing_is_told_each_time(pictures, tmp_path):
    for _ in range(2):
        report = pixmill.dask.develop_many(pictures[:1], tmp_path / "out", workers=1, tool="true")
        assert "the tool made no picture" in str(report)
    assert states(pixmill.dask.develop_many(pictures[:1], tmp_path / "out", workers=1)) == ["done"]


def test_a_picture_that_was_recorded_and_not_yet_renamed_takes_its_name(pictures, tmp_path, monkeypatch):
    """As a worker would leave it that was killed between both."""
    out = tmp_path / "out"
    job = Job(pictures[0], str(out / "p0.tif"), (TOOL, "develop", "--quiet"), None, "settings", "batch", False)
    with monkeypatch.context() as changed:
        changed.setattr(os, "replace", lambda *_: os._exit(9))
        child = os.fork()
        if child == 0:
            develop_one(job)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 9
    staged = out / ".pixmill-batch" / "p0.tif"
    number = staged.stat().st_ino
    assert not (out / "p0.tif").exists()
    assert develop_one(job).state == "done"
    assert (out / "p0.tif").stat().st_ino == number
    assert develop_one(job._replace(batch="another")).state == "before"


class Cluster:
    """A scheduler and a worker as a supervisor would keep them, on a port of this machine."""

    def __init__(self, scratch):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.address = f"tcp://127.0.0.1:{self.port}"
        self._scratch, self._parts = scratch, []

    def start(self):
        self._begin("dask_scheduler", "--host", "127.0.0.1", "--port", str(self.port), "--no-dashboard")
        for _ in range(2):
            self._begin("dask_worker", self.address, "--nthreads", "1", "--no-nanny", "--no-dashboard",
                        "--local-directory", str(self._scratch))

    def _begin(self, module, *arguments):
        command = [sys.executable, "-m", f"distributed.cli.{module}", *arguments]
        self._parts.append(subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))

    def kill(self):
        for part in self._parts:
            part.kill()
            part.wait()
        self._parts = []


@pytest.fixture
def cluster(tmp_path):
    made = Cluster(tmp_path)
    made.start()
    yield made
    made.kill()


def test_a_scheduler_that_is_restarted_loses_nothing(pictures, slow_tool, cluster, tmp_path):
    wanted = expected(pictures, tmp_path / "wanted", *OPTIONS)
    tool, log = slow_tool
    out = tmp_path / "out"
    out.mkdir()
    with Watch(out) as watch:
        batch = Started(pictures, out, RECIPE, scheduler=cluster.address, tool=tool, patience=120)
        wait_for(3, log)
        cluster.kill()
        cluster.start()
        report = batch.result()
    assert states(report) == ["done"] * 6
    check_whole(out, wanted)
    assert all(len(seen) == 1 for seen in watch.seen.values())


def test_results_that_a_lost_scheduler_owes_are_not_waited_for(pictures, slow_tool, tmp_path, monkeypatch):
    """As where the client takes jobs while it connects to another scheduler, and forgets them."""
    tool, log = slow_tool
    names = iter(["before", "after"])
    monkeypatch.setattr(pixmill.dask, "ASK_EVERY", 0.1)
    monkeypatch.setattr(pixmill.dask, "scheduler_of", lambda client: next(names, "after"))
    with pixmill.dask.local_cluster(1) as client:
        submit, lost = client.submit, []

        def forgets(*arguments, **options):
            if len(lost) == 2:
                return submit(*arguments, **options)
            lost.append(pixmill.dask.distributed.Future(f"forgotten-{len(lost)}", client, inform=False))
            return lost[-1]

        monkeypatch.setattr(client, "submit", forgets)
        report = Started(pictures[:2], tmp_path / "out", RECIPE, client, tool=tool).result()
    assert len(lost) == 2
    assert states(report) == ["done"] * 2
    assert len(log.read_text().splitlines()) == 2


def test_a_scheduler_that_stays_away_is_told(pictures, tmp_path):
    report = pixmill.dask.develop_many(pictures[:2], tmp_path / "out", scheduler="tcp://127.0.0.1:1", patience=1)
    assert states(report) == ["failed"] * 2
    assert "the scheduler is away" in str(report)


def run_batch(*arguments, limit=None):
    """`pixmill batch` from the shell; `limit`: the largest file it may write, in KiB."""
    command = [TOOL, "batch", *map(str, arguments)]
    if limit:
        command = ["bash", "-c", f'ulimit -f {limit}; exec "$@"', "-", *command]
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def test_the_same_batch_started_twice_at_once_writes_each_picture_once(pictures, slow_tool, tmp_path):
    wanted = expected(pictures, tmp_path / "wanted", *OPTIONS)
    tool, log = slow_tool
    out = tmp_path / "out"
    out.mkdir()
    with Watch(out) as watch:
        batches = [Started(pictures, out, RECIPE, workers=2, tool=tool) for _ in range(2)]
        reports = [batch.result() for batch in batches]
    for pair in zip(*map(states, reports)):
        assert sorted(pair) == ["before", "done"]
    check_whole(out, wanted)
    assert all(len(seen) == 1 for seen in watch.seen.values())
    assert len(log.read_text().splitlines()) == 6


def test_a_full_disk_fails_what_does_not_fit(pictures, tmp_path):
    large = tmp_path / "large.png"
    subprocess.run([MAKE, "1500", "1500", large], check=True)
    wanted = expected(pictures, tmp_path / "wanted")
    out = tmp_path / "out"
    run = run_batch(*pictures, large, "-o", out, "--workers", 2, limit=2000)
    words = run.communicate(timeout=240)[1]
    assert run.returncode == 1
    assert "large.png: cannot be written: File too large" in words
    assert "6 done, 0 before, 1 failed" in words
    check_whole(out, wanted)


def test_a_second_run_leaves_what_is_done_and_mends_what_is_not(pictures, tmp_path):
    out = tmp_path / "out"
    command = [*pictures, "-o", out, "--workers", 1, "--set", "color.warmth=0.2"]

    def words(*more):
        run = run_batch(*command, *more)
        told = run.communicate(timeout=240)[1]
        assert run.returncode == 0, told
        return told

    assert "6 done, 0 before" in words()
    assert "0 done, 6 before" in words()
    (out / "p2.tif").unlink()
    with open(out / "p4.tif", "ab") as file:
        file.write(b"more")
    os.utime(pictures[5])
    assert "3 done, 3 before" in words()
    assert "6 done, 0 before" in words("--set", "color.tint=0.1")
    assert "6 done, 0 before" in words("--set", "color.tint=0.1", "--force")


def test_outputs_that_meet_are_refused(pictures, tmp_path):
    other = tmp_path / "other"
    other.mkdir()
    twin = other / "p0.tif"
    twin.write_bytes(b"x")
    report = pixmill.dask.develop_many([pictures[0], twin], os.path.dirname(pictures[0]), workers=1)
    assert states(report) == ["failed"] * 2
    assert "would take the place of an input" in str(report)
    report = pixmill.dask.develop_many([pictures[0], twin], tmp_path / "out", workers=1)
    assert states(report) == ["done", "failed"]
    assert "is that of" in str(report)
