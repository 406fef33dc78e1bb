#include <Tarn/Application/PlatformContext.h>
#include <Tarn/Application/Timer.h>
#include <Tarn/Application/Window.h>
#include <Tarn/Input/InputEventTranslator.h>
#include <Tarn/Input/Key.h>
#include <Tarn/Network/Message.h>
#include <Tarn/Strings/TextConversion.h>

#include "Application/Internal/WindowPlatform.h"

#include <atomic>
#include <string>

namespace Tarn {

namespace {

std::atomic<uint32_t> windowCounter{0};

// Typed text arrives one UTF-16 unit per message; a character outside the basic plane takes two.
// Shared by every window of the process, as the units of one character may be split between
// windows when focus moves; used only on window threads, so unsynchronised.
std::wstring& pendingCharacter() {
    static std::wstring pending;
    return pending;
}

double millisecondsNow() {
    return static_cast<double>(Timer::currentTimeMilliseconds());
}

// Character, pointer and wheel messages take the microsecond clock cut to whole milliseconds.
double truncatedMillisecondsNow() {
    return static_cast<double>(Timer::currentTimeMicroseconds() / 1000);
}

constexpr uint32_t pointerUpdate = 0x245;
constexpr uint32_t pointerDown = 0x246;
constexpr uint32_t pointerUp = 0x247;
constexpr uint32_t touchPointer = 2;
constexpr uint32_t inContactFlag = 0x4;
constexpr uint32_t firstButtonFlag = 0x10;
constexpr uint32_t secondButtonFlag = 0x20;
constexpr uint32_t thirdButtonFlag = 0x40;
constexpr uint64_t touchSourceBase = 0x1000;

// Change types 1 to 6 are the first three buttons going down (odd) and up (even).
bool isFirstThreeButtons(uint32_t changeType) {
    return changeType >= 1 && changeType <= 6;
}

uint64_t buttonOfChange(uint32_t changeType) {
    return (changeType - 1) / 2;
}

} // namespace

namespace Platform::Detail {

// Touch ids below 8 would read as mouse buttons, so they move up out of the way.
uint64_t touchSource(uint32_t pointerId) {
    return pointerId < InputMessage::FirstTouchSource ? pointerId + touchSourceBase : pointerId;
}

} // namespace Platform::Detail

using Platform::Detail::touchSource;

uint32_t getNextHubID() {
    return windowCounter.fetch_add(1, std::memory_order_relaxed);
}

Window::Window(PlatformContext* platformContext)
    : MessageHub(getNextHubID()), context(platformContext), data(std::make_unique<WindowData>()) {
    if (context != nullptr) {
        context->setWindowData(data.get());
    }
}

Window::~Window() {
    // A context that still points at the record must not be left dangling.
    if (context != nullptr && context->refWindowData() == data.get()) {
        context->setWindowData(nullptr);
    }
    Platform::Detail::forgetWindow(data->windowHandle, this, data->previousWindowProc);
    data.reset();
}

void Window::update() {
    processMessages(-1);
}

void Window::handleResize(uint32_t, uint32_t) {}

void Window::handleDPIChange(int32_t newDpi, float newScale) {
    static_cast<void>(newDpi);
    static_cast<void>(newScale);
}

void Window::sendTimeMessage(uint32_t id) {
    Network::MessagePtr message = Network::Message::allocate(id);
    message->writeDouble(millisecondsNow());
    sendMessage(message);
}

void Window::sendEmptyMessage(uint32_t id) {
    sendMessage(Network::Message::allocate(id));
}

void Window::sendPairMessage(uint32_t id, uint32_t a, uint32_t b) {
    Network::MessagePtr message = Network::Message::allocate(id);
    message->write32(a);
    message->write32(b);
    sendMessage(message);
}

void Window::sendKeyMessage(uint32_t id, uint64_t virtualKey) {
    if (virtualKey > 0xFFFFFFFFu) {
        return;
    }
    const std::optional<Key> key = keyFromVirtualKey(static_cast<uint32_t>(virtualKey));
    if (!key) {
        return;
    }
    Network::MessagePtr message = Network::Message::allocate(id);
    message->write32(static_cast<uint32_t>(*key));
    message->writeDouble(millisecondsNow());
    sendMessage(message);
}

void Window::sendCharUnit(uint16_t unit) {
    std::wstring& pending = pendingCharacter();
    pending.push_back(static_cast<wchar_t>(unit));
    if (pending.size() == 1 && unit >= 0xD800 && unit <= 0xDFFF) {
        return; // half of a surrogate pair: the other half follows
    }
    const std::string text = narrow(pending);
    pending.clear();
    sendText(text);
}

void Window::sendText(StringView text) {
    Network::MessagePtr message = Network::Message::allocate(InputMessage::InputChar);
    message->writeString(std::string(text.data(), text.size()));
    message->writeDouble(truncatedMillisecondsNow());
    sendMessage(message);
}

void Window::sendWheelMessage(int32_t delta) {
    Network::MessagePtr message = Network::Message::allocate(InputMessage::InputWheel);
    message->write32(static_cast<uint32_t>(delta));
    message->writeDouble(truncatedMillisecondsNow());
    sendMessage(message);
}

void Window::sendPointerMessage(uint32_t id, uint64_t source, int64_t second) {
    const glm::ivec2 screen{static_cast<int16_t>(second & 0xFFFF),
                            static_cast<int16_t>((second >> 16) & 0xFFFF)};
    sendClientPointerMessage(id, source, Platform::Detail::screenToClient(data->windowHandle, screen));
}

void Window::sendClientPointerMessage(uint32_t id, uint64_t source, glm::ivec2 client) {
    Network::MessagePtr message = Network::Message::allocate(id);
    message->write64(source);
    message->write32(static_cast<uint32_t>(client.x));
    message->write32(static_cast<uint32_t>(client.y));
    message->writeDouble(truncatedMillisecondsNow());
    sendMessage(message);
}

void Window::translatePointer(const WindowMessage& message, const PointerInfo& info) {
    const auto pointerId = static_cast<uint32_t>(message.first & 0xFFFF);
    const auto flags = static_cast<uint32_t>((message.first >> 16) & 0xFFFF);
    const bool touch = info.pointerType == touchPointer;

    switch (message.message) {
    case pointerDown:
    case pointerUp: {
        uint64_t source = pointerId;
        if (touch) {
            source = touchSource(pointerId);
        } else if (isFirstThreeButtons(info.buttonChangeType)) {
            source = buttonOfChange(info.buttonChangeType);
        }
        sendPointerMessage(message.message == pointerDown ? InputMessage::InputPointerDown
                                                          : InputMessage::InputPointerUp,
                           source, message.second);
        break;
    }
    case pointerUpdate: {
        if ((flags & inContactFlag) == 0) {
            sendPointerMessage(InputMessage::InputPointerMove, 0, message.second);
            break;
        }
        if (touch) {
            sendPointerMessage(InputMessage::InputPointerMove, touchSource(pointerId), message.second);
            break;
        }
        uint64_t source = pointerId;
        if ((flags & firstButtonFlag) != 0) {
            source = 0;
        } else if ((flags & secondButtonFlag) != 0) {
            source = 1;
        } else if ((flags & thirdButtonFlag) != 0) {
            source = 2;
        }
        sendPointerMessage(InputMessage::InputPointerMove, source, message.second);
        if (isFirstThreeButtons(info.buttonChangeType)) {
            const bool pressed = (info.buttonChangeType % 2) == 1;
            sendPointerMessage(pressed ? InputMessage::InputPointerDown : InputMessage::InputPointerUp,
                               buttonOfChange(info.buttonChangeType), message.second);
        }
        break;
    }
    default:
        break;
    }
}

} // namespace Tarn
