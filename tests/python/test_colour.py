"""Colour bindings against direct calls of the library on the same data."""
import ctypes

import numpy as np
import pytest

import zol
from conftest import Header, cref, rand

H, W = 9, 13  # odd on purpose
LIBC = ctypes.CDLL(None)
TWIST = [[200, -30, 10, 500], [5, 180, 40, -900], [-20, 60, 230, 3000]]


class CTwist(ctypes.Structure):
    _fields_ = [("data", ctypes.c_int32 * 16), ("scalingValue", ctypes.c_int32)]


def convert(fname, dtype, s, model=None, seq=b"RGB", channels=3, src_kw=None):
    """fname(src, dst) with src named as the model (a conversion to RGB)."""
    dst = np.zeros((H, W, channels) if channels > 1 else (H, W), dtype)
    hs, hd = Header(s, **(src_kw or {})), Header(dst)
    if model:
        hs.image.colorModel = hs.image.channelSeq = model
        hd.image.channelSeq = seq
    else:
        hs.image.channelSeq = seq
    cref(fname, hs, hd)
    return dst


def conv_case(name, cname, model, dtypes, to_dtype=None, channels=3):
    py = getattr(zol, name)
    if model is None:
        return (name, dtypes, channels, lambda s: py(s),
                lambda s: convert(cname, to_dtype or s.dtype, s))
    return (name, dtypes, channels, lambda s: py(s),
            lambda s: convert(cname, to_dtype or s.dtype, s, model))


def reduced(s, dtype, jitter, dither, levels):
    dst = np.zeros(s.shape, dtype)
    LIBC.srand(11)
    cref("zolReduceBits", s, dst, jitter, dither, levels)
    return dst


def seeded(fn):
    LIBC.srand(11)
    return fn()


def twisted(s, offset, start=None, roi=None, mask=None, scale=6, in_place=False):
    t = CTwist()
    rows = np.zeros((4, 4), np.int32)
    rows[:3] = TWIST
    t.data[:] = [int(v) for v in rows.ravel()]
    t.scalingValue = scale
    dst = (s if in_place else start if start is not None else s).copy()
    hs = Header(s if not in_place else dst, roi=roi)
    hd = hs if in_place else Header(dst, roi=roi)
    if mask is not None:
        hm = Header(mask, roi=roi)
        hd.image.maskROI = ctypes.pointer(hm.image)
    cref("zolApplyColorTwist", hs, hd, ctypes.byref(t), offset)
    return dst


U8_16_32 = [np.uint8, np.uint16, np.int32]
MASK = rand((H, W), np.bool_, 5)

# (id, dtypes, channels, binding(src), reference(src))
CASES = [
    conv_case("rgb_to_hsv", "zolRGB2HSV", None, U8_16_32),
    conv_case("hsv_to_rgb", "zolHSV2RGB", b"HSV", U8_16_32),
    conv_case("rgb_to_hls", "zolRGB2HLS", None, U8_16_32, channels=4),
    conv_case("hls_to_rgb", "zolHLS2RGB", b"HLS", U8_16_32),
    conv_case("rgb_to_xyz", "zolRGB2XYZ", None, U8_16_32 + [np.float32]),
    conv_case("xyz_to_rgb", "zolXYZ2RGB", b"XYZ", U8_16_32 + [np.float32]),
    conv_case("rgb_to_ycrcb", "zolRGB2YCrCb", None, U8_16_32 + [np.float32]),
    conv_case("ycrcb_to_rgb", "zolYCrCb2RGB", b"YCr", U8_16_32 + [np.float32]),
    conv_case("rgb_to_yuv", "zolRGB2YUV", None, [np.int32, np.float32]),
    conv_case("rgb_to_yuv", "zolRGB2YUV", None, [np.uint8], np.int8),
    conv_case("rgb_to_yuv", "zolRGB2YUV", None, [np.uint16], np.int16),
    conv_case("yuv_to_rgb", "zolYUV2RGB", b"YUV", [np.int32, np.float32]),
    conv_case("yuv_to_rgb", "zolYUV2RGB", b"YUV", [np.int8], np.uint8),
    conv_case("yuv_to_rgb", "zolYUV2RGB", b"YUV", [np.int16], np.uint16),
    conv_case("ycc_to_rgb", "zolYCC2RGB", b"YCC", [np.uint8]),
    conv_case("rgb_to_luv", "zolRGB2LUV", None, [np.float32]),
    conv_case("luv_to_rgb", "zolLUV2RGB", b"LUV", [np.float32]),
    ("bgr_to_hsv", [np.uint8], 3, lambda s: zol.rgb_to_hsv(s, order="BGR"),
     lambda s: convert("zolRGB2HSV", s.dtype, s, seq=b"BGR")),
    ("hsv_to_bgr", [np.uint16], 3, lambda s: zol.hsv_to_rgb(s, order="BGR"),
     lambda s: convert("zolHSV2RGB", s.dtype, s, b"HSV", seq=b"BGR")),
    ("color_to_gray", [np.uint8, np.uint16], 3, lambda s: zol.color_to_gray(s),
     lambda s: convert("zolColorToGray", s.dtype, s, channels=1)),
    ("color_to_gray-32s", [np.int32], 4, lambda s: zol.color_to_gray(s),
     lambda s: convert("zolColorToGray", np.uint16, s, channels=1)),
    ("color_to_gray-bits", [np.uint8, np.uint16], 3,
     lambda s: zol.color_to_gray(s, bool, order="BGR"),
     lambda s: convert("zolColorToGray", np.bool_, s, seq=b"BGR", channels=1)),
    ("color_to_gray-deeper", [np.uint8], 3, lambda s: zol.color_to_gray(s, np.uint16),
     lambda s: convert("zolColorToGray", np.uint16, s, channels=1)),
    ("gray_to_color", [np.uint8, np.uint16, np.int32], 1, lambda s: zol.gray_to_color(s),
     lambda s: cref_into("zolGrayToColor", s, (H, W, 3), s.dtype,
                         np.float32(0), np.float32(0), np.float32(0))),
    ("gray_to_color-weights", [np.uint8, np.uint16, np.bool_], 1,
     lambda s: zol.gray_to_color(s, (1.0, 0.5, 0.25), order="BGR"),
     lambda s: cref_into("zolGrayToColor", s, (H, W, 3),
                         np.uint8 if s.dtype == np.bool_ else s.dtype,
                         np.float32(1), np.float32(0.5), np.float32(0.25), seq=b"BGR")),
    ("reduce_bits", [np.uint16], 3, lambda s: zol.reduce_bits(s, 8),
     lambda s: reduced(s, np.uint8, 0, 1, 8)),
    ("reduce_bits-fs", [np.uint16], 1, lambda s: zol.reduce_bits(s, 8, levels=3, dither="fs"),
     lambda s: reduced(s, np.uint8, 0, 2, 3)),
    ("reduce_bits-stucki", [np.int32], 3,
     lambda s: zol.reduce_bits(s, 16, levels=10, dither=zol.Dither.STUCKI),
     lambda s: reduced(s, np.uint16, 0, 8, 10)),
    ("reduce_bits-bayer", [np.uint16], 3, lambda s: zol.reduce_bits(s, 8, levels=2,
                                                                     dither="bayer"),
     lambda s: reduced(s, np.uint8, 0, 16, 2)),
    ("reduce_bits-jitter", [np.uint8, np.uint16, np.int32], 1,
     lambda s: seeded(lambda: zol.reduce_bits(s, 1, jitter=5)),
     lambda s: reduced(s, np.bool_, 5, 1, 1)),
    ("reduce_bits-jjn-out", [np.uint16], 1,
     lambda s: seeded(lambda: zol.reduce_bits(s, levels=4, dither="jjn", jitter=2,
                                              out=np.zeros((H, W), np.uint8))),
     lambda s: reduced(s, np.uint8, 2, 4, 4)),
    ("twist", [np.uint8, np.uint16], 3,
     lambda s: zol.ColorTwist(TWIST, 6).apply(s, 7),
     lambda s: twisted(s, 7)),
    ("twist-alpha-roi", [np.uint8, np.uint16], 4,
     lambda s: zol.apply_color_twist(s, zol.ColorTwist(TWIST + [[1, 2, 3, 4]], 6), -3,
                                     roi=(2, 1, 8, 5)),
     lambda s: twisted(s, -3, roi=(2, 1, 8, 5))),
    ("twist-mask-out", [np.uint8], 3,
     lambda s: zol.ColorTwist(TWIST, 6).apply(s, mask=MASK, out=np.ones_like(s)),
     lambda s: twisted(s, 0, start=np.ones_like(s), mask=MASK)),
    ("twist-in-place", [np.uint16], 3,
     lambda s: zol.ColorTwist(TWIST, 6).apply(s, 0, out=s),
     lambda s: twisted(s, 0, in_place=True)),
]


def cref_into(fname, s, shape, dtype, *args, seq=b"RGB"):
    dst = np.zeros(shape, dtype)
    hd = Header(dst)
    hd.image.channelSeq = seq
    cref(fname, s, hd, *args)
    return dst


@pytest.mark.parametrize("case,dtype", [(c, d) for c in CASES for d in c[1]],
                         ids=lambda v: v[0] if isinstance(v, tuple) else np.dtype(v).name)
def test_against_library(case, dtype):
    _, _, channels, binding, reference = case
    shape = (H, W) if channels == 1 else (H, W, channels)
    src = rand(shape, dtype, 4)
    if dtype == np.float32:
        src = np.abs(src) / 100  # colour values in 0..1
    got = binding(src.copy())
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
        zol.rgb_to_hsv(rand((H, W, 3), np.float32))
    assert (e.value.status, e.value.function) == (-5, "ownRGB2HSV")
    with pytest.raises(ValueError, match="dither"):
        zol.reduce_bits(rand((H, W), np.uint16), 8, dither="atkinson")
