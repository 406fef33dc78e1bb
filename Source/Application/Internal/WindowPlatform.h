#pragma once

#include <Tarn/Application/WindowData.h>

#include <glm/vec2.hpp>

#include <string>

// What the shared window code needs from the platform, one implementation per backend.
namespace Tarn::Platform::Detail {

/// `point` (screen coordinates) relative to the client area of `handle`; unchanged when there is
/// no window to relate it to.
glm::ivec2 screenToClient(WindowData::WindowHandle handle, glm::ivec2 point);

} // namespace Tarn::Platform::Detail
