"""Photographs developed by a recipe."""
import json
import pickle

import numpy as np
import pixmill
import pytest
from conftest import same

SCENE = (np.indices((90, 120)).sum(0)[..., None] * [0.9, 1.0, 1.1] + 20).clip(0, 255).astype(np.uint8)
RECIPE = {"light": {"shadows": 0.4}, "detail": {"fine": {"base": {"slope": 0.3}}}}
MASKED = {"locals": [{"mask": {"components": [{"linear": {"from": [0, 0], "to": [1, 0]}}]}, "light": {"shadows": 1}}]}


def test_a_grey_picture_comes_back_from_a_neutral_recipe():
    grey = np.repeat(SCENE[..., :1], 3, 2)
    assert same(pixmill.develop(grey), grey)
    assert same(pixmill.develop(grey.astype(np.uint16) * 257), grey.astype(np.uint16) * 257)


@pytest.mark.parametrize("how", ["Recipe", "dotted", "file", "json"])
def test_a_recipe_may_be_many_things(how, tmp_path):
    wanted = pixmill.develop(SCENE, RECIPE)
    text = json.dumps({"version": 1, **RECIPE})
    (tmp_path / "r.json").write_text(text)
    recipe = pixmill.Recipe()
    recipe["light.shadows"], recipe["detail.fine.base.slope"] = 0.4, 0.3
    given = {"Recipe": recipe, "dotted": {"light.shadows": 0.4, "detail.fine.base.slope": 0.3},
             "file": tmp_path / "r.json", "json": pixmill.Recipe.from_json(text)}[how]
    assert same(pixmill.develop(SCENE, given), wanted) and not same(wanted, SCENE)


def test_orders_and_depths_agree():
    wanted = pixmill.develop(SCENE, RECIPE)
    assert same(pixmill.develop(SCENE[..., ::-1].copy(), RECIPE, order="BGR")[..., ::-1].copy(), wanted)
    four = np.dstack([SCENE, np.full(SCENE.shape[:2], 9, np.uint8)])
    made = pixmill.develop(four, RECIPE)
    assert same(made[..., :3].copy(), wanted) and (made[..., 3] == 255).all()
    words = pixmill.develop(SCENE.astype(np.uint16) * 257, RECIPE)
    assert np.abs(words / 257.0 - wanted).max() <= 0.51


def test_develops_in_place():
    wanted, own = pixmill.develop(SCENE, RECIPE), SCENE.copy()
    assert pixmill.develop(own, RECIPE, out=own) is own and same(own, wanted)


def test_a_view_has_the_bits_of_the_whole():
    developer = pixmill.Developer()
    developer.open(SCENE)
    whole = developer.render_all(RECIPE)
    assert same(whole, pixmill.develop(SCENE, RECIPE))
    assert same(developer.render(RECIPE, (10, 20, 50, 40)), whole[20:60, 10:60].copy())
    out = np.zeros((40, 50, 4), np.uint8)
    developer.render(RECIPE, (10, 20, 50, 40), out=out)
    assert same(out[..., :3].copy(), whole[20:60, 10:60].copy())
    assert developer.size(2) == (60, 45) and developer.render(RECIPE, scale=2).shape == (45, 60, 3)
    assert developer.render_all(RECIPE, 16).dtype == np.uint16


def test_a_mask_selects_where_its_adjustment_counts():
    developer = pixmill.Developer()
    developer.open(SCENE)
    mask = developer.render_mask(MASKED)
    assert mask.shape == (90, 120) and mask[50, 0] > 250 and mask[50, -1] < 5
    changed = np.abs(pixmill.develop(SCENE, MASKED).astype(int) - pixmill.develop(SCENE)).sum(2)
    assert changed[:, :20].mean() > 5 * changed[:, -5:].mean()
    with pytest.raises(pixmill.Error, match="index is 1, wanted below 1"):
        developer.render_mask(MASKED, 1)


def test_a_recipe_keeps_its_members_through_json_copies_and_pickles():
    recipe = pixmill.Recipe()
    for key in ("light.shadows", "color.warmth", "detail.coarse.midtones.slope"):
        recipe[key] = -0.25
        assert recipe[key] == -0.25
    for copy in (pixmill.Recipe.from_json(recipe.to_json()), pickle.loads(pickle.dumps(recipe))):
        assert copy == recipe and copy != pixmill.Recipe()
    with pytest.raises(KeyError):
        recipe["light.shade"]
    assert "light.shadows" in [key for key, *_ in pixmill.recipe_keys()]
