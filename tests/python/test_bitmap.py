"""Bitmaps and depth conversion: each Python call against the same library
call made directly, and bitmaps written and read again."""
import ctypes
import os
import pathlib
import struct

import numpy as np
import pytest
import zol
from conftest import Header, cref, rand

BMP = os.path.join(os.path.dirname(__file__), "..", "data", "bmp")
DEPTHS = {np.dtype(np.uint8): 8, np.dtype(np.uint16): 16}
SEQ, MODEL = {1: b"G", 3: b"RGB", 4: b"RGBA"}, {1: b"GRAY", 3: b"RGB", 4: b"RGBA"}


def path(name):
    return os.path.join(BMP, name + ".bmp")


def dib_of(name):
    return pathlib.Path(path(name)).read_bytes()[14:]


def header(shape, dtype, data=None):
    """A C header over rows of whole words, as the bitmap functions lay them
    out, and the array over its memory (synced after a call)."""
    dtype, (h, w, ch) = np.dtype(dtype), (shape + (1,))[:3]
    step = (w * ch * dtype.itemsize + 3) // 4 * 4
    base = np.zeros((h, step), np.uint8)
    view = np.ndarray(shape, dtype, base, strides=(step, ch * dtype.itemsize, dtype.itemsize)[:len(shape)])
    view[...] = 0 if data is None else data
    hd = Header(base)
    hd.image.width, hd.image.nChannels, hd.image.depth = w, ch, DEPTHS[dtype]
    hd.image.colorModel, hd.image.channelSeq = MODEL[ch], SEQ[ch]
    hd.image.alphaChannel = 4 if ch == 4 else 0
    return hd, view


def ref_read(name, shape, dtype=np.uint8):
    hd, view = header(shape, dtype)
    cref("zolConvertFromDIB", ctypes.create_string_buffer(dib_of(name)), hd)
    return view


def ref_write(src, bits, comp=0, palette=1, dither=1, table=b""):
    """The DIB zolConvertToDIB makes of src, cut to what it uses."""
    h, w = src.shape[:2]
    rows = (w * bits + 31) // 32 * 4 * h
    room = 4 << bits if bits <= 8 else 0
    head = struct.pack("<IiiHHIIiiII", 40, w, h, 1, bits, comp, rows, 2835, 2835, len(table) // 4, 0)
    buf = ctypes.create_string_buffer(head + table.ljust(room, b"\0") + bytes(rows))
    hd, view = header(src.shape, src.dtype, src)
    cref("zolConvertToDIB", hd, buf, dither, palette)
    used, comp, size = struct.unpack_from("<I", buf.raw, 32)[0], *struct.unpack_from("<II", buf.raw, 16)
    entries = used or (1 << bits if bits <= 8 else 0)
    return buf.raw[:40 + 4 * entries + (size if comp in (1, 2) else rows)]


RGB = zol.read_bmp(path("rgb24"))
GRAY, WIDE, RGBA = RGB[..., 1], RGB.astype(np.uint16) * 257, rand((5, 9, 4), np.uint8, 3)
BITS = RGB[..., 0] > 100
INTS = rand((7, 10, 3), np.int32, 4) // 60000
TABLE = np.uint8([[0, 0, 0], [255, 0, 0], [0, 255, 0], [40, 40, 200], [255, 255, 255]])
QUADS = b"".join(bytes(c[::-1]) + b"\0" for c in TABLE)  # blue, green, red, 0


def ref_into(fname, src, dtype, *args, shape=None):
    dst = np.zeros(shape or src.shape, dtype)
    cref(fname, src, dst, *args)
    return dst


CASES = [  # (name, Python call, the same through the library)
    *[(f"read-{n}", lambda n=n: zol.read_bmp(path(n)), lambda n=n: ref_read(
        n, (64, 127) if n == "pal1" else (64, 127, 4 if n.startswith("rgb32") else 3)))
      for n in ["pal1", "pal4", "pal4rle", "pal8", "pal8rle", "pal8topdown", "rgb16-565", "rgb16",
                "rgb24", "rgb32", "rgb32bf"]],
    ("read-bytes-gray", lambda: zol.read_bmp(pathlib.Path(path("pal8")).read_bytes(), channels=1),
     lambda: ref_read("pal8", (64, 127))),
    ("read-wide", lambda: zol.read_bmp(path("pal4rle"), channels=4, dtype=np.uint16),
     lambda: ref_read("pal4rle", (64, 127, 4), np.uint16)),
    ("from-dib", lambda: zol.convert_from_dib(dib_of("rgb16"), np.zeros((64, 127, 3), np.uint8)),
     lambda: ref_read("rgb16", (64, 127, 3))),
    ("from-dib-sep", lambda: zol.convert_from_dib(dib_of("pal4")[:88], np.zeros((64, 127), np.uint8),
                                                  data=dib_of("pal4")[88:]),
     lambda: ref_read("pal4", (64, 127))),
    *[(f"write-{bits}-{kw}", lambda src=src, bits=bits, kw=kw: zol.write_bmp(src, bits, **kw)[14:],
       lambda src=src, bits=bits, ref=ref: ref_write(src, bits, *ref))
      for src, bits, kw, ref in [
          (RGB, 24, {}, ()), (RGB, 32, {}, ()), (RGB, 16, {}, ()), (RGB, 8, {}, (0, 2)),
          (RGB, 4, dict(rle=True), (2, 2)), (RGB, 1, dict(palette="linear"), ()),
          (GRAY, 8, {}, ()), (GRAY, 8, dict(rle=True), (1,)),
          (GRAY, 4, dict(palette=TABLE), (0, 0, 1, QUADS)),
          (WIDE, 24, dict(dither="stucki"), (0, 1, 8)), (WIDE, 16, {}, ()), (RGBA, 32, {}, ())]],
    ("to-dib", lambda: _to_dib(), lambda: ref_write(RGB, 24)),
    ("convert", lambda: zol.convert(INTS, np.int8), lambda: ref_into("zolConvert", INTS, np.int8)),
    ("convert-bits", lambda: zol.convert(INTS, bool, coi=2),
     lambda: ref_into("zolConvert", (INTS, dict(coi=3)), bool, shape=(7, 10))),
    ("bitonal", lambda: zol.bitonal_to_gray(BITS, 3, dtype=np.int16),
     lambda: ref_into("zolBitonalToGray", BITS, np.int16, 3, 32767)),
]


def _to_dib():
    buf = bytearray(ref_write(RGB, 24))
    buf[40:] = bytes(len(buf) - 40)
    zol.convert_to_dib(RGB, buf)
    return buf


@pytest.mark.parametrize("fn, expected", [pytest.param(f, e, id=n) for n, f, e in CASES])
def test_same_as_library(fn, expected):
    got, want = (np.frombuffer(x, np.uint8) if isinstance(x, (bytes, bytearray)) else x
                 for x in (fn(), expected()))
    assert got.dtype == want.dtype
    np.testing.assert_array_equal(got, want)


@pytest.mark.parametrize("image, kw", [(RGB, {}), (RGBA, {}), (GRAY, {}), (GRAY, dict(rle=True)),
                                       (BITS, {}), (RGB[5:40:3, 7:90], dict(bits=24))])
def test_written_reads_back(image, kw):
    data = zol.write_bmp(image, **kw)
    assert data[:2] == b"BM" and struct.unpack_from("<I", data, 2)[0] == len(data)
    np.testing.assert_array_equal(zol.read_bmp(data, dtype=image.dtype), image)


def test_bad_bitmaps():
    for name, status in [("badrle", -3), ("badrle4", -3), ("badwidth", -10), ("badbitcount", -3)]:
        with pytest.raises(zol.Error) as e:
            zol.read_bmp(path(name))
        assert (e.value.status, e.value.function) == (status, "zolConvertFromDIBSep"), name
    pytest.raises(ValueError, zol.read_bmp, path("shortfile"))
    pytest.raises(ValueError, zol.convert_from_dib, dib_of("pal8rle")[:500], np.zeros((64, 127, 3), np.uint8))
