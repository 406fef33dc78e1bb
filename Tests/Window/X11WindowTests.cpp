// Linux-only window tests: windows the test makes with Xlib itself, the key symbol table and the
// Alt rule through real key events, the end of the main loop when the window is closed, and the
// translation of XInput 2 touch events, which XTest cannot produce, replayed at the backend seam.
#include <Tarn/Application/Application.h>
#include <Tarn/Application/Monitor.h>
#include <Tarn/Logging/Log.h>

#include "AssertRecorder.h"
#include "DisplayHarness.h"
#include "LogCapture.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace Tarn;
using namespace DisplayHarness;
namespace Msg = InputMessage;

namespace {

// The test's own connection, as a host application would have one.
struct HostDisplay {
    Display* display = XOpenDisplay(nullptr);
    ~HostDisplay() {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
    }
    ::Window createWindow() {
        const ::Window window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 10, 10, 320, 240, 0, 0, 0);
        XSync(display, False);
        return window;
    }
};

WindowData::WindowHandle handleOf(::Window window) {
    return reinterpret_cast<WindowData::WindowHandle>(static_cast<uintptr_t>(window));
}

std::vector<uint8_t> pointerPayload(uint64_t source, int32_t x, int32_t y) {
    std::vector<uint8_t> bytes(16);
    std::memcpy(bytes.data(), &source, 8);
    std::memcpy(bytes.data() + 8, &x, 4);
    std::memcpy(bytes.data() + 12, &y, 4);
    return bytes;
}

} // namespace

using X11Window = DisplayTest;

TEST_F(X11Window, AttachSelectsEventsOnAHostWindowAndDetachGivesItBack) {
    HostDisplay host;
    ASSERT_NE(host.display, nullptr);
    const ::Window hostWindow = host.createWindow();
    XMapWindow(host.display, hostWindow);
    XSync(host.display, False);

    InputWindow input;
    ASSERT_TRUE(input.window.attach(handleOf(hostWindow)));
    EXPECT_EQ(input.window.getWindowData().windowHandle, handleOf(hostWindow));
    EXPECT_EQ(input.window.getWindowData().previousWindowProc, nullptr) << "nothing is subclassed on X11";

    XSetInputFocus(host.display, hostWindow, RevertToParent, CurrentTime);
    XSync(host.display, False);
    ASSERT_TRUE(pumpUntil([&] { return input.recorder.saw(WindowEvent::Activated); }));
    XMoveWindow(host.display, hostWindow, 40, 30);
    XSync(host.display, False);
    ASSERT_TRUE(pumpUntil([&] { return input.recorder.saw(WindowEvent::Moved); }));

    {
        Testing::AssertRecorder asserts;
        Tarn::Window intruder;
        EXPECT_FALSE(intruder.attach(handleOf(hostWindow)));
        EXPECT_TRUE(asserts.saw("stateOf(*connection, window) == nullptr && \"Window already attached.\""));
        EXPECT_EQ(intruder.getWindowData().windowHandle, nullptr);
    }

    input.window.detach();
    EXPECT_EQ(input.window.getWindowData().windowHandle, nullptr);
    input.recorder.clear();
    XSetInputFocus(host.display, PointerRoot, RevertToParent, CurrentTime);
    XMoveWindow(host.display, hostWindow, 80, 60);
    XSync(host.display, False);
    pumpFor(std::chrono::milliseconds(200));
    EXPECT_TRUE(input.recorder.ids.empty()) << "a detached window reports nothing";

    // The window is the host's again: it can be attached anew, and the host's mask is its own.
    XWindowAttributes attributes{};
    XGetWindowAttributes(host.display, hostWindow, &attributes);
    EXPECT_EQ(attributes.your_event_mask, 0);
    ASSERT_TRUE(input.window.attach(handleOf(hostWindow)));
    input.window.detach();

    Testing::LogCapture log(Logging::Category::Error);
    XDestroyWindow(host.display, hostWindow);
    XSync(host.display, False);
    EXPECT_FALSE(input.window.attach(handleOf(hostWindow)));
    ASSERT_EQ(log.count(), 1u);
    EXPECT_EQ(log.lines()[0].rfind("[Error][Window] Window not attached. Error: BadWindow", 0), 0u)
        << log.lines()[0];
}

TEST_F(X11Window, EveryKeyTranslatesAndAltPressesAreNotReported) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    Keyboard& keyboard = input.context.refKeyboard();

    struct Row {
        std::string symbol;
        Key key;
        bool pressReported; // Windows reports Alt and F10 as system keys
    };
    const auto after = [](Key first, uint32_t index) {
        return static_cast<Key>(static_cast<uint32_t>(first) + index);
    };
    std::vector<Row> rows;
    for (uint32_t index = 0; index < 26; ++index) {
        rows.push_back({std::string(1, static_cast<char>('a' + index)), after(Key::A, index), true});
    }
    for (uint32_t index = 0; index < 10; ++index) {
        rows.push_back({std::string(1, static_cast<char>('0' + index)), after(Key::Key0, index), true});
    }
    for (uint32_t index = 0; index < 12; ++index) {
        rows.push_back({"F" + std::to_string(index + 1), after(Key::F1, index), index != 9});
    }
    // The right-hand Shift and Control are left out: xdotool holds the left one around them.
    const Row named[] = {
        {"Left", Key::Left, true},
        {"Right", Key::Right, true},
        {"Up", Key::Up, true},
        {"Down", Key::Down, true},
        {"Shift_L", Key::Shift, true},
        {"Control_L", Key::Control, true},
        {"Alt_L", Key::Alt, false},
        {"Caps_Lock", Key::CapsLock, true},
        {"Tab", Key::Tab, true},
        {"Escape", Key::Escape, true},
        {"Return", Key::Enter, true},
        {"KP_Enter", Key::Enter, true},
        {"space", Key::Space, true},
        {"Insert", Key::Insert, true},
        {"Delete", Key::Delete, true},
        {"BackSpace", Key::Backspace, true},
        {"Home", Key::Home, true},
        {"End", Key::End, true},
        {"Prior", Key::PageUp, true},
        {"Next", Key::PageDown, true},
        {"Caps_Lock", Key::CapsLock, true}, // again, to leave Caps Lock off
    };
    rows.insert(rows.end(), std::begin(named), std::end(named));

    std::string command = "key --clearmodifiers";
    std::vector<Keyboard::Event> expected;
    for (const Row& row : rows) {
        command += " " + row.symbol;
        if (row.pressReported) {
            expected.push_back({Keyboard::Event::Type::KeyDown, 0.0, row.key, {}});
        }
        expected.push_back({Keyboard::Event::Type::KeyUp, 0.0, row.key, {}});
    }
    // Alt+F4: no press for either key, both releases.
    command += " keydown Alt_L key F4 keyup Alt_L";
    expected.push_back({Keyboard::Event::Type::KeyUp, 0.0, Key::F4, {}});
    expected.push_back({Keyboard::Event::Type::KeyUp, 0.0, Key::Alt, {}});
    ASSERT_TRUE(xdotool(command));

    std::vector<Keyboard::Event> seen;
    ASSERT_TRUE(pumpUntil([&] {
        input.frame();
        for (const Keyboard::Event& event : keyboard.getEvents()) {
            if (event.type == Keyboard::Event::Type::KeyDown || event.type == Keyboard::Event::Type::KeyUp) {
                seen.push_back(event);
            }
        }
        return seen.size() >= expected.size();
    })) << seen.size()
        << " of " << expected.size() << " key events";
    EXPECT_EQ(seen.size(), expected.size());
    for (size_t index = 0; index < std::min(seen.size(), expected.size()); ++index) {
        EXPECT_EQ(seen[index].type, expected[index].type) << index;
        EXPECT_EQ(seen[index].key, expected[index].key) << index;
    }
}

TEST_F(X11Window, AHeldKeyRepeatsItsPressAndIsReleasedOnce) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    // Long enough for the server's repeat to start (its delay is 660 ms by default).
    ASSERT_TRUE(xdotool("keydown q sleep 1.2 keyup q"));
    size_t presses = 0;
    size_t releases = 0;
    ASSERT_TRUE(pumpUntil([&] {
        input.frame();
        for (const Keyboard::Event& event : input.context.refKeyboard().getEvents()) {
            presses += event.type == Keyboard::Event::Type::KeyDown && event.key == Key::Q;
            releases += event.type == Keyboard::Event::Type::KeyUp && event.key == Key::Q;
        }
        return releases > 0;
    }));
    pumpFor(std::chrono::milliseconds(100));
    input.frame();
    EXPECT_GT(presses, 1u) << "repeats arrive as further presses";
    EXPECT_EQ(releases, 1u) << "and only the real release as a release";
}

TEST_F(X11Window, TheDpiFollowsTheDesktopsXftDpiResource) {
    struct ScaledWindow final : Tarn::Window {
        std::vector<std::pair<int32_t, float>> changes;
        void handleDPIChange(int32_t dpi, float scale) override { changes.emplace_back(dpi, scale); }
    };
    HostDisplay desktop;
    const ::Window root = DefaultRootWindow(desktop.display);
    const auto publish = [&](const std::string& resources) {
        if (resources.empty()) {
            XDeleteProperty(desktop.display, root, XA_RESOURCE_MANAGER);
        } else {
            XChangeProperty(desktop.display, root, XA_RESOURCE_MANAGER, XA_STRING, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(resources.data()),
                            static_cast<int>(resources.size()));
        }
        XSync(desktop.display, False);
    };

    ScaledWindow window;
    ASSERT_TRUE(window.create(100, 100));
    const std::vector<std::pair<int32_t, float>> created{{96, 1.0f}};
    EXPECT_EQ(window.changes, created) << "no Xft.dpi: 96";

    publish("Xft.antialias:\t1\nXft.dpi:\t144\n");
    ASSERT_TRUE(pumpUntil([&] { return window.getDpi() == 144; }));
    EXPECT_EQ(window.getScale(), 1.5f);
    publish("Xft.dpi:\t144\nXcursor.size:\t24\n");
    pumpFor(std::chrono::milliseconds(50));
    EXPECT_EQ(window.changes.size(), 2u) << "other resources changed: no new call";
    publish("");
    ASSERT_TRUE(pumpUntil([&] { return window.getDpi() == 96; }));
    const std::vector<std::pair<int32_t, float>> all{{96, 1.0f}, {144, 1.5f}, {96, 1.0f}};
    EXPECT_EQ(window.changes, all);

    publish("Xft.dpi: 120\n");
    ScaledWindow later;
    ASSERT_TRUE(later.create(100, 100));
    EXPECT_EQ(later.getDpi(), 120) << "a new window starts at the desktop's DPI";
    publish("");
    window.destroy();
    later.destroy();
}

TEST_F(X11Window, ClosingTheWindowEndsTheMainLoop) {
    struct Loop final : Application {
        std::chrono::steady_clock::time_point end = std::chrono::steady_clock::now() + deadline;
        bool timedOut = false;
        void runLoop() { run(); }
        bool update() override {
            timedOut = std::chrono::steady_clock::now() > end;
            return !timedOut;
        }
    };
    Tarn::Window window;
    ASSERT_TRUE(window.create(200, 100));
    window.show();
    ASSERT_TRUE(pumpUntil([&] { return isVisible(window); }));

    // What a window manager sends when the user closes the window.
    HostDisplay wm;
    const auto target =
        static_cast<::Window>(reinterpret_cast<uintptr_t>(window.getWindowData().windowHandle));
    XEvent close{};
    close.xclient.type = ClientMessage;
    close.xclient.window = target;
    close.xclient.message_type = XInternAtom(wm.display, "WM_PROTOCOLS", False);
    close.xclient.format = 32;
    close.xclient.data.l[0] = static_cast<long>(XInternAtom(wm.display, "WM_DELETE_WINDOW", False));
    XSendEvent(wm.display, target, False, NoEventMask, &close);
    XSync(wm.display, False);

    Loop loop;
    loop.runLoop();
    EXPECT_FALSE(loop.timedOut) << "the close request ended the loop";
    window.destroy();
}

TEST_F(X11Window, TouchAndPointerEventsTranslateAtTheBackendSeam) {
    InputWindow input;
    ASSERT_TRUE(input.window.create(400, 300));
    HostDisplay host;
    int opcode = 0;
    int event = 0;
    int error = 0;
    ASSERT_TRUE(XQueryExtension(host.display, "XInputExtension", &opcode, &event, &error));

    struct Row {
        int evtype;
        int detail;
        double x, y;
        uint32_t flags;
        uint32_t id; // 0: nothing is sent
        uint64_t source;
    };
    const Row rows[] = {
        {XI_TouchBegin, 3, 10.0, 20.0, 0, Msg::InputPointerDown, 0x1003},
        {XI_TouchUpdate, 3, 15.5, 25.9, 0, Msg::InputPointerMove, 0x1003},
        {XI_TouchEnd, 3, 16.0, 26.0, 0, Msg::InputPointerUp, 0x1003},
        {XI_TouchBegin, 7, 1.0, 2.0, 0, Msg::InputPointerDown, 0x1007},
        {XI_TouchBegin, 8, 1.0, 2.0, 0, Msg::InputPointerDown, 8},
        {XI_TouchBegin, 0x12345, 1.0, 2.0, 0, Msg::InputPointerDown, 0x12345},
        {XI_ButtonPress, 1, 5.0, 6.0, 0, Msg::InputPointerDown, 0},
        {XI_ButtonPress, 3, 5.0, 6.0, 0, Msg::InputPointerDown, 1},
        {XI_ButtonRelease, 2, 5.0, 6.0, 0, Msg::InputPointerUp, 2},
        {XI_ButtonPress, 1, 5.0, 6.0, XIPointerEmulated, 0, 0}, // made up from a touch
        {XI_ButtonPress, 8, 5.0, 6.0, 0, 0, 0},                 // back button: not reported
        {XI_ButtonRelease, 4, 5.0, 6.0, 0, 0, 0},               // wheel release: nothing
    };
    // Hands the window one XInput 2 event of the extension `extension`, as the pump would.
    const auto deliver = [&](const Row& row, int extension) {
        input.recorder.clear();
        XIDeviceEvent device{};
        device.evtype = row.evtype;
        device.detail = row.detail;
        device.event_x = row.x;
        device.event_y = row.y;
        device.flags = static_cast<int>(row.flags);
        XEvent generic{};
        generic.xcookie.type = GenericEvent;
        generic.xcookie.extension = extension;
        generic.xcookie.evtype = row.evtype;
        generic.xcookie.data = &device;
        input.window.processWindowMessage(WindowMessage{
            input.window.getWindowData().windowHandle, GenericEvent, static_cast<uint64_t>(row.evtype),
            static_cast<int64_t>(reinterpret_cast<intptr_t>(&generic))});
    };
    for (const Row& row : rows) {
        deliver(row, opcode);
        if (row.id == 0) {
            EXPECT_TRUE(input.recorder.ids.empty()) << row.evtype << " " << row.detail;
            continue;
        }
        ASSERT_EQ(input.recorder.ids, std::vector<uint32_t>{row.id}) << row.evtype << " " << row.detail;
        const std::vector<uint8_t>& payload = input.recorder.payloads[0];
        ASSERT_EQ(payload.size(), 24u);
        EXPECT_EQ(std::vector<uint8_t>(payload.begin(), payload.begin() + 16),
                  pointerPayload(row.source, static_cast<int32_t>(row.x), static_cast<int32_t>(row.y)))
            << row.evtype << " " << row.detail;
    }

    // Wheel notches, and an event of another extension that shares the generic event type.
    const std::pair<int, int32_t> notches[] = {{4, 120}, {5, -120}};
    for (const auto& [button, delta] : notches) {
        const Row press{XI_ButtonPress, button, 0.0, 0.0, 0, Msg::InputWheel, 0};
        deliver(press, opcode);
        ASSERT_EQ(input.recorder.ids, std::vector<uint32_t>{Msg::InputWheel});
        int32_t sent = 0;
        std::memcpy(&sent, input.recorder.payloads[0].data(), 4);
        EXPECT_EQ(sent, delta);
        deliver(press, opcode + 1);
        EXPECT_TRUE(input.recorder.ids.empty());
    }

    // Through the translator a touch reaches gestures as a touch pointer and moves the mouse.
    input.frame();
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(15, 25)) << "the touch move, floored";
}

// Run by the suite's second registration, with DISPLAY unset.
TEST(X11NoDisplay, CreateAndAttachLogAndFail) {
    if (std::getenv("DISPLAY") != nullptr) {
        GTEST_SKIP() << "a display is set; the case is for a process without one";
    }
    Testing::LogCapture log(Logging::Category::Error);
    Tarn::Window window;
    EXPECT_FALSE(window.create(0, 0));
    EXPECT_FALSE(window.attach(reinterpret_cast<WindowData::WindowHandle>(uintptr_t{0x400001})));
    EXPECT_EQ(window.getWindowData().windowHandle, nullptr);
    EXPECT_EQ(window.getPosition(), glm::ivec2(0, 0));
    window.show(); // nothing to show: no effect, no failure
    const std::vector<std::string> expected{
        "[Error][Window] Window not created. Error: cannot open display \"\".",
        "[Error][Window] Window not attached. Error: cannot open display \"\".",
    };
    EXPECT_EQ(log.lines(), expected);
    Monitor::enumerate();
    EXPECT_EQ(Monitor::getCount(), 0u);
}
