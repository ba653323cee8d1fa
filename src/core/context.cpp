// Thread contexts: one record per thread in a pthread key, created when the
// library loads (for the loading thread) or lazily on a thread's first call,
// and released when the thread exits.
#include "core/context.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>

#include "core/messages.h"

namespace zol {

namespace {

pthread_key_t gKey;
pthread_once_t gOnce = PTHREAD_ONCE_INIT;
bool gKeyMade = false;

void releaseContext(void* p) {
    auto* ctx = static_cast<ZolThreadContext*>(p);
    if (!ctx) return;
    ownFftFreeTables(ctx);
    ownDctFreeTables(ctx);
    std::free(ctx);
}

void makeKey() { gKeyMade = pthread_key_create(&gKey, releaseContext) == 0; }

[[noreturn]] void fatal() {
    std::fputs(msg::kFatalContext, stderr);
    std::fflush(stderr);
    std::abort();
}

ZolThreadContext* createContext() {
    auto* ctx = static_cast<ZolThreadContext*>(std::calloc(1, sizeof(ZolThreadContext)));
    if (!ctx) return nullptr;
    ctx->status = 0;
    ctx->errMode = ZOL_ErrModeLeaf;
    ctx->reportHandler = zolGuiBoxReport;
    ctx->cosTableSize = -1;
    return ctx;
}

// Process attach: the key and the loading thread's context.
__attribute__((constructor)) void libraryLoad() {
    pthread_once(&gOnce, makeKey);
    if (gKeyMade && !pthread_getspecific(gKey)) {
        if (ZolThreadContext* ctx = createContext()) pthread_setspecific(gKey, ctx);
    }
}

// Process detach: the calling thread's context, then the key.
__attribute__((destructor)) void libraryUnload() {
    if (!gKeyMade) return;
    void* p = pthread_getspecific(gKey);
    pthread_setspecific(gKey, nullptr);
    releaseContext(p);
    pthread_key_delete(gKey);
    gKeyMade = false;
}

}  // namespace

ZolThreadContext* ownGetContext() {
    pthread_once(&gOnce, makeKey);
    if (!gKeyMade) makeKey();  // only after the library was unloaded
    if (!gKeyMade) fatal();
    if (void* p = pthread_getspecific(gKey)) return static_cast<ZolThreadContext*>(p);
    ZolThreadContext* ctx = createContext();
    if (!ctx || pthread_setspecific(gKey, ctx) != 0) {
        std::free(ctx);
        fatal();
    }
    return ctx;
}

}  // namespace zol
