"""Image-processing primitives over NumPy arrays.

Every function takes images as NumPy arrays of shape (h, w) or (h, w, c)
and dtype uint8, int8, uint16, int16, int32, float32 or bool (1-bit
images), reads and writes them in place without copying, and returns the
destination array. A failure of the library raises zol.Error.
"""
from ._errors import Error
from ._zol import *  # noqa: F401,F403

__all__ = [name for name in dir() if not name.startswith("_")]
