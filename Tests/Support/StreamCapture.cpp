#include "StreamCapture.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#define TARN_DUP _dup
#define TARN_DUP2 _dup2
#define TARN_CLOSE _close
#define TARN_FILENO _fileno
#define TARN_GETPID _getpid
#else
#include <unistd.h>
#define TARN_DUP dup
#define TARN_DUP2 dup2
#define TARN_CLOSE close
#define TARN_FILENO fileno
#define TARN_GETPID getpid
#endif

namespace Tarn::Testing {

namespace {
std::FILE* streamFile(StreamCapture::Stream stream) {
    return stream == StreamCapture::Stream::Output ? stdout : stderr;
}
} // namespace

StreamCapture::StreamCapture(Stream which) : stream(which) {
    static std::atomic<int> counter{0};
    path = (std::filesystem::temp_directory_path() /
            ("tarn-capture-" + std::to_string(TARN_GETPID()) + "-" + std::to_string(counter++) + ".txt"))
               .string();
    std::FILE* stdioStream = streamFile(stream);
    std::fflush(stdioStream);
    std::FILE* target = std::fopen(path.c_str(), "wb");
    if (target == nullptr) {
        return;
    }
    const int descriptor = static_cast<int>(stream);
    savedDescriptor = TARN_DUP(descriptor);
    TARN_DUP2(TARN_FILENO(target), descriptor);
    std::fclose(target);
}

StreamCapture::~StreamCapture() {
    finish();
}

std::string StreamCapture::finish() {
    if (finished) {
        return captured;
    }
    finished = true;
    if (savedDescriptor < 0) {
        return captured;
    }
    std::fflush(streamFile(stream));
    TARN_DUP2(savedDescriptor, static_cast<int>(stream));
    TARN_CLOSE(savedDescriptor);
    {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        captured = text.str();
    }
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    return captured;
}

} // namespace Tarn::Testing
