"""Colour bindings against direct calls of the library on the same data."""
import ctypes

import numpy as np
import pytest

import zol
from conftest import Header, cref, rand

H, W = 9, 13  # odd on purpose
LIBC = ctypes.CDLL(None)
TWIST = [[200, -30, 10, 500], [5, 180, 40, -900], [-20, 60, 230, 3000]]
U8, U16, S32, F32 = np.uint8, np.uint16, np.int32, np.float32
SIGNED = {U8: np.int8, U16: np.int16, S32: S32, F32: F32}


def lib(fname, dtype, channels, *args, model=None, seq=b"RGB", roi=None, start=None,
        mask=None):
    """fname(src, dst, *args) into a new dst (or a copy of start, or src
    itself for start=True). model: None an RGB source, a name another
    source, False the headers' own names."""
    def call(s):
        dst = s if start is True else start.copy() if start is not None else np.zeros(
            s.shape[:2] + ((channels,) if channels > 1 else ()), dtype or s.dtype)
        hs = Header(s, roi=roi)
        hd = hs if start is True else Header(dst, roi=roi)
        if model is not False:
            hs.image.colorModel = hs.image.channelSeq = model or b"RGB"
            (hd if model else hs).image.channelSeq = seq
        if mask is not None:
            hm = Header(mask)
            hd.image.maskROI = ctypes.pointer(hm.image)
        cref(fname, hs, hd, *args)
        return dst
    return call


def twist():  # a ZolColorTwist record, scale 6
    return ctypes.byref((ctypes.c_int32 * 17)(*np.r_[np.ravel(TWIST), [0, 0, 0, 0], 6]))


MASK = rand((H, W), np.bool_, 5)
ALL = [U8, U16, S32, F32]

CONVERSIONS = [("hsv", "HSV", ALL[:3]), ("hls", "HLS", ALL[:3]), ("xyz", "XYZ", ALL),
               ("ycrcb", "YCrCb", ALL), ("luv", "LUV", [F32])]

# (id, dtypes, channels, binding(src), reference(src))
CASES = [
    (f"rgb_to_{n}", dts, 3, getattr(zol, f"rgb_to_{n}"), lib(f"zolRGB2{c}", None, 3))
    for n, c, dts in CONVERSIONS
] + [
    (f"{n}_to_rgb", dts, 3, getattr(zol, f"{n}_to_rgb"),
     lib(f"zol{c}2RGB", None, 3, model=c[:3].encode()))
    for n, c, dts in CONVERSIONS
] + [
    ("rgb_to_yuv", [dt], 3, zol.rgb_to_yuv, lib("zolRGB2YUV", SIGNED[dt], 3)) for dt in ALL
] + [
    ("yuv_to_rgb", [SIGNED[dt]], 3, zol.yuv_to_rgb, lib("zolYUV2RGB", dt, 3, model=b"YUV"))
    for dt in ALL
] + [
    ("ycc_to_rgb", [U8], 3, zol.ycc_to_rgb, lib("zolYCC2RGB", None, 3, model=b"YCC")),
    ("rgba_to_hls", [U16], 4, zol.rgb_to_hls, lib("zolRGB2HLS", None, 3)),
    ("bgr_to_hsv", [U8], 3, lambda s: zol.rgb_to_hsv(s, order="BGR"),
     lib("zolRGB2HSV", None, 3, seq=b"BGR")),
    ("hsv_to_bgr", [U16], 3, lambda s: zol.hsv_to_rgb(s, order="BGR"),
     lib("zolHSV2RGB", None, 3, model=b"HSV", seq=b"BGR")),
    ("color_to_gray", [U8, U16], 3, zol.color_to_gray, lib("zolColorToGray", None, 1)),
    ("color_to_gray-32s", [S32], 4, zol.color_to_gray, lib("zolColorToGray", U16, 1)),
    ("color_to_gray-bits", [U8, U16], 3, lambda s: zol.color_to_gray(s, bool, order="BGR"),
     lib("zolColorToGray", np.bool_, 1, seq=b"BGR")),
    ("color_to_gray-deeper", [U8], 3, lambda s: zol.color_to_gray(s, np.uint16),
     lib("zolColorToGray", U16, 1)),
    ("gray_to_color", [U8, U16, S32], 1, zol.gray_to_color,
     lib("zolGrayToColor", None, 3, F32(0), F32(0), F32(0), model=b"GRAY")),
    ("gray_to_color-weights", [U8, U16], 1,
     lambda s: zol.gray_to_color(s, (1.0, 0.5, 0.25), order="BGR"),
     lib("zolGrayToColor", None, 3, F32(1), F32(0.5), F32(0.25), model=b"GRAY", seq=b"BGR")),
    ("gray_to_color-bits", [np.bool_], 1, lambda s: zol.gray_to_color(s, (0.2, 0.5, 0.7)),
     lib("zolGrayToColor", U8, 3, F32(0.2), F32(0.5), F32(0.7), model=b"GRAY")),
    ("reduce_bits", [U16], 3, lambda s: zol.reduce_bits(s, 8),
     lib("zolReduceBits", U8, 3, 0, 1, 8, model=False)),
    ("reduce_bits-fs", [U16], 1, lambda s: zol.reduce_bits(s, 8, levels=3, dither="fs"),
     lib("zolReduceBits", U8, 1, 0, 2, 3, model=False)),
    ("reduce_bits-stucki", [S32], 3,
     lambda s: zol.reduce_bits(s, 16, levels=10, dither=zol.Dither.STUCKI),
     lib("zolReduceBits", U16, 3, 0, 8, 10, model=False)),
    ("reduce_bits-bayer", [U16], 3, lambda s: zol.reduce_bits(s, 8, levels=2, dither="bayer"),
     lib("zolReduceBits", U8, 3, 0, 16, 2, model=False)),
    ("reduce_bits-jitter", [U8, U16, S32], 1,
     lambda s: zol.reduce_bits(s, 1, jitter=5),
     lib("zolReduceBits", np.bool_, 1, 5, 1, 1, model=False)),
    ("reduce_bits-jjn-out", [U16], 1, lambda s: zol.reduce_bits(
        s, levels=4, dither="jjn", jitter=2, out=np.zeros((H, W), U8)),
     lib("zolReduceBits", U8, 1, 2, 4, 4, model=False)),
    ("twist", [U8, U16], 3, lambda s: zol.ColorTwist(TWIST, 6).apply(s, 7),
     lib("zolApplyColorTwist", None, 3, twist(), 7, model=False)),
    ("twist-alpha-roi", [U8, U16], 4,
     lambda s: zol.apply_color_twist(s, zol.ColorTwist(TWIST, 6), -3, roi=(2, 1, 8, 5)),
     lambda s: lib("zolApplyColorTwist", None, 4, twist(), -3, roi=(2, 1, 8, 5), start=s,
                   model=False)(s)),
    ("twist-mask-out", [U8], 3,
     lambda s: zol.ColorTwist(TWIST, 6).apply(s, mask=MASK, out=np.ones_like(s)),
     lib("zolApplyColorTwist", None, 3, twist(), 0, start=np.ones((H, W, 3), U8), mask=MASK,
         model=False)),
    ("twist-in-place", [U16], 3, lambda s: zol.ColorTwist(TWIST, 6).apply(s, out=s),
     lib("zolApplyColorTwist", None, 3, twist(), 0, start=True, model=False)),
]


@pytest.mark.parametrize("case,dtype", [(c, d) for c in CASES for d in c[1]],
                         ids=lambda v: v[0] if isinstance(v, tuple) else np.dtype(v).name)
def test_against_library(case, dtype):
    _, _, channels, binding, reference = case
    src = rand((H, W) if channels == 1 else (H, W, channels), dtype, 4)
    if dtype == F32:
        src = np.abs(src) / 100  # colour values in 0..1
    LIBC.srand(11)  # the same jitter on both sides
    got = binding(src.copy())
    LIBC.srand(11)
    want = reference(src.copy())
    assert got.dtype == want.dtype
    np.testing.assert_array_equal(got, want)


def test_twist_record_and_errors():
    t = zol.ColorTwist(TWIST, 6)
    t.set(TWIST + [[9, 9, 9, 9]], 31)
    assert t.scale == 31
    np.testing.assert_array_equal(t.matrix, TWIST + [[9, 9, 9, 9]])
    with pytest.raises(zol.Error) as e:
        zol.ColorTwist(TWIST, 32)
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolCreateColorTwist", "bad_argument")
    with pytest.raises(TypeError):
        zol.ColorTwist(np.array(TWIST) / 2)
    with pytest.raises(zol.Error) as e:
        zol.rgb_to_hsv(rand((H, W, 3), F32))
    assert (e.value.status, e.value.function) == (-5, "ownRGB2HSV")
    with pytest.raises(zol.Error, match="must be RGB"):  # never read as three channels
        zol.color_to_gray(rand((H, W), U8))
    with pytest.raises(TypeError, match="wide"):  # the library would write past its rows
        zol.rgb_to_yuv(rand((H, W, 3), U16), out=np.zeros((H, W, 3), np.int8))
    with pytest.raises(ValueError, match="dither"):
        zol.reduce_bits(rand((H, W), U16), 8, dither="atkinson")
