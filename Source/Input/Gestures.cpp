#include <Tarn/Input/Gestures.h>

#include <Tarn/Application/Timer.h>
#include <Tarn/Logging/Log.h>

#include <glm/geometric.hpp>
#include <glm/vec2.hpp>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace Tarn {

namespace {

// A pointer counts as lost when it has been silent this long without moving.
constexpr double StalePointerTime = 10000.0;

const Logging::Log logger("Gestures");

// Float to pixel coordinate, truncating toward zero like a plain conversion but without its
// undefined behaviour for values beyond the int range.
int32_t truncateToInt(float value) {
    constexpr float Max = 2147483520.0f; // the largest float below 2^31
    if (!(value > -2147483648.0f)) {
        return value < 0.0f ? std::numeric_limits<int32_t>::min() : 0;
    }
    return value < Max ? static_cast<int32_t>(value) : static_cast<int32_t>(Max);
}

glm::ivec2 midpoint(glm::ivec2 a, glm::ivec2 b) {
    const glm::vec2 mid = (glm::vec2(a) + glm::vec2(b)) * 0.5f;
    return {truncateToInt(mid.x), truncateToInt(mid.y)};
}

float distanceSquared(glm::ivec2 a, glm::ivec2 b) {
    const glm::vec2 d = glm::vec2(a) - glm::vec2(b);
    return glm::dot(d, d);
}

Gesture::Direction flickDirection(glm::ivec2 from, glm::ivec2 to) {
    const int64_t dx = int64_t{to.x} - from.x;
    const int64_t dy = int64_t{to.y} - from.y;
    if (std::llabs(dx) > std::llabs(dy)) {
        return dx < 0 ? Gesture::Direction::Left : Gesture::Direction::Right;
    }
    return dy < 0 ? Gesture::Direction::Up : Gesture::Direction::Down;
}

} // namespace

bool Gestures::isEnabled(Gesture::Kind kind) const {
    const auto index = static_cast<uint32_t>(kind);
    return index < Gesture::KindCount && settings.enabled[index];
}

void Gestures::setEnabled(Gesture::Kind kind, bool enabled) {
    const auto index = static_cast<uint32_t>(kind);
    if (index < Gesture::KindCount) {
        settings.enabled[index] = enabled;
    }
}

float Gestures::moveThreshold(PointerType type) const {
    return (type == PointerType::Mouse ? settings.mouseMoveThreshold : settings.touchMoveThreshold) *
           settings.displayScale;
}

Gestures::Pointer* Gestures::findPointer(uint64_t id) {
    for (Pointer& pointer : pointers) {
        if (pointer.id == id) {
            return &pointer;
        }
    }
    return nullptr;
}

void Gestures::begin(std::optional<Gesture>& slot, Gesture::Kind kind, MouseButton button,
                     glm::ivec2 position) {
    Gesture gesture;
    gesture.kind = kind;
    gesture.id = nextGestureId();
    gesture.state = Gesture::State::Begin;
    gesture.button = button;
    gesture.position = position;
    if (kind == Gesture::Kind::Drag || kind == Gesture::Kind::Pan) {
        gesture.current = position; // the others leave it at its default
    }
    slot = gesture;
}

// A tracked gesture in the Begin state has not passed its threshold yet and was never reported,
// so it goes without a word; Press is reported from its first moment and so always gets an end.
void Gestures::endUpdatingGesture(std::optional<Gesture>& slot, Gesture::State state) {
    if (slot && (slot->kind == Gesture::Kind::Press || slot->state == Gesture::State::Update)) {
        slot->state = state;
        emit(*slot);
    }
    slot.reset();
}

void Gestures::pointerDown(PointerType type, uint64_t id, MouseButton button, glm::ivec2 position,
                           double time) {
    Pointer record;
    record.id = id;
    record.type = type;
    record.button = button;
    record.pressPosition = record.previousPosition = record.currentPosition = position;
    record.pressTime = record.previousTime = record.currentTime = time;
    if (Pointer* existing = findPointer(id)) {
        *existing = record;
    } else {
        pointers.push_back(record);
    }

    // Any new contact changes what the user is doing: whatever was being tracked is over.
    endUpdatingGesture(press, Gesture::State::Cancel);
    endUpdatingGesture(drag, Gesture::State::Cancel);
    endUpdatingGesture(pan, Gesture::State::Cancel);
    endUpdatingGesture(rotate, Gesture::State::Cancel);
    endUpdatingGesture(pinch, Gesture::State::Cancel);

    if (pointers.size() == 1) {
        if (isEnabled(Gesture::Kind::Press)) {
            begin(press, Gesture::Kind::Press, button, position);
            emit(*press);
        }
        if (isEnabled(Gesture::Kind::Drag)) {
            begin(drag, Gesture::Kind::Drag, button, position);
        }
    } else if (pointers.size() == 2) {
        const glm::ivec2 mid = midpoint(pointers[0].currentPosition, pointers[1].currentPosition);
        if (isEnabled(Gesture::Kind::Pan)) {
            begin(pan, Gesture::Kind::Pan, MouseButton::Left, mid);
        }
        if (isEnabled(Gesture::Kind::Rotate)) {
            begin(rotate, Gesture::Kind::Rotate, MouseButton::Left, mid);
        }
        if (isEnabled(Gesture::Kind::Pinch)) {
            begin(pinch, Gesture::Kind::Pinch, MouseButton::Left, mid);
        }
    }
}

void Gestures::pointerMove(PointerType, uint64_t id, glm::ivec2 position, double time) {
    Pointer* pointer = findPointer(id);
    if (!pointer) {
        if (isEnabled(Gesture::Kind::Hover)) {
            Gesture hover;
            hover.kind = Gesture::Kind::Hover;
            hover.id = nextGestureId();
            hover.state = Gesture::State::End;
            hover.position = position;
            emit(hover);
        }
        return;
    }
    pointer->previousPosition = pointer->currentPosition;
    pointer->previousTime = pointer->currentTime;
    pointer->currentPosition = position;
    pointer->currentTime = time;
    pointer->state = PointerState::Moved;

    if (pointers.size() == 1 && drag) {
        if (drag->state != Gesture::State::Update) {
            const float threshold = moveThreshold(pointer->type);
            if (!(distanceSquared(position, pointer->pressPosition) > threshold * threshold)) {
                return;
            }
            endUpdatingGesture(press, Gesture::State::Cancel);
            emit(*drag);
            drag->state = Gesture::State::Update;
        }
        if (position != drag->current) {
            drag->current = position;
            emit(*drag);
        }
    } else if (pointers.size() == 2) {
        twoPointerMove(*pointer);
    }
}

void Gestures::twoPointerMove(const Pointer& moved) {
    const Pointer& first = pointers[0];
    const Pointer& second = pointers[1];
    const glm::ivec2 mid = midpoint(first.currentPosition, second.currentPosition);

    if (pan) {
        if (pan->state != Gesture::State::Update) {
            const float threshold = moveThreshold(moved.type);
            const glm::ivec2 pressMid = midpoint(first.pressPosition, second.pressPosition);
            if (distanceSquared(mid, pressMid) > threshold * threshold) {
                emit(*pan);
                pan->state = Gesture::State::Update;
            }
        }
        if (pan->state == Gesture::State::Update && mid != pan->current) {
            pan->current = mid;
            emit(*pan);
        }
    }

    const glm::vec2 startLine = glm::vec2(second.pressPosition) - glm::vec2(first.pressPosition);
    const glm::vec2 currentLine = glm::vec2(second.currentPosition) - glm::vec2(first.currentPosition);

    if (rotate) {
        // Normalising both vectors at once keeps atan2's arguments in [-1, 1]; two pointers on
        // the same spot have no line and so no angle.
        const float inverse = 1.0f / (glm::length(startLine) * glm::length(currentLine));
        if (std::isfinite(inverse)) {
            const float cross = (startLine.x * currentLine.y - startLine.y * currentLine.x) * inverse;
            const float dot = glm::dot(startLine, currentLine) * inverse;
            const float angle = std::atan2(cross, dot);
            if (rotate->state != Gesture::State::Update && std::fabs(angle) > settings.rotateThreshold) {
                emit(*rotate);
                rotate->state = Gesture::State::Update;
            }
            if (rotate->state == Gesture::State::Update && angle != rotate->angle) {
                rotate->position = mid;
                rotate->angle = angle;
                emit(*rotate);
            }
        }
    }

    if (pinch) {
        const float scale = glm::length(currentLine) / glm::length(startLine);
        if (std::isfinite(scale)) {
            if (pinch->state != Gesture::State::Update && std::fabs(1.0f - scale) > settings.pinchThreshold) {
                emit(*pinch);
                pinch->state = Gesture::State::Update;
            }
            if (pinch->state == Gesture::State::Update && scale != pinch->scale) {
                pinch->position = mid;
                pinch->scale = scale;
                emit(*pinch);
            }
        }
    }
}

void Gestures::pointerUp(PointerType, uint64_t id, MouseButton button, glm::ivec2 position, double time) {
    Pointer* pointer = findPointer(id);
    if (!pointer) {
        logger.log(Logging::Category::Warning, "Discarding pointer release event from unknown pointer.");
        return;
    }
    pointer->currentPosition = position;
    pointer->currentTime = time;
    pointer->state = PointerState::Released;
    const double duration = time - pointer->pressTime;

    if (drag) {
        const double distance =
            std::sqrt(static_cast<double>(distanceSquared(position, pointer->pressPosition)));
        // A release in the same millisecond as the press has no measurable speed; it is no flick.
        const float speed = duration > 0.0 ? static_cast<float>(distance * 1000.0 / duration) : 0.0f;
        const float minimumSpeed =
            (pointer->type == PointerType::Mouse ? settings.mouseFlickSpeed : settings.touchFlickSpeed) *
            settings.displayScale;
        if (isEnabled(Gesture::Kind::Flick) && speed > minimumSpeed && duration < settings.flickTime) {
            endUpdatingGesture(drag, Gesture::State::Cancel);
            Gesture flick;
            flick.kind = Gesture::Kind::Flick;
            flick.id = nextGestureId();
            flick.state = Gesture::State::End;
            flick.button = button;
            flick.direction = flickDirection(pointer->pressPosition, position);
            flick.position = pointer->pressPosition;
            flick.speed = speed;
            emit(flick);
        } else if (drag->state == Gesture::State::Update) {
            drag->state = Gesture::State::End;
            drag->current = position;
            emit(*drag);
        }
        drag.reset();
    }

    if (press) {
        if (duration >= settings.pressTime) {
            endUpdatingGesture(press, Gesture::State::End);
        } else {
            endUpdatingGesture(press, Gesture::State::Cancel);
            Gesture tap;
            tap.id = nextGestureId();
            tap.state = Gesture::State::End;
            tap.button = button;
            tap.position = position;
            if (isEnabled(Gesture::Kind::DoubleTap) && time - lastTapTime < settings.doubleTapTime) {
                // The remembered tap stays where it was, so a third quick tap is again a double tap.
                tap.kind = Gesture::Kind::DoubleTap;
            } else {
                lastTapTime = time;
                tap.kind = Gesture::Kind::Tap;
            }
            emit(tap);
        }
    }

    endUpdatingGesture(pan, Gesture::State::End);
    endUpdatingGesture(rotate, Gesture::State::End);
    endUpdatingGesture(pinch, Gesture::State::End);

    pointers.erase(pointers.begin() + (pointer - pointers.data()));
}

void Gestures::mouseWheelMove(int delta) {
    Gesture wheel;
    wheel.kind = Gesture::Kind::Wheel;
    wheel.id = nextGestureId();
    wheel.state = Gesture::State::End;
    wheel.delta = delta;
    emit(wheel);
}

void Gestures::update() {
    // The same clock and truncation the window stamps pointer events with.
    update(static_cast<double>(Timer::currentTimeMicroseconds() / 1000));
}

void Gestures::update(double now) {
    for (size_t i = 0; i < pointers.size();) {
        const Pointer& pointer = pointers[i];
        // Measured between the pointer's own reports, so that event times from any clock (a
        // replayed trace, a device's own timestamps) work: a contact that keeps being reported at
        // one place while nothing else happens is the one whose release was lost.
        const bool silent = pointer.currentTime - pointer.previousTime > StalePointerTime;
        const bool still =
            pointer.state == PointerState::Pressed || pointer.currentPosition == pointer.previousPosition;
        if (silent && still) {
            logger.log(Logging::Category::Warning, "Discarding out-dated pointer id=%llu",
                       static_cast<unsigned long long>(pointer.id));
            // Removes the pointer at i, so the next one moves into its place.
            pointerUp(pointer.type, pointer.id, pointer.button, pointer.currentPosition, now);
            continue;
        }
        ++i;
    }
    gestures.swap(pending);
    pending.clear();
}

void Gestures::reset() {
    pending.clear();
}

} // namespace Tarn
