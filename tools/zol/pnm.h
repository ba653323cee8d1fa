// Binary PBM, PGM and PPM files as zol images.
//
//   P4 (PBM)            <-> 1U, 1 channel
//   P5 (PGM) maxval 255 <-> 8U, 1 channel;  maxval 65535 <-> 16U, 1 channel
//   P6 (PPM) maxval 255 <-> 8U, 3 channels; maxval 65535 <-> 16U, 3 channels
//
// 16-bit samples are big-endian on disk and native in memory. A PBM 1 is
// black, while a 1U pixel 1 is the bright value, so bits are inverted on the
// way in and out: a picture looks the same in the file as it does in memory.
#pragma once

#include <string>

#include "zol.h"

namespace zoltool {

// The kinds of file this module reads and writes.
enum class PnmKind { None, Pbm, Pgm, Ppm };

const char* pnmKindName(PnmKind kind);

// "1u", "8u", "8s", "16u", "16s", "32s" or "32f".
const char* depthName(int depth);

// The kind a file name's extension (.pbm, .pgm, .ppm, any case) names, or
// None for any other name.
PnmKind pnmKindOfName(const std::string& path);

// The kind an image is written as, or None with the reason in *error when no
// PNM file can hold it.
PnmKind pnmKindOfImage(const ZolImage* image, std::string* error);

// True when an image of this shape can be made: its bytes, row padding
// included, must fit an int like every size in an image header. Otherwise
// false with the reason in *error.
bool imageFits(int depth, int channels, int width, int height, std::string* error);

// A new pixel-order, top-left image of 1 or 3 channels, its pixels
// allocated but not set, or NULL with the reason in *error. Checks
// imageFits before asking the library for anything.
ZolImage* newImage(int depth, int channels, int width, int height, std::string* error);

// Frees an image of newImage, readPnm or the library; NULL is allowed.
void freeImage(ZolImage* image);

// Reads a binary PNM file into a new image, or returns NULL with a message
// naming the file and the problem in *error. Plain (ASCII) files, maxvals
// other than 255 and 65535, and truncated files are refused.
ZolImage* readPnm(const std::string& path, std::string* error);

// Writes the whole image (not its ROI). Returns false with a message in
// *error; a partly written file is removed.
bool writePnm(const std::string& path, const ZolImage* image, std::string* error);

}  // namespace zoltool
