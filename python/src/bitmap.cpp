// Device-independent bitmaps and depth conversion. A bitmap carries no
// length of its own, so every bitmap given from Python is measured against
// the bytes that hold it before the library reads it.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bind.h"
#include "rows.h"

namespace zolpy {

namespace {

constexpr int64_t kIntMax = 0x7FFFFFFF;
constexpr size_t kHeader = sizeof(ZolBitmapInfoHeader);  // 40
constexpr size_t kFileHeader = 14;

[[noreturn]] void valueError(const std::string& text) { throw py::value_error(text); }

Where noWhere() { return Where{py::none(), py::none(), py::none(), py::none()}; }

// The bitmap functions read a channel sequence as four bytes, a shorter
// name ended by a NUL: gray, or red first.
ZolImage* bitmapOrder(ZolImage* im) {
    static const char kSeq[][4] = {{'G', 0, 0, 0}, {'R', 'G', 'B', 0}, {'R', 'G', 'B', 'A'}};
    const int i = im->nChannels == 1 ? 0 : im->nChannels == 4 ? 2 : 1;
    std::memcpy(im->channelSeq, kSeq[i], 4);
    return im;
}

// The import checks the size of the rows it writes against imageSize,
// padding included; it writes no padding, so a last row without its
// padding is whole enough.
ZolImage* fullRows(ZolImage* im) {
    im->imageSize = im->widthStep * im->height;
    return im;
}

// Entries of the colour table behind the header, as the library counts them.
int64_t colourCount(const ZolBitmapInfoHeader& h) {
    const int b = h.biBitCount;
    if (b == 1 || b == 4 || b == 8) return h.biClrUsed ? int64_t(h.biClrUsed) : int64_t(1) << b;
    if (b == 16 || b == 32) {
        if (h.biCompression == ZOL_BI_RGB) return 0;
        if (h.biCompression == ZOL_BI_BITFIELDS) return 3;
    }
    return h.biClrUsed;
}

// The most entries the library accepts; a header claiming more is refused
// before the table is read.
int64_t maxEntries(const ZolBitmapInfoHeader& h) {
    return h.biBitCount <= 8 ? int64_t(1) << (h.biBitCount & 15) : 256;
}

int64_t rowSize(int64_t width, int bits) { return ((width * bits + 31) & ~int64_t(31)) / 8; }

int64_t absHeight(const ZolBitmapInfoHeader& h) {
    return h.biHeight < 0 ? -int64_t(h.biHeight) : int64_t(h.biHeight);
}

bool runLength(const ZolBitmapInfoHeader& h) {
    return h.biCompression == ZOL_BI_RLE8 || h.biCompression == ZOL_BI_RLE4;
}

// Makes sure the library's reads of the pixels stay within `avail` bytes.
// A run-length stream is bounded by biSizeImage: made to fit when the
// header is a copy of our own (bound), else required to.
void checkPixels(ZolBitmapInfoHeader& h, size_t avail, bool bound) {
    if (runLength(h)) {
        if (avail == 0) valueError("bitmap: the data ends before the pixels");
        if (h.biSizeImage == 0 || h.biSizeImage > avail) {
            if (!bound)
                valueError("bitmap: biSizeImage must give the length of the run-length stream, "
                           "within the data");
            h.biSizeImage = uint32_t(std::min<size_t>(avail, UINT32_MAX));
        }
        return;
    }
    if (h.biCompression != ZOL_BI_RGB && h.biCompression != ZOL_BI_BITFIELDS) return;
    const int b = h.biBitCount;
    if (b != 1 && b != 4 && b != 8 && b != 16 && b != 24 && b != 32) return;
    if (h.biWidth <= 0 || h.biHeight == 0) return;
    const int64_t need = rowSize(h.biWidth, b) * absHeight(h);
    if (need <= kIntMax && need > int64_t(avail)) valueError("bitmap: the data ends inside the pixels");
}

// The bytes of a bytes-like object, held while they are read.
struct Bytes {
    explicit Bytes(py::handle obj, bool writable = false) {
        py::buffer b = py::reinterpret_borrow<py::buffer>(obj);
        info = b.request(writable);
        py::ssize_t step = info.itemsize;
        for (py::ssize_t i = info.ndim - 1; i >= 0; --i) {
            if (info.shape[size_t(i)] > 1 && info.strides[size_t(i)] != step)
                valueError("bitmap: a contiguous bytes-like object");
            step *= info.shape[size_t(i)];
        }
        data = static_cast<uint8_t*>(info.ptr);
        size = size_t(info.size) * size_t(info.itemsize);
    }
    // The bytes on a 4-byte boundary, where the library reads an info
    // header in place: the caller's, or a copy that giveBack() returns.
    uint8_t* aligned() {
        if (reinterpret_cast<uintptr_t>(data) % 4 == 0) return data;
        copy.resize((size + 3) / 4);
        std::memcpy(copy.data(), data, size);
        return reinterpret_cast<uint8_t*>(copy.data());
    }
    void giveBack() {
        if (!copy.empty()) std::memcpy(data, copy.data(), size);
    }
    py::buffer_info info;
    uint8_t* data;
    size_t size;
    std::vector<uint32_t> copy;
};

// The packed header the caller gives (header, table, then pixels, or the
// pixels in `pixels`), checked against its length.
const ZolBitmapInfoHeader* packedHeader(Bytes& dib, const Bytes* pixels) {
    if (dib.size < kHeader) valueError("dib: shorter than the 40-byte info header");
    ZolBitmapInfoHeader h;
    std::memcpy(&h, dib.data, kHeader);
    const int64_t entries = colourCount(h);
    const auto* given = reinterpret_cast<const ZolBitmapInfoHeader*>(dib.aligned());
    if (entries > maxEntries(h) || h.biSize != kHeader) return given;  // refused unread
    const size_t table = kHeader + size_t(4 * entries);
    if (dib.size < table) valueError("dib: the colour table is cut short");
    checkPixels(h, pixels ? pixels->size : dib.size - table, false);
    return given;
}

// Whether the table is an exact ramp from 0 to 255 (a gray bitmap).
bool grayTable(const uint8_t* t, int64_t n) {
    if (n < 2) return false;
    for (int64_t i = 0; i < n; ++i) {
        const int v = int(i * 255 / (n - 1));
        if (t[4 * i] != v || t[4 * i + 1] != v || t[4 * i + 2] != v) return false;
    }
    return true;
}

py::object readBmp(py::object source, py::object channels, py::object dtype) {
    py::object held = source;
    if (py::isinstance<py::str>(source) || py::hasattr(source, "__fspath__"))
        held = py::module_::import("pathlib").attr("Path")(source).attr("read_bytes")();
    const Bytes file(held);
    const uint8_t* p = file.data;
    const size_t n = file.size;
    if (n < kFileHeader + 4 || p[0] != 'B' || p[1] != 'M') valueError("read_bmp: not a bitmap file");
    uint32_t offBits, hsize;
    std::memcpy(&offBits, p + 10, 4);
    std::memcpy(&hsize, p + kFileHeader, 4);
    if (hsize < kHeader || n < kFileHeader + hsize)
        valueError("read_bmp: the info header is cut short or has fewer than 40 bytes");
    // Header and table as the library reads them: a 40-byte header (the
    // fields of longer ones are the same), the bit-field masks right behind
    // it, a colour table behind the whole header.
    std::vector<uint8_t> head(kHeader + 1024, 0);
    std::memcpy(head.data(), p + kFileHeader, kHeader);
    auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(head.data());
    h->biSize = kHeader;
    const size_t table = kFileHeader + (h->biCompression == ZOL_BI_BITFIELDS ? kHeader : hsize);
    std::memcpy(head.data() + kHeader, p + table, std::min<size_t>(1024, n - table));
    if (offBits > n) valueError("read_bmp: the data ends before the pixels");
    checkPixels(*h, n - offBits, true);

    const py::dtype dt = py::dtype::from_args(dtype);
    const int64_t entries = colourCount(*h);
    int ch = channels.is_none() ? 3 : channels.cast<int>();
    if (channels.is_none()) {
        if (h->biBitCount == 32) ch = 4;
        if (dt.kind() == 'b') ch = 1;  // a 1-bit image has one channel
        if (h->biBitCount <= 8 && entries <= 256 && grayTable(head.data() + kHeader, entries)) ch = 1;
    }
    int64_t width = h->biWidth, height = absHeight(*h);
    if (width <= 0 || height == 0) width = height = 1;  // the library reports the header
    if (width * height * ch * dt.itemsize() > kIntMax)
        valueError("read_bmp: the picture holds more than 2 GiB");
    py::object out = alignedArray(height, width, ch > 1 ? ch : 0, dt);
    const Where w{out, py::none(), py::none(), py::none()};
    Call c("zolConvertFromDIBSep", w);
    ZolImage* d = bitmapOrder(c.target(int(height), int(width), 0, dt, nullptr, false));
    fullRows(d);
    c.run([&] { zolConvertFromDIBSep(h, p + offBits, d); });
    return c.result();
}

int paletteChoice(py::handle palette) {
    const std::string s = palette.cast<std::string>();
    if (s == "keep") return ZOL_PALETTE_KEEP;
    if (s == "linear") return ZOL_PALETTE_LINEAR;
    if (s == "median_cut") return ZOL_PALETTE_MEDIAN_CUT;
    valueError("palette: keep, linear, median_cut or an (n, 3) array of colours, not '" + s + "'");
}

int ditherChoice(py::handle dither) {
    if (py::isinstance<py::str>(dither)) {
        const std::string s = dither.cast<std::string>();
        if (s == "none") return ZOL_DITHER_NONE;
        if (s == "stucki") return ZOL_DITHER_STUCKI;
        valueError("dither: none or stucki, not '" + s + "'");
    }
    return dither.cast<int>();
}

// The image of a bitmap export: four channels carry alpha in the last.
ZolImage* exportSource(Call& c, py::handle src) {
    ZolImage* s = bitmapOrder(c.source(alignedCopy(src, false), "src", false));
    if (s->nChannels == 4) s->alphaChannel = 4;
    return s;
}

py::bytes writeBmp(py::handle src, py::object bitsArg, bool rle, py::object palette,
                   py::handle dither) {
    const Where w = noWhere();
    Call c("zolConvertToDIB", w);
    ZolImage* s = exportSource(c, src);
    int bits = s->depth == ZOL_DEPTH_1U ? 1 : s->nChannels == 1 ? 8 : s->nChannels == 4 ? 32 : 24;
    if (!bitsArg.is_none()) bits = bitsArg.cast<int>();
    if (bits < 1 || bits > 32) valueError("bits: 1, 4, 8, 16, 24 or 32");
    ZolBitmapInfoHeader h{};
    h.biSize = kHeader;
    h.biWidth = s->width;
    h.biHeight = s->height;
    h.biPlanes = 1;
    h.biBitCount = uint16_t(bits);
    h.biCompression = !rle ? ZOL_BI_RGB : bits == 4 ? ZOL_BI_RLE4 : ZOL_BI_RLE8;
    h.biXPelsPerMeter = h.biYPelsPerMeter = 2835;  // 72 dots per inch
    // The table: the caller's colours (red, green, blue), else made here.
    std::vector<uint8_t> colours;
    int choice = s->nChannels == 1 ? ZOL_PALETTE_LINEAR : ZOL_PALETTE_MEDIAN_CUT;
    if (!palette.is_none() && py::isinstance<py::str>(palette)) {
        choice = paletteChoice(palette);
    } else if (!palette.is_none()) {
        auto a = palette.cast<py::array_t<uint8_t, py::array::c_style | py::array::forcecast>>();
        if (a.ndim() != 2 || a.shape(1) != 3 || a.shape(0) < 1 || bits > 8 || a.shape(0) > (1 << bits))
            valueError("palette: an (n, 3) array of red, green, blue with 1 to 2**bits rows");
        for (py::ssize_t i = 0; i < a.shape(0); ++i)
            colours.insert(colours.end(), {a.at(i, 2), a.at(i, 1), a.at(i, 0), uint8_t(0)});
        h.biClrUsed = uint32_t(a.shape(0));
        choice = ZOL_PALETTE_KEEP;
    }
    const int64_t entries = bits <= 8 && choice == ZOL_PALETTE_MEDIAN_CUT ? int64_t(1) << bits
                                                                          : colourCount(h);
    const int64_t pixels = rowSize(s->width, bits) * s->height;
    if (entries > 256 || pixels > kIntMax) valueError("write_bmp: too large for a bitmap");
    h.biSizeImage = uint32_t(pixels);
    // The file header is 14 bytes: two bytes ahead of it keep the info
    // header on a 4-byte boundary, as the library reads it.
    constexpr size_t kLead = 2;
    std::vector<uint8_t> buf(kLead + kFileHeader + kHeader + size_t(4 * entries) + size_t(pixels), 0);
    uint8_t* file = buf.data() + kLead;
    auto* dib = reinterpret_cast<ZolBitmapInfoHeader*>(file + kFileHeader);
    std::memcpy(dib, &h, kHeader);
    if (!colours.empty()) std::memcpy(file + kFileHeader + kHeader, colours.data(), colours.size());
    const int d = ditherChoice(dither);
    c.run([&] { zolConvertToDIB(s, dib, d, choice); });
    // A median cut may use fewer entries (the pixels follow them), a
    // run-length code fewer bytes.
    const uint32_t off = uint32_t(kFileHeader + kHeader + 4 * size_t(colourCount(*dib)));
    const uint32_t size = off + (runLength(*dib) ? dib->biSizeImage : uint32_t(pixels));
    file[0] = 'B';
    file[1] = 'M';
    std::memcpy(file + 2, &size, 4);
    std::memcpy(file + 10, &off, 4);
    return py::bytes(reinterpret_cast<const char*>(file), size);
}

}  // namespace

void bindBitmap(py::module_& m) {
    m.def(
        "convert",
        [](py::handle src, py::object dtype, py::object out, py::object coi) {
            const Where w{out, py::none(), coi, py::none()};
            Call c("zolConvert", w);
            c.source(src, "src");
            const Image& si = c.image(0);
            if (dtype.is_none() && out.is_none()) throw py::type_error("convert: give dtype or out");
            const py::dtype dt = dtype.is_none() ? py::dtype::of<uint8_t>() : py::dtype::from_args(dtype);
            const int ch = dt.kind() == 'b' || si.array().ndim() == 2 ? 0 : si.channels();
            ZolImage* d = c.target(si.height(), si.width(), ch, dt, nullptr, false);
            ZolImage* s = c.image(0).get();
            c.run([&] { zolConvert(s, d); });
            return c.result();
        },
        "src"_a, "dtype"_a = py::none(), py::kw_only(), "out"_a = py::none(), "coi"_a = py::none(),
        "src's values clamped into another type, not scaled; to bool, channel coi of several "
        "is True where above 0. Whole images: no roi or mask (zolConvert).");
    m.def(
        "bitonal_to_gray",
        [](py::handle src, int zero, py::object one, py::object dtype, py::object out) {
            const Where w{out, py::none(), py::none(), py::none()};
            Call c("zolBitonalToGray", w);
            ZolImage* s = c.source(src, "src");
            const py::dtype dt = py::dtype::from_args(dtype);
            const int high = one.is_none()
                                 ? py::module_::import("numpy").attr("iinfo")(dt).attr("max").cast<int>()
                                 : one.cast<int>();
            ZolImage* d = c.target(s->height, s->width, 0, dt, nullptr, false);
            c.run([&] { zolBitonalToGray(s, d, zero, high); });
            return c.result();
        },
        "src"_a, "zero"_a = 0, "one"_a = py::none(), py::kw_only(),
        "dtype"_a = py::dtype::of<uint8_t>(), "out"_a = py::none(),
        "A bool image as zero and one (default: the type's largest value) in every channel of "
        "out but alpha. Whole images (zolBitonalToGray).");

    m.def("read_bmp", &readBmp, "source"_a, py::kw_only(), "channels"_a = py::none(),
          "dtype"_a = py::dtype::of<uint8_t>(),
          "A bitmap file (its bytes or a path) as an array: one channel for a gray table, four "
          "for 32 bits, else three, in RGB(A) order; dtype uint8, uint16 (x256) or bool "
          "(zolConvertFromDIBSep).");
    m.def("write_bmp", &writeBmp, "src"_a, "bits"_a = py::none(), py::kw_only(), "rle"_a = false,
          "palette"_a = py::none(), "dither"_a = "none",
          "The bytes of a bitmap file of src (bool, uint8, uint16; 1, 3 or 4 channels in RGB(A) "
          "order) with bits per pixel 1, 4, 8, 16, 24 or 32 (zolConvertToDIB).");
    m.def(
        "convert_from_dib",
        [](py::handle dib, py::handle out, py::object data) {
            Bytes packed(dib);
            std::unique_ptr<Bytes> pixels(data.is_none() ? nullptr : new Bytes(data));
            const ZolBitmapInfoHeader* h = packedHeader(packed, pixels.get());
            const Where w = noWhere();
            const Written rows(py::reinterpret_borrow<py::object>(out));
            Call c(pixels ? "zolConvertFromDIBSep" : "zolConvertFromDIB", w);
            ZolImage* d = fullRows(bitmapOrder(c.inPlace(rows.use(), "out")));
            if (pixels)
                c.run([&] { zolConvertFromDIBSep(h, pixels->data, d); });
            else
                c.run([&] { zolConvertFromDIB(h, d); });
            return rows.back();
        },
        "dib"_a, "out"_a, "data"_a = py::none(),
        "Converts a bitmap in memory (info header, table and pixels; or the pixels apart in "
        "data) into out, in place (zolConvertFromDIB, zolConvertFromDIBSep).");
    m.def(
        "convert_to_dib",
        [](py::handle src, py::handle dib, py::handle dither, py::object palette) {
            Bytes buf(dib, true);
            if (buf.size < kHeader) valueError("dib: shorter than the 40-byte info header");
            auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(buf.aligned());
            const int choice = paletteChoice(palette);
            const int64_t entries = choice == ZOL_PALETTE_MEDIAN_CUT && h->biBitCount <= 8
                                        ? int64_t(1) << h->biBitCount
                                        : colourCount(*h);
            // In doubles: the caller's header may claim any size.
            const double need = double(kHeader + 4 * entries) +
                                double(rowSize(h->biWidth, h->biBitCount)) * double(absHeight(*h));
            if (entries > 256 || h->biWidth < 0 || need > double(buf.size))
                valueError("dib: no room for the colour table and the rows");
            const Where w = noWhere();
            Call c("zolConvertToDIB", w);
            ZolImage* s = exportSource(c, src);
            const int d = ditherChoice(dither);
            c.run([&] { zolConvertToDIB(s, h, d, choice); });
            buf.giveBack();
        },
        "src"_a, "dib"_a, "dither"_a = "none", "palette"_a = "keep",
        "Writes src into a writable bitmap in memory whose info header is filled, with room "
        "for the table and the uncompressed rows (zolConvertToDIB).");
}

}  // namespace zolpy
