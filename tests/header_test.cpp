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

// Read at run time, so the compiler cannot decide that two names differ.
template <class F>
uintptr_t addressOf(F* f) {
    volatile uintptr_t a = reinterpret_cast<uintptr_t>(f);
    return a;
}

// The arguments of zolCreateImageHeader, valid by default.
struct Args {
    int nChannels = 3, alpha = 0, depth = ZOL_DEPTH_8U;
    const char *model = "RGB", *seq = "BGR";
    int order = ZOL_DATA_ORDER_PIXEL, origin = ZOL_ORIGIN_TL, align = ZOL_ALIGN_DWORD;
    int width = 5, height = 4;
    ZolROI* roi = nullptr;
    ZolImage* mask = nullptr;
    void* tag = nullptr;
    ZolTileInfo* tile = nullptr;
    ZolImage* create() const {
        return zolCreateImageHeader(nChannels, alpha, depth, model, seq, order, origin, align,
                                    width, height, roi, mask, tag, tile);
    }
};

void allocate(ZolImage* im, int fill, float fillF = 0) {
    if (im->depth == ZOL_DEPTH_32F) zolAllocateImageFP(im, 1, fillF);
    else zolAllocateImage(im, 1, fill);
}

// The 32-bit word a fill value gives for a depth.
uint32_t fillWord(int depth, int fill, float fillF) {
    const uint32_t v = uint32_t(fill);
    switch (depth & 0x7FFFFFFF) {
        case 1: return v & 1 ? 0xFFFFFFFFu : 0u;
        case 8: return (v & 0xFF) * 0x01010101u;
        case 16: return (v & 0xFFFF) * 0x00010001u;
        default: {
            uint32_t bits;
            std::memcpy(&bits, &fillF, 4);
            return depth == ZOL_DEPTH_32F ? bits : v;
        }
    }
}

struct Owned {  // a clone, released with its ROI
    ZolImage* p;
    ~Owned() { zolDeallocate(p, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI); }
};

}  // namespace

TEST(Memory, AllocatorsAlignAndFailQuietly) {
    EXPECT_EQ(addressOf(zoliMalloc), addressOf(zolsMalloc));
    const std::pair<void* (*)(int), int> allocs[] = {
        {zolMalloc, 1}, {zolwMalloc, 2}, {zoliMalloc, 4}, {zoldMalloc, 8}};
    kit::Recorder rec;
    zolSetErrStatus(-7);
    for (const auto& [alloc, size] : allocs) {
        for (int length : {0, 1, 3, 17, 1001}) {
            char* p = static_cast<char*>(alloc(length));
            ASSERT_NE(nullptr, p);
            EXPECT_TRUE(aligned(p, 32)) << size << " " << length;
            std::memset(p, 0x5A, size_t(length) * size_t(size));  // all of it is ours
            zolFree(p);
        }
        EXPECT_EQ(nullptr, alloc(-1));
        EXPECT_EQ(nullptr, alloc(INT32_MIN));
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
        const int64_t bits =
            int64_t(a.width) * (a.depth & 0x7FFFFFFF) * (a.order ? 1 : a.nChannels);
        const int64_t step = (bits + a.align * 8 - 1) / (a.align * 8) * a.align;
        const int64_t size = step * 3 * (a.order ? a.nChannels : 1);
        ZolImage* im = a.create();
        ASSERT_NE(nullptr, im) << shape;
        EXPECT_TRUE(step == im->widthStep && size == im->imageSize) << shape;
        // 0x1FF fills 8-bit images with 0xFF; an even value clears 1-bit images.
        const int fill = shape / 7 % 2 ? 0x1FF : 0x5A5A2;
        const float fillF = shape / 7 % 2 ? 1.5f : -0.0f;
        allocate(im, fill, fillF);
        ASSERT_NE(nullptr, im->imageData) << shape;
        EXPECT_TRUE(aligned(im->imageData, unsigned(a.align))) << shape;
        EXPECT_TRUE(step == im->widthStep && size == im->imageSize) << shape;
        const uint32_t want = fillWord(a.depth, fill, fillF);
        int firstBad = -1;  // row padding included
        for (int i = 0; i < im->imageSize && firstBad < 0; i += 4)
            if (std::memcmp(&want, im->imageData + i, 4) != 0) firstBad = i;
        EXPECT_EQ(-1, firstBad) << shape;
        zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }
    EXPECT_TRUE(rec.none());
}

TEST(Header, CreationChecksInOrder) {
    Image mask8(ZOL_DEPTH_8U, 1, 8, 8), tiledMask(ZOL_DEPTH_1U, 1, 8, 8),
        emptyMask(ZOL_DEPTH_1U, 1, 8, 8), tiled8(ZOL_DEPTH_8U, 1, 8, 8),
        fresh(ZOL_DEPTH_1U, 1, 8, 8);
    tiledMask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
    tiledMask->width = 0;
    tiled8->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
    emptyMask->width = 0;
    zolDeallocateImage(fresh);
    // Cases with two faults show that the earlier check wins.
    const std::pair<int, std::function<void(Args&)>> cases[] = {
        {-10, [](Args& a) { a.height = 0; }},
        {-10, [](Args& a) { a.width = -1, a.nChannels = 0; }},
        {-15, [](Args& a) { a.nChannels = 0, a.depth = 3; }},
        {-16, [](Args& a) { a.depth = ZOL_DEPTH_1U, a.nChannels = 2, a.model = nullptr; }},
        {-14, [](Args& a) { a.model = nullptr; }},
        {-14, [](Args& a) { a.seq = nullptr, a.depth = 12; }},
        {-17, [](Args& a) { a.depth = 12; }},
        {-17, [](Args& a) { a.depth = ZOL_DEPTH_SIGN | 1, a.alpha = 1; }},
        {-18, [](Args& a) { a.alpha = 2, a.order = 2; }},
        {-19, [](Args& a) { a.order = 2, a.origin = 2; }},
        {-20, [](Args& a) { a.origin = -1, a.align = 2; }},
        {-21, [&](Args& a) { a.align = 16, a.mask = mask8; }},
        {-117, [&](Args& a) { a.mask = tiled8; }},
        {-26, [&](Args& a) { a.mask = tiledMask; }},
        {-110, [&](Args& a) { a.mask = emptyMask; }},
        {-112, [&](Args& a) { a.mask = fresh; }},  // a mask without pixels
        // Sizes that do not fit an int.
        {-10, [](Args& a) { a.width = 1 << 30, a.nChannels = 4, a.depth = ZOL_DEPTH_32S; }},
        {-10, [](Args& a) { a.width = 1 << 20, a.height = 1 << 12; }},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        kit::Recorder rec;
        Args a;
        cases[i].second(a);
        EXPECT_EQ(nullptr, a.create()) << i;
        EXPECT_TRUE(rec.only(cases[i].first, "zolCreateImageHeader", "Incorrect data-ins")) << i;
    }
}

TEST(Header, CreatedHeaderFields) {
    Image mask(ZOL_DEPTH_1U, 1, 4, 4);
    ZolROI* roi = zolCreateROI(1, 2, 3, 4, 5);
    ZolTileInfo* tile = zolCreateTileInfo(noTile, 9, 16, 16);
    int tag = 0;
    kit::Recorder rec;
    zolSetErrStatus(-7);
    Args a;
    a.nChannels = 4, a.alpha = 4, a.depth = ZOL_DEPTH_16S, a.model = "RGBAxyz", a.seq = "BGRA!";
    a.order = 1, a.origin = 1, a.align = 8, a.width = 9, a.height = 2;
    a.roi = roi, a.mask = mask, a.tag = &tag, a.tile = tile;
    ZolImage* im = a.create();
    ASSERT_NE(nullptr, im);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(-7, zolGetErrStatus());
    EXPECT_EQ(144, int(sizeof(ZolImage)));
    // The step and size are set even for a tiled image.
    EXPECT_EQ((std::vector<int>{144, 0, 4, 4, ZOL_DEPTH_16S, 1, 1, 8, 9, 2, 24, 24 * 2 * 4}),
              (std::vector<int>{im->headerSize, im->headerVersion, im->nChannels, im->alphaChannel,
                                im->depth, im->dataOrder, im->origin, im->align, im->width,
                                im->height, im->widthStep, im->imageSize}));
    EXPECT_EQ((Ptrs{roi, mask.get(), &tag, tile, nullptr, nullptr}),
              (Ptrs{im->roi, im->maskROI, im->imageTag, im->tileInfo, im->imageData,
                    im->dataBase}));
    EXPECT_EQ("RGBABGRA", std::string(im->colorModel, 8));
    EXPECT_EQ(std::vector<int>(4, 0), std::vector<int>(im->borderMode, im->borderMode + 4));
    EXPECT_EQ(std::vector<int>(4, 0), std::vector<int>(im->borderConst, im->borderConst + 4));
    zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_ROI | ZOL_FREE_TILE);

    kit::HeapFailure fail(1);
    EXPECT_EQ(nullptr, Args().create());
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(-7, zolGetErrStatus());
}

TEST(Header, AllocationChecksAndLayout) {
    Image mask8(ZOL_DEPTH_8U, 1, 8, 8);
    char own[64];
    auto tile = [](ZolImage* im) { im->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8); };
    const char* const ins = "Incorrect data-ins";
    const struct {
        bool fp;
        int depth;
        std::function<void(ZolImage*)> edit;
        int status;
        const char* context;
    } cases[] = {
        {false, 8, [&](ZolImage* im) { im->imageData = own, tile(im); }, -5,
         "( image->imageData != ((void *)0) )"},
        {true, 32, [&](ZolImage* im) { im->imageData = own; }, -5,
         "( image->imageData != ((void *)0) )"},
        {false, 32, tile, -5, "( image->tileInfo != ((void *)0) )"},
        {true, 8, tile, -5, "( image->tileInfo != ((void *)0) )"},
        {false, 32, [](ZolImage*) {}, -5, "( image->depth == 32 )"},
        {true, 8, [](ZolImage*) {}, -5, "( image->depth != 32 )"},
        {true, ZOL_DEPTH_32S, [](ZolImage*) {}, -5, "( image->depth != 32 )"},
        // A header changed after creation meets the creation checks, in order.
        {false, 8, [](ZolImage* im) { im->height = 0, im->nChannels = 0; }, -10, ins},
        {false, 8, [](ZolImage* im) { im->nChannels = 0; }, -15, ins},
        {true, 32, [](ZolImage* im) { im->nChannels = 2, im->alphaChannel = 1; }, -18, ins},
        {false, 8, [](ZolImage* im) { im->depth = 12; }, -17, ins},
        {false, 8, [](ZolImage* im) { im->align = 3; }, -21, ins},
        {false, 8, [&](ZolImage* im) { im->maskROI = mask8; }, -117, ins},
        {false, ZOL_DEPTH_32S, [](ZolImage* im) { im->width = 1 << 30, im->nChannels = 4; }, -10,
         ins},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto& c = cases[i];
        Args a;
        a.depth = c.depth;
        ZolImage* im = a.create();
        c.edit(im);
        unsigned char before[sizeof(ZolImage)];
        std::memcpy(before, im, sizeof before);
        kit::Recorder rec;
        if (c.fp) zolAllocateImageFP(im, 1, 1.0f);
        else zolAllocateImage(im, 1, 1);
        EXPECT_TRUE(rec.only(c.status, c.fp ? "zolAllocateImageFP" : "zolAllocateImage", c.context))
            << i;
        EXPECT_EQ(0, std::memcmp(before, im, sizeof before)) << i << ": header changed";
        zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_TILE);
    }
    for (bool fp : {false, true}) {
        kit::Recorder rec;
        if (fp) zolAllocateImageFP(nullptr, 0, 0.0f);
        else zolAllocateImage(nullptr, 0, 0);
        EXPECT_TRUE(rec.only(-5, fp ? "zolAllocateImageFP" : "zolAllocateImage",
                             "( image == ((void *)0) )"));
    }

    // The layout is computed afresh; a heap failure leaves no pixels and no report.
    ZolImage* im = Args().create();
    im->widthStep = 999, im->imageSize = 7;
    zolAllocateImage(im, 0, 0);
    EXPECT_TRUE(im->widthStep == 16 && im->imageSize == 64);
    zolDeallocateImage(im);
    EXPECT_EQ((Ptrs{nullptr, nullptr}), (Ptrs{im->imageData, im->dataBase}));
    kit::Recorder rec;
    zolSetErrStatus(-7);
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_32F}) {
        im->depth = depth;
        kit::HeapFailure fail(1);
        allocate(im, 2, 2.0f);
        EXPECT_EQ((Ptrs{nullptr, nullptr}), (Ptrs{im->imageData, im->dataBase}));
    }
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(-7, zolGetErrStatus());
    zolDeallocateHeader(im);
}

TEST(Header, CheckInOrder) {
    Image okMask(ZOL_DEPTH_1U, 1, 8, 8), mask8(ZOL_DEPTH_8U, 1, 8, 8),
        tiledMask(ZOL_DEPTH_1U, 1, 8, 8), badMask, inner(ZOL_DEPTH_1U, 1, 8, 8),
        inner8(ZOL_DEPTH_8U, 1, 8, 8), outer(ZOL_DEPTH_1U, 1, 8, 8), outer8(ZOL_DEPTH_1U, 1, 8, 8);
    tiledMask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
    inner->width = 0;
    outer->maskROI = inner;    // mask of a mask of width 0
    outer8->maskROI = inner8;  // mask of a mask of depth 8
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
        {-10, [](Image& im) { im->width = 0, im->nChannels = 0; }},
        {-10, [](Image& im) { im->height = -1; }},
        {-15, [](Image& im) { im->nChannels = 0, im->depth = 5; }},
        {-16, [](Image& im) { im->depth = ZOL_DEPTH_1U, im->alphaChannel = 1; }},
        {-17, [](Image& im) { im->depth = 24, im->alphaChannel = 1; }},
        {-18, [](Image& im) { im->alphaChannel = 1, im->dataOrder = 5; }},
        {-19, [](Image& im) { im->dataOrder = 5, im->origin = 2; }},
        {-20, [](Image& im) { im->origin = 2, im->align = 0; }},
        {-21, [&](Image& im) { im->align = 0, im->maskROI = mask8; }},
        {-117, [&](Image& im) { im->maskROI = mask8; }},
        {-26, [&](Image& im) { im->maskROI = tiledMask, tiledMask->width = 0; }},
        {-110, [&](Image& im) { im->maskROI = badMask, badMask->width = 0, tiled(im, 8, 8, 0); }},
        {-112, [&](Image& im) { im->maskROI = badMask, badMask->imageData = nullptr; }},
        {-111, [&](Image& im) { im->maskROI = badMask, badMask.setRoi(0, -1, 0, 1, 1); }},
        {-124, [&](Image& im) { im->maskROI = badMask, badMask.setRoi(2, 0, 0, 1, 1); }},
        {-125, [&](Image& im) { im->maskROI = badMask, badMask.setRoi(0, 0, 0, 0, 1); }},
        {-121, [&](Image& im) { im->maskROI = badMask, badMask->align = 2; }},
        {-210, [&](Image& im) { im->maskROI = outer; }},
        {-217, [&](Image& im) { im->maskROI = outer8; }},
        {-22, [&](Image& im) { tiled(im, 12, 8, nullptr); }},
        {-23, [&](Image& im) { tiled(im, 12, 16), im.setRoi(9, 0, 0, 1, 1); }},
        {-23, [&](Image& im) { tiled(im, 16, 0); }},
        {-24, [](Image& im) { im.setRoi(4, 0, 0, 0, 0); }},
        {-24, [](Image& im) { im.setRoi(-1, 0, 0, 1, 1); }},
        {-25, [](Image& im) { im.setRoi(3, -1, 0, 0, 1); }},
        {-11, [](Image& im) { im.setRoi(0, 0, -1, 1, 1); }},
        // Tiles of 16 with no data or sizes, a ROI far outside, any positive step pass.
        {0, [&](Image& im) { tiled(im, 16, 16), im->imageSize = 0, im->widthStep = 0; }},
        {0, [](Image& im) { im.setRoi(3, 100, 100, 5, 5); }},
        {0, [&](Image& im) { im->widthStep = 1, im->imageSize = 1, im->maskROI = okMask; }},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        badMask = Image(ZOL_DEPTH_1U, 1, 8, 8);
        Image im(ZOL_DEPTH_8U, 3, 6, 4);
        cases[i].second(im);
        kit::Recorder rec;
        zolSetErrStatus(-7);
        const int want = cases[i].first;
        EXPECT_EQ(want, zolCheckImageHeader(im)) << i;
        EXPECT_EQ(want ? want : -7, zolGetErrStatus()) << i;
        EXPECT_TRUE(rec.none()) << i;
    }
    EXPECT_EQ(-9, zolCheckImageHeader(nullptr));
    EXPECT_EQ(-9, zolGetErrStatus());

    // A mask that is its own mask is refused, not followed forever.
    okMask->maskROI = okMask;
    EXPECT_LT(zolCheckImageHeader(okMask), 0);
    Image im(ZOL_DEPTH_8U, 1, 8, 8);
    im->maskROI = okMask;
    EXPECT_LT(zolCheckImageHeader(im), 0);
    zolSetErrStatus(0);
}

TEST(Memory, DeallocateFlags) {
    for (int flag = 0; flag < 32; ++flag) {
        Image maskOfMask(ZOL_DEPTH_1U, 1, 8, 8);
        Args m;
        m.nChannels = 1, m.depth = ZOL_DEPTH_1U, m.roi = zolCreateROI(0, 0, 0, 1, 1);
        m.mask = maskOfMask;
        ZolImage* mask = m.create();
        zolAllocateImage(mask, 0, 0);
        Args a;
        a.roi = zolCreateROI(0, 1, 1, 2, 2), a.mask = mask;
        ZolImage* im = a.create();
        zolAllocateImage(im, 0, 0);
        ASSERT_NE(nullptr, im->imageData);
        mask->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);  // goes with the mask
        im->tileInfo = zolCreateTileInfo(noTile, 0, 8, 8);
        const Ptrs all = {im->roi, mask, im->tileInfo, im->dataBase};

        zolDeallocate(im, flag);
        if (!(flag & ZOL_FREE_HEADER)) {
            auto kept = [&](int f, const void* p) { return flag & f ? nullptr : p; };
            EXPECT_EQ((Ptrs{kept(ZOL_FREE_ROI, all[0]), kept(ZOL_FREE_MASK, all[1]),
                            kept(ZOL_FREE_TILE, all[2]), kept(ZOL_FREE_DATA, all[3])}),
                      (Ptrs{im->roi, im->maskROI, im->tileInfo, im->dataBase}))
                << flag;
            EXPECT_EQ(bool(flag & ZOL_FREE_DATA), im->imageData == nullptr) << flag;
        }
        // The rest by hand: a double release or a leak shows in the sanitizer.
        if (!(flag & ZOL_FREE_ROI)) zolFree(const_cast<void*>(all[0]));
        if (!(flag & ZOL_FREE_MASK)) zolDeallocate(mask, 15);
        if (!(flag & ZOL_FREE_TILE)) zolFree(const_cast<void*>(all[2]));
        if (!(flag & ZOL_FREE_DATA)) zol::heapFree(const_cast<void*>(all[3]));
        if (!(flag & ZOL_FREE_HEADER)) zolFree(im);
        EXPECT_EQ(8, maskOfMask->width) << "the mask's own mask stays";
    }
    zolDeallocate(nullptr, 31);

    // Pixels the application supplied stay the application's, and so does the ROI.
    std::vector<char> mine(64, 'q');
    ZolImage* im = Args().create();
    im->imageData = mine.data();
    im->roi = zolCreateROI(0, 0, 0, 1, 1);
    ZolROI* roi = im->roi;
    zolDeallocateImage(im);
    EXPECT_EQ((Ptrs{nullptr, nullptr}), (Ptrs{im->imageData, im->dataBase}));
    EXPECT_EQ(std::vector<char>(64, 'q'), mine);
    zolDeallocateHeader(im);
    zolDeleteROI(roi);
}

TEST(Header, CloneCopiesLayoutPixelsAndBorders) {
    Image mask(ZOL_DEPTH_1U, 1, 7, 5);
    int tag;
    for (int depth : kit::allDepths()) {
        const int nCh = depth == ZOL_DEPTH_1U ? 1 : 3;
        Image src(depth, nCh, 7, 5, ZOL_DATA_ORDER_PLANE, ZOL_ALIGN_QWORD);
        src.randomize(uint32_t(depth));
        src.setRoi(nCh, 2, 1, 3, 2);
        src->imageTag = &tag, src->maskROI = mask, src->headerVersion = 3;
        zolSetBorderMode(src, ZOL_BORDER_WRAP, ZOL_SIDE_TOP | ZOL_SIDE_LEFT, 9);
        kit::Recorder rec;
        Owned clone{zolCloneImage(src)};
        ZolImage* c = clone.p;
        ASSERT_NE(nullptr, c) << kit::depthName(depth);
        EXPECT_TRUE(rec.none());
        ASSERT_NE(nullptr, c->roi);
        EXPECT_NE(src->roi, c->roi) << "the ROI is the clone's own";
        EXPECT_EQ(0, std::memcmp(src->roi, c->roi, sizeof(ZolROI)));
        EXPECT_EQ((Ptrs{nullptr, nullptr, nullptr}), (Ptrs{c->maskROI, c->imageTag, c->tileInfo}));
        EXPECT_EQ(0, c->headerVersion);
        EXPECT_EQ(0, std::memcmp(src->borderMode, c->borderMode, sizeof c->borderMode));
        EXPECT_EQ(0, std::memcmp(src->borderConst, c->borderConst, sizeof c->borderConst));
        EXPECT_NE(src->dataBase, c->dataBase);
        EXPECT_TRUE(aligned(c->imageData, 8));
        ASSERT_EQ(src->imageSize, c->imageSize);
        EXPECT_EQ(0, std::memcmp(src->imageData, c->imageData, size_t(c->imageSize)));
    }
}

TEST(Header, CloneOfRowsWithTheirOwnStep) {
    for (int order : {ZOL_DATA_ORDER_PIXEL, ZOL_DATA_ORDER_PLANE}) {
        Args a;
        a.order = order;  // 3 channels 8U, 5 x 4, rows of 40 bytes
        ZolImage* src = a.create();
        const int rows = order ? 12 : 4;
        std::vector<char> mem(size_t(40 * rows) + 8);
        src->imageData = mem.data() + 8 - reinterpret_cast<uintptr_t>(mem.data()) % 8;
        src->widthStep = 40, src->imageSize = 40 * rows;
        for (int i = 0; i < src->imageSize; ++i) src->imageData[i] = char(i * 7 + 1);
        Owned clone{zolCloneImage(src)};
        ASSERT_NE(nullptr, clone.p);
        EXPECT_EQ(order ? 8 : 16, clone.p->widthStep);
        EXPECT_EQ(order ? 96 : 64, clone.p->imageSize);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x)
                for (int ch = 0; ch < 3; ++ch)
                    EXPECT_EQ(kit::get(src, x, y, ch), kit::get(clone.p, x, y, ch)) << order;
        zolDeallocateHeader(src);
    }
}

TEST(Header, CloneFailures) {
    Image src(ZOL_DEPTH_16U, 2, 9, 3), noRoi(ZOL_DEPTH_32F, 1, 3, 3), fresh(ZOL_DEPTH_8U, 1, 3, 3);
    src.setRoi(1, 0, 0, 2, 2);
    zolDeallocateImage(fresh);
    const std::string memory = "Not enough memory to allocate ";
    // The n-th heap request fails: header, ROI, pixels (no ROI: header, pixels).
    const std::tuple<const ZolImage*, int, std::string> cases[] = {
        {src, 1, memory + "header for clone image"},
        {src, 2, memory + "roi for clone image"},
        {src, 3, memory + "imageData for clone image"},
        {noRoi, 2, memory + "imageData for clone image"},
    };
    for (const auto& [image, n, context] : cases) {
        kit::Recorder rec;
        kit::HeapFailure fail(n);
        EXPECT_EQ(nullptr, zolCloneImage(image)) << n;
        EXPECT_TRUE(rec.only(-4, "zolCloneImage", context)) << n;
    }
    const std::pair<const ZolImage*, int> bad[] = {{nullptr, -9}, {fresh, -12}};
    for (const auto& [image, status] : bad) {
        kit::Recorder rec;
        EXPECT_EQ(nullptr, zolCloneImage(image));
        EXPECT_TRUE(rec.only(status, "zolCloneImage", "Incorrect Image")) << status;
    }
}

TEST(Header, RoiTileAndBorderRecords) {
    auto fields = [](const ZolROI* r) {
        return std::vector<int>{r->coi, r->xOffset, r->yOffset, r->width, r->height};
    };
    ZolROI* roi = zolCreateROI(-1, 2, -3, 0, 5);  // stored unchecked
    ASSERT_NE(nullptr, roi);
    EXPECT_EQ((std::vector<int>{-1, 2, -3, 0, 5}), fields(roi));
    zolSetROI(roi, 1, 2, 3, 4, 5);
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 5}), fields(roi));
    zolSetROI(nullptr, 1, 2, 3, 4, 5);
    zolDeleteTileInfo(roi);  // one function under three names

    ZolTileInfo* t = zolCreateTileInfo(noTile, 77, 12, -8);
    ASSERT_NE(nullptr, t);
    EXPECT_TRUE(t->callBack == noTile && t->tileId == 77 && t->tileData == nullptr &&
                t->width == 12 && t->height == -8);
    t->tileData = t;
    zolSetTileInfo(t, nullptr, 5, 16, 24);
    EXPECT_TRUE(t->callBack == nullptr && t->tileId == 5 && t->tileData == nullptr &&
                t->width == 16 && t->height == 24);
    zolSetTileInfo(nullptr, noTile, 0, 8, 8);
    zolDeleteColorTwist(t);

    EXPECT_EQ(addressOf(zolDeleteROI), addressOf(zolDeleteTileInfo));
    EXPECT_EQ(addressOf(zolDeleteROI), addressOf(zolDeleteColorTwist));
    zolDeleteROI(nullptr);
    zolDeleteTileInfo(nullptr);
    zolDeleteColorTwist(nullptr);
    for (bool isRoi : {true, false}) {
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, isRoi ? static_cast<void*>(zolCreateROI(0, 0, 0, 1, 1))
                                 : static_cast<void*>(zolCreateTileInfo(noTile, 0, 8, 8)));
    }

    Image im(ZOL_DEPTH_8U, 1, 4, 4);
    for (int sides = 0; sides < 16; ++sides) {
        for (int s = 0; s < 4; ++s) im->borderMode[s] = 100 + s, im->borderConst[s] = 200 + s;
        zolSetBorderMode(im, ZOL_BORDER_REFLECT, sides, -7);
        for (int s = 0; s < 4; ++s) {
            const bool set = sides & (1 << s);
            EXPECT_EQ(set ? ZOL_BORDER_REFLECT : 100 + s, im->borderMode[s]) << sides;
            EXPECT_EQ(set ? -7 : 200 + s, im->borderConst[s]) << sides;
        }
    }
}
