"""Tiles of arrays, in numpy and in Dask, against the whole."""
import dask.array
import numpy as np
import pixmill
import pixmill.dask
import pytest

RANDOM = np.random.default_rng(3)
FLOATS = RANDOM.random((317, 229), dtype=np.float32)
WORDS = (FLOATS * 65535).astype(np.uint16)
COLOURS = RANDOM.random((317, 229, 3), dtype=np.float32)

SAME = [
    ("guided_filter", FLOATS, None, {}),
    ("guided_filter", FLOATS, COLOURS, {"radius": 3}),
    ("guided_filter", WORDS, WORDS[:, ::-1].copy(), {"radius": 3}),
    ("local_laplacian", WORDS, None, {"levels": 4}),
    ("local_laplacian", WORDS, None, {}),
    ("box_filter", WORDS, None, {"radius": 4}),
    ("gradient_guide", WORDS, None, {}),
    ("extreme_sharpen", WORDS, None, {"times": 3}),
    ("light_curve", WORDS, None, {"contrast": 0.4}),
]
NEAR = [
    ("recursive_filter", FLOATS, None, {"sigma_s": 4}),
    ("recursive_filter", COLOURS, COLOURS[::-1].copy(), {"sigma_s": 4}),
    ("gaussian_filter", FLOATS, None, {"sigma": 3}),
]


def whole(name, p, guide, parameters):
    return getattr(pixmill, name)(p, *([] if guide is None else [guide]), **parameters)


def in_dask(name, p, guide, parameters, side):
    arrays = [dask.array.from_array(array, chunks=83) for array in (p, guide) if array is not None]
    return pixmill.dask.map_tiles(name, *arrays, side=side, **parameters).compute(scheduler="threads")


@pytest.mark.parametrize(("name", "p", "guide", "parameters"), SAME)
@pytest.mark.parametrize("side", [40, 100, 1000])
def test_tiles_have_the_bits_of_the_whole(name, p, guide, parameters, side):
    wanted = whole(name, p, guide, parameters)
    assert np.array_equal(pixmill.map_tiles(name, p, guide, side=side, **parameters), wanted)
    assert np.array_equal(in_dask(name, p, guide, parameters, side), wanted)


@pytest.mark.parametrize(("name", "p", "guide", "parameters"), NEAR)
def test_recursive_filters_come_within_half_a_step_of_16_bits(name, p, guide, parameters):
    wanted = whole(name, p, guide, parameters)
    for made in (
        pixmill.map_tiles(name, p, guide, side=60, **parameters),
        in_dask(name, p, guide, parameters, 60),
    ):
        assert np.abs(made.astype(np.float64) - wanted).max() < 0.5 / 65535


def test_margin_and_grid_are_rows_and_columns():
    assert pixmill.margin("local_laplacian", levels=4) == (32, 32)
    assert pixmill.grid("local_laplacian", levels=4) == (8, 8)
    assert pixmill.grid(pixmill.guided_filter, radius=8) == (34, 2)
    assert pixmill.margin("local_laplacian", (9000, 500))[0] == 4 * 512


def test_tiles_cover_the_picture_once():
    covered = np.zeros((317, 229), int)
    for own, region, inner in pixmill.tiles("box_filter", covered.shape, side=50):
        covered[own] += 1
        assert np.array_equal(covered[region][inner], covered[own])
    assert (covered == 1).all()


def test_a_file_that_is_mapped_is_filtered_into_another(tmp_path):
    source = np.lib.format.open_memmap(tmp_path / "in.npy", "w+", np.uint16, WORDS.shape)
    source[:] = WORDS
    out = np.lib.format.open_memmap(tmp_path / "out.npy", "w+", np.uint16, WORDS.shape)
    assert pixmill.map_tiles("extreme_sharpen", source, side=64, out=out) is out
    assert np.array_equal(out, pixmill.extreme_sharpen(WORDS))


@pytest.mark.parametrize(
    ("argument", "call"),
    [
        ("filter", lambda: pixmill.margin("glow")),
        ("filter", lambda: pixmill.margin("none")),
        ("filter", lambda: pixmill.margin("box_filter", radius=54)),
        ("shape", lambda: pixmill.margin("local_laplacian")),
        ("radus", lambda: pixmill.grid("box_filter", radus=3)),
        ("radius", lambda: pixmill.grid("box_filter", radius=0)),
        ("side", lambda: pixmill.map_tiles("box_filter", WORDS, side=0)),
        ("out", lambda: pixmill.map_tiles("box_filter", WORDS, out=WORDS)),
        ("out", lambda: pixmill.map_tiles("box_filter", WORDS, out=WORDS[1:].copy())),
        ("filter", lambda: pixmill.dask.map_tiles("bilateral_filter", dask.array.from_array(WORDS))),
    ],
)
def test_what_cannot_be_is_told(argument, call):
    with pytest.raises(pixmill.Error) as error:
        call()
    assert error.value.argument == argument
