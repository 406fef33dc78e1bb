#pragma once

// What the display tests need from the platform beyond the library: pumping this thread's window
// events, asking the window system about a window, and starting xdotool. One implementation per
// platform (Win32Display.cpp, X11Display.cpp).
#include <Tarn/Application/PlatformContext.h>
#include <Tarn/Application/Window.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Network/Message.h>

#include <glm/vec2.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace DisplayHarness {

constexpr auto deadline = std::chrono::seconds(5);

/// Whether a display is there to test on; the tests skip without one.
bool available();
/// Pumps this thread's window events until `done` holds or the deadline passes; returns `done()`.
bool pumpUntil(const std::function<bool()>& done);
/// Pumps for a short while, for "nothing else arrives" checks.
inline void pumpFor(std::chrono::milliseconds span) {
    const auto end = std::chrono::steady_clock::now() + span;
    pumpUntil([&] { return std::chrono::steady_clock::now() > end; });
}
/// Runs xdotool with the given arguments; it may still be running when this returns.
bool xdotool(const std::string& arguments);
/// The X window that xdotool addresses for this window.
std::string xWindowId(Tarn::Window& window);
/// The client area's size and its top-left corner in screen coordinates.
glm::ivec2 clientSize(Tarn::Window& window);
glm::ivec2 clientOrigin(Tarn::Window& window);
bool isVisible(Tarn::Window& window);
/// Asks for input focus and waits until the window is visible and has it.
bool focus(Tarn::Window& window);
/// The caption as the window system holds it (UTF-8).
std::string title(Tarn::Window& window);

} // namespace DisplayHarness

/// Skips the test when there is no display to run on.
class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!DisplayHarness::available()) {
            GTEST_SKIP() << "no X display to test on (DISPLAY is unset)";
        }
    }
};

/// Keeps every message the window sends, id and payload bytes.
class Recorder : public Tarn::Network::MessageHub {
public:
    Recorder() : MessageHub(0xFFFF0000) {}
    ~Recorder() override { disconnectFromAllSenders(); }
    std::vector<uint32_t> ids;
    std::vector<std::vector<uint8_t>> payloads;
    bool saw(uint32_t id) const { return std::find(ids.begin(), ids.end(), id) != ids.end(); }
    /// The payload of the last message with this id; empty when there is none.
    std::vector<uint8_t> last(uint32_t id) const {
        for (size_t index = ids.size(); index-- > 0;) {
            if (ids[index] == id) {
                return payloads[index];
            }
        }
        return {};
    }
    void clear() {
        ids.clear();
        payloads.clear();
    }

private:
    void queueMessage(const Tarn::Network::MessagePtr& message) override {
        ids.push_back(message->getID());
        const auto* bytes = static_cast<const uint8_t*>(message->data());
        payloads.emplace_back(bytes, bytes + message->size());
    }
};

/// A window with the whole input chain behind it.
struct InputWindow {
    Tarn::PlatformContext context;
    Tarn::Window window{&context};
    Tarn::InputEventTranslator translator;
    Recorder recorder;

    InputWindow() {
        translator.initialize(window, &context.refKeyboard(), &context.refMouse(), &context.refGestures());
        window.addListener(&recorder);
    }
    ~InputWindow() { window.destroy(); }
    /// Creates, places, shows and focuses the window.
    bool open() {
        if (!window.create(640, 480)) {
            return false;
        }
        window.setPosition({100, 100});
        window.show();
        return DisplayHarness::focus(window);
    }
    void frame() {
        context.refKeyboard().update();
        context.refMouse().update();
        context.refGestures().update();
    }
};
