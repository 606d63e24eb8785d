"""Filters run tile by tile, with the bits of the whole picture."""
from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any, NamedTuple

import numpy as np

from . import _pixmill
from ._errors import Error

Filter = str | Callable[..., Any]
Slices = tuple[slice, slice]


class Needs(NamedTuple):
    """What a filter needs; rows before columns."""

    bits: str  # "same", "near" or "whole"
    margin: tuple[int, int]
    grid: tuple[int, int]
    values: dict[str, Any]  # the parameters as a tile must be given them


class Tile(NamedTuple):
    """What a tile gives, what it reads, and where the first lies in the second."""

    own: Slices
    region: Slices
    inner: Slices


def name_of(filter: Filter) -> str:
    return filter if isinstance(filter, str) else str(getattr(filter, "__name__", filter))


def needs(call: str, filter: Filter, shape: tuple[int, ...] | None, guide: Any, parameters: dict[str, Any]) -> Needs:
    name = name_of(filter)
    entry = _pixmill._entries.get(name)
    if entry is None:
        raise Error(call, "filter", "one of " + ", ".join(_pixmill._entries), repr(filter))
    if entry == "guided" and np.ndim(guide) == 3:
        entry = "guided-by-colour"
    rows, columns = shape[:2] if shape else (0, 0)
    found = Needs(*_pixmill._tiling(call, entry, rows, columns, parameters))
    if found.bits == "whole":
        raise Error(call, "filter", "one that can be run in tiles with these parameters", str(name))
    if not shape and found.values != Needs(*_pixmill._tiling(call, entry, 9999, 9999, parameters)).values:
        raise Error(call, "shape", "the picture's, which these parameters follow", "None")
    return found


def margin(
    filter: Filter, shape: tuple[int, ...] | None = None, *, guide: Any = None, **parameters: Any
) -> tuple[int, int]:
    """Rows and columns that a tile needs on every side that is not the picture's; multiples of `grid`.

    filter: a filter of this module, or its name. shape: the picture's, where one of its parameters follows its size.
    guide, parameters: as the filter is given them. Raises pixmill.Error for a filter that needs the whole picture.
    """
    return needs("margin", filter, shape, guide, parameters).margin


def grid(
    filter: Filter, shape: tuple[int, ...] | None = None, *, guide: Any = None, **parameters: Any
) -> tuple[int, int]:
    """Rows and columns at whose multiples tiles begin.

    filter, shape, guide, parameters: as `margin` takes them.
    """
    return needs("grid", filter, shape, guide, parameters).grid


def rounded_up(value: int, step: int) -> int:
    return -(-value // step) * step


def stretches(length: int, side: int, margin: int) -> Iterator[tuple[slice, slice, slice]]:
    """The same as `tiles`, along one axis."""
    for first in range(0, length, side):
        end = min(first + side, length)
        start = max(first - margin, 0)
        yield slice(first, end), slice(start, min(end + margin, length)), slice(first - start, end - start)


def cut(found: Needs, shape: tuple[int, ...], side: int) -> Iterator[Tile]:
    for down in stretches(shape[0], rounded_up(side, found.grid[0]), found.margin[0]):
        for across in stretches(shape[1], rounded_up(side, found.grid[1]), found.margin[1]):
            yield Tile(*zip(down, across))


def checked_side(call: str, side: Any) -> int:
    if not isinstance(side, int) or side < 1:
        raise Error(call, "side", "a whole number of 1 or more", repr(side))
    return side


def tiles(
    filter: Filter, shape: tuple[int, ...], *, side: int = 1024, guide: Any = None, **parameters: Any
) -> list[Tile]:
    """The tiles that cover a picture of this shape, `side` pixels or a little more each, row by row of tiles.

    Each is (own, region, inner), pairs of slices: result[own] = filter(picture[region])[inner]. filter, guide,
    parameters: as `margin` takes them.
    """
    return list(cut(needs("tiles", filter, shape, guide, parameters), shape, checked_side("tiles", side)))


def function_of(filter: Filter) -> Callable[..., Any]:
    return filter if callable(filter) else getattr(_pixmill, filter)  # type: ignore[no-any-return]


def map_tiles(
    filter: Filter, p: Any, guide: Any = None, *, side: int = 1024, out: Any = None, **parameters: Any
) -> Any:
    """filter(p, guide, **parameters) tile by tile: the same bits, and memory for one tile beside p and the result.

    filter: a filter of this module, or its name. p, guide: anything that numpy slices, also a memory-mapped file.
    side: of a tile, in pixels. parameters: the filter's. out: what takes the result, slice by slice; None: a new array.

    Recursive filters reach without end: theirs may differ by one step of 16 bits. Raises pixmill.Error for a filter that
    needs the whole picture, and all that the filter raises.
    """
    found = needs("map_tiles", filter, np.shape(p), guide, parameters)
    function = function_of(filter)
    result = np.empty(np.shape(p), p.dtype) if out is None else out
    if np.shape(result) != np.shape(p):
        raise Error("map_tiles", "out", f"the shape of p, {np.shape(p)}", str(np.shape(result)))
    if out is not None and np.may_share_memory(out, p):
        raise Error("map_tiles", "out", "an array apart from p", "one that shares its memory")
    for tile in cut(found, np.shape(p), checked_side("map_tiles", side)):
        guides = () if guide is None else (guide[tile.region],)
        result[tile.own] = function(p[tile.region], *guides, **found.values)[tile.inner]
    return result
