from collections.abc import Callable, Mapping, Sequence
from os import PathLike
from typing import Any, Literal, TypeVar, final

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._errors import Cancelled as Cancelled, Error as Error

_Byte = NDArray[np.uint8]
_Word = NDArray[np.uint16]
_Float = NDArray[np.float32]
_T = TypeVar("_T", np.uint8, np.uint16, np.float32)
_Integer = TypeVar("_Integer", np.uint8, np.uint16)
_Entry = TypeVar("_Entry", np.uint8, np.uint16)
_Progress = Callable[[float], object]
_RecipeLike = Recipe | Mapping[str, Any] | str | PathLike[str] | None
_Order = Literal["RGB", "BGR"]
_Interpolation = Literal["nearest", "linear", "cubic"]
_Step = Literal["nearest", "linear", "cubic", "pyramid"]

__version__: str

def set_threads(n: int) -> None: ...
def threads() -> int: ...
def filter_table() -> list[tuple[str, str, dict[str, tuple[float, float, float, str]]]]: ...
_entries: dict[str, str]

def _tiling(
    call: str, filter: str, rows: int, columns: int, told: dict[str, Any]
) -> tuple[str, tuple[int, int], tuple[int, int], dict[str, Any]]: ...
def recipe_keys() -> list[tuple[str, str, str, str, str]]: ...
@final
class ThreadScope:
    def __init__(self, n: int) -> None: ...
    def __enter__(self) -> ThreadScope: ...
    def __exit__(self, *args: object) -> None: ...

# Filters

def recursive_filter(
    p: _Float, guide: _Float | None = None, sigma_s: float = 40.0, sigma_r: float = 0.4, *, out: _Float | None = None
) -> _Float: ...
def convolution_filter(
    p: _Float, sigma_s: float = 40.0, sigma_r: float = 0.4, *, out: _Float | None = None
) -> _Float: ...
def interpolated_filter(
    p: _Float, sigma_s: float = 40.0, sigma_r: float = 0.4, *, out: _Float | None = None
) -> _Float: ...
def guided_filter(
    p: NDArray[_T],
    guide: NDArray[_T] | None = None,
    radius: int = 8,
    eps: float = 0.01,
    *,
    out: NDArray[_T] | None = None,
) -> NDArray[_T]: ...
def bilateral_filter(
    p: NDArray[_Integer],
    guide: _Byte | _Word | None = None,
    cell: int = 8,
    range: int = 6000,
    *,
    out: NDArray[_Integer] | None = None,
    progress: _Progress | None = None,
) -> NDArray[_Integer]: ...
def gradient_guide(
    p: NDArray[_Integer],
    guide: NDArray[_Integer] | None = None,
    blur: int = 3,
    radius: int = 3,
    *,
    out: NDArray[_Integer] | None = None,
) -> NDArray[_Integer]: ...
def local_laplacian(
    p: _Word,
    sigma: float = -0.3,
    smooth: float = 0.3,
    references: int = 16,
    levels: int = 0,
    *,
    out: _Word | None = None,
) -> _Word: ...
def gaussian_filter(p: _Float, sigma: float = 5.0, steps: int = 3, *, out: _Float | None = None) -> _Float: ...
def box_filter(
    p: NDArray[_Integer],
    radius: int = 5,
    passes: int = 3,
    *,
    out: NDArray[_Integer] | None = None,
    progress: _Progress | None = None,
) -> NDArray[_Integer]: ...
def glow(p: _Float, falloff: float = 0.8, *, out: _Float | None = None) -> _Float: ...
def extreme_sharpen(p: _Word, times: int = 1, *, out: _Word | None = None) -> _Word: ...
def least_squares(
    p: _Float, guide: _Float | None = None, lambda_: float = 0.5, alpha: float = 1.2, *, out: _Float | None = None
) -> _Float: ...
def light_curve(
    p: _Word,
    brightness: float = 0.0,
    contrast: float = 0.0,
    highlights: float = 0.0,
    shadows: float = 0.0,
    whites: float = 0.0,
    blacks: float = 0.0,
    *,
    out: _Word | None = None,
) -> _Word: ...
def finest_detail(
    p: _Word, sigma_s: float = 10.0, sigma_r: float = 0.3, strength: float = 2.0, *, out: _Word | None = None
) -> _Word: ...
def compact(p: NDArray[_Integer], power: float = 0.8, *, out: NDArray[_Integer] | None = None) -> NDArray[_Integer]: ...

# Change of size, blends, borders, views, the edge plane

def up_size(
    p: NDArray[_T], factor: int, interpolation: _Interpolation = "cubic", *, out: NDArray[_T] | None = None
) -> NDArray[_T]: ...
def down_size(
    p: NDArray[_T], factor: int, interpolation: _Interpolation = "cubic", *, out: NDArray[_T] | None = None
) -> NDArray[_T]: ...
def double_size(
    p: NDArray[_T], interpolation: _Step = "cubic", *, out: NDArray[_T] | None = None
) -> NDArray[_T]: ...
def halve_size(p: NDArray[_T], interpolation: _Step = "cubic", *, out: NDArray[_T] | None = None) -> NDArray[_T]: ...
def guided_up_size(
    p: _Byte | _Word, guide: NDArray[_Integer], *, out: NDArray[_Integer] | None = None
) -> NDArray[_Integer]: ...
def blend_alpha(
    below: NDArray[_T],
    above: NDArray[_T],
    alpha: _Byte,
    opacity: float = 1.0,
    *,
    out: NDArray[_T] | None = None,
) -> NDArray[_T]: ...
def extend_border(
    p: NDArray[_T], left: int, top: int, right: int, bottom: int, *, out: NDArray[_T] | None = None
) -> NDArray[_T]: ...
def view(
    p: NDArray[_T],
    x: int,
    y: int,
    width: int,
    height: int,
    scale: int = 1,
    *,
    half: bool = False,
    smooth: bool = False,
) -> NDArray[_T]: ...
def full_to_edge(full: _Word, half: _Word | None = None, *, out: _Byte | None = None) -> _Byte: ...
def edge_to_full(edge: _Byte, half: _Word, strength: float = 2.0, *, out: _Word | None = None) -> _Word: ...

# Curves and tables

@final
class Spline:
    def __init__(self, x: ArrayLike, y: ArrayLike) -> None: ...
    def __call__(self, t: ArrayLike) -> Any: ...

def look_up(
    p: _Byte | _Word, table: NDArray[_Entry], *, out: NDArray[_Entry] | None = None
) -> NDArray[_Entry]: ...
def threshold_table(
    slope: float = 0.0,
    threshold: float = 0.0,
    slope_shift: float = 0.0,
    threshold_shift: float = 0.0,
    *,
    low: float,
    high: float,
    range: int,
    smooth: float,
    bits: int = 16,
) -> NDArray[Any]: ...
def luma_table(mapping: Callable[[_Word], ArrayLike]) -> _Word: ...
def light_table(
    brightness: float = 0.0,
    contrast: float = 0.0,
    highlights: float = 0.0,
    shadows: float = 0.0,
    whites: float = 0.0,
    blacks: float = 0.0,
) -> _Word: ...
@final
class YDrDbTable:
    def __init__(
        self, mapping: Callable[[_Word, _Byte, _Byte], tuple[ArrayLike, ArrayLike, ArrayLike]], bands: int = 1
    ) -> None: ...
    def apply(self, y: _Word, dr: _Byte, db: _Byte) -> tuple[_Word, _Byte, _Byte]: ...

def identity_colour_table(size: int) -> _Word: ...
def look_table(red: float = 0.85, green: float = 1.0, blue: float = 1.2, grey: float = 0.1) -> _Word: ...
def colour_table(p: _Word, table: _Word, *, out: _Word | None = None) -> _Word: ...
@final
class ColourAdjustment:
    def __init__(
        self, warmth: float = 0.0, tint: float = 0.0, saturation: float = 0.3, floor: float = 0.0
    ) -> None: ...
    def apply(self, dr: _Word, db: _Word, y: _Word, old_y: _Word | None = None) -> tuple[_Word, _Word]: ...

# The planar picture, the engine, masks

@final
class PlanarPicture:
    @staticmethod
    def from_packed(pixels: _Byte | _Word, order: _Order = "RGB") -> PlanarPicture: ...
    @staticmethod
    def from_planes(r: _Word, g: _Word, b: _Word) -> PlanarPicture: ...
    @staticmethod
    def from_ydrdb(y: _Word, dr: _Word, db: _Word) -> PlanarPicture: ...
    @property
    def y(self) -> _Word: ...
    @property
    def dr(self) -> _Word: ...
    @property
    def db(self) -> _Word: ...
    @property
    def mask(self) -> _Byte: ...
    def to_planes(self) -> tuple[_Word, _Word, _Word]: ...
    def to_packed(self, order: _Order = "RGB", *, out: _Word | None = None) -> _Word: ...
    def to_display(self, *, out: _Byte | None = None) -> _Byte: ...
    def clone(self) -> PlanarPicture: ...

def rgb_to_luma(r: _Word, g: _Word, b: _Word, *, out: _Word | None = None) -> _Word: ...
def ydrdb_to_rgb(y: _Word, dr: _Word, db: _Word) -> tuple[_Word, _Word, _Word]: ...
@final
class DetailEngine:
    def __init__(self) -> None: ...
    def setup(
        self,
        y: _Word,
        fine: _Word,
        medium: _Word,
        coarse: _Word,
        dr: _Word,
        db: _Word,
        *,
        progress: _Progress | None = None,
    ) -> bool: ...
    def set_detail(
        self,
        level: int,
        zone: Literal["base", "shadows", "midtones"] = "base",
        slope: float = 0.0,
        threshold: float = 0.0,
    ) -> None: ...
    def set_light(
        self,
        brightness: float = 0.0,
        contrast: float = 0.0,
        highlights: float = 0.0,
        shadows: float = 0.0,
        whites: float = 0.0,
        blacks: float = 0.0,
    ) -> None: ...
    def set_weights(self, red: float = 0.0, green: float = 0.0, blue: float = 0.0) -> None: ...
    def render(
        self, x: int, y: int, width: int, height: int, scale: int = 1, extra: _Word | None = None
    ) -> _Word: ...
    @property
    def full_dr(self) -> _Word | None: ...
    @property
    def full_db(self) -> _Word | None: ...

@final
class DrawMask:
    def __init__(self, picture: PlanarPicture) -> None: ...
    def fill(self, value: int) -> None: ...
    def invert(self) -> None: ...
    def stroke(
        self,
        points: Sequence[tuple[int, int]],
        diameter: int,
        inner: int | None = None,
        value: int = 255,
        opacity: float = 1.0,
        edge: float = 0.0,
    ) -> None: ...
    def undo(self) -> None: ...
    def reset(self) -> None: ...
    def render(self) -> _Byte: ...
    def region(self, x: int, y: int, width: int, height: int, scale: int = 1) -> _Byte: ...

# Photographs developed by a recipe

@final
class Recipe:
    def __init__(self) -> None: ...
    @staticmethod
    def from_json(text: str) -> Recipe: ...
    @staticmethod
    def load(path: str | PathLike[str]) -> Recipe: ...
    def to_json(self) -> str: ...
    def __setitem__(self, key: str, value: float | bool | str) -> None: ...
    def __getitem__(self, key: str) -> Any: ...
    def __eq__(self, other: object) -> bool: ...
    def __copy__(self) -> Recipe: ...

def develop(
    array: NDArray[_Integer],
    recipe: _RecipeLike = None,
    *,
    order: _Order = "RGB",
    out: NDArray[_Integer] | None = None,
    progress: _Progress | None = None,
) -> NDArray[_Integer]: ...
@final
class Developer:
    def __init__(self) -> None: ...
    def open(self, array: _Byte | _Word, order: _Order = "RGB", *, progress: _Progress | None = None) -> bool: ...
    def size(self, scale: int = 1) -> tuple[int, int]: ...
    def render(
        self,
        recipe: _RecipeLike = None,
        view: Sequence[int] | None = None,
        scale: int = 1,
        *,
        order: _Order = "RGB",
        out: _Byte | None = None,
    ) -> _Byte: ...
    def render_all(
        self,
        recipe: _RecipeLike = None,
        bits: int = 8,
        *,
        order: _Order = "RGB",
        out: NDArray[Any] | None = None,
        progress: _Progress | None = None,
    ) -> NDArray[Any]: ...
    def render_mask(
        self, recipe: _RecipeLike, index: int = 0, view: Sequence[int] | None = None, scale: int = 1
    ) -> _Byte: ...
