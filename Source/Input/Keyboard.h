#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Input/Key.h>
#include <Tarn/Strings/StringView.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Tarn {

/// Keyboard state as the application sees it once per frame.
///
/// Platform input may arrive at any moment through the submit calls; it is only queued, stamped
/// with the caller's time. `update()` applies the queue in order and keeps it as the frame's event
/// list, so per-frame questions ("was A pressed during the last frame?") have exact answers even
/// when a key went down and up between two frames. All queries answer for the last `update()`.
/// Not synchronised: submit and update on the thread that pumps the window's messages.
class TARN_API Keyboard {
public:
    /// One submitted event, as queued and as listed for the frame after update().
    struct Event {
        /// Which submit call made the event.
        enum class Type : uint32_t { KeyDown, KeyUp, Char, Reset };

        /// Which submit call made the event.
        Type type = Type::Reset;
        /// The time given to the submit call.
        double timestamp = 0.0;
        /// The key of KeyDown and KeyUp; Key::A (0) for Char and Reset.
        Key key = Key::A;
        /// UTF-8 text of Char; empty otherwise.
        std::string text;
    };

    /// Plain value; a Reset assigns a default-constructed State (every key up, no text).
    struct State {
        /// Down (true) or up, indexed by Key value.
        std::array<bool, KeyCount> keys{};
        /// Text typed during the last frame, concatenated in event order.
        std::string chars;
    };

    /// Queue a key going down or up, stamped with the caller's `time`; nothing is visible before
    /// the next update().
    ///@{
    void submitKeyDown(Key key, double time);
    void submitKeyUp(Key key, double time);
    ///@}
    /// Queues typed text, taking it over: `text` is empty afterwards (a named string as well as a
    /// temporary).
    ///@{
    void submitChar(std::string&& text, double time);
    void submitChar(std::string& text, double time) { submitChar(std::move(text), time); }
    ///@}
    /// Queues a return to the all-zero state, e.g. when the window loses focus and releases
    /// would otherwise never arrive.
    void submitReset(double time);

    /// Applies the queued events in submission order and makes them the frame's event list.
    void update();

    /// Key down after the last update; false for a value outside the enumeration.
    bool isKeyDown(Key key) const;
    /// Not isKeyDown(): true for a value outside the enumeration.
    bool isKeyUp(Key key) const { return !isKeyDown(key); }
    /// The last frame's events hold a KeyDown of `key`.
    bool wasKeyPressed(Key key) const;
    /// The last frame's events hold a KeyUp of `key`.
    bool wasKeyReleased(Key key) const;
    /// `text` occurs in the text typed during the last frame; always true for empty `text`.
    bool hasChar(StringView text) const;
    /// Text typed during the last frame.
    const std::string& getChars() const { return state.chars; }

    /// The events applied by the last update, in submission order.
    const std::vector<Event>& getEvents() const { return events; }
    /// The whole state after the last update.
    const State& getState() const { return state; }

private:
    bool hasEvent(Event::Type type, Key key) const;

    State state;
    std::vector<Event> events;
    std::vector<Event> queue;
};

} // namespace Tarn
