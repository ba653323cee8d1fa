#include "core/context.h"
namespace zol {
void ownDctFreeTables(ZolThreadContext*) {}
}
