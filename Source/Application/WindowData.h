#pragma once

#if defined(_WIN32)
struct HWND__; // what HWND points to
#endif

namespace Tarn {

/// The record through which the application's window reaches the application shell
/// (Application::setWindowData). The window that owns it fills it in and frees it.
struct WindowData {
#if defined(_WIN32)
    /// WNDPROC and HWND, spelled without <windows.h>.
    ///@{
    using WindowProc = long long (*)(::HWND__*, unsigned int, unsigned long long, long long);
    using WindowHandle = ::HWND__*;
    ///@}
#else
    /// On Linux the handle is the X window id; nothing is subclassed there, so the procedure
    /// stays null.
    ///@{
    using WindowProc = void*;
    using WindowHandle = void*;
    ///@}
#endif

    /// The window procedure replaced when an existing window was attached; null for a window the
    /// library created.
    WindowProc previousWindowProc = nullptr;
    /// The window; null before it is created or attached and after it is destroyed or detached.
    WindowHandle windowHandle = nullptr;
};

} // namespace Tarn
