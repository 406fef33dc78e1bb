#include <Tarn/Foundation/Assert.h>

#include <atomic>
#include <cstdio>

namespace Tarn {
namespace {

void defaultAssertHandler(const char* condition, const char* file, int line) {
    // One write so that lines from concurrent threads do not interleave.
    std::fprintf(stderr, "%s(%d): Assertion failed: %s\n", file, line, condition);
    std::fflush(stderr);
}

std::atomic<AssertHandler> currentHandler{&defaultAssertHandler};

} // namespace

AssertHandler setAssertHandler(AssertHandler handler) {
    return currentHandler.exchange(handler ? handler : &defaultAssertHandler);
}

AssertHandler getAssertHandler() {
    return currentHandler.load();
}

void reportAssertion(const char* condition, const char* file, int line) {
    currentHandler.load()(condition, file, line);
}

bool areAssertionsEnabled() {
#if defined(TARN_ENABLE_ASSERTIONS)
    return true;
#else
    return false;
#endif
}

} // namespace Tarn
