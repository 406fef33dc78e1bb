#include <Tarn/Application/Threads.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace {

// The name the system reports for a thread, read back through the platform's own call.
std::string systemThreadName(std::thread& thread) {
#if defined(_WIN32)
    using GetThreadDescriptionFn = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    auto get = reinterpret_cast<GetThreadDescriptionFn>(reinterpret_cast<void (*)()>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetThreadDescription")));
    if (get == nullptr) {
        return "<unsupported>";
    }
    PWSTR wide = nullptr;
    if (FAILED(get(static_cast<HANDLE>(pthread_gethandle(thread.native_handle())), &wide))) {
        return "<failed>";
    }
    char narrow[256] = {};
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, narrow, sizeof(narrow), nullptr, nullptr);
    LocalFree(wide);
    return narrow;
#else
    char name[64] = {};
    pthread_getname_np(thread.native_handle(), name, sizeof(name));
    return name;
#endif
}

// A thread that waits until released, so that it can be named and inspected from outside.
struct ParkedThread {
    std::atomic<bool> release{false};
    std::thread thread{[this] {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!release.load() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }};
    ~ParkedThread() {
        release = true;
        thread.join();
    }
};

} // namespace

TEST(Threads, SetNameIsVisibleToTheSystem) {
    ParkedThread parked;
    Tarn::Threads::setName(parked.thread, "Network");
    EXPECT_EQ(systemThreadName(parked.thread), "Network");

    // Long names: Linux keeps 15 bytes and never half a UTF-8 character; Windows keeps all.
    Tarn::Threads::setName(parked.thread, "AssetStreamingWorker");
#if defined(_WIN32)
    EXPECT_EQ(systemThreadName(parked.thread), "AssetStreamingWorker");
#else
    EXPECT_EQ(systemThreadName(parked.thread), "AssetStreamingW");
    Tarn::Threads::setName(parked.thread, "abcdefghijklmn\xC3\xA9xyz");
    EXPECT_EQ(systemThreadName(parked.thread), "abcdefghijklmn");
#endif
    Tarn::Threads::setName(parked.thread, nullptr);
    std::thread notStarted;
    Tarn::Threads::setName(notStarted, "Nobody");
}

TEST(Threads, NamingTheCallingThreadPreservesItsState) {
    // The naming protocol raises an exception on Windows; everything live around it must survive.
    volatile int64_t a = 0x1234567890, b = -77;
    double c = 2.5;
    std::string d = "kept";
    for (int i = 0; i < 50; ++i) {
        Tarn::Threads::setCurrentName("TestMain");
        a = a + 1;
        b = b - 1;
        c *= 1.0;
    }
    EXPECT_EQ(a, 0x1234567890 + 50);
    EXPECT_EQ(b, -127);
    EXPECT_EQ(c, 2.5);
    EXPECT_EQ(d, "kept");
}

// Zero and negative requests return (a negative one taken as a huge unsigned count would hang the
// test until its time limit).
TEST(Threads, SleepWaitsAtLeastTheRequestAndNotForNothing) {
    using Clock = std::chrono::steady_clock;
    Tarn::Threads::sleep(0);
    Tarn::Threads::sleep(-5);
    Tarn::Threads::sleep(INT64_MIN);

    const auto before = Clock::now();
    Tarn::Threads::sleep(30);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(30));
    Tarn::Threads::yield();
}
