/*
 * zol.h - the public interface of libzol, a library of image-processing
 * primitives over images that live in caller memory or are served tile by
 * tile by a callback.
 *
 * Conventions shared by every operation:
 *  - Operations return nothing (or NULL / 0.0 where they return a value).
 *    A failure stores a negative status in the calling thread's context and
 *    calls the thread's report handler; read it back with zolGetErrStatus().
 *  - A status stays until something overwrites it: clear it with
 *    zolSetErrStatus(0) before a call whose outcome you want to test.
 *  - A failed check leaves the destination untouched.
 *  - Regions: each image works on its own ROI (or the whole image), cut at
 *    the image's right and bottom edges; all regions of a call are then cut
 *    to the smallest width and height, each keeping its own top-left corner.
 *  - The alpha channel (always the last one) is neither read nor written
 *    unless a channel of interest selects it.
 *  - 1-bit pixels run from the most significant bit of each byte.
 */
#ifndef ZOL_H
#define ZOL_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define ZOL_API
#else
#define ZOL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ */
/* Status codes                                                         */
/* ------------------------------------------------------------------ */

#define ZOL_STATUS_OK                 0
#define ZOL_STATUS_BACKTRACE         (-1)
#define ZOL_STATUS_FAILED            (-2)
#define ZOL_STATUS_INTERNAL          (-3)
#define ZOL_STATUS_NO_MEMORY         (-4)
#define ZOL_STATUS_BAD_ARGUMENT      (-5)
#define ZOL_STATUS_UNSUPPORTED       (-6)
#define ZOL_STATUS_NO_CONVERGENCE    (-7)
#define ZOL_STATUS_AUTOTRACE         (-8)
#define ZOL_STATUS_NULL_HEADER       (-9)
#define ZOL_STATUS_BAD_SIZE          (-10)
#define ZOL_STATUS_BAD_ROI_OFFSET    (-11)
#define ZOL_STATUS_BAD_DATA_POINTERS (-12)
#define ZOL_STATUS_BAD_WIDTH_STEP    (-13)
#define ZOL_STATUS_BAD_MODEL         (-14)
#define ZOL_STATUS_BAD_CHANNELS      (-15)
#define ZOL_STATUS_BAD_1U_CHANNELS   (-16)
#define ZOL_STATUS_BAD_DEPTH         (-17)
#define ZOL_STATUS_BAD_ALPHA         (-18)
#define ZOL_STATUS_BAD_ORDER         (-19)
#define ZOL_STATUS_BAD_ORIGIN        (-20)
#define ZOL_STATUS_BAD_ALIGN         (-21)
#define ZOL_STATUS_NULL_CALLBACK     (-22)
#define ZOL_STATUS_BAD_TILE_SIZE     (-23)
#define ZOL_STATUS_BAD_COI           (-24)
#define ZOL_STATUS_BAD_ROI_SIZE      (-25)
#define ZOL_STATUS_MASK_TILED        (-26)

/* A header check of a mask image yields the mask's own status minus this. */
#define ZOL_MASK_STATUS_OFFSET 100

/* Error modes (per thread). */
#define ZOL_ErrModeLeaf   0 /* the application ends at the first report (default) */
#define ZOL_ErrModeParent 1 /* report, then return to the caller */
#define ZOL_ErrModeSilent 2 /* only the status changes */

typedef int ZolErrorMode;

/* A report handler receives every failure; see zolError. */
typedef int (*ZolReportHandler)(int status, const char* func, const char* context,
                                const char* file, int line);

/* ------------------------------------------------------------------ */
/* Image records                                                        */
/* ------------------------------------------------------------------ */

#define ZOL_DEPTH_SIGN (-0x7FFFFFFF - 1) /* 0x80000000: signed integer samples */
#define ZOL_DEPTH_1U   1
#define ZOL_DEPTH_8U   8
#define ZOL_DEPTH_16U  16
#define ZOL_DEPTH_32F  32
#define ZOL_DEPTH_8S   (ZOL_DEPTH_SIGN | 8)
#define ZOL_DEPTH_16S  (ZOL_DEPTH_SIGN | 16)
#define ZOL_DEPTH_32S  (ZOL_DEPTH_SIGN | 32)

#define ZOL_DATA_ORDER_PIXEL 0 /* channels interleaved */
#define ZOL_DATA_ORDER_PLANE 1 /* one plane per channel */

#define ZOL_ORIGIN_TL 0
#define ZOL_ORIGIN_BL 1

#define ZOL_ALIGN_DWORD 4
#define ZOL_ALIGN_QWORD 8

/* Flags of zolDeallocate, to be combined. */
#define ZOL_FREE_HEADER 1
#define ZOL_FREE_DATA   2
#define ZOL_FREE_ROI    4
#define ZOL_FREE_TILE   8
#define ZOL_FREE_MASK   16

/* Modes passed to a tile callback. */
#define ZOL_TILE_READ    1
#define ZOL_TILE_WRITE   2
#define ZOL_TILE_RELEASE 4

/* Border sides, as bits of a side set; bit i selects borderMode[i] and
 * borderConst[i] (0 top, 1 bottom, 2 left, 3 right). */
#define ZOL_SIDE_TOP    1
#define ZOL_SIDE_BOTTOM 2
#define ZOL_SIDE_LEFT   4
#define ZOL_SIDE_RIGHT  8

/* Border modes. */
#define ZOL_BORDER_CONSTANT 0
#define ZOL_BORDER_REPLICATE 1
#define ZOL_BORDER_REFLECT 2
#define ZOL_BORDER_WRAP 3

/* Region of interest; all fields 32-bit signed. coi 0 means all channels,
 * k means channel k alone, counted from 1. */
typedef struct ZolROI {
    int32_t coi;
    int32_t xOffset;
    int32_t yOffset;
    int32_t width;
    int32_t height;
} ZolROI;

struct ZolImage;

/* Called as callBack(image, xIndex, yIndex, mode): on ZOL_TILE_READ or
 * ZOL_TILE_WRITE store the tile's address in image->tileInfo->tileData
 * (leave it NULL to refuse); on ZOL_TILE_RELEASE the tile is final. */
typedef void (*ZolTileCallBack)(const struct ZolImage* image, int xIndex, int yIndex, int mode);

typedef struct ZolTileInfo {
    ZolTileCallBack callBack;
    int32_t tileId;   /* the application's own; never read by the library */
    void* tileData;   /* filled by the callback */
    int32_t width;    /* tile size in pixels: positive multiples of 8 */
    int32_t height;
} ZolTileInfo;

/* The image header. headerSize holds sizeof(ZolImage). */
typedef struct ZolImage {
    int32_t headerSize;
    int32_t headerVersion;
    int32_t nChannels;     /* alpha included */
    int32_t alphaChannel;  /* 0, or nChannels when the last channel is alpha */
    int32_t depth;         /* ZOL_DEPTH_* */
    char colorModel[4];    /* not terminated */
    char channelSeq[4];    /* not terminated */
    int32_t dataOrder;     /* ZOL_DATA_ORDER_* */
    int32_t origin;        /* ZOL_ORIGIN_*; enters no address */
    int32_t align;         /* 4 or 8: alignment of imageData and of each row */
    int32_t width;
    int32_t height;
    ZolROI* roi;
    struct ZolImage* maskROI; /* a 1-bit image selecting pixels, or NULL */
    void* imageTag;
    ZolTileInfo* tileInfo;    /* NULL for an image in memory */
    int32_t imageSize;        /* bytes of pixel data */
    char* imageData;
    int32_t widthStep;        /* bytes from one row to the next in a plane */
    int32_t borderMode[4];
    int32_t borderConst[4];
    char* dataBase;           /* the block imageData was aligned from, or NULL */
} ZolImage;

typedef struct ZolLibVersion {
    int major;
    int minor;
    int build;
    const char* libraryName;
    const char* versionText;
    const char* internalVersion;
    const char* buildDate;
    const char* linkage;
} ZolLibVersion;

/* ------------------------------------------------------------------ */
/* Status, error modes and reporting                                    */
/* ------------------------------------------------------------------ */

/* The calling thread's last stored status. */
ZOL_API int zolGetErrStatus(void);
/* Stores status unchanged. */
ZOL_API void zolSetErrStatus(int status);
ZOL_API int zolGetErrMode(void);
/* Stores mode unchanged, without a range check. */
ZOL_API void zolSetErrMode(int mode);
/* Installs handler for the calling thread and returns the previous one;
 * NULL restores zolGuiBoxReport. */
ZOL_API ZolReportHandler zolRedirectError(ZolReportHandler handler);
/* Stores status (but not -1 Backtrace or -8 Autotrace), then, unless status
 * is 0, calls the thread's handler and returns its result. */
ZOL_API int zolError(int status, const char* func, const char* context, const char* file,
                     int line);
/* The constant text of a status; "Unknown error or status code" for codes
 * without one. */
ZOL_API const char* zolErrorStr(int status);
/* Handler: shows nothing; ends the process (exit 1) in leaf mode. */
ZOL_API int zolNulDevReport(int status, const char* func, const char* context,
                            const char* file, int line);
/* Handler: writes the report to standard error; ends the process in leaf mode. */
ZOL_API int zolStdErrReport(int status, const char* func, const char* context,
                            const char* file, int line);
/* Handler (the default): presents an error box on standard error and
 * honours its answer; see README. */
ZOL_API int zolGuiBoxReport(int status, const char* func, const char* context,
                            const char* file, int line);
ZOL_API const ZolLibVersion* zolGetLibVersion(void);

/* ------------------------------------------------------------------ */
/* Memory, headers, ROI and tile records                                */
/* ------------------------------------------------------------------ */

/* 32-byte aligned blocks, never zeroed; length in bytes / 16-bit / 32-bit /
 * 64-bit elements. NULL on failure or negative length, with no report. */
ZOL_API void* zolMalloc(int length);
ZOL_API void* zolwMalloc(int length);
ZOL_API void* zoliMalloc(int length);
ZOL_API void* zolsMalloc(int length); /* the same function as zoliMalloc */
ZOL_API void* zoldMalloc(int length);
/* Releases a block of the allocators above; NULL is allowed. */
ZOL_API void zolFree(void* pointer);

/* A new header without pixels; NULL after a report for a bad argument, or
 * NULL without a report when memory runs out. colorModel and
 * channelSeq must have four readable bytes; the first four are copied. */
ZOL_API ZolImage* zolCreateImageHeader(int nChannels, int alphaChannel, int depth,
                                       const char* colorModel, const char* channelSeq,
                                       int dataOrder, int origin, int align, int width,
                                       int height, ZolROI* roi, ZolImage* maskROI,
                                       void* imageTag, ZolTileInfo* tileInfo);
/* Allocates the pixels of any depth but 32F; with doFill, fills every byte
 * (row padding included) with fillValue's pattern for the depth. On memory
 * shortage imageData stays NULL with no report. */
ZOL_API void zolAllocateImage(ZolImage* image, int doFill, int fillValue);
/* The same for 32F, the fill being the float's bits. */
ZOL_API void zolAllocateImageFP(ZolImage* image, int doFill, float fillValue);
/* Frees pixels the library allocated; imageData and dataBase become NULL. */
ZOL_API void zolDeallocateImage(ZolImage* image);
/* Frees what the ZOL_FREE_* flags name; the header last. */
ZOL_API void zolDeallocate(ZolImage* image, int flag);
/* zolDeallocate(image, ZOL_FREE_HEADER). */
ZOL_API void zolDeallocateHeader(ZolImage* image);
/* A new image with the same layout, a private copy of the ROI, no mask, tag
 * or tiles, and a copy of the pixels (of an untiled source). */
ZOL_API ZolImage* zolCloneImage(const ZolImage* image);
/* Checks a header completely; stores and returns the first fault's status
 * without a report, or returns 0. */
ZOL_API int zolCheckImageHeader(const ZolImage* image);

ZOL_API ZolROI* zolCreateROI(int coi, int xOffset, int yOffset, int width, int height);
ZOL_API void zolSetROI(ZolROI* roi, int coi, int xOffset, int yOffset, int width, int height);
/* Frees a record of zolCreateROI, zolCreateTileInfo or a colour twist. */
ZOL_API void zolDeleteROI(void* record);
ZOL_API void zolDeleteTileInfo(void* record);
ZOL_API void zolDeleteColorTwist(void* record);
ZOL_API ZolTileInfo* zolCreateTileInfo(ZolTileCallBack callBack, int tileId, int width,
                                       int height);
ZOL_API void zolSetTileInfo(ZolTileInfo* tileInfo, ZolTileCallBack callBack, int tileId,
                            int width, int height);
/* Writes mode and constVal for each side whose bit is set in sides. */
ZOL_API void zolSetBorderMode(ZolImage* image, int mode, int sides, int constVal);

/* ------------------------------------------------------------------ */
/* Logic                                                                */
/* ------------------------------------------------------------------ */

/* dst = a AND b, a OR b, a XOR b on the bits of each element, for 1U, 8U,
 * 8S, 16U, 16S, 32S (32F is refused). Honours ROI, coi and the masks of all
 * three images; the alpha channel is untouched; 1-bit regions may start at
 * different bit offsets, and bits outside the rectangle keep their values.
 * When all three images are whole, alike and unmasked, the row padding of
 * the destination is written too (from the sources' padding). Any two of
 * the images, or all three, may be the same. */
ZOL_API void zolAnd(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
ZOL_API void zolOr(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
ZOL_API void zolXor(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
/* dst = src AND value, src OR value: as zolXorS below. */
ZOL_API void zolAndS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value);
ZOL_API void zolOrS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value);
/* dst = src XOR value on the bits of each element, for 1U, 8U, 8S, 16U,
 * 16S, 32S (32F is refused). value becomes a pattern per depth: 1-bit: bit 0
 * spread; 8-bit: the low byte; 16-bit: the low 16 bits; 32S: unchanged.
 * Honours ROI, coi, masks; the alpha channel is untouched. When source and
 * destination are whole, alike and unmasked, the row padding of the
 * destination is written too. */
ZOL_API void zolXorS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value);
/* zolXorS(srcImage, dstImage, 0xFFFFFFFF): reports in the name of zolXorS. */
ZOL_API void zolNot(ZolImage* srcImage, ZolImage* dstImage);
/* dst = src << nShift in the element's width for 8U, 8S, 16U, 16S, 32S:
 * shifted-out bits are lost, zeros come in, nothing saturates. nShift 0 is
 * zolXorS(src, dst, 0), a copy; nShift at or above the width (unsigned, so
 * a negative count is very large; any count above 0 on 1U) is
 * zolAndS(src, dst, 0), all zeros; failures there are reported in the name
 * of zolXorS or zolAndS. A NULL srcImage is -5 "srcImage==0". ROI, coi,
 * masks, alpha and the padding of whole images as zolXorS. */
ZOL_API void zolLShiftS(ZolImage* srcImage, ZolImage* dstImage, uint32_t nShift);
/* dst = src >> nShift: logical for unsigned depths, arithmetic for signed
 * ones (rounding toward minus infinity). As zolLShiftS, except that on a
 * signed depth a count at or above the width becomes width - 1: every
 * element becomes 0 or -1. */
ZOL_API void zolRShiftS(ZolImage* srcImage, ZolImage* dstImage, uint32_t nShift);

/* ------------------------------------------------------------------ */
/* Dyadic arithmetic                                                    */
/* ------------------------------------------------------------------ */

/* dst = a + b element by element, for 8U, 8S, 16U, 16S, 32S and 32F. An
 * integer sum is exact and then clamped to the depth's range (8U: 200 + 100
 * = 255; 32S: 2147483647 + 1 = 2147483647). A 32F sum is rounded once to
 * single precision and not clamped: infinities pass through, and a NaN
 * operand comes out quieted (srcImageA's where both are NaN). A 1U
 * srcImageA makes the call zolOr(srcImageA, srcImageB, dstImage), which
 * checks and reports in its own name: 1 + 1 = 1. A NULL srcImageA is -5
 * "srcImageA==0". Otherwise the three images share depth, data order and
 * channel count (the alpha channel not counted, a coi counting as one);
 * ROI, coi, the masks of all three, tiles and in-place use (any two of the
 * images, or all three, the same) are honoured. Untouched: the destination
 * outside the common region, the alpha channel unless a coi selects it,
 * channels a coi leaves out, pixels a mask leaves out, and the row padding,
 * except when all three images are whole, alike and unmasked: then the
 * padding is computed from the sources' padding like any element. */
ZOL_API void zolAdd(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
/* dst = a - b, srcImageA the minuend; as zolAdd otherwise. 8U and 16U clamp
 * at 0 from below, the signed depths to their range; 32F in single
 * precision. There is no pre-check: a NULL srcImageA is -9 "Incorrect
 * Image". 1U images are handled here, as a AND NOT b (the saturated
 * difference of two bits); their data orders may differ, and bits of the
 * destination outside the region keep their values. */
ZOL_API void zolSubtract(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
/* dst = a * b without scaling; as zolAdd otherwise. An integer product is
 * exact and then clamped (8U: 200 * 2 = 255; 16U: 256 * 256 = 65535; 32S:
 * 46341 * 46341 = 2147483647); 32F in single precision. A 1U srcImageA
 * makes the call zolAnd(srcImageA, srcImageB, dstImage), reporting in its
 * own name. A NULL srcImageA is -5 "srcImageA==0". */
ZOL_API void zolMultiply(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);

/* ------------------------------------------------------------------ */
/* Constant and monadic arithmetic                                      */
/* ------------------------------------------------------------------ */

/* Common to the eight functions below: srcImage and dstImage share depth,
 * data order and channel count (the alpha channel not counted, a coi
 * counting as one; zolAbs has rules of its own), and may be the same image.
 * ROI, coi, the masks of both images (combined) and tiles are honoured.
 * Untouched: the destination outside the common region, the alpha channel
 * unless a coi selects it, channels a coi leaves out, pixels a mask leaves
 * out, and the row padding, except when both images are whole, alike and
 * unmasked: then the padding is computed from the source's padding like
 * any element (never in zolAbs). Integer results are exact and then clamped
 * to the depth's range; a constant out of that range is no fault. Where a
 * constant can only saturate or change nothing, the call becomes a logic
 * operation before any check of the images, and that operation checks and
 * reports in its own name (a NULL dstImage there is -9 "Incorrect Image"
 * from zolAndS, zolOrS or zolXorS). A NULL srcImage is -5 "srcImage==0"
 * in the six functions with a constant. */

/* dst = src + value for 32S, exact and clamped (a + value never wraps).
 * 1U: zolOrS(src, dst, value). 8U, 8S, 16U, 16S: zolSubtractS(src, dst, v,
 * 0) with v = -value, or 65535 for value below -65535; all reports then
 * name zolSubtractS. 32F is refused: -5 "For processing depth 32F use
 * function zolAddSFP". */
ZOL_API void zolAddS(ZolImage* srcImage, ZolImage* dstImage, int value);
/* dst = src - value, or with flip nonzero value - src, for 8U, 8S, 16U,
 * 16S, 32S; exact, then clamped (8U 0..255, 8S -128..127, 16U 0..65535,
 * 16S -32768..32767, 32S its range). 32F is refused: -5 "For processing
 * depth 32F use function zolSubtractSFP". Short cuts, M being 255 (8U) or
 * 65535 (16U): without flip, value <= -M is zolOrS(src, dst, 0xFFFFFFFF)
 * and value >= M is zolAndS(src, dst, 0); with flip, value <= 0 is
 * zolAndS(src, dst, 0) and value >= 2M is zolOrS(src, dst, 0xFFFFFFFF).
 * 1U, v = value & 1: a copy through zolXorS(src, dst, v) when v is 0
 * without flip or 1 with flip (then it inverts), else zolAndS(src, dst, 0). */
ZOL_API void zolSubtractS(ZolImage* srcImage, ZolImage* dstImage, int value, int flip);
/* dst = src * value, exact in 32 bits (32S: in 64) and clamped, without
 * scaling (8U: 200 * 2 = 255). 32F is refused: -5 "For processing depth
 * 32F use function zolMultiplySFP". 1U: zolAndS(src, dst, value). 8U and
 * 16U: value <= 0 is zolAndS(src, dst, 0), all zeros. */
ZOL_API void zolMultiplyS(ZolImage* srcImage, ZolImage* dstImage, int value);
/* dst = src + value on 32F alone, in single precision: one rounding, no
 * clamping; infinities pass through, and a NaN comes out quieted (the
 * element's where both are NaN). Another depth is -5 "For processing this
 * depth use function zolAddS". */
ZOL_API void zolAddSFP(ZolImage* srcImage, ZolImage* dstImage, float value);
/* dst = src - value, or with flip nonzero value - src; as zolAddSFP,
 * another depth naming zolSubtractS. */
ZOL_API void zolSubtractSFP(ZolImage* srcImage, ZolImage* dstImage, float value, int flip);
/* dst = src * value; as zolAddSFP, another depth naming zolMultiplyS. */
ZOL_API void zolMultiplySFP(ZolImage* srcImage, ZolImage* dstImage, float value);
/* dst = src * src at every depth: 1U the bit itself, 8U up to 255, 8S up
 * to 127 (-12 gives 127), 16U up to 65535, 16S up to 32767, 32S exact then
 * up to 2147483647, 32F in single precision. A NULL image is -9 "Incorrect
 * Image"; 1U images may differ in data order. */
ZOL_API void zolSquare(ZolImage* srcImage, ZolImage* dstImage);
/* dst = |src| for 8S, 16S, 32S in two's complement, (a + s) ^ s with s the
 * sign spread: the most negative value stays itself (|-128| is -128).
 * 1U, 8U, 16U are copied; 32F is refused, -5 "This function does not
 * support depth 32F" (after the masks are combined). Checks, in order:
 * headers ("Incorrect Image"), depth, data order; if both images or
 * neither have alpha, equal nChannels, else -5 "(nChSrc != nChDst)"; a coi
 * counts only on an image of more than one channel, and must count on both
 * or neither, else -5 "(nChSrcCoi != nChDstCoi)"; without a coi, equal
 * nChannels with alpha on one side only is -5 "(aChSrc != aChDst)". Channels
 * written: the fewer nChannels of the two; nChannels - 1 of the source if
 * both have alpha; 1 with a coi. Two masks are combined into a new image;
 * an empty common mask region does nothing. Tiled images are walked with a
 * read and a write request even for one image used as both, and the
 * callback must clear tileData at each release, else -5
 * "(srcImage->tileInfo->tileData != ((void*)(0)))" or the same with
 * dstImage. */
ZOL_API void zolAbs(ZolImage* srcImage, ZolImage* dstImage);

/* ------------------------------------------------------------------ */
/* Copy, set, exchange                                                  */
/* ------------------------------------------------------------------ */

/* These move or write elements without converting them. Each image works
 * on its region (ROI cut at its edges, or the whole image); the common
 * region has the smallest width and height of the images' regions and of
 * the mask's, each keeping its own top-left corner. The channel set is the
 * ROI's coi alone, else every channel but the alpha channel; a set that is
 * the alpha channel alone does nothing and reports nothing. A mask is the
 * destination's maskROI, the source's, or the AND of both when they
 * differ, placed by its own ROI; a set bit selects a pixel. Elements,
 * row padding and channels outside region, set or mask stay untouched.
 * Tiled images are walked tile by tile. */

/* Copies the common region of srcImage into dstImage. Depths 1U, 8U, 8S,
 * 16U, 16S, 32S, 32F, the same in both images, with the same origin and,
 * unless the depth is 1U or both images have one channel, the same
 * dataOrder; the channel sets must have the same size (-24 otherwise).
 * The depth, origin and order checks each report and go on, so the last
 * fault stands; then a negative status, even one left by an earlier call,
 * or srcImage == dstImage, returns without touching anything. 1-bit
 * regions may start at any bit; the bits around them keep their values. */
ZOL_API void zolCopy(ZolImage* srcImage, ZolImage* dstImage);
/* Writes fillValue, clamped to the depth's range (1U 0..1, 8U 0..255, 8S
 * -128..127, 16U 0..65535, 16S -32768..32767, 32S as it is), into the
 * image's region. 32F is refused (-17): use zolSetFP. A 1-bit image under
 * a mask has its mask image inverted in place and back during the call. */
ZOL_API void zolSet(ZolImage* image, int fillValue);
/* The same for a 32F image; every bit of fillValue reaches the pixels, NaN
 * payloads included. A NULL image is -5, any other depth -17. */
ZOL_API void zolSetFP(ZolImage* image, float fillValue);
/* Swaps the common regions of the two images; accepts and checks them as
 * zolCopy does. Applied twice it restores both images. */
ZOL_API void zolExchange(ZolImage* srcImage, ZolImage* dstImage);

/* ------------------------------------------------------------------ */
/* Fourier transform, cosine transform, spectrum product                */
/* ------------------------------------------------------------------ */

/* Flags of zolRealFft2D and zolCcsFft2D; other bits are ignored. */
#define ZOL_FFT_FORWARD   1   /* kernel exp(-2 pi i (ux/W + vy/H)), never scaled */
#define ZOL_FFT_INVERSE   2   /* kernel exp(+2 pi i (...)), divided by W*H */
#define ZOL_FFT_NO_SCALE  4   /* no division by W*H on the inverse */
#define ZOL_FFT_USE_INT   16  /* 32-bit fixed point, 6 fractional bits (not with 32F) */
#define ZOL_FFT_USE_FLOAT 32  /* single precision (also the default route) */
#define ZOL_FFT_FREE      128 /* release the thread's tables and buffers only */

/* Flags of zolDCT2D. The two low bits are one field: 1 forward, 2 inverse,
 * 0 and 3 do nothing after the checks. */
#define ZOL_DCT_FORWARD     1
#define ZOL_DCT_INVERSE     2
#define ZOL_DCT_FREE        8  /* release the thread's tables only */
#define ZOL_DCT_WORK_IN_SRC 16 /* 16S planes without ROI: the source is scratch */

/* The packed spectrum of a real W x H image (W, H the common region):
 * column 0 holds the transform over y of horizontal frequency 0 in the
 * one-dimensional packing (row 0 F(0,0); rows 2m-1, 2m Re and Im of F(m,0);
 * for even H row H-1 F(H/2,0)); for even W column W-1 the same for u = W/2;
 * columns 2k-1 and 2k (k = 1 .. (W-1)/2, or W/2-1 for even W) Re and Im of
 * F(y,k) for every row y in natural order. H = 1 or W = 1: the packing of
 * the single row or column.
 *
 * zolRealFft2D: real pixels to the packed spectrum. zolCcsFft2D: a packed
 * spectrum to real pixels. Both take the direction from flags. Depths 8U,
 * 8S, 16U, 16S, 32S, 32F in each image, independently; pixel or plane order
 * in each. W and H are the smaller of the two regions' sizes (ROIs cut at
 * the image edges), each image from its own corner; the channels are those
 * of the coi or all but alpha, in step. srcImage may be dstImage.
 * Float route: a power-of-two length of at least 4 runs a fast transform,
 * any other the direct sum in extended precision. Writing to an integer
 * depth: the two-dimensional spectrum rounds to nearest (ties to even) and
 * saturates; every other output (one-dimensional shapes, all of
 * zolCcsFft2D) saturates then truncates toward zero; NaN gives 0. 32F gets
 * the floats unchanged. Fixed route (ZOL_FFT_USE_INT, no 32F image): samples
 * times 64, 32-bit sums that wrap, 14-bit twiddles; results are shifted back
 * by 6 (and by log2 of the size when normalising a power-of-two size; other
 * sizes scale by 1/N in single precision, rounded to even), values in
 * (-2^s, 0) becoming 0, then clamped to the depth (32S copied).
 * The thread keeps its tables and buffers until ZOL_FFT_FREE or its exit.
 * ZOL_FFT_FREE is honoured before anything else. Faults, in this order,
 * each -5 with the failed condition as its context: no direction, both
 * directions, both routes, then per image (source first) NULL ("srcImage==0"),
 * the header check (its status, "Incorrect Image"), an alpha channel that
 * is not the last, depth 1U, no pixels in memory; then the coi rules and the
 * channel counts. An alpha-only channel set returns silently; memory that
 * cannot be had (after one retry with emptied tables) and an empty region
 * are -4 "No working memory". Untouched: the destination outside W x H, its alpha
 * channel and channels outside the set. */
ZOL_API void zolRealFft2D(ZolImage* srcImage, ZolImage* dstImage, int flags);
ZOL_API void zolCcsFft2D(ZolImage* srcImage, ZolImage* dstImage, int flags);

/* The orthonormal cosine transform of the W x H source region (its ROI, or
 * the whole image): forward F(v,u) = 2/sqrt(WH) c(u) c(v) sum f(y,x)
 * cos((2x+1)u pi/2W) cos((2y+1)v pi/2H), c(0) = 1/sqrt 2, else 1; inverse
 * its transpose. Depths 8U, 8S, 16U, 16S, 32S (the two may differ; 1U and
 * 32F refused); equal nChannels, width, height and data order; both images
 * with an ROI or neither, each inside its image; the destination region
 * starts at its own ROI offsets with the source's size and must fit. A
 * source coi selects one channel and the destination coi names the one
 * written; otherwise all channels but alpha. In-place is refused.
 * Regions whose width and height are powers of two from 4 to 128, with
 * both depths up to 16 bits, take 16-bit fixed point (16U above 32767
 * read as 32767; 4x4 and 8x8 by 15-bit matrices, other shapes by the
 * unnormalised recursion with saturating 16-bit sums, so a block whose
 * sum passes 32767 saturates; shifts truncate; results saturate to 16
 * bits, then to the destination); all else (and a 32S image) single
 * precision, rounded to nearest (ties to even) and saturated. flags & 3: 1 forward, 2 inverse, 0 or 3 nothing;
 * ZOL_DCT_FREE releases the thread's tables only. A negative status left
 * by an earlier call makes the call do nothing: clear it first. Lack of
 * memory ends the call silently with the destination untouched. */
ZOL_API void zolDCT2D(ZolImage* srcImage, ZolImage* dstImage, int flags);

/* dst = srcA * srcB on packed spectra (the layout above), in the complex
 * sense: real elements (0,0), and for even sizes (W-1,0), (0,H-1),
 * (W-1,H-1), multiply as reals; every other element is half of a pair
 * (re, im), along y in column 0 and, for even W, column W-1, along x in
 * every row elsewhere. Depths 8S, 16S, 32S, 32F, equal in all three (8U,
 * 16U, 1U sources: -17). 8S and 16S form products and sums in 32 bits
 * (wrapping) and clamp to the depth; 32S keeps the low 32 bits; 32F forms
 * each result exactly and rounds it once to single precision. No scaling.
 * W, H: the smallest of the three regions; each image from its own corner;
 * channels of the coi or all but alpha, in step; all three images are
 * addressed in srcA's data order. Any image may also be the destination.
 * Tiled images are refused by doing nothing. */
ZOL_API void zolMpyRCPack2D(ZolImage* srcA, ZolImage* srcB, ZolImage* dst);

/* Resize, zoom, decimate                                               */
/* ------------------------------------------------------------------ */

#define ZOL_INTER_NN     0 /* nearest neighbour */
#define ZOL_INTER_LINEAR 1 /* bilinear */
#define ZOL_INTER_CUBIC  2 /* cubic through four samples each way */
#define ZOL_INTER_SUPER  3 /* area average, reduction only */

/* Scales the source region by xDst/xSrc and yDst/ySrc into the
 * destination region. Depths 1U, 8U, 16U, equal in both images, with equal
 * dataOrder; not in place (-5 "This function isn`t in-plase function").
 * Destination column i samples source u = i * xSrc/xDst from the region's
 * corner (no half-pixel shift), the index being round(u + 0.00001 - 0.5);
 * rows likewise. Nearest copies that sample. Linear: 14-bit weights w =
 * round(frac * 16384 + 0.00001 - 0.5), horizontal h = (a(16384-w) + bw) >> 8
 * kept in 16 bits and vertical (h0(16384-v) + h1 v) >> 20; 16U halves each
 * sample first, then >> 14 and >> 13 (so 65535 gives 65534); shifts
 * truncate; the last sample takes weight 16384 on itself. Cubic: the
 * four-point cubic by forward differences in float, the sample index taken
 * in image coordinates (samples around the region are read, none outside
 * the image), the image's last sample held at t = 2, result round(p +
 * 0.00001 - 0.5) clamped. 1U, or a source under 2 pixels either way, runs
 * nearest; cubic on a source under 4 runs linear; a reduction by whole
 * factors in both directions runs nearest. ZOL_INTER_SUPER goes to
 * zolDecimate (reductions only, else -5). The written size is the
 * destination region's, cut where the last column or row would fall past
 * the source; the rest stays untouched. The channel set is the coi, or all
 * but alpha; sets of different sizes are -2 "srcImage COI != dstImage COI".
 * A source mask is scaled onto the written rectangle by nearest neighbour
 * and ANDed with the destination's; only pixels whose bit is 1 are written.
 * Tiled images on either side give the same pixels as plain ones. Argument
 * checks report and go on, then a negative status (even one left from an
 * earlier call) ends the call; any negative status is then reported again
 * as -1 under zolResize. Returns the status. */
ZOL_API int zolResize(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                      int ySrc, int interpolate);
/* zolResize for enlargements only (nearest, linear, cubic): xDst < xSrc or
 * yDst < ySrc is -5 "xDst < xSrc || yDst < ySrc". Returns nothing. */
ZOL_API void zolZoom(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                     int ySrc, int interpolate);
/* Reduces the source region by xDst/xSrc, yDst/ySrc (each at most 1) with
 * positions in 1/256 pixel: steps xSrc*256/xDst cut to an integer, columns
 * at 256*x0 + i*step from the source region's corner, plus 128 on an axis
 * whose factor is not whole in nearest mode. Nearest takes the sample at
 * p >> 8. Linear uses q = p - 1, weights 256 - f and f, result ((v >> 15) +
 * 1) >> 1 (one direction: ((v >> 7) + 1) >> 1); position 0 copies. Cubic
 * is the Lagrange cubic through four samples in extended precision, cut
 * toward zero and clamped; with a plain source the last row or column is
 * left unwritten where the samples would run out. ZOL_INTER_SUPER averages
 * the box of the step with fractional edge weights: (W * 256/(xStep*yStep)
 * + 0.5) cut; 1U gives 1 for a mean of one half or more. 1U runs nearest
 * for linear and cubic; a source under 4 pixels either way runs nearest;
 * whole factors both ways run nearest except area. Depths 1U, 8U, 16U;
 * maskROI is not looked at. Written size: the destination region cut to
 * source size * xDst / xSrc. Returns a negative status when a check fails,
 * 1 when done, 0 when the work fails after a report (a tile that did not
 * come, -3; scratch memory, -4), the pieces done staying written. */
ZOL_API int zolDecimate(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                        int ySrc, int interpolate);

/* ------------------------------------------------------------------ */
/* Mirror                                                               */
/* ------------------------------------------------------------------ */

/* Copies the region flipped: flipAxis 0 reverses the rows (dst(i, H-1-j) =
 * src(i, j)), 1 the columns (dst(W-1-i, j) = src(i, j)), -1 both. W x H is
 * the smaller of the two regions, cut further to each mask's region (cut at
 * the mask's edges). Depths 1U, 8U, 8S, 16U, 16S, 32S, the same on both
 * sides; a coi selects one channel, else every channel but alpha (whose
 * values stay). A source mask is read at the source pixel, a destination
 * mask at the destination pixel; pixels not selected keep their values,
 * except in 1U, where every bit of the region is written and unselected ones
 * become 0. srcImage may be dstImage: then without a mask the flip is done
 * in place through one scratch row, with a mask nothing changes and nothing
 * is reported (a tiled image flips in place with masks too, its region
 * being read first). Tiles on either side. Checks, in order: headers
 * ("Incorrect Image"), 32F (-17 "srcImage->depth = 32F"), depths (-5
 * "(srcImage->depth!=dstImage->depth)"), flipAxis (-5
 * "((flipAxis>1)||(flipAxis<-1))"), alpha on 1U (-16) and alpha not last
 * (-18) ("srcImage->alphaChannel", "dstImage->alphaChannel"), coi (-24
 * "srcImage-roi->coi", "dstImage-roi->coi"), channel counts (-15, empty
 * text). A destination tile that does not come is left out. */
ZOL_API void zolMirror(ZolImage* srcImage, ZolImage* dstImage, int flipAxis);

/* ------------------------------------------------------------------ */
/* Affine warps                                                         */
/* ------------------------------------------------------------------ */

/* Affine coefficients map a source position to a destination one, both in
 * image coordinates (integers at pixel centres):
 *   x' = c[0][0] x + c[0][1] y + c[0][2],  y' = c[1][0] x + c[1][1] y + c[1][2].
 * A quadrangle is the images of the source rectangle's corners (its first
 * and last pixels) top-left, top-right, bottom-right, bottom-left; a bound
 * is {min x, min y}, {max x, max y} over them. */

/* Writes the destination pixels inside the quadrangle of the source region
 * (other pixels keep their values), each sampled at the inverse map of its
 * position: nearest (index of u + 1/2, truncated), linear or cubic.
 * 8U (and 1U, and 16U nearest) step the source position in 16.16 fixed
 * point, adding per pixel; 8U linear gives ((h0 (16384 - wy) + h1 wy) >> 20)
 * of 14-bit weights with h = (a (16384 - wx) + b wx) >> 8, 8U cubic the
 * cubic through four samples in 4 fractional bits, rounded and clamped. 16U
 * linear and cubic run in double, start at the first column of each row,
 * add per pixel and round to nearest, keeping all 16 bits. Linear and cubic
 * read samples past an ROI's far edges where the image has them. 1U and
 * sources of one row or column run nearest, cubic under 4 samples runs
 * linear. Depths 1U, 8U, 16U, equal; origins equal; data orders equal but
 * for 1U or one channel each; maskROI is not looked at; not in place;
 * tiles on either side. A singular matrix (|ad - bc| < 1e-7) is -5
 * "Determinant of transform matrix == 0.0"; an identity with shifts copies
 * the region moved by floor(shift); untiled half and quarter turns go to the
 * exact rotation of zolRotate. interpolate outside 0..2: -5 "interpolate <
 * 0 || interpolate > 2". Header faults: "srcImage->depth !=
 * dstImage->depth", "srcImage->origin != dstImage->origin",
 * "srcImage->dataOrder != dstImage->dataOrder", "(srcImage->depth &
 * ZOL_DEPTH_SIGN) || (srcImage->depth == ZOL_DEPTH_32F)", "This function is
 * not in-place function" (all reported, then the call ends). Positions are
 * computed in 64 bits; a mapping whose steps reach 1e9 or whose corners
 * reach 1e12 in magnitude writes nothing, so extreme matrices never
 * overflow. */
ZOL_API void zolWarpAffine(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[2][3],
                           int interpolate);
/* zolWarpAffine with {cos a, sin a, xShift}, {-sin a, cos a, yShift}, a in
 * degrees. Turns within 1e-7 of 90, 180, 270 degrees on untiled images are
 * exact copies by floor(xShift), floor(yShift) (no sampling): 90 takes (x,
 * y) to (y + X, -x + Y), 180 to (-x + X, -y + Y), 270 to (-y + X, x + Y).
 * On tiled images the same turns take the general path with exact sine and
 * cosine and whole shifts, giving the same pixels. */
ZOL_API void zolRotate(ZolImage* srcImage, ZolImage* dstImage, double angle, double xShift,
                       double yShift, int interpolate);
/* zolWarpAffine with {1, xShear, xShift}, {yShear, 1, yShift}; returns the
 * status. */
ZOL_API int zolShear(ZolImage* srcImage, ZolImage* dstImage, double xShear, double yShear,
                     double xShift, double yShift, int interpolate);
/* The quadrangle of the image's region (cut to the image) under coeffs; an
 * empty region is -5 "Bad rect ROI". */
ZOL_API void zolGetAffineQuad(const ZolImage* image, const double coeffs[2][3],
                              double quadrangle[4][2]);
ZOL_API void zolGetAffineBound(const ZolImage* image, const double coeffs[2][3], double rect[2][2]);
/* The coefficients mapping the image's region onto a parallelogram given
 * as a quadrangle: -5 "Quadrangle is degenerate to triangle or length or
 * point", "Quadrangle is concave", "Quadrangle is not parallelogram",
 * "Bad rect ROI", "srcImage Rectangle ROI is degenerate to length or
 * point". */
ZOL_API void zolGetAffineTransform(const ZolImage* image, double coeffs[2][3],
                                   const double quadrangle[4][2]);
/* Adds to *xShift, *yShift what makes zolRotate by angle turn about
 * (xCenter, yCenter). */
ZOL_API void zolGetRotateShift(double xCenter, double yCenter, double angle, double* xShift,
                               double* yShift);

/* ------------------------------------------------------------------ */
/* Bilinear and perspective mappings                                    */
/* ------------------------------------------------------------------ */

/* Bilinear coefficients, two rows of four:
 *   x' = c[0][0] x y + c[0][1] x + c[0][2] y + c[0][3]
 *   y' = c[1][0] x y + c[1][1] x + c[1][2] y + c[1][3]
 * Perspective coefficients, three rows of three:
 *   x' = (c[0][0] x + c[0][1] y + c[0][2]) / (c[2][0] x + c[2][1] y + c[2][2])
 *   y' = (c[1][0] x + c[1][1] y + c[1][2]) / (c[2][0] x + c[2][1] y + c[2][2])
 * Quadrangles and bounds as for the affine helpers. The warp flag says
 * which way a mapping runs: ZOL_WARP_TO_QUAD takes the source region onto
 * a quadrangle of the destination (the quadrangle is scanned);
 * ZOL_WARP_FROM_QUAD takes a quadrangle of the source onto the
 * destination region (every destination pixel is computed). */
#define ZOL_WARP_TO_QUAD 0
#define ZOL_WARP_FROM_QUAD 1

/* The quadrangle of the image's region (cut to the image) under coeffs, in
 * double; an empty region is -5 "Bad rect ROI", a bad header "Incorrect
 * Image". The Bound forms give {min x, min y}, {max x, max y} over it and
 * report a failure of the quadrangle as -1 with an empty text. Nothing is
 * written on failure. */
ZOL_API void zolGetBilinearQuad(const ZolImage* image, const double coeffs[2][4],
                                double quadrangle[4][2]);
ZOL_API void zolGetPerspectiveQuad(const ZolImage* image, const double coeffs[3][3],
                                   double quadrangle[4][2]);
ZOL_API void zolGetBilinearBound(const ZolImage* image, const double coeffs[2][4], double rect[2][2]);
ZOL_API void zolGetPerspectiveBound(const ZolImage* image, const double coeffs[3][3], double rect[2][2]);
/* The coefficients taking the image's region (its first and last pixels,
 * corners clockwise from top-left) onto the quadrangle, so that the Quad
 * helper gives the quadrangle back within rounding. Any convex
 * quadrangle; -5 "Quadrangle is degenerate to triangle or length or
 * point", "Quadrangle is concave", "Bad rect ROI", "image Rectangle ROI is
 * degenerate to length or point" (one row or column). coeffs is untouched
 * on failure. */
ZOL_API void zolGetBilinearTransform(const ZolImage* image, double coeffs[2][4],
                                     const double quadrangle[4][2]);
ZOL_API void zolGetPerspectiveTransform(const ZolImage* image, double coeffs[3][3],
                                        const double quadrangle[4][2]);

/* The bilinear and perspective warps. With ZOL_WARP_TO_QUAD the source
 * region goes onto quadrangle (destination coordinates): the pixels inside
 * it are written, the rest keep their values, as for zolWarpAffine, each at
 * the inverse map of its position. The perspective inverse is the adjugate
 * of the forward map: per pixel one division of numerators that are
 * stepped by one addition per column from each row's first column. The
 * bilinear inverse solves the quadratic once per pixel (one square root, a
 * radicand below 0 taken as 0), or divides or adds when the quadrangle has
 * parallel sides. With ZOL_WARP_FROM_QUAD the destination region goes onto
 * quadrangle (source coordinates) and every destination pixel is computed;
 * a pixel whose sample index falls outside the source region keeps its
 * value. Sampling from double positions: nearest takes round(u + 1e-7),
 * linear round(u + 1e-7 - 0.5) and the next sample (the index held at the
 * image's last pair), result round(a + (b - a) fy + 1e-7); cubic as for
 * zolWarpAffine, 8U from 16.16 fractions, 16U in float; all rounding to
 * nearest even, saturated, 16U keeping all 16 bits. The bilinear map with
 * ZOL_WARP_FROM_QUAD runs in 16.16 fixed point with no product per pixel,
 * and 8U samples with the fixed-point arithmetic of zolWarpAffine. Depths,
 * channels, origins, orders, tiles and refusals as for zolWarpAffine, and
 * in this order: warpFlag other than 0 or 1 -5 "warpFlag != 0 && warpFlag !=
 * 1" (among the header faults), then "Quadrangle is degenerate to triangle
 * or length or point" or "Quadrangle is concave" (-5), then "interpolate < 0
 * || interpolate > 2". A source region of one row or column is -5
 * "srcImage Rectangle ROI is degenerate to length or point" with
 * ZOL_WARP_TO_QUAD and samples nearest with ZOL_WARP_FROM_QUAD, where a
 * destination region of one row or column is -5 "dstImage Rectangle ROI is
 * degenerate to length or point". Quadrangle corners at 1e12 or beyond in
 * magnitude (or not finite) write nothing and report nothing. */
ZOL_API void zolWarpBilinearQ(ZolImage* srcImage, ZolImage* dstImage, const double quadrangle[4][2],
                              int warpFlag, int interpolate);
ZOL_API void zolWarpPerspectiveQ(ZolImage* srcImage, ZolImage* dstImage, const double quadrangle[4][2],
                                 int warpFlag, int interpolate);
/* The Q forms with the quadrangle of the source region under coeffs
 * (ZOL_WARP_TO_QUAD) or of the destination region (ZOL_WARP_FROM_QUAD),
 * from the Quad helpers. Return the status; a failure of either step is
 * reported again as -1 with an empty text under the outer name. */
ZOL_API int zolWarpBilinear(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[2][4], int warpFlag,
                            int interpolate);
ZOL_API int zolWarpPerspective(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[3][3], int warpFlag,
                               int interpolate);

/* Scaled multiplication and alpha compositing                          */
/* ------------------------------------------------------------------ */

/* Common to the five functions below: depths 8U and 16U alone, the same in
 * every image; M is the top of the depth (255 or 65535) and stands for 1.0.
 * div(x) is x / M truncated, exact for every product of two values up to M
 * (div(M * M) = M). Data orders may differ from image to image. Each image
 * works on its own region (ROI cut at its edges, or the whole image), all
 * cut to the least width and height, each from its own corner. The masks of
 * the images (up to six) are combined by zolAnd, each placed by its own
 * region; a clear bit leaves the pixel alone in every channel. Tiled images
 * (not masks) may have different tile grids: windows of the first tiled
 * image's tiles are served as one piece of memory per image; a refused tile
 * ends the walk with -2 "ERROR in Tiling callBack", windows done staying
 * written. The destination may be a source. Checks, in order: the
 * destination (NULL is -5 "dstImage==0"; a bad header reports its status
 * with "Incorrect Image"), then each source likewise; an image with alpha
 * that has one channel or whose coi is its alpha channel ends the call
 * silently, the status kept; depths ("dstImage->depth != 8 &&
 * dstImage->depth != 16", "srcImageA->depth != dstImage->depth"); coi
 * agreement (a coi on either side needs a ROI with a coi on the other);
 * colour channel counts; the masks. Two or more masks with a negative status
 * afterwards (even one left by an earlier call) report -1 "Bad masks for
 * images" and write nothing. The row padding and every element outside the
 * common region are untouched. */

/* dst = div(a * b): 255 * 255 = 255, 128 * 128 = 64, 1 * 1 = 0 at 8U;
 * 65535 * 65535 = 65535 at 16U. No saturation is needed. The alpha channel
 * of every image is neither read nor written. */
ZOL_API void zolMultiplyScale(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage);
/* dst = div(src * v), v being value cut to 0..M (300 at 8U leaves the image
 * unchanged, -1 gives zeros). As zolMultiplyScale otherwise, the contexts
 * naming srcImage. */
ZOL_API void zolMultiplySScale(ZolImage* srcImage, ZolImage* dstImage, int value);

/* Multiplies the colour channels of image in place by an alpha p:
 * c = div(c * p). A negative alphaValue takes p from each pixel's own alpha
 * channel (-5 "image->alphaChannel < 1" without one); otherwise p is
 * alphaValue cut to M, and the alpha channel, if any, is set to it. A coi
 * walks that channel alone (the alpha channel is still set). The image's
 * mask selects pixels. */
ZOL_API void zolPreMultiplyAlpha(ZolImage* image, int alphaValue);

/* Compositing operators, with a, b the alphas of the sources. */
#define ZOL_COMPOSITE_OVER 0 /* A over B */
#define ZOL_COMPOSITE_IN   1 /* A in B */
#define ZOL_COMPOSITE_OUT  2 /* A out of B */
#define ZOL_COMPOSITE_ATOP 3 /* A atop B */
#define ZOL_COMPOSITE_XOR  4 /* A xor B */
#define ZOL_COMPOSITE_PLUS 5 /* A plus B */

/* dst = A op B per colour channel, and optionally the resulting alpha.
 * Alpha a comes from alphaImageA (its alpha channel, or channel 1 without
 * one) or else from srcImageA's alpha channel (-5 "srcImageA->alphaChannel
 * < 1" without one); alpha b from alphaImageB, or, only when no alpha image
 * is given at all, from srcImageB's alpha channel; otherwise b = M - a.
 * The result alpha goes to alphaImageDst's alpha channel, or to dstImage's
 * if it has one, or nowhere. premulAlpha 1: colours are already multiplied
 * by their alpha (A' = A), 0: A' = div(A * a), B' = div(B * b).
 * Three routes, chosen by the data, each with its own exact results:
 *  - divideMode 1, the floating route, in double precision with a and b
 *    scaled by s (8U: 1/255 rounded to single precision; 16U: 1/65535):
 *    OVER  C = A' + B'(1 - a)   Ca = a + (1 - a) b
 *    IN    C = A' b             Ca = a b
 *    OUT   C = A' (1 - b)       Ca = a (1 - b)
 *    ATOP  C = A' b + B'(1 - a) Ca = b
 *    XOR   C = A'(1 - b) + B'(1 - a)   Ca = (1 - b) a + (1 - a) b
 *    PLUS  C = A' + B'          Ca = a + b
 *    then, where Ca > s * s / 2, C = C / Ca; values round to nearest (ties
 *    to even), Ca is stored as Ca * M, and everything is capped at M.
 *  - the packed route, when srcImageA, srcImageB, dstImage and the images
 *    alphas are read from and written to are all in PLANE order, there is
 *    no mask and divideMode is 0: each product is taken by itself:
 *    OVER  C = A' + div((M - a) B')   Ca = a + div((M - a) b)
 *    IN    C = div(b A')              Ca = div(a b)
 *    OUT   C = div((M - b) A')        Ca = div((M - b) a)
 *    ATOP  C = div(b A') + div((M - a) B')   Ca = b
 *    XOR   C = div((M - b) A') + div((M - a) B')
 *          Ca = div((M - b) a) + div((M - a) b)
 *    PLUS  C = A' + B'                Ca = a + b
 *  - otherwise the integer route:
 *    OVER  C = A' + B' - div(B' a)    Ca = a + b - div(a b)
 *    IN    C = div(A' b)              Ca = div(a b)
 *    OUT   C = A' - div(A' b)         Ca = a - div(a b)
 *    ATOP  C = div(A' b) + B' - div(B' a)    Ca = b
 *    XOR   C = A' - div(A' b) + B' - div(B' a)   Ca = a + b - 2 div(a b)
 *    PLUS  C = A' + B'                Ca = a + b
 *  Every result is capped at M. The packed results are the integer ones
 *  less one per product that is not a multiple of M. Alphas are read
 *  before anything is written, so an alpha destination that is also an
 *  alpha source gives the same result as separate images. Checks after
 *  the common ones: alpha sources, alpha destination ("alphaImageDst->
 *  alphaChannel < 1"), then compositeType, premulAlpha and divideMode,
 *  each -5 with its condition. The destination's alpha channel is written
 *  only as the alpha destination. */
ZOL_API void zolAlphaComposite(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage,
                               int compositeType, ZolImage* alphaImageA, ZolImage* alphaImageB,
                               ZolImage* alphaImageDst, int premulAlpha, int divideMode);
/* As zolAlphaComposite with alpha constants: a negative aA (aB) reads the
 * alpha channel of srcImageA (srcImageB), otherwise the value cut to M
 * (300 is 255 at 8U) is the alpha of every pixel. Only the floating and the
 * integer routes; no alpha is written, the destination's alpha channel
 * stays as it was. */
ZOL_API void zolAlphaCompositeC(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage,
                                int compositeType, int aA, int aB, int premulAlpha,
                                int divideMode);

/* Histogram and lookup                                                 */
/* ------------------------------------------------------------------ */

/* A step curve or polyline over the levels of one channel: num keys, not
 * descending, from at least 0 to at most histSize (2 for 1U, 256 for 8U,
 * 65536 for 16U), cut the levels into intervals; value[j] belongs to the
 * levels key[j] .. key[j+1]-1. With interpolateType non-zero interval j is
 * the line value[j] + (level - key[j]) * factor[j]. When the last key lies
 * below histSize, value[num-1] (and factor[num-1]) cover the levels from it
 * up. The operations take an array of pointers indexed by absolute channel
 * (from 0) and touch only the entries of the image's channel set: the coi
 * alone, else every channel but the alpha channel; a set that is the alpha
 * channel alone ends the call silently. Record faults are -5 with the
 * contexts "lut[k]==0", "lut[k]->key==0", "lut[k]->value==0",
 * "lut[k]->num < 2", "lut[k]->key[0] < 0",
 * "lut[k]->key[lut[k]->num-1] > histSize" and
 * "lut[k]->key[i] > lut[k]->key[i+1]", checked in that order channel by
 * channel. A negative status left by an earlier call ends these operations
 * silently. */
typedef struct ZolLUT {
    int32_t num;             /* number of keys, at least 2 */
    int32_t* key;            /* num interval bounds */
    int32_t* value;          /* a count or level per interval */
    int32_t* factor;         /* slopes, read only when interpolateType != 0 */
    int32_t interpolateType; /* 0: steps; otherwise lines */
} ZolLUT;

/* Counts the pixels of the region of srcImage (ROI, coi, maskROI placed by
 * its own ROI, tiles) per level of each channel of the set, then writes
 * value[j] = the count of levels key[j] .. key[j+1]-1 for j < num-1, and
 * interpolateType = 0. value[num-1], key, factor and num stay. Depths 1U,
 * 8U, 16U; a signed or 32F depth, or a NULL lut, are -5 and the call ends
 * at the leftover-status test that follows. */
ZOL_API void zolComputeHisto(ZolImage* srcImage, ZolLUT** lut);
/* Maps the common region of srcImage into dstImage through the curve of
 * each channel's record: levels below key[0] stay; from key[0] on, the
 * curve's value at the level, of which the low 8 or 16 bits are kept (300
 * becomes 44 at 8U). The walk moves past one key per level at most, so a
 * key repeated stops it there. Depths 8U, 16U, alike in both images, with
 * the same origin and (unless both have one channel) the same dataOrder;
 * these checks report and go on, the last one standing. Masks of either
 * image (their AND when both differ), tiles on either image and in-place
 * use are honoured; the alpha channel and the pixels outside stay. */
ZOL_API void zolContrastStretch(ZolImage* srcImage, ZolImage* dstImage, ZolLUT** lut);
/* Equalises through the counts held in the records (as zolComputeHisto
 * left them), not through the image: each interval's count is spread over
 * its levels (the remainder on the last one), summed up to running totals
 * H, and level i maps to (255 * H[i]) / total in integers at 8U, to
 * H[i] * 65535.0 / total truncated at 16U. A total of 0 is -3, "All values
 * in histogram are zeroes", before anything is written. After the mapping
 * the value arrays of the destination's channel set get the counts the
 * records foresee for the mapped image. Accepts images as
 * zolContrastStretch does. */
ZOL_API void zolHistoEqualize(ZolImage* srcImage, ZolImage* dstImage, ZolLUT** lut);

/* ------------------------------------------------------------------ */
/* Threshold                                                            */
/* ------------------------------------------------------------------ */

/* Each element of the channel set (the coi alone, else all channels but
 * alpha) in the common region, read by the source's depth and compared in
 * signed 32 bits, becomes the destination depth's largest value if it is
 * >= Threshold, else its smallest (1U: bit set or clear; 8U 0/255; 8S
 * -128/127; 16U 0/65535; 16S -32768/32767; 32S INT_MIN/INT_MAX). Nothing
 * is scaled. Source depths 8U, 8S, 16U, 16S, 32S; destination depths those
 * and 1U, where only the region's bits change. Threshold must lie in the
 * source depth's range (32S takes any). Masks of either image (their AND
 * when both are given), tiles of either image and in-place use are
 * honoured; a clear mask bit keeps every channel of the pixel. A coi on an
 * alpha channel ends the call silently. Any failed check ends the call
 * with nothing written. */
ZOL_API void zolThreshold(ZolImage* srcImage, ZolImage* dstImage, int Threshold);

/* ------------------------------------------------------------------ */
/* Moments                                                              */
/* ------------------------------------------------------------------ */

/* Spatial moments M(m, n) = sum of p(x, y) * x^m * y^n for m + n <= 3 over
 * the region of one channel, x and y counted from the image's first pixel
 * (not from the ROI's corner), in double precision. entry[m][n].scale is
 * (1/w)^m * (1/h)^n for the region's width w and height h. Only the ten
 * entries with m + n <= 3 are written. */
typedef struct ZolMomentState {
    struct {
        double scale;
        double value;
    } entry[4][4];
} ZolMomentState;

/* Measures the ten moments of the region into state. An image of several
 * channels needs a ROI with a coi ("Only one channel can be proceed", -5).
 * The maskROI cuts the region's size to its own region's and leaves out
 * pixels with a clear bit. Depths 1U, 8U, 8S, 16U, 16S, 32S, 32F; tiles
 * honoured. Per row the sums of p, p*x, p*x*x and p*x*x*x are formed in
 * order of x and then scaled by y, y*y, y*y*y; where every partial sum is
 * an integer below 2^53 this is done exactly in integers, which gives the
 * same doubles. An empty region leaves state untouched. image->roi points
 * at a record of the call during it (a tile callback sees it) and is given
 * back on every path. */
ZOL_API void zolMoments(ZolImage* image, ZolMomentState* state);
/* One moment straight from the image, equal to the value zolMoments
 * stores; 0.0 for an empty region. m, n from 0 to 3 with m + n <= 3, else
 * -5 "Illegal order of moment" and 0.0. */
ZOL_API double zolSpatialMoment(ZolImage* image, int m, int n);
/* zolSpatialMoment divided by w^m * h^n of the region. */
ZOL_API double zolNormalizedSpatialMoment(ZolImage* image, int m, int n);
/* The central moment from a zolMoments of the image; 0.0 for an empty
 * region. */
ZOL_API double zolCentralMoment(ZolImage* image, int m, int n);
/* The same times entry[m][n].scale. */
ZOL_API double zolNormalizedCentralMoment(ZolImage* image, int m, int n);
/* entry[m][n].value of a filled state. */
ZOL_API double zolGetSpatialMoment(ZolMomentState* state, int m, int n);
/* value * scale; reports under the name zolGetSpatialMoment. */
ZOL_API double zolGetNormalizedSpatialMoment(ZolMomentState* state, int m, int n);
/* The central moment about the centroid (M10/M00, M01/M00); with
 * |M00| not above the least normal double the centroid is the middle of
 * the region's size. (1, 0) and (0, 1) are exactly 0.0. */
ZOL_API double zolGetCentralMoment(ZolMomentState* state, int m, int n);
/* The central moment times entry[m][n].scale. */
ZOL_API double zolGetNormalizedCentralMoment(ZolMomentState* state, int m, int n);

/* ------------------------------------------------------------------ */
/* Norms                                                                */
/* ------------------------------------------------------------------ */

#define ZOL_NORM_MAX      1 /* greatest |a| or |a - b| */
#define ZOL_NORM_L1       2 /* sum of |a| or |a - b| */
#define ZOL_NORM_L2       4 /* square root of the sum of squares */
#define ZOL_NORM_RELATIVE 8 /* divided by the same measure of srcImageB */

/* One number over every element of the channel sets (the coi alone, else
 * all channels but alpha) in the common region of srcImageA and, if given,
 * srcImageB, minus srcImageB's element. Depths 1U, 8U, 8S, 16U, 16S, 32S,
 * alike in both; 32F is refused (-17 "srcImageA->depth=32F", whichever
 * image has it); the data orders must agree (-19) even for one channel;
 * channel sets of different size are -15 with an empty context. Masks of
 * either image and tiles of either image are honoured; nothing is
 * written. Differences are exact (64-bit for 32S). Sums are exact
 * integers where they stay below 2^53 and otherwise doubles added in walk
 * order. The relative forms with a denominator not above the least normal
 * double report -5 "Zero divided". The result is 0.0 after any report. */
ZOL_API double zolNorm(ZolImage* srcImageA, ZolImage* srcImageB, int normType);

/* ------------------------------------------------------------------ */
/* Test image                                                           */
/* ------------------------------------------------------------------ */

/* A new one-channel image of concentric rings whose frequency rises with the
 * distance from (width/2, height/2): s = sin(c * 2pi / (4 * height)) with
 * c = dx^2 + dy^2, scaled per depth (8U: (s+1)*127.99999 truncated; 8S:
 * s*127.99999; 16U/16S/32S likewise; 1U: (s+1)*0.99999; 32F: (s+1)*0.49999).
 * Free it with zolDeallocate(image, ZOL_FREE_HEADER | ZOL_FREE_DATA). */
ZOL_API ZolImage* zolCreateImageJaehne(int depth, int width, int height);

/* ------------------------------------------------------------------ */
/* Convolution                                                          */
/* ------------------------------------------------------------------ */

/* A convolution kernel. values holds nCols x nRows coefficients in reverse
 * order (stored element k is the caller's element nCols*nRows-1-k) and the
 * anchor is stored mirrored (nCols-1-anchorX, nRows-1-anchorY), so that
 * walking the stored values forward over the source is a true convolution:
 * the impulse response is the caller's kernel. Make, read and free kernels
 * only with the functions below. */
typedef struct ZolConvKernel {
    int32_t nCols;
    int32_t nRows;
    int32_t anchorX;  /* stored mirrored */
    int32_t anchorY;  /* stored mirrored */
    int32_t* values;  /* stored reversed */
    int32_t nShiftR;  /* right shift of each kernel's sum */
} ZolConvKernel;

/* The same with float coefficients and no shift. */
typedef struct ZolConvKernelFP {
    int32_t nCols;
    int32_t nRows;
    int32_t anchorX;
    int32_t anchorY;
    float* values;
} ZolConvKernelFP;

/* How zolConvolve2D combines the results r of several kernels per pixel. */
#define ZOL_COMBINE_SUM              0 /* sum of r */
#define ZOL_COMBINE_SUM_SQUARES      1 /* sum of r*r */
#define ZOL_COMBINE_SQRT_SUM_SQUARES 2 /* square root of the sum of r*r; |r| for one kernel */
#define ZOL_COMBINE_MAX              3 /* largest r */
#define ZOL_COMBINE_MIN              4 /* smallest r */

/* A kernel of nCols x nRows values given in row order, with the anchor
 * (the output pixel's place in the kernel) at (anchorX, anchorY). NULL after
 * a report: -5 "(values == 0)", -5 "(nRows<=0 || nCols<=0)", -5
 * "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)", in this
 * order; -4 "Allocation failure". Free it with zolDeleteConvKernel. */
ZOL_API ZolConvKernel* zolCreateConvKernel(int nCols, int nRows, int anchorX, int anchorY,
                                           const int* values, int nShiftR);
/* The same from signed 8-bit values, sign-extended. */
ZOL_API ZolConvKernel* zolCreateConvKernelChar(int nCols, int nRows, int anchorX, int anchorY,
                                               const signed char* values, int nShiftR);
/* The same with float values; free it with zolDeleteConvKernelFP. */
ZOL_API ZolConvKernelFP* zolCreateConvKernelFP(int nCols, int nRows, int anchorX, int anchorY,
                                               const float* values);
/* Reads a kernel back in the caller's terms: anchors unmirrored, *values
 * (room for nCols*nRows elements) filled in row order. Checks in order:
 * -5 "kernel==0"; -5 "ownBadKernel((OwnConvKernel*)kernel)"; -5 "nRows==0"
 * and -5 "nCols==0" (both reported), then a negative status (also one left
 * by an earlier call) returns; -5 "anchorX==0", -5 "anchorY==0", likewise;
 * -5 "values==0"; -5 "nShiftR==0". Nothing is written after a failure. */
ZOL_API void zolGetConvKernel(const ZolConvKernel* kernel, int* nCols, int* nRows, int* anchorX,
                              int* anchorY, int** values, int* nShiftR);
/* The same, each value written as its low 8 bits. */
ZOL_API void zolGetConvKernelChar(const ZolConvKernel* kernel, int* nCols, int* nRows,
                                  int* anchorX, int* anchorY, signed char** values,
                                  int* nShiftR);
/* The same for a float kernel, without nShiftR. */
ZOL_API void zolGetConvKernelFP(const ZolConvKernelFP* kernel, int* nCols, int* nRows,
                                int* anchorX, int* anchorY, float** values);
/* Frees values, then the record: -5 "kernel==0"; -5 "kernel->values==0"
 * (nothing freed). */
ZOL_API void zolDeleteConvKernel(ZolConvKernel* kernel);
ZOL_API void zolDeleteConvKernelFP(ZolConvKernelFP* kernel);

/* dst(x, y) = combination over the nKernels (1 to 10) kernels of
 * r = (sum over i, j of v[j*nCols+i] * src(x + anchorX - i, y + anchorY - j))
 *     >> nShiftR,
 * v and the anchor in the caller's terms. Depths 1U, 8U, 8S, 16U, 16S, 32S,
 * the same in both images, with the same dataOrder. Pixels beyond the
 * source's edges are read by its border rules, its border constants clamped
 * to the depth's range (8U: 300 reads 255); the output does not shrink.
 * Each kernel runs in an arithmetic class chosen from its worst-case sums
 * for the depth: exact 16-bit or 32-bit integers, where the shift is an
 * arithmetic shift (rounding down, count modulo 32); or, for 32S images and
 * kernels whose sums could pass 32 bits, a float sum rounded to single
 * precision after each tap in stored order (product and sum in double
 * precision), rounded to the nearest integer before a shift. One kernel:
 * SUM gives r, SUM_SQUARES r*r, SQRT_SUM_SQUARES |r|, and any method value
 * is accepted. Several: the results combine unclamped, in 64-bit integers
 * when all kernels are 16-bit class and in float otherwise; the square root
 * of an integer total is rounded to nearest, ties to even. The store clamps
 * to the depth's range (a float rounded to nearest even first); 1U stores
 * 1 for a positive result. Checks, in order: "Incorrect Image"; -11 "Bad
 * ROI offsets"; -5 "kernel==0"; -5 "(nKernels<=0 || nKernels>10)"; -5
 * "Inadmissible method" (nKernels > 1); -5 "kernel[i]==0" or "Bad kernel
 * structure"; -5 "Uncompatible images" (depth, order, channel counts); -5
 * "32F images can be processed only with FP kernel"; -4 "Allocation
 * failure". ROI, coi (a coi on one image only uses channel 1 of the other),
 * masks of both images (the AND), tiles and in-place use are honoured; a
 * coi on an alpha channel, or alpha on a one-channel image, does nothing.
 * Untouched: the destination outside the region, pixels a mask leaves out,
 * the alpha channel and channels a coi leaves out, the bits around a 1-bit
 * region. */
ZOL_API void zolConvolve2D(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernel** kernel,
                           int nKernels, int combineMethod);
/* The same with float kernels on 32F images (-5 "FP kernel can be used
 * only for 32F images" otherwise). The sum is rounded to float after each
 * tap, product and sum in double precision; 3x3 and 5x5 kernels on a
 * one-channel or three-channel pixel step sum all taps in extended
 * precision and round once. No shift; results are stored unclamped; a NaN
 * sum of the tap-by-tap route is the default quiet NaN. */
ZOL_API void zolConvolve2DFP(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernelFP** kernel,
                             int nKernels, int combineMethod);
/* dst = (sum over j of sy[j] * sum over i of sx[i] * src(...)) >> (shiftX +
 * shiftY), with sx the first nCols stored values of Xkernel (and its stored
 * anchorX and nShiftR) and sy the first nRows stored values of Ykernel (its
 * anchorY and nShiftR): a true convolution with the row kernel and the
 * column kernel, the column pass first. Both passes sum in 32-bit integers
 * that wrap on overflow; the shift is arithmetic (count modulo 32), then the
 * result is clamped to the depth's range. Depths 1U, 8U, 8S, 16U, 16S, 32S,
 * the same in both images, with the same origin and dataOrder. Border
 * constants are taken by their low bits (8U: 300 reads 44). Checks, in
 * order: "Incorrect Image"; -5 "Xkernel==0" and "Ykernel==0" (both
 * reported); -5 "srcImage->depth != dstImage->depth", "srcImage->origin !=
 * dstImage->origin", "srcImage->dataOrder != dstImage->dataOrder",
 * "nCsrc != nCdst" (colour channels); -5 "nChannels in srcImage ROI !=
 * nChannels in dstImage ROI" (a coi on one image only, unless the source
 * has one channel); -5 "Xkernel->nCols <= 0", "Ykernel->nRows <= 0"; then a
 * negative status, also one left by an earlier call, returns; -5 "Unknown
 * srcImage->depth" for 32F. ROI, coi, masks of both images, tiles and
 * in-place use are honoured; the region is cut at the destination's edges;
 * scratch that cannot be had ends the call without a report. */
ZOL_API void zolConvolveSep2D(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernel* Xkernel,
                              ZolConvKernel* Ykernel);
/* Colour twist                                                         */
/* ------------------------------------------------------------------ */

/* A fixed-point 3x3 matrix with additive terms. data[4r+c] (r, c in 0..2)
 * weighs source channel c into destination channel r; data[3], data[7],
 * data[11] are the additive terms, in the same scaled units; row 3 is kept
 * but never read. Every entry is divided by 2^scalingValue (0..31). */
typedef struct ZolColorTwist {
    int32_t data[16];
    int32_t scalingValue;
} ZolColorTwist;

/* A new twist holding a copy of the 16 entries; NULL after a report for a
 * NULL data or a scale outside 0..31 ("bad_argument", -5) or no memory
 * ("matrix_is_not_allocated", -4). Free it with zolDeleteColorTwist. */
ZOL_API ZolColorTwist* zolCreateColorTwist(const int32_t* data, int scalingValue);
/* Overwrites all entries and the scale; the twist is unchanged on failure. */
ZOL_API void zolSetColorTwist(ZolColorTwist* cTwist, const int32_t* data, int scalingValue);
/* For channels 0..2 of every pixel of the common region (8U or 16U, source
 * values unsigned), for each output r:
 *   y = clamp(floor((m[4r] p0 + m[4r+1] p1 + m[4r+2] p2 + m[4r+3]) / 2^s), 0, MAX)
 *   out = clamp(y + offset, 0, MAX)
 * exactly, for any entries, scale and offset. Regions keep their own
 * corners and are cut to the least size; masks of either image select
 * pixels (both masks: their conjunction); tiled images mix with plain ones
 * in any grid; src may be dst. Further channels (alpha included) are
 * neither read nor written; colorModel, channelSeq and coi are ignored. */
ZOL_API void zolApplyColorTwist(ZolImage* srcImage, ZolImage* dstImage,
                                const ZolColorTwist* cTwist, int offset);

/* ------------------------------------------------------------------ */
/* Colour-space conversions                                             */
/* ------------------------------------------------------------------ */

/* Conversions between RGB and another colour space, pixel by pixel over the
 * smaller width and height of two whole images (no ROI on either; masks are
 * not looked at), or over the destination's tiles with each source
 * rectangle read through tiles and borders. The source may have more than
 * three channels (further ones skipped); dst has exactly three. The RGB
 * side is addressed by channelSeq: in pixel order "R..." puts red first and
 * "B..." last; in plane order each of R, G, B is the plane its letter
 * names. The other side's channels are 0, 1, 2 in the order of its name.
 * A conversion from RGB writes the model's name ("HSV", "HLS", "XYZ",
 * "YUV", "YCr", "LUV") to dst's colorModel and channelSeq, also when it
 * then refuses the depth; a conversion to RGB requires the source's name.
 * src and dst must be different images.
 *
 * HSV, HLS (8U, 16U, 32S): V = max, L = (max + min) >> 1; S = 255 d / max
 *   (integer) at 8U, else trunc(MAX d / max) in double; HLS S = trunc(MAX d
 *   / s) for s = max + min <= MAX, else trunc(MAX d / (2 MAX - s)). Hue in
 *   degrees 0..359 (trunc, 360 added to negative values), halved at 8U.
 *   Back: 8U in integers with 2^11 and 2^13 fixed-point slopes, low 8 bits
 *   stored; 16U and 32S in double, truncated. A hue of 360 (180 at 8U) is
 *   sector 0; larger ones fall in the last sector.
 * XYZ (8U, 16U: 2^14 weights, +8192, >> 14; X, Y unclamped, Z <= MAX, RGB
 *   to 0..MAX. 32F: single-precision weights summed in double, rounded once,
 *   no clamp. 32S: double weights, truncated; Z, R, G, B clamped to
 *   0..2^31-1).
 * YUV (8U -> 8S, 16U -> 16S: Y = (4899 R + 9617 G + 1868 B) >> 14, U = B - Y,
 *   V = R - Y from the unclamped Y, each saturated to the signed range; back
 *   R = Y + V, B = Y + U, G = Y - ((8340 V + 3179 U) >> 14), saturated. 32F,
 *   32S: 0.299, 0.587, 0.114 and 0.509, 0.194). dst's depth is not checked:
 *   rows are written at the source's sample width.
 * YCrCb (channel 1 the blue, channel 2 the red difference; 8U and 16U in
 *   2^14 fixed point with offsets for 128 or 32768 and no clamp forward;
 *   back clamped to 0..MAX. 32F: 0.5 offsets, back clamped below at 0. 32S:
 *   offsets 2^30-1, truncated, back clamped to 0..2^31-1).
 * YCC to RGB (8U only): 2^14 indices clamped to 0..360 into a fixed table.
 * LUV (32F only): L = 116 (Y / 0.329)^(1/3) - 16, U = 13 L (u - 0.19783),
 *   V = 13 L (v - 0.46832); L = U = V = 0 for Y <= 0.00329. Back clamps
 *   negative RGB to 0. */
ZOL_API void zolRGB2HSV(ZolImage* src, ZolImage* dst);
ZOL_API void zolHSV2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolRGB2HLS(ZolImage* src, ZolImage* dst);
ZOL_API void zolHLS2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolRGB2XYZ(ZolImage* src, ZolImage* dst);
ZOL_API void zolXYZ2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolRGB2YUV(ZolImage* src, ZolImage* dst);
ZOL_API void zolYUV2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolRGB2YCrCb(ZolImage* src, ZolImage* dst);
ZOL_API void zolYCrCb2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolYCC2RGB(ZolImage* src, ZolImage* dst);
ZOL_API void zolRGB2LUV(ZolImage* src, ZolImage* dst);
ZOL_API void zolLUV2RGB(ZolImage* src, ZolImage* dst);

/* ------------------------------------------------------------------ */
/* Gray conversion, bit reduction and dither                            */
/* ------------------------------------------------------------------ */

#define ZOL_DITHER_NONE   1
#define ZOL_DITHER_FS     2  /* Floyd-Steinberg */
#define ZOL_DITHER_JJN    4  /* Jarvis-Judice-Ninke */
#define ZOL_DITHER_STUCKI 8
#define ZOL_DITHER_BAYER  16 /* ordered 4x4 matrix */

/* An RGB image (8U, 16U, 32S; channels past the third skipped) into a GRAY
 * one (8U, 16U, 1U; only the first plane of a plane-order dst is written)
 * by integer weights 54, 183, 18 (sum 255) and truncating shifts: 8U->8U
 * and 16U->16U >> 8, 8U->16U unshifted, 16U->8U >> 16 (plane order: 9-bit
 * weights by pairs of pixels), 32S by 109, 366, 37 on values >> 11 (>> 10
 * for 1U). A 1U result is set above half the range. Whole images, no ROI,
 * masks not looked at; tiles as the colour conversions. */
ZOL_API void zolColorToGray(ZolImage* src, ZolImage* dst);
/* A GRAY image into channels R, G, B of an RGB one of the same depth (or
 * 1U into 8U): channel c = (v * w_c) >> s with w_c = trunc(fract_c * 256)
 * (s = 8) or trunc(fract_c * 32768) (16U, 32S: s = 15), all three 0
 * selecting the fixed weights. Further channels of dst are untouched. */
ZOL_API void zolGrayToColor(ZolImage* src, ZolImage* dst, float fractR, float fractG, float fractB);
/* Lowers the depth: 8U->1U, 16U->8U/1U, 32S->16U/8U/1U by cutting (1U: set
 * above half the range), optionally after random jitter of amplitude
 * jitterType (0..8; tables filled from rand(), which the library never
 * seeds), then optionally dithers an RGB or GRAY 8U/16U dst to levelBits
 * bits by error diffusion (ZOL_DITHER_FS, _JJN, _STUCKI; each neighbour
 * clamped after every addition) or ZOL_DITHER_BAYER. No ROI; the source is
 * never changed; a tiled dst dithers to the same values as an untiled one. */
ZOL_API void zolReduceBits(ZolImage* src, ZolImage* dst, int jitterType, int ditherType, int levelBits);

/* ---- Rank filters ----
 * dst(x, y) = the largest (zolMaxFilter), smallest (zolMinFilter) or
 * median (zolMedianFilter) element of the nCols x nRows window over
 * columns x - anchorX .. x - anchorX + nCols - 1 and rows y - anchorY ..
 * y - anchorY + nRows - 1 of the source, per channel, nothing mirrored.
 * The median is the k-th smallest with k = nCols * nRows / 2 + 1: the upper
 * middle value of an even window, never an average; 16U compares unsigned,
 * 8S and 16S signed; a 1-bit window gives 1 when at least half its bits
 * (rounded up) are set. Outside the image the source's border rules apply;
 * a constant border reads as the element's low bits (8U: 300 reads 44,
 * 1U: 2 reads 0), so a min filter sees 0 beyond the edge by default.
 * Depths 1U, 8U, 8S, 16U, 16S, 32S, the same in both images; the images
 * must differ. Checks, in order: "Incorrect Image"; -5
 * "(anchorX>=nCols)||(anchorX<0)", "(anchorY>=nRows)||(anchorY<0)",
 * "(srcImage==dstImage)", "srcImage->depth!=dstImage->depth",
 * "srcImage->depth==32" (32F), "srcImage->nChannels!=dstImage->nChannels",
 * "srcImage->alphaChannel!=dstImage->alphaChannel",
 * "(srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels)",
 * "srcImage->dataOrder!=dstImage->dataOrder" (not for 1U); then the channel
 * counts, which report and go on: "Interst Channel of input Image more
 * number of channels.", "Interst Channel of output Image more number of
 * channels.", "Number of interset channel input and output Image is not
 * equal."; a negative status at that point, also one left by an earlier
 * call, ends the call silently. ROI, coi (a coi on one image only uses
 * channel 1 of the other), masks of both images (both bits must be set,
 * each mask placed at its own region) and tiles are honoured. Untouched:
 * the destination outside the region, masked-out pixels, the alpha
 * channel, the bits around a 1-bit region. Scratch or a tile that cannot be
 * had, and windows so large that the window-extended region would pass
 * 512 MiB, end the call silently with the parts done kept. */
ZOL_API void zolMaxFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY);
ZOL_API void zolMinFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows,
                          int anchorX, int anchorY);
ZOL_API void zolMedianFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows,
                             int anchorX, int anchorY);

/* ---- Morphology ----
 * A square structuring element of side K = 2 * nIterations + 1, applied in
 * one pass: zolDilate takes the largest element of each K x K window
 * centred on the pixel (OR for 1U), zolErode the smallest (AND); zolOpen is
 * erosion then dilation, zolClose dilation then erosion. The operations
 * look one pixel beyond the region (a real pixel, or the source's border,
 * where any non-zero 1-bit constant reads as 1) and repeat that ring
 * outwards. Opening and closing filter their first stage on the region
 * only: its margin stays the unfiltered ring, so closing an all-white whole
 * image gives a black frame nIterations pixels wide. Depths 1U, 8U, 16U,
 * the same in both images; in-place use is allowed. The status is cleared
 * on entry. Checks, in order: "Incorrect Image"; -5 "Illegal number of of
 * iterations" (below 1), "Illegal image depth", "SRC and DST depth are
 * different", "SRC and DST order are different", "SRC and DST orign are
 * different", "SRC and DST number of channels are different", "SRC and DST
 * COI are different". ROI, coi, masks of both images (ANDed; elsewhere the
 * destination keeps its value) and tiles are honoured; the alpha channel
 * is left alone. Memory that cannot be had, and windows whose extended
 * region would pass 512 MiB, set -4 with no message. */
ZOL_API void zolDilate(ZolImage* srcImage, ZolImage* dstImage, int nIterations);
ZOL_API void zolErode(ZolImage* srcImage, ZolImage* dstImage, int nIterations);
ZOL_API void zolOpen(ZolImage* srcImage, ZolImage* dstImage, int nIterations);
ZOL_API void zolClose(ZolImage* srcImage, ZolImage* dstImage, int nIterations);

/* ---- Blur ----
 * dst = the average of the nCols x nRows window over columns x - anchorX ..
 * x - anchorX + nCols - 1 and rows y - anchorY .. y - anchorY + nRows - 1
 * (nothing mirrored), read through the source's border rules. The sum S
 * is multiplied by the float nearest to 1/(nCols * nRows): integer depths
 * round S times that float exactly to nearest, ties to even (8U: a window
 * 2 x 1 over 1 and 2 gives 2; 10 x 1 with S = 5 gives 1, the float of 1/10
 * lying above 0.1); 32S sums its columns in floats, rounds to a 64-bit
 * integer and stores the low 32 bits; 32F sums its columns in floats; 1U
 * gives 1 when S times the scale is at least 0.5. Depths 1U, 8U, 8S, 16U,
 * 16S, 32S, 32F, the same in both images; in-place use is allowed. Checks,
 * in order: "Incorrect Image"; -5 "(srcImage->depth!=dstImage->depth)",
 * "(nRows<0||nCols<0)", "(anchorX<0||anchorY<0)",
 * "(anchorX>=nCols||anchorY>=nRows)"; a 1 x 1 window is zolCopy; -18 "bad
 * alpha channel's number" (a coi naming the alpha channel, or an alpha
 * channel that is not the last); -15 "bad channel's number"; -4
 * "Allocation failure", also for windows whose extended region would pass
 * 512 MiB. ROI, coi, masks of both images (ANDed) and tiles are honoured;
 * the alpha channel and pixels a mask leaves out are untouched. */
ZOL_API void zolBlur(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows, int anchorX,
                     int anchorY);

/* ---- Fixed filters ----
 * zolFixedFilter applies one of eleven built-in kernels, nothing mirrored:
 * the first kernel row meets the row above the anchor in memory order, the
 * first column the pixel to its left. s is the weighted sum. Divisor-1
 * filters store s clamped to the depth (32S: to 32 bits); the 3x3 Gaussian
 * stores (s + 7 + ((s & 16) >> 4)) >> 4 (s/16, ties to even), the 5x5
 * Gaussian floor((2s + 571) / 1142) (s/571, ties up; 32S through floats,
 * rounded to nearest and clamped), sharpen (s + 3 + ((s & 8) >> 3)) >> 3
 * clamped. 32F sums in float stages (a float stored after each row stage)
 * and stores the float. 1U sets the bit when s exceeds the threshold (0;
 * 7 for the 3x3 Gaussian; 285 for the 5x5 one); sharpen on 1U is zolCopy.
 * Depths 1U, 8U, 8S, 16U, 16S, 32S, 32F, the same in both images, which
 * must differ. Result 0 when the call went through (also when nothing was
 * to do or scratch ran out, silently), -1 when a check failed or a negative
 * status stood before the call. Checks as zolMaxFilter's without the
 * anchor and 32F checks, then -5 "Unknow filter." for filter above 10 (as
 * unsigned). ROI, coi, masks and tiles as for the rank filters. */
#define ZOL_FILTER_PREWITT_V  0 /* [1 0 -1; 1 0 -1; 1 0 -1] */
#define ZOL_FILTER_PREWITT_H  1 /* [-1 -1 -1; 0 0 0; 1 1 1] */
#define ZOL_FILTER_SOBEL_V    2 /* [1 0 -1; 2 0 -2; 1 0 -1]: left minus right */
#define ZOL_FILTER_SOBEL_H    3 /* [-1 -2 -1; 0 0 0; 1 2 1] */
#define ZOL_FILTER_LAPLACIAN3 4 /* 8 at the centre, -1 around */
#define ZOL_FILTER_LAPLACIAN5 5 /* 5x5, 20 at the centre */
#define ZOL_FILTER_GAUSSIAN3  6 /* [1 2 1; 2 4 2; 1 2 1] / 16 */
#define ZOL_FILTER_GAUSSIAN5  7 /* 5x5 / 571 */
#define ZOL_FILTER_HIGHPASS3  8 /* as ZOL_FILTER_LAPLACIAN3 */
#define ZOL_FILTER_HIGHPASS5  9 /* 24 at the centre, -1 around */
#define ZOL_FILTER_SHARPEN    10 /* (16 at the centre, -1 around) / 8 */
ZOL_API int zolFixedFilter(ZolImage* srcImage, ZolImage* dstImage, int filter);

/* ------------------------------------------------------------------ */
/* Bitmaps and depth conversion                                         */
/* ------------------------------------------------------------------ */

/* The 40-byte little-endian device-independent bitmap info header, with
 * the colour table (ZolRGBQuad entries) and, in the packed form, the pixels
 * behind it. Bitmaps live in memory only: no file header. */
typedef struct ZolBitmapInfoHeader {
    uint32_t biSize; /* 40 */
    int32_t biWidth;
    int32_t biHeight; /* above 0: bottom row first; below 0: top-down */
    uint16_t biPlanes; /* 1 */
    uint16_t biBitCount; /* 1, 4, 8, 16, 24, 32 */
    uint32_t biCompression; /* ZOL_BI_* */
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} ZolBitmapInfoHeader;

typedef struct ZolRGBQuad {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
} ZolRGBQuad;

#define ZOL_BI_RGB       0
#define ZOL_BI_RLE8      1
#define ZOL_BI_RLE4      2
#define ZOL_BI_BITFIELDS 3

/* A new image for a packed bitmap. *cloneData is 0 when imageData points
 * into the bitmap (1-bit gray tables, 8-bit gray uncompressed, 24-bit, 32-bit
 * without bit fields: pixel order, align 8 when the pixels' offset and row
 * size are multiples of 8, else 4; the bitmap must outlive the image, freed
 * by header only), 1 when the image owns a plane-order copy (align 8). Gray
 * tables (an exact ramp 0..255) give one channel, others three (BGR), 32-bit
 * four (BGRA, alpha 4). origin BL for a positive biHeight, TL otherwise.
 * NULL after a report on failure, with nothing left allocated. */
ZOL_API ZolImage* zolTranslateDIB(const ZolBitmapInfoHeader* dib, int* cloneData);
/* Converts a packed bitmap (header, colour table, pixels) into image: 1, 4,
 * 8-bit paletted, 16/32-bit RGB or bit fields (values moved to 8 bits by
 * shifts, no bit replication), 24-bit, RLE8/RLE4. Writers: 1 channel 1U
 * (red byte above 127), 8U, 16U (x256); 3 or 4 channels 8U or 16U (B, G,
 * R, A; "RGB"/"RGBA" channelSeq swaps red and blue, "G"/"GRAY" takes
 * (28B + 151G + 77R) >> 8). The picture's top row lands at the image's top;
 * pixels past the bitmap stay. Allocates imageData if NULL. ROI, mask and
 * tiles are not looked at. A header claiming more colours than 2^bits, or
 * a size whose bytes overflow, is refused: such bitmaps cannot be real. */
ZOL_API void zolConvertFromDIB(const ZolBitmapInfoHeader* dib, ZolImage* image);
/* The same with the header (and its colour table) apart from the pixels;
 * returns 0 or a status of its own for each check. */
ZOL_API int zolConvertFromDIBSep(const ZolBitmapInfoHeader* dibHeader, const void* dibData,
                                 ZolImage* image);

/* Palette choices of zolConvertToDIB. */
#define ZOL_PALETTE_KEEP       0 /* the caller's table stands */
#define ZOL_PALETTE_LINEAR     1 /* fixed table for 2, 16 or 256 entries */
#define ZOL_PALETTE_MEDIAN_CUT 2 /* built from the image's colours */

/* Writes image (1U, 8U, 16U; 1, 3 or 4 channels) into a bitmap whose header
 * the caller filled, with room for the table and the uncompressed rows
 * behind it; the image's size must equal the bitmap's. Below 16 bits the
 * table is kept, made linear or made by a median cut (6-bit coordinates
 * times 4, so white becomes 252; biClrUsed is set and moves where the pixels
 * start), and each pixel takes the nearest entry (squared distance, the
 * first of equals). dither ZOL_DITHER_STUCKI first reduces 16U to 8U by
 * zolReduceBits; ZOL_DITHER_NONE takes high bytes. 16-bit scales to the
 * mask widths, 32-bit only shifts. RLE8/RLE4 bitmaps are coded last, or
 * marked uncompressed when coding would not shrink them. */
ZOL_API void zolConvertToDIB(const ZolImage* image, ZolBitmapInfoHeader* dib, int dither,
                             int paletteConversion);
/* Copies src into dst of another depth (1U, 8U, 8S, 16U, 16S, 32S; 32F not
 * accepted), each value clamped to dst's range, no scaling; all channels,
 * alpha too. A multi-channel src into a 1U dst takes the ROI's coi channel:
 * 1 where the value is above 0. 1U to 1U copies whole row bytes. Whole
 * images: ROI and mask ignored (but the coi). Rows are turned over when the
 * origins differ. Tiled images are walked by both tile sizes at once. */
ZOL_API void zolConvert(ZolImage* srcImage, ZolImage* dstImage);
/* A 1U one-channel src into dst (8U, 8S, 16U, 16S, 32S): OneScale where the
 * bit is 1, else ZeroScale, in every channel but alpha (which stays). Both
 * values must fit dst's range. Turning over and tiles as zolConvert. */
ZOL_API void zolBitonalToGray(ZolImage* srcImage, ZolImage* dstImage, int32_t ZeroScale,
                              int32_t OneScale);

#ifdef __cplusplus
}
#endif

#endif /* ZOL_H */
