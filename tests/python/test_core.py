"""What the bindings add over the library: arrays as headers without
copies, regions, channel and mask as cropping, errors, the GIL, memory."""
import ctypes
import os
import sys
import threading
import tracemalloc

import numpy as np
import pytest
import zol
from conftest import IMAGE_TYPES, LIB, cref, rand

# (Python call, C function) pairs over two sources and a destination.
DYADIC = [(zol.add, "zolAdd"), (zol.subtract, "zolSubtract"), (zol.multiply, "zolMultiply"),
          (zol.and_, "zolAnd"), (zol.or_, "zolOr"), (zol.xor, "zolXor")]
MONADIC = [(zol.not_, "zolNot"), (zol.square, "zolSquare"), (zol.abs_, "zolAbs"),
           (zol.copy, "zolCopy")]
CONSTANT = [(lambda s: zol.add_s(s, 7), "zolAddS", 7), (lambda s: zol.multiply_s(s, 3), "zolMultiplyS", 3),
            (lambda s: zol.and_s(s, 0x5A), "zolAndS", 0x5A), (lambda s: zol.or_s(s, 0x81), "zolOrS", 0x81),
            (lambda s: zol.xor_s(s, 0xF0F0), "zolXorS", 0xF0F0), (lambda s: zol.lshift(s, 3), "zolLShiftS", 3),
            (lambda s: zol.rshift(s, 2), "zolRShiftS", 2)]
SHAPES = [(5, 13), (3, 7, 3), (1, 67), (6, 1, 4)]


def supported(dtype, cfunc):
    return not (np.dtype(dtype) == np.float32 and cfunc in ("zolAnd", "zolOr", "zolXor", "zolNot",
                "zolAbs", "zolAddS", "zolMultiplyS", "zolAndS", "zolOrS", "zolXorS",
                "zolLShiftS", "zolRShiftS"))


@pytest.mark.parametrize("dtype", IMAGE_TYPES + [np.bool_])
@pytest.mark.parametrize("shape", SHAPES)
def test_functions_equal_direct_calls(dtype, shape):
    if dtype == np.bool_ and len(shape) == 3:
        shape = shape[:2]
    a, b = rand(shape, dtype, 1), rand(shape, dtype, 2)
    for fn, cfunc in DYADIC:
        if supported(dtype, cfunc):
            ref = np.zeros_like(a)
            cref(cfunc, a, b, ref)
            np.testing.assert_array_equal(fn(a, b), ref, err_msg=cfunc)
    for fn, cfunc in MONADIC:
        if supported(dtype, cfunc):
            ref = np.zeros_like(a)
            cref(cfunc, a, ref)
            np.testing.assert_array_equal(fn(a), ref, err_msg=cfunc)
    for fn, cfunc, value in CONSTANT:
        if supported(dtype, cfunc) and dtype != np.bool_:
            ref = np.zeros_like(a)
            cref(cfunc, a, ref, value)
            np.testing.assert_array_equal(fn(a), ref, err_msg=cfunc)
    if np.dtype(dtype) == np.float32:
        ref = np.zeros_like(a)
        cref("zolSubtractSFP", a, ref, np.float32(2.5), 1)
        np.testing.assert_array_equal(zol.subtract_s(a, 2.5, flip=True), ref)


def test_views_are_read_and_written_in_place():
    base = rand((9, 40, 3), np.uint8, 3)
    keep = base.copy()
    view = base[1:8, 5:33]                      # rows with gaps between them
    other = rand(view.shape, np.uint8, 4)
    expect = zol.add(np.ascontiguousarray(view), other)
    got = zol.add(view, other, out=view)
    assert got is view and np.shares_memory(got, base)
    np.testing.assert_array_equal(base[1:8, 5:33], expect)
    outside = np.ones(base.shape, bool)
    outside[1:8, 5:33] = False
    np.testing.assert_array_equal(base[outside], keep[outside])
    # every other row, and a row length that is no whole number of words
    base = rand((11, 13), np.uint8, 5)
    keep = base.copy()
    zol.not_(base[::2], out=base[::2])
    np.testing.assert_array_equal(base[::2], ~keep[::2])
    np.testing.assert_array_equal(base[1::2], keep[1::2])
    zol.set(base, 9)
    assert (base == 9).all()


def test_layouts_headers_cannot_hold():
    a = rand((6, 10), np.int16, 6)
    np.testing.assert_array_equal(zol.add_s(a.T, 1), zol.add_s(np.ascontiguousarray(a.T), 1))
    with pytest.raises(ValueError):
        zol.add_s(a, 1, out=np.zeros((10, 6), np.int16).T)
    with pytest.raises(TypeError, match="float64"):
        zol.add(np.zeros((2, 2)), np.zeros((2, 2)))
    with pytest.raises(ValueError, match="dimensions"):
        zol.not_(np.zeros((2, 2, 2, 2), np.uint8))
    ro = np.zeros((4, 4), np.uint8)
    ro.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        zol.copy(a.astype(np.uint8)[:4, :4], out=ro)


@pytest.mark.parametrize("dtype", [np.uint8, np.float32, np.bool_])
def test_roi_coi_mask_equal_cropping(dtype):
    shape = (12, 17) if dtype == np.bool_ else (12, 17, 3)
    a, b = rand(shape, dtype, 8), rand(shape, dtype, 9)
    x, y, w, h = 3, 2, 9, 7
    got = zol.add(a, b, roi=(x, y, w, h))
    crop = (slice(y, y + h), slice(x, x + w))
    np.testing.assert_array_equal(got[crop], zol.add(a[crop], b[crop]))
    got[crop] = a[crop]
    np.testing.assert_array_equal(got, a)
    mask = rand(shape[:2], np.bool_, 10)
    got = zol.add(a, b, mask=mask)
    np.testing.assert_array_equal(got[mask], zol.add(a, b)[mask])
    np.testing.assert_array_equal(got[~mask], a[~mask])
    got = zol.add(a, b, roi=(x, y, w, h), mask=mask)
    sub = zol.add(a[crop], b[crop], mask=np.ascontiguousarray(mask[crop]))
    np.testing.assert_array_equal(got[crop], sub)
    if dtype != np.bool_:
        got = zol.add(a, b, coi=1)
        np.testing.assert_array_equal(got[..., 1], zol.add(a[..., 1].copy(), b[..., 1].copy()))
        np.testing.assert_array_equal(got[..., [0, 2]], a[..., [0, 2]])


def test_errors_carry_the_library_report():
    a = np.zeros((4, 4, 3), np.uint8)
    with pytest.raises(zol.Error) as e:
        zol.add(a, np.zeros((4, 4, 2), np.uint8))
    assert (e.value.status, e.value.function, e.value.call) == (-5, "zolAdd", "zolAdd")
    assert e.value.context == "(nChSrcB != nChDst)" and "zolAdd" in str(e.value)
    with pytest.raises(zol.Error) as e:
        zol.and_(a.astype(np.float32), a.astype(np.float32))
    assert e.value.context == "This function does not support depth 32F"
    with pytest.raises(zol.Error) as e:
        zol.add(a, a, coi=5)
    assert e.value.status == -24
    # the thread's handler and mode are put back after a failing call
    LIB.zolSetErrMode(1)
    LIB.zolRedirectError.restype = ctypes.c_void_p
    mine = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p,
                            ctypes.c_char_p, ctypes.c_int)(lambda *r: 0)
    before = LIB.zolRedirectError(mine)
    with pytest.raises(zol.Error):
        zol.add(a, np.zeros((4, 4, 2), np.uint8))
    assert LIB.zolRedirectError(before) == ctypes.cast(mine, ctypes.c_void_p).value
    assert LIB.zolGetErrMode() == 1
    LIB.zolSetErrMode(2)


def test_threads_run_calls_at_once():
    assert zol._zol._released_during_call()
    a = rand((256, 256), np.int16, 11)
    expect = zol.add_s(a, 5)
    results = [None] * 4

    def work(i):
        for _ in range(50):
            results[i] = zol.add_s(a, 5)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for r in results:
        np.testing.assert_array_equal(r, expect)


def test_arrays_stay_alive_and_nothing_leaks():
    a, b = rand((16, 16, 3), np.uint8, 12), rand((16, 16, 3), np.uint8, 13)
    mask = rand((16, 16), np.bool_, 14)
    counts = [sys.getrefcount(x) for x in (a, b, mask)]
    out = zol.add(a, b, mask=mask, roi=(1, 1, 9, 9))
    del out
    assert [sys.getrefcount(x) for x in (a, b, mask)] == counts

    def calls(n):
        for _ in range(n):
            zol.add(a, b, mask=mask, roi=(1, 1, 9, 9))
            try:
                zol.add(a, a[..., :2].copy())
            except zol.Error:
                pass

    calls(100)
    tracemalloc.start()
    first = tracemalloc.take_snapshot()
    calls(10000)
    grown = sum(s.size_diff for s in tracemalloc.take_snapshot().compare_to(first, "filename"))
    tracemalloc.stop()
    assert grown < 64 * 1024, f"{grown} bytes more after 10,000 calls"


def test_readme_and_guide_examples_run():
    root = os.path.join(os.path.dirname(__file__), "..", "..")
    for doc in ("README.md", "docs/python.md"):
        with open(os.path.join(root, doc)) as f:
            code = f.read().split("```python\n")[1].split("```")[0]
        space = {}
        exec(code, space)
        assert space["smooth"].shape == (480, 640)
