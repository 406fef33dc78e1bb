#include <Tarn/Application/Monitor.h>

#include "Application/Internal/MonitorTable.h"

namespace Tarn {

namespace Platform::Detail {

std::vector<Monitor>& monitorTable() {
    static std::vector<Monitor> table;
    return table;
}

} // namespace Platform::Detail

uint64_t Monitor::getCount() {
    return Platform::Detail::monitorTable().size();
}

const Monitor& Monitor::get(uint64_t index) {
    return Platform::Detail::monitorTable()[index];
}

const Monitor* Monitor::findByName(StringView name) {
    for (const Monitor& monitor : Platform::Detail::monitorTable()) {
        if (StringView(monitor.name) == name) {
            return &monitor;
        }
    }
    return nullptr;
}

const Monitor* Monitor::findFromPoint(const glm::ivec2& point) {
    for (const Monitor& monitor : Platform::Detail::monitorTable()) {
        // In 64 bits, so that a monitor at the far end of the coordinate range cannot overflow.
        const int64_t left = monitor.position.x;
        const int64_t top = monitor.position.y;
        if (left <= point.x && point.x < left + monitor.size.x && top <= point.y &&
            point.y < top + monitor.size.y) {
            return &monitor;
        }
    }
    return nullptr;
}

glm::ivec2 Monitor::getCentre() const {
    return {position.x + size.x / 2, position.y + size.y / 2};
}

} // namespace Tarn
