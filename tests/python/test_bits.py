"""The package gives the bits of the C++ libraries."""
import os
import subprocess

import numpy as np
import pixmill
import pytest
from conftest import Planes, same

RECIPE = {"light": {"shadows": 0.3}, "color.warmth": 0.1}
CASES = {
    "recursive_filter": lambda p: pixmill.recursive_filter(p.floats, sigma_s=30, sigma_r=0.4),
    "convolution_filter": lambda p: pixmill.convolution_filter(p.floats, 9, 0.2),
    "interpolated_filter": lambda p: pixmill.interpolated_filter(p.floats, 9, 0.2),
    "guided_filter": lambda p: pixmill.guided_filter(p.floats, p.guide, radius=5, eps=0.002),
    "guided_words": lambda p: pixmill.guided_filter(p.words),
    "bilateral_filter": lambda p: pixmill.bilateral_filter(p.words, cell=6, range=5000),
    "local_laplacian": lambda p: pixmill.local_laplacian(p.words, sigma=-0.2, references=16, levels=4),
    "gaussian_filter": lambda p: pixmill.gaussian_filter(p.floats, sigma=4),
    "box_filter": lambda p: pixmill.box_filter(p.bytes, 7, 2),
    "extreme_sharpen": lambda p: pixmill.extreme_sharpen(p.words),
    "light_curve": lambda p: pixmill.light_curve(p.words, 0.3, -0.2, shadows=0.5, blacks=0.1),
    "finest_detail": lambda p: pixmill.finest_detail(p.words, sigma_s=4, strength=3),
    "compact": lambda p: pixmill.compact(p.colours, 0.7),
    "double_size": lambda p: pixmill.double_size(p.words),
    "view": lambda p: pixmill.view(p.words, 5, 9, 30, 20, 3, smooth=True),
    "to_display": lambda p: pixmill.PlanarPicture.from_packed(p.colours).to_display(),
    "develop": lambda p: pixmill.develop(p.colours, RECIPE),
}


@pytest.fixture(scope="module")
def folder(planes, tmp_path_factory):
    path = tmp_path_factory.mktemp("bits")
    for name, plane in vars(planes).items():
        plane.tofile(path / name)
    rows, cols = planes.words.shape
    subprocess.run([os.environ["PIXMILL_BITS"], path, str(rows), str(cols)], check=True)
    return path


@pytest.mark.parametrize("name", CASES)
def test_gives_the_bits_of_cpp(name, planes, folder):
    made = CASES[name](planes)
    assert made.tobytes() == (folder / f"{name}.out").read_bytes()


@pytest.mark.parametrize("name", CASES)
def test_gives_the_same_bits_for_every_number_of_threads(name, planes):
    with pixmill.ThreadScope(1):
        alone = CASES[name](planes)
    with pixmill.ThreadScope(3):
        assert same(CASES[name](planes), alone)
