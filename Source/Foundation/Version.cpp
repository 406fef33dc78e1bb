#include <Tarn/Foundation/Version.h>

namespace Tarn {

FoundationVersion getFoundationVersion() {
    return {TARN_FOUNDATION_VERSION_MAJOR, TARN_FOUNDATION_VERSION_MINOR, TARN_FOUNDATION_VERSION_PATCH};
}

const char* getFoundationVersionString() {
    return TARN_FOUNDATION_VERSION_STRING;
}

} // namespace Tarn
