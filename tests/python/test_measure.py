"""Measurement: each Python call against the same library call made directly."""
import ctypes

import numpy as np
import pytest
import zol
from conftest import cref, rand

P32, DOUBLE = ctypes.POINTER(ctypes.c_int32), ctypes.c_double
INTS = [np.uint8, np.int8, np.uint16, np.int16, np.int32]
ROI = (2, 1, 9, 6)
ORDERS = [(m, n) for m in range(4) for n in range(4 - m)]
MOMENTS = {"Spatial": "spatial", "NormalizedSpatial": "normalized_spatial", "Central": "central",
           "NormalizedCentral": "normalized_central"}
KEYS = {np.uint8: [0, 17, 100, 101, 200, 256], np.uint16: [3, 1000, 40000, 65535, 65536],
        np.bool_: [0, 1, 2]}


class CLUT(ctypes.Structure):
    _fields_ = [("num", ctypes.c_int32), ("key", P32), ("value", P32), ("factor", P32),
                ("interpolateType", ctypes.c_int32)]


def channels(s):
    return s.shape[2] if s.ndim == 3 else 1


def by_lut(fname, keys=None, values=None, factors=None, interpolate=0):
    """Records made directly, one per channel, counted by zolComputeHisto
    unless values are given, then fname into a new image: the image and
    the records' values."""
    def run(s):
        k = KEYS[s.dtype.type] if keys is None else keys
        arrays = [[np.array(x if x is not None else np.zeros(len(k)), np.int32)
                   for x in (k, values, factors)] for _ in range(channels(s))]
        recs = [ctypes.pointer(CLUT(len(k), *(a.ctypes.data_as(P32) for a in kvf), interpolate))
                for kvf in arrays]
        table, dst = (ctypes.POINTER(CLUT) * len(recs))(*recs), np.zeros_like(s)
        if values is None:
            cref("zolComputeHisto", s, table)
        if fname:
            cref(fname, s, dst, table)
        return [dst] + [a[1] for a in arrays]
    return run


def py_lut(fn, keys=None, *curve, **kw):
    """The same in Python: one zol.LUT for every channel with a curve."""
    def run(s):
        if curve:
            lut = zol.LUT(keys, *curve, **kw)
            return [fn(s, lut)] + [lut.values] * channels(s)
        luts = zol.compute_histo(s, [zol.LUT(KEYS[s.dtype.type]) for _ in range(channels(s))])
        return [fn(s, luts) if fn else np.zeros_like(s)] + [lut.values for lut in luts]
    return run


def moments(s, coi, ref=False):
    """Every moment of s's channel coi (from 1), from a state made by
    zol.moments or directly."""
    if not ref:
        mo = zol.moments(s, coi=coi - 1)
        return [getattr(mo, MOMENTS[k])(m, n) for m, n in ORDERS for k in MOMENTS]
    state = ctypes.byref((DOUBLE * 32)())
    cref("zolMoments", (s, dict(coi=coi)), state)
    return [cref(f"zolGet{k}Moment", state, m, n, restype=DOUBLE) for m, n in ORDERS for k in MOMENTS]


def ref_into(fname, *args, roi=None, dtype=None):
    def run(s):
        dst = s.copy() if roi else np.zeros(s.shape, dtype or s.dtype)
        cref(fname, (s, dict(roi=roi)), (dst, dict(roi=roi)), *args)
        return dst
    return run


CASES = [  # (name, Python call, the same through the library, dtypes)
    ("threshold", lambda s: zol.threshold(s, 10), ref_into("zolThreshold", 10), INTS),
    ("threshold-roi", lambda s: zol.threshold(s, -3, roi=ROI),
     ref_into("zolThreshold", -3, roi=ROI), [np.int8, np.int16, np.int32]),
    ("threshold-to", lambda s: zol.threshold(s, 7, dtype=np.uint16),
     ref_into("zolThreshold", 7, dtype=np.uint16), [np.uint8, np.int8]),
    ("histo", py_lut(None), by_lut(None), [np.uint8, np.uint16, np.bool_]),
    ("stretch", py_lut(zol.contrast_stretch, [5, 90, 200, 256], [9, 300, 7, 1]),
     by_lut("zolContrastStretch", [5, 90, 200, 256], [9, 300, 7, 1]), [np.uint8]),
    ("stretch-lines", py_lut(zol.contrast_stretch, [0, 9000, 65536], [70, 60000, 0], [3, -1, 0],
                             interpolate=True),
     by_lut("zolContrastStretch", [0, 9000, 65536], [70, 60000, 0], [3, -1, 0], 1), [np.uint16]),
    ("equalize", py_lut(zol.histo_equalize), by_lut("zolHistoEqualize"), [np.uint8, np.uint16]),
    ("norm-l2", lambda s: zol.norm(s), lambda s: cref("zolNorm", s, None, 4, restype=DOUBLE),
     INTS + [np.bool_]),
    ("norm-l1-diff", lambda s: zol.norm(s, s[::-1], "l1", roi=ROI),
     lambda s: cref("zolNorm", (s, dict(roi=ROI)), (s[::-1].copy(), dict(roi=ROI)), 2,
                    restype=DOUBLE), INTS),
    ("norm-max-rel", lambda s: zol.norm(s, s // 2 + 1, zol.Norm.MAX, relative=True),
     lambda s: cref("zolNorm", s, s // 2 + 1, 9, restype=DOUBLE), [np.uint8, np.int16]),
    ("moments", lambda s: moments(s, s.ndim - 1), lambda s: moments(s, s.ndim - 1, True),
     INTS + [np.float32, np.bool_]),
    ("image-moments", lambda s: [getattr(zol, MOMENTS[k] + "_moment")(s, m, n, roi=ROI)
                                 for m, n in ORDERS for k in MOMENTS],
     lambda s: [cref(f"zol{k}Moment", (s, dict(roi=ROI)), m, n, restype=DOUBLE)
                for m, n in ORDERS for k in MOMENTS], [np.uint8, np.int32, np.float32]),
]


@pytest.mark.parametrize("fn, expected, dtype, channels", [
    pytest.param(fn, expected, dt, ch, id=f"{name}-{np.dtype(dt).name}-{ch}")
    for name, fn, expected, dtypes in CASES for dt in dtypes
    for ch in ((1,) if dt == np.bool_ or name == "image-moments" else (1, 3))])
def test_same_as_library(fn, expected, dtype, channels):
    src = rand((11, 13, channels)[:2 if channels == 1 else 3], dtype, seed=channels + 4)
    got, want = fn(src), expected(src)
    for g, w in zip(*([x] if not isinstance(x, list) else x for x in (got, want)), strict=True):
        np.testing.assert_array_equal(g, w)


def test_lut_records():
    lut = zol.LUT([0, 128, 256], interpolate=True)
    assert (lut.keys.tolist(), lut.values.tolist(), lut.interpolate) == ([0, 128, 256], [0] * 3, True)
    lut.values[:] = [1, 2, 3]  # a view of the record: the library sees it
    stretched = zol.contrast_stretch(np.uint8([[0, 200]]), lut)
    assert stretched.tolist() == [[1, 2]]
    pytest.raises(ValueError, zol.LUT, [0, 256], [1, 2, 3])


def test_errors():
    with pytest.raises(zol.Error) as e:
        zol.moments(rand((4, 5, 3), np.uint8))
    assert (e.value.status, e.value.context) == (-5, "Only one channel can be proceed")
    with pytest.raises(zol.Error, match="Illegal order of moment"):
        zol.moments(rand((4, 5), np.uint8)).central(2, 2)
    pytest.raises(ValueError, zol.norm, rand((4, 5), np.uint8), kind="l3")
