// Test entry: --zol-form=plain|sse2|avx2 caps the kernel forms for the whole run.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/cpu.h"
#include "zol.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--zol-form=plain") zol::setFormCap(zol::Form::Plain);
        else if (a == "--zol-form=sse2") zol::setFormCap(zol::Form::SSE2);
        else if (a == "--zol-form=avx2") zol::setFormCap(zol::Form::AVX2);
    }
    // Failures in tests must come back to the test, never end it.
    zolSetErrMode(ZOL_ErrModeSilent);
    std::printf("kernel form: %s\n", zol::formName(zol::activeForm()));
    return RUN_ALL_TESTS();
}
