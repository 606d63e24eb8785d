from ._pixmill import *
from ._pixmill import __version__ as __version__
from ._tiles import Tile as Tile, grid as grid, map_tiles as map_tiles, margin as margin, tiles as tiles
