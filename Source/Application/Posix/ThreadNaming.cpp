#include "Application/Internal/ThreadNaming.h"

#include <cstring>
#include <pthread.h>

namespace Tarn::Platform::Detail {

namespace {

// The kernel keeps 15 characters plus the terminator and rejects longer names outright, so cut
// them, backing off to a UTF-8 lead byte rather than leaving half a character.
void setNativeName(pthread_t thread, const char* name) {
    constexpr std::size_t maxLength = 15;
    char cut[maxLength + 1];
    std::size_t length = strnlen(name, maxLength + 1);
    if (length > maxLength) {
        length = maxLength;
        while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    std::memcpy(cut, name, length);
    cut[length] = '\0';
    pthread_setname_np(thread, cut);
}

} // namespace

void setThreadName(std::uintptr_t thread, const char* name) {
    setNativeName(static_cast<pthread_t>(thread), name);
}

void setCurrentThreadName(const char* name) {
    setNativeName(pthread_self(), name);
}

} // namespace Tarn::Platform::Detail
