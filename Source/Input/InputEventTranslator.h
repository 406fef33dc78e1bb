#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/MessageHub.h>

#include <cstdint>

namespace Tarn {

class Gestures;
class Keyboard;
class Mouse;
class Window;

/// The ids of the input messages that the window sends and the translator reads. Payloads are
/// written in host byte order in the order given; times are milliseconds as 64-bit floats.
namespace InputMessage {
/// time; a second time, read only when a mouse is attached.
inline constexpr uint32_t InputReset = 0x7FF00001;
/// key (32-bit `Key`), time.
inline constexpr uint32_t InputKeyDown = 0x7FF00100;
/// key (32-bit `Key`), time.
inline constexpr uint32_t InputKeyUp = 0x7FF00101;
/// text (a `MemoryBuffer` string, UTF-8), time.
inline constexpr uint32_t InputChar = 0x7FF00102;
/// source (u64), x, y (i32, client coordinates), time.
inline constexpr uint32_t InputPointerDown = 0x7FF00200;
/// source (u64), x, y (i32), time.
inline constexpr uint32_t InputPointerUp = 0x7FF00201;
/// source (u64), x, y (i32), time.
inline constexpr uint32_t InputPointerMove = 0x7FF00202;
/// delta (i32), time.
inline constexpr uint32_t InputWheel = 0x7FF00203;
/// Sources below this are mouse buttons; from it on they are touch pointer ids.
inline constexpr uint64_t FirstTouchSource = 8;
} // namespace InputMessage

/// Replays the window's input messages into a keyboard, a mouse and a gesture recogniser, at the
/// moment the window sends them (nothing is queued), on the thread that sends them.
///
/// A pointer source below 8 is a mouse button: it reaches the gestures as pointer 0xFFFFFFFF of
/// type Mouse with that button. From 8 on it is a touch pointer id: type Touch, button 0. The mouse
/// sees touch contacts too (their source as the button, their moves as its position), so that
/// code reading only the mouse still follows a finger. Messages with other ids are ignored.
class TARN_API InputEventTranslator : public Network::MessageHub {
public:
    /// Hub id 0, no devices.
    InputEventTranslator();
    ~InputEventTranslator() override;

    /// Stores the devices (any may be null; none is owned) and starts listening to `window`.
    void initialize(Window& window, Keyboard* keyboard, Mouse* mouse, Gestures* gestures);

    /// The devices given to initialize (null until then, or when none was given).
    ///@{
    Keyboard* getKeyboard() const { return keyboard; }
    Mouse* getMouse() const { return mouse; }
    Gestures* getGestures() const { return gestures; }
    ///@}

private:
    /// Decodes and dispatches at once. Runs under the sender's hub lock, so it only touches the
    /// devices, never the hub links.
    void queueMessage(const Network::MessagePtr& message) override;

    Keyboard* keyboard = nullptr;
    Mouse* mouse = nullptr;
    Gestures* gestures = nullptr;
};

} // namespace Tarn
