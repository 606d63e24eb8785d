"""Texts, types and the table that all of it comes from agree."""
import inspect
import pathlib
import subprocess
import sys

import numpy as np
import pixmill
import pytest

PACKAGE = pathlib.Path(pixmill.__file__).parent
# What a class of the compiled module has and its description has not: the metaclass, and a default constructor's arguments.
ALLOWED = r"""
pixmill\._pixmill\.[A-Z]\w+
pixmill\._pixmill\.PlanarPicture\.__init__
"""
PLANES = """
import numpy as np
import pixmill
from numpy.typing import NDArray

luma: NDArray[np.float32] = np.zeros((4, 4), np.float32)
words: NDArray[np.uint16] = np.zeros((4, 4), np.uint16)
"""
SAMPLE = PLANES + """
smooth: NDArray[np.float32] = pixmill.guided_filter(luma, luma, radius=8, eps=0.002)
same: NDArray[np.uint16] = pixmill.box_filter(words, progress=lambda share: share < 1, out=words)
packed: NDArray[np.uint8] = pixmill.develop(np.zeros((4, 4, 3), np.uint8), {"light.shadows": 0.3})
try:
    pixmill.glow(luma, falloff=0.5)
except pixmill.Error as error:
    print(error.argument, error.wanted)
"""
WRONG = {
    "another type": "pixmill.glow(words)",
    "two types": "pixmill.guided_filter(words, luma)",
    "a text": "pixmill.guided_filter(words, radius='8')",
    "no such word": "pixmill.up_size(words, 2, 'best')",
}


@pytest.fixture(scope="module")
def cache(tmp_path_factory):
    return f"--cache-dir={tmp_path_factory.mktemp('cache')}"


def mypy(*arguments):
    return subprocess.run([sys.executable, "-m", *arguments], capture_output=True, text=True,
                          env={"PYTHONPATH": str(PACKAGE.parent), "MYPYPATH": str(PACKAGE.parent)}, cwd="/")


def test_the_package_passes_mypy_in_strict_mode(cache):
    made = mypy("mypy", "--strict", cache, "-p", "pixmill")
    assert made.returncode == 0, made.stdout


def test_a_program_passes_mypy_and_wrong_calls_do_not(cache, tmp_path):
    (tmp_path / "sample.py").write_text(SAMPLE)
    for i, call in enumerate(WRONG.values()):
        (tmp_path / f"wrong{i}.py").write_text(PLANES + call + "\n")
    made = mypy("mypy", "--strict", cache, *map(str, sorted(tmp_path.glob("*.py"))))
    for i, name in enumerate(WRONG):
        assert f"wrong{i}.py" in made.stdout, name
    assert "sample.py" not in made.stdout, made.stdout


def test_the_types_describe_the_module(tmp_path):
    (tmp_path / "allowed").write_text(ALLOWED)
    made = mypy("mypy.stubtest", "pixmill._pixmill", "--allowlist", str(tmp_path / "allowed"))
    assert made.returncode == 0, made.stdout


@pytest.mark.parametrize("name", [name for name in pixmill.__all__ if not name.startswith("_")])
def test_every_text_tells_what_the_call_takes(name):
    thing = getattr(pixmill, name)
    text = inspect.getdoc(thing)
    assert text and "." in text
    if inspect.isbuiltin(thing):
        for argument in inspect.signature(thing).parameters:
            assert argument in text, f"{name} does not tell of {argument}"


FILTERS = {
    "recursive": "recursive_filter", "convolution": "convolution_filter", "interpolated": "interpolated_filter",
    "guided": "guided_filter", "bilateral": "bilateral_filter", "gradient-guide": "gradient_guide",
    "local-laplacian": "local_laplacian", "gaussian": "gaussian_filter", "box": "box_filter", "glow": "glow",
    "sharpen": "extreme_sharpen", "least-squares": "least_squares", "light": "light_curve", "light ": "light_table",
    "finest-detail": "finest_detail", "compact": "compact", "table": "look_table",
}


@pytest.mark.parametrize("entry, name", FILTERS.items())
def test_ranges_and_usual_values_are_the_commands(entry, name):
    call = getattr(pixmill, name)
    parameters = next(p for known, _, p in pixmill.filter_table() if known == entry.strip())
    told = inspect.signature(call).parameters
    words = inspect.getdoc(call)
    for key, (least, most, usual, _) in parameters.items():
        assert told[key].default == usual and type(told[key].default) is type(usual)
        assert name == "light_table" or f"{least:g}..{most:g}" in words
    for kind in ("f4", "u2", "u1"):
        for key, (least, most, _, _) in parameters.items():
            for value in (least - 1, most + 1):
                with pytest.raises(pixmill.Error):
                    if name.endswith("_table"):
                        call(**{key: value})
                    else:
                        call(np.zeros((9, 9), kind), **{key: value})
