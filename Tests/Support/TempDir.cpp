#include "TempDir.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#if defined(_WIN32)
#include <process.h>
#define TARN_GETPID _getpid
#else
#include <unistd.h>
#define TARN_GETPID getpid
#endif

namespace Tarn::Testing {
namespace {

std::filesystem::path native(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string text(const std::filesystem::path& path) {
    const std::u8string utf8 = path.u8string();
    return std::string(utf8.begin(), utf8.end());
}

} // namespace

TempDir::TempDir() {
    static std::atomic<unsigned> counter{0};
    const std::filesystem::path base = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::filesystem::path candidate =
            base / ("TarnTests-" + std::to_string(TARN_GETPID()) + "-" + std::to_string(counter++));
        if (std::filesystem::create_directory(candidate)) {
            // Resolved, so that paths the system hands back compare equal to ours.
            root = text(std::filesystem::canonical(candidate));
            return;
        }
    }
    throw std::runtime_error("TempDir: cannot create a temporary directory");
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(native(root), ignored);
}

std::string TempDir::file(const std::string& relative) const {
    return root + "/" + relative;
}

void TempDir::write(const std::string& relative, const std::string& bytes) const {
    const std::filesystem::path path = native(file(relative));
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string TempDir::read(const std::string& relative) const {
    std::ifstream in(native(file(relative)), std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

bool TempDir::exists(const std::string& relative) const {
    std::error_code ignored;
    return std::filesystem::exists(native(file(relative)), ignored);
}

ScopedEnvironmentVariable::ScopedEnvironmentVariable(const std::string& name, const char* value)
    : name(name), hadPrevious(false) {
    if (const char* old = std::getenv(name.c_str())) {
        previous = old;
        hadPrevious = true;
    }
    set(name, value);
}

ScopedEnvironmentVariable::~ScopedEnvironmentVariable() {
    set(name, hadPrevious ? previous.c_str() : nullptr);
}

void ScopedEnvironmentVariable::set(const std::string& name, const char* value) {
#if defined(_WIN32)
    // _putenv_s updates the runtime's copy and the process environment block alike; an empty value
    // removes the variable.
    _putenv_s(name.c_str(), value ? value : "");
#else
    if (value) {
        setenv(name.c_str(), value, 1);
    } else {
        unsetenv(name.c_str());
    }
#endif
}

} // namespace Tarn::Testing
