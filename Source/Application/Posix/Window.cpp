#include <Tarn/Application/Window.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Input/Key.h>
#include <Tarn/Logging/Log.h>

#include "Application/Internal/ApplicationPlatform.h"
#include "Application/Internal/WindowPlatform.h"
#include "Application/Posix/X11Connection.h"

#include <X11/Xatom.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

// The X11 backend. The window handle is the X window id; `processWindowMessage` receives each X
// event with its type as the message, the XInput 2 event type (for XI2 events) as the first
// parameter and the address of the XEvent as the second.
namespace Tarn {

namespace X11 = Platform::Detail::X11;

namespace {

const Logging::Log windowLog("Window");

constexpr long coreEventMask =
    StructureNotifyMask | FocusChangeMask | KeyPressMask | KeyReleaseMask | PropertyChangeMask;

// What the backend keeps per window, found from the X window id through an XContext (the X
// counterpart of the window's user-data slot).
struct WindowState {
    Window* owner = nullptr;
    bool attached = false;
    XIC inputContext = nullptr;
    bool focused = false;
    bool maximised = false;
    bool minimised = false;
    glm::ivec2 clientPosition{INT_MIN, INT_MIN};
    glm::ivec2 clientSize{-1, -1};
    // The last size message sent, so that a state change and the configure that follows it do
    // not report the same thing twice.
    uint32_t lastSizeId = 0;
    glm::ivec2 lastSize{-1, -1};
    // Where a window returns to from maximised when no window manager keeps that for us.
    std::optional<std::pair<glm::ivec2, glm::ivec2>> restoreGeometry;
};

// Every record, for the events that concern all windows (a change of the desktop's DPI).
std::vector<WindowState*>& liveWindows() {
    static std::vector<WindowState*> records;
    return records;
}

::Window xWindow(WindowData::WindowHandle handle) {
    return static_cast<::Window>(reinterpret_cast<uintptr_t>(handle));
}

WindowData::WindowHandle handleOf(::Window window) {
    return reinterpret_cast<WindowData::WindowHandle>(static_cast<uintptr_t>(window));
}

WindowState* stateOf(X11::Connection& connection, ::Window window) {
    XPointer found = nullptr;
    if (window == None || XFindContext(connection.display, window, connection.windowContext, &found) != 0) {
        return nullptr;
    }
    return reinterpret_cast<WindowState*>(found);
}

void logFailure(const char* what, const std::string& reason) {
    windowLog.log(Logging::Category::Error, "%.*s. Error: %s.", static_cast<int>(std::strlen(what)), what,
                  reason.c_str());
}

std::string noDisplayText() {
    return "cannot open display \"" + X11::displayName() + "\"";
}

void selectInput(X11::Connection& connection, ::Window window, bool on) {
    XSelectInput(connection.display, window, on ? coreEventMask : NoEventMask);
    if (connection.xiOpcode < 0) {
        return;
    }
    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> bits{};
    if (on) {
        for (int type :
             {XI_ButtonPress, XI_ButtonRelease, XI_Motion, XI_TouchBegin, XI_TouchUpdate, XI_TouchEnd}) {
            XISetMask(bits.data(), type);
        }
    }
    XIEventMask mask{XIAllMasterDevices, static_cast<int>(bits.size()), bits.data()};
    XISelectEvents(connection.display, window, &mask, 1);
}

// Registers the backend's record for a window that this library now drives.
WindowState* adopt(X11::Connection& connection, ::Window window, Window* owner, bool attached) {
    auto* state = new WindowState;
    state->owner = owner;
    state->attached = attached;
    if (connection.inputMethod != nullptr) {
        state->inputContext =
            XCreateIC(connection.inputMethod, XNInputStyle, XIMPreeditNothing | XIMStatusNothing,
                      XNClientWindow, window, XNFocusWindow, window, nullptr);
    }
    XSaveContext(connection.display, window, connection.windowContext, reinterpret_cast<XPointer>(state));
    liveWindows().push_back(state);
    if (!connection.watchingRoot) {
        // A desktop that changes its scaling rewrites the root window's resources.
        XWindowAttributes root{};
        XGetWindowAttributes(connection.display, DefaultRootWindow(connection.display), &root);
        XSelectInput(connection.display, DefaultRootWindow(connection.display),
                     root.your_event_mask | PropertyChangeMask);
        connection.watchingRoot = true;
    }
    return state;
}

void release(X11::Connection& connection, ::Window window, WindowState* state) {
    if (state->inputContext != nullptr) {
        XDestroyIC(state->inputContext);
    }
    XDeleteContext(connection.display, window, connection.windowContext);
    std::vector<WindowState*>& live = liveWindows();
    live.erase(std::remove(live.begin(), live.end(), state), live.end());
    delete state;
}

// The connection a window lives on; null when there is no window (or no connection) to act on.
X11::Connection* connectionOf(const WindowData& data) {
    return data.windowHandle != nullptr ? X11::existingConnection() : nullptr;
}

std::vector<Atom> atomList(X11::Connection& connection, ::Window window, Atom property) {
    const std::vector<unsigned long> items =
        X11::readProperty32(connection.display, window, property, XA_ATOM, 64);
    return std::vector<Atom>(items.begin(), items.end());
}

bool contains(const std::vector<Atom>& atoms, Atom atom) {
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

struct ShowState {
    bool maximised = false;
    bool minimised = false;
};

ShowState readShowState(X11::Connection& connection, ::Window window) {
    const X11::Atoms& atoms = connection.atoms;
    const std::vector<Atom> state = atomList(connection, window, atoms.netWmState);
    ShowState result;
    result.maximised =
        contains(state, atoms.netWmStateMaximizedVert) && contains(state, atoms.netWmStateMaximizedHorz);
    result.minimised = contains(state, atoms.netWmStateHidden);

    // ICCCM: the window manager's WM_STATE says iconic (3) for a minimised window.
    const std::vector<unsigned long> wmState =
        X11::readProperty32(connection.display, window, atoms.wmState, atoms.wmState, 2);
    result.minimised = result.minimised || (!wmState.empty() && wmState[0] == IconicState);
    return result;
}

void writeNetWmState(X11::Connection& connection, ::Window window, const std::vector<Atom>& atoms) {
    if (atoms.empty()) {
        XDeleteProperty(connection.display, window, connection.atoms.netWmState);
        return;
    }
    std::vector<unsigned long> values(atoms.begin(), atoms.end());
    XChangeProperty(connection.display, window, connection.atoms.netWmState, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(values.data()), static_cast<int>(values.size()));
}

// Whether an EWMH window manager runs; without one the backend moves, sizes and records the
// state itself, so that maximise, minimise and restore still do what they say.
bool windowManagerRuns(X11::Connection& connection) {
    Display* display = connection.display;
    const std::vector<unsigned long> checks = X11::readProperty32(
        display, DefaultRootWindow(display), connection.atoms.netSupportingWmCheck, XA_WINDOW, 1);
    const ::Window check = checks.empty() ? None : static_cast<::Window>(checks[0]);
    if (check == None) {
        return false;
    }
    X11::ErrorTrap trap(display);
    XWindowAttributes attributes{};
    return XGetWindowAttributes(display, check, &attributes) != 0 && !trap.check();
}

void sendNetWmState(X11::Connection& connection, ::Window window, long action, Atom first, Atom second) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = connection.atoms.netWmState;
    event.xclient.format = 32;
    event.xclient.data.l[0] = action;
    event.xclient.data.l[1] = static_cast<long>(first);
    event.xclient.data.l[2] = static_cast<long>(second);
    event.xclient.data.l[3] = 1; // a normal application
    XSendEvent(connection.display, DefaultRootWindow(connection.display), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &event);
}

bool isMapped(X11::Connection& connection, ::Window window) {
    XWindowAttributes attributes{};
    return XGetWindowAttributes(connection.display, window, &attributes) != 0 &&
           attributes.map_state != IsUnmapped;
}

// Left, right, top and bottom of the frame the window manager puts around the window.
std::array<long, 4> frameExtents(X11::Connection& connection, ::Window window) {
    std::array<long, 4> extents{};
    const std::vector<unsigned long> values =
        X11::readProperty32(connection.display, window, connection.atoms.netFrameExtents, XA_CARDINAL, 4);
    if (values.size() == 4) {
        std::transform(values.begin(), values.end(), extents.begin(),
                       [](unsigned long value) { return static_cast<long>(value); });
    }
    return extents;
}

glm::ivec2 clientOrigin(X11::Connection& connection, ::Window window) {
    int x = 0;
    int y = 0;
    ::Window child = None;
    XTranslateCoordinates(connection.display, window, DefaultRootWindow(connection.display), 0, 0, &x, &y,
                          &child);
    return {x, y};
}

// The monitor a maximised window fills when the backend does it itself.
std::pair<glm::ivec2, glm::ivec2> monitorAround(X11::Connection& connection, glm::ivec2 point) {
    const std::vector<X11::MonitorInfo> all = X11::monitors(connection);
    for (const X11::MonitorInfo& monitor : all) {
        if (point.x >= monitor.position.x && point.x < monitor.position.x + monitor.size.x &&
            point.y >= monitor.position.y && point.y < monitor.position.y + monitor.size.y) {
            return {monitor.position, monitor.size};
        }
    }
    if (!all.empty()) {
        return {all.front().position, all.front().size};
    }
    Display* display = connection.display;
    const int screen = DefaultScreen(display);
    return {{0, 0}, {DisplayWidth(display, screen), DisplayHeight(display, screen)}};
}

glm::ivec2 primaryScreenSize(X11::Connection& connection) {
    const std::vector<X11::MonitorInfo> all = X11::monitors(connection);
    for (const X11::MonitorInfo& monitor : all) {
        if (monitor.primary) {
            return monitor.size;
        }
    }
    if (!all.empty()) {
        return all.front().size;
    }
    Display* display = connection.display;
    const int screen = DefaultScreen(display);
    return {DisplayWidth(display, screen), DisplayHeight(display, screen)};
}

void setUtf8Property(X11::Connection& connection, ::Window window, Atom property, const std::string& text) {
    XChangeProperty(connection.display, window, property, connection.atoms.utf8String, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
}

// Keys are looked up by their unshifted symbol, as Windows virtual keys name the key rather than
// the character; keypad keys follow Num Lock as they do there.
KeySym keySymbolOf(XKeyEvent& event, Display* display) {
    KeySym symbol = XLookupKeysym(&event, 0);
    if (symbol >= XK_KP_Space && symbol <= XK_KP_Equal) {
        const KeySym shifted = XLookupKeysym(&event, 1);
        const bool numLock = (event.state & Mod2Mask) != 0;
        if (numLock && shifted != NoSymbol) {
            symbol = shifted;
        }
    }
    static_cast<void>(display);
    return symbol;
}

struct KeySymbolEntry {
    KeySym symbol;
    Key key;
};

// Every `Key` has at least one symbol here. Both shifts, controls and alts report the generic key,
// as Windows key messages do (they carry VK_SHIFT, VK_CONTROL and VK_MENU, never the sided codes).
// clang-format off
constexpr KeySymbolEntry keySymbols[] = {
    {XK_Left, Key::Left}, {XK_Right, Key::Right}, {XK_Up, Key::Up}, {XK_Down, Key::Down},
    {XK_KP_Left, Key::Left}, {XK_KP_Right, Key::Right}, {XK_KP_Up, Key::Up}, {XK_KP_Down, Key::Down},
    {XK_Shift_L, Key::Shift}, {XK_Shift_R, Key::Shift}, {XK_Control_L, Key::Control},
    {XK_Control_R, Key::Control}, {XK_Alt_L, Key::Alt}, {XK_Alt_R, Key::Alt}, {XK_Meta_L, Key::Alt},
    {XK_Meta_R, Key::Alt}, {XK_ISO_Level3_Shift, Key::Alt}, {XK_Caps_Lock, Key::CapsLock},
    {XK_Tab, Key::Tab}, {XK_ISO_Left_Tab, Key::Tab}, {XK_Escape, Key::Escape}, {XK_Return, Key::Enter},
    {XK_KP_Enter, Key::Enter}, {XK_space, Key::Space}, {XK_Insert, Key::Insert},
    {XK_KP_Insert, Key::Insert}, {XK_Delete, Key::Delete}, {XK_KP_Delete, Key::Delete},
    {XK_BackSpace, Key::Backspace}, {XK_Home, Key::Home}, {XK_KP_Home, Key::Home}, {XK_End, Key::End},
    {XK_KP_End, Key::End}, {XK_Prior, Key::PageUp}, {XK_KP_Prior, Key::PageUp}, {XK_Next, Key::PageDown},
    {XK_KP_Next, Key::PageDown},
};
// clang-format on

std::optional<Key> keyOfSymbol(KeySym symbol) {
    if (symbol >= XK_a && symbol <= XK_z) {
        return static_cast<Key>(static_cast<uint32_t>(Key::A) + static_cast<uint32_t>(symbol - XK_a));
    }
    if (symbol >= XK_A && symbol <= XK_Z) {
        return static_cast<Key>(static_cast<uint32_t>(Key::A) + static_cast<uint32_t>(symbol - XK_A));
    }
    if (symbol >= XK_0 && symbol <= XK_9) {
        return static_cast<Key>(static_cast<uint32_t>(Key::Key0) + static_cast<uint32_t>(symbol - XK_0));
    }
    if (symbol >= XK_F1 && symbol <= XK_F12) {
        return static_cast<Key>(static_cast<uint32_t>(Key::F1) + static_cast<uint32_t>(symbol - XK_F1));
    }
    for (const KeySymbolEntry& entry : keySymbols) {
        if (entry.symbol == symbol) {
            return entry.key;
        }
    }
    return std::nullopt;
}

// Length of the UTF-8 sequence that starts with `lead`; 1 for a stray byte, so that bad input
// still moves on.
size_t sequenceLength(unsigned char lead) {
    if (lead >= 0xF0 && lead <= 0xF4) {
        return 4;
    }
    if (lead >= 0xE0) {
        return lead <= 0xEF ? 3 : 1;
    }
    if (lead >= 0xC2) {
        return 2;
    }
    return 1;
}

uint64_t buttonSource(int button) {
    // X numbers the buttons left 1, middle 2, right 3; the messages count left, right, middle.
    return button == 1 ? 0 : button == 3 ? 1 : 2;
}

bool buttonHeld(const XIButtonState& buttons, int button) {
    return (button >> 3) < buttons.mask_len && XIMaskIsSet(buttons.mask, button);
}

constexpr int32_t wheelNotch = 120;

bool isDeviceEvent(int type) {
    return (type >= XI_KeyPress && type <= XI_Motion) || (type >= XI_TouchBegin && type <= XI_TouchEnd);
}

} // namespace

namespace Platform::Detail {

glm::ivec2 screenToClient(WindowData::WindowHandle handle, glm::ivec2 point) {
    X11::Connection* connection = X11::existingConnection();
    if (connection == nullptr || handle == nullptr) {
        return point;
    }
    return point - clientOrigin(*connection, xWindow(handle));
}

void forgetWindow(WindowData::WindowHandle handle, const void* window, WindowData::WindowProc) {
    X11::Connection* connection = X11::existingConnection();
    if (connection == nullptr || handle == nullptr) {
        return;
    }
    const ::Window xid = xWindow(handle);
    WindowState* state = stateOf(*connection, xid);
    if (state == nullptr || state->owner != window) {
        return;
    }
    if (state->attached) {
        X11::ErrorTrap trap(connection->display);
        selectInput(*connection, xid, false);
    }
    release(*connection, xid, state);
    XFlush(connection->display);
}

// One X event taken from the queue, routed to the window it is for.
EventSource::Poll dispatchX11Event(X11::Connection& connection, XEvent& event) {
    if (XFilterEvent(&event, None)) {
        return EventSource::Poll::Dispatched; // taken by the input method
    }
    if (event.type == MappingNotify) {
        XRefreshKeyboardMapping(&event.xmapping);
        return EventSource::Poll::Dispatched;
    }
    ::Window target = event.xany.window;
    uint64_t first = 0;
    bool haveData = false;
    if (event.type == GenericEvent) {
        if (event.xcookie.extension != connection.xiOpcode ||
            !XGetEventData(connection.display, &event.xcookie)) {
            return EventSource::Poll::Dispatched;
        }
        haveData = true;
        first = static_cast<uint64_t>(event.xcookie.evtype);
        // Only device events carry the window; the others have other records behind the cookie.
        if (isDeviceEvent(event.xcookie.evtype)) {
            target = static_cast<const XIDeviceEvent*>(event.xcookie.data)->event;
        } else {
            target = None;
        }
    }
    if (event.type == PropertyNotify && event.xproperty.window == DefaultRootWindow(connection.display)) {
        if (event.xproperty.atom == XA_RESOURCE_MANAGER) {
            // Copied first: a window's handler may destroy windows and so change the list.
            const std::vector<WindowState*> windows = liveWindows();
            for (WindowState* state : windows) {
                const std::vector<WindowState*>& live = liveWindows();
                if (std::find(live.begin(), live.end(), state) != live.end()) {
                    state->owner->processWindowMessage(
                        WindowMessage{state->owner->getWindowData().windowHandle, PropertyNotify, 0,
                                      static_cast<int64_t>(reinterpret_cast<intptr_t>(&event))});
                }
            }
        }
        return EventSource::Poll::Dispatched;
    }
    bool quit = false;
    if (WindowState* state = stateOf(connection, target)) {
        quit = event.type == ClientMessage && event.xclient.message_type == connection.atoms.wmProtocols &&
               static_cast<Atom>(event.xclient.data.l[0]) == connection.atoms.wmDeleteWindow;
        state->owner->processWindowMessage(
            WindowMessage{handleOf(target), static_cast<uint32_t>(event.type), first,
                          static_cast<int64_t>(reinterpret_cast<intptr_t>(&event))});
    }
    if (haveData) {
        XFreeEventData(connection.display, &event.xcookie);
    }
    return quit ? EventSource::Poll::Quit : EventSource::Poll::Dispatched;
}

} // namespace Platform::Detail

bool Window::create(int32_t width, int32_t height) {
    X11::Connection* connection = X11::connection();
    if (connection == nullptr) {
        logFailure("Window not created", noDisplayText());
        return false;
    }
    Display* display = connection->display;
    if (width < 1 || height < 1) {
        const glm::ivec2 screen = primaryScreenSize(*connection);
        width = width < 1 ? screen.x * 70 / 100 : width;
        height = height < 1 ? screen.y * 70 / 100 : height;
    }

    X11::ErrorTrap trap(display);
    XSetWindowAttributes attributes{};
    attributes.background_pixel = BlackPixel(display, DefaultScreen(display));
    attributes.event_mask = coreEventMask;
    const ::Window window =
        XCreateWindow(display, DefaultRootWindow(display), 0, 0, static_cast<unsigned>(std::max(width, 1)),
                      static_cast<unsigned>(std::max(height, 1)), 0, CopyFromParent, InputOutput, nullptr,
                      CWBackPixel | CWEventMask, &attributes);
    if (std::optional<std::string> error = trap.check(); window == None || error) {
        logFailure("Window not created", error.value_or("no window id"));
        if (window != None && !error) {
            XDestroyWindow(display, window);
        }
        data->windowHandle = nullptr;
        return false;
    }

    Atom protocols[] = {connection->atoms.wmDeleteWindow};
    XSetWMProtocols(display, window, protocols, 1);
    XClassHint classHint{const_cast<char*>("TarnWindow"), const_cast<char*>("TarnWindow")};
    XSetClassHint(display, window, &classHint);
    XWMHints hints{};
    hints.flags = InputHint | StateHint;
    hints.input = True;
    hints.initial_state = NormalState;
    XSetWMHints(display, window, &hints);
    setUtf8Property(*connection, window, connection->atoms.netWmName, "Tarn Runtime");
    XStoreName(display, window, "Tarn Runtime");
    selectInput(*connection, window, true);
    WindowState* state = adopt(*connection, window, this, false);
    state->clientSize = {width, height};
    state->clientPosition = {0, 0};
    XFlush(display);

    data->windowHandle = handleOf(window);
    dpi = X11::dpiOf(*connection);
    scale = static_cast<float>(dpi) / 96.0f;
    handleDPIChange(dpi, scale);
    return true;
}

bool Window::attach(WindowData::WindowHandle realHwnd) {
    detach();
    TARN_ASSERT(!data->windowHandle);
    X11::Connection* connection = X11::connection();
    if (connection == nullptr) {
        logFailure("Window not attached", noDisplayText());
        return false;
    }
    const ::Window window = xWindow(realHwnd);
    TARN_ASSERT(stateOf(*connection, window) == nullptr && "Window already attached.");
    if (stateOf(*connection, window) != nullptr) {
        return false;
    }
    Display* display = connection->display;
    X11::ErrorTrap trap(display);
    XWindowAttributes attributes{};
    XGetWindowAttributes(display, window, &attributes);
    if (std::optional<std::string> error = trap.check()) {
        logFailure("Window not attached", *error);
        return false;
    }
    // Selections are per client: the host's own event mask on the window stays as it was.
    selectInput(*connection, window, true);
    if (std::optional<std::string> error = trap.check()) {
        selectInput(*connection, window, false);
        logFailure("Window not attached", *error);
        return false;
    }
    WindowState* state = adopt(*connection, window, this, true);
    state->clientSize = {attributes.width, attributes.height};
    state->clientPosition = clientOrigin(*connection, window);
    state->focused = false;
    const ShowState shown = readShowState(*connection, window);
    state->maximised = shown.maximised;
    state->minimised = shown.minimised;

    data->windowHandle = realHwnd;
    dpi = X11::dpiOf(*connection);
    scale = static_cast<float>(dpi) / 96.0f;
    handleDPIChange(dpi, scale);
    return true;
}

void Window::detach() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    const ::Window window = xWindow(data->windowHandle);
    WindowState* state = stateOf(*connection, window);
    if (state == nullptr || !state->attached || state->owner != this) {
        return;
    }
    {
        X11::ErrorTrap trap(connection->display); // the host may have destroyed it already
        selectInput(*connection, window, false);
    }
    release(*connection, window, state);
    data->previousWindowProc = nullptr;
    data->windowHandle = nullptr;
}

void Window::destroy() {
    if (data->windowHandle == nullptr) {
        return;
    }
    X11::Connection* connection = X11::existingConnection();
    if (connection != nullptr) {
        const ::Window window = xWindow(data->windowHandle);
        if (WindowState* state = stateOf(*connection, window)) {
            release(*connection, window, state);
        }
        X11::ErrorTrap trap(connection->display);
        XDestroyWindow(connection->display, window);
    }
    data->windowHandle = nullptr;
}

void Window::show() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    XMapWindow(connection->display, xWindow(data->windowHandle));
    XFlush(connection->display);
}

void Window::hide() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    Display* display = connection->display;
    XWithdrawWindow(display, xWindow(data->windowHandle), DefaultScreen(display));
    XFlush(display);
}

void Window::maximise() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    Display* display = connection->display;
    const ::Window window = xWindow(data->windowHandle);
    const X11::Atoms& atoms = connection->atoms;
    if (windowManagerRuns(*connection)) {
        if (isMapped(*connection, window)) {
            sendNetWmState(*connection, window, 1, atoms.netWmStateMaximizedVert,
                           atoms.netWmStateMaximizedHorz);
        } else {
            // Before mapping, the window states its wishes in the property itself.
            writeNetWmState(*connection, window,
                            {atoms.netWmStateMaximizedVert, atoms.netWmStateMaximizedHorz});
            XMapWindow(display, window);
        }
    } else {
        WindowState* state = stateOf(*connection, window);
        const ShowState shown = readShowState(*connection, window);
        XWindowAttributes attributes{};
        XGetWindowAttributes(display, window, &attributes);
        const glm::ivec2 origin = clientOrigin(*connection, window);
        if (state != nullptr && !shown.maximised) {
            state->restoreGeometry = {origin, {attributes.width, attributes.height}};
        }
        const auto [position, size] =
            monitorAround(*connection, origin + glm::ivec2{attributes.width / 2, attributes.height / 2});
        // The state first, so that the configure that follows is already seen as maximised.
        writeNetWmState(*connection, window, {atoms.netWmStateMaximizedVert, atoms.netWmStateMaximizedHorz});
        XMoveResizeWindow(display, window, position.x, position.y, static_cast<unsigned>(size.x),
                          static_cast<unsigned>(size.y));
        XMapWindow(display, window);
    }
    XFlush(display);
}

void Window::minimise() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    Display* display = connection->display;
    const ::Window window = xWindow(data->windowHandle);
    if (windowManagerRuns(*connection)) {
        if (isMapped(*connection, window)) {
            XIconifyWindow(display, window, DefaultScreen(display));
        } else {
            XWMHints hints{};
            hints.flags = InputHint | StateHint;
            hints.input = True;
            hints.initial_state = IconicState;
            XSetWMHints(display, window, &hints);
            XMapWindow(display, window);
        }
    } else {
        std::vector<Atom> state = atomList(*connection, window, connection->atoms.netWmState);
        if (!contains(state, connection->atoms.netWmStateHidden)) {
            state.push_back(connection->atoms.netWmStateHidden);
        }
        writeNetWmState(*connection, window, state);
        XUnmapWindow(display, window);
    }
    XFlush(display);
}

void Window::restore() {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    Display* display = connection->display;
    const ::Window window = xWindow(data->windowHandle);
    const X11::Atoms& atoms = connection->atoms;
    const ShowState shown = readShowState(*connection, window);
    if (windowManagerRuns(*connection)) {
        if (shown.minimised) {
            XMapWindow(display, window);
            XEvent event{};
            event.xclient.type = ClientMessage;
            event.xclient.window = window;
            event.xclient.message_type = atoms.netActiveWindow;
            event.xclient.format = 32;
            event.xclient.data.l[0] = 1;
            XSendEvent(display, DefaultRootWindow(display), False,
                       SubstructureRedirectMask | SubstructureNotifyMask, &event);
        } else if (shown.maximised) {
            sendNetWmState(*connection, window, 0, atoms.netWmStateMaximizedVert,
                           atoms.netWmStateMaximizedHorz);
        }
        XMapWindow(display, window);
    } else {
        // As on Windows: a minimised window comes back as it was (maximised or not); a maximised
        // one returns to where it was before.
        std::vector<Atom> state = atomList(*connection, window, atoms.netWmState);
        if (shown.minimised) {
            state.erase(std::remove(state.begin(), state.end(), atoms.netWmStateHidden), state.end());
        } else if (shown.maximised) {
            WindowState* record = stateOf(*connection, window);
            if (record != nullptr && record->restoreGeometry) {
                const auto [position, size] = *record->restoreGeometry;
                XMoveResizeWindow(display, window, position.x, position.y, static_cast<unsigned>(size.x),
                                  static_cast<unsigned>(size.y));
                record->restoreGeometry.reset();
            }
            state.erase(std::remove_if(state.begin(), state.end(),
                                       [&](Atom atom) {
                                           return atom == atoms.netWmStateMaximizedVert ||
                                                  atom == atoms.netWmStateMaximizedHorz;
                                       }),
                        state.end());
        }
        writeNetWmState(*connection, window, state);
        XMapWindow(display, window);
    }
    XFlush(display);
}

glm::ivec2 Window::getPosition() const {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return {0, 0};
    }
    const ::Window window = xWindow(data->windowHandle);
    const std::array<long, 4> extents = frameExtents(*connection, window);
    return clientOrigin(*connection, window) - glm::ivec2{extents[0], extents[2]};
}

glm::ivec2 Window::getSize() const {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return {0, 0};
    }
    const ::Window window = xWindow(data->windowHandle);
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(connection->display, window, &attributes) == 0) {
        return {0, 0};
    }
    const std::array<long, 4> extents = frameExtents(*connection, window);
    return {attributes.width + extents[0] + extents[1], attributes.height + extents[2] + extents[3]};
}

void Window::setPosition(const glm::ivec2& position) {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    // With the default north-west gravity a window manager places the frame's corner here.
    XMoveWindow(connection->display, xWindow(data->windowHandle), position.x, position.y);
    XFlush(connection->display);
}

void Window::setSize(const glm::ivec2& size) {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    const ::Window window = xWindow(data->windowHandle);
    const std::array<long, 4> extents = frameExtents(*connection, window);
    const long width = std::max(1L, size.x - extents[0] - extents[1]);
    const long height = std::max(1L, size.y - extents[2] - extents[3]);
    XResizeWindow(connection->display, window, static_cast<unsigned>(width), static_cast<unsigned>(height));
    XFlush(connection->display);
}

void Window::setTitle(StringView title) {
    X11::Connection* connection = connectionOf(*data);
    if (connection == nullptr) {
        return;
    }
    const ::Window window = xWindow(data->windowHandle);
    const std::string text(title.data(), title.size());
    setUtf8Property(*connection, window, connection->atoms.netWmName, text);
    // Older window managers read WM_NAME only; most of them take UTF-8 there too.
    setUtf8Property(*connection, window, XA_WM_NAME, text);
    XFlush(connection->display);
}

int64_t Window::WndProc(WindowData::WindowHandle handle, uint32_t message, uint64_t first, int64_t second) {
    X11::Connection* connection = X11::existingConnection();
    if (connection == nullptr) {
        return 0;
    }
    WindowState* state = stateOf(*connection, xWindow(handle));
    if (state == nullptr) {
        return 0;
    }
    return state->owner->processWindowMessage(WindowMessage{handle, message, first, second});
}

int64_t Window::processWindowMessage(const WindowMessage& message) {
    auto* event = reinterpret_cast<XEvent*>(static_cast<intptr_t>(message.second));
    X11::Connection* connection = X11::existingConnection();
    if (event == nullptr || connection == nullptr) {
        return 0;
    }
    Display* display = connection->display;
    const ::Window window = xWindow(message.handle);
    WindowState* state = stateOf(*connection, window);

    // The size messages in Windows' terms: minimised, maximised, or the client size otherwise;
    // the same report is not repeated.
    const auto reportSize = [&] {
        if (state == nullptr) {
            return;
        }
        const uint32_t id = state->minimised   ? WindowEvent::Minimised
                            : state->maximised ? WindowEvent::Maximised
                                               : WindowEvent::Resized;
        const glm::ivec2 size = id == WindowEvent::Resized ? state->clientSize : glm::ivec2{-1, -1};
        if (id == state->lastSizeId && size == state->lastSize) {
            return;
        }
        state->lastSizeId = id;
        state->lastSize = size;
        if (id == WindowEvent::Resized) {
            sendPairMessage(id, static_cast<uint32_t>(size.x), static_cast<uint32_t>(size.y));
        } else {
            sendEmptyMessage(id);
        }
    };
    const auto refreshShowState = [&] {
        if (state == nullptr) {
            return;
        }
        const ShowState shown = readShowState(*connection, window);
        if (shown.maximised == state->maximised && shown.minimised == state->minimised) {
            return;
        }
        state->maximised = shown.maximised;
        state->minimised = shown.minimised;
        reportSize();
    };

    switch (message.message) {
    case FocusIn:
    case FocusOut: {
        const XFocusChangeEvent& focus = event->xfocus;
        // Grabs and focus moving between our own subwindows do not (de)activate the window.
        if (state == nullptr || focus.mode == NotifyGrab || focus.mode == NotifyUngrab ||
            focus.detail == NotifyInferior || focus.detail == NotifyPointer) {
            break;
        }
        const bool in = message.message == FocusIn;
        if (in != state->focused) {
            state->focused = in;
            if (state->inputContext != nullptr) {
                in ? XSetICFocus(state->inputContext) : XUnsetICFocus(state->inputContext);
            }
            sendTimeMessage(in ? WindowEvent::Activated : WindowEvent::Deactivated);
        }
        break;
    }
    case ConfigureNotify: {
        if (state == nullptr || event->xconfigure.window != window) {
            break;
        }
        refreshShowState();
        const glm::ivec2 size{event->xconfigure.width, event->xconfigure.height};
        // Real configures are relative to the parent, which is a frame under most window managers;
        // the ones a window manager sends itself are in root coordinates.
        const glm::ivec2 position = event->xconfigure.send_event
                                        ? glm::ivec2{event->xconfigure.x, event->xconfigure.y}
                                        : clientOrigin(*connection, window);
        if (size != state->clientSize) {
            state->clientSize = size;
            handleResize(static_cast<uint32_t>(size.x), static_cast<uint32_t>(size.y));
            reportSize();
        }
        if (position != state->clientPosition) {
            state->clientPosition = position;
            if (!state->maximised && !state->minimised) {
                sendPairMessage(WindowEvent::Moved, static_cast<uint32_t>(position.x),
                                static_cast<uint32_t>(position.y));
            }
        }
        break;
    }
    case PropertyNotify:
        if (event->xproperty.atom == XA_RESOURCE_MANAGER) {
            // The desktop's resources changed: follow its DPI, as WM_DPICHANGED does on Windows.
            const int newDpi = X11::dpiOf(*connection);
            if (newDpi != dpi) {
                dpi = newDpi;
                scale = static_cast<float>(dpi) / 96.0f;
                handleDPIChange(dpi, scale);
            }
            break;
        }
        if (event->xproperty.atom == connection->atoms.netWmState ||
            event->xproperty.atom == connection->atoms.wmState) {
            refreshShowState();
        }
        break;
    case DestroyNotify:
        if (state != nullptr && event->xdestroywindow.window == window) {
            release(*connection, window, state);
            data->windowHandle = nullptr;
            data->previousWindowProc = nullptr;
        }
        break;
    case KeyPress: {
        XKeyEvent& key = event->xkey;
        const std::optional<Key> pressed = keyOfSymbol(keySymbolOf(key, display));
        // Windows reports Alt, F10 and keys pressed with Alt (but not AltGr, which is Ctrl+Alt
        // there) as system keys, whose presses the window does not translate.
        const bool altHeld = (key.state & Mod1Mask) != 0 && (key.state & ControlMask) == 0;
        const bool systemKey = altHeld || pressed == Key::Alt || pressed == Key::F10;
        if (pressed && !systemKey) {
            sendKeyMessage(InputMessage::InputKeyDown, virtualKeyFromKey(*pressed));
        }
        if (altHeld) {
            break; // system characters are not text either
        }
        std::string text(64, '\0');
        KeySym symbol = NoSymbol;
        int length = 0;
        if (state != nullptr && state->inputContext != nullptr) {
            Status status = 0;
            length = Xutf8LookupString(state->inputContext, &key, text.data(), static_cast<int>(text.size()),
                                       &symbol, &status);
            if (status == XBufferOverflow) {
                text.assign(static_cast<size_t>(length) + 1, '\0');
                length = Xutf8LookupString(state->inputContext, &key, text.data(),
                                           static_cast<int>(text.size()), &symbol, &status);
            }
            if (status != XLookupChars && status != XLookupBoth) {
                length = 0;
            }
        } else {
            // Without an input method only ASCII can be trusted to be UTF-8.
            length = XLookupString(&key, text.data(), static_cast<int>(text.size()), &symbol, nullptr);
            if (length == 1 && static_cast<unsigned char>(text[0]) >= 0x80) {
                length = 0;
            }
        }
        text.resize(static_cast<size_t>(std::max(length, 0)));
        for (size_t at = 0; at < text.size();) {
            const size_t count =
                std::min(sequenceLength(static_cast<unsigned char>(text[at])), text.size() - at);
            if (!(count == 1 && text[at] == 0x7F)) { // Delete types nothing on Windows
                sendText(StringView(text.data() + at, count));
            }
            at += count;
        }
        break;
    }
    case KeyRelease: {
        XKeyEvent& key = event->xkey;
        // Without detectable auto-repeat the server frames every repeat with a release; a release
        // followed at once by a press of the same key at the same time is one of those.
        if (!connection->detectableAutoRepeat && XEventsQueued(display, QueuedAfterReading) > 0) {
            XEvent next{};
            XPeekEvent(display, &next);
            if (next.type == KeyPress && next.xkey.keycode == key.keycode && next.xkey.time == key.time) {
                break;
            }
        }
        if (const std::optional<Key> released = keyOfSymbol(keySymbolOf(key, display))) {
            sendKeyMessage(InputMessage::InputKeyUp, virtualKeyFromKey(*released));
        }
        break;
    }
    case GenericEvent: {
        if (event->xcookie.extension != connection->xiOpcode || event->xcookie.data == nullptr ||
            message.first > INT_MAX || !isDeviceEvent(static_cast<int>(message.first))) {
            break;
        }
        const auto* device = static_cast<const XIDeviceEvent*>(event->xcookie.data);
        const glm::ivec2 client{static_cast<int>(std::floor(device->event_x)),
                                static_cast<int>(std::floor(device->event_y))};
        // Presses and moves that the server makes up from touches are reported as touches.
        const bool emulated = (device->flags & XIPointerEmulated) != 0;
        switch (message.first) {
        case XI_ButtonPress:
            if (device->detail == 4 || device->detail == 5) {
                sendWheelMessage(device->detail == 4 ? wheelNotch : -wheelNotch);
            } else if (device->detail >= 1 && device->detail <= 3 && !emulated) {
                sendClientPointerMessage(InputMessage::InputPointerDown, buttonSource(device->detail),
                                         client);
            }
            break;
        case XI_ButtonRelease:
            if (device->detail >= 1 && device->detail <= 3 && !emulated) {
                sendClientPointerMessage(InputMessage::InputPointerUp, buttonSource(device->detail), client);
            }
            break;
        case XI_Motion: {
            if (emulated) {
                break;
            }
            const uint64_t source = buttonHeld(device->buttons, 1)   ? 0
                                    : buttonHeld(device->buttons, 3) ? 1
                                    : buttonHeld(device->buttons, 2) ? 2
                                                                     : 0;
            sendClientPointerMessage(InputMessage::InputPointerMove, source, client);
            break;
        }
        case XI_TouchBegin:
        case XI_TouchUpdate:
        case XI_TouchEnd: {
            const uint32_t id = message.first == XI_TouchBegin    ? InputMessage::InputPointerDown
                                : message.first == XI_TouchUpdate ? InputMessage::InputPointerMove
                                                                  : InputMessage::InputPointerUp;
            sendClientPointerMessage(id, Platform::Detail::touchSource(static_cast<uint32_t>(device->detail)),
                                     client);
            break;
        }
        default:
            break;
        }
        break;
    }
    default:
        break;
    }
    return 0;
}

} // namespace Tarn
