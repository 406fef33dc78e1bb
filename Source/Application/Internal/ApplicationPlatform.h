#pragma once

// What the application shell needs from the platform, one implementation per backend.
namespace Tarn::Platform::Detail {

/// Per-monitor DPI awareness and pointer input where the platform has them; each step is skipped
/// silently when its function is missing.
void setUpDisplayAndPointer();

bool isDebuggerAttached();

/// The pending events of the calling thread: the Windows message queue, or on Linux whatever the
/// window backend registers (nothing until there is one).
class EventSource {
public:
    enum class Poll {
        Empty,      ///< nothing was pending
        Dispatched, ///< one event was taken and dispatched
        Quit,       ///< the quit event was taken (and dispatched); the loop ends
    };

    virtual ~EventSource() = default;
    /// Takes one pending event, if any, and dispatches it.
    virtual Poll dispatchOne() = 0;
};

/// The event source of the calling thread.
EventSource& threadEventSource();

} // namespace Tarn::Platform::Detail
