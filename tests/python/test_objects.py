"""Pictures, masks, the engine, curves and tables."""
import numpy as np
import pixmill
import pytest
from conftest import same

RAMP = np.arange(65536, dtype=np.uint16)


def test_a_picture_comes_back_from_its_planes(planes):
    grey = np.repeat(planes.words[..., None], 3, 2)
    picture = pixmill.PlanarPicture.from_packed(grey)
    assert np.abs(picture.to_packed().astype(int) - grey).max() <= 1
    other = pixmill.PlanarPicture.from_planes(*(grey[..., i] for i in range(3)))
    assert same(other.y, picture.y) and same(other.dr, picture.dr)
    parts = pixmill.PlanarPicture.from_ydrdb(picture.y, picture.dr, picture.db)
    assert same(parts.to_packed(), picture.to_packed()) and same(picture.clone().y, picture.y)
    r, g, b = picture.to_planes()
    assert same(np.dstack([b, g, r]), picture.to_packed("BGR"))


@pytest.mark.parametrize("channels, order", [(3, "RGB"), (3, "BGR"), (4, "RGB"), (4, "BGR")])
def test_every_order_gives_the_same_picture(channels, order, planes):
    pixels = planes.colours if order == "RGB" else planes.colours[..., ::-1]
    if channels == 4:
        pixels = np.dstack([pixels, planes.bytes])
    made = pixmill.PlanarPicture.from_packed(pixels, order)
    wanted = pixmill.PlanarPicture.from_packed(planes.colours)
    assert same(made.y, wanted.y) and same(made.db, wanted.db)


def test_strokes_are_painted_and_undone(planes):
    mask = pixmill.DrawMask(pixmill.PlanarPicture.from_packed(planes.colours))
    mask.fill(0)
    empty = mask.render()
    mask.stroke([(100, 80), (110, 80)], 30, 10, opacity=0.5)
    painted = mask.render()
    assert not empty.any() and 100 < painted.max() < 140
    mask.invert()
    assert same(mask.render(), 255 - painted)
    mask.undo(), mask.undo()
    assert same(mask.render(), empty)
    assert mask.region(0, 0, 100, 80).shape == (40, 50)


def test_the_engine_renders_again_what_a_control_touches(planes):
    picture = pixmill.PlanarPicture.from_packed(planes.colours)
    base = pixmill.guided_filter(picture.y)
    fine = ((picture.y.astype(int) - base) // 2 + 32768).astype(np.uint16)
    none = np.full_like(fine, 32768)
    engine = pixmill.DetailEngine()
    assert engine.full_dr is None
    engine.setup(base, fine, none, none, picture.dr, picture.db)
    view = (10, 20, 90, 70)
    first = engine.render(*view)
    engine.set_detail(0, "shadows", slope=0.5)
    second = engine.render(*view)
    engine.set_detail(0, "shadows")
    assert first.shape == (70, 90) and not same(first, second) and same(engine.render(*view), first)
    engine.set_light(brightness=0.3)
    assert engine.render(*view).mean() > first.mean()
    assert engine.full_dr.shape == picture.y.shape


def test_the_engine_keeps_the_planes_that_it_was_given():
    def planes():
        return np.full((60, 80), 30000, np.uint16)

    engine, half = pixmill.DetailEngine(), np.full((30, 40), 32768, np.uint16)
    engine.setup(planes(), planes(), planes(), planes(), half, half)
    junk = [np.zeros((60, 80), np.uint16) for _ in range(50)]
    assert same(engine.render(0, 0, 80, 60), engine.render(0, 0, 80, 60)) and len(junk) == 50


def test_a_look_up_is_an_index(planes):
    table = RAMP[::-1].copy()
    assert same(pixmill.look_up(planes.words, table), table[planes.words])
    for kind in (np.uint8, np.uint16):
        small = (np.arange(256) * 3 % 251).astype(kind)
        assert same(pixmill.look_up(planes.bytes, small), small[planes.bytes])


def test_tables_are_sampled_from_a_mapping(planes):
    table = pixmill.luma_table(lambda y: y)
    assert np.abs(table[16:-16].astype(int) - RAMP[16:-16]).max() <= 8
    with pytest.raises(ZeroDivisionError):
        pixmill.luma_table(lambda y: 1 // 0)
    with pytest.raises(pixmill.Error, match="mapping"):
        pixmill.luma_table(lambda y: y[:5])
    assert same(pixmill.light_curve(planes.words, 0.4), pixmill.look_up(planes.words, pixmill.light_table(0.4)))


@pytest.mark.parametrize("bands", [1, 2, 32])
def test_tables_of_colour_know_the_luma(bands, planes):
    def fade(y, dr, db):
        keep = (y < 32768).astype(int)
        return y, 128 + (dr.astype(int) - 128) * keep, 128 + (db.astype(int) - 128) * keep

    table = pixmill.YDrDbTable(fade, bands)
    chroma = planes.bytes
    y, dr, db = table.apply(planes.words, chroma, chroma)
    dark = planes.words < 30000 if bands > 1 else planes.words < 0 if False else np.ones_like(planes.words, bool)
    bright = planes.words > 36000
    assert np.abs(dr[dark].astype(int) - chroma[dark]).max() <= 1
    assert bands == 1 or (np.abs(db[bright].astype(int) - 128) <= 1).all()
    with pytest.raises(pixmill.Error, match="bands"):
        pixmill.YDrDbTable(fade, 3)


def test_an_identity_colour_table_changes_nothing(planes):
    words = planes.colours.astype(np.uint16) * 257
    table = pixmill.identity_colour_table(17)
    assert table.shape == (17, 17, 17, 3)
    assert np.abs(pixmill.colour_table(words, table).astype(int) - words).max() <= 2
    assert (pixmill.colour_table(words, np.full_like(table, 7)) == 7).all()


def test_colours_are_adjusted(planes):
    picture = pixmill.PlanarPicture.from_packed(planes.colours)
    y = pixmill.halve_size(picture.y, "nearest")
    dr, db = pixmill.ColourAdjustment(saturation=-1).apply(picture.dr, picture.db, y)
    assert np.abs(dr.astype(int) - 32768).max() < 300 and np.abs(db.astype(int) - 32768).max() < 300


def test_a_spline_goes_through_its_points():
    spline = pixmill.Spline([0, 1, 2, 4], [0, 1, 4, 16])
    assert np.allclose(spline([0, 1, 2, 4, 3]), [0, 1, 4, 16, 9], atol=1e-5) and abs(spline(1.5) - 2.25) < 1e-6
    for x in ([0, 1, 1, 2], [0, 1], [[0, 1], [2, 3]], "abcd", [0, 1, float("nan"), 3]):
        with pytest.raises(pixmill.Error):
            pixmill.Spline(x, [0, 1, 2, 3])


def test_planes_change_their_size(planes):
    w = planes.words
    assert same(pixmill.double_size(w)[::2, ::2].copy(), w)
    assert same(pixmill.halve_size(w[:, 1:]), w[::2, 1::2].copy())
    assert pixmill.up_size(w, 3, "linear").shape == (471, 609) and pixmill.down_size(w, 4).shape == (40, 51)
    assert pixmill.guided_up_size(w, pixmill.double_size(w)).shape == (314, 406)
    assert same(pixmill.view(w, 7, 5, 30, 20), w[5:25, 7:37].copy())
    half = pixmill.halve_size(w, "pyramid")
    assert np.abs(pixmill.edge_to_full(pixmill.full_to_edge(w, half), half).astype(int) - w).mean() < 300


def test_planes_are_blended(planes):
    alpha = np.full(planes.bytes.shape, 255, np.uint8)
    other = planes.words[::-1].copy()
    assert np.abs(pixmill.blend_alpha(other, planes.words, alpha).astype(int) - planes.words).max() <= 1
    assert same(pixmill.blend_alpha(other, planes.words, alpha, 0), other)


def test_a_look_is_a_power_for_each_channel_of_what_colour_is_left():
    grid = pixmill.identity_colour_table(17)
    assert same(pixmill.look_table(1, 1, 1, 0), grid)
    left = 0.7 * grid + 0.3 * (grid @ [0.299, 0.587, 0.114])[..., None]
    wanted = (left / 65535) ** [2, 1, 0.5] * 65535
    assert np.abs(pixmill.look_table(2, blue=0.5, grey=0.3) - wanted).max() < 0.51
