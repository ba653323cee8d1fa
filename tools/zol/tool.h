// What the command files of the zol tool share: registration of commands,
// messages and exit codes, and the steps of an image-to-image command (read
// the inputs, apply --depth, --roi, --coi and --mask, call the library,
// write the result). Each family of library functions has one cmd_*.cpp
// with one add*Commands function; docs/tool.md tells how to add one.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

#include "files.h"
#include "zol.h"

namespace zoltool {

constexpr int kExitFailure = 1;  // a file or the library failed
constexpr int kExitUsage = 2;    // the command line is wrong

// ---- registration ------------------------------------------------------

// The work of a command, given the command itself (for usage messages);
// returns the exit code.
using Action = std::function<int(const CLI::App* command)>;

// Adds a subcommand in a help group ("Arithmetic", ...) whose action runs
// after the whole command line has parsed.
CLI::App* addCommand(CLI::App& app, const std::string& group, const std::string& name,
                     const std::string& description, Action action);

void addCoreCommands(CLI::App& app);   // cmd_core.cpp: version, info, pattern, chart, demo
void addArithCommands(CLI::App& app);  // cmd_arith.cpp: add ... square
void addLogicCommands(CLI::App& app);  // cmd_logic.cpp: and ... not
void addCopyCommands(CLI::App& app);   // cmd_copy.cpp: copy, set
void addFilterCommands(CLI::App& app);    // cmd_filter.cpp: convolve, sepconvolve
void addGeometryCommands(CLI::App& app);  // cmd_geometry.cpp: resize ... decimate, rotate ... mirror
void addColourCommands(CLI::App& app);    // cmd_colour.cpp: convert ... twist
void addAlphaCommands(CLI::App& app);     // cmd_alpha.cpp: composite, premultiply, mulscale
void addTransformCommands(CLI::App& app); // cmd_transform.cpp: fft, dct, convolve-fft
void addRankCommands(CLI::App& app);   // cmd_rank.cpp: median ... filter, noise
void addMeasureCommands(CLI::App& app);  // cmd_measure.cpp: histogram ... norm
void addBitmapCommands(CLI::App& app);   // cmd_bitmap.cpp: depth

// ---- messages ----------------------------------------------------------

// "zol: MESSAGE" on standard error; returns kExitFailure.
int fail(const std::string& message);
// "zol NAME: MESSAGE", the command's usage line and a pointer to its help;
// returns kExitUsage.
int usageFail(const CLI::App* command, const std::string& message);
// The usage line of a command, "usage: zol add [options] A B OUT".
std::string usageLine(const CLI::App* command);
// When the thread's status is negative, says which call failed and with
// what status text and returns true. The library has printed its own
// report already.
bool libraryFailed(const char* call);

// ---- option values -----------------------------------------------------

// A depth name ("8u", "16S", ...), case-insensitive; 0 when unknown.
int depthOfName(const std::string& name);
// "WxH" with positive decimal fields.
bool parseSize(const std::string& text, int* width, int* height);
// A number in decimal or 0x hexadecimal, or a decimal fraction.
bool parseNumber(const std::string& text, double* value);
// Rows of numbers split by ';', each split by spaces or commas, all rows
// as long ("1 2 1;2 4 2;1 2 1"); false with a message otherwise.
bool parseMatrix(const std::string& text, std::vector<std::vector<double>>* rows,
                 std::string* error);

// Validators for CLI11 options, giving the error text or "".
std::string checkDepth(const std::string& text);
std::string checkSize(const std::string& text);
std::string checkRoi(const std::string& text);

// ---- image-to-image commands ------------------------------------------

// The options every image-to-image command takes.
struct ImageOptions {
    std::string roi;    // "x,y,w,h"
    int coi = 0;        // 1-based channel, 0 for all
    std::string mask;   // a mask file
    std::string depth;  // the working depth the inputs are converted to
    std::string format; // the output format, when not from the name
    int quality = 90;   // JPEG quality
    int bits = 0;       // BMP bits per pixel, 0 for the default
    bool rle = false;   // BMP run-length coding
    std::string palette;  // BMP palette: "linear" or "median"
};

// Adds --roi, --coi, --mask, --depth, --format and --quality to a command.
void addImageOptions(CLI::App* command, ImageOptions& options);
// Only --roi, --coi and --mask.
void addRegionOptions(CLI::App* command, ImageOptions& options);
// Only --format, --quality and the BMP options --bits (unless the command
// has a --bits of its own already), --rle and --palette, for commands that
// write a new picture.
void addOutputOptions(CLI::App* command, ImageOptions& options);

// Reads an image, or prints a message and returns NULL.
ImagePtr loadImage(const std::string& path);
// Writes an image whose depth a file can hold; returns an exit code.
int saveImage(const std::string& path, const ZolImage* image, const ImageOptions& options);

// A copy of src with each element converted to depth: clamped to the
// depth's range, and rounded to nearest from 32f. Both depths are among 8u,
// 8s, 16u, 16s, 32s, 32f. zolConvert does the integer pairs; it takes no
// 32f, so the tool converts to and from 32f itself. NULL after a message.
ImagePtr convertDepth(const ZolImage* src, int depth);

// The mask file as a 1U image: a 1-bit file as it is, any other image set
// where the mean of its colour channels is at least half scale. NULL after
// a message.
ImagePtr loadMask(const std::string& path);

// Gives the image a ROI with the options' rectangle and coi (the whole
// image when --roi is absent); false after a message if the library
// refuses.
bool setRegion(ZolImage* image, const ImageOptions& options, bool withCoi);

// The common shape of an image-to-image command: reads the inputs,
// converts them to --depth, makes the output a copy of the first input,
// gives every image the --roi and --coi and the output the --mask (placed
// by the same --roi), runs `call`, and writes the output, converted back to
// the first input's depth when a file cannot hold the working depth. Only
// pixels in the region, in the channel and under the mask change, so the
// rest of the output shows the first input.
int runImageCommand(const CLI::App* command, const ImageOptions& options,
                    const std::vector<std::string>& inputs, const std::string& output,
                    const std::string& callName,
                    const std::function<void(std::vector<ZolImage*>& sources, ZolImage* dst)>& call,
                    const std::function<int(const ZolImage* first)>& check = nullptr);

// ---- the shapes of most commands -----------------------------------------

using DyadicCall = void (*)(ZolImage* a, ZolImage* b, ZolImage* dst);
using MonadicCall = void (*)(ZolImage* src, ZolImage* dst);

// NAME A B OUT: dst = call(A, B).
void addDyadicCommand(CLI::App& app, const std::string& group, const std::string& name,
                      const std::string& description, const char* callName, DyadicCall call);
// NAME IN OUT: dst = call(IN).
void addMonadicCommand(CLI::App& app, const std::string& group, const std::string& name,
                       const std::string& description, const char* callName, MonadicCall call);

// How the VALUE of a constant command is read.
enum class ValueKind {
    Arithmetic,  // a whole number in int range, or any number on 32f images
    Bits,        // a 32-bit pattern: -2147483648 to 4294967295, 0x... allowed
    Count,       // a shift count, 0 to 4294967295
};

struct ConstantCall {
    // Calls the library on src and dst with the value (already checked
    // against kind and the working depth) and flip, and returns the name of
    // the function it called.
    std::function<const char*(ZolImage* src, ZolImage* dst, double value, bool flip)> call;
    ValueKind kind;
    bool hasFlip = false;  // offers --flip
};

// NAME IN OUT VALUE: dst = call(IN, VALUE).
void addConstantCommand(CLI::App& app, const std::string& group, const std::string& name,
                        const std::string& description, const ConstantCall& call);

}  // namespace zoltool
