"""Alpha and scaled multiplication: each Python call against the same
library call made directly. Two and four channels carry alpha."""
import numpy as np
import pytest
import zol
from conftest import cref, rand

ROI = (1, 2, 8, 5)
OPS = ["over", "in", "out", "atop", "xor", "plus"]


def alpha(a):
    return a.ndim == 3 and a.shape[2] in (2, 4)


def alpha_images(a, b):
    return [a[..., 0].copy(), b[..., -1].copy(), np.zeros(a.shape[:2], a.dtype)]


def ref(fname, *args, images=2, alphas=False, roi=None, keyword=True):
    """fname(sources, dst, args[0], alpha images if alphas, args[1:]) made
    directly, dst starting as a copy of a (the image itself with images=0);
    with the alpha written."""
    def run(a, b):
        x, dst = alpha_images(a, b) if alphas else [], a.copy()
        cref(fname, *[(y, dict(alpha=keyword and alpha(y), roi=roi)) for y in (a, b)[:images]],
             (dst, dict(alpha=keyword and alpha(dst), roi=roi)), *args[:1],
             *[(y, dict(alpha=True, roi=roi)) for y in x], *args[1:])
        return np.dstack([dst, x[2]]) if alphas else dst
    return run


def with_images(op, **kw):
    def run(a, b):
        x = alpha_images(a, b)
        got = zol.alpha_composite(a, b, op, alpha_a=x[0], alpha_b=x[1], alpha_out=x[2], **kw)
        return np.dstack([got, x[2]])
    return run


def premultiplied(a, *args, **kw):
    a = a.copy()
    zol.pre_multiply_alpha(a, *args, **kw)
    return a


CASES = [  # (name, Python call, the same through the library, channel counts)
    ("premultiply", lambda a, b: premultiplied(a), ref("zolPreMultiplyAlpha", -1, images=0),
     (2, 4)),
    ("premultiply-value", lambda a, b: premultiplied(a, 100, roi=ROI),
     ref("zolPreMultiplyAlpha", 100, images=0, roi=ROI), (1, 3, 4)),
    ("multiply-scale", lambda a, b: zol.multiply_scale(a, b, roi=ROI),
     ref("zolMultiplyScale", roi=ROI), (1, 3, 4)),
    ("multiply-scale-no-alpha", lambda a, b: zol.multiply_scale(a, b, alpha=False),
     ref("zolMultiplyScale", keyword=False), (2, 4)),
    ("multiply-s-scale", lambda a, b: zol.multiply_s_scale(a, 77),
     ref("zolMultiplySScale", 77, images=1), (1, 2, 4)),
    ("composite-c", lambda a, b: zol.alpha_composite(a, b, zol.Composite.ATOP, alpha_a=200),
     ref("zolAlphaCompositeC", 3, 200, -1, 0, 0), (2, 4)),
    ("composite-c-both", lambda a, b: zol.alpha_composite(a, b, "xor", alpha_a=9, alpha_b=300,
                                                           divide=True),
     ref("zolAlphaCompositeC", 4, 9, 300, 0, 1), (1, 3)),
    ("images-premul", with_images("out", premultiplied=True),
     ref("zolAlphaComposite", 2, 1, 0, alphas=True), (3,)),
    ("images-divide", with_images("plus", divide=True, roi=ROI),
     ref("zolAlphaComposite", 5, 0, 1, alphas=True, roi=ROI), (3,)),
] + [(f"composite-{op}", lambda a, b, op=op: zol.alpha_composite(a, b, op),
      ref("zolAlphaComposite", OPS.index(op), None, None, None, 0, 0), (2, 4)) for op in OPS]


@pytest.mark.parametrize("fn, expected, dtype, channels", [
    pytest.param(fn, expected, dt, ch, id=f"{name}-{np.dtype(dt).name}-{ch}")
    for name, fn, expected, chans in CASES for dt in (np.uint8, np.uint16) for ch in chans])
def test_same_as_library(fn, expected, dtype, channels):
    # Rows of whole 4-byte words, the layout the direct calls need.
    shape = (9, 12, channels)[:2 if channels == 1 else 3]
    a, b = rand(shape, dtype, seed=1), rand(shape, dtype, seed=2)
    np.testing.assert_array_equal(fn(a, b), expected(a, b))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_rows_of_any_layout(dtype):
    # The family steps through rows of whole words: odd widths and views
    # go through copies, written back in place.
    a, b = rand((6, 12, 3), dtype, 1), rand((6, 12, 3), dtype, 2)
    whole = zol.multiply_scale(a, b)
    np.testing.assert_array_equal(zol.multiply_scale(a[:, 1:6], b[:, 1:6]), whole[:, 1:6])
    out = np.zeros((6, 12, 3), dtype)
    zol.multiply_scale(a[:, :5].copy(), b[:, :5], out=out[:, 2:7])
    np.testing.assert_array_equal(out[:, 2:7], whole[:, :5])
    assert not out[:, 7:].any() and not out[:, :2].any()
    ga = rand((5, 12, 2), dtype, 3)
    expected = ga.copy()
    zol.pre_multiply_alpha(expected)
    zol.pre_multiply_alpha(ga[:, 3:10])
    np.testing.assert_array_equal(ga[:, 3:10], expected[:, 3:10])


def test_errors():
    a = rand((4, 5, 3), np.uint8)
    with pytest.raises(zol.Error) as e:
        zol.alpha_composite(a, a)
    assert (e.value.status, e.value.function, e.value.context) == (
        -5, "zolAlphaComposite", "srcImageA->alphaChannel < 1")
    pytest.raises(ValueError, zol.alpha_composite, a, a, "under")
    pytest.raises(TypeError, zol.alpha_composite, a, a, alpha_a=3, alpha_b=a[..., 0])
