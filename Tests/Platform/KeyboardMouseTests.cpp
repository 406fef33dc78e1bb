#include <Tarn/Platform/Keyboard.h>
#include <Tarn/Platform/Mouse.h>

#include <gtest/gtest.h>

#include <string>

using namespace Tarn;

namespace {

std::vector<Keyboard::Event::Type> typesOf(const Keyboard& keyboard) {
    std::vector<Keyboard::Event::Type> types;
    for (const auto& event : keyboard.getEvents()) {
        types.push_back(event.type);
    }
    return types;
}

} // namespace

TEST(Keyboard, PressAndReleaseInsideOneFrameAreBothSeen) {
    Keyboard keyboard;
    keyboard.submitKeyDown(Key::Space, 10.0);
    keyboard.submitKeyUp(Key::Space, 12.5);
    EXPECT_FALSE(keyboard.wasKeyPressed(Key::Space)) << "nothing applies before update";

    keyboard.update();
    EXPECT_FALSE(keyboard.isKeyDown(Key::Space));
    EXPECT_TRUE(keyboard.isKeyUp(Key::Space));
    EXPECT_TRUE(keyboard.wasKeyPressed(Key::Space));
    EXPECT_TRUE(keyboard.wasKeyReleased(Key::Space));
    EXPECT_FALSE(keyboard.wasKeyPressed(Key::Enter));
    ASSERT_EQ(keyboard.getEvents().size(), 2u);
    EXPECT_EQ(keyboard.getEvents()[1].timestamp, 12.5);

    // A key held across frames stays down while its edge belongs to one frame only.
    keyboard.submitKeyDown(Key::F12, 20.0);
    keyboard.update();
    keyboard.update();
    EXPECT_TRUE(keyboard.isKeyDown(Key::F12));
    EXPECT_FALSE(keyboard.wasKeyPressed(Key::F12));
    EXPECT_TRUE(keyboard.getEvents().empty());
}

TEST(Keyboard, ResetInTheMiddleOfAFrameKeepsOnlyWhatFollowsIt) {
    Keyboard keyboard;
    keyboard.submitKeyDown(Key::B, 1.0);
    keyboard.update();

    keyboard.submitKeyDown(Key::A, 2.0);
    keyboard.submitChar("x", 3.0);
    keyboard.submitReset(4.0);
    keyboard.submitKeyDown(Key::C, 5.0);
    keyboard.submitChar("y", 6.0);
    keyboard.update();

    EXPECT_FALSE(keyboard.isKeyDown(Key::A));
    EXPECT_FALSE(keyboard.isKeyDown(Key::B));
    EXPECT_TRUE(keyboard.isKeyDown(Key::C));
    EXPECT_EQ(keyboard.getChars(), "y");
    EXPECT_TRUE(keyboard.wasKeyPressed(Key::A)) << "the event list is the whole frame, reset or not";
    using T = Keyboard::Event::Type;
    EXPECT_EQ(typesOf(keyboard), (std::vector<T>{T::KeyDown, T::Char, T::Reset, T::KeyDown, T::Char}));
    EXPECT_EQ(keyboard.getEvents()[2].key, Key::A);
    EXPECT_EQ(keyboard.getEvents()[1].text, "x");
}

TEST(Keyboard, TypedTextBelongsToOneFrame) {
    Keyboard keyboard;
    std::string text = "a";
    keyboard.submitChar(std::move(text), 1.0);
    EXPECT_TRUE(text.empty());
    keyboard.submitChar("b", 2.0);
    keyboard.submitChar("\xF0\x9F\x99\x82", 3.0);
    keyboard.update();
    EXPECT_TRUE(keyboard.hasChar("ab"));
    EXPECT_TRUE(keyboard.hasChar("b\xF0\x9F\x99\x82"));
    EXPECT_FALSE(keyboard.hasChar("ba"));
    EXPECT_TRUE(keyboard.hasChar(""));

    keyboard.update();
    EXPECT_FALSE(keyboard.hasChar("a"));
    EXPECT_TRUE(keyboard.hasChar("")) << "empty text is always found";
}

TEST(Keyboard, ValuesOutsideTheEnumerationAreKeptButNeverIndexTheState) {
    Keyboard keyboard;
    const auto bogus = static_cast<Key>(KeyCount);
    keyboard.submitKeyDown(bogus, 1.0);
    keyboard.update();
    EXPECT_FALSE(keyboard.isKeyDown(bogus));
    EXPECT_TRUE(keyboard.wasKeyPressed(bogus));
    for (uint32_t key = 0; key < KeyCount; ++key) {
        EXPECT_FALSE(keyboard.isKeyDown(static_cast<Key>(key)));
    }
}

TEST(Keyboard, VirtualKeyTranslation) {
    struct Pair {
        uint32_t virtualKey;
        Key key;
    };
    const Pair pairs[] = {{65, Key::A},
                          {90, Key::Z},
                          {48, Key::Key0},
                          {57, Key::Key9},
                          {37, Key::Left},
                          {39, Key::Right},
                          {38, Key::Up},
                          {40, Key::Down},
                          {16, Key::Shift},
                          {160, Key::LeftShift},
                          {161, Key::RightShift},
                          {17, Key::Control},
                          {162, Key::LeftControl},
                          {163, Key::RightControl},
                          {18, Key::Alt},
                          {164, Key::LeftAlt},
                          {165, Key::RightAlt},
                          {20, Key::CapsLock},
                          {9, Key::Tab},
                          {27, Key::Escape},
                          {13, Key::Enter},
                          {32, Key::Space},
                          {45, Key::Insert},
                          {46, Key::Delete},
                          {8, Key::Backspace},
                          {36, Key::Home},
                          {35, Key::End},
                          {33, Key::PageUp},
                          {34, Key::PageDown},
                          {112, Key::F1},
                          {123, Key::F12}};
    for (const Pair& pair : pairs) {
        EXPECT_EQ(keyFromVirtualKey(pair.virtualKey), pair.key) << pair.virtualKey;
        EXPECT_EQ(virtualKeyFromKey(pair.key), pair.virtualKey);
    }
    EXPECT_EQ(static_cast<uint32_t>(Key::Left), 36u);
    EXPECT_EQ(static_cast<uint32_t>(Key::CapsLock), 49u);
    EXPECT_EQ(static_cast<uint32_t>(Key::F1), 61u);

    // Exactly the 73 keys translate, each to a distinct value that round-trips.
    uint32_t translated = 0;
    for (uint32_t virtualKey = 0; virtualKey < 1024; ++virtualKey) {
        if (const auto key = keyFromVirtualKey(virtualKey)) {
            ++translated;
            EXPECT_EQ(virtualKeyFromKey(*key), virtualKey);
        }
    }
    EXPECT_EQ(translated, KeyCount);
    EXPECT_FALSE(keyFromVirtualKey(91).has_value()) << "the Windows key is not reported";
    EXPECT_FALSE(keyFromVirtualKey(124).has_value()) << "F13";
    EXPECT_EQ(virtualKeyFromKey(static_cast<Key>(KeyCount)), 0u);
}

TEST(Mouse, WheelIsSummedPerFrame) {
    Mouse mouse;
    mouse.submitWheel(120, 1.0);
    mouse.submitWheel(-40, 2.0);
    mouse.update();
    EXPECT_EQ(mouse.getWheel(), 80);
    mouse.update();
    EXPECT_EQ(mouse.getWheel(), 0);
    EXPECT_TRUE(mouse.getEvents().empty());
}

TEST(Mouse, ButtonsAndEdges) {
    Mouse mouse;
    mouse.submitButtonDown(MouseButton::Left, 1.0);
    mouse.submitButtonUp(MouseButton::Left, 2.0);
    mouse.submitButtonDown(MouseButton::Middle, 3.0);
    mouse.update();
    EXPECT_FALSE(mouse.isButtonDown(MouseButton::Left));
    EXPECT_TRUE(mouse.wasButtonPressed(MouseButton::Left));
    EXPECT_TRUE(mouse.wasButtonReleased(MouseButton::Left));
    EXPECT_TRUE(mouse.isButtonDown(MouseButton::Middle));
    EXPECT_TRUE(mouse.isButtonUp(MouseButton::Right));

    mouse.update();
    EXPECT_TRUE(mouse.isButtonDown(MouseButton::Middle));
    EXPECT_FALSE(mouse.wasButtonPressed(MouseButton::Middle));
}

TEST(Mouse, TouchSourcesStayInTheEventListOnly) {
    Mouse mouse;
    const auto touch = static_cast<MouseButton>(0x1003);
    mouse.submitButtonDown(static_cast<MouseButton>(3), 1.0);
    mouse.submitButtonDown(touch, 2.0);
    mouse.update();
    EXPECT_EQ(mouse.getState().buttons, (std::array<bool, 3>{false, false, false}));
    EXPECT_FALSE(mouse.isButtonDown(touch));
    EXPECT_TRUE(mouse.wasButtonPressed(touch));
    ASSERT_EQ(mouse.getEvents().size(), 2u);
    EXPECT_EQ(mouse.getEvents()[1].button, touch);

    mouse.submitButtonUp(touch, 3.0);
    mouse.update();
    EXPECT_TRUE(mouse.wasButtonReleased(touch));
}

TEST(Mouse, EventsCarryThePositionTheQueueHadReached) {
    Mouse mouse;
    mouse.submitMove({10, 20}, 1.0);
    mouse.update();

    mouse.submitButtonDown(MouseButton::Right, 2.0);
    mouse.submitMove({-5, 7}, 3.0);
    mouse.submitButtonUp(MouseButton::Right, 4.0);
    mouse.submitReset(5.0);
    mouse.submitWheel(3, 6.0);
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(10, 20)) << "state changes only in update";
    mouse.update();

    const auto& events = mouse.getEvents();
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[0].position, glm::ivec2(10, 20));
    EXPECT_EQ(events[1].type, Mouse::Event::Type::Move);
    EXPECT_EQ(events[1].position, glm::ivec2(10, 20)) << "a move records where it started";
    EXPECT_EQ(events[1].target, glm::ivec2(-5, 7));
    EXPECT_EQ(events[2].position, glm::ivec2(-5, 7));
    EXPECT_EQ(events[4].position, glm::ivec2(0, 0)) << "after a reset";
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(0, 0));
    EXPECT_FALSE(mouse.isButtonDown(MouseButton::Right));
    EXPECT_EQ(mouse.getWheel(), 3) << "the wheel after a reset still counts";
}

TEST(Mouse, ResetClearsButtonsHeldFromEarlierFrames) {
    Mouse mouse;
    mouse.submitButtonDown(MouseButton::Left, 1.0);
    mouse.submitWheel(50, 1.0);
    mouse.submitMove({3, 4}, 1.0);
    mouse.update();
    Mouse copy = mouse;

    mouse.submitWheel(7, 2.0);
    mouse.submitReset(2.0);
    mouse.submitButtonDown(MouseButton::Right, 3.0);
    mouse.update();
    EXPECT_FALSE(mouse.isButtonDown(MouseButton::Left));
    EXPECT_TRUE(mouse.isButtonDown(MouseButton::Right));
    EXPECT_EQ(mouse.getWheel(), 0) << "the wheel before the reset is gone";
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(0, 0));

    EXPECT_TRUE(copy.isButtonDown(MouseButton::Left)) << "copies are independent values";
    EXPECT_EQ(copy.getPosition(), glm::ivec2(3, 4));
}
