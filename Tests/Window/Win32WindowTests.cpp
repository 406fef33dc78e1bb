// Windows-only window tests under Wine: the window class and procedure, subclassing, and the
// translation of messages that only Win32 has. The shared cases are in WindowTests.cpp.
#include <Tarn/Application/Monitor.h>

#include "AssertRecorder.h"
#include "DisplayHarness.h"
#include "LogCapture.h"

#include <windows.h>

#include <string>
#include <vector>

using namespace Tarn;
using namespace DisplayHarness;
namespace Msg = InputMessage;

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
    HWND handle = input.window.getWindowData().windowHandle;
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

TEST(Window, TheClassAndStylesAreTheWindowsOnes) {
    Window window;
    ASSERT_TRUE(window.create(300, 200));
    HWND handle = window.getWindowData().windowHandle;
    wchar_t text[64] = {};
    GetClassNameW(handle, text, 64);
    EXPECT_EQ(std::wstring(text), L"TarnWindow");
    EXPECT_EQ(GetWindowLongW(handle, GWL_STYLE) & 0x6CF0000, 0x6CF0000);
    window.destroy();
    EXPECT_FALSE(IsWindow(handle));
}

TEST(Monitor, IdentifiersAreTheMonitorHandles) {
    Monitor::enumerate();
    ASSERT_GE(Monitor::getCount(), 1u);
    EXPECT_EQ(Monitor::get(0).getIdentifier(), MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTONULL));
}
