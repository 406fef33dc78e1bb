// The display harness on Linux: the library's own pump (Application's main loop) and a second X
// connection of the test's own to look at windows as the window system sees them.
#include "DisplayHarness.h"

#include <Tarn/Application/Application.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstdlib>
#include <thread>

namespace DisplayHarness {

namespace {

// Runs the real main loop; each frame checks the condition and the deadline.
class Pump final : public Tarn::Application {
public:
    bool until(const std::function<bool()>& condition) {
        done = condition;
        end = std::chrono::steady_clock::now() + deadline;
        met = false;
        run();
        return met;
    }

private:
    bool update() override {
        met = done();
        if (met || std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return true;
    }

    std::function<bool()> done;
    std::chrono::steady_clock::time_point end;
    bool met = false;
};

Display* display() {
    static Display* own = XOpenDisplay(nullptr);
    return own;
}

::Window xid(Tarn::Window& window) {
    return static_cast<::Window>(reinterpret_cast<uintptr_t>(window.getWindowData().windowHandle));
}

} // namespace

bool available() {
    return std::getenv("DISPLAY") != nullptr && display() != nullptr;
}

bool pumpUntil(const std::function<bool()>& done) {
    Pump pump;
    return pump.until(done);
}

bool xdotool(const std::string& arguments) {
    // timeout(1) bounds the --sync waits, which would otherwise wait for ever.
    return std::system(("timeout 5 xdotool " + arguments).c_str()) == 0;
}

std::string xWindowId(Tarn::Window& window) {
    return std::to_string(xid(window));
}

glm::ivec2 clientSize(Tarn::Window& window) {
    XWindowAttributes attributes{};
    XGetWindowAttributes(display(), xid(window), &attributes);
    return {attributes.width, attributes.height};
}

glm::ivec2 clientOrigin(Tarn::Window& window) {
    int x = 0;
    int y = 0;
    ::Window child = None;
    XTranslateCoordinates(display(), xid(window), DefaultRootWindow(display()), 0, 0, &x, &y, &child);
    return {x, y};
}

bool isVisible(Tarn::Window& window) {
    XWindowAttributes attributes{};
    return XGetWindowAttributes(display(), xid(window), &attributes) != 0 &&
           attributes.map_state == IsViewable;
}

bool focus(Tarn::Window& window) {
    if (!pumpUntil([&] { return isVisible(window); })) {
        return false;
    }
    XSetInputFocus(display(), xid(window), RevertToParent, CurrentTime);
    XSync(display(), False);
    return pumpUntil([&] {
        ::Window focused = None;
        int revert = 0;
        XGetInputFocus(display(), &focused, &revert);
        return focused == xid(window);
    });
}

std::string title(Tarn::Window& window) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* bytes = nullptr;
    std::string result;
    if (XGetWindowProperty(display(), xid(window), XInternAtom(display(), "_NET_WM_NAME", False), 0, 256,
                           False, AnyPropertyType, &type, &format, &count, &after, &bytes) == Success &&
        bytes != nullptr) {
        result.assign(reinterpret_cast<const char*>(bytes), count);
    }
    if (bytes != nullptr) {
        XFree(bytes);
    }
    return result;
}

} // namespace DisplayHarness
