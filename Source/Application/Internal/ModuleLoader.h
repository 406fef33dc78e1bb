#pragma once

#include <Tarn/Application/Module.h>

#include <cstdint>
#include <string>

// What Module needs from the platform's loader, one implementation per backend.
namespace Tarn::Platform::Detail {

struct LibraryName {
    /// The file handed to the loader.
    std::string file;
    /// The name a failure is reported under.
    std::string reported;
};

/// Applies the platform's naming convention to `name`.
LibraryName libraryFileName(StringView name);

struct LoadError {
    uint32_t code = 0;
    /// The system's text, without trailing line breaks.
    std::string text;
};

/// Loads `file`; null on failure with `error` filled in.
Module::Handle loadLibrary(const std::string& file, LoadError& error);

/// The symbol's address in a non-null `handle`, or null.
void* findSymbol(Module::Handle handle, const char* symbolName);

} // namespace Tarn::Platform::Detail
