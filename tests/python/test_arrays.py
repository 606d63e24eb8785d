"""Arrays in and out: no copy where rows are dense, equal bits wherever they are not."""
import numpy as np
import pixmill
import pytest
from conftest import same
from filters import CASES

IN_PARTS = {
    "crop": lambda a: np.pad(a, [(9, 9), (9, 9)] + [(0, 0)] * (a.ndim - 2))[9:-9, 9:-9],
    "columns apart": lambda a: np.repeat(a, 2, 1)[:, ::2],
    "rows apart": lambda a: np.repeat(a, 3, 0)[::3],
    "upward": lambda a: a[::-1].copy()[::-1],
    "mirrored": lambda a: a[:, ::-1].copy()[:, ::-1],
    "columns first": lambda a: np.asfortranarray(a),
    "out of line": lambda a: np.frombuffer(b"?" + a.tobytes(), a.dtype, offset=1).reshape(a.shape),
    "read-only": lambda a: np.frombuffer(a.tobytes(), a.dtype).reshape(a.shape),
}


@pytest.mark.parametrize("layout", IN_PARTS)
@pytest.mark.parametrize("name, kind", CASES)
def test_every_layout_gives_the_bits_of_a_dense_array(name, kind, layout, planes):
    dense = getattr(planes, kind)[:60, :45]
    other = IN_PARTS[layout](dense)
    kept = other.copy()
    assert same(getattr(pixmill, name)(other), getattr(pixmill, name)(dense.copy()))
    assert same(other.copy(), kept), "the input has changed"


@pytest.mark.parametrize("layout", [name for name in IN_PARTS if name not in ("out of line", "read-only")])
@pytest.mark.parametrize("name, kind", CASES)
def test_out_of_every_layout_takes_the_result(name, kind, layout, planes):
    p = getattr(planes, kind)[:60, :45].copy()
    out = IN_PARTS[layout](np.zeros_like(p))
    assert getattr(pixmill, name)(p, out=out) is out
    assert same(out.copy(), getattr(pixmill, name)(p))


@pytest.mark.parametrize("shift", [(0, 0), (1, 0), (0, 1), (0, -1)])
@pytest.mark.parametrize("name, kind", CASES)
def test_out_may_lie_anywhere_on_its_input(name, kind, shift, planes):
    picture = getattr(planes, kind)
    big = np.zeros((64, 50) + picture.shape[2:], picture.dtype)
    p = big[2:62, 2:47]
    p[:] = picture[:60, :45]
    wanted = getattr(pixmill, name)(p.copy())
    down, across = shift
    out = big[2 + down : 62 + down, 2 + across : 47 + across]
    getattr(pixmill, name)(p, out=out)
    assert same(out.copy(), wanted)


def memory_of_call(work):
    """The most that numpy asked for at a time."""
    import tracemalloc

    tracemalloc.start()
    before = tracemalloc.get_traced_memory()[0]
    work()
    most = tracemalloc.get_traced_memory()[1] - before
    tracemalloc.stop()
    return most


@pytest.mark.parametrize("name, kind", CASES)
def test_dense_rows_are_not_copied(name, kind, planes):
    p = getattr(planes, kind)[:60, :45]
    out = np.empty_like(p, order="C")
    assert memory_of_call(lambda: getattr(pixmill, name)(p, out=out)) < 2000 < p.nbytes


def test_planes_of_a_picture_share_its_memory_and_outlive_it(planes):
    picture = pixmill.PlanarPicture.from_packed(planes.colours)
    picture.y[:] = 7
    assert (picture.y == 7).all()
    luma = picture.y
    del picture
    assert luma.sum() == 7 * luma.size


def test_an_array_cannot_be_resized_under_a_call(planes):
    p = planes.bytes.copy()
    seen = []

    def progress(share):
        with pytest.raises(ValueError):
            p.resize((1, 1), refcheck=False)
        seen.append(share)

    pixmill.box_filter(p, progress=progress)
    assert seen
    p.resize((1, 1), refcheck=False)


def test_channels_keep_their_shape(planes):
    for shape in [(40, 30, 1), (40, 30, 2), (40, 30, 3), (40, 30, 5)]:
        p = np.random.default_rng(1).random(shape, np.float32)
        assert pixmill.recursive_filter(p).shape == shape
        assert pixmill.recursive_filter(p, planes.floats[:40, :30]).shape == shape
