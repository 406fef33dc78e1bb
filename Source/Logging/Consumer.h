#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Logging/Category.h>
#include <Tarn/Strings/StringView.h>

#include <atomic>
#include <mutex>

namespace Tarn::Logging {

/// A sink of the log manager.
///
/// A consumer is registered from construction to destruction and receives every dispatched message
/// whose category is at least its own minimum. Construction, destruction and setMinimumCategory
/// recompute the manager's effective minimum, so a message that no consumer wants costs one
/// comparison. Deliveries are serialised by the manager; `mutex` is there for subclasses that may
/// also be driven from elsewhere (a direct flush, another thread).
///
/// The manager may call a consumer from the moment its base constructor has registered it until
/// it is unregistered. A derived consumer that may be destroyed while other threads log should
/// call unregisterConsumer(this) first thing in its destructor (the library's consumers do);
/// construct consumers before other threads start logging to them.
class TARN_API Consumer {
public:
    Consumer();
    virtual ~Consumer();
    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    /// Receives one message. `name` and `message` are valid only during the call; `file` is never
    /// null ("" when the message has none).
    virtual void consumeMessage(StringView name, Category category, StringView message, const char* file,
                                int line) = 0;

    /// The lowest category this consumer receives; lower messages are filtered out before it.
    Category getMinimumCategory() const { return minimumCategory.load(std::memory_order_relaxed); }
    /// Stores the minimum and recomputes the manager's effective minimum.
    void setMinimumCategory(Category category);

    /// The minimum that consumers constructed from now on start with (initially Trace); atomic,
    /// since any thread may construct a consumer while another changes it (setLoggerCategory).
    static std::atomic<Category> defaultMinimumCategory;
    /// The same, as calls.
    ///@{
    static void setDefaultMinimumCategory(Category category);
    static Category getDefaultMinimumCategory();
    ///@}

    /// "Trace" ... "Fatal". The category indexes a table unchecked: it must be one of the six.
    static const char* getCategoryName(Category category);
    /// As getCategoryName, with Warning in yellow and Error and Fatal in red (ANSI escapes).
    static const char* getCategoryNameColor(Category category);

protected:
    /// For a derived consumer's own state, which its setters may change on other threads while
    /// messages arrive.
    std::mutex mutex;

private:
    // Written by setMinimumCategory on any thread while the manager reads it under its own lock.
    std::atomic<Category> minimumCategory{Category::Trace};
};

} // namespace Tarn::Logging
