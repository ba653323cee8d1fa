// Arithmetic commands: add, subtract, multiply; adds, subs, muls; abs, square.
#include "tool.h"

namespace zoltool {

void addArithCommands(CLI::App& app) {
    const char* group = "Arithmetic";
    addDyadicCommand(app, group, "add", "OUT = A + B, saturated (zolAdd)", "zolAdd", zolAdd);
    addDyadicCommand(app, group, "subtract", "OUT = A - B, saturated (zolSubtract)", "zolSubtract",
                     zolSubtract);
    addDyadicCommand(app, group, "multiply", "OUT = A * B, saturated (zolMultiply)", "zolMultiply",
                     zolMultiply);

    // Integer depths take the int functions, 32f the float ones.
    auto isFloat = [](const ZolImage* image) { return image->depth == ZOL_DEPTH_32F; };
    addConstantCommand(
        app, group, "adds", "OUT = IN + VALUE, saturated (zolAddS, zolAddSFP)",
        {[isFloat](ZolImage* s, ZolImage* d, double v, bool) {
             if (isFloat(s)) return zolAddSFP(s, d, float(v)), "zolAddSFP";
             return zolAddS(s, d, int(v)), "zolAddS";
         },
         ValueKind::Arithmetic});
    addConstantCommand(
        app, group, "subs", "OUT = IN - VALUE, saturated (zolSubtractS, zolSubtractSFP)",
        {[isFloat](ZolImage* s, ZolImage* d, double v, bool flip) {
             if (isFloat(s)) return zolSubtractSFP(s, d, float(v), flip), "zolSubtractSFP";
             return zolSubtractS(s, d, int(v), flip), "zolSubtractS";
         },
         ValueKind::Arithmetic, true});
    addConstantCommand(
        app, group, "muls", "OUT = IN * VALUE, saturated (zolMultiplyS, zolMultiplySFP)",
        {[isFloat](ZolImage* s, ZolImage* d, double v, bool) {
             if (isFloat(s)) return zolMultiplySFP(s, d, float(v)), "zolMultiplySFP";
             return zolMultiplyS(s, d, int(v)), "zolMultiplyS";
         },
         ValueKind::Arithmetic});

    addMonadicCommand(app, group, "abs", "OUT = |IN| on signed depths, a copy on others (zolAbs)",
                      "zolAbs", zolAbs);
    addMonadicCommand(app, group, "square", "OUT = IN * IN, saturated (zolSquare)", "zolSquare",
                      zolSquare);
}

}  // namespace zoltool
