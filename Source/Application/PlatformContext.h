#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Input/Gestures.h>
#include <Tarn/Input/Keyboard.h>
#include <Tarn/Input/Mouse.h>

namespace Tarn {

struct WindowData;

/// The per-application input objects, held by value, and the window's record, so that one object
/// can be handed to the window (which stores its `WindowData` here) and to the code that reads
/// input. Copying copies the pointer and all three devices. Not synchronised.
class TARN_API PlatformContext {
public:
    /// Fresh devices and no window record; copies and moves take the devices' state and the
    /// record's address (see above).
    ///@{
    PlatformContext() = default;
    PlatformContext(const PlatformContext&) = default;
    PlatformContext& operator=(const PlatformContext&) = default;
    PlatformContext(PlatformContext&&) = default;
    PlatformContext& operator=(PlatformContext&&) = default;
    ///@}
    virtual ~PlatformContext();

    /// The three input devices, which live as long as the context.
    ///@{
    Keyboard& refKeyboard() { return keyboard; }
    Mouse& refMouse() { return mouse; }
    Gestures& refGestures() { return gestures; }
    const Keyboard& refKeyboard() const { return keyboard; }
    const Mouse& refMouse() const { return mouse; }
    const Gestures& refGestures() const { return gestures; }
    ///@}

    /// The window's record; not owned, null until a window or `setWindowData` sets it.
    ///@{
    WindowData* refWindowData() const { return windowData; }
    void setWindowData(WindowData* data) { windowData = data; }
    ///@}

private:
    WindowData* windowData = nullptr;
    Keyboard keyboard;
    Mouse mouse;
    Gestures gestures;
};

} // namespace Tarn
