// Real windows on a virtual X display of two 1920 x 1080 monitors side by side: the window system
// calls, the message pump and the X server's input are the real ones, on Windows (under Wine) and
// on Linux alike. Input is typed and clicked with xdotool (XTest).
#include <Tarn/Application/Monitor.h>

#include "DisplayHarness.h"

#include <algorithm>
#include <cctype>

using namespace Tarn;
using namespace DisplayHarness;

namespace {
// The window's move and size messages: two 32-bit little-endian integers.
std::vector<uint8_t> payloadOf(glm::ivec2 value) {
    std::vector<uint8_t> bytes;
    for (const int32_t part : {value.x, value.y}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(part) >> shift));
        }
    }
    return bytes;
}
} // namespace

using WindowLife = DisplayTest;
using WindowInput = DisplayTest;
using Monitors = DisplayTest;

TEST_F(WindowLife, CreateSizesTheClientAreaAndASecondCreateWorks) {
    Window first;
    ASSERT_TRUE(first.create(0, 0));
    ASSERT_NE(first.getWindowData().windowHandle, nullptr);
    EXPECT_EQ(first.getWindowData().previousWindowProc, nullptr);
    EXPECT_EQ(clientSize(first), glm::ivec2(1344, 756)) << "70% of the 1920 x 1080 primary monitor";
    EXPECT_EQ(first.getDpi(), 96);
    EXPECT_FALSE(isVisible(first)) << "the caller shows it";
    EXPECT_EQ(title(first), "Tarn Runtime");

    Window second;
    ASSERT_TRUE(second.create(300, 200)) << "the class or connection already exists";
    EXPECT_EQ(clientSize(second), glm::ivec2(300, 200));

    second.setPosition({50, 60});
    second.setSize({500, 400});
    pumpFor(std::chrono::milliseconds(50));
    EXPECT_EQ(second.getPosition(), glm::ivec2(50, 60));
    EXPECT_EQ(second.getSize(), glm::ivec2(500, 400)) << "the outer frame";
    second.setTitle("Zo\xC3\xAB");
    EXPECT_EQ(title(second), "Zo\xC3\xAB");

    first.destroy();
    second.destroy();
    EXPECT_EQ(first.getWindowData().windowHandle, nullptr);
}

TEST_F(WindowLife, MoveResizeMinimiseMaximiseAndRestoreSendTheirMessages) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    pumpFor(std::chrono::milliseconds(100));
    Recorder& recorder = input.recorder;

    recorder.clear();
    input.window.setPosition({200, 150});
    ASSERT_TRUE(pumpUntil([&] { return recorder.saw(WindowEvent::Moved); }));
    EXPECT_EQ(recorder.last(WindowEvent::Moved), payloadOf(clientOrigin(input.window)))
        << "the client area's screen position";

    recorder.clear();
    input.window.minimise();
    ASSERT_TRUE(pumpUntil([&] { return recorder.saw(WindowEvent::Minimised); }));
    EXPECT_TRUE(recorder.last(WindowEvent::Minimised).empty());
    EXPECT_FALSE(recorder.saw(WindowEvent::Moved)) << "no move while minimised";

    input.window.restore();
    ASSERT_TRUE(pumpUntil([&] { return recorder.saw(WindowEvent::Resized); }));
    recorder.clear();
    input.window.maximise();
    ASSERT_TRUE(pumpUntil([&] { return recorder.saw(WindowEvent::Maximised); }));
    pumpFor(std::chrono::milliseconds(100));
    EXPECT_FALSE(recorder.saw(WindowEvent::Moved)) << "no move while maximised";
    EXPECT_TRUE(recorder.last(WindowEvent::Maximised).empty());

    recorder.clear();
    input.window.restore();
    ASSERT_TRUE(pumpUntil([&] {
        const glm::ivec2 size = clientSize(input.window);
        return recorder.last(WindowEvent::Resized) == payloadOf(size) && size != glm::ivec2(1920, 1080);
    })) << "the last size message gives the restored client size";
}

TEST_F(WindowInput, KeysAndTextTypedOnTheXServerReachTheKeyboard) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    Keyboard& keyboard = input.context.refKeyboard();

    // The two letters sit on keys that scripts/with-display.sh maps, so that xdotool does not
    // remap keys on the fly while the window reads them.
    ASSERT_TRUE(xdotool("windowfocus --sync " + xWindowId(input.window) +
                        " keydown shift key a keyup shift key F5 type \xC3\xA4\xD0\xB6"));
    std::string text;
    std::vector<Key> pressed;
    std::vector<Key> released;
    ASSERT_TRUE(pumpUntil([&] {
        input.frame();
        text += keyboard.getChars();
        for (const Keyboard::Event& event : keyboard.getEvents()) {
            if (event.type == Keyboard::Event::Type::KeyDown) {
                pressed.push_back(event.key);
            } else if (event.type == Keyboard::Event::Type::KeyUp) {
                released.push_back(event.key);
            }
        }
        return text.find("\xD0\xB6") != std::string::npos;
    })) << "typed so far: "
        << text;
    EXPECT_EQ(text, "A\xC3\xA4\xD0\xB6");
    for (Key key : {Key::Shift, Key::A, Key::F5}) {
        EXPECT_NE(std::find(pressed.begin(), pressed.end(), key), pressed.end()) << static_cast<int>(key);
        EXPECT_NE(std::find(released.begin(), released.end(), key), released.end()) << static_cast<int>(key);
    }
    EXPECT_FALSE(keyboard.isKeyDown(Key::Shift) || keyboard.isKeyDown(Key::A));
}

TEST_F(WindowInput, MouseOnTheXServerGivesTapDragAndWheel) {
    InputWindow input;
    ASSERT_TRUE(input.open());
    const glm::ivec2 origin = clientOrigin(input.window);
    std::vector<Gesture> seen;
    int wheel = 0;
    const auto collect = [&] {
        input.frame();
        const auto& gestures = input.context.refGestures().getGestures();
        seen.insert(seen.end(), gestures.begin(), gestures.end());
        wheel += input.context.refMouse().getWheel();
    };
    const auto sawKind = [&](Gesture::Kind kind, Gesture::State state) {
        return std::any_of(seen.begin(), seen.end(),
                           [&](const Gesture& g) { return g.kind == kind && g.state == state; });
    };
    const auto at = [&](int x, int y) {
        return std::to_string(origin.x + x) + " " + std::to_string(origin.y + y);
    };

    ASSERT_TRUE(xdotool("mousemove " + at(50, 60) + " click 1"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return sawKind(Gesture::Kind::Tap, Gesture::State::End);
    }));
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(50, 60));

    seen.clear();
    ASSERT_TRUE(xdotool("mousemove " + at(100, 100) + " mousedown 1 mousemove " + at(140, 120) +
                        " mousemove " + at(200, 150) + " sleep 0.3 mouseup 1"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return sawKind(Gesture::Kind::Drag, Gesture::State::End) ||
               sawKind(Gesture::Kind::Flick, Gesture::State::End);
    }));
    EXPECT_TRUE(sawKind(Gesture::Kind::Drag, Gesture::State::Begin));
    EXPECT_EQ(input.context.refMouse().getPosition(), glm::ivec2(200, 150));
    EXPECT_FALSE(input.context.refMouse().isButtonDown(MouseButton::Left));

    seen.clear();
    wheel = 0;
    ASSERT_TRUE(xdotool("click 5 click 5 click 4"));
    ASSERT_TRUE(pumpUntil([&] {
        collect();
        return std::count_if(seen.begin(), seen.end(),
                             [](const Gesture& g) { return g.kind == Gesture::Kind::Wheel; }) == 3;
    }));
    EXPECT_EQ(wheel, -120) << "two steps down, one up";
}

TEST_F(Monitors, TwoSideBySide) {
    Monitor::enumerate();
    ASSERT_EQ(Monitor::getCount(), 2u);
    const Monitor& first = Monitor::get(0);
    const Monitor& second = Monitor::get(1);
    EXPECT_EQ(first.getPosition(), glm::ivec2(0, 0));
    EXPECT_EQ(second.getPosition(), glm::ivec2(1920, 0));
    EXPECT_EQ(first.getSize(), glm::ivec2(1920, 1080));
    EXPECT_EQ(second.getSize(), glm::ivec2(1920, 1080));
    EXPECT_EQ(first.getCentre(), glm::ivec2(960, 540));
    EXPECT_EQ(second.getCentre(), glm::ivec2(2880, 540));
    EXPECT_NE(first.getIdentifier(), nullptr);
    EXPECT_NE(first.getIdentifier(), second.getIdentifier());

    EXPECT_EQ(Monitor::findFromPoint({1919, 10}), &first);
    EXPECT_EQ(Monitor::findFromPoint({1920, 10}), &second) << "the right edge belongs to the neighbour";
    EXPECT_EQ(Monitor::findFromPoint({3840, 10}), nullptr);
    EXPECT_EQ(Monitor::findFromPoint({10, 1080}), nullptr);
    EXPECT_EQ(Monitor::findFromPoint({-1, 0}), nullptr);

    ASSERT_FALSE(second.getName().empty());
    EXPECT_EQ(Monitor::findByName(second.getName()), &second);
    EXPECT_EQ(Monitor::findByName(first.getName()), &first);
    std::string lower = first.getName();
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_EQ(Monitor::findByName(lower), lower == first.getName() ? &first : nullptr);
    EXPECT_EQ(Monitor::findByName(first.getName() + " "), nullptr);

    Monitor::enumerate();
    EXPECT_EQ(Monitor::getCount(), 2u) << "rebuilt, not appended";
}
