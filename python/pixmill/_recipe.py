"""Recipes from what a notebook has at hand."""
import json
import os
import re
from collections.abc import Mapping
from typing import Any

from ._errors import Error


def as_recipe(call: str, given: Any) -> Any:
    """A Recipe from None, a mapping, nested or with dotted keys, or the path of a file."""
    from ._pixmill import Recipe

    if given is None:
        return Recipe()
    if isinstance(given, (str, os.PathLike)):
        return Recipe.load(given)
    if not isinstance(given, Mapping):
        raise Error(call, "recipe", "a Recipe, a mapping, a path or None", type(given).__name__)
    recipe = Recipe.from_json(json.dumps({"version": 1, **{k: v for k, v in given.items() if "." not in str(k)}}))
    for key, value in given.items():
        if "." in str(key):
            recipe[key] = value
    return recipe


def member(tree: Any, key: str) -> Any:
    """The part of a recipe's JSON at "locals[0].light.shadows"."""
    for name in re.findall(r"[^.\[\]]+", key):
        try:
            tree = tree[int(name)] if isinstance(tree, list) else tree[name]
        except (LookupError, TypeError, ValueError):
            raise KeyError(key) from None
    return tree
