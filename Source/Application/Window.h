#pragma once

#include <Tarn/Application/WindowData.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/MessageHub.h>
#include <Tarn/Strings/StringView.h>

#include <glm/vec2.hpp>

#include <cstdint>
#include <memory>

namespace Tarn {

class PlatformContext;

/// The next id of the module-wide window counter (starting at 0), which every `Window` also takes
/// its hub id from, so that windows and hubs numbered this way never share an id.
TARN_API uint32_t getNextHubID();

/// The ids of the window's own messages (its input messages are in `InputMessage`). Namespace
/// constants rather than class members, so that clients of the DLL can take their address.
namespace WindowEvent {
/// time (64-bit float, ms).
inline constexpr uint32_t Activated = 0x7FF00000;
/// time; the input translator reads it as an input reset.
inline constexpr uint32_t Deactivated = 0x7FF00001;
/// x, y (i32): the client area's new screen position; not sent while maximised or minimised.
inline constexpr uint32_t Moved = 0x7FF00002;
/// width, height (u32) of the client area.
inline constexpr uint32_t Resized = 0x7FF00003;
/// No payload.
inline constexpr uint32_t Maximised = 0x7FF00004;
/// No payload.
inline constexpr uint32_t Minimised = 0x7FF00005;
} // namespace WindowEvent

/// A platform window message exactly as the platform delivered it.
struct WindowMessage {
    /// The window the message is for (HWND).
    WindowData::WindowHandle handle = nullptr;
    /// The message number (WM_*).
    uint32_t message = 0;
    /// WPARAM.
    uint64_t first = 0;
    /// LPARAM.
    int64_t second = 0;
};

/// One top-level window, which is also a message hub: it turns the platform's window messages into
/// library messages with fixed ids and sends them to its listeners at once (normally an
/// `InputEventTranslator`), then lets the default or the replaced window procedure handle them.
///
/// The window either creates its platform window (`create`, then `show`) or takes over one that
/// the host made (`attach`, given back by `detach`). Everything runs on the thread that created or
/// attached it; the application's message pump delivers the messages.
///
/// Messages sent, payloads in host byte order in the order listed (times in ms, 64-bit float):
///
///     0x7FF00000 activated: time.            0x7FF00001 deactivated: time (read as an input reset).
///     0x7FF00002 moved, unless maximised or minimised: x, y (i32, client area's screen position).
///     0x7FF00003 resized: width, height (u32).  0x7FF00004 maximised, 0x7FF00005 minimised: nothing.
///     0x7FF00100/0x7FF00101 key down/up, 0x7FF00102 text, 0x7FF00200..0x7FF00203 pointer down, up,
///     move and wheel: see `InputMessage` in <Tarn/Input/InputEventTranslator.h>.
///
/// Alt+key combinations report only their key releases (system key-downs are not translated).
///
/// Where mouse input does not arrive as pointer messages (pointer input was not or could not be
/// enabled for the process, as under Wine), the classic mouse messages are translated into the same
/// pointer messages; where it does, they are not, so nothing is reported twice.
///
/// On Linux the window is an X11 window (the handle is its X window id) and the same messages are
/// sent; `processWindowMessage` then receives X events (the message is the event type, the first
/// parameter the XInput 2 event type of a generic event, the second the address of the XEvent).
/// Without a display, `create` and `attach` log and return false.
class TARN_API Window : public Network::MessageHub {
public:
    /// What `GetPointerInfo` contributes to the translation of a pointer message.
    struct PointerInfo {
        /// 1 generic, 2 touch, 3 pen, 4 mouse, 5 touchpad (POINTER_INPUT_TYPE).
        uint32_t pointerType = 0;
        /// 0 none, 1/2 first button down/up, 3/4 second, 5/6 third, 7/8 fourth, 9/10 fifth
        /// (POINTER_BUTTON_CHANGE_TYPE).
        uint32_t buttonChangeType = 0;
    };

    /// Takes the next id of the window counter as hub id; allocates the window data and, when
    /// `context` is not null, stores its address there. DPI 96, scale 1.
    explicit Window(PlatformContext* context = nullptr);
    /// Frees the window data; the platform window itself is not destroyed, but it no longer reaches
    /// this object: an attached window gets its procedure back, a created one goes on with the
    /// default procedure.
    ~Window() override;

    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Registers the window class "TarnWindow" (once per process) and creates a hidden window with
    /// a client area of `width` x `height`; a value below 1 takes 70% of the primary screen's
    /// width or height. Logs and returns false on failure.
    virtual bool create(int32_t width, int32_t height);
    /// Detaches any window, then subclasses `handle` so that its messages pass through this window
    /// first. The handle must not be attached to another `Window`. False, with the subclassing
    /// left in place and no handle stored, when the window had no procedure to replace.
    virtual bool attach(WindowData::WindowHandle handle);
    /// Gives an attached window its procedure back; does nothing for windows not attached here.
    virtual void detach();
    /// Destroys the platform window, if there is one.
    virtual void destroy();
    /// Processes every queued hub message.
    virtual void update();
    /// Translates one platform message and returns the default (or replaced) procedure's result.
    virtual int64_t processWindowMessage(const WindowMessage& message);
    /// Called with the client size on every size change; does nothing here.
    virtual void handleResize(uint32_t width, uint32_t height);
    /// Called when the DPI is known or changes; does nothing here.
    virtual void handleDPIChange(int32_t dpi, float scale);

    /// Shows, hides, maximises, minimises or restores the platform window (ShowWindow); nothing
    /// without one.
    ///@{
    void show();
    void hide();
    void maximise();
    void minimise();
    void restore();
    ///@}

    /// Top-left of the outer frame, screen coordinates.
    glm::ivec2 getPosition() const;
    /// Size of the outer frame.
    glm::ivec2 getSize() const;
    /// Moves the outer frame without resizing, reordering or activating.
    void setPosition(const glm::ivec2& position);
    /// Sizes the outer frame without moving, reordering or activating.
    void setSize(const glm::ivec2& size);
    /// Sets the caption (UTF-8).
    void setTitle(StringView title);

    /// The window's DPI and the matching scale (DPI / 96) as last passed to handleDPIChange; 96
    /// and 1 until the platform reports one.
    ///@{
    int32_t getDpi() const { return dpi; }
    float getScale() const { return scale; }
    ///@}
    /// The window's record, owned by the window for its whole life.
    WindowData& getWindowData() const { return *data; }

    /// The window procedure of every window this library creates or attaches.
    static int64_t WndProc(WindowData::WindowHandle handle, uint32_t message, uint64_t first, int64_t second);

    /// The part of WM_POINTERDOWN (0x246), WM_POINTERUP (0x247) and WM_POINTERUPDATE (0x245) that
    /// follows `GetPointerInfo`: decides what the pointer record and the message's flags report
    /// and sends it. Public so that pointer records the platform cannot produce here (touch, pen)
    /// can be replayed.
    void translatePointer(const WindowMessage& message, const PointerInfo& info);

protected:
    /// Sends `id` with source, the client position of the screen point packed in `second` (signed
    /// low and high words) and the time.
    void sendPointerMessage(uint32_t id, uint64_t source, int64_t second);
    /// Sends `id` with source, a point already in client coordinates and the time.
    void sendClientPointerMessage(uint32_t id, uint64_t source, glm::ivec2 client);
    /// Sends `id` with the time in ms as its only field.
    void sendTimeMessage(uint32_t id);
    /// Key down or up for a virtual-key code; nothing for keys the library does not report.
    void sendKeyMessage(uint32_t id, uint64_t virtualKey);
    /// Collects one UTF-16 unit of typed text and sends the text once a whole character is there.
    void sendCharUnit(uint16_t unit);
    /// Sends typed text (UTF-8) as it is; callers pass one whole character at a time.
    void sendText(StringView text);
    /// Sends the wheel delta.
    void sendWheelMessage(int32_t delta);
    /// Sends `id` with an empty payload, or with the two 32-bit values.
    ///@{
    void sendEmptyMessage(uint32_t id);
    void sendPairMessage(uint32_t id, uint32_t a, uint32_t b);
    ///@}

private:
    PlatformContext* context = nullptr;
    std::unique_ptr<WindowData> data;
    int32_t dpi = 96;
    float scale = 1.0f;
};

} // namespace Tarn
