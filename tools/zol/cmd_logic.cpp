// Logic commands: and, or, xor; ands, ors, xors; shl, shr; not.
#include <cstdint>

#include "tool.h"

namespace zoltool {
namespace {

// The 32-bit pattern of a value from -2^31 to 2^32 - 1.
uint32_t bits(double v) {
    return v < 0 ? uint32_t(int32_t(v)) : uint32_t(v);
}

}  // namespace

void addLogicCommands(CLI::App& app) {
    const char* group = "Logic";
    addDyadicCommand(app, group, "and", "OUT = A AND B, bit by bit (zolAnd)", "zolAnd", zolAnd);
    addDyadicCommand(app, group, "or", "OUT = A OR B (zolOr)", "zolOr", zolOr);
    addDyadicCommand(app, group, "xor", "OUT = A XOR B (zolXor)", "zolXor", zolXor);
    addConstantCommand(app, group, "ands", "OUT = IN AND VALUE (zolAndS)",
                       {[](ZolImage* s, ZolImage* d, double v, bool) {
                            return zolAndS(s, d, bits(v)), "zolAndS";
                        },
                        ValueKind::Bits});
    addConstantCommand(app, group, "ors", "OUT = IN OR VALUE (zolOrS)",
                       {[](ZolImage* s, ZolImage* d, double v, bool) {
                            return zolOrS(s, d, bits(v)), "zolOrS";
                        },
                        ValueKind::Bits});
    addConstantCommand(app, group, "xors", "OUT = IN XOR VALUE (zolXorS)",
                       {[](ZolImage* s, ZolImage* d, double v, bool) {
                            return zolXorS(s, d, bits(v)), "zolXorS";
                        },
                        ValueKind::Bits});
    addConstantCommand(app, group, "shl", "OUT = IN << COUNT (zolLShiftS)",
                       {[](ZolImage* s, ZolImage* d, double v, bool) {
                            return zolLShiftS(s, d, bits(v)), "zolLShiftS";
                        },
                        ValueKind::Count});
    addConstantCommand(app, group, "shr",
                       "OUT = IN >> COUNT, arithmetic on signed depths (zolRShiftS)",
                       {[](ZolImage* s, ZolImage* d, double v, bool) {
                            return zolRShiftS(s, d, bits(v)), "zolRShiftS";
                        },
                        ValueKind::Count});
    addMonadicCommand(app, group, "not", "OUT = NOT IN, every bit inverted (zolNot)", "zolNot",
                      zolNot);
}

}  // namespace zoltool
