#include <Tarn/Application/PlatformContext.h>

namespace Tarn {

PlatformContext::~PlatformContext() = default;

} // namespace Tarn
