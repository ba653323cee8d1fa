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
KEYS = {np.uint8: [0, 17, 100, 101, 200, 256], np.uint16: [3, 1000, 40000, 65535, 65536],
        np.bool_: [0, 1, 2]}


class CLUT(ctypes.Structure):
    _fields_ = [("num", ctypes.c_int32), ("key", P32), ("value", P32), ("factor", P32),
                ("interpolateType", ctypes.c_int32)]


def table(channels, keys, values=None, factors=None, interpolate=0):
    """A C table of records, one per channel: the table, the value arrays,
    and what must stay alive while it is used."""
    held = []
    for _ in range(channels):
        k = np.array(keys, np.int32)
        v, f = (np.array(np.zeros(len(k)) if x is None else x, np.int32) for x in (values, factors))
        held += [k, v, f, CLUT(len(k), *(a.ctypes.data_as(P32) for a in (k, v, f)), interpolate)]
    recs = [ctypes.pointer(r) for r in held[3::4]]
    return (ctypes.POINTER(CLUT) * channels)(*recs), held[1::4], held


def py_luts(src, keys, *rest, **kw):
    ch = src.shape[2] if src.ndim == 3 else 1
    return [zol.LUT(keys, *rest, **kw) for _ in range(ch)]


def histo(s):
    luts = zol.compute_histo(s, py_luts(s, KEYS[s.dtype.type]))
    return [lut.values for lut in luts]


def ref_histo(s):
    t, values, held = table(s.shape[2] if s.ndim == 3 else 1, KEYS[s.dtype.type])
    cref("zolComputeHisto", s, t)
    return values


def mapped(fname, s, keys, *rest, equalize=False):
    t, values, held = table(s.shape[2] if s.ndim == 3 else 1, keys, *rest)
    if equalize:
        cref("zolComputeHisto", s, t)
    dst = np.zeros_like(s)
    cref(fname, s, dst, t)
    return [dst] + values


def equalize(s):
    luts = zol.compute_histo(s, py_luts(s, KEYS[s.dtype.type]))
    return [zol.histo_equalize(s, luts)] + [lut.values for lut in luts]


def ref_moments(s, coi):
    state = (DOUBLE * 32)()
    cref("zolMoments", (s, dict(coi=coi)), ctypes.byref(state))
    return [cref(f"zolGet{k}Moment", ctypes.byref(state), m, n, restype=DOUBLE)
            for m, n in ORDERS for k in ("Spatial", "NormalizedSpatial", "Central", "NormalizedCentral")]


def moments(s, coi):
    mo = zol.moments(s, coi=coi - 1 if coi else None)
    return [f(m, n) for m, n in ORDERS
            for f in (mo.spatial, mo.normalized_spatial, mo.central, mo.normalized_central)]


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
    ("histo", histo, ref_histo, [np.uint8, np.uint16, np.bool_]),
    ("stretch", lambda s: [zol.contrast_stretch(s, zol.LUT([5, 90, 200, 256], [9, 300, 7, 1]))],
     lambda s: mapped("zolContrastStretch", s, [5, 90, 200, 256], [9, 300, 7, 1])[:1], [np.uint8]),
    ("stretch-lines", lambda s: [zol.contrast_stretch(s, zol.LUT(
        [0, 9000, 65536], [70, 60000, 0], [3, -1, 0], interpolate=True))],
     lambda s: mapped("zolContrastStretch", s, [0, 9000, 65536], [70, 60000, 0], [3, -1, 0],
                      1)[:1],
     [np.uint16]),
    ("equalize", equalize, lambda s: mapped("zolHistoEqualize", s, KEYS[s.dtype.type],
                                           equalize=True), [np.uint8, np.uint16]),
    ("norm-l2", lambda s: zol.norm(s), lambda s: cref("zolNorm", s, None, 4, restype=DOUBLE),
     INTS + [np.bool_]),
    ("norm-l1-diff", lambda s: zol.norm(s, s[::-1], "l1", roi=ROI),
     lambda s: cref("zolNorm", (s, dict(roi=ROI)), (s[::-1].copy(), dict(roi=ROI)), 2,
                    restype=DOUBLE), INTS),
    ("norm-max-rel", lambda s: zol.norm(s, s // 2 + 1, zol.Norm.MAX, relative=True),
     lambda s: cref("zolNorm", s, s // 2 + 1, 9, restype=DOUBLE), [np.uint8, np.int16]),
    ("moments", lambda s: moments(s, 2 if s.ndim == 3 else 0),
     lambda s: ref_moments(s, 2 if s.ndim == 3 else 0), INTS + [np.float32, np.bool_]),
] + [(f"{name}-moment", lambda s, f=f: [f(s, m, n, roi=ROI) for m, n in ORDERS],
      lambda s, c=c: [cref(c, (s, dict(roi=ROI)), m, n, restype=DOUBLE) for m, n in ORDERS],
      [np.uint8, np.int32, np.float32])
     for name, f, c in [("spatial", zol.spatial_moment, "zolSpatialMoment"),
                        ("nspatial", zol.normalized_spatial_moment, "zolNormalizedSpatialMoment"),
                        ("central", zol.central_moment, "zolCentralMoment"),
                        ("ncentral", zol.normalized_central_moment, "zolNormalizedCentralMoment")]]


@pytest.mark.parametrize("fn, expected, dtype, channels", [
    pytest.param(fn, expected, dt, ch, id=f"{name}-{np.dtype(dt).name}-{ch}")
    for name, fn, expected, dtypes in CASES for dt in dtypes
    for ch in ((1,) if dt == np.bool_ or "-moment" in name else (1, 3))])
def test_same_as_library(fn, expected, dtype, channels):
    src = rand((11, 13, channels)[:2 if channels == 1 else 3], dtype, seed=channels + 4)
    got, want = fn(src), expected(src)
    if not isinstance(got, list):
        got, want = [got], [want]
    assert len(got) == len(want)
    for g, w in zip(got, want):
        np.testing.assert_array_equal(g, w)


def test_lut_records():
    lut = zol.LUT([0, 128, 256], interpolate=True)
    assert (lut.keys.tolist(), lut.values.tolist(), lut.interpolate) == ([0, 128, 256], [0] * 3, True)
    lut.values[:] = [1, 2, 3]  # a view of the record: the library sees it
    stretched = zol.contrast_stretch(np.uint8([[0, 200]]), lut)
    assert stretched.tolist() == [[1, 2]]
    pytest.raises(ValueError, zol.LUT, [0, 256], [1, 2, 3])
    assert zol.norm(np.uint8([[3, 4]]), kind="max") == zol.norm(np.uint8([[1, 4]]), kind=zol.Norm.MAX)


def test_errors():
    with pytest.raises(zol.Error) as e:
        zol.moments(rand((4, 5, 3), np.uint8))
    assert (e.value.status, e.value.context) == (-5, "Only one channel can be proceed")
    with pytest.raises(zol.Error, match="Illegal order of moment"):
        zol.moments(rand((4, 5), np.uint8)).central(2, 2)
    pytest.raises(ValueError, zol.norm, rand((4, 5), np.uint8), kind="l3")
