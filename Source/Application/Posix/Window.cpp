#include <Tarn/Application/Window.h>
#include <Tarn/Logging/Log.h>

#include "Application/Internal/WindowPlatform.h"

// Linux has no window backend yet. Creating or attaching a window is a clean, logged failure, the
// queries answer zero and the rest does nothing; the hub and the shared translation still work.
namespace Tarn {

namespace {

const Logging::Log windowLog("Window");

constexpr const char* noBackend = "no window system backend on this platform";

} // namespace

namespace Platform::Detail {

glm::ivec2 screenToClient(WindowData::WindowHandle, glm::ivec2 point) {
    return point;
}

void forgetWindow(WindowData::WindowHandle, const void*, WindowData::WindowProc) {}

} // namespace Platform::Detail

bool Window::create(int32_t, int32_t) {
    windowLog.log(Logging::Category::Error, "%.*s. Error: %s.", 18, "Window not created", noBackend);
    return false;
}

bool Window::attach(WindowData::WindowHandle) {
    windowLog.log(Logging::Category::Error, "%.*s. Error: %s.", 19, "Window not attached", noBackend);
    return false;
}

void Window::detach() {}

void Window::destroy() {
    getWindowData().windowHandle = nullptr;
}

void Window::show() {}
void Window::hide() {}
void Window::maximise() {}
void Window::minimise() {}
void Window::restore() {}

glm::ivec2 Window::getPosition() const {
    return {0, 0};
}

glm::ivec2 Window::getSize() const {
    return {0, 0};
}

void Window::setPosition(const glm::ivec2&) {}
void Window::setSize(const glm::ivec2&) {}
void Window::setTitle(StringView) {}

int64_t Window::WndProc(WindowData::WindowHandle, uint32_t, uint64_t, int64_t) {
    return 0;
}

int64_t Window::processWindowMessage(const WindowMessage&) {
    return 0;
}

} // namespace Tarn
