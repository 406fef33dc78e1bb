#pragma once

#include <Tarn/Foundation/Assert.h>

#include <string>
#include <vector>

namespace Tarn::Testing {

/// Records every assertion raised while it is alive, instead of printing it; restores the previous
/// handler on destruction. One recorder at a time (the handler is process-wide).
class AssertRecorder {
public:
    AssertRecorder();
    ~AssertRecorder();
    AssertRecorder(const AssertRecorder&) = delete;
    AssertRecorder& operator=(const AssertRecorder&) = delete;

    const std::vector<std::string>& texts() const { return texts_; }
    /// Where each was reported from, as "file:line", in the same order.
    const std::vector<std::string>& sites() const { return sites_; }
    std::size_t count() const { return texts_.size(); }
    bool empty() const { return texts_.empty(); }
    /// True when an assertion with exactly this condition text was raised.
    bool saw(const std::string& text) const;
    void clear() {
        texts_.clear();
        sites_.clear();
    }

private:
    static void record(const char* condition, const char* file, int line);
    std::vector<std::string> texts_;
    std::vector<std::string> sites_;
    AssertHandler previous_;
};

} // namespace Tarn::Testing
