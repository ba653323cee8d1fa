// zol: a small command-line front end to the library, reading and writing
// binary PNM files. See docs/tool.md.
//
// Exit codes: 0 success, 1 a file or library failure, 2 a usage error.
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "pnm.h"
#include "zol.h"

#ifndef ZOL_TOOL_VERSION
#define ZOL_TOOL_VERSION "unknown"
#endif

using namespace zoltool;

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const char kUsage[] =
    "usage: zol <command> [options] [files]\n"
    "\n"
    "commands:\n"
    "  version                   print the library's version record and the tool's\n"
    "  pattern [--depth D] [--size WxH] OUT\n"
    "                            write the ring test pattern; D is 1u (PBM), 8u or 16u\n"
    "                            (PGM), default 8u; the size defaults to 640x480\n"
    "  not IN OUT                write the bitwise inverse of IN, same layout\n"
    "  demo                      write zol-demo-pattern.pgm and zol-demo-inverse.pgm\n"
    "                            into the current directory\n"
    "  help                      print this text\n"
    "\n"
    "Files are binary PBM (1u), PGM (8u or 16u gray) and PPM (8u or 16u RGB).\n"
    "Exit codes: 0 success, 1 file or library failure, 2 usage error.\n";

int usageError(const std::string& message) {
    std::fprintf(stderr, "zol: %s\nRun 'zol help' for usage.\n", message.c_str());
    return kExitUsage;
}

int failure(const std::string& message) {
    std::fprintf(stderr, "zol: %s\n", message.c_str());
    return kExitFailure;
}

// The library has already printed its own report through zolStdErrReport;
// this names the step that failed.
bool libraryFailed(const char* call) {
    const int status = zolGetErrStatus();
    if (status >= 0) return false;
    std::fprintf(stderr, "zol: %s failed: %s (status %d)\n", call, zolErrorStr(status), status);
    return true;
}

bool parseDepth(const std::string& text, int* depth) {
    static const struct {
        const char* name;
        int depth;
    } kDepths[] = {{"1u", ZOL_DEPTH_1U},   {"8u", ZOL_DEPTH_8U},   {"8s", ZOL_DEPTH_8S},
                   {"16u", ZOL_DEPTH_16U}, {"16s", ZOL_DEPTH_16S}, {"32s", ZOL_DEPTH_32S},
                   {"32f", ZOL_DEPTH_32F}};
    for (const auto& d : kDepths)
        if (strcasecmp(text.c_str(), d.name) == 0) {
            *depth = d.depth;
            return true;
        }
    return false;
}

// A decimal field of WxH: digits only, positive, within an int.
bool parseDimension(const std::string& text, int* out) {
    if (text.empty() || text.size() > 10) return false;
    long long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    if (v <= 0 || v > 0x7FFFFFFF) return false;
    *out = int(v);
    return true;
}

bool parseSize(const std::string& text, int* width, int* height) {
    const size_t x = text.find_first_of("xX");
    return x != std::string::npos && parseDimension(text.substr(0, x), width) &&
           parseDimension(text.substr(x + 1), height);
}

// A file named .pbm, .pgm or .ppm must get that kind of content; other
// names take whatever the image is.
bool nameMatches(const std::string& path, PnmKind kind, std::string* error) {
    const PnmKind named = pnmKindOfName(path);
    if (named == PnmKind::None || named == kind) return true;
    const char* ext = kind == PnmKind::Pbm ? ".pbm" : kind == PnmKind::Pgm ? ".pgm" : ".ppm";
    *error = path + ": this image is written as " + pnmKindName(kind) + "; name the file " + ext;
    return false;
}

// Splits arguments into --name value options (also --name=value) and
// positional ones; "--" ends the options.
struct Arguments {
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<std::string> files;
};

bool splitArguments(const std::vector<std::string>& args, const std::vector<std::string>& known,
                    Arguments* out, std::string* error) {
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (optionsEnded || a.size() < 2 || a[0] != '-') {
            out->files.push_back(a);
            continue;
        }
        if (a == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t eq = a.find('=');
        const std::string name = a.substr(0, eq);
        bool isKnown = false;
        for (const auto& k : known) isKnown = isKnown || k == name;
        if (!isKnown) {
            *error = "unknown option '" + name + "'";
            return false;
        }
        if (eq != std::string::npos) {
            out->options.emplace_back(name, a.substr(eq + 1));
        } else if (i + 1 < args.size()) {
            out->options.emplace_back(name, args[++i]);
        } else {
            *error = "option '" + name + "' needs a value";
            return false;
        }
    }
    return true;
}

int writeImage(const std::string& path, const ZolImage* image) {
    std::string error;
    if (!writePnm(path, image, &error)) return failure(error);
    return 0;
}

// The ring pattern of the given depth and size, or NULL after a message.
ZolImage* makePattern(int depth, int width, int height) {
    zolSetErrStatus(0);
    ZolImage* image = zolCreateImageJaehne(depth, width, height);
    if (libraryFailed("zolCreateImageJaehne") || !image) {
        freeImage(image);
        if (zolGetErrStatus() >= 0) failure("zolCreateImageJaehne returned no image");
        return nullptr;
    }
    return image;
}

// The inverse of src in a new image of the same layout, or NULL after a
// message.
ZolImage* makeInverse(ZolImage* src) {
    std::string error;
    ZolImage* dst = newImage(src->depth, src->nChannels, src->width, src->height, &error);
    if (!dst) {
        failure(error);
        return nullptr;
    }
    zolSetErrStatus(0);
    zolNot(src, dst);
    if (libraryFailed("zolNot")) {
        freeImage(dst);
        return nullptr;
    }
    return dst;
}

int cmdVersion(const std::vector<std::string>& args) {
    if (!args.empty()) return usageError("'version' takes no arguments");
    const ZolLibVersion* v = zolGetLibVersion();
    auto text = [](const char* s) { return s ? s : "(none)"; };
    std::printf("library:  %s %d.%d.%d\n", text(v->libraryName), v->major, v->minor, v->build);
    std::printf("version:  %s\n", text(v->versionText));
    std::printf("internal: %s\n", text(v->internalVersion));
    std::printf("built:    %s\n", text(v->buildDate));
    std::printf("tool:     zol %s\n", ZOL_TOOL_VERSION);
    return 0;
}

int cmdPattern(const std::vector<std::string>& args) {
    Arguments a;
    std::string error;
    if (!splitArguments(args, {"--depth", "--size"}, &a, &error)) return usageError(error);
    int depth = ZOL_DEPTH_8U, width = 640, height = 480;
    for (const auto& [name, value] : a.options) {
        if (name == "--depth" && !parseDepth(value, &depth))
            return usageError("unknown depth '" + value + "' (1u, 8u, 8s, 16u, 16s, 32s, 32f)");
        if (name == "--size" && !parseSize(value, &width, &height))
            return usageError("bad size '" + value + "': expected WIDTHxHEIGHT, e.g. 640x480");
    }
    if (a.files.size() != 1) return usageError("'pattern' needs exactly one output file");
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U)
        return usageError(std::string("PNM files cannot hold ") + depthName(depth) +
                          " samples; use --depth 1u, 8u or 16u");
    if (!imageFits(depth, 1, width, height, &error)) return usageError(error);
    const PnmKind kind = depth == ZOL_DEPTH_1U ? PnmKind::Pbm : PnmKind::Pgm;
    if (!nameMatches(a.files[0], kind, &error)) return usageError(error);

    ZolImage* image = makePattern(depth, width, height);
    if (!image) return kExitFailure;
    const int rc = writeImage(a.files[0], image);
    freeImage(image);
    return rc;
}

int cmdNot(const std::vector<std::string>& args) {
    Arguments a;
    std::string error;
    if (!splitArguments(args, {}, &a, &error)) return usageError(error);
    if (a.files.size() != 2) return usageError("'not' needs an input and an output file");
    ZolImage* src = readPnm(a.files[0], &error);
    if (!src) return failure(error);
    int rc = kExitFailure;
    if (!nameMatches(a.files[1], pnmKindOfImage(src, &error), &error)) {
        rc = usageError(error);
    } else if (ZolImage* dst = makeInverse(src)) {
        rc = writeImage(a.files[1], dst);
        freeImage(dst);
    }
    freeImage(src);
    return rc;
}

int cmdDemo(const std::vector<std::string>& args) {
    if (!args.empty()) return usageError("'demo' takes no arguments");
    const char* kPattern = "zol-demo-pattern.pgm";
    const char* kInverse = "zol-demo-inverse.pgm";
    ZolImage* pattern = makePattern(ZOL_DEPTH_8U, 640, 480);
    if (!pattern) return kExitFailure;
    int rc = writeImage(kPattern, pattern);
    if (rc == 0) {
        ZolImage* inverse = makeInverse(pattern);
        rc = inverse ? writeImage(kInverse, inverse) : kExitFailure;
        freeImage(inverse);
    }
    freeImage(pattern);
    if (rc != 0) return rc;
    std::error_code ec;
    for (const char* name : {kPattern, kInverse}) {
        const std::filesystem::path full = std::filesystem::absolute(name, ec);
        std::printf("%s\n", ec ? name : full.c_str());
    }
    return 0;
}

int run(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const std::string command = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    if (command == "help" || command == "--help" || command == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "version" || command == "--version") return cmdVersion(args);
    if (command == "pattern") return cmdPattern(args);
    if (command == "not") return cmdNot(args);
    if (command == "demo") return cmdDemo(args);
    return usageError("unknown command '" + command + "'");
}

}  // namespace

int main(int argc, char** argv) {
    // The library's default ends the process at the first failure; the tool
    // wants the report on stderr and the status back to choose its exit code.
    zolSetErrMode(ZOL_ErrModeParent);
    zolRedirectError(zolStdErrReport);
    int rc = run(argc, argv);
    // Output lost to a full disk or a closed pipe is a failure too.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "zol: cannot write to standard output\n");
        if (rc == 0) rc = kExitFailure;
    }
    return rc;
}
