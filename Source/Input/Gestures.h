#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Input/Gesture.h>
#include <Tarn/Input/Mouse.h>

#include <glm/vec2.hpp>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace Tarn {

/// What kind of contact a pointer is. Only the mouse is told apart: every other value uses the
/// touch thresholds and speeds.
enum class PointerType : uint32_t { Mouse = 0, Touch = 1, Pen = 2 };

/// Turns pointer events (mouse, touch or pen contacts, each with an id, a position in pixels and a
/// time in milliseconds) into gestures: hover, wheel, tap, double tap, press, drag, flick and the
/// two-pointer pan, rotate and pinch.
///
/// Gestures found between two `update()` calls become visible together through `getGestures()`.
/// At most one of each tracked kind (Press, Drag, Pan, Rotate, Pinch) is active at a time: the
/// single-pointer ones live from a press until its release or until a second pointer arrives, the
/// two-pointer ones while exactly the two pointers present at their start remain. A tracked gesture
/// is reported once it passes its threshold (Begin, then Update), so one that never does vanishes
/// without a trace; Press is the exception and reports Begin at once.
///
/// Times are the caller's and only their differences matter; the library's wall clock in
/// milliseconds only stamps the releases `update()` makes up for lost ones (`update(now)` takes
/// another clock's reading for those).
/// Not synchronised: feed and update on the thread that pumps the window's input.
class TARN_API Gestures {
public:
    /// Tunables, all public; change them through `refSettings()` at any time.
    struct Settings {
        /// Indexed by Gesture::Kind. Wheel is never gated, and Tap follows Press (a tap is a press
        /// released early).
        std::array<bool, Gesture::KindCount> enabled = {true, true, true, true, true,
                                                        true, true, true, true, true};
        /// A release at least this long after the press is a long press (Press End), not a tap.
        uint32_t pressTime = 250;
        /// A tap less than this after the remembered tap is a DoubleTap.
        uint32_t doubleTapTime = 300;
        /// A flick lasts less than this from press to release.
        uint32_t flickTime = 200;
        /// Pixels a mouse pointer must move before Drag or Pan begins.
        float mouseMoveThreshold = 1.0f;
        /// The same for every other pointer type.
        float touchMoveThreshold = 16.0f;
        /// Minimum flick speed of a non-mouse pointer, pixels per second.
        float touchFlickSpeed = 500.0f;
        /// Minimum flick speed of the mouse, pixels per second.
        float mouseFlickSpeed = 100.0f;
        /// Radians the pointers must turn before Rotate begins.
        float rotateThreshold = 0.05f;
        /// Change of scale (absolute difference from 1) before Pinch begins.
        float pinchThreshold = 0.1f;
        /// Multiplies both move thresholds and both flick speeds, so that they mean the same
        /// physical distance on a high-DPI display.
        float displayScale = 1.0f;
    };

    /// A pointer went down (or, for the mouse, a button was pressed). An id already down is
    /// pressed anew.
    void pointerDown(PointerType type, uint64_t id, MouseButton button, glm::ivec2 position, double time);
    /// A pointer moved; an id that is not down produces a Hover.
    void pointerMove(PointerType type, uint64_t id, glm::ivec2 position, double time);
    /// A pointer was released; an unknown id is logged and ignored.
    void pointerUp(PointerType type, uint64_t id, MouseButton button, glm::ivec2 position, double time);
    /// Emits a Wheel gesture at once, whatever the enable flags say.
    void mouseWheelMove(int delta);

    /// Releases stale pointers (see `update(double)`) at the library clock's present time in
    /// milliseconds, then publishes the gestures emitted since the previous update.
    void update();
    /// The same with the present time given: a pointer whose last report came more than 10 s
    /// after the one before it, at an unchanged position, is taken to have lost its release (a
    /// touch driver that keeps repeating a contact it no longer tracks) and is released at its
    /// current position at `now`, with a warning.
    void update(double now);
    /// Gestures published by the last update, in the order they were emitted.
    const std::vector<Gesture>& getGestures() const { return gestures; }
    /// Drops what has been emitted since the last update (pointers and tracked gestures stay).
    void reset();

    /// Settings::displayScale, the factor for high-DPI displays.
    ///@{
    void setDisplayScale(float scale) { settings.displayScale = scale; }
    float getDisplayScale() const { return settings.displayScale; }
    ///@}
    /// The tunables, to read, or to change in place; changes apply to the next event.
    ///@{
    const Settings& getSettings() const { return settings; }
    Settings& refSettings() { return settings; }
    ///@}
    /// Settings::enabled for one kind. A value outside Gesture::Kind reads as disabled and is not
    /// stored.
    ///@{
    bool isEnabled(Gesture::Kind kind) const;
    void setEnabled(Gesture::Kind kind, bool enabled);
    ///@}

    /// Number of pointers currently down.
    uint64_t getPointerCount() const { return pointers.size(); }

private:
    enum class PointerState : uint8_t { Pressed, Moved, Released };

    struct Pointer {
        uint64_t id = 0;
        PointerType type = PointerType::Mouse;
        MouseButton button = MouseButton::Left;
        PointerState state = PointerState::Pressed;
        glm::ivec2 pressPosition{0, 0};
        glm::ivec2 previousPosition{0, 0};
        glm::ivec2 currentPosition{0, 0};
        double pressTime = 0.0;
        double previousTime = 0.0;
        double currentTime = 0.0;
    };

    Pointer* findPointer(uint64_t id);
    void twoPointerMove(const Pointer& moved);
    void begin(std::optional<Gesture>& slot, Gesture::Kind kind, MouseButton button, glm::ivec2 position);
    void emit(const Gesture& gesture) { pending.push_back(gesture); }
    void endUpdatingGesture(std::optional<Gesture>& slot, Gesture::State state);
    float moveThreshold(PointerType type) const;
    uint32_t nextGestureId() { return gestureCounter++; }

    Settings settings;
    std::vector<Gesture> gestures;
    std::vector<Gesture> pending;
    /// Minus infinity until the first tap, so that no first tap can pass for a double tap.
    double lastTapTime = -std::numeric_limits<double>::infinity();
    uint32_t gestureCounter = 0;
    std::optional<Gesture> press;
    std::optional<Gesture> drag;
    std::optional<Gesture> pan;
    std::optional<Gesture> rotate;
    std::optional<Gesture> pinch;
    /// Pointers in the order they went down. A touch screen reports a handful of contacts, so a
    /// linear scan over this contiguous array beats any hashing, keeps the insertion order for
    /// free and, once grown, never allocates again.
    std::vector<Pointer> pointers;
};

} // namespace Tarn
