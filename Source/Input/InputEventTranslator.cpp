#include <Tarn/Input/InputEventTranslator.h>

#include <Tarn/Application/Window.h>
#include <Tarn/Input/Gestures.h>
#include <Tarn/Input/Keyboard.h>
#include <Tarn/Input/Mouse.h>
#include <Tarn/Logging/Log.h>

#include <string>
#include <utility>

namespace Tarn {

namespace {

const Logging::Log inputLog("Input");

constexpr uint32_t touchPointerButton = 0;
constexpr uint64_t mousePointerId = 0xFFFFFFFF;

// The fixed part of each payload; a string payload counts its 4-byte length only, the string
// reader itself never reads past the end.
uint64_t minimumPayload(uint32_t id) {
    switch (id) {
    case InputMessage::InputReset:
        return 8;
    case InputMessage::InputKeyDown:
    case InputMessage::InputKeyUp:
        return 4 + 8;
    case InputMessage::InputChar:
        return 4 + 8;
    case InputMessage::InputPointerDown:
    case InputMessage::InputPointerUp:
    case InputMessage::InputPointerMove:
        return 8 + 4 + 4 + 8;
    case InputMessage::InputWheel:
        return 4 + 8;
    default:
        return 0;
    }
}

struct PointerSource {
    PointerType type;
    uint64_t id;
    MouseButton button;
};

PointerSource decodeSource(uint64_t source) {
    if (source < InputMessage::FirstTouchSource) {
        return {PointerType::Mouse, mousePointerId, static_cast<MouseButton>(source)};
    }
    return {PointerType::Touch, source, static_cast<MouseButton>(touchPointerButton)};
}

struct PointerEvent {
    uint64_t source;
    glm::ivec2 position;
    double time;
};

PointerEvent readPointer(Network::Message& payload) {
    PointerEvent event{};
    event.source = payload.read64();
    event.position.x = static_cast<int32_t>(payload.read32());
    event.position.y = static_cast<int32_t>(payload.read32());
    event.time = payload.readDouble();
    return event;
}

} // namespace

InputEventTranslator::InputEventTranslator() : MessageHub(0) {}

InputEventTranslator::~InputEventTranslator() {
    disconnectFromAllSenders();
}

void InputEventTranslator::initialize(Window& window, Keyboard* keyboardDevice, Mouse* mouseDevice,
                                      Gestures* gestureDevice) {
    keyboard = keyboardDevice;
    mouse = mouseDevice;
    gestures = gestureDevice;
    listenTo(&window, false);
}

void InputEventTranslator::queueMessage(const Network::MessagePtr& message) {
    if (!message) {
        return;
    }
    const uint32_t id = message->getID();
    const uint64_t minimum = minimumPayload(id);
    if (minimum == 0) {
        return;
    }
    if (message->size() < minimum) {
        inputLog.log(Logging::Category::Warning, "Dropping input message %#x with a payload of %llu bytes.",
                     id, static_cast<unsigned long long>(message->size()));
        return;
    }
    // The message is shared with every other listener: read it through a view with its own cursor.
    Network::Message payload(id, *message);

    switch (id) {
    case InputMessage::InputReset: {
        const double time = payload.readDouble();
        if (keyboard != nullptr) {
            keyboard->submitReset(time);
        }
        if (mouse != nullptr) {
            // The window's deactivation carries one time only; then the mouse takes that one
            // rather than a zero read past the end.
            mouse->submitReset(payload.unreadSize() >= 8 ? payload.readDouble() : time);
        }
        if (gestures != nullptr) {
            gestures->reset();
        }
        break;
    }
    case InputMessage::InputKeyDown:
    case InputMessage::InputKeyUp: {
        const auto key = static_cast<Key>(payload.read32());
        const double time = payload.readDouble();
        if (keyboard != nullptr) {
            if (id == InputMessage::InputKeyDown) {
                keyboard->submitKeyDown(key, time);
            } else {
                keyboard->submitKeyUp(key, time);
            }
        }
        break;
    }
    case InputMessage::InputChar: {
        std::string text = payload.readString();
        const double time = payload.readDouble();
        if (keyboard != nullptr) {
            keyboard->submitChar(std::move(text), time);
        }
        break;
    }
    case InputMessage::InputPointerDown:
    case InputMessage::InputPointerUp: {
        const PointerEvent event = readPointer(payload);
        const PointerSource source = decodeSource(event.source);
        const bool down = id == InputMessage::InputPointerDown;
        if (mouse != nullptr) {
            // Truncated on purpose for huge touch ids: the mouse keeps them as events only.
            const auto button = static_cast<MouseButton>(static_cast<uint32_t>(event.source));
            if (down) {
                mouse->submitButtonDown(button, event.time);
            } else {
                mouse->submitButtonUp(button, event.time);
            }
        }
        if (gestures != nullptr) {
            if (down) {
                gestures->pointerDown(source.type, source.id, source.button, event.position, event.time);
            } else {
                gestures->pointerUp(source.type, source.id, source.button, event.position, event.time);
            }
        }
        break;
    }
    case InputMessage::InputPointerMove: {
        const PointerEvent event = readPointer(payload);
        const PointerSource source = decodeSource(event.source);
        if (mouse != nullptr) {
            mouse->submitMove(event.position, event.time);
        }
        if (gestures != nullptr) {
            gestures->pointerMove(source.type, source.id, event.position, event.time);
        }
        break;
    }
    case InputMessage::InputWheel: {
        const auto delta = static_cast<int32_t>(payload.read32());
        const double time = payload.readDouble();
        if (mouse != nullptr) {
            mouse->submitWheel(delta, time);
        }
        if (gestures != nullptr) {
            gestures->mouseWheelMove(delta);
        }
        break;
    }
    default:
        break;
    }
}

} // namespace Tarn
