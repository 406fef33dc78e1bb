#pragma once

#include <Tarn/Application/Monitor.h>

#include <vector>

namespace Tarn::Platform::Detail {

/// The module-wide monitor table.
std::vector<Monitor>& monitorTable();

} // namespace Tarn::Platform::Detail
