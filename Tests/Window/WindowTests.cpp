// Real windows under Wine on a virtual X display of two 1920 x 1080 screens side by side (see
// CMakeLists.txt): the platform calls, the message pump and the X server's input are the real
// ones. Input is typed and clicked with xdotool, a Linux program that Wine starts like any other.
#include <Tarn/Application/Monitor.h>
#include <Tarn/Application/PlatformContext.h>
#include <Tarn/Application/Window.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Strings/TextConversion.h>

#include "AssertRecorder.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace Tarn;
namespace Msg = InputMessage;

namespace {

constexpr auto deadline = std::chrono::seconds(5);

// Pumps this thread's messages until `done` holds or the deadline passes; returns `done()`.
bool pumpUntil(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (true) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (done()) {
            return true;
        }
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

// Pumps for a short while, for "nothing else arrives" checks.
void pumpFor(std::chrono::milliseconds span) {
    const auto end = std::chrono::steady_clock::now() + span;
    pumpUntil([&] { return std::chrono::steady_clock::now() > end; });
}

// Starts xdotool with the given arguments. Wine cannot wait for a Linux process, so callers
// wait for the input's effect instead.
bool xdotool(const std::string& arguments) {
    std::wstring command = widen("/usr/bin/xdotool " + arguments);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process) == 0) {
        return false;
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

class Recorder : public Network::MessageHub {
public:
    Recorder() : MessageHub(0xFFFF0000) {}
    ~Recorder() override { disconnectFromAllSenders(); }
    std::vector<uint32_t> ids;
    std::vector<std::vector<uint8_t>> payloads;
    bool saw(uint32_t id) const { return std::find(ids.begin(), ids.end(), id) != ids.end(); }
    void clear() {
        ids.clear();
        payloads.clear();
    }

private:
    void queueMessage(const Network::MessagePtr& message) override {
        ids.push_back(message->getID());
        const auto* bytes = static_cast<const uint8_t*>(message->data());
        payloads.emplace_back(bytes, bytes + message->size());
    }
};

glm::ivec2 clientSize(HWND handle) {
    RECT client{};
    GetClientRect(handle, &client);
    return {client.right - client.left, client.bottom - client.top};
}

glm::ivec2 clientOrigin(HWND handle) {
    POINT origin{0, 0};
    ClientToScreen(handle, &origin);
    return {origin.x, origin.y};
}

// A window with the whole input chain behind it, shown and focused.
struct InputWindow {
    PlatformContext context;
    Window window{&context};
    InputEventTranslator translator;
    Recorder recorder;

    InputWindow() {
        translator.initialize(window, &context.refKeyboard(), &context.refMouse(), &context.refGestures());
        window.addListener(&recorder);
    }
    ~InputWindow() { window.destroy(); }
    HWND handle() { return window.getWindowData().windowHandle; }
    // The X window behind the Wine window, as xdotool names windows.
    std::string xWindow() {
        return std::to_string(reinterpret_cast<uintptr_t>(GetPropW(handle(), L"__wine_x11_whole_window")));
    }
    bool open() {
        if (!window.create(640, 480)) {
            return false;
        }
        window.setPosition({100, 100});
        window.show();
        SetForegroundWindow(handle());
        SetFocus(handle());
        return pumpUntil([&] { return GetForegroundWindow() == handle() && IsWindowVisible(handle()); });
    }
    void frame() {
        context.refKeyboard().update();
        context.refMouse().update();
        context.refGestures().update();
    }
};

} // namespace

TEST(Window, CreateSizesTheClientAreaAndRegistersTheClassOnce) {
    Window first;
    ASSERT_TRUE(first.create(0, 0));
    HWND handle = first.getWindowData().windowHandle;
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(first.getWindowData().previousWindowProc, nullptr);
    EXPECT_EQ(clientSize(handle), glm::ivec2(1344, 756)) << "70% of the 1920 x 1080 primary screen";
    EXPECT_EQ(first.getDpi(), 96);
    EXPECT_FALSE(IsWindowVisible(handle)) << "the caller shows it";

    wchar_t text[64] = {};
    GetWindowTextW(handle, text, 64);
    EXPECT_EQ(std::wstring(text), L"Tarn Runtime");
    GetClassNameW(handle, text, 64);
    EXPECT_EQ(std::wstring(text), L"TarnWindow");
    EXPECT_EQ(GetWindowLongW(handle, GWL_STYLE) & 0x6CF0000, 0x6CF0000);

    Window second;
    ASSERT_TRUE(second.create(300, 200)) << "the class already exists";
    HWND other = second.getWindowData().windowHandle;
    EXPECT_EQ(clientSize(other), glm::ivec2(300, 200));

    second.setPosition({50, 60});
    second.setSize({500, 400});
    RECT frame{};
    GetWindowRect(other, &frame);
    EXPECT_EQ(second.getPosition(), glm::ivec2(50, 60));
    EXPECT_EQ(second.getPosition(), glm::ivec2(frame.left, frame.top));
    EXPECT_EQ(second.getSize(), glm::ivec2(500, 400)) << "the outer frame";
    second.setTitle("Zoë");
    GetWindowTextW(other, text, 64);
    EXPECT_EQ(std::wstring(text), L"Zo\u00eb");

    first.destroy();
    second.destroy();
    EXPECT_EQ(first.getWindowData().windowHandle, nullptr);
    EXPECT_FALSE(IsWindow(handle));
}

TEST(Window, APlatformWindowOutlivingItsWindowObjectNoLongerReachesIt) {
    HWND handle = nullptr;
    {
        Window window;
        ASSERT_TRUE(window.create(200, 100));
        handle = window.getWindowData().windowHandle;
        EXPECT_EQ(GetWindowLongPtrW(handle, GWLP_USERDATA), reinterpret_cast<LONG_PTR>(&window));
    }
    EXPECT_EQ(GetWindowLongPtrW(handle, GWLP_USERDATA), 0);
    SendMessageW(handle, WM_KEYDOWN, 'A', 0); // reaches the default procedure only
    EXPECT_TRUE(DestroyWindow(handle));
}

TEST(Window, MinimiseMaximiseAndRestoreSendTheirMessages) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    pumpFor(std::chrono::milliseconds(100));
    input.recorder.clear();

    input.window.minimise();
    ASSERT_TRUE(pumpUntil([&] { return input.recorder.saw(WindowEvent::Minimised); }));
    const auto at = std::find(input.recorder.ids.begin(), input.recorder.ids.end(), WindowEvent::Minimised);
    EXPECT_TRUE(input.recorder.payloads[at - input.recorder.ids.begin()].empty());
    EXPECT_FALSE(input.recorder.saw(WindowEvent::Moved)) << "no move while minimised";

    input.recorder.clear();
    input.window.maximise();
    ASSERT_TRUE(pumpUntil([&] { return input.recorder.saw(WindowEvent::Maximised); }));
    EXPECT_FALSE(input.recorder.saw(WindowEvent::Moved)) << "no move while maximised";

    input.recorder.clear();
    input.window.restore();
    ASSERT_TRUE(pumpUntil([&] { return input.recorder.saw(WindowEvent::Resized); }));
    const auto resized =
        std::find(input.recorder.ids.begin(), input.recorder.ids.end(), WindowEvent::Resized);
    const std::vector<uint8_t>& payload = input.recorder.payloads[resized - input.recorder.ids.begin()];
    ASSERT_EQ(payload.size(), 8u);
    const glm::ivec2 size = clientSize(input.handle());
    EXPECT_EQ(payload[0] | (payload[1] << 8), size.x);
    EXPECT_EQ(payload[4] | (payload[5] << 8), size.y);
}

TEST(Window, AttachSubclassesAndDetachGivesTheWindowBack) {
    static int previousCalls = 0;
    const WNDPROC previous = [](HWND handle, UINT message, WPARAM first, LPARAM second) -> LRESULT {
        if (message == WM_KEYDOWN) {
            ++previousCalls;
        }
        return DefWindowProcW(handle, message, first, second);
    };
    WNDCLASSW hostClass{};
    hostClass.lpfnWndProc = previous;
    hostClass.hInstance = GetModuleHandleW(nullptr);
    hostClass.lpszClassName = L"TarnTestHost";
    RegisterClassW(&hostClass);
    HWND host = CreateWindowExW(0, L"TarnTestHost", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 200, 200, nullptr,
                                nullptr, GetModuleHandleW(nullptr), nullptr);
    ASSERT_NE(host, nullptr);

    PlatformContext context;
    Window window(&context);
    InputEventTranslator translator;
    translator.initialize(window, &context.refKeyboard(), nullptr, nullptr);
    ASSERT_TRUE(window.attach(host));
    EXPECT_EQ(window.getWindowData().windowHandle, host);
    EXPECT_EQ(window.getWindowData().previousWindowProc, previous);

    SendMessageW(host, WM_KEYDOWN, 'Q', 0);
    context.refKeyboard().update();
    EXPECT_TRUE(context.refKeyboard().wasKeyPressed(Key::Q));
    EXPECT_EQ(previousCalls, 1) << "the host's procedure still sees every message";

    {
        Testing::AssertRecorder asserts;
        Window intruder;
        intruder.attach(host);
        EXPECT_TRUE(asserts.saw("GetWindowLongPtr(realHwnd, GWLP_USERDATA) == 0"));
        // The intruder replaced the procedure; hand the window back to the first one.
        SetWindowLongPtrW(host, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Window::WndProc));
        SetWindowLongPtrW(host, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&window));
    }

    window.detach();
    EXPECT_EQ(window.getWindowData().windowHandle, nullptr);
    EXPECT_EQ(window.getWindowData().previousWindowProc, nullptr);
    EXPECT_EQ(reinterpret_cast<WNDPROC>(GetWindowLongPtrW(host, GWLP_WNDPROC)), previous);
    EXPECT_EQ(GetWindowLongPtrW(host, GWLP_USERDATA), 0);
    SendMessageW(host, WM_KEYDOWN, 'W', 0);
    context.refKeyboard().update();
    EXPECT_FALSE(context.refKeyboard().wasKeyPressed(Key::W));
    EXPECT_EQ(previousCalls, 2);
    DestroyWindow(host);
}

TEST(Window, PlatformMessagesTranslateAsTheTableSays) {
    InputWindow input;
    ASSERT_TRUE(input.window.create(400, 300));
    HWND handle = input.handle();
    Testing::LogCapture log(Logging::Category::Error);

    // Alt+F4: the system key-downs are not translated, their releases are.
    SendMessageW(handle, WM_SYSKEYDOWN, VK_MENU, 0);
    SendMessageW(handle, WM_SYSKEYDOWN, VK_F4, 0);
    SendMessageW(handle, WM_SYSKEYUP, VK_F4, 0);
    SendMessageW(handle, WM_SYSKEYUP, VK_MENU, 0);
    const std::vector<uint32_t> releases{Msg::InputKeyUp, Msg::InputKeyUp};
    EXPECT_EQ(input.recorder.ids, releases);
    input.recorder.clear();

    SendMessageW(handle, WM_CHAR, 0xD83D, 0); // an emoji as a surrogate pair
    SendMessageW(handle, WM_CHAR, 0xDE00, 0);
    input.frame();
    EXPECT_EQ(input.context.refKeyboard().getChars(), "\xF0\x9F\x98\x80");
    EXPECT_TRUE(input.context.refKeyboard().wasKeyReleased(Key::F4));
    EXPECT_FALSE(input.context.refKeyboard().wasKeyPressed(Key::Alt));
    EXPECT_EQ(input.recorder.ids, std::vector<uint32_t>{Msg::InputChar}) << "one message for the pair";

    // Pointer messages whose pointer record cannot be had send nothing and say why.
    input.recorder.clear();
    SendMessageW(handle, WM_POINTERDOWN, MAKEWPARAM(1, 0x4 | 0x10), MAKELPARAM(10, 10));
    EXPECT_TRUE(input.recorder.ids.empty());
    ASSERT_EQ(log.count(), 1u);
    EXPECT_EQ(log.lines()[0].rfind("[Error][Window] Failed to get pointer info. Error: ", 0), 0u)
        << log.lines()[0];
    EXPECT_EQ(log.lines()[0].back(), '.');

    // Without pointer input (as under Wine) the classic mouse messages stand in, in client
    // coordinates, the move's source following the first held button.
    SendMessageW(handle, WM_RBUTTONDOWN, MK_RBUTTON, MAKELPARAM(20, 30));
    SendMessageW(handle, WM_MOUSEMOVE, MK_RBUTTON, MAKELPARAM(25, 30));
    SendMessageW(handle, WM_MOUSEMOVE, 0, MAKELPARAM(26, 31));
    SendMessageW(handle, WM_RBUTTONUP, 0, MAKELPARAM(26, 31));
    SendMessageW(handle, WM_MBUTTONDOWN, MK_MBUTTON, MAKELPARAM(1, 2));
    SendMessageW(handle, WM_MOUSEWHEEL, MAKEWPARAM(0, static_cast<WORD>(-240)), 0);
    const std::vector<uint32_t> pointerIds{Msg::InputPointerDown, Msg::InputPointerMove,
                                           Msg::InputPointerMove, Msg::InputPointerUp,
                                           Msg::InputPointerDown, Msg::InputWheel};
    ASSERT_EQ(input.recorder.ids, pointerIds);
    const std::vector<uint8_t> rightDown{1, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0, 0, 30, 0, 0, 0};
    EXPECT_EQ(
        std::vector<uint8_t>(input.recorder.payloads[0].begin(), input.recorder.payloads[0].begin() + 16),
        rightDown);
    EXPECT_EQ(input.recorder.payloads[1][0], 1) << "dragging with the second button";
    EXPECT_EQ(input.recorder.payloads[2][0], 0) << "no button held";
    EXPECT_EQ(input.recorder.payloads[4][0], 2);
    input.frame();
    EXPECT_EQ(input.context.refMouse().getWheel(), -240);
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(26, 31));
    EXPECT_TRUE(input.context.refMouse().isButtonDown(MouseButton::Middle));
    SendMessageW(handle, WM_MBUTTONUP, 0, MAKELPARAM(1, 2));
}

TEST(Window, KeysAndTextTypedOnTheXServerReachTheKeyboard) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    Keyboard& keyboard = input.context.refKeyboard();

    ASSERT_TRUE(xdotool("windowfocus --sync " + input.xWindow() +
                        " keydown shift key a keyup shift key F5 type \xC3\xA4\xD0\xB6"));
    std::string text;
    std::vector<Key> pressed;
    std::vector<Key> released;
    ASSERT_TRUE(pumpUntil([&] {
        input.frame();
        text += keyboard.getChars();
        for (const Keyboard::Event& event : keyboard.getEvents()) {
            if (event.type == Keyboard::Event::Type::KeyDown) {
                pressed.push_back(event.key);
            } else if (event.type == Keyboard::Event::Type::KeyUp) {
                released.push_back(event.key);
            }
        }
        return text.find("\xD0\xB6") != std::string::npos;
    })) << "typed so far: "
        << text;
    EXPECT_EQ(text, "A\xC3\xA4\xD0\xB6");
    for (Key key : {Key::Shift, Key::A, Key::F5}) {
        EXPECT_NE(std::find(pressed.begin(), pressed.end(), key), pressed.end()) << static_cast<int>(key);
        EXPECT_NE(std::find(released.begin(), released.end(), key), released.end()) << static_cast<int>(key);
    }
    EXPECT_FALSE(keyboard.isKeyDown(Key::Shift) || keyboard.isKeyDown(Key::A));
}

TEST(Window, MouseOnTheXServerGivesTapDragAndWheel) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    const glm::ivec2 origin = clientOrigin(input.handle());
    std::vector<Gesture> seen;
    int wheel = 0;
    const auto collect = [&] {
        input.frame();
        const auto& gestures = input.context.refGestures().getGestures();
        seen.insert(seen.end(), gestures.begin(), gestures.end());
        wheel += input.context.refMouse().getWheel();
    };
    const auto sawKind = [&](Gesture::Kind kind, Gesture::State state) {
        return std::any_of(seen.begin(), seen.end(),
                           [&](const Gesture& g) { return g.kind == kind && g.state == state; });
    };
    const auto at = [&](int x, int y) {
        return std::to_string(origin.x + x) + " " + std::to_string(origin.y + y);
    };

    ASSERT_TRUE(xdotool("mousemove " + at(50, 60) + " click 1"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return sawKind(Gesture::Kind::Tap, Gesture::State::End);
    }));
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(50, 60));

    seen.clear();
    ASSERT_TRUE(xdotool("mousemove " + at(100, 100) + " mousedown 1 mousemove " + at(140, 120) +
                        " mousemove " + at(200, 150) + " sleep 0.3 mouseup 1"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return sawKind(Gesture::Kind::Drag, Gesture::State::End) ||
               sawKind(Gesture::Kind::Flick, Gesture::State::End);
    }));
    EXPECT_TRUE(sawKind(Gesture::Kind::Drag, Gesture::State::Begin));
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(200, 150));
    EXPECT_FALSE(input.context.refMouse().isButtonDown(MouseButton::Left));

    seen.clear();
    wheel = 0;
    ASSERT_TRUE(xdotool("click 5 click 5 click 4"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return std::count_if(seen.begin(), seen.end(),
                             [](const Gesture& g) { return g.kind == Gesture::Kind::Wheel; }) == 3;
    }));
    EXPECT_EQ(wheel, -120) << "two steps down, one up";
}

TEST(Monitor, TwoScreensSideBySide) {
    Monitor::enumerate();
    ASSERT_EQ(Monitor::getCount(), 2u);
    const Monitor& first = Monitor::get(0);
    const Monitor& second = Monitor::get(1);
    EXPECT_EQ(first.getPosition(), glm::ivec2(0, 0));
    EXPECT_EQ(second.getPosition(), glm::ivec2(1920, 0));
    EXPECT_EQ(first.getSize(), glm::ivec2(1920, 1080));
    EXPECT_EQ(second.getSize(), glm::ivec2(1920, 1080));
    EXPECT_EQ(first.getCentre(), glm::ivec2(960, 540));
    EXPECT_EQ(second.getCentre(), glm::ivec2(2880, 540));
    EXPECT_NE(first.getIdentifier(), second.getIdentifier());
    EXPECT_EQ(first.getIdentifier(), MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTONULL));

    EXPECT_EQ(Monitor::findFromPoint({1919, 10}), &first);
    EXPECT_EQ(Monitor::findFromPoint({1920, 10}), &second) << "the right edge belongs to the neighbour";
    EXPECT_EQ(Monitor::findFromPoint({3840, 10}), nullptr);
    EXPECT_EQ(Monitor::findFromPoint({10, 1080}), nullptr);
    EXPECT_EQ(Monitor::findFromPoint({-1, 0}), nullptr);

    ASSERT_FALSE(second.getName().empty());
    EXPECT_EQ(Monitor::findByName(second.getName()), &second);
    EXPECT_EQ(Monitor::findByName(first.getName()), &first);
    std::string lower = first.getName();
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_EQ(Monitor::findByName(lower), lower == first.getName() ? &first : nullptr);
    EXPECT_EQ(Monitor::findByName(first.getName() + " "), nullptr);

    Monitor::enumerate();
    EXPECT_EQ(Monitor::getCount(), 2u) << "rebuilt, not appended";
}
