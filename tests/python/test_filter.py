"""Filters: each Python call against the same library call made directly."""
import ctypes

import numpy as np
import pytest
import zol
from conftest import LIB, cref, rand

INTS = [np.uint8, np.int8, np.uint16, np.int16, np.int32]
RANK = INTS + [np.bool_]
MORPH = [np.uint8, np.uint16, np.bool_]
REPLICATE, REFLECT = 1, 2
ROI = (2, 1, 7, 6)


def ckernels(*specs):
    """Library kernels made directly: specs of (values, anchor, shift), float
    values for FP kernels. Returns the C array of pointers."""
    ptrs = []
    for values, (ax, ay), shift in specs:
        v = np.atleast_2d(values)
        rows, cols = v.shape
        fp = v.dtype.kind == "f"
        v = np.ascontiguousarray(v, np.float32 if fp else np.int32)
        fn = LIB.zolCreateConvKernelFP if fp else LIB.zolCreateConvKernel
        fn.restype = ctypes.c_void_p
        fn.argtypes = [ctypes.c_int] * 4 + [ctypes.c_void_p] + ([] if fp else [ctypes.c_int])
        ptrs.append(fn(cols, rows, ax, ay, v.ctypes.data, *([] if fp else [shift])))
    return (ctypes.c_void_p * len(ptrs))(*ptrs)


def ref(fname, *extra, border=None, roi=None, coi=None):
    """The expected result of fname(src, dst, *extra); extra may be a
    function of nothing, called just before (kernels made per call)."""
    def run(src):
        dst = src.copy() if roi or coi is not None else np.zeros_like(src)
        sopt = dict(roi=roi, coi=0 if coi is None else coi + 1)
        dopt = dict(sopt)
        if border:
            sopt["border"] = border
        args = [a() if callable(a) else a for a in extra]
        cref(fname, (src, sopt), (dst, dopt), *args)
        return dst
    return run


K3 = [[1, -2, 3], [0, 5, -1], [2, 2, -7]]
K2x4 = [[1, 1], [-3, 2], [4, 0], [1, -1]]
F3 = np.array([[0.5, -1.25, 2], [0.125, 3, -1], [1, 0, -0.75]], np.float32)

# (name, Python call, reference, dtypes)
CASES = [
    ("median", lambda s: zol.median_filter(s, (5, 3)),
     ref("zolMedianFilter", 5, 3, 2, 1), RANK),
    ("median-square-anchor-replicate",
     lambda s: zol.median_filter(s, 4, anchor=(0, 3), border="replicate"),
     ref("zolMedianFilter", 4, 4, 0, 3, border=(REPLICATE, 0)), RANK),
    ("max-reflect-roi", lambda s: zol.max_filter(s, (3, 4), border=zol.Border.REFLECT, roi=ROI),
     ref("zolMaxFilter", 3, 4, 1, 2, border=(REFLECT, 0), roi=ROI), RANK),
    ("min-constant", lambda s: zol.min_filter(s, (2, 3), border_value=17),
     ref("zolMinFilter", 2, 3, 1, 1, border=(0, 17)), RANK),
    ("blur", lambda s: zol.blur(s, (3, 5), anchor=(2, 1)),
     ref("zolBlur", 3, 5, 2, 1), RANK + [np.float32]),
    ("blur-coi", lambda s: zol.blur(s, (3, 3), coi=0, border="replicate"),
     ref("zolBlur", 3, 3, 1, 1, coi=0, border=(REPLICATE, 0)), [np.uint8, np.float32]),
    ("dilate", lambda s: zol.dilate(s), ref("zolDilate", 1), MORPH),
    ("erode-2-replicate", lambda s: zol.erode(s, 2, border="replicate"),
     ref("zolErode", 2, border=(REPLICATE, 0)), MORPH),
    ("open", lambda s: zol.open_(s, iterations=1, roi=ROI), ref("zolOpen", 1, roi=ROI), MORPH),
    ("close", lambda s: zol.close(s, 2), ref("zolClose", 2), MORPH),
    ("fixed-sobel", lambda s: zol.fixed_filter(s, zol.Filter.SOBEL_V),
     ref("zolFixedFilter", 2), RANK + [np.float32]),
    ("fixed-name", lambda s: zol.fixed_filter(s, "Gaussian5", border="reflect"),
     ref("zolFixedFilter", 7, border=(REFLECT, 0)), [np.uint8, np.int32, np.float32]),
    ("fixed-sharpen", lambda s: zol.fixed_filter(s, "sharpen"), ref("zolFixedFilter", 10),
     [np.int16]),
    ("convolve", lambda s: zol.convolve(s, zol.ConvKernel(K3, shift=2)),
     ref("zolConvolve2D", lambda: ckernels((K3, (1, 1), 2)), 1, 0), INTS + [np.bool_]),
    ("convolve-int8-anchor-replicate",
     lambda s: zol.convolve(s, zol.ConvKernel(np.array(K2x4, np.int8), anchor=(0, 3)),
                            border="replicate"),
     ref("zolConvolve2D", lambda: ckernels((K2x4, (0, 3), 0)), 1, 0, border=(REPLICATE, 0)),
     [np.uint8, np.int16]),
    ("convolve-several",
     lambda s: zol.convolve(s, [zol.ConvKernel(K3), zol.ConvKernel(K2x4, shift=1)],
                            combine="sqrt_sum_squares"),
     ref("zolConvolve2D", lambda: ckernels((K3, (1, 1), 0), (K2x4, (1, 2), 1)), 2, 2),
     [np.uint8, np.int16, np.int32]),
    ("convolve-max", lambda s: zol.convolve(s, (zol.ConvKernel(K3), zol.ConvKernel(K2x4)),
                                            combine=zol.Combine.MAX),
     ref("zolConvolve2D", lambda: ckernels((K3, (1, 1), 0), (K2x4, (1, 2), 0)), 2, 3),
     [np.int8]),
    ("convolve-fp", lambda s: zol.convolve(s, zol.ConvKernelFP(F3, anchor=(2, 0))),
     ref("zolConvolve2DFP", lambda: ckernels((F3, (2, 0), 0)), 1, 0), [np.float32]),
    ("convolve-fp-min",
     lambda s: zol.convolve(s, [zol.ConvKernelFP(F3), zol.ConvKernelFP(F3[:2] * 3)],
                            combine="min", border="reflect"),
     ref("zolConvolve2DFP", lambda: ckernels((F3, (1, 1), 0), (F3[:2] * 3, (1, 1), 0)), 2, 4,
         border=(REFLECT, 0)), [np.float32]),
    ("convolve-sep",
     lambda s: zol.convolve_sep(s, zol.ConvKernel([1, 2, 3], anchor=(0, 0), shift=1),
                                zol.ConvKernel([[1], [-4], [1], [2]], shift=2), roi=ROI),
     ref("zolConvolveSep2D",
         lambda: ckernels(([1, 2, 3], (0, 0), 1))[0],
         lambda: ckernels(([[1], [-4], [1], [2]], (0, 2), 2))[0], roi=ROI),
     [np.uint8, np.int16, np.int32]),
]


def expand():
    for name, fn, expected, dtypes in CASES:
        for dt in dtypes:
            for ch in ((1,) if dt == np.bool_ else (1, 3)):
                yield pytest.param(fn, expected, dt, ch, id=f"{name}-{np.dtype(dt).name}-{ch}")


@pytest.mark.parametrize("fn, expected, dtype, channels", expand())
def test_same_as_library(fn, expected, dtype, channels):
    shape = (11, 13) if channels == 1 else (11, 13, channels)
    src = rand(shape, dtype, seed=channels)
    got = fn(src)
    assert got.dtype == src.dtype and got.shape == src.shape
    np.testing.assert_array_equal(got, expected(src))


def test_kernels_read_back():
    k = zol.ConvKernel(K2x4, anchor=(1, 3), shift=5)
    np.testing.assert_array_equal(k.values, K2x4)
    assert k.values.dtype == np.int32 and k.anchor == (1, 3) and k.shift == 5
    assert zol.ConvKernel([[200, -1, 3]]).char_values.tolist() == [[-56, -1, 3]]
    assert zol.ConvKernel(np.array([[-128, 7]], np.int8)).values.tolist() == [[-128, 7]]
    assert zol.ConvKernel(np.ones((4, 6), np.int16)).anchor == (3, 2)
    f = zol.ConvKernelFP(F3[:, :2], anchor=(0, 2))
    np.testing.assert_array_equal(f.values, F3[:, :2])
    assert f.anchor == (0, 2)
    assert repr(zol.ConvKernel([[1, 2]], shift=1)) == "ConvKernel([[1, 2]], anchor=(1, 0), shift=1)"


def test_errors():
    with pytest.raises(zol.Error) as e:
        zol.ConvKernel(K3, anchor=(3, 0))
    assert e.value.status == -5 and e.value.function == "zolCreateConvKernel"
    assert e.value.context == "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)"
    with pytest.raises(zol.Error) as e:
        zol.convolve(rand((5, 5), np.uint8), zol.ConvKernelFP(F3))
    assert e.value.function == "zolConvolve2DFP"
    assert e.value.context == "FP kernel can be used only for 32F images"
    with pytest.raises(zol.Error) as e:
        zol.median_filter(rand((5, 5), np.uint8), (3, 3), anchor=(1, 3))
    assert e.value.context == "(anchorY>=nRows)||(anchorY<0)"
    with pytest.raises(TypeError):
        zol.ConvKernel([[0.5, 1]])
    with pytest.raises(TypeError):
        zol.convolve(rand((5, 5), np.uint8), [zol.ConvKernel(K3), zol.ConvKernelFP(F3)])
    with pytest.raises(ValueError):
        zol.fixed_filter(rand((5, 5), np.uint8), "sobel")
