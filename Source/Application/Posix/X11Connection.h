#pragma once

#include <X11/Xlib.h>
#include <X11/Xresource.h>
#include <X11/Xutil.h>

#include "Application/Internal/ApplicationPlatform.h"

#include <glm/vec2.hpp>

#include <optional>
#include <string>
#include <vector>

// The X11 connection shared by every window, monitor query and the message pump of the process.
// Xlib is used from the window thread only, as the Win32 backend is, so nothing here is locked.
namespace Tarn::Platform::Detail::X11 {

struct Atoms {
    Atom wmProtocols = None;
    Atom wmDeleteWindow = None;
    Atom wmState = None;
    Atom netWmName = None;
    Atom utf8String = None;
    Atom netWmState = None;
    Atom netWmStateMaximizedVert = None;
    Atom netWmStateMaximizedHorz = None;
    Atom netWmStateHidden = None;
    Atom netSupportingWmCheck = None;
    Atom netActiveWindow = None;
    Atom netFrameExtents = None;
};

struct Connection {
    Display* display = nullptr;
    Atoms atoms;
    XContext windowContext = 0;
    /// Major opcode of XInputExtension when the server has XInput 2.2 (touch), else -1.
    int xiOpcode = -1;
    XIM inputMethod = nullptr;
    /// Whether the server reports auto-repeat as repeated presses without releases.
    bool detectableAutoRepeat = false;
    /// Whether the root window's property changes (the resources, for the DPI) are selected.
    bool watchingRoot = false;
};

/// The shared connection, opened on first use; null when no display can be opened.
Connection* connection();
/// The connection if it was opened already; never opens one.
Connection* existingConnection();
/// The display name that was (or would be) opened, for failure texts.
std::string displayName();

/// Collects the X errors of the requests made between its construction and `check`, instead of
/// letting Xlib's default handler end the process. Nests with any handler the host installed.
class ErrorTrap {
public:
    explicit ErrorTrap(Display* display);
    ~ErrorTrap();
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;
    /// Waits for the server to process every request so far; the text of the first error, if any.
    std::optional<std::string> check();

private:
    Display* display;
    int (*previous)(Display*, XErrorEvent*) = nullptr;
};

/// The monitors as RandR reports them (active ones, in its order); empty without RandR 1.5.
struct MonitorInfo {
    Atom name = None;
    std::string nameText;
    bool primary = false;
    glm::ivec2 position{0, 0};
    glm::ivec2 size{0, 0};
};
std::vector<MonitorInfo> monitors(Connection& connection);

/// A window property of the given type: the first `maxItems` items of a format-32 one (Xlib hands
/// them out as longs), or the first `maxItems` bytes of a format-8 one. Empty when the property is
/// missing or has another type or format.
std::vector<unsigned long> readProperty32(Display* display, ::Window window, Atom property, Atom type,
                                          long maxItems);
std::string readProperty8(Display* display, ::Window window, Atom property, Atom type, long maxItems);

/// The DPI from the root window's current Xft.dpi resource, else 96.
int dpiOf(Connection& connection);

} // namespace Tarn::Platform::Detail::X11

namespace Tarn::Platform::Detail {

/// Routes one event taken from the queue to the window it is for (the window backend).
EventSource::Poll dispatchX11Event(X11::Connection& connection, XEvent& event);

} // namespace Tarn::Platform::Detail
