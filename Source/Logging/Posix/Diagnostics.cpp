#include <Tarn/Logging/Diagnostics.h>

#include "Logging/Internal/Diagnostics.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <ucontext.h>
#include <unistd.h>

namespace Tarn::Logging::Detail {

const char* const osName = "Linux";

// The crash handler runs when the process may be in any state, so what it needs is prepared when
// it is installed: the alternate signal stack (a stack overflow leaves no room on the thread's own),
// the frame array, the demangling buffer, the symbol session with the modules loaded so far, the
// unwinder (glibc loads it on first use) and a reporter thread. The crashed thread only captures
// its frames (async-signal-safe once the unwinder is loaded) and hands them over through a pipe.
// What cannot be prepared is the report itself: libdw reads debug information on demand and
// allocates, and logging takes the manager's mutex. If either blocks on a lock the crashed code
// held, a watchdog alarm ends the process.
namespace {

constexpr int crashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int maxFrames = 199;
constexpr std::size_t alternateStackSize = 256 * 1024;
constexpr std::size_t reporterStackSize = 4 * 1024 * 1024;
constexpr std::size_t demangleBufferSize = 4096;
constexpr unsigned watchdogSeconds = 10;

struct CrashState {
    void* frames[maxFrames];
    int frameCount = 0;
    const void* fault = nullptr;
    // The reporter thread waits on the request pipe and answers on the done pipe.
    int requestPipe[2] = {-1, -1};
    int donePipe[2] = {-1, -1};
    pthread_t reporter{};
    bool reporterStarted = false;
    // The process that started the reporter: a forked child has no such thread.
    pid_t reporterProcess = 0;
    char* demangled = nullptr;
    std::size_t demangledSize = 0;
    Dwfl* symbols = nullptr;
    Dwfl_Callbacks callbacks{};
    char* debugInfoPath = nullptr;
};

CrashState state;
// The crashed thread; 0 while none has.
std::atomic<pid_t> reportingThread{0};

pid_t currentThreadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// Restores the default action and sends the signal again: it is blocked while its handler runs,
// so it is delivered, with the default action, as soon as the handler returns. A fault re-executed
// after the return would raise it anyway; an abort or a raised signal would not.
void dieWithDefaultAction(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
    raise(signal);
}

// The address that faulted, when the platform's context is known: it is the one frame that is not
// a return address.
const void* faultAddress(const void* context) {
    const auto* user = static_cast<const ucontext_t*>(context);
    if (user == nullptr) {
        return nullptr;
    }
#if defined(__x86_64__)
    return reinterpret_cast<const void*>(user->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<const void*>(user->uc_mcontext.pc);
#else
    return nullptr;
#endif
}

const char* demangle(const char* name) {
    int status = 0;
    std::size_t size = state.demangledSize;
    char* result = abi::__cxa_demangle(name, state.demangled, &size, &status);
    if (status != 0 || result == nullptr) {
        return name; // a C name, or not a mangled one
    }
    // The demangler grows the buffer with realloc when it must.
    state.demangled = result;
    state.demangledSize = size > state.demangledSize ? size : state.demangledSize;
    return result;
}

void logFrame(const void* address) {
    Dwfl_Module* module = state.symbols != nullptr
                              ? dwfl_addrmodule(state.symbols, reinterpret_cast<Dwarf_Addr>(address))
                              : nullptr;
    const char* name =
        module != nullptr ? dwfl_module_addrname(module, reinterpret_cast<GElf_Addr>(address)) : nullptr;
    if (name == nullptr) {
        logCrashFrame(address, nullptr, nullptr, 0);
        return;
    }
    const char* function = demangle(name);
    Dwfl_Line* line = dwfl_module_getsrc(module, reinterpret_cast<Dwarf_Addr>(address));
    int lineNumber = 0;
    const char* file =
        line != nullptr ? dwfl_lineinfo(line, nullptr, &lineNumber, nullptr, nullptr, nullptr) : nullptr;
    logCrashFrame(address, function, file, lineNumber);
}

// Symbolises and logs the captured frames: on the reporter thread, or inline when it is missing.
void report() {
    logCrashHeader();
    if (state.symbols != nullptr) {
        // Libraries loaded since the handler was installed.
        dwfl_report_begin_add(state.symbols);
        dwfl_linux_proc_report(state.symbols, getpid());
        dwfl_report_end(state.symbols, nullptr, nullptr);
    }
    for (int i = 0; i < state.frameCount; ++i) {
        // A return address points after the call; the call itself is what belongs to the frame.
        const void* address =
            state.frames[i] == state.fault ? state.fault : static_cast<const char*>(state.frames[i]) - 1;
        logFrame(address);
    }
    // File consumers buffer their lines; the default action ends the process without flushing them.
    std::fflush(nullptr);
}

// The symbol lookup needs far more stack than a signal stack offers (and other runtimes give
// threads small alternate stacks of their own), so it runs on a thread prepared for it, with an
// ordinary stack, while the crashed thread waits.
void* reporterMain(void*) {
    pthread_setname_np(pthread_self(), "Crash reporter");
    for (;;) {
        char request = 0;
        const ssize_t got = read(state.requestPipe[0], &request, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got != 1) {
            return nullptr;
        }
        report();
        const char done = 1;
        while (write(state.donePipe[1], &done, 1) < 0 && errno == EINTR) {
        }
    }
}

bool reportOnReporterThread() {
    if (!state.reporterStarted || state.reporterProcess != getpid()) {
        return false; // never started, or not in this process (a forked child)
    }
    const char request = 1;
    if (write(state.requestPipe[1], &request, 1) != 1) {
        return false;
    }
    pollfd done{state.donePipe[0], POLLIN, 0};
    if (poll(&done, 1, static_cast<int>(watchdogSeconds - 1) * 1000) != 1) {
        return false;
    }
    char answer = 0;
    return read(state.donePipe[0], &answer, 1) == 1;
}

void handleCrash(int signal, siginfo_t*, void* context) {
    const pid_t self = currentThreadId();
    if (state.reporterStarted && pthread_equal(pthread_self(), state.reporter)) {
        dieWithDefaultAction(signal); // the report itself crashed
        return;
    }
    pid_t expected = 0;
    if (!reportingThread.compare_exchange_strong(expected, self)) {
        if (expected == self) {
            dieWithDefaultAction(signal); // the inline report crashed
            return;
        }
        // Another thread is reporting and will end the process; wait for it.
        for (;;) {
            pause();
        }
    }
    // Should a lock that the crashed code held block the report, the alarm ends the process.
    struct sigaction alarmAction {};
    alarmAction.sa_handler = SIG_DFL;
    sigemptyset(&alarmAction.sa_mask);
    sigaction(SIGALRM, &alarmAction, nullptr);
    alarm(watchdogSeconds);

    state.frameCount = backtrace(state.frames, maxFrames);
    state.fault = faultAddress(context);
    if (!reportOnReporterThread()) {
        report();
    }
    dieWithDefaultAction(signal);
}

void startReporter() {
    if (pipe2(state.requestPipe, O_CLOEXEC) != 0) {
        return;
    }
    if (pipe2(state.donePipe, O_CLOEXEC) != 0) {
        return;
    }
    // No signal is delivered to it: it must stay free to report.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, reporterStackSize);
    state.reporterStarted = pthread_create(&state.reporter, &attributes, reporterMain, nullptr) == 0;
    state.reporterProcess = getpid();
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

void prepare() {
    void* warmUp[2];
    backtrace(warmUp, 2);
    state.demangled = static_cast<char*>(std::malloc(demangleBufferSize));
    state.demangledSize = state.demangled != nullptr ? demangleBufferSize : 0;
    state.callbacks.find_elf = dwfl_linux_proc_find_elf;
    state.callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
    state.callbacks.debuginfo_path = &state.debugInfoPath;
    state.symbols = dwfl_begin(&state.callbacks);
    if (state.symbols != nullptr) {
        dwfl_report_begin(state.symbols);
        dwfl_linux_proc_report(state.symbols, getpid());
        dwfl_report_end(state.symbols, nullptr, nullptr);
    }
    startReporter();
}

void installAlternateStack() {
    stack_t current{};
    if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) &&
        current.ss_size >= alternateStackSize) {
        return; // the thread has one big enough already
    }
    void* memory =
        mmap(nullptr, alternateStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return;
    }
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = alternateStackSize;
    if (sigaltstack(&stack, nullptr) != 0) {
        munmap(memory, alternateStackSize);
    }
}

} // namespace

void installCrashHandler() {
    static std::once_flag prepared;
    std::call_once(prepared, prepare);
    installAlternateStack();
    struct sigaction action {};
    action.sa_sigaction = handleCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : crashSignals) {
        sigaction(signal, &action, nullptr);
    }
}

namespace {

// The value of `key` in an os-release file, unquoted; empty when absent.
std::string osReleaseValue(const char* key) {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::FILE* file = std::fopen(path, "r");
        if (file == nullptr) {
            continue;
        }
        std::string value;
        char line[512];
        const std::size_t keyLength = std::strlen(key);
        while (std::fgets(line, sizeof(line), file) != nullptr) {
            if (std::strncmp(line, key, keyLength) != 0 || line[keyLength] != '=') {
                continue;
            }
            std::string raw(line + keyLength + 1);
            while (!raw.empty() && (raw.back() == '\n' || raw.back() == '\r')) {
                raw.pop_back();
            }
            // Shell-style: optionally quoted, with backslash escapes inside quotes.
            if (raw.size() >= 2 && (raw.front() == '"' || raw.front() == '\'') && raw.back() == raw.front()) {
                raw = raw.substr(1, raw.size() - 2);
            }
            for (std::size_t i = 0; i < raw.size(); ++i) {
                if (raw[i] == '\\' && i + 1 < raw.size()) {
                    ++i;
                }
                value += raw[i];
            }
            break;
        }
        std::fclose(file);
        return value;
    }
    return {};
}

bool is64BitMachine(const char* machine) {
    return std::strstr(machine, "64") != nullptr || std::strcmp(machine, "s390x") == 0 ||
           std::strcmp(machine, "alpha") == 0;
}

} // namespace

bool osDisplayText(std::string& text) {
    struct utsname system {};
    if (uname(&system) != 0) {
        return false;
    }
    std::string distribution = osReleaseValue("PRETTY_NAME");
    if (distribution.empty()) {
        distribution = osReleaseValue("NAME");
    }
    if (distribution.empty()) {
        distribution = "Linux";
    }
    text = distribution + " (kernel " + system.release + "), " +
           (is64BitMachine(system.machine) ? "64-bit" : "32-bit");
    return true;
}

} // namespace Tarn::Logging::Detail
