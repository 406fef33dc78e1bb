#include <Tarn/Application/Monitor.h>

#include "Application/Internal/MonitorTable.h"

namespace Tarn {

// No window backend on Linux yet: the table is rebuilt, empty.
void Monitor::enumerate() {
    Platform::Detail::monitorTable().clear();
}

} // namespace Tarn
