"""The gallery's Python lines make the tool's pictures: the gallery is made
in a scratch directory by the tool, each entry's Python runs there with
imread/imsave reading and keeping arrays, and each kept array must equal
the tool's picture."""
import os
import re
import struct
import subprocess
import zlib

import numpy as np
import pytest
import zol

TOOL = os.environ.get("ZOL_TOOL")
SCRIPT = os.path.join(os.path.dirname(__file__), "..", "..", "scripts", "gallery.sh")
ENTRY = re.compile(r"^## (.*?)\n\n```sh\n([^`]*?)\n```\n\n```python\n([^`]*?)\n```", re.M)

pytestmark = pytest.mark.skipif(not TOOL, reason="the zol tool is not built")


def read_pnm(path):
    with open(path, "rb") as f:
        data = f.read()
    kind = data[:2]
    # P4 has no maximum value; its bits may follow the height at once
    fields = re.match(rb"P4\s+(\d+)\s+(\d+)\s" if kind == b"P4" else
                      rb"P[56]\s+(\d+)\s+(\d+)\s+(\d+)\s", data)
    w, h = int(fields.group(1)), int(fields.group(2))
    body = data[fields.end():]
    if kind == b"P4":
        bits = np.frombuffer(body, np.uint8).reshape(h, -1)
        return np.unpackbits(bits, axis=1, count=w) == 0  # PBM: 1 is black
    c = 3 if kind == b"P6" else 1
    dtype = np.dtype(">u2") if int(fields.group(3)) > 255 else np.dtype(np.uint8)
    a = np.frombuffer(body, dtype, h * w * c).astype(dtype.newbyteorder("="))
    return a.reshape((h, w, c) if c == 3 else (h, w))


def read_png(path):
    """8-bit PNG, not interlaced: chunks, inflate, the five row filters."""
    data, pos, idat = path.read_bytes(), 8, b""
    while pos < len(data):
        n, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body, pos = data[pos + 8:pos + 8 + n], pos + 12 + n
        if kind == b"IHDR":
            w, h, depth, colour = struct.unpack(">IIBB", body[:10])
        elif kind == b"IDAT":
            idat += body
    assert depth == 8
    bpp = {0: 1, 2: 3, 4: 2, 6: 4}[colour]
    raw, stride = zlib.decompress(idat), w * bpp
    out, prev = np.zeros((h, stride), np.uint8), [0] * stride
    for y in range(h):
        kind, line = raw[y * (stride + 1)], raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)]
        cur = [0] * stride
        for x in range(stride):
            a, b = cur[x - bpp] if x >= bpp else 0, prev[x]
            c = prev[x - bpp] if x >= bpp else 0
            pa, pb, pc = abs(b - c), abs(a - c), abs(a + b - 2 * c)
            guess = (0, a, b, (a + b) // 2,
                     a if pa <= pb and pa <= pc else b if pb <= pc else c)[kind]
            cur[x] = (line[x] + guess) & 255
        out[y], prev = cur, cur
    return out.reshape(h, w, bpp) if bpp > 1 else out.reshape(h, w)


@pytest.fixture(scope="module")
def gallery(tmp_path_factory):
    where = tmp_path_factory.mktemp("gallery")
    page = where / "gallery.md"
    subprocess.run(["bash", SCRIPT, TOOL, str(where), str(page)], check=True,
                   stdout=subprocess.DEVNULL)
    return where, page.read_text()


def test_gallery_python_makes_the_same_pictures(gallery):
    where, page = gallery
    entries = ENTRY.findall(page)
    assert len(entries) >= 10

    def imread(name):
        pnm = where / "pnm" / (name.replace("/", "_") + ".pnm")
        pnm.parent.mkdir(exist_ok=True)
        if subprocess.run([TOOL, "copy", str(where / name), str(pnm)],
                          stderr=subprocess.DEVNULL).returncode == 0:
            return read_pnm(pnm)
        return read_png(where / name)  # PNM holds no alpha

    for caption, command, code in entries:
        kept = {}
        exec(code, {"np": np, "zol": zol, "imread": imread,
                    "imsave": lambda name, a: kept.__setitem__(name, a)})
        assert kept, caption
        for name, array in kept.items():
            np.testing.assert_array_equal(array, imread(name), err_msg=f"{caption}: {command}")
