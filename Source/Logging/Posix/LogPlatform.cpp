#include "Logging/Internal/LogPlatform.h"

#include <time.h>

namespace Tarn::Logging::Detail {

void enableConsoleEscapes() {}

bool localTime(std::time_t seconds, std::tm& result) {
    return localtime_r(&seconds, &result) != nullptr;
}

std::FILE* openLogFile(const std::string& path) {
    return std::fopen(path.c_str(), "w");
}

} // namespace Tarn::Logging::Detail
