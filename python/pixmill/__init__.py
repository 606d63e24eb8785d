"""libpixmill for Python: edge-aware filters, planar pictures, a live detail engine, photographs developed by a recipe.

Arrays go in and out without a copy wherever their rows are dense; other threads run meanwhile. Every filter has the same
bits on every processor and for every number of threads. What cannot be done raises pixmill.Error.
"""
from . import _pixmill
from ._pixmill import *  # noqa: F403
from ._pixmill import __version__
from ._tiles import Tile, grid, map_tiles, margin, tiles

__all__ = [name for name in dir(_pixmill) if not name.startswith("_")]
__all__ += ["Tile", "__version__", "grid", "map_tiles", "margin", "tiles"]
