// Every text the library shows: status texts, report contexts, function
// names. They are interface, compared byte for byte by applications, and
// differ between families in small ways, so they are written out here once
// and never assembled with a formatter.
#pragma once

namespace zol {
namespace msg {

// Function names as reported.
inline constexpr const char kCreateImageHeader[] = "zolCreateImageHeader";
inline constexpr const char kAllocateImage[] = "zolAllocateImage";
inline constexpr const char kAllocateImageFP[] = "zolAllocateImageFP";
inline constexpr const char kCloneImage[] = "zolCloneImage";
inline constexpr const char kAnd[] = "zolAnd";
inline constexpr const char kOr[] = "zolOr";
inline constexpr const char kXor[] = "zolXor";
inline constexpr const char kAndS[] = "zolAndS";
inline constexpr const char kOrS[] = "zolOrS";
inline constexpr const char kXorS[] = "zolXorS";
inline constexpr const char kLShiftS[] = "zolLShiftS";
inline constexpr const char kRShiftS[] = "zolRShiftS";
inline constexpr const char kAdd[] = "zolAdd";
inline constexpr const char kSubtract[] = "zolSubtract";
inline constexpr const char kMultiply[] = "zolMultiply";
inline constexpr const char kAddS[] = "zolAddS";
inline constexpr const char kSubtractS[] = "zolSubtractS";
inline constexpr const char kMultiplyS[] = "zolMultiplyS";
inline constexpr const char kAddSFP[] = "zolAddSFP";
inline constexpr const char kSubtractSFP[] = "zolSubtractSFP";
inline constexpr const char kMultiplySFP[] = "zolMultiplySFP";
inline constexpr const char kSquare[] = "zolSquare";
inline constexpr const char kAbs[] = "zolAbs";
inline constexpr const char kCreateImageJaehne[] = "zolCreateImageJaehne";
inline constexpr const char kCopy[] = "zolCopy";
inline constexpr const char kSet[] = "zolSet";
inline constexpr const char kSetFP[] = "zolSetFP";
inline constexpr const char kExchange[] = "zolExchange";

// Contexts shared by the header functions and the call frame.
inline constexpr const char kIncorrectImage[] = "Incorrect Image";
inline constexpr const char kIncorrectDataIns[] = "Incorrect data-ins";
inline constexpr const char kOutOfMemory[] = "Out of memory";

// Allocation of pixels.
inline constexpr const char kImageNull[] = "( image == ((void *)0) )";
inline constexpr const char kImageDataNotNull[] = "( image->imageData != ((void *)0) )";
inline constexpr const char kTileInfoNotNull[] = "( image->tileInfo != ((void *)0) )";
inline constexpr const char kDepthIs32[] = "( image->depth == 32 )";
inline constexpr const char kDepthIsNot32[] = "( image->depth != 32 )";

// Cloning.
inline constexpr const char kCloneNoHeader[] =
    "Not enough memory to allocate header for clone image";
inline constexpr const char kCloneNoRoi[] = "Not enough memory to allocate roi for clone image";
inline constexpr const char kCloneNoData[] =
    "Not enough memory to allocate imageData for clone image";

// The call frame of the element-wise families.
inline constexpr const char kSrcDepth[] = "(srcImage->depth != dstImage->depth)";
inline constexpr const char kSrcADepth[] = "(srcImageA->depth != dstImage->depth)";
inline constexpr const char kSrcBDepth[] = "(srcImageB->depth != dstImage->depth)";
inline constexpr const char kSrcOrder[] = "(srcImage->dataOrder != dstImage->dataOrder)";
inline constexpr const char kSrcAOrder[] = "(srcImageA->dataOrder != dstImage->dataOrder)";
inline constexpr const char kSrcBOrder[] = "(srcImageB->dataOrder != dstImage->dataOrder)";
inline constexpr const char kNChSrc[] = "(nChSrc != nChDst)";
inline constexpr const char kNChSrcA[] = "(nChSrcA != nChDst)";
inline constexpr const char kNChSrcB[] = "(nChSrcB != nChDst)";
inline constexpr const char kNo32F[] = "This function does not support depth 32F";
// Pre-check of families that refuse a missing source before the header checks.
inline constexpr const char kSrcNull[] = "srcImage==0";
inline constexpr const char kSrcANull[] = "srcImageA==0";
// A depth that belongs to the sister function with the other kind of constant.
inline constexpr const char kUseAddSFP[] = "For processing depth 32F use function zolAddSFP";
inline constexpr const char kUseSubtractSFP[] =
    "For processing depth 32F use function zolSubtractSFP";
inline constexpr const char kUseMultiplySFP[] =
    "For processing depth 32F use function zolMultiplySFP";
inline constexpr const char kUseAddS[] = "For processing this depth use function zolAddS";
inline constexpr const char kUseSubtractS[] = "For processing this depth use function zolSubtractS";
inline constexpr const char kUseMultiplyS[] = "For processing this depth use function zolMultiplyS";
// The channel rules of zolAbs.
inline constexpr const char kNChCoi[] = "(nChSrcCoi != nChDstCoi)";
inline constexpr const char kAlphaCh[] = "(aChSrc != aChDst)";

// The band walk: a tile that did not come, or that stayed set at release.
inline constexpr const char kTileSrc[] = "(srcImage->tileInfo->tileData == ((void*)(0)))";
inline constexpr const char kTileSrcA[] = "(srcImageA->tileInfo->tileData == ((void*)(0)))";
inline constexpr const char kTileSrcB[] = "(srcImageB->tileInfo->tileData == ((void*)(0)))";
inline constexpr const char kTileDst[] = "(dstImage->tileInfo->tileData == ((void*)(0)))";
inline constexpr const char kTileSrcHeld[] = "(srcImage->tileInfo->tileData != ((void*)(0)))";
inline constexpr const char kTileSrcAHeld[] = "(srcImageA->tileInfo->tileData != ((void*)(0)))";
inline constexpr const char kTileSrcBHeld[] = "(srcImageB->tileInfo->tileData != ((void*)(0)))";
inline constexpr const char kTileDstHeld[] = "(dstImage->tileInfo->tileData != ((void*)(0)))";

// Copy, set, exchange; the tile and COI texts are shared by later families.
inline constexpr const char kCopyDepth[] = "srcImage->depth != dstImage->depth";
inline constexpr const char kCopyOrigin[] = "srcImage->origin != dstImage->origin";
inline constexpr const char kCopyOrder[] = "srcImage->dataOrder != dstImage->dataOrder";
inline constexpr const char kCoiMismatch[] = "srcImage COI != dstImage COI";
inline constexpr const char kUseSetFP[] = "You should use zolSetFP for this image";
inline constexpr const char kUseSet[] = "You should use zolSet for this image";
inline constexpr const char kDstNull[] = "dstImage==0";
inline constexpr const char kGetTileRead[] = "Error get tile to read";
inline constexpr const char kGetTileWrite[] = "Error get tile to write";
// A Backtrace report that names no step.
inline constexpr const char kNoContext[] = "";

// Convolution: kernel records, 2-D and separable convolution.
inline constexpr const char kCreateConvKernel[] = "zolCreateConvKernel";
inline constexpr const char kCreateConvKernelChar[] = "zolCreateConvKernelChar";
inline constexpr const char kCreateConvKernelFP[] = "zolCreateConvKernelFP";
inline constexpr const char kGetConvKernel[] = "zolGetConvKernel";
inline constexpr const char kGetConvKernelChar[] = "zolGetConvKernelChar";
inline constexpr const char kGetConvKernelFP[] = "zolGetConvKernelFP";
inline constexpr const char kDeleteConvKernel[] = "zolDeleteConvKernel";
inline constexpr const char kDeleteConvKernelFP[] = "zolDeleteConvKernelFP";
inline constexpr const char kConvolve2D[] = "zolConvolve2D";
inline constexpr const char kConvolve2DFP[] = "zolConvolve2DFP";
inline constexpr const char kConvolveSep2D[] = "zolConvolveSep2D";
inline constexpr const char kKValuesNull[] = "(values == 0)";
inline constexpr const char kKSize[] = "(nRows<=0 || nCols<=0)";
inline constexpr const char kKAnchor[] =
    "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)";
inline constexpr const char kAllocationFailure[] = "Allocation failure";
inline constexpr const char kKernelNull[] = "kernel==0";
inline constexpr const char kBadKernelRecord[] = "ownBadKernel((OwnConvKernel*)kernel)";
inline constexpr const char kOutNRows[] = "nRows==0";
inline constexpr const char kOutNCols[] = "nCols==0";
inline constexpr const char kOutAnchorX[] = "anchorX==0";
inline constexpr const char kOutAnchorY[] = "anchorY==0";
inline constexpr const char kOutValues[] = "values==0";
inline constexpr const char kOutShift[] = "nShiftR==0";
inline constexpr const char kKernelValuesNull[] = "kernel->values==0";
inline constexpr const char kBadRoiOffsets[] = "Bad ROI offsets";
inline constexpr const char kNKernels[] = "(nKernels<=0 || nKernels>10)";
inline constexpr const char kBadMethod[] = "Inadmissible method";
inline constexpr const char kKernelINull[] = "kernel[i]==0";
inline constexpr const char kBadKernel[] = "Bad kernel structure";
inline constexpr const char kUncompatible[] = "Uncompatible images";
inline constexpr const char kNeedFPKernel[] = "32F images can be processed only with FP kernel";
inline constexpr const char kFPKernelOnly32F[] = "FP kernel can be used only for 32F images";
inline constexpr const char kBadFilterCount[] = "Inadmissible number of filter";
inline constexpr const char kBadDepths[] = "Inadmissible images depths";
inline constexpr const char kXKernelNull[] = "Xkernel==0";
inline constexpr const char kYKernelNull[] = "Ykernel==0";
inline constexpr const char kSepNC[] = "nCsrc != nCdst";
inline constexpr const char kSepCoi[] = "nChannels in srcImage ROI != nChannels in dstImage ROI";
inline constexpr const char kXCols[] = "Xkernel->nCols <= 0";
inline constexpr const char kYRows[] = "Ykernel->nRows <= 0";
inline constexpr const char kUnknownDepth[] = "Unknown srcImage->depth";

// Resize, zoom, decimate.
inline constexpr const char kResize[] = "zolResize";
inline constexpr const char kZoom[] = "zolZoom";
inline constexpr const char kDecimate[] = "zolDecimate";
inline constexpr const char kResizeSuperUp[] =
    "(interpolate == ZOL_INTER_SUPER) && (xDst > xSrc || yDst > ySrc)";
inline constexpr const char kResizeInterp[] =
    "interpolate != ZOL_INTER_NN && interpolate != ZOL_INTER_LINEAR && "
    "interpolate != ZOL_INTER_CUBIC";
inline constexpr const char kResizeDepths[] =
    "srcImage->depth != ZOL_DEPTH_1U && srcImage->depth != ZOL_DEPTH_8U && "
    "srcImage->depth != ZOL_DEPTH_16U";
inline constexpr const char kResizeX[] = "xDst <= 0 || xSrc <= 0";
inline constexpr const char kResizeY[] = "yDst <= 0 || ySrc <= 0";
inline constexpr const char kNotInPlace[] = "This function isn`t in-plase function";
inline constexpr const char kZoomShrinks[] = "xDst < xSrc || yDst < ySrc";
inline constexpr const char kDecSame[] = "srcImage == dstImage";
inline constexpr const char kDecNChSrc0[] = "nChannelsSrc == 0";
inline constexpr const char kDecNChDst0[] = "nChannelsDst == 0";
inline constexpr const char kDecNCh[] = "nChannelsSrc != nChannelsDst";
inline constexpr const char kDecInterp[] =
    "interpolate != ZOL_INTER_NN, ZOL_INTER_LINEAR, ZOL_INTER_CUBIC or ZOL_INTER_SUPER";
inline constexpr const char kDecXDst[] = "xDst <= 0";
inline constexpr const char kDecXSrc[] = "xSrc <= 0";
inline constexpr const char kDecYDst[] = "yDst <= 0";
inline constexpr const char kDecYSrc[] = "ySrc <= 0";
inline constexpr const char kDecXUp[] = "xDst > xSrc";
inline constexpr const char kDecYUp[] = "yDst > ySrc";
inline constexpr const char kDecDepth[] = "srcImage->depth is wrong";
inline constexpr const char kDecSrcTile[] = "srcImage->tileInfo->callBack crash";
inline constexpr const char kDecDstTile[] = "dstImage->tileInfo->callBack crash";

// Mirror.
inline constexpr const char kMirror[] = "zolMirror";
inline constexpr const char kMirror32F[] = "srcImage->depth = 32F";
inline constexpr const char kMirrorDepth[] = "(srcImage->depth!=dstImage->depth)";
inline constexpr const char kMirrorAxis[] = "((flipAxis>1)||(flipAxis<-1))";
inline constexpr const char kSrcAlpha[] = "srcImage->alphaChannel";
inline constexpr const char kDstAlpha[] = "dstImage->alphaChannel";
inline constexpr const char kSrcCoi[] = "srcImage-roi->coi";
inline constexpr const char kDstCoi[] = "dstImage-roi->coi";

// Warps.
inline constexpr const char kWarpAffine[] = "zolWarpAffine";
inline constexpr const char kRotate[] = "zolRotate";
inline constexpr const char kShear[] = "zolShear";
inline constexpr const char kGetAffineQuad[] = "zolGetAffineQuad";
inline constexpr const char kGetAffineBound[] = "zolGetAffineBound";
inline constexpr const char kGetAffineTransform[] = "zolGetAffineTransform";
inline constexpr const char kWarpDepth[] = "srcImage->depth != dstImage->depth";
inline constexpr const char kWarpOrigin[] = "srcImage->origin != dstImage->origin";
inline constexpr const char kWarpOrder[] = "srcImage->dataOrder != dstImage->dataOrder";
inline constexpr const char kWarpSigned[] =
    "(srcImage->depth & ZOL_DEPTH_SIGN) || (srcImage->depth == ZOL_DEPTH_32F)";
inline constexpr const char kWarpInPlace[] = "This function is not in-place function";
inline constexpr const char kWarpSingular[] = "Determinant of transform matrix == 0.0";
inline constexpr const char kWarpInterp[] = "interpolate < 0 || interpolate > 2";
inline constexpr const char kWarpCoi[] = "srcImage COI != dstImage COI";
inline constexpr const char kBadRectRoi[] = "Bad rect ROI";
inline constexpr const char kQuadDegenerate[] =
    "Quadrangle is degenerate to triangle or length or point";
inline constexpr const char kQuadConcave[] = "Quadrangle is concave";
inline constexpr const char kQuadNotParallel[] = "Quadrangle is not parallelogram";
inline constexpr const char kSrcRectDegenerate[] =
    "srcImage Rectangle ROI is degenerate to length or point";
inline constexpr const char kDstRectDegenerate[] =
    "dstImage Rectangle ROI is degenerate to length or point";
inline constexpr const char kWarpFlag[] = "warpFlag != 0 && warpFlag != 1";
inline constexpr const char kWarpBilinear[] = "zolWarpBilinear";
inline constexpr const char kWarpBilinearQ[] = "zolWarpBilinearQ";
inline constexpr const char kWarpPerspective[] = "zolWarpPerspective";
inline constexpr const char kWarpPerspectiveQ[] = "zolWarpPerspectiveQ";
inline constexpr const char kWarpTileWrite[] = "Error get tile to write";
inline constexpr const char kGetBilinearQuad[] = "zolGetBilinearQuad";
inline constexpr const char kGetPerspectiveQuad[] = "zolGetPerspectiveQuad";
inline constexpr const char kGetBilinearBound[] = "zolGetBilinearBound";
inline constexpr const char kGetPerspectiveBound[] = "zolGetPerspectiveBound";
inline constexpr const char kGetBilinearTransform[] = "zolGetBilinearTransform";
inline constexpr const char kGetPerspectiveTransform[] = "zolGetPerspectiveTransform";
inline constexpr const char kImageRectDegenerate[] = "image Rectangle ROI is degenerate to length or point";

// Scaled multiplication and alpha compositing, and the tile group they walk with.
inline constexpr const char kMultiplyScale[] = "zolMultiplyScale";
inline constexpr const char kMultiplySScale[] = "zolMultiplySScale";
inline constexpr const char kPreMultiplyAlpha[] = "zolPreMultiplyAlpha";
inline constexpr const char kAlphaComposite[] = "zolAlphaComposite";
inline constexpr const char kAlphaCompositeC[] = "zolAlphaCompositeC";
inline constexpr const char kTilingCallBack[] = "ERROR in Tiling callBack";
inline constexpr const char kNoWorkingMemory[] = "No working memory";
inline constexpr const char kInternalTiling[] = "Internal tiling error";
inline constexpr const char kBadMasks[] = "Bad masks for images";
inline constexpr const char kDstDepth8or16[] = "dstImage->depth != 8 && dstImage->depth != 16";
inline constexpr const char kImageDepth8or16[] = "image->depth != 8 && image->depth != 16";
inline constexpr const char kBadCompositeType[] =
    "compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 && "
    "compositeType != 4 && compositeType != 5";
inline constexpr const char kBadPremul[] = "premulAlpha != 0 && premulAlpha != 1";
inline constexpr const char kBadDivideMode[] = "divideMode != 0 && divideMode != 1";

// The words of the checks of one image of these families, by its name.
struct ImageTexts {
    const char* null;        // "x==0"
    const char* alpha;       // alpha channel other than the last
    const char* depth;       // depth unlike the destination's
    const char* alphaLow;    // no alpha channel where one is read
    const char* alphaHigh;   // alpha channel past the channels
    const char* coi[4];      // coi agreement with the destination, as a source
    const char* channels;    // colour channel counts, as a source
};
inline constexpr ImageTexts kSrcImageATexts = {
    "srcImageA==0",
    "srcImageA->alphaChannel > 0 && srcImageA->alphaChannel != srcImageA->nChannels",
    "srcImageA->depth != dstImage->depth",
    "srcImageA->alphaChannel < 1",
    "srcImageA->alphaChannel > srcImageA->nChannels",
    {"dstImage->roi->coi > 0 && srcImageA->roi == 0",
     "dstImage->roi->coi > 0 && srcImageA->roi->coi == 0",
     "srcImageA->roi->coi > 0 && dstImage->roi == 0",
     "srcImageA->roi->coi > 0 && dstImage->roi->coi == 0"},
    "(srcImageA->nChannels - (srcImageA->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))"};
inline constexpr ImageTexts kSrcImageBTexts = {
    "srcImageB==0",
    "srcImageB->alphaChannel > 0 && srcImageB->alphaChannel != srcImageB->nChannels",
    "srcImageB->depth != dstImage->depth",
    "srcImageB->alphaChannel < 1",
    "srcImageB->alphaChannel > srcImageB->nChannels",
    {"dstImage->roi->coi > 0 && srcImageB->roi == 0",
     "dstImage->roi->coi > 0 && srcImageB->roi->coi == 0",
     "srcImageB->roi->coi > 0 && dstImage->roi == 0",
     "srcImageB->roi->coi > 0 && dstImage->roi->coi == 0"},
    "(srcImageB->nChannels - (srcImageB->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))"};
inline constexpr ImageTexts kSrcImageTexts = {
    "srcImage==0",
    "srcImage->alphaChannel > 0 && srcImage->alphaChannel != srcImage->nChannels",
    "srcImage->depth != dstImage->depth",
    "srcImage->alphaChannel < 1",
    "srcImage->alphaChannel > srcImage->nChannels",
    {"dstImage->roi->coi > 0 && srcImage->roi == 0",
     "dstImage->roi->coi > 0 && srcImage->roi->coi == 0",
     "srcImage->roi->coi > 0 && dstImage->roi == 0",
     "srcImage->roi->coi > 0 && dstImage->roi->coi == 0"},
    "(srcImage->nChannels - (srcImage->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))"};
inline constexpr ImageTexts kDstImageTexts = {
    "dstImage==0",
    "dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels",
    nullptr,
    nullptr,
    nullptr,
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kAlphaImageATexts = {
    "alphaImageA==0",
    "alphaImageA->alphaChannel > 0 && alphaImageA->alphaChannel != alphaImageA->nChannels",
    "alphaImageA->depth != dstImage->depth",
    nullptr,
    nullptr,
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kAlphaImageBTexts = {
    "alphaImageB==0",
    "alphaImageB->alphaChannel > 0 && alphaImageB->alphaChannel != alphaImageB->nChannels",
    "alphaImageB->depth != dstImage->depth",
    nullptr,
    nullptr,
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kAlphaImageDstTexts = {
    "alphaImageDst==0",
    "alphaImageDst->alphaChannel > 0 && alphaImageDst->alphaChannel != alphaImageDst->nChannels",
    "alphaImageDst->depth != dstImage->depth",
    "alphaImageDst->alphaChannel < 1",
    "alphaImageDst->alphaChannel > alphaImageDst->nChannels",
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kMasksTexts = {
    "masks[imask]==0",
    "masks[imask]->alphaChannel > 0 && masks[imask]->alphaChannel != masks[imask]->nChannels",
    nullptr,
    nullptr,
    nullptr,
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kImageTexts = {
    "image==0",
    "image->alphaChannel > 0 && image->alphaChannel != image->nChannels",
    nullptr,
    "image->alphaChannel < 1",
    "image->alphaChannel > image->nChannels",
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};
inline constexpr ImageTexts kMROITexts = {
    "mROI==0",
    "mROI->alphaChannel > 0 && mROI->alphaChannel != mROI->nChannels",
    nullptr,
    nullptr,
    nullptr,
    {nullptr,
     nullptr,
     nullptr,
     nullptr},
    nullptr};

// Histogram and lookup.
inline constexpr const char kComputeHisto[] = "zolComputeHisto";
inline constexpr const char kContrastStretch[] = "zolContrastStretch";
inline constexpr const char kHistoEqualize[] = "zolHistoEqualize";
inline constexpr const char kMap[] = "zolMap";
inline constexpr const char kLutNull[] = "lut==0";
inline constexpr const char kHistoDepth[] =
    "(srcImage->depth & ZOL_DEPTH_SIGN) || (srcImage->depth == ZOL_DEPTH_32F)";
inline constexpr const char kMapDepth[] =
    "srcImage->depth != ZOL_DEPTH_8U && srcImage->depth != ZOL_DEPTH_16U";
inline constexpr const char kLutK[] = "lut[k]==0";
inline constexpr const char kLutKey[] = "lut[k]->key==0";
inline constexpr const char kLutValue[] = "lut[k]->value==0";
inline constexpr const char kLutNum[] = "lut[k]->num < 2";
inline constexpr const char kLutFirstKey[] = "lut[k]->key[0] < 0";
inline constexpr const char kLutLastKey[] = "lut[k]->key[lut[k]->num-1] > histSize";
inline constexpr const char kLutKeyOrder[] = "lut[k]->key[i] > lut[k]->key[i+1]";
inline constexpr const char kHistoZero[] = "All values in histogram are zeroes";

// Moments.
inline constexpr const char kMoments[] = "zolMoments";
inline constexpr const char kSpatialMoment[] = "zolSpatialMoment";
inline constexpr const char kNormalizedSpatialMoment[] = "zolNormalizedSpatialMoment";
inline constexpr const char kCentralMoment[] = "zolCentralMoment";
inline constexpr const char kNormalizedCentralMoment[] = "zolNormalizedCentralMoment";
inline constexpr const char kGetSpatialMoment[] = "zolGetSpatialMoment";
inline constexpr const char kGetCentralMoment[] = "zolGetCentralMoment";
inline constexpr const char kGetNormalizedCentralMoment[] = "zolGetNormalizedCentralMoment";
inline constexpr const char kOneChannel[] = "Only one channel can be proceed";
inline constexpr const char kMomentOrder[] = "Illegal order of moment";
inline constexpr const char kStateNull[] = "state==0";

// Norms.
inline constexpr const char kNorm[] = "zolNorm";
inline constexpr const char kNormDepth32F[] = "srcImageA->depth=32F";
inline constexpr const char kNormOrder[] = "srcImageA->dataOrder!=srcImageB->dataOrder";
inline constexpr const char kNormType[] = "normType unknown";
inline constexpr const char kNormDepths[] = "(srcImageA->depth!=srcImageB->depth)";
inline constexpr const char kNormAlphaA[] = "srcImageA->alphaChannel";
inline constexpr const char kNormAlphaB[] = "srcImageB->alphaChannel";
inline constexpr const char kNormCoiA[] = "srcImageA-roi->coi";
inline constexpr const char kNormCoiB[] = "srcImageB-roi->coi";
inline constexpr const char kNormMaskNull[] = "Null pointer for mask";
inline constexpr const char kZeroDivided[] = "Zero divided";
inline constexpr const char kBlank[] = " ";

// Rank filters and morphology.
inline constexpr const char kMaxFilter[] = "zolMaxFilter";
inline constexpr const char kMinFilter[] = "zolMinFilter";
inline constexpr const char kMedianFilter[] = "zolMedianFilter";
inline constexpr const char kRankAnchorX[] = "(anchorX>=nCols)||(anchorX<0)";
inline constexpr const char kRankAnchorY[] = "(anchorY>=nRows)||(anchorY<0)";
inline constexpr const char kRankSame[] = "(srcImage==dstImage)";
inline constexpr const char kRankDepths[] = "srcImage->depth!=dstImage->depth";
inline constexpr const char kRankDepth32[] = "srcImage->depth==32";
inline constexpr const char kRankChannels[] = "srcImage->nChannels!=dstImage->nChannels";
inline constexpr const char kRankAlphas[] = "srcImage->alphaChannel!=dstImage->alphaChannel";
inline constexpr const char kRankAlphaLast[] =
    "(srcImage->alphaChannel!=0)&&(srcImage->alphaChannel!=srcImage->nChannels)";
inline constexpr const char kRankOrders[] = "srcImage->dataOrder!=dstImage->dataOrder";
inline constexpr const char kRankSrcCoi[] =
    "Interst Channel of input Image more number of channels.";
inline constexpr const char kRankDstCoi[] =
    "Interst Channel of output Image more number of channels.";
inline constexpr const char kRankCounts[] =
    "Number of interset channel input and output Image is not equal.";
inline constexpr const char kBlur[] = "zolBlur";
inline constexpr const char kBlurDepths[] = "(srcImage->depth!=dstImage->depth)";
inline constexpr const char kBlurSize[] = "(nRows<0||nCols<0)";
inline constexpr const char kBlurAnchorLow[] = "(anchorX<0||anchorY<0)";
inline constexpr const char kBlurAnchorHigh[] = "(anchorX>=nCols||anchorY>=nRows)";
inline constexpr const char kBlurAlpha[] = "bad alpha channel's number";
inline constexpr const char kBlurChannels[] = "bad channel's number";
inline constexpr const char kFixedFilter[] = "zolFixedFilter";
inline constexpr const char kUnknowFilter[] = "Unknow filter.";
inline constexpr const char kDilate[] = "zolDilate";
inline constexpr const char kErode[] = "zolErode";
inline constexpr const char kOpen[] = "zolOpen";
inline constexpr const char kClose[] = "zolClose";
inline constexpr const char kMorphIterations[] = "Illegal number of of iterations";
inline constexpr const char kMorphDepth[] = "Illegal image depth";
inline constexpr const char kMorphDepths[] = "SRC and DST depth are different";
inline constexpr const char kMorphOrders[] = "SRC and DST order are different";
inline constexpr const char kMorphOrigins[] = "SRC and DST orign are different";
inline constexpr const char kMorphChannels[] = "SRC and DST number of channels are different";
inline constexpr const char kMorphCois[] = "SRC and DST COI are different";

// Test image.
inline constexpr const char kJaehneNoHeader[] =
    "Not enough memory to allocate header for ImageJaehne";
inline constexpr const char kJaehneNoData[] =
    "Not enough memory to allocate imageData for ImageJaehne";

// Fourier and cosine transforms, spectrum product.
inline constexpr const char kRealFft2D[] = "zolRealFft2D";
inline constexpr const char kCcsFft2D[] = "zolCcsFft2D";
inline constexpr const char kDCT2D[] = "zolDCT2D";
inline constexpr const char kMpyRCPack2D[] = "zolMpyRCPack2D";
inline constexpr const char kFftNoDirection[] = "(flags & 1) == 0 && (flags & 2 ) == 0";
inline constexpr const char kFftTwoDirections[] = "(flags & 1) != 0 && (flags & 2 ) != 0";
inline constexpr const char kFftTwoRoutes[] = "(flags & 32) != 0 && (flags & 16 ) != 0";
inline constexpr const char kFftSrcAlpha[] =
    "srcImage->alphaChannel > 0 && srcImage->alphaChannel != srcImage->nChannels";
inline constexpr const char kFftDstAlpha[] =
    "dstImage->alphaChannel > 0 && dstImage->alphaChannel != dstImage->nChannels";
inline constexpr const char kFftSrcDepth1[] = "srcImage->depth == 1";
inline constexpr const char kFftDstDepth1[] = "dstImage->depth == 1";
inline constexpr const char kFftSrcData[] = "srcImage->imageData == ((void*)(0))";
inline constexpr const char kFftDstData[] = "dstImage->imageData == ((void*)(0))";
inline constexpr const char kFftDstCoiNoSrcRoi[] = "dstImage->roi->coi > 0 && srcImage->roi == 0";
inline constexpr const char kFftDstCoiSrcNoCoi[] =
    "dstImage->roi->coi > 0 && srcImage->roi->coi == 0";
inline constexpr const char kFftSrcCoiNoDstRoi[] = "srcImage->roi->coi > 0 && dstImage->roi == 0";
inline constexpr const char kFftSrcCoiDstNoCoi[] =
    "srcImage->roi->coi > 0 && dstImage->roi->coi == 0";
inline constexpr const char kFftChannels[] =
    "(srcImage->nChannels - (srcImage->alphaChannel != 0)) != "
    "(dstImage->nChannels - (dstImage->alphaChannel != 0))";
inline constexpr const char kFftInputData[] = "Error in input data";
inline constexpr const char kFftNoMemory[] = "No working memory";
inline constexpr const char kDctSrcNull[] = "src==0";
inline constexpr const char kDctDstNull[] = "dst==0";
inline constexpr const char kDctInPlace[] = "\nFunction does not support inplace operation";
inline constexpr const char kDct1U[] = "\nImages with 1u depth are not processed";
inline constexpr const char kDct32F[] = "\nImages with 32F depth are not processed, sorry";
inline constexpr const char kDctAlpha[] = "\nAlpha channel may be 0 or equal to number of channels";
inline constexpr const char kDctAlphaCoi[] =
    "\nBad combination of alpha, COI and number of channels";
inline constexpr const char kDctCompatible[] = "Images are not compatible";
inline constexpr const char kMpyDepth[] = "srcA->depth || srcB->depth == 8U||16U||1U";
inline constexpr const char kMpyDepthAB[] = "(srcA->depth != srcB->depth)";
inline constexpr const char kMpyDepthDst[] = "(srcA->depth != dst->depth)";
inline constexpr const char kMpyAlphaA[] = "srcA->alphaChannel";
inline constexpr const char kMpyAlphaB[] = "srcB->alphaChannel";
inline constexpr const char kMpyAlphaD[] = "dst->alphaChannel";
inline constexpr const char kMpyCoiA[] = "srcA-roi->coi";
inline constexpr const char kMpyCoiB[] = "srcB-roi->coi";
inline constexpr const char kMpyCoiD[] = "dst-roi->coi";

// Reporting.
inline constexpr const char kUnknown[] = "<unknown>";
inline constexpr const char kUnknownStatus[] = "Unknown error or status code";
inline constexpr const char kFatalContext[] =
    "ZOLib. Problem to allocate memory for TLS ZOL context.";
inline constexpr const char kBoxSuffixLeaf[] =
    "\n\nErrMode=ZOL_ErrorModeLeaf\n\nTerminate the application?";
inline constexpr const char kBoxSuffixParent[] = "\n\nErrMode=ZOL_ErrorModeParent\n\nContinue?";
inline constexpr const char kBoxCalledFrom[] =
    "Called from %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s";
inline constexpr const char kBoxInFunction[] =
    "In function %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s";
inline constexpr const char kBoxCaption[] = "ZOL %s";
inline constexpr const char kExitText[] = "ZOL Library: terminating the application";
inline constexpr const char kExitCaption[] = "Win32: Application exit";
inline constexpr const char kStdErrCalledFrom[] = "\tcalled from";
inline constexpr const char kStdErrFirst[] = "\nZOL Library Error: %s \n\tin function";
inline constexpr const char kStdErrLeafEnd[] =
    "ZOL Library Error\nErrMode=ZOL_ErrModeLeaf\nterminating the application";

}  // namespace msg
}  // namespace zol
