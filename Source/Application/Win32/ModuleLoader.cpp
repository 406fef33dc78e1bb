#include <Tarn/Strings/TextConversion.h>

#include "Application/Internal/ModuleLoader.h"

#include <type_traits>
#include <windows.h>

static_assert(std::is_same_v<Tarn::Module::Handle, HMODULE>, "Module::Handle must be HMODULE");

namespace Tarn::Platform::Detail {

LibraryName libraryFileName(StringView name) {
    if (name.find(".dll") != StringView::NoPosition) {
        return {name.to_string(), name.to_string()};
    }
    // The platform-and-configuration suffix of the plug-in builds; a failure names the part
    // before the configuration.
    std::string reported = name.to_string() + ".x64";
    std::string file = reported + ".Release.dll";
    return {std::move(file), std::move(reported)};
}

Module::Handle loadLibrary(const std::string& file, LoadError& error) {
    HMODULE module = LoadLibraryW(widen(file).c_str());
    if (module != nullptr) {
        return module;
    }
    const DWORD code = GetLastError();
    error.code = code;
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    if (length != 0 && text != nullptr) {
        error.text = narrow(text);
    }
    LocalFree(text);
    while (!error.text.empty() && (error.text.back() == '\r' || error.text.back() == '\n')) {
        error.text.pop_back();
    }
    return nullptr;
}

void* findSymbol(Module::Handle handle, const char* symbolName) {
    return reinterpret_cast<void*>(GetProcAddress(handle, symbolName));
}

} // namespace Tarn::Platform::Detail
