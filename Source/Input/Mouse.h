#pragma once

#include <Tarn/Foundation/Export.h>

#include <glm/vec2.hpp>

#include <array>
#include <cstdint>
#include <vector>

namespace Tarn {

/// The buttons of the mouse state. The type is wider than its three names on purpose: touch
/// contacts reach the mouse with their source value as the button, and those events are kept
/// (they only never touch the three-button state).
enum class MouseButton : uint32_t { Left = 0, Right = 1, Middle = 2 };

/// Number of buttons the mouse state tracks.
inline constexpr uint32_t MouseButtonCount = 3;

/// Mouse state as the application sees it once per frame; the same queue-then-update scheme as
/// `Keyboard`. Not synchronised: submit and update on the thread that pumps the window's messages.
class TARN_API Mouse {
public:
    /// One submitted event, as queued and as listed for the frame after update().
    struct Event {
        /// Which submit call made the event.
        enum class Type : uint32_t { ButtonDown, ButtonUp, Move, Wheel, Reset };

        /// Which submit call made the event.
        Type type = Type::Reset;
        /// The time given to the submit call.
        double timestamp = 0.0;
        /// The mouse's position when the event was submitted: that of the last update, since
        /// queued moves take effect only at the next one.
        glm::ivec2 position{0, 0};
        /// ButtonDown/ButtonUp: the button as submitted (any value); 0 otherwise.
        MouseButton button = MouseButton::Left;
        /// Move: the new position.
        glm::ivec2 target{0, 0};
        /// Wheel: the delta.
        int32_t delta = 0;
    };

    /// Plain value; a Reset assigns a default-constructed State.
    struct State {
        /// Down (true) or up, by MouseButton value.
        std::array<bool, MouseButtonCount> buttons{};
        /// The pointer's position after the last update, in the coordinates it was submitted in.
        glm::ivec2 position{0, 0};
        /// Wheel movement summed over the last frame.
        int32_t wheel = 0;
    };

    /// Queue an event stamped with the caller's `time`; nothing is visible before the next
    /// update(). A Reset returns to the default State (every button up, position (0, 0)).
    ///@{
    void submitButtonDown(MouseButton button, double time);
    void submitButtonUp(MouseButton button, double time);
    void submitMove(const glm::ivec2& position, double time);
    void submitWheel(int delta, double time);
    void submitReset(double time);
    ///@}

    /// Applies the queued events in submission order and makes them the frame's event list.
    void update();

    /// Button down after the last update; always false for values of 3 and above.
    bool isButtonDown(MouseButton button) const;
    /// Not isButtonDown(): true for values of 3 and above.
    bool isButtonUp(MouseButton button) const { return !isButtonDown(button); }
    /// The last frame's events hold a ButtonDown of `button` (any value, touch sources included).
    bool wasButtonPressed(MouseButton button) const;
    /// The last frame's events hold a ButtonUp of `button`.
    bool wasButtonReleased(MouseButton button) const;
    /// Position after the last update.
    glm::ivec2 getPosition() const { return state.position; }
    /// Wheel movement summed over the last frame.
    int32_t getWheel() const { return state.wheel; }

    /// The events applied by the last update, in submission order.
    const std::vector<Event>& getEvents() const { return events; }
    /// The whole state after the last update.
    const State& getState() const { return state; }

private:
    void enqueue(Event::Type type, double time, MouseButton button, glm::ivec2 target, int32_t delta);
    bool hasEvent(Event::Type type, MouseButton button) const;

    State state;
    std::vector<Event> events;
    std::vector<Event> queue;
};

} // namespace Tarn
