#pragma once

#include <glm/vec3.hpp>

#include <vector>

// Shoelace area in double precision, computed independently of the library: negative for a
// clockwise outline.
inline double signedArea(const std::vector<glm::vec3>& pts) {
    double sum = 0.0;
    for (std::size_t i = 0, j = pts.size() - 1; i < pts.size(); j = i++) {
        sum += static_cast<double>(pts[j].x) * pts[i].y - static_cast<double>(pts[j].y) * pts[i].x;
    }
    return 0.5 * sum;
}
