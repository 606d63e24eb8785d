from ._pixmill import *
from ._pixmill import __version__ as __version__
