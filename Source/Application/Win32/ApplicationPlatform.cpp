#include <Tarn/Application/Module.h>

#include "Application/Internal/ApplicationPlatform.h"

#include <windows.h>

namespace Tarn::Platform::Detail {

namespace {

// The optional user32 and shcore functions, looked up at run time: older systems lack them, and
// a missing one must not keep the library from loading.
class User32Module final : public Module {
public:
    using SetProcessDpiAwarenessContextFn = BOOL(WINAPI*)(HANDLE);
    using EnableMouseInPointerFn = BOOL(WINAPI*)(BOOL);

    User32Module() {
        load("user32.dll", loadStatus, handle);
        initPtrs();
    }
    void initPtrs() override {
        setProcessDpiAwarenessContext = reinterpret_cast<SetProcessDpiAwarenessContextFn>(
            getProcAddress("SetProcessDpiAwarenessContext"));
        enableMouseInPointer =
            reinterpret_cast<EnableMouseInPointerFn>(getProcAddress("EnableMouseInPointer"));
    }

    SetProcessDpiAwarenessContextFn setProcessDpiAwarenessContext = nullptr;
    EnableMouseInPointerFn enableMouseInPointer = nullptr;
};

class ShcoreModule final : public Module {
public:
    using SetProcessDpiAwarenessFn = HRESULT(WINAPI*)(int);

    ShcoreModule() {
        load("shcore.dll", loadStatus, handle);
        initPtrs();
    }
    void initPtrs() override {
        setProcessDpiAwareness =
            reinterpret_cast<SetProcessDpiAwarenessFn>(getProcAddress("SetProcessDpiAwareness"));
    }

    SetProcessDpiAwarenessFn setProcessDpiAwareness = nullptr;
};

User32Module& user32() {
    static User32Module module;
    return module;
}

// Only loaded when the per-monitor context is not available.
ShcoreModule& shcore() {
    static ShcoreModule module;
    return module;
}

constexpr intptr_t perMonitorAwareV2Context = -3;
constexpr int perMonitorDpiAware = 2;

class MessageQueue final : public EventSource {
public:
    Poll dispatchOne() override {
        MSG message;
        if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            return Poll::Empty;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
        return message.message == WM_QUIT ? Poll::Quit : Poll::Dispatched;
    }
};

} // namespace

void setUpDisplayAndPointer() {
    User32Module& user = user32();
    const bool contextSet =
        user.setProcessDpiAwarenessContext != nullptr &&
        user.setProcessDpiAwarenessContext(reinterpret_cast<HANDLE>(perMonitorAwareV2Context)) != 0;
    if (!contextSet) {
        ShcoreModule& shell = shcore();
        if (shell.setProcessDpiAwareness != nullptr) {
            shell.setProcessDpiAwareness(perMonitorDpiAware);
        }
    }
    if (user.enableMouseInPointer != nullptr) {
        user.enableMouseInPointer(TRUE);
    }
}

bool isDebuggerAttached() {
    return IsDebuggerPresent() != 0;
}

EventSource& threadEventSource() {
    // Stateless: each thread's queue is reached through the calls themselves.
    static MessageQueue queue;
    return queue;
}

} // namespace Tarn::Platform::Detail
