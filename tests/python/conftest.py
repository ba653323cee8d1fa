"""What the Python tests share: the C library itself through ctypes, with
image headers built here independently of the bindings, so that each
wrapped function can be compared with a direct call on the same data."""
import ctypes
import os

import numpy as np
import pytest

LIB = ctypes.CDLL(os.environ.get("ZOL_LIBRARY", "libzol.so.2"))
LIB.zolGetErrStatus.restype = ctypes.c_int
# Reference calls must not stop for a dialogue: only the status changes.
LIB.zolSetErrMode(2)

c_int32 = ctypes.c_int32


class ROI(ctypes.Structure):
    _fields_ = [("coi", c_int32), ("xOffset", c_int32), ("yOffset", c_int32),
                ("width", c_int32), ("height", c_int32)]


class Image(ctypes.Structure):
    pass


Image._fields_ = [
    ("headerSize", c_int32), ("headerVersion", c_int32), ("nChannels", c_int32),
    ("alphaChannel", c_int32), ("depth", c_int32), ("colorModel", ctypes.c_char * 4),
    ("channelSeq", ctypes.c_char * 4), ("dataOrder", c_int32), ("origin", c_int32),
    ("align", c_int32), ("width", c_int32), ("height", c_int32),
    ("roi", ctypes.POINTER(ROI)), ("maskROI", ctypes.POINTER(Image)),
    ("imageTag", ctypes.c_void_p), ("tileInfo", ctypes.c_void_p), ("imageSize", c_int32),
    ("imageData", ctypes.c_void_p), ("widthStep", c_int32), ("borderMode", c_int32 * 4),
    ("borderConst", c_int32 * 4), ("dataBase", ctypes.c_void_p)]

DEPTHS = {np.dtype(np.bool_): 1, np.dtype(np.uint8): 8, np.dtype(np.uint16): 16,
          np.dtype(np.float32): 32, np.dtype(np.int8): -0x80000000 | 8,
          np.dtype(np.int16): -0x80000000 | 16, np.dtype(np.int32): -0x80000000 | 32}
IMAGE_TYPES = [np.uint8, np.int8, np.uint16, np.int16, np.int32, np.float32]


class Header:
    """A C header over a copy of an array in rows of whole 32-bit words, as
    the library lays images out (booleans packed into bits); sync() copies
    the pixels back."""

    def __init__(self, arr, roi=None, coi=0, alpha=False, border=None):
        self.arr = arr
        h, w = arr.shape[:2]
        packed = np.packbits(arr, axis=1) if arr.dtype == np.bool_ else arr.reshape(h, -1).view(np.uint8)
        self.row = packed.shape[1]
        self.buf = np.zeros((h, (self.row + 3) // 4 * 4), np.uint8)
        self.buf[:, :self.row] = packed
        data = self.buf
        c = arr.shape[2] if arr.ndim == 3 else 1
        im = Image()
        im.headerSize = ctypes.sizeof(Image)
        im.nChannels = c
        im.alphaChannel = c if alpha else 0
        im.depth = DEPTHS[arr.dtype]
        im.colorModel = b"RGB " if c >= 3 else b"GRAY"
        im.channelSeq = b"RGBA" if c >= 3 else b"G   "
        im.align = 4
        im.width, im.height = w, h
        im.widthStep = data.strides[0]
        im.imageSize = data.nbytes
        im.imageData = data.ctypes.data
        if roi is not None or coi:
            x, y, rw, rh = roi if roi is not None else (0, 0, w, h)
            self.roi = ROI(coi, x, y, rw, rh)
            im.roi = ctypes.pointer(self.roi)
        if border is not None:
            mode, value = border
            for i in range(4):
                im.borderMode[i] = mode
                im.borderConst[i] = value
        self.image = im

    def ref(self):
        return ctypes.byref(self.image)

    def sync(self):
        rows = self.buf[:, :self.row]
        h, w = self.arr.shape[:2]
        if self.arr.dtype == np.bool_:
            self.arr[...] = np.unpackbits(rows, axis=1, count=w) != 0
        else:
            self.arr[...] = np.ascontiguousarray(rows).view(self.arr.dtype).reshape(self.arr.shape)


def cref(fname, *args, restype=None):
    """Calls the library's fname directly. Arrays become headers (a tuple
    (array, dict) gives Header keyword arguments), np.float32 a float, a
    Python float a double, an int an int; anything else passes as it is.
    Fails the test when the call leaves a negative status."""
    conv, held = [], []
    for a in args:
        if isinstance(a, tuple) and len(a) == 2 and isinstance(a[0], np.ndarray):
            a = Header(a[0], **a[1])
        elif isinstance(a, np.ndarray):
            a = Header(a)
        if isinstance(a, Header):
            held.append(a)
            conv.append(a.ref())
        elif isinstance(a, np.float32):
            conv.append(ctypes.c_float(a))
        elif isinstance(a, float):
            conv.append(ctypes.c_double(a))
        elif isinstance(a, int):
            conv.append(ctypes.c_int(a))
        else:
            conv.append(a)
    fn = getattr(LIB, fname)
    fn.restype = restype
    LIB.zolSetErrStatus(0)
    r = fn(*conv)
    status = LIB.zolGetErrStatus()
    assert status >= 0, f"{fname} left status {status}"
    for h in held:
        h.sync()
    return r


def rand(shape, dtype, seed=1):
    """Random pixels over the type's whole range (floats in -100..100)."""
    g = np.random.default_rng(seed)
    dtype = np.dtype(dtype)
    if dtype == np.bool_:
        return g.integers(0, 2, shape).astype(bool)
    if dtype.kind == "f":
        return (g.random(shape) * 200 - 100).astype(dtype)
    info = np.iinfo(dtype)
    return g.integers(info.min, info.max, shape, endpoint=True).astype(dtype)


@pytest.fixture
def rng():
    return np.random.default_rng(7)
