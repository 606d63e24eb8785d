"""What cannot be done raises pixmill.Error, which tells call, argument, what was wanted and what was given."""
import pickle

import numpy as np
import pixmill
import pytest

W = np.zeros((8, 8), np.uint16)
B = np.zeros((8, 8), np.uint8)
F = np.zeros((8, 8), np.float32)
C = np.zeros((8, 8, 3), np.uint8)

# call, its argument, what was wanted, what was given
REFUSED = {
    "no array": (lambda: pixmill.guided_filter([1]), "p", "uint8, uint16 or float32 of (H, W)", "list"),
    "a text": (lambda: pixmill.box_filter("p"), "p", "uint8 or uint16 of (H, W)", "'p'"),
    "another type": (lambda: pixmill.glow(W), "p", "float32 of (H, W)", "uint16 of (8, 8)"),
    "other bytes": (lambda: pixmill.box_filter(W.astype(">u2")), "p", "uint8 or uint16 of (H, W)", ">u2 of (8, 8)"),
    "other sides": (lambda: pixmill.glow(F[0]), "p", "float32 of (H, W)", "float32 of (8,)"),
    "no pixels": (lambda: pixmill.glow(F[:0]), "p", "sides of 1 to 2147483647 pixels", "float32 of (0, 8)"),
    "above the range": (lambda: pixmill.guided_filter(W, radius=501), "radius", "whole, 1..500", "501"),
    "not whole": (lambda: pixmill.guided_filter(W, radius=1.5), "radius", "whole, 1..500", "1.5"),
    "not a number": (lambda: pixmill.glow(F, falloff=float("nan")), "falloff", "0.1..1", "nan"),
    "no number": (lambda: pixmill.glow(F, falloff="much"), "falloff", "0.1..1", "'much'"),
    "too large": (lambda: pixmill.glow(F, falloff=10**400), "falloff", "0.1..1", str(10**400)),
    "a guide of another type": (lambda: pixmill.guided_filter(W, B), "guide", "uint16", "uint8"),
    "a guide of another size": (
        lambda: pixmill.guided_filter(W, W[:4]), "guide", "8 rows of 8 pixels", "uint16 of (4, 8)"),
    "out of another type": (lambda: pixmill.glow(F, out=W), "out", "float32 of (8, 8)", "uint16 of (8, 8)"),
    "out of another shape": (
        lambda: pixmill.glow(F, out=F[:4].copy()), "out", "float32 of (8, 8)", "float32 of (4, 8)"),
    "out is no array": (lambda: pixmill.glow(F, out=[]), "out", "float32 of (8, 8)", "list"),
    "out is read-only": (
        lambda: pixmill.glow(F, out=np.broadcast_to(F, F.shape)), "out", "an array that may be written", "read-only"),
    "no callable": (lambda: pixmill.box_filter(B, progress=3), "progress", "a callable or None", "3"),
    "no such word": (
        lambda: pixmill.up_size(W, 2, "best"), "interpolation", "one of 'nearest', 'linear', 'cubic'", "'best'"),
    "a margin too large": (
        lambda: pixmill.extend_border(W, 0, 5, 0, 2), "bottom", "0, or at least top", "2"),
    "an unknown key": (
        lambda: pixmill.develop(C, {"light.shade": 1}), "light.shade", "one that `pixmill recipe keys` lists",
        "an unknown key"),
    "a recipe of another kind": (
        lambda: pixmill.develop(C, 5), "recipe", "a Recipe, a mapping, a path or None", "int"),
    "no photograph": (lambda: pixmill.Developer().render(), "self", "a developer with a photograph", "without"),
    "an empty engine": (
        lambda: pixmill.DetailEngine().render(0, 0, 4, 4), "self", "an engine that is set up", "empty"),
    "a table too short": (
        lambda: pixmill.look_up(B, np.zeros(9, np.uint8)), "table", "256 numbers", "uint8 of (9,)"),
}


@pytest.mark.parametrize("name", REFUSED)
def test_tells_what_was_wanted_and_what_was_given(name):
    work, argument, wanted, given = REFUSED[name]
    with pytest.raises(pixmill.Error) as caught:
        work()
    error = caught.value
    assert error.call and error.argument == argument
    assert (error.wanted, error.given) == (wanted, given)
    assert str(error) == f"{error.call}: {error.argument} is {error.given}, wanted {error.wanted}"


def test_texts_of_the_library_come_as_errors():
    picture = pixmill.PlanarPicture.from_packed(C)
    with pytest.raises(pixmill.Error) as caught:
        pixmill.DrawMask(picture).undo()
    assert (caught.value.call, caught.value.argument) == ("DrawMask.undo", "")
    assert caught.value.given == "Error: TFDrawMask::undo Mask cmd stack is empty!!!"


def test_an_error_is_a_value_error_and_survives_pickling():
    with pytest.raises(ValueError) as caught:
        pixmill.glow(F, falloff=5)
    copy = pickle.loads(pickle.dumps(caught.value))
    assert str(copy) == str(caught.value) == "glow: falloff is 5, wanted 0.1..1"
    assert type(copy) is pixmill.Error


def test_an_unknown_name_is_a_type_error():
    with pytest.raises(TypeError):
        pixmill.glow(F, strength=5)


def test_a_refused_call_writes_nothing():
    out = np.full_like(W, 9)
    with pytest.raises(pixmill.Error):
        pixmill.guided_filter(W, radius=0, out=out)
    assert (out == 9).all()


def test_want_of_memory_is_a_memory_error():
    plane = np.broadcast_to(np.uint16(3), (2**31 - 1, 2**31 - 1))
    with pytest.raises(MemoryError):
        pixmill.box_filter(plane)
