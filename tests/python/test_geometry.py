"""Geometry bindings against direct calls of the library on the same data."""
import ctypes

import numpy as np
import pytest

import zol
from conftest import Header, cref, rand

H, W = 11, 17  # odd on purpose
M = [[0.9, 0.2, 1.5], [-0.1, 1.1, -0.7]]
BILINEAR = [[0.001, 1.1, 0.1, 2.0], [0.002, -0.1, 0.9, 3.0]]
PERSPECTIVE = [[1.0, 0.1, 2.0], [0.05, 1.0, 1.0], [0.001, 0.002, 1.0]]
QUAD = [[1.0, 2.0], [15.0, 3.0], [14.0, 12.0], [2.0, 10.0]]
PARALLELOGRAM = [[1.0, 2.0], [15.0, 3.0], [16.0, 12.0], [2.0, 11.0]]


def doubles(rows):
    rows = np.asarray(rows, float)
    return ((ctypes.c_double * rows.shape[1]) * rows.shape[0])(
        *[(ctypes.c_double * rows.shape[1])(*r) for r in rows])


def out(fname, shape, dtype, src, *args, dst_kw=None, src_kw=None):
    """fname(src, dst, *args) into zeros of the given shape (or a copy of
    the array given as shape); returns dst."""
    dst = shape.copy() if isinstance(shape, np.ndarray) else np.zeros(shape, dtype)
    cref(fname, (src, src_kw or {}), (dst, dst_kw or {}), *args)
    return dst


def value(fname, n, cols, src, *args, roi=None):
    """A helper's double[n][cols] result as an array."""
    res = doubles(np.zeros((n, cols)))
    cref(fname, (src, dict(roi=roi)), *args, res)
    return np.array(res)


def transform_ref(fname, rows, cols, src, quad, roi=None):
    res = doubles(np.zeros((rows, cols)))
    cref(fname, (src, dict(roi=roi)), res, doubles(quad))
    return np.array(res)


def rotate_ref(s, angle, center):
    xs, ys = ctypes.c_double(0), ctypes.c_double(0)
    cref("zolGetRotateShift", float(center[0]), float(center[1]), float(angle),
         ctypes.byref(xs), ctypes.byref(ys))
    return out("zolRotate", s.shape, s.dtype, s, float(angle), xs.value, ys.value, 1)


def mirror_masked(s, axis, mask):
    dst = s.copy()
    h, m = Header(dst), Header(mask)
    h.image.maskROI = ctypes.pointer(m.image)
    cref("zolMirror", s, h, axis)
    return dst


def mirror_in_place(s, axis):
    h = Header(s)
    cref("zolMirror", h, h, axis)
    return s


def shape(c, h=H, w=W):
    return (h, w) if c == 1 else (h, w, c)


# (id, dtype, channels, binding(src), reference(src))
CASES = [
    ("resize-size", [np.uint8, np.uint16, np.bool_], 1,
     lambda s: zol.resize(s, (23, 7)),
     lambda s: out("zolResize", (7, 23) + s.shape[2:], s.dtype, s, 23, W, 7, H, 1)),
    ("resize-size-c3", [np.uint8, np.uint16], 3,
     lambda s: zol.resize(s, (6, 20), "cubic"),
     lambda s: out("zolResize", (20, 6, 3), s.dtype, s, 6, W, 20, H, 2)),
    ("resize-factors", [np.uint8, np.uint16], 3,
     lambda s: zol.resize(s, interp="nearest", factors=(0.5, (2, 3))),
     lambda s: out("zolResize", (7, 8, 3), s.dtype, s, 1, 2, 2, 3, 0)),
    ("resize-regions", [np.uint8, np.uint16], 3,
     lambda s: zol.resize(s, (20, 20), zol.Interp.CUBIC, roi=(2, 1, 9, 7),
                          dst_roi=(3, 2, 14, 12), coi=1),
     lambda s: out("zolResize", (20, 20, 3), s.dtype, s, 14, 9, 12, 7, 2,
                   src_kw=dict(roi=(2, 1, 9, 7), coi=2),
                   dst_kw=dict(roi=(3, 2, 14, 12), coi=2))),
    ("resize-area", [np.uint8, np.uint16], 3,
     lambda s: zol.resize(s, (8, 5), "area"),
     lambda s: out("zolResize", (5, 8, 3), s.dtype, s, 8, W, 5, H, 3)),
    ("zoom", [np.uint8, np.bool_], 1,
     lambda s: zol.zoom(s, (30, 20), "cubic"),
     lambda s: out("zolZoom", (20, 30), s.dtype, s, 30, W, 20, H, 2)),
    ("decimate", [np.uint8, np.uint16], 3,
     lambda s: zol.decimate(s, (9, 6), "linear"),
     lambda s: out("zolDecimate", (6, 9, 3), s.dtype, s, 9, W, 6, H, 1)),
    ("decimate-out", [np.uint16], 1,
     lambda s: zol.decimate(s, interp="super", out=np.zeros((5, 7), np.uint16)),
     lambda s: out("zolDecimate", (5, 7), s.dtype, s, 7, W, 5, H, 3)),
    ("mirror", [np.uint8, np.int16, np.int32, np.bool_], 1,
     lambda s: zol.mirror(s, 0),
     lambda s: out("zolMirror", s.shape, s.dtype, s, 0)),
    ("mirror-both-c3", [np.uint8, np.uint16], 3,
     lambda s: zol.mirror(s, None),
     lambda s: out("zolMirror", s.shape, s.dtype, s, -1)),
    ("mirror-roi", [np.int8, np.int32], 3,
     lambda s: zol.mirror(s, 1, roi=(1, 2, 9, 5), coi=2),
     lambda s: out("zolMirror", s, None, s, 1, src_kw=dict(roi=(1, 2, 9, 5), coi=3),
                   dst_kw=dict(roi=(1, 2, 9, 5), coi=3))),
    ("mirror-mask", [np.uint8, np.uint16], 1,
     lambda s: zol.mirror(s, 1, mask=rand((H, W), np.bool_, 9)),
     lambda s: mirror_masked(s, 1, rand((H, W), np.bool_, 9))),
    ("mirror-in-place", [np.uint8, np.bool_], 1,
     lambda s: zol.mirror(s, -1, out=s),
     lambda s: mirror_in_place(s, -1)),
    ("warp-affine", [np.uint8, np.uint16], 3,
     lambda s: zol.warp_affine(s, M, "cubic", dsize=(19, 13)),
     lambda s: out("zolWarpAffine", (13, 19, 3), s.dtype, s, doubles(M), 2)),
    ("warp-affine-nearest", [np.bool_, np.uint16], 1,
     lambda s: zol.warp_affine(s, M, "nearest"),
     lambda s: out("zolWarpAffine", s.shape, s.dtype, s, doubles(M), 0)),
    ("warp-affine-regions", [np.uint8], 3,
     lambda s: zol.warp_affine(s, M, roi=(2, 2, 10, 6), dst_roi=(1, 1, 15, 9), coi=0),
     lambda s: out("zolWarpAffine", s.shape, s.dtype, s, doubles(M), 1,
                   src_kw=dict(roi=(2, 2, 10, 6), coi=1), dst_kw=dict(roi=(1, 1, 15, 9), coi=1))),
    ("rotate", [np.uint8, np.uint16], 3,
     lambda s: zol.rotate(s, 30.0, (2.0, -1.0), "cubic"),
     lambda s: out("zolRotate", s.shape, s.dtype, s, 30.0, 2.0, -1.0, 2)),
    ("rotate-center", [np.uint8], 1,
     lambda s: zol.rotate(s, -20.0, center=(8, 5)),
     lambda s: rotate_ref(s, -20.0, (8, 5))),
    ("shear", [np.uint8, np.bool_], 1,
     lambda s: zol.shear(s, (0.2, -0.1), (1.0, 2.0), "nearest"),
     lambda s: out("zolShear", s.shape, s.dtype, s, 0.2, -0.1, 1.0, 2.0, 0)),
    ("affine-quad", [np.uint8], 1,
     lambda s: zol.get_affine_quad(s, M, roi=(1, 1, 9, 9)),
     lambda s: value("zolGetAffineQuad", 4, 2, s, doubles(M), roi=(1, 1, 9, 9))),
    ("affine-bound", [np.uint8], 1,
     lambda s: zol.get_affine_bound(s, M),
     lambda s: value("zolGetAffineBound", 2, 2, s, doubles(M))),
    ("affine-transform", [np.uint8], 1,
     lambda s: zol.get_affine_transform(s, PARALLELOGRAM),
     lambda s: transform_ref("zolGetAffineTransform", 2, 3, s, PARALLELOGRAM)),
    ("bilinear-quad", [np.uint8], 1,
     lambda s: zol.get_bilinear_quad(s, BILINEAR),
     lambda s: value("zolGetBilinearQuad", 4, 2, s, doubles(BILINEAR))),
    ("bilinear-bound", [np.uint8], 1,
     lambda s: zol.get_bilinear_bound(s, BILINEAR),
     lambda s: value("zolGetBilinearBound", 2, 2, s, doubles(BILINEAR))),
    ("bilinear-transform", [np.uint8], 1,
     lambda s: zol.get_bilinear_transform(s, QUAD),
     lambda s: transform_ref("zolGetBilinearTransform", 2, 4, s, QUAD)),
    ("perspective-quad", [np.uint8], 1,
     lambda s: zol.get_perspective_quad(s, PERSPECTIVE),
     lambda s: value("zolGetPerspectiveQuad", 4, 2, s, doubles(PERSPECTIVE))),
    ("perspective-bound", [np.uint8], 1,
     lambda s: zol.get_perspective_bound(s, PERSPECTIVE),
     lambda s: value("zolGetPerspectiveBound", 2, 2, s, doubles(PERSPECTIVE))),
    ("perspective-transform", [np.uint8], 1,
     lambda s: zol.get_perspective_transform(s, QUAD, roi=(2, 1, 12, 8)),
     lambda s: transform_ref("zolGetPerspectiveTransform", 3, 3, s, QUAD, roi=(2, 1, 12, 8))),
]


@pytest.mark.parametrize("case,dtype", [(c, d) for c in CASES for d in c[1]],
                         ids=lambda v: v[0] if isinstance(v, tuple) else np.dtype(v).name)
def test_against_library(case, dtype):
    _, _, channels, binding, reference = case
    src = rand(shape(channels), dtype, 3)
    got = binding(src.copy())
    np.testing.assert_array_equal(got, reference(src.copy()))
    assert got.dtype == src.dtype or got.dtype == np.float64


def test_interp_names_and_errors():
    s = rand((H, W), np.uint8)
    np.testing.assert_array_equal(zol.resize(s, (9, 9), "nearest"),
                                  zol.resize(s, (9, 9), zol.Interp.NEAREST))
    with pytest.raises(ValueError, match="interp"):
        zol.resize(s, (9, 9), "bicubic")
    with pytest.raises(TypeError):
        zol.resize(s)
    with pytest.raises(zol.Error) as e:
        zol.warp_affine(s, [[1, 2, 0], [2, 4, 0]])
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolWarpAffine", "Determinant of transform matrix == 0.0")
