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

#ifdef __cplusplus
}
#endif

#endif /* ZOL_H */
