"""The programs of docs/many.md, word for word, but for the port."""
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys

import numpy as np
import pixmill
import pytest
from conftest import check_whole, expected

PAGE = (pathlib.Path(os.environ["PIXMILL_SOURCE"]) / "docs/many.md").read_text()
OPTIONS = ["--set", "light.shadows=0.3"]


def programs(heading, language):
    part = PAGE.split(f"## {heading}\n")[1].split("\n## ")[0]
    return re.findall(rf"```{language}\n(.*?)```", part, re.S)


@pytest.fixture
def photos(pictures, tmp_path):
    os.rename(tmp_path / "in", tmp_path / "photos")
    return [str(tmp_path / "photos" / os.path.basename(name)) for name in pictures]


def run_python(program, folder):
    (folder / "program.py").write_text(program)
    return subprocess.run([sys.executable, "program.py"], cwd=folder, check=True, capture_output=True, text=True).stdout


def test_a_folder_on_one_machine(photos, tmp_path):
    wanted = expected(photos, tmp_path / "wanted", *OPTIONS)
    (shell,), (program,) = (programs("A folder on one machine", language) for language in ("sh", "python"))
    subprocess.run(["bash", "-ec", shell], cwd=tmp_path, check=True)
    report = json.loads((tmp_path / "report.json").read_text())
    assert [picture["state"] for picture in report["pictures"]] == ["done"] * 6
    check_whole(tmp_path / "developed", wanted)
    assert "6 done, 0 before, 0 failed" in run_python(program, tmp_path)
    check_whole(tmp_path / "developed", wanted)


def test_a_folder_on_a_cluster(photos, tmp_path):
    wanted = expected(photos, tmp_path / "wanted")
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    (shell,) = programs("A folder on a cluster", "sh")
    shell = shell.replace("8786", str(port)).replace(f"--port {port}", f"--port {port} --no-dashboard")
    run = subprocess.Popen(["bash", "-ec", shell], cwd=tmp_path, start_new_session=True, stderr=subprocess.DEVNULL)
    try:
        assert run.wait(240) == 0
    finally:
        os.killpg(run.pid, signal.SIGKILL)
    check_whole(tmp_path / "developed", wanted)


def test_one_large_picture(tmp_path):
    picture = np.random.default_rng(2).integers(0, 65536, (900, 700)).astype(np.uint16)
    np.save(tmp_path / "picture.npy", picture)
    (program,) = programs("One gigapixel picture", "python")
    run_python(program.replace("4096", "256"), tmp_path)
    assert np.array_equal(np.load(tmp_path / "result.npy"), pixmill.local_laplacian(picture, levels=6))
