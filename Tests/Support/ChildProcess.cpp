#include "ChildProcess.h"
#include "TempDir.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#if defined(_WIN32)
#include <Tarn/Strings/TextConversion.h>

#include <windows.h>
#else
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char** environ;
#endif

namespace Tarn::Testing {

namespace {
constexpr const char* childVariable = "TARN_TEST_CHILD";

#if defined(_WIN32)
void spawnAndWait(const std::string& testName, const std::string& outputPath, int timeoutSeconds,
                  ChildRun& run) {
    wchar_t program[4096];
    const DWORD length = GetModuleFileNameW(nullptr, program, 4096);
    if (length == 0 || length >= 4096) {
        return;
    }
    std::wstring command = L"\"" + std::wstring(program, length) + L"\" --gtest_filter=" + widen(testName) +
                           L" --gtest_also_run_disabled_tests --gtest_color=no";
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE output = CreateFileW(widen(outputPath).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                &inherit, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (output == INVALID_HANDLE_VALUE) {
        return;
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                        &startup, &process);
    CloseHandle(output);
    if (!started) {
        return;
    }
    CloseHandle(process.hThread);
    if (WaitForSingleObject(process.hProcess, static_cast<DWORD>(timeoutSeconds) * 1000) == WAIT_OBJECT_0) {
        DWORD code = 0;
        GetExitCodeProcess(process.hProcess, &code);
        run.exitCode = code;
        run.finished = true;
    } else {
        TerminateProcess(process.hProcess, 1);
        WaitForSingleObject(process.hProcess, 10000);
    }
    CloseHandle(process.hProcess);
}
#else
void spawnAndWait(const std::string& testName, const std::string& outputPath, int timeoutSeconds,
                  ChildRun& run) {
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof(program) - 1);
    if (length <= 0) {
        return;
    }
    program[length] = '\0';
    std::string filter = "--gtest_filter=" + testName;
    char disabled[] = "--gtest_also_run_disabled_tests";
    char color[] = "--gtest_color=no";
    char* arguments[] = {program, filter.data(), disabled, color, nullptr};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t child = 0;
    const int spawned = posix_spawn(&child, program, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            break;
        }
        if (done < 0 || std::chrono::steady_clock::now() >= deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    run.finished = true;
    if (WIFEXITED(status)) {
        run.exitCode = static_cast<unsigned>(WEXITSTATUS(status));
    } else if (WIFSIGNALED(status)) {
        run.signal = WTERMSIG(status);
    }
}
#endif

} // namespace

ChildRun runTestInChild(const std::string& testName, const std::string& argument, int timeoutSeconds) {
    TempDir folder;
    const std::string outputPath = folder.file("child-output.txt");
    ChildRun run;
    {
        const ScopedEnvironmentVariable variable(childVariable, argument.c_str());
        spawnAndWait(testName, outputPath, timeoutSeconds, run);
    }
    run.output = folder.read("child-output.txt");
    return run;
}

const char* childArgument() {
    return std::getenv(childVariable);
}

} // namespace Tarn::Testing
