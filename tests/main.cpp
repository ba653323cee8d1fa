// Test entry: --zol-form=NAME caps the kernel forms for the whole run, NAME
// being plain or a compiled form (sse4, avx2, avx3, avx3_dl, neon).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "core/simd.h"
#include "zol.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        constexpr const char kFlag[] = "--zol-form=";
        if (std::strncmp(argv[i], kFlag, sizeof kFlag - 1) != 0) continue;
        zol::Form cap;
        if (!zol::formFromName(argv[i] + sizeof kFlag - 1, cap) || !zol::formCompiled(cap)) {
            std::fprintf(stderr, "%s: no such form in this build\n", argv[i]);
            return 2;
        }
        zol::setFormCap(cap);
    }
    // Failures in tests must come back to the test, never end it.
    zolSetErrMode(ZOL_ErrModeSilent);
    std::printf("kernel form: %s\n", zol::formName(zol::activeForm()));
    return RUN_ALL_TESTS();
}
