#include <Tarn/Input/Keyboard.h>
#include <Tarn/Input/Mouse.h>

#include <gtest/gtest.h>

#include <string>

using namespace Tarn;

TEST(Keyboard, EdgesAndTextInsideOneFrameAndStateAcrossFrames) {
    Keyboard keyboard;
    keyboard.submitKeyDown(Key::Space, 10.0);
    keyboard.submitKeyUp(Key::Space, 12.5);
    keyboard.submitKeyDown(Key::F12, 13.0);
    keyboard.submitKeyDown(static_cast<Key>(KeyCount), 14.0); // kept, but has no state to set
    keyboard.submitChar("a", 15.0);
    keyboard.submitChar("b", 16.0);
    keyboard.submitChar("\xF0\x9F\x99\x82", 17.0);
    EXPECT_FALSE(keyboard.wasKeyPressed(Key::Space)) << "nothing applies before update";

    keyboard.update();
    EXPECT_FALSE(keyboard.isKeyDown(Key::Space));
    EXPECT_TRUE(keyboard.wasKeyPressed(Key::Space) && keyboard.wasKeyReleased(Key::Space));
    EXPECT_TRUE(keyboard.isKeyDown(Key::F12));
    EXPECT_TRUE(keyboard.wasKeyPressed(static_cast<Key>(KeyCount)));
    EXPECT_FALSE(keyboard.isKeyDown(static_cast<Key>(KeyCount)));
    ASSERT_EQ(keyboard.getEvents().size(), 7u);
    EXPECT_EQ(keyboard.getEvents()[1].timestamp, 12.5);
    EXPECT_TRUE(keyboard.hasChar("ab") && keyboard.hasChar("b\xF0\x9F\x99\x82"));
    EXPECT_FALSE(keyboard.hasChar("ba"));

    keyboard.update();
    EXPECT_TRUE(keyboard.isKeyDown(Key::F12)) << "held keys stay down";
    EXPECT_FALSE(keyboard.wasKeyPressed(Key::F12)) << "edges belong to one frame";
    EXPECT_TRUE(keyboard.getEvents().empty());
    EXPECT_FALSE(keyboard.hasChar("a")) << "typed text belongs to one frame";
    EXPECT_TRUE(keyboard.hasChar("")) << "empty text is always found";
}

TEST(Keyboard, ResetInTheMiddleOfAFrameKeepsOnlyWhatFollowsIt) {
    Keyboard keyboard;
    keyboard.submitKeyDown(Key::B, 1.0);
    keyboard.update();

    keyboard.submitKeyDown(Key::A, 2.0);
    keyboard.submitChar("x", 3.0);
    keyboard.submitReset(4.0);
    keyboard.submitKeyUp(Key::C, 5.0);
    keyboard.submitKeyDown(Key::D, 5.5);
    std::string typed = "y";
    keyboard.submitChar(typed, 6.0);
    EXPECT_TRUE(typed.empty()) << "taken over";
    keyboard.update();

    EXPECT_FALSE(keyboard.isKeyDown(Key::A) || keyboard.isKeyDown(Key::B));
    EXPECT_TRUE(keyboard.isKeyDown(Key::D));
    EXPECT_EQ(keyboard.getChars(), "y");
    EXPECT_TRUE(keyboard.wasKeyPressed(Key::A)) << "the event list is the whole frame";
    ASSERT_EQ(keyboard.getEvents().size(), 6u);
    EXPECT_EQ(keyboard.getEvents()[2].type, Keyboard::Event::Type::Reset);
    EXPECT_EQ(keyboard.getEvents()[1].text, "x");
}

TEST(Keyboard, VirtualKeyTranslation) {
    const std::pair<uint32_t, Key> pairs[] = {
        {65, Key::A},         {90, Key::Z},          {48, Key::Key0},
        {57, Key::Key9},      {37, Key::Left},       {40, Key::Down},
        {16, Key::Shift},     {160, Key::LeftShift}, {163, Key::RightControl},
        {165, Key::RightAlt}, {20, Key::CapsLock},   {8, Key::Backspace},
        {33, Key::PageUp},    {112, Key::F1},        {123, Key::F12}};
    for (const auto& [virtualKey, key] : pairs) {
        EXPECT_EQ(keyFromVirtualKey(virtualKey), key) << virtualKey;
    }

    // Exactly the 73 keys translate, each to a distinct value that round-trips.
    uint32_t translated = 0;
    for (uint32_t virtualKey = 0; virtualKey < 1024; ++virtualKey) {
        if (const auto key = keyFromVirtualKey(virtualKey)) {
            ++translated;
            EXPECT_EQ(virtualKeyFromKey(*key), virtualKey);
        }
    }
    EXPECT_EQ(translated, KeyCount);
    EXPECT_EQ(virtualKeyFromKey(static_cast<Key>(KeyCount)), 0u);
}

TEST(Mouse, ButtonsAndWheelPerFrameAndTouchSourcesInTheListOnly) {
    Mouse mouse;
    mouse.submitButtonDown(MouseButton::Left, 1.0);
    mouse.submitButtonUp(MouseButton::Left, 2.0);
    mouse.submitButtonDown(MouseButton::Middle, 3.0);
    mouse.submitWheel(120, 4.0);
    mouse.submitWheel(-40, 5.0);
    const auto touch = static_cast<MouseButton>(0x1003); // touch sources stay in the event list only
    mouse.submitButtonDown(static_cast<MouseButton>(3), 6.0);
    mouse.submitButtonDown(touch, 7.0);
    mouse.update();
    EXPECT_EQ(mouse.getState().buttons, (std::array<bool, 3>{false, false, true}));
    EXPECT_FALSE(mouse.isButtonDown(touch));
    EXPECT_TRUE(mouse.wasButtonPressed(touch));
    ASSERT_EQ(mouse.getEvents().size(), 7u);
    EXPECT_EQ(mouse.getEvents()[6].button, touch);
    EXPECT_TRUE(mouse.wasButtonPressed(MouseButton::Left) && mouse.wasButtonReleased(MouseButton::Left));
    EXPECT_EQ(mouse.getWheel(), 80);

    mouse.update();
    EXPECT_TRUE(mouse.isButtonDown(MouseButton::Middle));
    EXPECT_FALSE(mouse.wasButtonPressed(MouseButton::Middle));
    EXPECT_EQ(mouse.getWheel(), 0);
}

TEST(Mouse, EventsCarryThePositionOfTheLastUpdateAndResetClearsAll) {
    Mouse mouse;
    mouse.submitMove({10, 20}, 1.0);
    mouse.submitButtonDown(MouseButton::Left, 1.0);
    mouse.update();
    EXPECT_EQ(mouse.getEvents()[1].position, glm::ivec2(0, 0)) << "the move takes effect at the update";

    mouse.submitButtonDown(MouseButton::Right, 2.0);
    mouse.submitMove({-5, 7}, 3.0);
    mouse.submitButtonUp(MouseButton::Right, 4.0);
    mouse.submitWheel(9, 4.5);
    mouse.submitReset(5.0);
    mouse.submitWheel(3, 6.0);
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(10, 20)) << "state changes only in update";
    mouse.update();

    const auto& events = mouse.getEvents();
    ASSERT_EQ(events.size(), 6u);
    for (const auto& event : events) {
        EXPECT_EQ(event.position, glm::ivec2(10, 20)) << "queued moves and resets do not count";
    }
    EXPECT_EQ(events[1].target, glm::ivec2(-5, 7));
    EXPECT_EQ(mouse.getPosition(), glm::ivec2(0, 0));
    EXPECT_FALSE(mouse.isButtonDown(MouseButton::Left)) << "held from an earlier frame";
    EXPECT_EQ(mouse.getWheel(), 3) << "only what follows the reset";
}
