#include "StreamCapture.h"

#include <cstdio>

#if defined(_WIN32)
#include <io.h>
#define TARN_DUP _dup
#define TARN_DUP2 _dup2
#define TARN_CLOSE _close
#define TARN_FILENO _fileno
#else
#include <unistd.h>
#define TARN_DUP dup
#define TARN_DUP2 dup2
#define TARN_CLOSE close
#define TARN_FILENO fileno
#endif

namespace Tarn::Testing {

namespace {
std::FILE* streamFile(StreamCapture::Stream stream) {
    return stream == StreamCapture::Stream::Output ? stdout : stderr;
}
} // namespace

StreamCapture::StreamCapture(Stream which) : stream(which) {
    std::fflush(streamFile(stream));
    std::FILE* target = std::fopen(folder.file("capture.txt").c_str(), "wb");
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
    captured = folder.read("capture.txt");
    return captured;
}

} // namespace Tarn::Testing
