"""Filters: each Python call against the same library call made directly."""
import ctypes

import numpy as np
import pytest
import zol
from conftest import LIB, cref, rand

INTS = [np.uint8, np.int8, np.uint16, np.int16, np.int32]
RANK, MORPH = INTS + [np.bool_], [np.uint8, np.uint16, np.bool_]
REPLICATE, REFLECT = (1, 0), (2, 0)
ROI = (2, 1, 7, 6)


def ck(*kernels):
    """A C array of kernels made directly from (values, (ax, ay), shift)
    each; float values make FP kernels."""
    ptrs = []
    for v, anchor, shift in kernels:
        v = np.atleast_2d(v)
        fp = v.dtype.kind == "f"
        fn = LIB.zolCreateConvKernelFP if fp else LIB.zolCreateConvKernel
        fn.restype = ctypes.c_void_p
        v = np.ascontiguousarray(v, np.float32 if fp else np.int32)
        ptrs.append(fn(*v.shape[::-1], *anchor, ctypes.c_void_p(v.ctypes.data), *[shift][fp:]))
    return (ctypes.c_void_p * len(ptrs))(*ptrs)


def ref(fname, *extra, border=None, roi=None):
    """fname(src, dst, *extra) made directly; callables in extra are called
    first (kernels are made afresh for each call)."""
    def run(src):
        dst = src.copy() if roi else np.zeros_like(src)
        args = [a() if callable(a) else a for a in extra]
        cref(fname, (src, dict(roi=roi, border=border)), (dst, dict(roi=roi)), *args)
        return dst
    return run


K3 = [[1, -2, 3], [0, 5, -1], [2, 2, -7]]
K2x4 = [[1, 1], [-3, 2], [4, 0], [1, -1]]
F3 = np.array([[0.5, -1.25, 2], [0.125, 3, -1], [1, 0, -0.75]], np.float32)
F2x3 = F3[:2] * 3

CASES = [  # (name, Python call, the same through the library, dtypes)
    ("median", lambda s: zol.median_filter(s, 4, anchor=(0, 3), border="replicate"),
     ref("zolMedianFilter", 4, 4, 0, 3, border=REPLICATE), RANK),
    ("max", lambda s: zol.max_filter(s, (3, 4), border=zol.Border.REFLECT, roi=ROI),
     ref("zolMaxFilter", 3, 4, 1, 2, border=REFLECT, roi=ROI), RANK),
    ("min", lambda s: zol.min_filter(s, (2, 3), border_value=17),
     ref("zolMinFilter", 2, 3, 1, 1, border=(0, 17)), RANK),
    ("blur", lambda s: zol.blur(s, (3, 5), anchor=(2, 1)), ref("zolBlur", 3, 5, 2, 1),
     RANK + [np.float32]),
    ("dilate", zol.dilate, ref("zolDilate", 1), MORPH),
    ("erode", lambda s: zol.erode(s, 2, border="replicate"),
     ref("zolErode", 2, border=REPLICATE), MORPH),
    ("open", lambda s: zol.open_(s, iterations=1, roi=ROI), ref("zolOpen", 1, roi=ROI), MORPH),
    ("close", lambda s: zol.close(s, 2), ref("zolClose", 2), MORPH),
    ("fixed", lambda s: zol.fixed_filter(s, "Gaussian5", border="reflect"),
     ref("zolFixedFilter", 7, border=REFLECT), RANK + [np.float32]),
    ("convolve", lambda s: zol.convolve(s, zol.ConvKernel(K3, shift=2)),
     ref("zolConvolve2D", lambda: ck((K3, (1, 1), 2)), 1, 0), RANK),
    ("convolve-int8",
     lambda s: zol.convolve(s, zol.ConvKernel(np.int8(K2x4), anchor=(0, 3)), border="replicate"),
     ref("zolConvolve2D", lambda: ck((K2x4, (0, 3), 0)), 1, 0, border=REPLICATE),
     [np.uint8, np.int16]),
    ("convolve-several", lambda s: zol.convolve(s, [zol.ConvKernel(K3), zol.ConvKernel(
        K2x4, shift=1)], combine=zol.Combine.SQRT_SUM_SQUARES),
     ref("zolConvolve2D", lambda: ck((K3, (1, 1), 0), (K2x4, (1, 2), 1)), 2, 2),
     [np.uint8, np.int16, np.int32]),
    ("convolve-fp", lambda s: zol.convolve(s, (zol.ConvKernelFP(F3, anchor=(2, 0)),
                                               zol.ConvKernelFP(F2x3)), combine="min"),
     ref("zolConvolve2DFP", lambda: ck((F3, (2, 0), 0), (F2x3, (1, 1), 0)), 2, 4), [np.float32]),
    ("convolve-sep", lambda s: zol.convolve_sep(s, zol.ConvKernel([1, 2, 3], (0, 0), 1),
                                                zol.ConvKernel([[1], [-4], [1]], shift=2)),
     ref("zolConvolveSep2D", lambda: ck(([1, 2, 3], (0, 0), 1))[0],
         lambda: ck(([[1], [-4], [1]], (0, 1), 2))[0]), [np.uint8, np.int16, np.int32]),
]


@pytest.mark.parametrize("fn, expected, dtype, channels", [
    pytest.param(fn, expected, dt, ch, id=f"{name}-{np.dtype(dt).name}-{ch}")
    for name, fn, expected, dtypes in CASES for dt in dtypes
    for ch in ((1,) if dt == np.bool_ else (1, 3))])
def test_same_as_library(fn, expected, dtype, channels):
    src = rand((11, 13, channels)[:2 if channels == 1 else 3], dtype, seed=channels)
    got = fn(src)
    assert got.dtype == src.dtype and got.shape == src.shape
    np.testing.assert_array_equal(got, expected(src))


def test_kernels_read_back():
    k = zol.ConvKernel(K2x4, anchor=(1, 3), shift=5)
    assert (k.values.dtype, k.values.tolist(), k.anchor, k.shift) == (np.int32, K2x4, (1, 3), 5)
    assert zol.ConvKernel([[200, -1, 3]]).char_values.tolist() == [[-56, -1, 3]]
    assert zol.ConvKernel(np.int8([[-128, 7]])).values.tolist() == [[-128, 7]]
    f = zol.ConvKernelFP(F3[:, :2], anchor=(0, 2))
    assert (f.values.tolist(), f.anchor) == (F3[:, :2].tolist(), (0, 2))
    assert repr(zol.ConvKernel([[1, 2]], shift=1)) == "ConvKernel([[1, 2]], anchor=(1, 0), shift=1)"


def test_out_may_be_the_source():
    for fn in (lambda s, **k: zol.median_filter(s, 3, **k), lambda s, **k: zol.fixed_filter(s, "sobel_v", **k),
               lambda s, **k: zol.convolve(s, zol.ConvKernel(K3), **k)):
        a = rand((9, 23), np.uint8, 4)
        expect = fn(a.copy())
        np.testing.assert_array_equal(fn(a, out=a), expect)
        a = rand((9, 23), np.uint8, 4)
        fn(a[:, 2:], out=a[:, :-2])            # overlapping, shifted
        np.testing.assert_array_equal(a[:, :-2], fn(rand((9, 23), np.uint8, 4)[:, 2:].copy()))


def test_errors():
    with pytest.raises(zol.Error) as e:
        zol.ConvKernel(K3, anchor=(3, 0))
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolCreateConvKernel", "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)")
    with pytest.raises(zol.Error, match="FP kernel can be used only for 32F images"):
        zol.convolve(rand((5, 5), np.uint8), zol.ConvKernelFP(F3))
    for bad in (lambda: zol.ConvKernel([[0.5, 1]]), lambda: zol.convolve(
            rand((5, 5), np.uint8), [zol.ConvKernel(K3), zol.ConvKernelFP(F3)])):
        pytest.raises(TypeError, bad)
    pytest.raises(ValueError, zol.fixed_filter, rand((5, 5), np.uint8), "sobel")
