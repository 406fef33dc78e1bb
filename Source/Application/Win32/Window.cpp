#include <Tarn/Application/Window.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Strings/TextConversion.h>

#include "Application/Internal/WindowPlatform.h"

#include <windows.h>

#include <string>
#include <type_traits>

namespace Tarn {

// The header spells the handle and the procedure without <windows.h>.
static_assert(std::is_same_v<WindowData::WindowHandle, HWND>);
static_assert(std::is_same_v<WindowData::WindowProc, WNDPROC>);
static_assert(std::is_same_v<LRESULT, int64_t> && std::is_same_v<WPARAM, uint64_t> &&
              std::is_same_v<LPARAM, int64_t>);
static_assert(sizeof(WNDCLASSEXW) == 80);

namespace {

const Logging::Log windowLog("Window");

constexpr wchar_t className[] = L"TarnWindow";
constexpr UINT classStyle = CS_OWNDC | CS_HREDRAW | CS_VREDRAW;
constexpr DWORD frameStyle = WS_OVERLAPPEDWINDOW;
constexpr DWORD windowStyle = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN | WS_CLIPSIBLINGS;
constexpr DWORD extendedStyle = WS_EX_APPWINDOW | WS_EX_WINDOWEDGE;
static_assert(classStyle == 0x23 && frameStyle == 0xCF0000 && windowStyle == 0x6CF0000 &&
              extendedStyle == 0x40100);
constexpr UINT noSize = SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOSENDCHANGING;
constexpr UINT noMove = SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOSENDCHANGING;
static_assert(noSize == 0x415 && noMove == 0x416);

std::string systemErrorText(DWORD code) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string result;
    if (length != 0 && text != nullptr) {
        result = narrow(text);
    }
    LocalFree(text);
    // System texts end in a line break and often a full stop, which the log format adds itself.
    while (!result.empty() && (result.back() == '\r' || result.back() == '\n' || result.back() == '.')) {
        result.pop_back();
    }
    return result;
}

void logFailure(StringView what) {
    const DWORD code = GetLastError();
    const std::string reason = systemErrorText(code);
    windowLog.log(Logging::Category::Error, "%.*s. Error: %s.", static_cast<int>(what.size()), what.data(),
                  reason.c_str());
}

// Whether mouse input reaches windows as pointer messages. Wine and older systems lack the
// function or report false, and then the classic mouse messages are translated instead.
bool mouseInPointerEnabled() {
    using IsMouseInPointerEnabledFn = BOOL(WINAPI*)();
    static const auto function = [] {
        HMODULE user32 = GetModuleHandleW(L"user32.dll");
        return user32 == nullptr ? nullptr
                                 : reinterpret_cast<IsMouseInPointerEnabledFn>(reinterpret_cast<void*>(
                                       GetProcAddress(user32, "IsMouseInPointerEnabled")));
    }();
    return function != nullptr && function() != FALSE;
}

int16_t lowWord(uint64_t value) {
    return static_cast<int16_t>(value & 0xFFFF);
}

int16_t highWord(uint64_t value) {
    return static_cast<int16_t>((value >> 16) & 0xFFFF);
}

// Packs a client point as a pointer message packs a screen point.
int64_t packScreenPoint(HWND handle, int64_t clientPoint) {
    POINT point{lowWord(static_cast<uint64_t>(clientPoint)), highWord(static_cast<uint64_t>(clientPoint))};
    ClientToScreen(handle, &point);
    return static_cast<int64_t>(static_cast<uint32_t>(MAKELONG(point.x, point.y)));
}

} // namespace

namespace Platform::Detail {

glm::ivec2 screenToClient(WindowData::WindowHandle handle, glm::ivec2 point) {
    POINT converted{point.x, point.y};
    if (handle == nullptr || ScreenToClient(handle, &converted) == 0) {
        return point;
    }
    return {converted.x, converted.y};
}

void forgetWindow(WindowData::WindowHandle handle, const void* window, WindowData::WindowProc previous) {
    if (handle == nullptr || IsWindow(handle) == 0 ||
        GetWindowLongPtrW(handle, GWLP_USERDATA) != reinterpret_cast<LONG_PTR>(window)) {
        return;
    }
    if (previous != nullptr) {
        SetWindowLongPtrW(handle, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(previous));
    }
    SetWindowLongPtrW(handle, GWLP_USERDATA, 0);
}

} // namespace Platform::Detail

bool Window::create(int32_t width, int32_t height) {
    HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.style = classStyle;
    windowClass.lpfnWndProc = reinterpret_cast<WNDPROC>(&Window::WndProc);
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    windowClass.lpszClassName = className;
    if (RegisterClassExW(&windowClass) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        logFailure("Failed to register class");
        return false;
    }

    if (width < 1) {
        width = GetSystemMetrics(SM_CXSCREEN) * 70 / 100;
    }
    if (height < 1) {
        height = GetSystemMetrics(SM_CYSCREEN) * 70 / 100;
    }
    RECT frame{0, 0, width, height};
    AdjustWindowRectEx(&frame, frameStyle, FALSE, extendedStyle);

    HWND handle =
        CreateWindowExW(extendedStyle, className, L"Tarn Runtime", windowStyle, CW_USEDEFAULT, CW_USEDEFAULT,
                        frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, instance, this);
    data->windowHandle = handle;
    if (handle == nullptr) {
        logFailure("Window not created");
        return false;
    }
    return true;
}

bool Window::attach(WindowData::WindowHandle realHwnd) {
    detach();
    TARN_ASSERT(!data->windowHandle);
    data->previousWindowProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(realHwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Window::WndProc)));
    TARN_ASSERT(GetWindowLongPtr(realHwnd, GWLP_USERDATA) == 0);
    SetWindowLongPtrW(realHwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    if (data->previousWindowProc == nullptr) {
        return false;
    }
    data->windowHandle = realHwnd;
    return true;
}

void Window::detach() {
    HWND handle = data->windowHandle;
    if (data->previousWindowProc == nullptr || handle == nullptr ||
        GetWindowLongPtrW(handle, GWLP_USERDATA) != reinterpret_cast<LONG_PTR>(this)) {
        return;
    }
    SetWindowLongPtrW(handle, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(data->previousWindowProc));
    SetWindowLongPtrW(handle, GWLP_USERDATA, 0);
    data->previousWindowProc = nullptr;
    data->windowHandle = nullptr;
}

void Window::destroy() {
    if (data->windowHandle != nullptr) {
        DestroyWindow(data->windowHandle);
        data->windowHandle = nullptr;
    }
}

void Window::show() {
    ShowWindow(data->windowHandle, SW_SHOW);
}

void Window::hide() {
    ShowWindow(data->windowHandle, SW_HIDE);
}

void Window::maximise() {
    ShowWindow(data->windowHandle, SW_MAXIMIZE);
}

void Window::minimise() {
    ShowWindow(data->windowHandle, SW_MINIMIZE);
}

void Window::restore() {
    ShowWindow(data->windowHandle, SW_RESTORE);
}

glm::ivec2 Window::getPosition() const {
    RECT frame{};
    GetWindowRect(data->windowHandle, &frame);
    return {frame.left, frame.top};
}

glm::ivec2 Window::getSize() const {
    RECT frame{};
    GetWindowRect(data->windowHandle, &frame);
    return {frame.right - frame.left, frame.bottom - frame.top};
}

void Window::setPosition(const glm::ivec2& position) {
    SetWindowPos(data->windowHandle, nullptr, position.x, position.y, 0, 0, noSize);
}

void Window::setSize(const glm::ivec2& size) {
    SetWindowPos(data->windowHandle, nullptr, 0, 0, size.x, size.y, noMove);
}

void Window::setTitle(StringView title) {
    SetWindowTextW(data->windowHandle, widen(std::string(title.data(), title.size())).c_str());
}

int64_t Window::WndProc(HWND handle, uint32_t message, uint64_t first, int64_t second) {
    Window* window = nullptr;
    if (message == WM_NCCREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(second);
        window = static_cast<Window*>(creation->lpCreateParams);
        SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(window));
    } else {
        window = reinterpret_cast<Window*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
    }
    if (window == nullptr) {
        return DefWindowProcW(handle, message, first, second);
    }
    return window->processWindowMessage(WindowMessage{handle, message, first, second});
}

int64_t Window::processWindowMessage(const WindowMessage& message) {
    HWND handle = message.handle;
    const uint64_t first = message.first;
    const int64_t second = message.second;
    switch (message.message) {
    case WM_CREATE: {
        dpi = static_cast<int32_t>(GetDpiForWindow(handle));
        scale = static_cast<float>(dpi) / 96.0f;
        handleDPIChange(dpi, scale);
        break;
    }
    case WM_MOVE:
        if (IsZoomed(handle) == 0 && IsIconic(handle) == 0) {
            sendPairMessage(WindowEvent::Moved, static_cast<uint32_t>(lowWord(static_cast<uint64_t>(second))),
                            static_cast<uint32_t>(highWord(static_cast<uint64_t>(second))));
        }
        break;
    case WM_SIZE: {
        const auto width = static_cast<uint32_t>(second & 0xFFFF);
        const auto height = static_cast<uint32_t>((second >> 16) & 0xFFFF);
        handleResize(width, height);
        if (first == SIZE_MINIMIZED) {
            sendEmptyMessage(WindowEvent::Minimised);
        } else if (first == SIZE_MAXIMIZED) {
            sendEmptyMessage(WindowEvent::Maximised);
        } else {
            sendPairMessage(WindowEvent::Resized, width, height);
        }
        break;
    }
    case WM_ACTIVATE:
        sendTimeMessage((first & 0xFFFF) != 0 ? WindowEvent::Activated : WindowEvent::Deactivated);
        break;
    case WM_KEYDOWN:
        sendKeyMessage(InputMessage::InputKeyDown, first);
        break;
    case WM_KEYUP:
    case WM_SYSKEYUP:
        sendKeyMessage(InputMessage::InputKeyUp, first);
        break;
    case WM_CHAR:
        sendCharUnit(static_cast<uint16_t>(first & 0xFFFF));
        break;
    case WM_POINTERDOWN:
    case WM_POINTERUP:
    case WM_POINTERUPDATE: {
        POINTER_INFO info{};
        if (GetPointerInfo(static_cast<UINT32>(first & 0xFFFF), &info) == 0) {
            logFailure("Failed to get pointer info");
            break;
        }
        translatePointer(message, PointerInfo{static_cast<uint32_t>(info.pointerType),
                                              static_cast<uint32_t>(info.ButtonChangeType)});
        break;
    }
    case WM_POINTERWHEEL:
        sendWheelMessage(highWord(first));
        break;
    case WM_DPICHANGED: {
        dpi = static_cast<int32_t>((first >> 16) & 0xFFFF);
        scale = static_cast<float>(dpi) / 96.0f;
        handleDPIChange(dpi, scale);
        const auto* suggested = reinterpret_cast<const RECT*>(second);
        if (suggested != nullptr) {
            SetWindowPos(handle, nullptr, suggested->left, suggested->top, suggested->right - suggested->left,
                         suggested->bottom - suggested->top, SWP_NOZORDER | SWP_NOACTIVATE);
        }
        break;
    }
    // Classic mouse messages, only where the mouse does not produce pointer messages. Their
    // points are client coordinates (the wheel's excepted); they go through the pointer path
    // as screen points so that both paths convert alike.
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
    case WM_MBUTTONDOWN:
    case WM_LBUTTONUP:
    case WM_RBUTTONUP:
    case WM_MBUTTONUP: {
        if (mouseInPointerEnabled()) {
            break;
        }
        const uint32_t code = message.message;
        const uint64_t button = (code == WM_LBUTTONDOWN || code == WM_LBUTTONUP)   ? 0
                                : (code == WM_RBUTTONDOWN || code == WM_RBUTTONUP) ? 1
                                                                                   : 2;
        const bool down = code == WM_LBUTTONDOWN || code == WM_RBUTTONDOWN || code == WM_MBUTTONDOWN;
        // Capture keeps the release coming when a drag leaves the window.
        if (down) {
            SetCapture(handle);
        } else if ((first & (MK_LBUTTON | MK_RBUTTON | MK_MBUTTON)) == 0) {
            ReleaseCapture();
        }
        sendPointerMessage(down ? InputMessage::InputPointerDown : InputMessage::InputPointerUp, button,
                           packScreenPoint(handle, second));
        break;
    }
    case WM_MOUSEMOVE: {
        if (mouseInPointerEnabled()) {
            break;
        }
        const uint64_t source = (first & MK_LBUTTON) != 0   ? 0
                                : (first & MK_RBUTTON) != 0 ? 1
                                : (first & MK_MBUTTON) != 0 ? 2
                                                            : 0;
        sendPointerMessage(InputMessage::InputPointerMove, source, packScreenPoint(handle, second));
        break;
    }
    case WM_MOUSEWHEEL:
        if (!mouseInPointerEnabled()) {
            sendWheelMessage(highWord(first));
        }
        break;
    default:
        break;
    }
    if (data->previousWindowProc != nullptr) {
        return CallWindowProcW(data->previousWindowProc, handle, message.message, first, second);
    }
    return DefWindowProcW(handle, message.message, first, second);
}

} // namespace Tarn
