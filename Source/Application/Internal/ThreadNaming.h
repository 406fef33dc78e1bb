#pragma once

#include <cstdint>

// Thread naming differs per platform; the backends implement these.
namespace Tarn::Platform::Detail {

/// `thread` is a kernel HANDLE on Windows and a pthread_t elsewhere.
void setThreadName(std::uintptr_t thread, const char* name);
void setCurrentThreadName(const char* name);

} // namespace Tarn::Platform::Detail
