// The display harness on Windows: Wine's message queue and window functions; xdotool is a Linux
// program that Wine starts like any other.
#include "DisplayHarness.h"

#include <Tarn/Strings/TextConversion.h>

#include <windows.h>

#include <thread>

namespace DisplayHarness {

namespace {

HWND hwnd(Tarn::Window& window) {
    return window.getWindowData().windowHandle;
}

} // namespace

bool available() {
    return true; // the suite runs only under scripts/with-display.sh
}

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

// Wine cannot wait for a Linux process, so callers wait for the input's effect instead.
bool xdotool(const std::string& arguments) {
    std::wstring command = Tarn::widen("/usr/bin/xdotool " + arguments);
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

std::string xWindowId(Tarn::Window& window) {
    return std::to_string(reinterpret_cast<uintptr_t>(GetPropW(hwnd(window), L"__wine_x11_whole_window")));
}

glm::ivec2 clientSize(Tarn::Window& window) {
    RECT client{};
    GetClientRect(hwnd(window), &client);
    return {client.right - client.left, client.bottom - client.top};
}

glm::ivec2 clientOrigin(Tarn::Window& window) {
    POINT origin{0, 0};
    ClientToScreen(hwnd(window), &origin);
    return {origin.x, origin.y};
}

bool isVisible(Tarn::Window& window) {
    return IsWindowVisible(hwnd(window)) != 0;
}

bool focus(Tarn::Window& window) {
    SetForegroundWindow(hwnd(window));
    SetFocus(hwnd(window));
    return pumpUntil([&] { return GetForegroundWindow() == hwnd(window) && IsWindowVisible(hwnd(window)); });
}

std::string title(Tarn::Window& window) {
    wchar_t text[256] = {};
    GetWindowTextW(hwnd(window), text, 256);
    return Tarn::narrow(text);
}

} // namespace DisplayHarness
