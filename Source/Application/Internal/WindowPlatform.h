#pragma once

#include <Tarn/Application/WindowData.h>

#include <glm/vec2.hpp>

#include <string>

// What the shared window code needs from the platform, one implementation per backend.
namespace Tarn::Platform::Detail {

/// `point` (screen coordinates) relative to the client area of `handle`; unchanged when there is
/// no window to relate it to.
glm::ivec2 screenToClient(WindowData::WindowHandle handle, glm::ivec2 point);

/// Called by a window that goes away while its platform window lives on: unhooks `window` from
/// `handle` (the attached window gets `previous` back), so that later messages do not reach freed
/// memory.
void forgetWindow(WindowData::WindowHandle handle, const void* window, WindowData::WindowProc previous);

/// The pointer-message source of a touch contact: ids below 8 move up by 0x1000 so that they never
/// read as mouse buttons; larger ids are the source themselves.
uint64_t touchSource(uint32_t pointerId);

} // namespace Tarn::Platform::Detail
