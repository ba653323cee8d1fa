// Status, error modes, the report entry, the three ready-made handlers and
// the version record.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/context.h"
#include "core/messages.h"
#include "core/report.h"

using zol::ownGetContext;
namespace msg = zol::msg;

namespace {

// Texts of -9..-21, -24, -25 are their mask texts without the "Mask. "
// prefix, so one string serves both codes.
constexpr int kMaskPrefix = 6;
const char* const kShared[] = {
    /* -9  */ "Mask. Null pointer to an image header",
    /* -10 */ "Mask. Incorrect image size",
    /* -11 */ "Mask. Incorrect offset of ROI of the image",
    /* -12 */ "Mask. One from two pointers should be null, and other should be not null, "
              "imageData or tileInfo ",
    /* -13 */ "Mask. Incorrect widthStep of the image",
    /* -14 */ "Mask. Incorrect Color model or channel sequence of the image",
    /* -15 */ "Mask. Incorrect number of channels in the image",
    /* -16 */ "Mask. Number of channels for 1U depth image must be one",
    /* -17 */ "Mask. Incorrect depth value in the image header",
    /* -18 */ "Mask. Incorrect alpha channel number in the image header",
    /* -19 */ "Mask. Incorrect data order value in the image header",
    /* -20 */ "Mask. Incorrect data origin value in the image header",
    /* -21 */ "Mask. Incorrect data alignment value in the image header",
    /* -22 */ nullptr,
    /* -23 */ nullptr,
    /* -24 */ "Mask. Incorrect COI of the image",
    /* -25 */ "Mask. Incorrect size of ROI in the image header",
};

const char* plainText(int status) {
    switch (status) {
        case 0: return "No Error";
        case -1: return "Backtrace";
        case -3: return "Internal error (bad state)";
        case -4: return "Out of memory";
        case -5: return "Bad argument";
        case -6: return "Unsupported function";
        case -7: return "Iteration convergence failed";
        case -8: return "Autotrace call";
        case -22: return "Null pointer to callback function";
        case -23: return "Incorrect size of the tile";
        case -26: return "Mask image is taled";
        default: break;
    }
    if (status <= -9 && status >= -25 && kShared[-9 - status])
        return kShared[-9 - status] + kMaskPrefix;
    // -109 has a stored full form but no row of its own.
    if (status <= -110 && status >= -125 && kShared[-9 - (status + 100)])
        return kShared[-9 - (status + 100)];
    return msg::kUnknownStatus;
}

bool isTrace(int status) { return status == ZOL_STATUS_BACKTRACE || status == ZOL_STATUS_AUTOTRACE; }

bool askTty(unsigned type) {
    // First button unless someone at a terminal answers otherwise.
    if (!isatty(STDERR_FILENO)) return true;
    FILE* tty = std::fopen("/dev/tty", "r");
    if (!tty) return true;
    char line[64] = {0};
    bool first = true;
    if (std::fgets(line, sizeof line, tty)) {
        const char c = line[0];
        if (type == zol::kBoxYesNo) first = !(c == 'n' || c == 'N');
        else if (type == zol::kBoxOkCancel) first = !(c == 'c' || c == 'C');
    }
    std::fclose(tty);
    return first;
}

int defaultPresenter(const char* text, const char* caption, unsigned type) {
    const char* buttons = type == zol::kBoxYesNo ? "[Yes/No]"
                          : type == zol::kBoxOkCancel ? "[OK/Cancel]"
                                                      : "[OK]";
    std::fprintf(stderr, "%s\n%s\n%s\n", caption, text, buttons);
    std::fflush(stderr);
    if (type == zol::kBoxInformation) return zol::kIdOk;
    const bool first = askTty(type);
    if (type == zol::kBoxYesNo) return first ? zol::kIdYes : zol::kIdNo;
    return first ? zol::kIdOk : zol::kIdCancel;
}

zol::BoxPresenter gPresenter = defaultPresenter;

const ZolLibVersion kVersion = {
    2, 0, 10, "zolA1.dll", "v2.0 Beta 2", "[2.0.10, 06/01/98]", "Jun  1 1998", "DLL",
};

}  // namespace

zol::BoxPresenter zol::setBoxPresenter(BoxPresenter presenter) {
    BoxPresenter old = gPresenter;
    gPresenter = presenter ? presenter : defaultPresenter;
    return old;
}

extern "C" {

ZOL_API int zolGetErrStatus(void) { return ownGetContext()->status; }
ZOL_API void zolSetErrStatus(int status) { ownGetContext()->status = status; }
ZOL_API int zolGetErrMode(void) { return ownGetContext()->errMode; }
ZOL_API void zolSetErrMode(int mode) { ownGetContext()->errMode = mode; }

ZOL_API ZolReportHandler zolRedirectError(ZolReportHandler handler) {
    zol::ZolThreadContext* ctx = ownGetContext();
    ZolReportHandler old = ctx->reportHandler;
    ctx->reportHandler = handler ? handler : zolGuiBoxReport;
    return old;
}

ZOL_API int zolError(int status, const char* func, const char* context, const char* file,
                     int line) {
    zol::ZolThreadContext* ctx = ownGetContext();
    if (!isTrace(status)) ctx->status = status;
    if (status == 0) return 0;
    return ctx->reportHandler(status, func, context, file, line);
}

ZOL_API const char* zolErrorStr(int status) { return plainText(status); }

ZOL_API int zolNulDevReport(int status, const char*, const char*, const char*, int) {
    if (zolGetErrMode() == ZOL_ErrModeLeaf) std::exit(1);
    return status;
}

ZOL_API int zolStdErrReport(int status, const char* func, const char* context,
                            const char* file, int line) {
    const int mode = zolGetErrMode();
    if (mode == ZOL_ErrModeSilent) return status;
    if (isTrace(status)) std::fputs(msg::kStdErrCalledFrom, stderr);
    else std::fprintf(stderr, msg::kStdErrFirst, zolErrorStr(status));
    // A NULL file beside a positive line prints as the C library prints it.
    if (line > 0 || file) std::fprintf(stderr, " [%s:%d]", file ? file : "(null)", line);
    std::fprintf(stderr, ":%s", func ? func : msg::kUnknown);
    if (context) {
        if (status == ZOL_STATUS_AUTOTRACE) std::fprintf(stderr, "(%s)", context);
        else std::fprintf(stderr, "(): %s", context);
    }
    std::fputs("\n", stderr);
    std::fflush(stderr);
    if (mode == ZOL_ErrModeLeaf) {
        std::fputs(msg::kStdErrLeafEnd, stderr);
        std::fflush(stderr);
        std::exit(1);
    }
    return status;
}

ZOL_API int zolGuiBoxReport(int status, const char* func, const char* context,
                            const char* file, int line) {
    const int mode = zolGetErrMode();
    if (mode == ZOL_ErrModeSilent) return status;
    if (!func) func = msg::kUnknown;
    if (!context) context = "";
    if (!file) file = "";
    if (line < 0) line = 0;
    const char* errText = zolErrorStr(status);
    // Room for every argument, so the text is never cut.
    const size_t size =
        std::strlen(context) + std::strlen(errText) + std::strlen(func) + std::strlen(file) + 200;
    char* text = static_cast<char*>(std::malloc(size));
    if (!text) return status;
    const char* suffix = mode == ZOL_ErrModeLeaf     ? msg::kBoxSuffixLeaf
                         : mode == ZOL_ErrModeParent ? msg::kBoxSuffixParent
                                                     : "";
    std::snprintf(text, size, isTrace(status) ? msg::kBoxCalledFrom : msg::kBoxInFunction, func,
                  file, line, context, errText, status, suffix);
    char caption[64];
    std::snprintf(caption, sizeof caption, msg::kBoxCaption, kVersion.versionText);

    bool terminate = false;
    if (mode == ZOL_ErrModeParent) terminate = gPresenter(text, caption, zol::kBoxOkCancel) == zol::kIdCancel;
    else if (mode == ZOL_ErrModeLeaf) terminate = gPresenter(text, caption, zol::kBoxYesNo) == zol::kIdYes;
    std::free(text);
    if (terminate) {
        gPresenter(msg::kExitText, msg::kExitCaption, zol::kBoxInformation);
        std::exit(1);
    }
    return status;
}

ZOL_API const ZolLibVersion* zolGetLibVersion(void) { return &kVersion; }

}  // extern "C"
