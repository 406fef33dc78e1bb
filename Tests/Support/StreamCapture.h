#pragma once

#include "TempDir.h"

#include <string>

namespace Tarn::Testing {

/// Captures everything written to standard output or standard error (file descriptor 1 or 2) while
/// it is alive, at the descriptor level: stdio, direct descriptor writes and the library's own
/// runtime copy all land in it. Nothing reaches the terminal meanwhile.
class StreamCapture {
public:
    enum class Stream { Output = 1, Error = 2 };

    explicit StreamCapture(Stream stream);
    ~StreamCapture();
    StreamCapture(const StreamCapture&) = delete;
    StreamCapture& operator=(const StreamCapture&) = delete;

    /// Ends the capture (restoring the descriptor) and returns what was written; later calls
    /// return the same text.
    std::string finish();

private:
    Stream stream;
    int savedDescriptor = -1;
    TempDir folder;
    std::string captured;
    bool finished = false;
};

} // namespace Tarn::Testing
