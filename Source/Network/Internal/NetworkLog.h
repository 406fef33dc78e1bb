#pragma once

#include <Tarn/Logging/Log.h>

namespace Tarn::Network::Detail {

/// The networking subsystem's log, "Connection".
inline const Logging::Log& connectionLog() {
    static const Logging::Log log("Connection");
    return log;
}

} // namespace Tarn::Network::Detail
