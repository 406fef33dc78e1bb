#include "AssertRecorder.h"

#include <algorithm>

namespace Tarn::Testing {
namespace {
AssertRecorder* active = nullptr;
}

AssertRecorder::AssertRecorder() : previous_(setAssertHandler(&AssertRecorder::record)) {
    active = this;
}

AssertRecorder::~AssertRecorder() {
    active = nullptr;
    setAssertHandler(previous_);
}

bool AssertRecorder::saw(const std::string& text) const {
    return std::find(texts_.begin(), texts_.end(), text) != texts_.end();
}

void AssertRecorder::record(const char* condition, const char* file, int line) {
    if (active) {
        active->texts_.emplace_back(condition);
        active->sites_.push_back(std::string(file) + ":" + std::to_string(line));
    }
}

} // namespace Tarn::Testing
