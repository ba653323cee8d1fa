// Aligned allocators, image headers, pixel allocation, the header check,
// release, cloning, and the ROI, tile and border records.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "kit.h"

namespace {

using kit::Image;
using Ptrs = std::vector<const void*>;

void noTile(const ZolImage*, int, int, int) {}
bool aligned(const void* p, uintptr_t a) { return reinterpret_cast<uintptr_t>(p) % a == 0; }

// The arguments of zolCreateImageHeader, valid by default.
struct Args {
    int nChannels = 3, alpha = 0, depth = ZOL_DEPTH_8U;
    const char *model = "RGB", *seq = "BGR";
    int order = 0, origin = 0, align = 4, width = 5, height = 4;
    ZolROI* roi = nullptr;
    ZolImage* mask = nullptr;
    void* tag = nullptr;
    ZolTileInfo* tile = nullptr;
    ZolImage* create() const {
        return zolCreateImageHeader(nChannels, alpha, depth, model, seq, order, origin, align,
                                    width, height, roi, mask, tag, tile);
    }
};

void allocate(ZolImage* im, int fill, float fillF) {
    if (im->depth == ZOL_DEPTH_32F) zolAllocateImageFP(im, 1, fillF);
    else zolAllocateImage(im, 1, fill);
}

struct Owned {  // a clone, released with its ROI
    ZolImage* p;
    ~Owned() { zolDeallocate(p, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI); }
};

}  // namespace

TEST(Memory, AllocatorsAlignAndFailQuietly) {
    kit::Recorder rec;
    zolSetErrStatus(-7);
    for (const auto& [alloc, size] : {std::pair{zolMalloc, 1}, {zolwMalloc, 2}, {zoliMalloc, 4},
                                      {zoldMalloc, 8}}) {
        for (int length : {0, 3, 1001}) {
            char* p = static_cast<char*>(alloc(length));
            ASSERT_TRUE(p && aligned(p, 32)) << size << " " << length;
            std::memset(p, 0x5A, size_t(length) * size_t(size));  // all of it is ours
            zolFree(p);
        }
        EXPECT_EQ(nullptr, alloc(-1));
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, alloc(16));
    }
    zolFree(nullptr);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(-7, zolGetErrStatus());
}

TEST(Header, LayoutAndFillOfEveryShape) {
    kit::Recorder rec;
    // Every depth, 1 to 4 channels with and without alpha, both orders and
    // alignments, widths 1 to 67, height 3.
    for (int shape = 0; shape < 224 * 67; ++shape) {
        Args a;
        a.depth = kit::allDepths()[size_t(shape % 7)];
        a.nChannels = shape / 7 % 4 + 1, a.alpha = shape / 28 % 2 ? a.nChannels : 0;
        a.order = shape / 56 % 2, a.align = shape / 112 % 2 ? 8 : 4;
        a.width = shape / 224 + 1, a.height = 3;
        if (a.depth == ZOL_DEPTH_1U && a.nChannels != 1) continue;
        const int bits = a.depth & 0x7FFFFFFF;
        const int64_t step = (int64_t(a.width) * bits * (a.order ? 1 : a.nChannels) +
                              a.align * 8 - 1) / (a.align * 8) * a.align;
        const int64_t size = step * 3 * (a.order ? a.nChannels : 1);
        // 0x1FF fills 8-bit images with 0xFF; an even value clears 1-bit images.
        const uint32_t fill = shape / 7 % 2 ? 0x1FF : 0x5A5A2;
        const float fillF = shape / 7 % 2 ? 1.5f : -0.0f;
        uint32_t want = bits == 1    ? (fill & 1) * 0xFFFFFFFFu
                        : bits == 8  ? (fill & 0xFF) * 0x01010101u
                        : bits == 16 ? (fill & 0xFFFF) * 0x00010001u : fill;
        if (a.depth == ZOL_DEPTH_32F) std::memcpy(&want, &fillF, 4);
        ZolImage* im = a.create();
        ASSERT_NE(nullptr, im) << shape;
        EXPECT_TRUE(step == im->widthStep && size == im->imageSize) << shape;
        im->widthStep = 999, im->imageSize = 7;  // allocation computes them afresh
        allocate(im, int(fill), fillF);
        ASSERT_NE(nullptr, im->imageData) << shape;
        EXPECT_TRUE(aligned(im->imageData, unsigned(a.align))) << shape;
        EXPECT_TRUE(step == im->widthStep && size == im->imageSize) << shape;
        int firstBad = -1;  // row padding included
        for (int i = 0; i < im->imageSize && firstBad < 0; i += 4)
            if (std::memcmp(&want, im->imageData + i, 4) != 0) firstBad = i;
        EXPECT_EQ(-1, firstBad) << shape;
        zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }
    EXPECT_TRUE(rec.none());
}

// Creation, and allocation into a header changed after creation, meet the
// same checks in the same order; a later fault in each case shows the order.
TEST(Header, CreationAndAllocationChecks) {
    Image mask8(ZOL_DEPTH_8U, 1, 8, 8), tiledMask(ZOL_DEPTH_1U, 1, 8, 8),
        emptyMask(ZOL_DEPTH_1U, 1, 8, 8);
    tiledMask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
    tiledMask->width = emptyMask->width = 0;
    const std::tuple<int, int, std::function<void(Args&)>> cases[] = {
        {-10, -10, [](Args& a) { a.width = -1, a.nChannels = 0; }},
        {-15, -15, [](Args& a) { a.nChannels = 0, a.depth = 3; }},
        {-16, -16, [](Args& a) { a.depth = ZOL_DEPTH_1U, a.nChannels = 2, a.model = nullptr; }},
        {-14, -17, [](Args& a) { a.seq = nullptr, a.depth = 12; }},  // allocation has no models
        {-17, -17, [](Args& a) { a.depth = ZOL_DEPTH_SIGN | 1, a.alpha = 1; }},
        {-18, -18, [](Args& a) { a.alpha = 2, a.order = 2, a.depth = ZOL_DEPTH_32F; }},
        {-19, -19, [](Args& a) { a.order = 2, a.origin = 2; }},
        {-20, -20, [](Args& a) { a.origin = -1, a.align = 2; }},
        {-21, -21, [&](Args& a) { a.align = 16, a.mask = mask8; }},
        {-117, -117, [&](Args& a) { a.mask = mask8; }},
        {-26, -26, [&](Args& a) { a.mask = tiledMask; }},
        {-110, -110, [&](Args& a) { a.mask = emptyMask; }},
        // A step, then a size, that does not fit an int.
        {-10, -10, [](Args& a) { a.width = 1 << 30, a.nChannels = 4, a.depth = ZOL_DEPTH_32S; }},
        {-10, -10, [](Args& a) { a.width = 1 << 20, a.height = 1 << 12, a.depth = ZOL_DEPTH_32F; }},
    };
    for (const auto& [created, allocated, edit] : cases) {
        kit::Recorder rec;
        Args a, ok;
        edit(a);
        EXPECT_EQ(nullptr, a.create()) << created;
        EXPECT_TRUE(rec.only(created, "zolCreateImageHeader", "Incorrect data-ins")) << created;
        const bool fp = a.depth == ZOL_DEPTH_32F;
        ok.depth = fp ? a.depth : ok.depth;
        ZolImage* im = ok.create();
        std::tie(im->nChannels, im->alphaChannel, im->depth, im->dataOrder, im->origin, im->align,
                 im->width, im->height, im->maskROI) =
            std::tie(a.nChannels, a.alpha, a.depth, a.order, a.origin, a.align, a.width, a.height,
                     a.mask);
        unsigned char before[sizeof(ZolImage)];
        std::memcpy(before, im, sizeof before);
        rec.clear();
        allocate(im, 1, 1.0f);
        EXPECT_TRUE(rec.only(allocated, fp ? "zolAllocateImageFP" : "zolAllocateImage",
                             "Incorrect data-ins")) << created;
        EXPECT_EQ(0, std::memcmp(before, im, sizeof before)) << created << ": header changed";
        zolDeallocateHeader(im);
    }
}

TEST(Header, CreatedHeaderFields) {
    Image mask(ZOL_DEPTH_1U, 1, 4, 4);
    ZolROI roi{};
    ZolTileInfo tile{};
    kit::Recorder rec;
    zolSetErrStatus(-7);
    Args a{4, 4, ZOL_DEPTH_16S, "RGBAxyz", "BGRA!", 1, 1, 8, 9, 2, &roi, mask, &rec, &tile};
    ZolImage* im = a.create();
    ASSERT_NE(nullptr, im);
    // The step and size are set even for a tiled image; borders are constant 0.
    EXPECT_EQ((std::vector<int>{144, 0, 4, 4, ZOL_DEPTH_16S, 1, 1, 8, 9, 2, 24, 24 * 2 * 4, 0, 0}),
              (std::vector<int>{im->headerSize, im->headerVersion, im->nChannels, im->alphaChannel,
                                im->depth, im->dataOrder, im->origin, im->align, im->width,
                                im->height, im->widthStep, im->imageSize, im->borderMode[3],
                                im->borderConst[3]}));
    EXPECT_EQ((Ptrs{&roi, mask.get(), &rec, &tile, nullptr, nullptr}),
              (Ptrs{im->roi, im->maskROI, im->imageTag, im->tileInfo, im->imageData,
                    im->dataBase}));
    EXPECT_EQ("RGBABGRA", std::string(im->colorModel, 8));
    // A heap failure leaves no header, or no pixels, and no report.
    im->tileInfo = nullptr;
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_32F}) {
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, Args().create());
        zol::setHeapFailure(1), im->depth = depth;
        allocate(im, 2, 2.0f);
        EXPECT_EQ((Ptrs{nullptr, nullptr}), (Ptrs{im->imageData, im->dataBase}));
    }
    zolDeallocateHeader(im);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(-7, zolGetErrStatus());
}

TEST(Header, AllocationOwnChecksAndHeapFailure) {
    char own[64];
    auto tile = [](ZolImage* im) { im->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8); };
    const std::string data = "( image->imageData != ((void *)0) )",
                      tiled = "( image->tileInfo != ((void *)0) )";
    // A later fault in each case shows the order; the header is 8U unless changed.
    const std::tuple<bool, std::function<void(ZolImage*)>, std::string> cases[] = {
        {false, [&](ZolImage* im) { im->imageData = own, tile(im), im->depth = 32; }, data},
        {true, [&](ZolImage* im) { im->imageData = own, tile(im); }, data},
        {false, [&](ZolImage* im) { tile(im), im->depth = 32; }, tiled},
        {true, tile, tiled},
        {false, [](ZolImage* im) { im->depth = 32; }, "( image->depth == 32 )"},
        {true, [](ZolImage* im) { im->depth = ZOL_DEPTH_32S; }, "( image->depth != 32 )"},
        {false, nullptr, "( image == ((void *)0) )"},
        {true, nullptr, "( image == ((void *)0) )"},
    };
    for (const auto& [fp, edit, context] : cases) {
        ZolImage* im = edit ? Args().create() : nullptr;
        if (edit) edit(im);
        kit::Recorder rec;
        if (fp) zolAllocateImageFP(im, 1, 1.0f);
        else zolAllocateImage(im, 1, 1);
        EXPECT_TRUE(rec.only(-5, fp ? "zolAllocateImageFP" : "zolAllocateImage", context))
            << context;
        EXPECT_TRUE(!im || (im->dataBase == nullptr && im->widthStep == 16)) << context;
        zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_TILE);
    }
}

TEST(Header, CheckInOrder) {
    Image okMask(ZOL_DEPTH_1U, 1, 8, 8), mask8(ZOL_DEPTH_8U, 1, 8, 8),
        tiledMask(ZOL_DEPTH_1U, 1, 8, 8), emptyMask(ZOL_DEPTH_1U, 1, 8, 8),
        outer(ZOL_DEPTH_1U, 1, 8, 8);
    tiledMask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
    tiledMask->width = emptyMask->width = 0;
    outer->maskROI = emptyMask;  // a mask of a mask of width 0
    auto tiled = [](ZolImage* im, int w, int h, ZolTileCallBack cb = noTile) {
        im->imageData = nullptr;  // the block stays in dataBase for the release
        im->tileInfo = zolCreateTileInfo(cb, 0, w, h);
    };
    // Cases with two faults show that the earlier check wins.
    const std::pair<int, std::function<void(Image&)>> cases[] = {
        {-12, [](Image& im) { im->imageData = nullptr, im->imageSize = 0; }},
        {-12, [](Image& im) { im->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8); }},
        {-10, [](Image& im) { im->imageSize = 0, im->widthStep = 0; }},
        {-13, [](Image& im) { im->widthStep = -1, im->width = 0; }},
        {-10, [](Image& im) { im->height = -1, im->nChannels = 0; }},
        {-15, [](Image& im) { im->nChannels = 0, im->depth = 5; }},
        {-16, [](Image& im) { im->depth = ZOL_DEPTH_1U, im->alphaChannel = 1; }},
        {-17, [](Image& im) { im->depth = 24, im->alphaChannel = 1; }},
        {-18, [](Image& im) { im->alphaChannel = 1, im->dataOrder = 5; }},
        {-19, [](Image& im) { im->dataOrder = 5, im->origin = 2; }},
        {-20, [](Image& im) { im->origin = 2, im->align = 0; }},
        {-21, [&](Image& im) { im->align = 0, im->maskROI = mask8; }},
        {-117, [&](Image& im) { im->maskROI = mask8, tiled(im, 8, 8, nullptr); }},
        {-26, [&](Image& im) { im->maskROI = tiledMask; }},
        {-110, [&](Image& im) { im->maskROI = emptyMask, im.setRoi(9, 0, 0, 1, 1); }},
        {-210, [&](Image& im) { im->maskROI = outer; }},
        {-22, [&](Image& im) { tiled(im, 12, 8, nullptr); }},
        {-23, [&](Image& im) { tiled(im, 12, 16), im.setRoi(9, 0, 0, 1, 1); }},
        {-24, [](Image& im) { im.setRoi(4, 0, 0, 0, 0); }},
        {-24, [](Image& im) { im.setRoi(-1, 0, 0, 1, 1); }},
        {-25, [](Image& im) { im.setRoi(3, -1, 0, 0, 1); }},
        {-11, [](Image& im) { im.setRoi(0, 0, -1, 1, 1); }},
        // Tiles of 16 with no data or sizes, a ROI far outside, any positive step pass.
        {0, [&](Image& im) { tiled(im, 16, 16), im->imageSize = 0, im->widthStep = 0; }},
        {0, [&](Image& im) { im.setRoi(3, 100, 100, 5, 5), im->maskROI = okMask; }},
        {0, [](Image& im) { im->widthStep = 1, im->imageSize = 1; }},
    };
    for (const auto& [want, edit] : cases) {
        Image im(ZOL_DEPTH_8U, 3, 6, 4);
        edit(im);
        kit::Recorder rec;
        zolSetErrStatus(-7);
        EXPECT_EQ(want, zolCheckImageHeader(im));
        EXPECT_EQ(want ? want : -7, zolGetErrStatus()) << want;
        EXPECT_TRUE(rec.none()) << want;
    }
    EXPECT_EQ(-9, zolCheckImageHeader(nullptr));
    EXPECT_EQ(-9, zolGetErrStatus());
    okMask->maskROI = okMask;  // its own mask: refused, not followed forever
    EXPECT_LT(zolCheckImageHeader(okMask), 0);
    zolSetErrStatus(0);
}

TEST(Memory, DeallocateFlags) {
    for (int flag : {0, 1, 2, 4, 8, 16, 30, 31}) {  // none, each alone, all but the header, all
        Image maskOfMask(ZOL_DEPTH_1U, 1, 8, 8);
        Args m{1, 0, ZOL_DEPTH_1U}, a;
        m.mask = maskOfMask;  // the mask goes with its ROI, tile and pixels, not its own mask
        m.roi = zolCreateROI(0, 0, 0, 1, 1);
        ZolImage* mask = m.create();
        mask->dataBase = mask->imageData = static_cast<char*>(zol::heapAlloc(8));
        a.roi = zolCreateROI(0, 1, 1, 2, 2), a.mask = mask;
        ZolImage* im = a.create();
        im->dataBase = im->imageData = static_cast<char*>(zol::heapAlloc(64));
        mask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
        im->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
        const Ptrs all = {im->roi, mask, im->tileInfo, im->dataBase, im->imageData};
        zolDeallocate(im, flag);
        auto kept = [&](int f, const void* p) { return flag & f ? nullptr : p; };
        if (!(flag & ZOL_FREE_HEADER)) {
            EXPECT_EQ((Ptrs{kept(4, all[0]), kept(16, all[1]), kept(8, all[2]), kept(2, all[3]),
                            kept(2, all[4])}),
                      (Ptrs{im->roi, im->maskROI, im->tileInfo, im->dataBase, im->imageData}))
                << flag;
        }
        // The rest by hand: a double release or a leak shows in the sanitizer.
        if (!(flag & ZOL_FREE_ROI)) zolFree(const_cast<void*>(all[0]));
        if (!(flag & ZOL_FREE_MASK)) zolDeallocate(mask, 15);
        if (!(flag & ZOL_FREE_TILE)) zolFree(const_cast<void*>(all[2]));
        if (!(flag & ZOL_FREE_DATA)) zol::heapFree(const_cast<void*>(all[3]));
        if (!(flag & ZOL_FREE_HEADER)) zolFree(im);
        EXPECT_EQ(8, maskOfMask->width);
    }
    zolDeallocate(nullptr, 31);
    // Pixels the application supplied stay the application's, and so does the ROI.
    char mine[64];
    Args a;
    a.roi = zolCreateROI(0, 0, 0, 1, 1);
    ZolImage* im = a.create();
    im->imageData = mine;
    zolDeallocateImage(im);
    EXPECT_EQ((Ptrs{nullptr, nullptr, a.roi}), (Ptrs{im->imageData, im->dataBase, im->roi}));
    zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_ROI);
}

TEST(Header, CloneCopiesLayoutPixelsAndBorders) {
    Image mask(ZOL_DEPTH_1U, 1, 7, 5);
    for (int depth : kit::allDepths()) {
        const int nCh = depth == ZOL_DEPTH_1U ? 1 : 3;
        Image src(depth, nCh, 7, 5, ZOL_DATA_ORDER_PLANE, ZOL_ALIGN_QWORD);
        src.randomize(uint32_t(depth));
        src.setRoi(nCh, 2, 1, 3, 2);
        src->imageTag = &mask, src->maskROI = mask, src->headerVersion = 3;
        zolSetBorderMode(src, ZOL_BORDER_WRAP, ZOL_SIDE_TOP | ZOL_SIDE_LEFT, 9);
        kit::Recorder rec;
        Owned clone{zolCloneImage(src)};
        const ZolImage* c = clone.p;
        ASSERT_TRUE(c && c->roi) << kit::depthName(depth);
        EXPECT_TRUE(rec.none());
        EXPECT_NE(src->roi, c->roi) << "the ROI is the clone's own";
        EXPECT_EQ(0, std::memcmp(src->roi, c->roi, sizeof(ZolROI)));
        EXPECT_EQ((Ptrs{nullptr, nullptr, nullptr}), (Ptrs{c->maskROI, c->imageTag, c->tileInfo}));
        EXPECT_EQ(0, c->headerVersion);
        EXPECT_EQ(0, std::memcmp(src->borderMode, c->borderMode, 32)) << "modes and constants";
        EXPECT_TRUE(src->dataBase != c->dataBase && aligned(c->imageData, 8));
        ASSERT_EQ(src->imageSize, c->imageSize);
        EXPECT_EQ(0, std::memcmp(src->imageData, c->imageData, size_t(c->imageSize)));
    }
    // A source with rows of its own step (40 bytes) is copied row by row.
    for (int order : {ZOL_DATA_ORDER_PIXEL, ZOL_DATA_ORDER_PLANE}) {
        Args a;  // 3 channels 8U, 5 x 4
        a.order = order;
        ZolImage* src = a.create();
        const int rows = order ? 12 : 4, step = order ? 8 : 16;
        std::vector<char> mem(size_t(40 * rows) + 8);
        src->imageData = mem.data() + 8 - reinterpret_cast<uintptr_t>(mem.data()) % 8;
        src->widthStep = 40, src->imageSize = 40 * rows;
        for (int i = 0; i < src->imageSize; ++i) src->imageData[i] = char(i * 7 + 1);
        Owned clone{zolCloneImage(src)};
        ASSERT_NE(nullptr, clone.p);
        EXPECT_TRUE(clone.p->widthStep == step && clone.p->imageSize == step * rows);
        for (int r = 0; r < rows; ++r)
            EXPECT_EQ(0, std::memcmp(src->imageData + 40 * r, clone.p->imageData + step * r,
                                     size_t(step))) << order << " row " << r;
        zolDeallocateHeader(src);
    }
}

TEST(Header, CloneFailures) {
    Image src(ZOL_DEPTH_16U, 2, 9, 3), noRoi(ZOL_DEPTH_32F, 1, 3, 3), fresh(ZOL_DEPTH_8U, 1, 3, 3);
    src.setRoi(1, 0, 0, 2, 2);
    zolDeallocateImage(fresh);
    const std::string memory = "Not enough memory to allocate ";
    // The n-th heap request fails: header, ROI, pixels (no ROI: header, pixels).
    const std::tuple<const ZolImage*, int, int, std::string> cases[] = {
        {src, 1, -4, memory + "header for clone image"},
        {src, 2, -4, memory + "roi for clone image"},
        {src, 3, -4, memory + "imageData for clone image"},
        {noRoi, 2, -4, memory + "imageData for clone image"},
        {nullptr, 0, -9, "Incorrect Image"},
        {fresh, 0, -12, "Incorrect Image"},
    };
    for (const auto& [image, n, status, context] : cases) {
        kit::Recorder rec;
        kit::HeapFailure fail(n);
        EXPECT_EQ(nullptr, zolCloneImage(image)) << context;
        EXPECT_TRUE(rec.only(status, "zolCloneImage", context)) << n;
    }
}

TEST(Header, TileAndBorderRecords) {
    ZolTileInfo* t = zolCreateTileInfo(noTile, 77, 12, -8);
    ASSERT_TRUE(t && t->callBack == noTile && t->tileId == 77 && t->tileData == nullptr);
    t->tileData = t;
    zolSetTileInfo(t, nullptr, 5, 16, 24);  // clears the tile data
    EXPECT_TRUE(t->callBack == nullptr && t->tileId == 5 && t->tileData == nullptr &&
                t->width == 16 && t->height == 24);
    zolDeleteColorTwist(t);  // one function under three names
    zolSetROI(nullptr, 1, 2, 3, 4, 5), zolSetTileInfo(nullptr, noTile, 0, 8, 8);
    zolDeleteROI(nullptr);
    for (bool isRoi : {true, false}) {
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, isRoi ? static_cast<void*>(zolCreateROI(0, 0, 0, 1, 1))
                                 : static_cast<void*>(zolCreateTileInfo(noTile, 0, 8, 8)));
    }
    Image im(ZOL_DEPTH_8U, 1, 4, 4);
    for (int sides : {ZOL_SIDE_TOP | ZOL_SIDE_RIGHT, ZOL_SIDE_BOTTOM | ZOL_SIDE_LEFT}) {
        for (int s = 0; s < 4; ++s) im->borderMode[s] = 100 + s, im->borderConst[s] = 200 + s;
        zolSetBorderMode(im, ZOL_BORDER_REFLECT, sides, -7);
        for (int s = 0; s < 4; ++s) {
            const bool set = sides & (1 << s);
            EXPECT_EQ(set ? ZOL_BORDER_REFLECT : 100 + s, im->borderMode[s]) << sides;
            EXPECT_EQ(set ? -7 : 200 + s, im->borderConst[s]) << sides;
        }
    }
}
