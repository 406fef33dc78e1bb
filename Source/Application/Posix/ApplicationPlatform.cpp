#include "Application/Internal/ApplicationPlatform.h"
#include "Application/Posix/X11Connection.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Tarn::Platform::Detail {

namespace {

// The X events of the library's display connection. Until a window or monitor query opens it,
// nothing is ever pending and the pump is the plain update loop.
class X11Events final : public EventSource {
public:
    Poll dispatchOne() override {
        X11::Connection* connection = X11::existingConnection();
        // XPending flushes and reads what has arrived without waiting for more.
        if (connection == nullptr || XPending(connection->display) == 0) {
            return Poll::Empty;
        }
        XEvent event{};
        XNextEvent(connection->display, &event);
        return dispatchX11Event(*connection, event);
    }
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
    static X11Events events;
    return events;
}

} // namespace Tarn::Platform::Detail
