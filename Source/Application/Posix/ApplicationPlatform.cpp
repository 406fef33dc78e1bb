#include "Application/Internal/ApplicationPlatform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Tarn::Platform::Detail {

namespace {

// No window backend yet: nothing is ever pending, so the pump is the update loop.
class NoEvents final : public EventSource {
public:
    Poll dispatchOne() override { return Poll::Empty; }
};

} // namespace

void setUpDisplayAndPointer() {}

bool isDebuggerAttached() {
    // A debugger is a tracer; the kernel names it in the process status.
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (status == nullptr) {
        return false;
    }
    char line[256];
    bool traced = false;
    while (std::fgets(line, sizeof(line), status) != nullptr) {
        if (std::strncmp(line, "TracerPid:", 10) == 0) {
            traced = std::strtol(line + 10, nullptr, 10) != 0;
            break;
        }
    }
    std::fclose(status);
    return traced;
}

EventSource& threadEventSource() {
    static NoEvents none;
    return none;
}

} // namespace Tarn::Platform::Detail
