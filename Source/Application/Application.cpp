#include <Tarn/Application/Application.h>
#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/LogManager.h>

#include "Application/Internal/ApplicationPlatform.h"

#include <iostream>
#include <iterator>

namespace Tarn {

namespace {
const std::string emptyString;
}

Application::~Application() = default;

void Application::run(int argc, const char* const* argv) {
    processArgs(argc, argv);
    if (hasArg("help")) {
        displayHelp();
        return;
    }
    if (!initialize()) {
        return;
    }
    run();
    cleanup();
}

void Application::processArgs(int argc, const char* const* argv) {
    for (int i = 0; i < argc && argv != nullptr; ++i) {
        const StringView argument(argv[i]);
        if (argument.size() <= 2 || argument[0] != '-' || argument[1] != '-') {
            continue;
        }
        // split() keeps only non-empty runs: "--a=" is "a" alone and "--a==b" is a and b.
        const StringView::Pieces pieces = argument.substr(2).split("=");
        StringView name;
        StringView value;
        if (pieces.size() == 1) {
            name = pieces[0];
            value = "true";
        } else if (pieces.size() == 2) {
            name = pieces[0];
            value = pieces[1];
        } else {
            continue; // a value holding "=" is ignored, deliberately
        }
        if (processArg(name, value)) {
            arguments.insert_or_assign(name.to_string(), value.to_string());
        }
    }
}

Logging::Category Application::getDefaultLogLevel() {
    return Logging::parseCategoryString(getArgValue("loglevel"));
}

bool Application::hasArg(StringView name) const {
    return arguments.find(name.to_string_view()) != arguments.end();
}

const std::string& Application::getArgValue(StringView name) const {
    const auto found = arguments.find(name.to_string_view());
    return found != arguments.end() ? found->second : emptyString;
}

const std::string& Application::getArgName(uint64_t index) const {
    if (index >= arguments.size()) {
        return emptyString;
    }
    auto position = arguments.begin();
    std::advance(position, static_cast<std::ptrdiff_t>(index));
    return position->first;
}

uint64_t Application::getNoOfArgs() const {
    return arguments.size();
}

void Application::injectArg(StringView name, StringView value, bool overwrite) {
    if (!overwrite && hasArg(name)) {
        return;
    }
    arguments.insert_or_assign(name.to_string(), value.to_string());
}

bool Application::isBeingDebugged() {
    return Platform::Detail::isDebuggerAttached();
}

void Application::run() {
    if (hasArg("nowindow")) {
        while (update()) {
        }
        return;
    }
    // Pending events always go first: update runs only when the queue is empty.
    Platform::Detail::EventSource& events = Platform::Detail::threadEventSource();
    for (;;) {
        switch (events.dispatchOne()) {
        case Platform::Detail::EventSource::Poll::Quit:
            return;
        case Platform::Detail::EventSource::Poll::Dispatched:
            continue;
        case Platform::Detail::EventSource::Poll::Empty:
            if (!update()) {
                return;
            }
            break;
        }
    }
}

bool Application::processArg(StringView, StringView) {
    return true;
}

void Application::displayHelp() const {
    static const char* const lines[] = {
        "\nThe following common command line arguments are also available:\n\n",
        "    --help                Display help information.\n",
        ("    --nowindow            Do not create a window.  Also enables the null-renderer if "
         "--renderer.graphicsDevice= is not also specified.\n"),
        "    --logcolors=[on|off]  Enable or disable colouring console log output.  Default is on.\n",
        "    --loglevel=<level>    Set the logging level of detail.  Level can be one of:\n",
        "                          trace, debug, info, warning, error, or fatal.\n",
    };
    // Through the standard stream, so that a redirection of std::cout sees it as well as one of
    // the process's standard output (the stream writes through C's stdout while synchronised).
    for (const char* line : lines) {
        std::cout << line;
    }
    std::cout.flush();
}

bool Application::initialize() {
    Logging::setLoggerCategory(getDefaultLogLevel());
    // Created here unless it exists already, in which case it keeps its own minimum.
    Logging::ConsoleLogger& console = Logging::ConsoleLogger::instance();
    if (getArgValue("logcolors") == "off") {
        console.setUseColor(false);
    }
    Platform::Detail::setUpDisplayAndPointer();
    return true;
}

bool Application::update() {
    return true;
}

void Application::cleanup() {
    windowData = nullptr;
    arguments.clear();
}

} // namespace Tarn
