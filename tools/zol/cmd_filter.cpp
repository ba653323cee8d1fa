// Convolution commands: convolve (one call with one or more kernels) and
// sepconvolve (a row and a column kernel).
#include <cmath>
#include <memory>

#include "tool.h"

namespace zoltool {

bool parseMatrix(const std::string& text, std::vector<std::vector<double>>* rows,
                 std::string* error) {
    rows->clear();
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(';', start);
        if (end == std::string::npos) end = text.size();
        std::vector<double> row;
        std::string field;
        const std::string part = text.substr(start, end - start) + " ";
        for (char ch : part) {
            if (ch == ' ' || ch == ',' || ch == '\t') {
                if (field.empty()) continue;
                double v;
                if (!parseNumber(field, &v)) {
                    *error = "'" + field + "' in '" + text + "' is not a number";
                    return false;
                }
                row.push_back(v);
                field.clear();
            } else {
                field += ch;
            }
        }
        if (row.empty() || (!rows->empty() && row.size() != rows->front().size())) {
            *error = "'" + text + "' is not a matrix: rows of numbers split by ';', all as long";
            return false;
        }
        rows->push_back(row);
        start = end + 1;
    }
    return true;
}

namespace {

struct Border {
    int mode = -1;  // -1: keep the image's own rules
    int value = 0;
};

std::string parseBorder(const std::string& text, Border* border) {
    static const struct {
        const char* name;
        int mode;
    } kModes[] = {{"replicate", ZOL_BORDER_REPLICATE},
                  {"reflect", ZOL_BORDER_REFLECT},
                  {"wrap", ZOL_BORDER_WRAP}};
    for (const auto& m : kModes)
        if (text == m.name) return border->mode = m.mode, "";
    double v;
    if (text.rfind("constant:", 0) == 0 && parseNumber(text.substr(9), &v) &&
        std::floor(v) == v && std::fabs(v) <= 2147483647.0) {
        border->mode = ZOL_BORDER_CONSTANT;
        border->value = int(v);
        return "";
    }
    return "bad border '" + text + "' (constant:V, replicate, reflect, wrap)";
}

void applyBorder(ZolImage* image, const Border& border) {
    if (border.mode >= 0)
        zolSetBorderMode(image, border.mode,
                         ZOL_SIDE_TOP | ZOL_SIDE_BOTTOM | ZOL_SIDE_LEFT | ZOL_SIDE_RIGHT,
                         border.value);
}

int methodOfName(const std::string& name) {
    static const char* kNames[] = {"sum", "sumsq", "sqrt", "max", "min"};
    for (int i = 0; i < 5; ++i)
        if (name == kNames[i]) return i;  // ZOL_COMBINE_SUM ... ZOL_COMBINE_MIN
    return -1;
}

struct KernelDeleter {
    void operator()(ZolConvKernel* k) const { zolDeleteConvKernel(k); }
    void operator()(ZolConvKernelFP* k) const { zolDeleteConvKernelFP(k); }
};

struct ConvolveArgs {
    ImageOptions options;
    std::string input, output, anchor = "", method = "sum", border;
    std::vector<std::string> kernels;
    int shift = 0;
};

// The anchor of a kernel: --anchor, or the centre.
bool anchorOf(const std::string& text, int cols, int rows, int* ax, int* ay) {
    if (text.empty()) {
        *ax = cols / 2;
        *ay = rows / 2;
        return true;
    }
    return std::sscanf(text.c_str(), "%d,%d", ax, ay) == 2 && *ax >= 0 && *ay >= 0 && *ax < cols &&
           *ay < rows;
}

int runConvolve(const CLI::App* c, const ConvolveArgs& a) {
    const int method = methodOfName(a.method);
    if (method < 0) return usageFail(c, "bad --method '" + a.method + "' (sum, sumsq, sqrt, max, min)");
    Border border;
    if (!a.border.empty()) {
        const std::string error = parseBorder(a.border, &border);
        if (!error.empty()) return usageFail(c, error);
    }
    if (a.kernels.size() > 10) return usageFail(c, "at most 10 kernels");
    std::vector<std::vector<std::vector<double>>> matrices(a.kernels.size());
    for (size_t i = 0; i < a.kernels.size(); ++i) {
        std::string error;
        if (!parseMatrix(a.kernels[i], &matrices[i], &error)) return usageFail(c, "--kernel: " + error);
        int ax, ay;
        if (!anchorOf(a.anchor, int(matrices[i][0].size()), int(matrices[i].size()), &ax, &ay))
            return usageFail(c, "--anchor '" + a.anchor + "' is not X,Y inside the kernel");
    }
    std::vector<std::unique_ptr<ZolConvKernel, KernelDeleter>> ints;
    std::vector<std::unique_ptr<ZolConvKernelFP, KernelDeleter>> floats;
    std::vector<ZolConvKernel*> intPtrs;
    std::vector<ZolConvKernelFP*> floatPtrs;
    auto called = std::make_shared<std::string>("zolConvolve2D");
    auto check = [&](const ZolImage* first) {
        const bool fp = first->depth == ZOL_DEPTH_32F;
        for (const auto& m : matrices) {
            const int rows = int(m.size()), cols = int(m[0].size());
            int ax, ay;
            anchorOf(a.anchor, cols, rows, &ax, &ay);
            std::vector<int> iv;
            std::vector<float> fv;
            for (const auto& row : m)
                for (double v : row) {
                    if (!fp && (std::floor(v) != v || std::fabs(v) > 2147483647.0))
                        return usageFail(c, "--kernel values must be whole numbers on " +
                                                std::string(depthName(first->depth)) +
                                                " images (fractions need --depth 32f)");
                    iv.push_back(int(v));
                    fv.push_back(float(v));
                }
            zolSetErrStatus(0);
            if (fp) {
                floats.emplace_back(zolCreateConvKernelFP(cols, rows, ax, ay, fv.data()));
                floatPtrs.push_back(floats.back().get());
            } else {
                ints.emplace_back(zolCreateConvKernel(cols, rows, ax, ay, iv.data(), a.shift));
                intPtrs.push_back(ints.back().get());
            }
            if (libraryFailed(fp ? "zolCreateConvKernelFP" : "zolCreateConvKernel"))
                return kExitFailure;
        }
        if (fp) *called = "zolConvolve2DFP";
        return 0;
    };
    return runImageCommand(
        c, a.options, {a.input}, a.output, *called,
        [&](std::vector<ZolImage*>& s, ZolImage* d) {
            applyBorder(s[0], border);
            if (!floatPtrs.empty())
                zolConvolve2DFP(s[0], d, floatPtrs.data(), int(floatPtrs.size()), method);
            else
                zolConvolve2D(s[0], d, intPtrs.data(), int(intPtrs.size()), method);
        },
        check);
}

struct SepArgs {
    ImageOptions options;
    std::string input, output, x, y, border;
    int shift = 0;
};

// One row of numbers as a kernel of n x 1 (row) or 1 x n (column).
std::unique_ptr<ZolConvKernel, KernelDeleter> lineKernel(const std::string& text, bool column,
                                                         int shift, std::string* error) {
    std::vector<std::vector<double>> m;
    if (!parseMatrix(text, &m, error)) return nullptr;
    if (m.size() != 1) {
        *error = "'" + text + "' must be one row of numbers";
        return nullptr;
    }
    std::vector<int> v;
    for (double x : m[0]) {
        if (std::floor(x) != x || std::fabs(x) > 2147483647.0) {
            *error = "'" + text + "' must hold whole numbers";
            return nullptr;
        }
        v.push_back(int(x));
    }
    const int n = int(v.size());
    zolSetErrStatus(0);
    return std::unique_ptr<ZolConvKernel, KernelDeleter>(
        column ? zolCreateConvKernel(1, n, 0, n / 2, v.data(), shift)
               : zolCreateConvKernel(n, 1, n / 2, 0, v.data(), shift));
}

int runSep(const CLI::App* c, const SepArgs& a) {
    Border border;
    if (!a.border.empty()) {
        const std::string error = parseBorder(a.border, &border);
        if (!error.empty()) return usageFail(c, error);
    }
    std::string error;
    // The whole shift goes with the row kernel.
    auto x = lineKernel(a.x, false, a.shift, &error);
    if (!error.empty()) return usageFail(c, "--x: " + error);
    if (libraryFailed("zolCreateConvKernel")) return kExitFailure;
    auto y = lineKernel(a.y, true, 0, &error);
    if (!error.empty()) return usageFail(c, "--y: " + error);
    if (libraryFailed("zolCreateConvKernel")) return kExitFailure;
    return runImageCommand(c, a.options, {a.input}, a.output, "zolConvolveSep2D",
                           [&](std::vector<ZolImage*>& s, ZolImage* d) {
                               applyBorder(s[0], border);
                               zolConvolveSep2D(s[0], d, x.get(), y.get());
                           });
}

void addFilePair(CLI::App* c, std::string& in, std::string& out) {
    c->add_option("IN", in, "the input")->required()->type_name("");
    c->add_option("OUT", out, "the output file")->required()->type_name("");
}

}  // namespace

void addFilterCommands(CLI::App& app) {
    const char* group = "Convolution";
    auto a = std::make_shared<ConvolveArgs>();
    CLI::App* c = addCommand(app, group, "convolve",
                             "OUT = IN convolved with each --kernel, results combined by --method "
                             "(zolConvolve2D, zolConvolve2DFP on 32f)",
                             [a](const CLI::App* c) { return runConvolve(c, *a); });
    addImageOptions(c, a->options);
    c->add_option("--kernel", a->kernels,
                  "a kernel, rows split by ';' (\"1 2 1;2 4 2;1 2 1\"); up to 10")
        ->required()
        ->type_name("K");
    c->add_option("--shift", a->shift, "right shift of each kernel's sum (integer depths)")
        ->check(CLI::Range(0, 31).description(""))
        ->type_name("N");
    c->add_option("--anchor", a->anchor, "the output pixel's place in the kernel (default: centre)")
        ->type_name("X,Y");
    c->add_option("--method", a->method, "how several kernels combine: sum, sumsq, sqrt, max, min")
        ->type_name("M");
    c->add_option("--border", a->border, "read beyond the edges as constant:V, replicate, reflect, wrap")
        ->type_name("B");
    addFilePair(c, a->input, a->output);

    auto s = std::make_shared<SepArgs>();
    c = addCommand(app, group, "sepconvolve",
                   "OUT = IN convolved with the row kernel --x and the column kernel --y "
                   "(zolConvolveSep2D)",
                   [s](const CLI::App* c) { return runSep(c, *s); });
    addImageOptions(c, s->options);
    c->add_option("--x", s->x, "the row kernel (\"1 2 1\")")->required()->type_name("K");
    c->add_option("--y", s->y, "the column kernel")->required()->type_name("K");
    c->add_option("--shift", s->shift, "right shift of the result")
        ->check(CLI::Range(0, 31).description(""))
        ->type_name("N");
    c->add_option("--border", s->border, "read beyond the edges as constant:V, replicate, reflect, wrap")
        ->type_name("B");
    addFilePair(c, s->input, s->output);
}

}  // namespace zoltool
