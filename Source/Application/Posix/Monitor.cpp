#include <Tarn/Application/Monitor.h>

#include "Application/Internal/MonitorTable.h"
#include "Application/Posix/X11Connection.h"

namespace Tarn {

// The monitors of RandR (1.5), in its order, named after their outputs ("DP-1", "HDMI-1"); the
// identifier is the name's atom, which stays the same while the monitor exists. A server without
// RandR gives one monitor covering the screen, named "screen", identified by the root window.
void Monitor::enumerate() {
    std::vector<Monitor>& table = Platform::Detail::monitorTable();
    table.clear();
    Platform::Detail::X11::Connection* connection = Platform::Detail::X11::connection();
    if (connection == nullptr) {
        return;
    }
    for (const Platform::Detail::X11::MonitorInfo& info : Platform::Detail::X11::monitors(*connection)) {
        Monitor entry;
        entry.identifier = reinterpret_cast<Identifier>(static_cast<uintptr_t>(info.name));
        entry.name = info.nameText;
        entry.position = info.position;
        entry.size = info.size;
        table.push_back(std::move(entry));
    }
    if (table.empty()) {
        Display* display = connection->display;
        const int screen = DefaultScreen(display);
        Monitor entry;
        entry.identifier = reinterpret_cast<Identifier>(static_cast<uintptr_t>(RootWindow(display, screen)));
        entry.name = "screen";
        entry.size = {DisplayWidth(display, screen), DisplayHeight(display, screen)};
        table.push_back(std::move(entry));
    }
}

} // namespace Tarn
