// TarnDemo: a program built on Tarn::Application that shows the library at work in a few seconds,
// with no network beyond the loopback interface. Run it with --help for its options.

#include "Demo.h"

#include <Tarn/Application/Application.h>
#include <Tarn/Application/Threads.h>
#include <Tarn/Application/Timer.h>
#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/Diagnostics.h>
#include <Tarn/Logging/LogManager.h>

#include <cstdio>
#include <functional>
#include <vector>

#if defined(_WIN32)
#include <winsock2.h>
#endif

namespace TarnDemo {

namespace {

// The library leaves socket start-up to the application, as Windows asks of every program.
bool startSockets() {
#if defined(_WIN32)
    WSADATA data;
    const int error = WSAStartup(MAKEWORD(2, 2), &data);
    if (error != 0) {
        std::fprintf(stderr, "TarnDemo: WSAStartup failed with error %d\n", error);
        return false;
    }
#endif
    return true;
}

void stopSockets() {
#if defined(_WIN32)
    WSACleanup();
#endif
}

class DemoApplication : public Tarn::Application {
public:
    int exitStatus() const { return status; }

protected:
    void displayHelp() const override {
        std::fputs("Usage: TarnDemo [options]\n"
                   "\n"
                   "Shows the Tarn.Foundation library at work: the system description, the command line,\n"
                   "logging, the network adapters, a loopback echo, gesture recognition, geodesy, polygon\n"
                   "subtraction and the allocation totals per memory tag. Exits 0 when every section\n"
                   "worked, 1 with the reason when one did not.\n",
                   stdout);
        std::fflush(stdout);
        Application::displayHelp();
    }

    bool initialize() override {
        if (!Application::initialize()) {
            return false;
        }
        // Warnings and errors on standard error, the rest beside the demo's own lines.
        Tarn::Logging::ConsoleLogger::instance().setStderrThreshold(Tarn::Logging::Category::Warning);
        Tarn::Logging::enableUnhandledExceptionLogging();
        if (!startSockets()) {
            status = 1;
            return false;
        }
        socketsStarted = true;
        clock = Tarn::Timer::startNew();
        sections = {
            {"System", [this] { return showSystem(); }},
            {"Command line", [this] { return showCommandLine(); }},
            {"Logging",
             [this] { return showLogging(getArgValue("loglevel"), getArgValue("logcolors") != "off"); }},
            {"Network adapters", [this] { return showAdapters(memory); }},
            {"Loopback echo", [] { return showEcho(); }},
            {"Gestures", [this] { return showGestures(memory); }},
            {"Geodesy", [] { return showGeodesy(); }},
            {"Polygons", [] { return showPolygons(); }},
            {"Memory", [this] { return showMemory(memory); }},
        };
        return true;
    }

    // One section per frame: the main loop (the message pump on Windows) runs them in turn.
    bool update() override {
        const Section& section = sections[next++];
        std::printf("\n== %s\n", section.name);
        std::fflush(stdout);
        const Result result = section.show();
        std::fflush(stdout);
        switch (result.status) {
        case Result::Status::Passed:
            ++passed;
            break;
        case Result::Status::Skipped:
            ++skipped;
            std::printf("   (skipped: %s)\n", result.message.c_str());
            break;
        case Result::Status::Failed:
            std::fflush(stdout);
            std::fprintf(stderr, "TarnDemo failed in section %s: %s\n", section.name, result.message.c_str());
            status = 1;
            return false;
        }
        return next < sections.size();
    }

    void cleanup() override {
        if (status == 0) {
            std::printf("\nTarnDemo finished in %.2f s: %u sections passed, %u skipped\n",
                        clock.elapsedSeconds(), passed, skipped);
        }
        std::fflush(stdout);
        if (socketsStarted) {
            stopSockets();
            socketsStarted = false;
        }
        Application::cleanup();
    }

private:
    struct Section {
        const char* name;
        std::function<Result()> show;
    };

    Result showSystem() const {
        const std::string os = Tarn::Logging::getOsNameAndVersion();
        std::printf("%s\n", os.c_str());
        std::printf("   hardware threads: %llu\n",
                    static_cast<unsigned long long>(Tarn::Threads::hardwareConcurrency()));
        std::printf("   debugger attached: %s\n", isBeingDebugged() ? "yes" : "no");
        if (os.rfind("Logging OS Version: [OS Name]: ", 0) != 0) {
            return Result::failed("the OS description does not have its prefix: " + os);
        }
        return Result::passed();
    }

    Result showCommandLine() const {
        std::printf("   %llu argument(s):\n", static_cast<unsigned long long>(getNoOfArgs()));
        for (uint64_t i = 0; i < getNoOfArgs(); ++i) {
            const std::string& name = getArgName(i);
            std::printf("     --%s = \"%s\"\n", name.c_str(), getArgValue(name).c_str());
        }
        std::printf("   --help would print:\n");
        std::fflush(stdout);
        displayHelp();
        return Result::passed();
    }

    TaggedAllocator memory;
    std::vector<Section> sections;
    std::size_t next = 0;
    unsigned passed = 0;
    unsigned skipped = 0;
    int status = 0;
    bool socketsStarted = false;
    Tarn::Timer clock;
};

} // namespace

} // namespace TarnDemo

int main(int argc, char** argv) {
    TarnDemo::DemoApplication demo;
    demo.run(argc, argv);
    return demo.exitStatus();
}
