"""Geometry bindings against direct calls of the library on the same data."""
import ctypes

import numpy as np
import pytest

import zol
from conftest import Header, cref, rand

H, W = 11, 17  # odd on purpose
U8, U16, BITS = (np.uint8, 1), (np.uint16, 1), (np.bool_, 1)
U8C3, U16C3 = (np.uint8, 3), (np.uint16, 3)
M = [[0.9, 0.2, 1.5], [-0.1, 1.1, -0.7]]
MAPS = {"affine": M, "bilinear": [[0.001, 1.1, 0.1, 2.0], [0.002, -0.1, 0.9, 3.0]],
        "perspective": [[1.0, 0.1, 2.0], [0.05, 1.0, 1.0], [0.001, 0.002, 1.0]]}
QUADS = {"affine": [[1, 2], [15, 3], [16, 12], [2, 11]],
         "bilinear": [[1, 2], [15, 3], [14, 12], [2, 10]]}
QUADS["perspective"] = QUADS["bilinear"]


def doubles(rows):
    rows = np.asarray(rows, float)
    return ((ctypes.c_double * rows.shape[1]) * rows.shape[0])(*map(tuple, rows))


def out(fname, size, s, *args, src_kw=None, dst_kw=None):
    """fname(s, dst, *args) into zeros of size (h, w), or of s's size, or
    into a copy of s when size is s; dst_kw may hold a mask. Returns dst."""
    dst = s.copy() if size is s else np.zeros((size or s.shape[:2]) + s.shape[2:], s.dtype)
    kw = dict(dst_kw or {})
    mask = kw.pop("mask", None)
    d = Header(dst, **kw)
    if mask is not None:
        m = Header(mask, roi=kw.get("roi"))
        d.image.maskROI = ctypes.pointer(m.image)
    cref(fname, (s, src_kw or {}), d, *args)
    return dst


def helper(kind, what, roi):
    """zolGet<Kind><What> of an image as an array."""
    fname = f"zolGet{kind.capitalize()}{what.capitalize()}"
    if what == "transform":
        res = doubles(np.zeros(np.shape(MAPS[kind])))
        return lambda s: np.array(cref(fname, (s, dict(roi=roi)), res, doubles(QUADS[kind]))
                                  or res)
    res = doubles(np.zeros((4 if what == "quad" else 2, 2)))
    return lambda s: np.array(cref(fname, (s, dict(roi=roi)), doubles(MAPS[kind]), res) or res)


def rotated(s):
    xs, ys = ctypes.c_double(0), ctypes.c_double(0)
    cref("zolGetRotateShift", 8.0, 5.0, -20.0, ctypes.byref(xs), ctypes.byref(ys))
    return out("zolRotate", None, s, -20.0, xs.value, ys.value, 1)


def in_place(s):
    h = Header(s)
    cref("zolMirror", h, h, -1)
    return s


MASK, MASK2 = rand((H, W), np.bool_, 9), rand((20, 20), np.bool_, 8)
R1, R2 = (2, 1, 9, 7), (3, 2, 14, 12)

# (id, [(dtype, channels)], binding(src), reference(src))
CASES = [
    ("resize", [U8, U16C3, BITS], lambda s: zol.resize(s, (23, 7)),
     lambda s: out("zolResize", (7, 23), s, 23, W, 7, H, 1)),
    ("resize-factors", [U8C3, U16], lambda s: zol.resize(s, interp="nearest",
                                                         factors=(0.5, (2, 3))),
     lambda s: out("zolResize", (7, 8), s, 1, 2, 2, 3, 0)),
    ("resize-regions", [U8C3, U16C3],
     lambda s: zol.resize(s, (20, 20), zol.Interp.CUBIC, roi=R1, dst_roi=R2, coi=1),
     lambda s: out("zolResize", (20, 20), s, 14, 9, 12, 7, 2, src_kw=dict(roi=R1, coi=2),
                   dst_kw=dict(roi=R2, coi=2))),
    ("resize-mask", [U8C3, U16], lambda s: zol.resize(s, (20, 20), dst_roi=R2, mask=MASK2),
     lambda s: out("zolResize", (20, 20), s, 14, W, 12, H, 1, dst_kw=dict(roi=R2, mask=MASK2))),
    ("resize-area", [U8C3, U16], lambda s: zol.resize(s, (8, 5), "area"),
     lambda s: out("zolResize", (5, 8), s, 8, W, 5, H, 3)),
    ("zoom", [U8, BITS], lambda s: zol.zoom(s, (30, 20), "cubic"),
     lambda s: out("zolZoom", (20, 30), s, 30, W, 20, H, 2)),
    ("decimate", [U8C3, U16C3], lambda s: zol.decimate(s, (9, 6)),
     lambda s: out("zolDecimate", (6, 9), s, 9, W, 6, H, 1)),
    ("decimate-out", [U16],
     lambda s: zol.decimate(s, interp="super", out=np.zeros((5, 7), s.dtype)),
     lambda s: out("zolDecimate", (5, 7), s, 7, W, 5, H, 3)),
    ("mirror", [U8, (np.int16, 1), (np.int32, 1), BITS, U16C3], lambda s: zol.mirror(s, 0),
     lambda s: out("zolMirror", None, s, 0)),
    ("mirror-roi", [(np.int8, 3), (np.int32, 3)], lambda s: zol.mirror(s, 1, roi=R1, coi=2),
     lambda s: out("zolMirror", s, s, 1, src_kw=dict(roi=R1, coi=3), dst_kw=dict(roi=R1, coi=3))),
    ("mirror-mask", [U8, U16], lambda s: zol.mirror(s, 1, mask=MASK),
     lambda s: out("zolMirror", s, s, 1, dst_kw=dict(mask=MASK))),
    ("mirror-in-place", [U8, BITS, U8C3], lambda s: zol.mirror(s, None, out=s), in_place),
    ("warp-affine", [U8C3, U16C3], lambda s: zol.warp_affine(s, M, "cubic", dsize=(19, 13)),
     lambda s: out("zolWarpAffine", (13, 19), s, doubles(M), 2)),
    ("warp-affine-nearest", [BITS, U16], lambda s: zol.warp_affine(s, M, "nearest"),
     lambda s: out("zolWarpAffine", None, s, doubles(M), 0)),
    ("warp-affine-regions", [U8C3], lambda s: zol.warp_affine(s, M, roi=R1, dst_roi=R2, coi=0),
     lambda s: out("zolWarpAffine", None, s, doubles(M), 1, src_kw=dict(roi=R1, coi=1),
                   dst_kw=dict(roi=R2, coi=1))),
    ("rotate", [U8C3, U16C3], lambda s: zol.rotate(s, 30.0, (2.0, -1.0), "cubic"),
     lambda s: out("zolRotate", None, s, 30.0, 2.0, -1.0, 2)),
    ("rotate-center", [U8], lambda s: zol.rotate(s, -20.0, center=(8, 5)), rotated),
    ("shear", [U8, BITS], lambda s: zol.shear(s, (0.2, -0.1), (1.0, 2.0), "nearest"),
     lambda s: out("zolShear", None, s, 0.2, -0.1, 1.0, 2.0, 0)),
] + [(f"warp-{kind}{q}-{flag}-{interp}", [U8C3, U16],
      lambda s, k=kind, q=q, f=flag, i=interp: getattr(zol, f"warp_{k}{q}")(
          s, QUADS[k] if q else MAPS[k], "nearest linear cubic".split()[i], from_quad=bool(f),
          dst_roi=R2 if f else None),
      lambda s, k=kind, q=q, f=flag, i=interp: out(
          f"zolWarp{k.capitalize()}{q.upper()[1:]}", None, s, doubles(QUADS[k] if q else MAPS[k]),
          f, i, dst_kw=dict(roi=R2) if f else None))
     for kind in ("bilinear", "perspective") for q in ("", "_q") for flag in (0, 1)
     for interp in (0, 1, 2) if interp == 1 or (q and flag)] + [(f"{kind}-{what}", [U8],
      lambda s, k=kind, w=what, r=roi: getattr(zol, f"get_{k}_{w}")(
          s, QUADS[k] if w == "transform" else MAPS[k], roi=r),
      helper(kind, what, roi))
     for kind in MAPS for what, roi in [("quad", R1), ("bound", None), ("transform", R2)]]


@pytest.mark.parametrize("case,kind", [(c, k) for c in CASES for k in c[1]],
                         ids=lambda v: v[0] if isinstance(v[0], str) else
                         f"{np.dtype(v[0]).name}x{v[1]}")
def test_against_library(case, kind):
    dtype, channels = kind
    src = rand((H, W) if channels == 1 else (H, W, channels), dtype, 3)
    got, want = case[2](src.copy()), case[3](src.copy())
    assert got.dtype == want.dtype
    np.testing.assert_array_equal(got, want)


def test_interp_names_and_errors():
    s = rand((H, W), np.uint8)
    np.testing.assert_array_equal(zol.resize(s, (9, 9), "nearest"),
                                  zol.resize(s, (9, 9), zol.Interp.NEAREST))
    with pytest.raises(ValueError, match="interp"):
        zol.resize(s, (9, 9), "bicubic")
    with pytest.raises(TypeError):
        zol.resize(s)
    with pytest.raises(zol.Error, match="in-pla"):
        zol.resize(s, out=s)  # one header, refused, not two over the same pixels
    with pytest.raises(zol.Error) as e:
        zol.warp_affine(s, [[1, 2, 0], [2, 4, 0]])
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolWarpAffine", "Determinant of transform matrix == 0.0")
