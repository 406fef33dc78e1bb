#pragma once

#include <Tarn/Logging/ThrottledConsumer.h>

#include <atomic>

namespace Tarn::Logging {

/// Writes log lines to the standard error or output stream:
///
///     [Warning][Network][14:03:07:042 *3] Connection lost.
///
/// The category is coloured unless colours are turned off. Categories at or above the stderr
/// threshold (initially Trace: everything) go to standard error, the others to standard output.
class TARN_API ConsoleLogger : public ThrottledConsumer {
public:
    ConsoleLogger();
    ~ConsoleLogger() override;

    /// The process-wide console consumer, created on first use and destroyed at unload.
    static ConsoleLogger& instance();
    /// Makes sure the process-wide console consumer exists and is registered.
    static void initialize();

    /// The lowest category that goes to standard error (see above); any thread may change it.
    ///@{
    void setStderrThreshold(Category category);
    Category getStderrThreshold() const { return stderrThreshold.load(std::memory_order_relaxed); }
    ///@}
    /// Whether the category is coloured (ANSI escapes; on by default); any thread may change it.
    ///@{
    void setUseColor(bool enabled);
    bool getUseColor() const { return useColor.load(std::memory_order_relaxed); }
    ///@}

private:
    void outputMessage(const std::string& prefix, const Message& message) override;

    std::atomic<Category> stderrThreshold{Category::Trace};
    std::atomic<bool> useColor{true};
};

} // namespace Tarn::Logging
