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

void AssertRecorder::record(const char* condition, const char*, int) {
    if (active) {
        active->texts_.emplace_back(condition);
    }
}

} // namespace Tarn::Testing
