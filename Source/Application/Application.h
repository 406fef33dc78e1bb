#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Logging/Category.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace Tarn {

struct WindowData;

/// The base class of a program built on the library.
///
///     class Viewer : public Tarn::Application {
///         bool initialize() override { return Application::initialize() && openScene(); }
///         bool update() override { return drawFrame(); }
///     };
///     int main(int argc, char** argv) { Viewer().run(argc, argv); }
///
/// `run(argc, argv)` parses arguments of the form --name=value (--name alone means "true") into a
/// table ordered by name, shows the help text when --help is given, and otherwise initialises
/// (log level from --loglevel, console colours from --logcolors, display scaling and pointer input
/// on Windows), runs the main loop and cleans up. The main loop is a plain update loop with
/// --nowindow, else the platform's message pump, which calls `update` only while no message is
/// waiting. Everything runs on the calling thread.
///
/// The virtual operations, in slot order: destructor, run, getDefaultLogLevel, processArg,
/// displayHelp, initialize, update, cleanup.
class TARN_API Application {
public:
    Application() = default;
    /// Copies the window data pointer and the whole argument table.
    ///@{
    Application(const Application&) = default;
    Application& operator=(const Application&) = default;
    ///@}
    virtual ~Application();

protected:
    /// The main loop (see the class comment). With --nowindow and the base `update`, which always
    /// returns true, it never ends: programs override `update`. (Declared here, ahead of
    /// getDefaultLogLevel, to keep the virtual slot order.)
    virtual void run();

public:
    /// Parses the arguments; then either displays the help (with --help) or initialises, runs the
    /// main loop and cleans up. A failing `initialize` ends it at once, without the loop or
    /// `cleanup`. The program path at index 0 is examined like any argument and never matches.
    void run(int argc, const char* const* argv);

    /// The category named by --loglevel (Debug when absent or not a category word).
    virtual Logging::Category getDefaultLogLevel();

    /// Whether an argument of this name was given (or injected); names compare byte for byte.
    bool hasArg(StringView name) const;
    /// The stored value, or an empty string when the argument is absent.
    const std::string& getArgValue(StringView name) const;
    /// The name at `index` in table order, or an empty string when `index >= getNoOfArgs()`.
    const std::string& getArgName(uint64_t index) const;
    /// Number of stored arguments.
    uint64_t getNoOfArgs() const;
    /// Stores `value` under `name`, unless `overwrite` is false and the name is present.
    void injectArg(StringView name, StringView value, bool overwrite = true);

    /// The application's window record; not owned.
    ///@{
    void setWindowData(WindowData* data) { windowData = data; }
    WindowData* getWindowData() const { return windowData; }
    ///@}

    /// Whether a debugger is attached to the process (Linux: a tracer).
    static bool isBeingDebugged();

protected:
    /// Called for each well-formed argument before it is stored; false drops it.
    virtual bool processArg(StringView name, StringView value);
    /// Writes the common help text to standard output. A program prints its own usage first and
    /// then calls this.
    virtual void displayHelp() const;
    /// Sets up logging (default level, console consumer, colours) and, on Windows, per-monitor DPI
    /// awareness and pointer input; returns true.
    virtual bool initialize();
    /// One frame; false ends the main loop.
    virtual bool update();
    /// Clears the window data pointer and the argument table.
    virtual void cleanup();

private:
    void processArgs(int argc, const char* const* argv);

    WindowData* windowData = nullptr;
    /// Ordered by byte-wise comparison of the names.
    std::map<std::string, std::string, std::less<>> arguments;
};

} // namespace Tarn
