#include <Tarn/Input/Keyboard.h>

#include <string_view>
#include <utility>

namespace Tarn {

void Keyboard::submitKeyDown(Key key, double time) {
    queue.push_back(Event{Event::Type::KeyDown, time, key, {}});
}

void Keyboard::submitKeyUp(Key key, double time) {
    queue.push_back(Event{Event::Type::KeyUp, time, key, {}});
}

void Keyboard::submitChar(std::string&& text, double time) {
    queue.push_back(Event{Event::Type::Char, time, Key::A, std::move(text)});
    // A moved-from string is only "valid but unspecified"; callers are promised an empty one.
    text.clear();
}

void Keyboard::submitReset(double time) {
    queue.push_back(Event{Event::Type::Reset, time, Key::A, {}});
}

void Keyboard::update() {
    state.chars.clear();
    for (const Event& event : queue) {
        const auto index = static_cast<uint32_t>(event.key);
        switch (event.type) {
        case Event::Type::KeyDown:
        case Event::Type::KeyUp:
            // Keys come from outside (a message payload); an out-of-range value must not write
            // past the array, but the event itself is kept in the list.
            if (index < KeyCount) {
                state.keys[index] = event.type == Event::Type::KeyDown;
            }
            break;
        case Event::Type::Char:
            state.chars += event.text;
            break;
        case Event::Type::Reset:
            state.keys.fill(false);
            state.chars.clear();
            break;
        }
    }
    // Swapping keeps both vectors' capacity, so a steady stream of input stops allocating.
    events.swap(queue);
    queue.clear();
}

bool Keyboard::isKeyDown(Key key) const {
    const auto index = static_cast<uint32_t>(key);
    return index < KeyCount && state.keys[index];
}

bool Keyboard::wasKeyPressed(Key key) const {
    return hasEvent(Event::Type::KeyDown, key);
}

bool Keyboard::wasKeyReleased(Key key) const {
    return hasEvent(Event::Type::KeyUp, key);
}

bool Keyboard::hasChar(StringView text) const {
    // std::string_view finds an empty needle in an empty text, which is the answer wanted here.
    return std::string_view(state.chars).find(std::string_view(text)) != std::string_view::npos;
}

bool Keyboard::hasEvent(Event::Type type, Key key) const {
    for (const Event& event : events) {
        if (event.type == type && event.key == key) {
            return true;
        }
    }
    return false;
}

} // namespace Tarn
