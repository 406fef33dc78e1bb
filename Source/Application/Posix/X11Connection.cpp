#include "Application/Posix/X11Connection.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/Xrandr.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Tarn::Platform::Detail::X11 {

namespace {

struct ConnectionOwner {
    Connection connection;
    bool tried = false;

    ~ConnectionOwner() {
        if (connection.display == nullptr) {
            return;
        }
        if (connection.inputMethod != nullptr) {
            XCloseIM(connection.inputMethod);
        }
        XCloseDisplay(connection.display);
        // Windows destroyed after this (static ones) must find no connection, not a closed one.
        connection.display = nullptr;
        connection.inputMethod = nullptr;
    }
};

ConnectionOwner& owner() {
    static ConnectionOwner instance;
    return instance;
}

Atom intern(Display* display, const char* name) {
    return XInternAtom(display, name, False);
}

void open(Connection& connection) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        return;
    }
    connection.display = display;
    Atoms& atoms = connection.atoms;
    atoms.wmProtocols = intern(display, "WM_PROTOCOLS");
    atoms.wmDeleteWindow = intern(display, "WM_DELETE_WINDOW");
    atoms.wmState = intern(display, "WM_STATE");
    atoms.netWmName = intern(display, "_NET_WM_NAME");
    atoms.utf8String = intern(display, "UTF8_STRING");
    atoms.netWmState = intern(display, "_NET_WM_STATE");
    atoms.netWmStateMaximizedVert = intern(display, "_NET_WM_STATE_MAXIMIZED_VERT");
    atoms.netWmStateMaximizedHorz = intern(display, "_NET_WM_STATE_MAXIMIZED_HORZ");
    atoms.netWmStateHidden = intern(display, "_NET_WM_STATE_HIDDEN");
    atoms.netSupportingWmCheck = intern(display, "_NET_SUPPORTING_WM_CHECK");
    atoms.netActiveWindow = intern(display, "_NET_ACTIVE_WINDOW");
    atoms.netFrameExtents = intern(display, "_NET_FRAME_EXTENTS");
    connection.windowContext = XUniqueContext();

    // Touch needs XInput 2.2; without it, pointer input is not reported at all, so a server that
    // old (none current) is treated like one without the extension.
    int opcode = 0;
    int event = 0;
    int error = 0;
    if (XQueryExtension(display, "XInputExtension", &opcode, &event, &error)) {
        int major = 2;
        int minor = 2;
        if (XIQueryVersion(display, &major, &minor) == Success && (major > 2 || minor >= 2)) {
            connection.xiOpcode = opcode;
        }
    }

    // Held keys then repeat as presses only, as they do on Windows.
    Bool supported = False;
    connection.detectableAutoRepeat = XkbSetDetectableAutoRepeat(display, True, &supported) && supported;

    // The input method named by XMODIFIERS, else Xlib's own, which still composes dead keys and
    // turns keysyms into UTF-8 text.
    XSetLocaleModifiers("");
    connection.inputMethod = XOpenIM(display, nullptr, nullptr, nullptr);
    if (connection.inputMethod == nullptr) {
        XSetLocaleModifiers("@im=none");
        connection.inputMethod = XOpenIM(display, nullptr, nullptr, nullptr);
    }
}

// The first error seen by the innermost active trap of this thread.
thread_local std::optional<std::string>* trapped = nullptr;

int recordError(Display* display, XErrorEvent* event) {
    if (trapped != nullptr && !trapped->has_value()) {
        char text[256] = {};
        XGetErrorText(display, event->error_code, text, sizeof(text));
        *trapped = std::string(text);
    }
    return 0;
}

} // namespace

Connection* connection() {
    ConnectionOwner& instance = owner();
    if (!instance.tried) {
        instance.tried = true;
        open(instance.connection);
    }
    return instance.connection.display != nullptr ? &instance.connection : nullptr;
}

Connection* existingConnection() {
    ConnectionOwner& instance = owner();
    return instance.connection.display != nullptr ? &instance.connection : nullptr;
}

std::string displayName() {
    return XDisplayName(nullptr);
}

namespace {
thread_local std::optional<std::string> trapSlot;
} // namespace

ErrorTrap::ErrorTrap(Display* x11Display) : display(x11Display) {
    XSync(display, False); // earlier requests' errors are not ours
    trapSlot.reset();
    trapped = &trapSlot;
    previous = XSetErrorHandler(&recordError);
}

ErrorTrap::~ErrorTrap() {
    XSync(display, False);
    XSetErrorHandler(previous);
    trapped = nullptr;
}

std::optional<std::string> ErrorTrap::check() {
    XSync(display, False);
    std::optional<std::string> result = trapSlot;
    trapSlot.reset();
    return result;
}

std::vector<MonitorInfo> monitors(Connection& connection) {
    std::vector<MonitorInfo> result;
    Display* display = connection.display;
    int event = 0;
    int error = 0;
    int major = 0;
    int minor = 0;
    if (!XRRQueryExtension(display, &event, &error) || !XRRQueryVersion(display, &major, &minor) ||
        (major == 1 && minor < 5)) {
        return result;
    }
    int count = 0;
    XRRMonitorInfo* infos = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
    if (infos == nullptr) {
        return result;
    }
    for (int index = 0; index < count; ++index) {
        const XRRMonitorInfo& info = infos[index];
        MonitorInfo monitor;
        monitor.name = info.name;
        if (char* text = XGetAtomName(display, info.name)) {
            monitor.nameText = text;
            XFree(text);
        }
        monitor.primary = info.primary != 0;
        monitor.position = {info.x, info.y};
        monitor.size = {info.width, info.height};
        result.push_back(std::move(monitor));
    }
    XRRFreeMonitors(infos);
    return result;
}

namespace {

// Calls `take` with the items of the property when it has the type and format asked for; the
// property's memory is Xlib's and is freed here.
template <typename Take>
void readProperty(Display* display, ::Window window, Atom property, Atom type, int format, long maxItems,
                  Take&& take) {
    Atom actualType = None;
    int actualFormat = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* bytes = nullptr;
    // The length is in 32-bit units whatever the format.
    const long length = format == 32 ? maxItems : (maxItems + 3) / 4;
    if (XGetWindowProperty(display, window, property, 0, length, False, type, &actualType, &actualFormat,
                           &count, &after, &bytes) == Success &&
        bytes != nullptr && actualType == type && actualFormat == format) {
        take(bytes, static_cast<long>(count) < maxItems ? count : static_cast<unsigned long>(maxItems));
    }
    if (bytes != nullptr) {
        XFree(bytes);
    }
}

} // namespace

std::vector<unsigned long> readProperty32(Display* display, ::Window window, Atom property, Atom type,
                                          long maxItems) {
    std::vector<unsigned long> items;
    readProperty(display, window, property, type, 32, maxItems,
                 [&](const unsigned char* bytes, unsigned long count) {
                     const auto* values = reinterpret_cast<const unsigned long*>(bytes);
                     items.assign(values, values + count);
                 });
    return items;
}

std::string readProperty8(Display* display, ::Window window, Atom property, Atom type, long maxItems) {
    std::string text;
    readProperty(display, window, property, type, 8, maxItems,
                 [&](const unsigned char* bytes, unsigned long count) {
                     text.assign(reinterpret_cast<const char*>(bytes), count);
                 });
    return text;
}

int dpiOf(Connection& connection) {
    // The desktop publishes its scaling as Xft.dpi in the root window's resources. Read afresh:
    // Xlib's copy (XResourceManagerString) is the one from when the display was opened.
    Display* display = connection.display;
    const std::string resources =
        readProperty8(display, DefaultRootWindow(display), XA_RESOURCE_MANAGER, XA_STRING, 1 << 18);
    if (resources.empty()) {
        return 96;
    }
    XrmInitialize();
    XrmDatabase database = XrmGetStringDatabase(resources.c_str());
    if (database == nullptr) {
        return 96;
    }
    int dpi = 96;
    char* valueType = nullptr;
    XrmValue value{};
    if (XrmGetResource(database, "Xft.dpi", "Xft.Dpi", &valueType, &value) && value.addr != nullptr &&
        valueType != nullptr && std::strcmp(valueType, "String") == 0) {
        const double parsed = std::strtod(value.addr, nullptr);
        if (parsed >= 1.0 && parsed <= 10000.0) {
            dpi = static_cast<int>(parsed + 0.5);
        }
    }
    XrmDestroyDatabase(database);
    return dpi;
}

} // namespace Tarn::Platform::Detail::X11
