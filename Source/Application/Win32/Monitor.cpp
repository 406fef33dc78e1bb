#include <Tarn/Application/Monitor.h>
#include <Tarn/Strings/TextConversion.h>

#include "Application/Internal/MonitorTable.h"

#include <windows.h>

#include <type_traits>

namespace Tarn {

// The header spells the callback without <windows.h>; it must still be a MONITORENUMPROC.
static_assert(std::is_same_v<Monitor::Identifier, HMONITOR>);
static_assert(std::is_same_v<LPARAM, long long> && std::is_same_v<BOOL, int>);
static_assert(sizeof(MONITORINFOEXW) == 104);

void Monitor::enumerate() {
    Platform::Detail::monitorTable().clear();
    EnumDisplayMonitors(nullptr, nullptr, &Monitor::callback, 0);
}

BOOL CALLBACK Monitor::callback(HMONITOR monitor, HDC, LPRECT rectangle, LPARAM) {
    Monitor entry;
    entry.identifier = monitor;
    MONITORINFOEXW info{};
    info.cbSize = sizeof(info);
    if (GetMonitorInfoW(monitor, &info) != 0) {
        entry.name = narrow(info.szDevice);
    }
    if (rectangle != nullptr) {
        entry.position = {rectangle->left, rectangle->top};
        entry.size = {rectangle->right - rectangle->left, rectangle->bottom - rectangle->top};
    }
    Platform::Detail::monitorTable().push_back(std::move(entry));
    return TRUE;
}

} // namespace Tarn
