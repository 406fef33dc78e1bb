#pragma once

// Helpers shared by the polygon operations. Inputs are single precision; the arithmetic that
// decides crossings and areas runs in double, where the products of differences of floats are
// exact or nearly so, which keeps near-degenerate cases consistent between the steps.

#include <glm/vec3.hpp>

#include <cstddef>

namespace Tarn::Geometry::Internal {

/// Twice the signed area contributed by the edge a -> b (the shoelace term).
inline double shoelaceTerm(const glm::vec3& a, const glm::vec3& b) {
    return static_cast<double>(a.x) * b.y - static_cast<double>(a.y) * b.x;
}

/// Sum of the shoelace terms over a closed outline given as [begin, end), starting with the edge
/// from the last corner to the first; 0 for fewer than three corners.
template <typename It, typename Position>
double shoelaceSum(It begin, It end, Position position) {
    const std::ptrdiff_t n = end - begin;
    if (n < 3) {
        return 0.0;
    }
    double sum = 0.0;
    const glm::vec3* previous = &position(*(end - 1));
    for (It it = begin; it != end; ++it) {
        const glm::vec3& current = position(*it);
        sum += shoelaceTerm(*previous, current);
        previous = &current;
    }
    return sum;
}

/// Segment test between p0 -> p1 and q0 -> q1: true when they meet with both parameters in
/// [0, 1] (ends included). `s` is the parameter along p. Parallel segments never meet.
inline bool segmentsMeet(const glm::vec3& p0, const glm::vec3& p1, const glm::vec3& q0, const glm::vec3& q1,
                         double& s) {
    const double rx = static_cast<double>(p1.x) - p0.x;
    const double ry = static_cast<double>(p1.y) - p0.y;
    const double qx = static_cast<double>(q1.x) - q0.x;
    const double qy = static_cast<double>(q1.y) - q0.y;
    const double denom = rx * qy - ry * qx;
    if (denom == 0.0) {
        return false;
    }
    const double wx = static_cast<double>(q0.x) - p0.x;
    const double wy = static_cast<double>(q0.y) - p0.y;
    s = (wx * qy - wy * qx) / denom;
    const double t = (wx * ry - wy * rx) / denom;
    return s >= 0.0 && s <= 1.0 && t >= 0.0 && t <= 1.0;
}

/// The point at parameter s along a -> b, z included; exactly a at 0 and exactly b at 1.
inline glm::vec3 interpolate(const glm::vec3& a, const glm::vec3& b, double s) {
    if (s >= 1.0) {
        return b;
    }
    return glm::vec3(static_cast<float>(a.x + (static_cast<double>(b.x) - a.x) * s),
                     static_cast<float>(a.y + (static_cast<double>(b.y) - a.y) * s),
                     static_cast<float>(a.z + (static_cast<double>(b.z) - a.z) * s));
}

/// Whether the axis-aligned boxes of two segments overlap; a cheap rejection before segmentsMeet.
inline bool boxesOverlap(const glm::vec3& p0, const glm::vec3& p1, const glm::vec3& q0, const glm::vec3& q1) {
    const float pMinX = p0.x < p1.x ? p0.x : p1.x;
    const float pMaxX = p0.x < p1.x ? p1.x : p0.x;
    const float qMinX = q0.x < q1.x ? q0.x : q1.x;
    const float qMaxX = q0.x < q1.x ? q1.x : q0.x;
    if (pMaxX < qMinX || qMaxX < pMinX) {
        return false;
    }
    const float pMinY = p0.y < p1.y ? p0.y : p1.y;
    const float pMaxY = p0.y < p1.y ? p1.y : p0.y;
    const float qMinY = q0.y < q1.y ? q0.y : q1.y;
    const float qMaxY = q0.y < q1.y ? q1.y : q0.y;
    return !(pMaxY < qMinY || qMaxY < pMinY);
}

} // namespace Tarn::Geometry::Internal
