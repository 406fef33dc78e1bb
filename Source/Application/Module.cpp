#include <Tarn/Application/Module.h>
#include <Tarn/Logging/Log.h>

#include "Application/Internal/ModuleLoader.h"

namespace Tarn {

namespace {
const Logging::Log moduleLog("Module");
}

Module::~Module() = default;

void Module::load(StringView name, LoadStatus& status, Handle& handle) {
    const Platform::Detail::LibraryName library = Platform::Detail::libraryFileName(name);
    Platform::Detail::LoadError error;
    handle = Platform::Detail::loadLibrary(library.file, error);
    if (handle == nullptr) {
        moduleLog.log(Logging::Category::Error, "Failed to load %s: Error %#x: %s", library.reported.c_str(),
                      static_cast<unsigned>(error.code), error.text.c_str());
    }
    status = handle != nullptr ? LoadStatus::Loaded : LoadStatus::Failed;
}

void* Module::getProcAddress(const char* symbolName) const {
    return getProcAddress(handle, symbolName);
}

void* Module::getProcAddress(Handle handle, const char* symbolName) {
    if (handle == nullptr || symbolName == nullptr) {
        return nullptr;
    }
    return Platform::Detail::findSymbol(handle, symbolName);
}

void Module::initPtrs() {}

} // namespace Tarn
