#include <Tarn/Input/Mouse.h>

namespace Tarn {

void Mouse::submitButtonDown(MouseButton button, double time) {
    enqueue(Event::Type::ButtonDown, time, button, {0, 0}, 0);
}

void Mouse::submitButtonUp(MouseButton button, double time) {
    enqueue(Event::Type::ButtonUp, time, button, {0, 0}, 0);
}

void Mouse::submitMove(const glm::ivec2& position, double time) {
    enqueue(Event::Type::Move, time, MouseButton::Left, position, 0);
}

void Mouse::submitWheel(int delta, double time) {
    enqueue(Event::Type::Wheel, time, MouseButton::Left, {0, 0}, delta);
}

void Mouse::submitReset(double time) {
    enqueue(Event::Type::Reset, time, MouseButton::Left, {0, 0}, 0);
}

void Mouse::enqueue(Event::Type type, double time, MouseButton button, glm::ivec2 target, int32_t delta) {
    // The position current when the event is submitted: the state's, which queued moves change
    // only at the next update. Where a click really happened is the target of the move before it.
    queue.push_back(Event{type, time, state.position, button, target, delta});
}

void Mouse::update() {
    state.wheel = 0;
    for (const Event& event : queue) {
        const auto index = static_cast<uint32_t>(event.button);
        switch (event.type) {
        case Event::Type::ButtonDown:
        case Event::Type::ButtonUp:
            // Touch sources pass their contact value here; they stay in the event list but have
            // no slot in the three-button state.
            if (index < MouseButtonCount) {
                state.buttons[index] = event.type == Event::Type::ButtonDown;
            }
            break;
        case Event::Type::Move:
            state.position = event.target;
            break;
        case Event::Type::Wheel:
            // Wrapping instead of overflowing: deltas come from outside, and a flood of them in one
            // frame must not be undefined behaviour.
            state.wheel =
                static_cast<int32_t>(static_cast<uint32_t>(state.wheel) + static_cast<uint32_t>(event.delta));
            break;
        case Event::Type::Reset:
            state = State{};
            break;
        }
    }
    events.swap(queue);
    queue.clear();
}

bool Mouse::isButtonDown(MouseButton button) const {
    const auto index = static_cast<uint32_t>(button);
    return index < MouseButtonCount && state.buttons[index];
}

bool Mouse::wasButtonPressed(MouseButton button) const {
    return hasEvent(Event::Type::ButtonDown, button);
}

bool Mouse::wasButtonReleased(MouseButton button) const {
    return hasEvent(Event::Type::ButtonUp, button);
}

bool Mouse::hasEvent(Event::Type type, MouseButton button) const {
    for (const Event& event : events) {
        if (event.type == type && event.button == button) {
            return true;
        }
    }
    return false;
}

} // namespace Tarn
