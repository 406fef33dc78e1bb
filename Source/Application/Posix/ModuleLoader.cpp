#include "Application/Internal/ModuleLoader.h"

#include <cerrno>
#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

namespace Tarn::Platform::Detail {

namespace {

// The directory of the running program, with a trailing "/"; empty when it cannot be read.
const std::string& executableDirectory() {
    static const std::string directory = [] {
        char path[PATH_MAX];
        const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
        if (length <= 0) {
            return std::string();
        }
        std::string result(path, static_cast<std::size_t>(length));
        result.erase(result.find_last_of('/') + 1);
        return result;
    }();
    return directory;
}

} // namespace

LibraryName libraryFileName(StringView name) {
    std::string file =
        name.find(".so") != StringView::NoPosition ? name.to_string() : "lib" + name.to_string() + ".so";
    return {file, file};
}

Module::Handle loadLibrary(const std::string& file, LoadError& error) {
    // Windows looks in the program's own directory before anywhere else; the ELF loader does not,
    // so a plain file name is tried there first to keep plug-ins beside the program working alike.
    std::string path = file;
    if (file.find('/') == std::string::npos && !executableDirectory().empty()) {
        std::string beside = executableDirectory() + file;
        if (access(beside.c_str(), F_OK) == 0) {
            path = std::move(beside);
        }
    }
    dlerror();
    errno = 0;
    // Bound at once, as the Windows loader resolves imports: a broken library fails here, not at
    // its first call.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        error.code = static_cast<uint32_t>(errno);
        const char* text = dlerror();
        error.text = text != nullptr ? text : "unknown error";
    }
    return handle;
}

void* findSymbol(Module::Handle handle, const char* symbolName) {
    return dlsym(handle, symbolName);
}

} // namespace Tarn::Platform::Detail
