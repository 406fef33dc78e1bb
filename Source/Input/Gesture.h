#pragma once

#include <Tarn/Input/Mouse.h>

#include <glm/vec2.hpp>

#include <cstdint>

namespace Tarn {

/// One recognised gesture, or one step of a gesture that lasts several frames.
///
/// Which fields a kind fills in:
///
/// | kind      | button | position                  | current         | other                 |
/// |-----------|--------|---------------------------|-----------------|-----------------------|
/// | Hover     |        | pointer position          |                 |                       |
/// | Wheel     |        |                           |                 | delta                 |
/// | Tap       | yes    | release position          |                 |                       |
/// | DoubleTap | yes    | release position          |                 |                       |
/// | Press     | yes    | press position            |                 |                       |
/// | Drag      | yes    | start position            | current position|                       |
/// | Flick     | yes    | start position            |                 | direction, speed      |
/// | Pan       |        | start midpoint            | current midpoint|                       |
/// | Rotate    |        | midpoint                  |                 | angle                 |
/// | Pinch     |        | midpoint                  |                 | scale                 |
///
/// Everything else keeps its default value. Midpoints of two pointers are half the sum of their
/// positions, truncated toward zero. Screen y grows downward.
struct Gesture {
    /// The gestures recognised (see the table above), and how many kinds there are.
    ///@{
    enum class Kind : uint32_t { Hover, Wheel, Tap, DoubleTap, Press, Drag, Flick, Pan, Rotate, Pinch };
    static constexpr uint32_t KindCount = 10;
    ///@}

    /// Begin and Update are emitted while a gesture is tracked; it finishes with End, or with
    /// Cancel when something else took over. Kinds recognised in one step are emitted as End.
    enum class State : uint8_t { Begin, Update, End, Cancel };

    /// A flick's main direction on screen: along the axis it moved farther on (vertical on a tie).
    /// Unscoped, so that it compares with the documented numbers 0 to 3 as well.
    enum Direction : uint32_t { Left, Right, Up, Down };

    /// What was recognised.
    Kind kind = Kind::Hover;
    /// Unique per gesture: Begin, Update and End of one drag share it.
    uint32_t id = 0;
    /// The step of the gesture.
    State state = State::Begin;
    /// The fields of the table above, in pixels; those a kind does not use keep these defaults.
    ///@{
    MouseButton button = MouseButton::Left;
    glm::ivec2 position{0, 0};
    glm::ivec2 current{0, 0};
    int32_t delta = 0;
    Direction direction = Direction::Left;
    ///@}
    /// Flick speed in pixels per second.
    float speed = 0.0f;
    /// Rotation in radians from the pointers' starting line; positive is clockwise on screen.
    float angle = 0.0f;
    /// Distance between the pointers relative to their distance at the start.
    float scale = 1.0f;

    /// Field by field, id included.
    bool operator==(const Gesture&) const = default;
};

} // namespace Tarn
