#include <Tarn/Application/PlatformContext.h>
#include <Tarn/Application/Window.h>
#include <Tarn/Input/InputEventTranslator.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Tarn;
namespace Msg = InputMessage;

namespace {

// A window without a platform window: its send helpers build the messages exactly as the
// platform path does, so the translator is fed what a real window sends.
class SyntheticWindow : public Window {
public:
    using Window::sendCharUnit;
    using Window::sendKeyMessage;
    using Window::sendPairMessage;
    using Window::sendPointerMessage;
    using Window::sendTimeMessage;
    using Window::sendWheelMessage;
};

// Screen point as the platform packs it into the second message parameter.
int64_t packed(int x, int y) {
    return static_cast<int64_t>((static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16) |
                                static_cast<uint16_t>(x));
}

// Keeps every message the window sends, with a copy of its payload.
class Recorder : public Network::MessageHub {
public:
    struct Entry {
        uint32_t id;
        std::vector<uint8_t> payload;
    };
    Recorder() : MessageHub(0xFFFF0000) {}
    ~Recorder() override { disconnectFromAllSenders(); }
    std::vector<Entry> entries;

private:
    void queueMessage(const Network::MessagePtr& message) override {
        const auto* bytes = static_cast<const uint8_t*>(message->data());
        entries.push_back({message->getID(), std::vector<uint8_t>(bytes, bytes + message->size())});
    }
};

struct Sent {
    uint32_t id;
    uint64_t source;
    bool operator==(const Sent&) const = default;
};

std::vector<Sent> pointerMessages(const Recorder& recorder) {
    std::vector<Sent> result;
    for (const Recorder::Entry& entry : recorder.entries) {
        uint64_t source = 0;
        EXPECT_EQ(entry.payload.size(), 24u);
        std::memcpy(&source, entry.payload.data(), sizeof(source));
        result.push_back({entry.id, source});
    }
    return result;
}

struct Devices {
    PlatformContext context;
    SyntheticWindow window;
    InputEventTranslator translator;
    Devices() {
        translator.initialize(window, &context.refKeyboard(), &context.refMouse(), &context.refGestures());
    }
    void update() {
        context.refKeyboard().update();
        context.refMouse().update();
        context.refGestures().update();
    }
};

} // namespace

TEST(InputEventTranslator, KeysTextAndResetReachTheKeyboard) {
    Devices devices;
    devices.window.sendKeyMessage(Msg::InputKeyDown, 65); // A
    devices.window.sendKeyMessage(Msg::InputKeyUp, 65);
    devices.window.sendKeyMessage(Msg::InputKeyDown, 112); // F1
    devices.window.sendKeyMessage(Msg::InputKeyDown, 91);  // the Windows key: not reported
    devices.window.sendCharUnit(u'h');
    devices.window.sendCharUnit(0xD83D); // U+1F600 as a surrogate pair: one character, once
    devices.window.sendCharUnit(0xDE00);
    devices.update();

    const Keyboard& keyboard = devices.context.refKeyboard();
    EXPECT_TRUE(keyboard.wasKeyPressed(Key::A) && keyboard.wasKeyReleased(Key::A) &&
                !keyboard.isKeyDown(Key::A));
    EXPECT_TRUE(keyboard.isKeyDown(Key::F1));
    EXPECT_EQ(keyboard.getChars(), "h\xF0\x9F\x98\x80");
    ASSERT_EQ(keyboard.getEvents().size(), 5u) << "three keys and two characters";
    EXPECT_EQ(keyboard.getEvents()[4].text, "\xF0\x9F\x98\x80");

    // Deactivation is an input reset: keys up, the mouse reset at the same time.
    devices.window.sendTimeMessage(WindowEvent::Deactivated);
    devices.update();
    EXPECT_FALSE(keyboard.isKeyDown(Key::F1));
    ASSERT_EQ(devices.context.refMouse().getEvents().size(), 1u);
    EXPECT_EQ(devices.context.refMouse().getEvents()[0].type, Mouse::Event::Type::Reset);
    EXPECT_EQ(devices.context.refMouse().getEvents()[0].timestamp, keyboard.getEvents()[0].timestamp);
}

TEST(InputEventTranslator, MouseButtonsAndTouchContactsReachMouseAndGestures) {
    Devices devices;
    Mouse& mouse = devices.context.refMouse();
    Gestures& gestures = devices.context.refGestures();
    Testing::LogCapture log(Logging::Category::Warning);

    // Mouse button 0: gestures pointer 0xFFFFFFFF of type mouse, so a 10-pixel move is a drag.
    devices.window.sendPointerMessage(Msg::InputPointerDown, 0, packed(100, 50));
    devices.window.sendPointerMessage(Msg::InputPointerMove, 0, packed(110, 50));
    devices.window.sendPointerMessage(Msg::InputPointerUp, 0, packed(110, 50));
    devices.window.sendWheelMessage(-120);
    devices.update();
    EXPECT_TRUE(mouse.wasButtonPressed(MouseButton::Left) && mouse.wasButtonReleased(MouseButton::Left));
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(110, 50));
    EXPECT_EQ(mouse.getWheel(), -120);
    std::vector<Gesture::Kind> kinds;
    for (const Gesture& gesture : gestures.getGestures()) {
        kinds.push_back(gesture.kind);
    }
    // Whether the release ends the drag or turns it into a flick depends on the clock; the start
    // does not.
    ASSERT_GE(kinds.size(), 5u);
    const std::vector<Gesture::Kind> mouseStart{Gesture::Kind::Press, Gesture::Kind::Press,
                                                Gesture::Kind::Drag, Gesture::Kind::Drag};
    EXPECT_EQ(std::vector<Gesture::Kind>(kinds.begin(), kinds.begin() + 4), mouseStart);
    EXPECT_EQ(kinds.back(), Gesture::Kind::Wheel);

    // Touch source 1000: the same 10 pixels stay under the touch threshold, the mouse follows the
    // finger, and the release finds pointer 1000 (no unknown-pointer warning).
    devices.window.sendPointerMessage(Msg::InputPointerDown, 1000, packed(300, 300));
    devices.window.sendPointerMessage(Msg::InputPointerMove, 1000, packed(310, 300));
    EXPECT_EQ(gestures.getPointerCount(), 1u);
    devices.window.sendPointerMessage(Msg::InputPointerUp, 1000, packed(310, 300));
    devices.update();
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(310, 300));
    EXPECT_TRUE(mouse.wasButtonPressed(static_cast<MouseButton>(1000)));
    EXPECT_FALSE(mouse.isButtonDown(MouseButton::Left));
    ASSERT_FALSE(gestures.getGestures().empty());
    EXPECT_EQ(gestures.getGestures().back().kind, Gesture::Kind::Tap);
    EXPECT_EQ(gestures.getPointerCount(), 0u);
    EXPECT_EQ(log.count(), 0u);
}

TEST(InputEventTranslator, OtherIdsShortPayloadsAndMissingDevicesChangeNothing) {
    Devices devices;
    Testing::LogCapture log(Logging::Category::Warning);
    for (uint32_t id : {0x7FF00300u, 0x7FF00000u, WindowEvent::Resized}) {
        devices.window.sendPairMessage(id, 1, 2);
    }
    devices.window.sendPairMessage(Msg::InputPointerDown, 0, 0); // 8 of 24 bytes
    devices.update();
    EXPECT_TRUE(devices.context.refKeyboard().getEvents().empty());
    EXPECT_TRUE(devices.context.refMouse().getEvents().empty());
    EXPECT_TRUE(devices.context.refGestures().getGestures().empty());
    EXPECT_TRUE(log.sawLine("[Warning][Input] Dropping input message 0x7ff00200 with a payload of 8 bytes."));

    SyntheticWindow window;
    InputEventTranslator bare;
    bare.initialize(window, nullptr, nullptr, nullptr);
    window.sendKeyMessage(Msg::InputKeyDown, 65);
    window.sendPointerMessage(Msg::InputPointerDown, 0, packed(1, 1));
    window.sendTimeMessage(WindowEvent::Deactivated);
    EXPECT_EQ(bare.getNoOfQueuedMessages(), 0u) << "nothing is queued, with or without devices";
}

// The pointer rules, on records the platform cannot produce here (touch, pen, button changes).
TEST(Window, PointerRecordsTranslateByTypeFlagsAndButtonChange) {
    constexpr uint32_t update = 0x245, down = 0x246, up = 0x247;
    constexpr uint32_t mouse = 4, touch = 2, pen = 3;
    constexpr uint32_t inContact = 0x4, first = 0x10, second = 0x20, third = 0x40;
    struct Case {
        const char* name;
        uint32_t message;
        uint32_t pointerId;
        uint32_t flags;
        Window::PointerInfo info;
        std::vector<Sent> expected;
    };
    constexpr uint32_t Down = Msg::InputPointerDown, Up = Msg::InputPointerUp, Move = Msg::InputPointerMove;
    const std::vector<Case> cases = {
        {"touch down id 3", down, 3, inContact, {touch, 1}, {{Down, 0x1003}}},
        {"touch down id 9", down, 9, inContact, {touch, 1}, {{Down, 9}}},
        {"touch up id 7", up, 7, 0, {touch, 2}, {{Up, 0x1007}}},
        {"mouse first down", down, 1, inContact, {mouse, 1}, {{Down, 0}}},
        {"mouse second up", up, 1, 0, {mouse, 4}, {{Up, 1}}},
        {"mouse third down", down, 1, inContact, {mouse, 5}, {{Down, 2}}},
        {"pen fourth button down", down, 42, inContact, {pen, 7}, {{Down, 42}}},
        {"hover, even touch", update, 5, first, {touch, 0}, {{Move, 0}}},
        {"touch drag", update, 5, inContact, {touch, 0}, {{Move, 0x1005}}},
        {"mouse drag first", update, 1, inContact | first | second, {mouse, 0}, {{Move, 0}}},
        {"mouse drag second", update, 1, inContact | second | third, {mouse, 0}, {{Move, 1}}},
        {"mouse drag third", update, 1, inContact | third, {mouse, 0}, {{Move, 2}}},
        {"pen contact, no button", update, 42, inContact, {pen, 0}, {{Move, 42}}},
        {"2nd down, 1st held", update, 1, inContact | first | second, {mouse, 3}, {{Move, 0}, {Down, 1}}},
        {"third released inside update", update, 1, inContact | first, {mouse, 6}, {{Move, 0}, {Up, 2}}},
        {"fifth button change inside update", update, 1, inContact, {mouse, 9}, {{Move, 1}}},
        {"not a pointer message", 0x24E, 1, inContact, {mouse, 1}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Window window;
        Recorder recorder;
        window.addListener(&recorder);
        const uint64_t wparam = (static_cast<uint64_t>(c.flags) << 16) | c.pointerId;
        window.translatePointer(WindowMessage{nullptr, c.message, wparam, packed(-5, 700)}, c.info);
        EXPECT_EQ(pointerMessages(recorder), c.expected);
        for (const Recorder::Entry& entry : recorder.entries) {
            int32_t xy[2];
            std::memcpy(xy, entry.payload.data() + 8, sizeof(xy));
            EXPECT_EQ(xy[0], -5) << "sign-extended low word";
            EXPECT_EQ(xy[1], 700);
        }
    }
}

TEST(Window, HubIdsContextAndCharacterCollection) {
    const uint32_t before = getNextHubID();
    PlatformContext context;
    auto window = std::make_unique<SyntheticWindow>();
    EXPECT_EQ(window->getID(), before + 1) << "windows and getNextHubID share one counter";
    EXPECT_EQ(getNextHubID(), before + 2);
    EXPECT_EQ(window->getDpi(), 96);
    EXPECT_EQ(window->getScale(), 1.0f);
    EXPECT_EQ(window->getWindowData().windowHandle, nullptr);

    Window withContext(&context);
    EXPECT_EQ(context.refWindowData(), &withContext.getWindowData());
    PlatformContext copy = context;
    EXPECT_EQ(copy.refWindowData(), &withContext.getWindowData());

    // A lone low surrogate waits too; a high surrogate followed by a plain unit is sent as the two
    // units' conversion, in one message.
    Recorder recorder;
    window->addListener(&recorder);
    window->sendCharUnit(u'\u00e9');
    window->sendCharUnit(0xD83D);
    EXPECT_EQ(recorder.entries.size(), 1u) << "half a pair waits";
    window->sendCharUnit(0xDE00);
    ASSERT_EQ(recorder.entries.size(), 2u);
    const std::vector<uint8_t> expected{5, 0, 0, 0, 0xF0, 0x9F, 0x98, 0x80, 0};
    EXPECT_EQ(
        std::vector<uint8_t>(recorder.entries[1].payload.begin(), recorder.entries[1].payload.begin() + 9),
        expected);
    EXPECT_EQ(recorder.entries[1].payload.size(), 17u) << "string, then the time";
}
