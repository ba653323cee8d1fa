// Reporting helpers shared by every family.
#pragma once

#include "zol.h"

namespace zol {

// Box types and answers of the error box.
constexpr unsigned kBoxOkCancel = 0x2011;
constexpr unsigned kBoxYesNo = 0x2014;
constexpr unsigned kBoxInformation = 0x2040;
constexpr int kIdOk = 1;
constexpr int kIdCancel = 2;
constexpr int kIdYes = 6;
constexpr int kIdNo = 7;

// Presents one box and returns the button chosen. The default writes the
// box to standard error and asks /dev/tty when there is someone to ask.
using BoxPresenter = int (*)(const char* text, const char* caption, unsigned type);

// Replaces the presenter (tests capture boxes with it); nullptr restores the
// default. Returns the previous one.
BoxPresenter setBoxPresenter(BoxPresenter presenter);

// zolError with the calling site's file and line filled in.
inline int report(int status, const char* func, const char* context,
                  const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return zolError(status, func, context, file, line);
}

}  // namespace zol
