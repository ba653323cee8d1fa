"""Transforms: each Python call against the same library call made directly."""
import numpy as np
import pytest
import zol
from conftest import cref, rand

FWD, INV, NO_SCALE, FIXED = 1, 2, 4, 16
ROI = (1, 2, 5, 4)


def ref(fname, flags=None, dtype=None, roi=None, coi=None, other=False):
    """The expected result of fname(src[, b], dst[, flags]) with dst of
    dtype (None: the source's); other adds the second source b(src)."""
    def run(src):
        dt = dtype or src.dtype
        dst = src.copy() if (roi or coi is not None) and dt == src.dtype else np.zeros(
            src.shape, dt)
        opt = dict(roi=roi, coi=0 if coi is None else coi + 1)
        images = [(src, opt)] + ([(b(src), opt)] if other else []) + [(dst, opt)]
        cref(fname, *images, *([] if flags is None else [flags]))
        return dst
    return run


def b(src):
    return rand(src.shape, src.dtype, seed=9)


S8, F32 = [np.uint8, np.int16, np.float32], [np.float32]
# (name, Python call, reference, dtypes)
CASES = [
    ("fft2", zol.fft2, ref("zolRealFft2D", FWD), S8),
    ("fft2-float", lambda s: zol.fft2(s, dtype=np.float32),
     ref("zolRealFft2D", FWD, np.float32), [np.uint8, np.uint16, np.int32]),
    ("fft2-inverse-unscaled", lambda s: zol.fft2(s, inverse=True, scale=False, dtype="int32"),
     ref("zolRealFft2D", INV | NO_SCALE, np.int32), [np.int8, np.int16]),
    ("fft2-inverse", lambda s: zol.fft2(s, inverse=True), ref("zolRealFft2D", INV), F32),
    ("fft2-fixed", lambda s: zol.fft2(s, fixed=True, dtype=np.int32),
     ref("zolRealFft2D", FWD | FIXED, np.int32), [np.uint8, np.int16]),
    ("fft2-roi-coi", lambda s: zol.fft2(s, roi=ROI, coi=0),
     ref("zolRealFft2D", FWD, roi=ROI, coi=0), [np.int16, np.float32]),
    ("ifft2", zol.ifft2, ref("zolCcsFft2D", INV), [np.int16, np.float32]),
    ("ifft2-forward", lambda s: zol.ifft2(s, inverse=False), ref("zolCcsFft2D", FWD), F32),
    ("ifft2-fixed-unscaled", lambda s: zol.ifft2(s, fixed=True, scale=False, dtype=np.int32),
     ref("zolCcsFft2D", INV | FIXED | NO_SCALE, np.int32), [np.int16]),
    ("dct2", lambda s: zol.dct2(s, dtype=np.int16), ref("zolDCT2D", FWD, np.int16),
     [np.uint8, np.int8, np.int32]),
    ("dct2-inverse", lambda s: zol.dct2(s, inverse=True), ref("zolDCT2D", INV),
     [np.int16, np.int32]),
    ("dct2-roi", lambda s: zol.dct2(s, roi=ROI), ref("zolDCT2D", FWD, roi=ROI), [np.int16]),
    ("multiply-packed", lambda s: zol.multiply_packed(s, b(s)),
     ref("zolMpyRCPack2D", other=True), [np.int8, np.int16, np.int32, np.float32]),
    ("multiply-packed-roi", lambda s: zol.multiply_packed(s, b(s), roi=ROI),
     ref("zolMpyRCPack2D", other=True, roi=ROI), [np.float32]),
]


def expand():
    for name, fn, expected, dtypes in CASES:
        for dt in dtypes:
            for shape in ((8, 16), (7, 10, 3)):
                yield pytest.param(fn, expected, dt, shape,
                                   id=f"{name}-{np.dtype(dt).name}-{'x'.join(map(str, shape))}")


@pytest.mark.parametrize("fn, expected, dtype, shape", expand())
def test_same_as_library(fn, expected, dtype, shape):
    src = rand(shape, dtype, seed=len(shape))
    got = fn(src)
    want = expected(src)
    assert got.dtype == want.dtype
    np.testing.assert_array_equal(got, want)


def test_errors_and_tables():
    with pytest.raises(zol.Error) as e:
        zol.dct2(rand((8, 8), np.float32))
    assert (e.value.status, e.value.function) == (-5, "zolDCT2D")
    assert e.value.context == "\nImages with 32F depth are not processed, sorry"
    with pytest.raises(zol.Error) as e:
        zol.multiply_packed(rand((4, 4), np.uint8), rand((4, 4), np.uint8))
    assert (e.value.status, e.value.call) == (-17, "zolMpyRCPack2D")
    with pytest.raises(TypeError):
        zol.fft2(rand((4, 4), np.uint8), dtype=np.float64)
    # Freed tables are made again: the next transform is unchanged.
    src = rand((16, 16), np.float32)
    before = zol.fft2(src)
    zol.free_transform_tables()
    np.testing.assert_array_equal(zol.fft2(src), before)
