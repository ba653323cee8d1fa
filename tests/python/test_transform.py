"""Transforms: each Python call against the same library call made directly."""
import numpy as np
import pytest
import zol
from conftest import cref, rand

FWD, INV, NO_SCALE, FIXED = 1, 2, 4, 16
ROI = (1, 2, 5, 4)


def b(src):
    return rand(src.shape, src.dtype, seed=9)


def ref(fname, *flags, dtype=None, roi=None, coi=None, two=False):
    """fname(src[, b(src)], dst, *flags) made directly, dst of dtype (None:
    the source's)."""
    def run(src):
        dst = src.copy() if roi and not dtype else np.zeros(src.shape, dtype or src.dtype)
        o = dict(roi=roi, coi=0 if coi is None else coi + 1)
        cref(fname, (src, o), *[(b(src), o)][:two], (dst, o), *flags)
        return dst
    return run


CASES = [  # (name, Python call, the same through the library, dtypes)
    ("fft2", zol.fft2, ref("zolRealFft2D", FWD), [np.uint8, np.int16, np.float32]),
    ("fft2-inverse", lambda s: zol.fft2(s, inverse=True, scale=False, dtype="int32"),
     ref("zolRealFft2D", INV | NO_SCALE, dtype=np.int32), [np.int8, np.float32]),
    ("fft2-fixed", lambda s: zol.fft2(s, fixed=True, dtype=np.int32),
     ref("zolRealFft2D", FWD | FIXED, dtype=np.int32), [np.uint8, np.int16]),
    ("fft2-roi-coi", lambda s: zol.fft2(s, roi=ROI, coi=0),
     ref("zolRealFft2D", FWD, roi=ROI, coi=0), [np.int16, np.float32]),
    ("ifft2", zol.ifft2, ref("zolCcsFft2D", INV), [np.int16, np.float32]),
    ("ifft2-forward", lambda s: zol.ifft2(s, inverse=False), ref("zolCcsFft2D", FWD),
     [np.float32]),
    ("dct2", lambda s: zol.dct2(s, dtype=np.int16), ref("zolDCT2D", FWD, dtype=np.int16),
     [np.uint8, np.int8, np.int32]),
    ("dct2-inverse", lambda s: zol.dct2(s, inverse=True), ref("zolDCT2D", INV),
     [np.int16, np.int32]),
    ("multiply-packed", lambda s: zol.multiply_packed(s, b(s)), ref("zolMpyRCPack2D", two=True),
     [np.int8, np.int16, np.int32, np.float32]),
]


@pytest.mark.parametrize("fn, expected, dtype, shape", [
    pytest.param(fn, expected, dt, shape, id=f"{name}-{np.dtype(dt).name}-{len(shape)}")
    for name, fn, expected, dtypes in CASES for dt in dtypes
    for shape in ((8, 16), (7, 10, 3))])  # fast and direct routes
def test_same_as_library(fn, expected, dtype, shape):
    src = rand(shape, dtype, seed=len(shape))
    got, want = fn(src), expected(src)
    assert got.dtype == want.dtype
    np.testing.assert_array_equal(got, want)


def test_errors_and_tables():
    with pytest.raises(zol.Error) as e:
        zol.dct2(rand((8, 8), np.float32))
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolDCT2D", "\nImages with 32F depth are not processed, sorry")
    with pytest.raises(zol.Error) as e:
        zol.multiply_packed(rand((4, 4), np.uint8), rand((4, 4), np.uint8))
    assert (e.value.status, e.value.call) == (-17, "zolMpyRCPack2D")
    pytest.raises(TypeError, zol.fft2, rand((4, 4), np.uint8), dtype=np.float64)
    src = rand((16, 16), np.float32)  # tables freed are made again
    before = zol.fft2(src)
    zol.free_transform_tables()
    np.testing.assert_array_equal(zol.fft2(src), before)
