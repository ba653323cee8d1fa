"""What the Python package costs on top of the library: the time of a
wrapped call on a 16x16 image (an upper bound on the per-call overhead),
and wrapped calls on 1920x1080 images against the same C call made
directly through ctypes on headers built once.

    PYTHONPATH=build/dev/python ZOL_LIBRARY=build/dev/src/libzol.so.2 \\
        /usr/bin/python3 bench/python/overhead.py
"""
import os
import sys
import timeit

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tests", "python"))
from conftest import LIB, Header, rand  # noqa: E402
import zol  # noqa: E402


def best(fn, seconds=0.4):
    number = max(1, int(seconds / max(min(timeit.repeat(fn, number=1, repeat=3)), 1e-7)))
    return min(timeit.repeat(fn, number=number, repeat=5)) / number


def c_call(name, *args):
    fn = getattr(LIB, name)
    held = [Header(a) if isinstance(a, np.ndarray) else
            Header(a[0], **a[1]) if isinstance(a, tuple) else a for a in args]
    refs = [h.ref() if isinstance(h, Header) else h for h in held]
    return lambda held=held: fn(*refs)  # held keeps the pixels alive


def cases(h, w):
    a1, b1, o1 = rand((h, w), np.uint8, 1), rand((h, w), np.uint8, 2), np.zeros((h, w), np.uint8)
    a3, b3, o3 = rand((h, w, 3), np.uint8, 3), rand((h, w, 3), np.uint8, 4), np.zeros((h, w, 3), np.uint8)
    f1, g1, p1 = rand((h, w), np.float32, 5), rand((h, w), np.float32, 6), np.zeros((h, w), np.float32)
    import ctypes
    yield "add 8u c1", lambda: zol.add(a1, b1, out=o1), c_call("zolAdd", a1, b1, o1)
    yield "add 8u c3", lambda: zol.add(a3, b3, out=o3), c_call("zolAdd", a3, b3, o3)
    yield "add 32f c1", lambda: zol.add(f1, g1, out=p1), c_call("zolAdd", f1, g1, p1)
    yield "add_s 8u c3", lambda: zol.add_s(a3, 7, out=o3), c_call("zolAddS", a3, o3, 7)
    yield "xor 8u c1", lambda: zol.xor(a1, b1, out=o1), c_call("zolXor", a1, b1, o1)
    yield "copy 8u c3", lambda: zol.copy(a3, out=o3), c_call("zolCopy", a3, o3)
    yield "multiply_s 32f", lambda: zol.multiply_s(f1, 1.5, out=p1), \
        c_call("zolMultiplySFP", f1, p1, ctypes.c_float(1.5))
    for extra in EXTRA:
        yield from extra(h, w, c_call)


def filters(h, w, c_call):
    a, o = rand((h, w), np.uint8, 7), np.zeros((h, w), np.uint8)
    a3, o3 = rand((h, w, 3), np.uint8, 8), np.zeros((h, w, 3), np.uint8)
    yield "median_filter 5x5 c1", lambda: zol.median_filter(a, (5, 5), out=o), \
        c_call("zolMedianFilter", a, o, 5, 5, 2, 2)
    yield "fixed_filter sobel c3", lambda: zol.fixed_filter(a3, "sobel_v", out=o3), \
        c_call("zolFixedFilter", a3, o3, 2)
    f, g = rand((1024, 1024), np.float32, 9), np.zeros((1024, 1024), np.float32)
    yield "fft2 1024x1024 32f", lambda: zol.fft2(f, out=g), c_call("zolRealFft2D", f, g, 1)


def others(h, w, c_call):
    import ctypes
    a3, o3 = rand((h, w, 3), np.uint8, 10), np.zeros((h, w, 3), np.uint8)
    a1, b1 = rand((h, w), np.uint8, 11), rand((h, w), np.uint8, 12)
    small = np.zeros((720, 1280, 3), np.uint8)
    yield "resize to 1280x720 c3", lambda: zol.resize(a3, (1280, 720), out=small), \
        c_call("zolResize", a3, small, 1280, 1920, 720, 1080, 1)
    yield "rotate 30 linear c3", lambda: zol.rotate(a3, 30.0, out=o3), \
        c_call("zolRotate", a3, o3, ctypes.c_double(30.0), ctypes.c_double(0), ctypes.c_double(0), 1)
    yield "rgb_to_hsv c3", lambda: zol.rgb_to_hsv(a3, out=o3), c_call("zolRGB2HSV", a3, o3)
    yield "threshold c1", lambda: zol.threshold(a1, 128, out=b1), c_call("zolThreshold", a1, b1, 128)
    LIB.zolNorm.restype = ctypes.c_double
    yield "norm l2 of a - b c1", lambda: zol.norm(a1, b1, "l2"), c_call("zolNorm", a1, b1, 4)
    p, q, r = (rand((h, w, 4), np.uint8, s) for s in (13, 14, 15))
    yield "alpha_composite over c4", lambda: zol.alpha_composite(p, q, "over", out=r), \
        c_call("zolAlphaComposite", (p, dict(alpha=True)), (q, dict(alpha=True)),
               (r, dict(alpha=True)), 0, None, None, None, 0, 0)


# Families add generators of (name, python call, C call) here.
EXTRA = [filters, others]


def main():
    s, o = np.zeros((16, 16), np.uint8), np.zeros((16, 16), np.uint8)
    print(f"zol.add 16x16 with out=: {best(lambda: zol.add(s, s, out=o)) * 1e6:.2f} us per call")
    print(f"zol.add 16x16, new array: {best(lambda: zol.add(s, s)) * 1e6:.2f} us per call")
    print(f"{'1920x1080':24} {'C ms':>8} {'Python ms':>10} {'ratio':>6}")
    for name, py, c in cases(1080, 1920):
        # alternating, best of three rounds each, so that a change of load
        # on the machine falls on both
        tc = tp = float("inf")
        for _ in range(3):
            tc, tp = min(tc, best(c)), min(tp, best(py))
        print(f"{name:24} {tc * 1e3:8.3f} {tp * 1e3:10.3f} {tp / tc:6.3f}")


if __name__ == "__main__":
    main()
