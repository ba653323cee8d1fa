// Status storage, handlers, status texts, the error box, per-thread contexts
// and the version record.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "core/report.h"
#include "kit.h"

namespace {

struct ModeGuard {  // the suite runs silent; a test that changes it restores it
    explicit ModeGuard(int mode) { zolSetErrMode(mode); }
    ~ModeGuard() { zolSetErrMode(ZOL_ErrModeSilent); }
};

template <class F>
std::string stderrOf(F&& f) {
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}

// Captures the boxes of zolGuiBoxReport and answers them; death tests read
// them from the child's standard error.
std::vector<std::string> gBoxes;  // "type|caption|text"
int gAnswer = 0;
int presenter(const char* text, const char* caption, unsigned type) {
    gBoxes.push_back(std::to_string(type) + "|" + caption + "|" + text);
    std::fprintf(stderr, "<%s>", gBoxes.back().c_str());
    return type == zol::kBoxInformation ? zol::kIdOk : gAnswer;
}
struct BoxCapture {
    explicit BoxCapture(int answer) {
        gBoxes.clear(), gAnswer = answer, zol::setBoxPresenter(presenter);
    }
    ~BoxCapture() { zol::setBoxPresenter(nullptr); }
};

int answer42(int, const char*, const char*, const char*, int) { return 42; }
int answerStatus(int s, const char*, const char*, const char*, int) { return s; }

}  // namespace

TEST(Report, ErrorStoresAllButTracesAndCallsHandlerUnlessZero) {
    kit::Recorder rec;
    EXPECT_EQ(-5, zolError(-5, "f", "c", "x.c", 1));
    for (int trace : {-1, -8}) {
        EXPECT_EQ(trace, zolError(trace, "g", "", "x.c", 2));
        EXPECT_EQ(-5, zolGetErrStatus()) << "a trace keeps the first fault";
    }
    ASSERT_EQ(3u, rec.reports().size());
    EXPECT_EQ(-8, rec.reports()[2].status);
    zolError(3, "f", "c", "x.c", 1);
    EXPECT_EQ(3, zolGetErrStatus());
    rec.clear();
    EXPECT_EQ(0, zolError(0, "f", "c", "x.c", 1));
    EXPECT_EQ(0, zolGetErrStatus());
    EXPECT_TRUE(rec.none());
    zolRedirectError(answer42);
    EXPECT_EQ(42, zolError(-3, "f", "c", "x.c", 1));
    EXPECT_EQ(-3, zolGetErrStatus());
}

TEST(Report, RedirectReturnsPreviousAndNullRestoresTheBox) {
    const ZolReportHandler original = zolRedirectError(answer42);
    EXPECT_EQ(answer42, zolRedirectError(answerStatus));
    EXPECT_EQ(answerStatus, zolRedirectError(nullptr));
    EXPECT_EQ(zolGuiBoxReport, zolRedirectError(original));
}

TEST(Report, StatusTexts) {
    const std::pair<int, const char*> texts[] = {
        {0, "No Error"}, {-1, "Backtrace"}, {-4, "Out of memory"},
        {-10, "Incorrect image size"}, {-22, "Null pointer to callback function"},
        {-25, "Incorrect size of ROI in the image header"}, {-26, "Mask image is taled"},
        {-117, "Mask. Incorrect depth value in the image header"},
        {-12, "One from two pointers should be null, and other should be not null, imageData "
              "or tileInfo "},
    };
    for (const auto& [code, text] : texts) EXPECT_STREQ(text, zolErrorStr(code)) << code;
    for (int code : {-2, 1, -27, -109, -122, -123, -126, INT_MIN})
        EXPECT_STREQ("Unknown error or status code", zolErrorStr(code)) << code;
    // The mask texts are the plain texts with a prefix, in one stored string.
    for (int code : {-10, -11, -12, -13, -14, -15, -16, -17, -18, -19, -20, -21, -24, -25})
        EXPECT_EQ(zolErrorStr(code) - 6, zolErrorStr(code - 100)) << code;
    EXPECT_STREQ("Mask. Null pointer to an image header", zolErrorStr(-9) - 6);
}

TEST(Report, StdErrWritesTheDocumentedBytes) {
    ModeGuard parent(ZOL_ErrModeParent);
    auto first = [](const char* text) {
        return "\nZOL Library Error: " + std::string(text) + " \n\tin function";
    };
    const struct {
        int status;
        const char *func, *context, *file;
        int line;
        std::string out;
    } cases[] = {
        {-5, "zolAdd", "Incorrect Image", "src/a.cpp", 12,
         first("Bad argument") + " [src/a.cpp:12]:zolAdd(): Incorrect Image\n"},
        {-1, "zolOr", "error_zolAnd", "f.c", 3, "\tcalled from [f.c:3]:zolOr(): error_zolAnd\n"},
        {-8, "fn", "ctx", "f.c", 3, "\tcalled from [f.c:3]:fn(ctx)\n"},
        {-8, "fn", nullptr, "f.c", 0, "\tcalled from [f.c:0]:fn\n"},
        {-4, nullptr, nullptr, nullptr, 0, first("Out of memory") + ":<unknown>\n"},
        {-4, "f", "c", nullptr, 7, first("Out of memory") + " [(null):7]:f(): c\n"},
        {-10, "f", "", nullptr, -3, first("Incorrect image size") + ":f(): \n"},
    };
    for (const auto& c : cases) {
        int r = 0;
        EXPECT_EQ(c.out, stderrOf([&] { r = zolStdErrReport(c.status, c.func, c.context, c.file,
                                                            c.line); }));
        EXPECT_EQ(c.status, r);
    }
    // An out-of-range mode reports like parent; through zolError too.
    zolSetErrMode(5);
    const ZolReportHandler old = zolRedirectError(zolStdErrReport);
    EXPECT_EQ("\tcalled from [a:1]:g(): \n",
              stderrOf([] { EXPECT_EQ(-1, zolError(-1, "g", "", "a", 1)); }));
    zolRedirectError(old);
    EXPECT_EQ("", stderrOf([] { EXPECT_EQ(-7, zolNulDevReport(-7, "f", "c", "x", 1)); }));
    zolSetErrMode(ZOL_ErrModeSilent);
    for (auto h : {zolStdErrReport, zolGuiBoxReport})
        EXPECT_EQ("", stderrOf([&] { EXPECT_EQ(-7, h(-7, "f", "c", "x", 1)); }));
}

TEST(ReportDeathTest, LeafModeEndsTheProcess) {
    EXPECT_EXIT((zolSetErrMode(ZOL_ErrModeLeaf), zolStdErrReport(-5, "f", "c", "x", 1)),
                testing::ExitedWithCode(1),
                "^\nZOL Library Error: Bad argument \n\tin function \\[x:1\\]:f\\(\\): c\n"
                "ZOL Library Error\nErrMode=ZOL_ErrModeLeaf\nterminating the application$");
    EXPECT_EXIT((zolSetErrMode(ZOL_ErrModeLeaf), zolNulDevReport(-5, "f", "c", "x", 1)),
                testing::ExitedWithCode(1), "^$");
}

TEST(Report, BoxTextCaptionTypeAndAnswers) {
    const std::string head = "|ZOL v2.0 Beta 2|", tail = "\n\nErrMode=ZOL_ErrorModeLeaf\n\n";
    {
        ModeGuard leaf(ZOL_ErrModeLeaf);
        BoxCapture cap(zol::kIdNo);
        stderrOf([] {
            EXPECT_EQ(-5, zolGuiBoxReport(-5, "zolAdd", "(a != b)", "src/x.cpp", 42));
            EXPECT_EQ(-8, zolGuiBoxReport(-8, "zolTrace", "here", "t.c", 7));
        });
        EXPECT_EQ((std::vector<std::string>{
                      std::to_string(zol::kBoxYesNo) + head +
                          "In function zolAdd(): [file src/x.cpp, line 42]\n(a != b)\n\nBad "
                          "argument\n(status: -5)" + tail + "Terminate the application?",
                      std::to_string(zol::kBoxYesNo) + head +
                          "Called from zolTrace(): [file t.c, line 7]\nhere\n\nAutotrace call\n"
                          "(status: -8)" + tail + "Terminate the application?"}),
                  gBoxes);
    }
    {
        ModeGuard parent(ZOL_ErrModeParent);
        BoxCapture cap(zol::kIdOk);
        stderrOf([] { EXPECT_EQ(-1, zolGuiBoxReport(-1, nullptr, nullptr, nullptr, -4)); });
        EXPECT_EQ((std::vector<std::string>{
                      std::to_string(zol::kBoxOkCancel) + head +
                      "Called from <unknown>(): [file , line 0]\n\n\nBacktrace\n(status: -1)"
                      "\n\nErrMode=ZOL_ErrorModeParent\n\nContinue?"}),
                  gBoxes);
    }
    for (int mode : {5, ZOL_ErrModeSilent}) {
        ModeGuard other(mode);
        BoxCapture cap(zol::kIdCancel);
        EXPECT_EQ(-5, zolGuiBoxReport(-5, "f", "c", "x", 1));
        EXPECT_TRUE(gBoxes.empty()) << mode;
    }
}

TEST(ReportDeathTest, BoxAnswersThatEndTheProcess) {
    // The question box (type 0x2014 or 0x2011), then the notice box 0x2040.
    const std::pair<int, int> endings[] = {{ZOL_ErrModeLeaf, zol::kIdYes},
                                           {ZOL_ErrModeParent, zol::kIdCancel}};
    for (const auto& [mode, answer] : endings) {
        EXPECT_EXIT({
            zolSetErrMode(mode);
            BoxCapture cap(answer);
            zolGuiBoxReport(-5, "f", "c", "x", 1);
        },
                    testing::ExitedWithCode(1),
                    std::string("^<") + (mode == ZOL_ErrModeLeaf ? "8212" : "8209") +
                        "\\|ZOL v2.0 Beta 2\\|In function f.*<8256\\|Win32: Application exit"
                        "\\|ZOL Library: terminating the application>$");
    }
}

TEST(Report, ThreadsKeepTheirOwnContext) {
    zolSetErrStatus(-9);
    // A new thread starts with the defaults whatever its creator set.
    std::thread([] {
        EXPECT_EQ(0, zolGetErrStatus());
        EXPECT_EQ(ZOL_ErrModeLeaf, zolGetErrMode());
        EXPECT_EQ(zolGuiBoxReport, zolRedirectError(nullptr));
    }).join();
    std::atomic<int> ready{0};
    auto worker = [&ready](int status, int mode, ZolReportHandler h, int expectReturn) {
        zolSetErrStatus(status);
        zolSetErrMode(mode);
        zolRedirectError(h);
        ++ready;
        while (ready.load() < 2) std::this_thread::yield();  // both have set theirs
        EXPECT_EQ(status, zolGetErrStatus());
        EXPECT_EQ(mode, zolGetErrMode());
        EXPECT_EQ(expectReturn, zolError(-3, "f", "c", "x", 1));
    };
    std::thread a(worker, -3, ZOL_ErrModeParent, answer42, 42);
    std::thread b(worker, -7, ZOL_ErrModeSilent, answerStatus, -3);
    a.join(), b.join();
    EXPECT_EQ(-9, zolGetErrStatus());
    EXPECT_EQ(ZOL_ErrModeSilent, zolGetErrMode());
    zolSetErrStatus(0);
    // Each thread's context is released when it ends; the leak checker of the
    // sanitizer build would report the records otherwise.
    for (int i = 0; i < 50; ++i)
        std::thread([i] { zolSetErrMode(ZOL_ErrModeSilent), zolError(-i - 3, "f", "c", "x", 1); })
            .join();
}

TEST(Report, VersionRecord) {
    const ZolLibVersion* v = zolGetLibVersion();
    ASSERT_TRUE(v && v == zolGetLibVersion() && v->major == 2 && v->minor == 0 && v->build == 10);
    EXPECT_EQ((std::vector<std::string>{"zolA1.dll", "v2.0 Beta 2", "[2.0.10, 06/01/98]",
                                        "Jun  1 1998", "DLL"}),
              (std::vector<std::string>{v->libraryName, v->versionText, v->internalVersion,
                                        v->buildDate, v->linkage}));
}
