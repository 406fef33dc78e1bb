#include "Application/Internal/ThreadNaming.h"

#include <string>
#include <windows.h>

namespace Tarn::Platform::Detail {

namespace {

// The record a debugger reads from the naming exception; its layout is fixed by the protocol.
#pragma pack(push, 8)
struct ThreadNameInfo {
    DWORD type;       // always 0x1000
    const char* name; // null-terminated, in the ANSI code page
    DWORD threadId;
    DWORD flags; // reserved, 0
};
#pragma pack(pop)

constexpr DWORD threadNamingException = 0x406D1388;

LONG CALLBACK swallowNamingException(EXCEPTION_POINTERS* info) {
    if (info->ExceptionRecord->ExceptionCode == threadNamingException) {
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

// Without a debugger nobody would handle the exception and the process would die, so a handler
// swallows it for the duration of the call; with a debugger attached the debugger consumes it
// first. The integer registers are restored afterwards because unwinding through foreign
// exception machinery has been seen to clobber non-volatile registers; this function does nothing
// after the restore but return, so the restored values cannot go stale in it.
[[gnu::noinline]] void raiseNamingException(const ThreadNameInfo& info) {
    void* handler = AddVectoredExceptionHandler(1, swallowNamingException);
    if (handler == nullptr) {
        return;
    }
    CONTEXT context{};
    context.ContextFlags = CONTEXT_INTEGER;
    const BOOL saved = GetThreadContext(GetCurrentThread(), &context);
    RaiseException(threadNamingException, 0, sizeof(info) / sizeof(ULONG_PTR),
                   reinterpret_cast<const ULONG_PTR*>(&info));
    RemoveVectoredExceptionHandler(handler);
    if (saved) {
        SetThreadContext(GetCurrentThread(), &context);
    }
}

// Names set this way are what current debuggers and crash dumps show. Looked up at run time:
// older systems do not have the call.
using SetThreadDescriptionFn = HRESULT(WINAPI*)(HANDLE, PCWSTR);

SetThreadDescriptionFn setThreadDescription() {
    static const SetThreadDescriptionFn function = [] {
        HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        FARPROC proc = kernel != nullptr ? GetProcAddress(kernel, "SetThreadDescription") : nullptr;
        return reinterpret_cast<SetThreadDescriptionFn>(reinterpret_cast<void (*)()>(proc));
    }();
    return function;
}

std::wstring toWide(const char* text) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (length <= 0) {
        return {};
    }
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), length);
    wide.resize(static_cast<std::size_t>(length - 1));
    return wide;
}

void nameThread(HANDLE thread, const char* name) {
    if (SetThreadDescriptionFn describe = setThreadDescription()) {
        describe(thread, toWide(name).c_str());
    }
    const ThreadNameInfo info{0x1000, name, GetThreadId(thread), 0};
    raiseNamingException(info);
}

} // namespace

void setThreadName(std::uintptr_t thread, const char* name) {
    nameThread(reinterpret_cast<HANDLE>(thread), name);
}

void setCurrentThreadName(const char* name) {
    nameThread(GetCurrentThread(), name);
}

} // namespace Tarn::Platform::Detail
