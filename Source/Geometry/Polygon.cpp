#include <Tarn/Geometry/Polygon.h>

#include "Internal/PolygonMath.h"

#include <Tarn/Foundation/Assert.h>

#include <algorithm>
#include <cmath>

namespace Tarn::Geometry {

namespace {

const glm::vec3& self(const glm::vec3& p) {
    return p;
}

} // namespace

Polygon::Polygon(const std::vector<glm::vec3>& newPoints) : points(newPoints) {
    if (!isClockwise(points)) {
        std::reverse(points.begin(), points.end());
    }
}

void Polygon::setPoints(const std::vector<glm::vec3>& newPoints) {
    if (&newPoints != &points) {
        points = newPoints;
    }
    if (!isClockwise(points)) {
        std::reverse(points.begin(), points.end());
    }
}

void Polygon::addPoint(const glm::vec3& point) {
    points.push_back(point);
}

void Polygon::clearPoints() {
    points.clear();
}

float Polygon::calcArea() const {
    return std::abs(calcSignedArea(points.begin(), points.end()));
}

float Polygon::calcSignedArea(PointIterator begin, PointIterator end) {
    return static_cast<float>(0.5 * Internal::shoelaceSum(begin, end, self));
}

bool Polygon::isClockwise(const std::vector<glm::vec3>& outline) {
    return calcSignedArea(outline.begin(), outline.end()) < 0.0f;
}

bool Polygon::isPointInside(const glm::vec3& point) const {
    return isPointInside(point, points);
}

bool Polygon::isPointInside(const glm::vec3& p, const std::vector<glm::vec3>& outline) {
    const std::size_t n = outline.size();
    if (n < 3) {
        return false;
    }
    // The ray's direction is formed in single precision from a far point, as it always has been:
    // the rounding of p.x + 1000000 is part of which edges count as crossed.
    const float dx = (p.x + 1000000.0f) - p.x;
    const float dy = (p.y + 0.0f) - p.y;
    unsigned crossings = 0;
    const glm::vec3* a = &outline[n - 1];
    for (const glm::vec3& b : outline) {
        // Cheap y-range rejection first: for a typical outline only a few edges straddle p.y.
        const float lo = std::min(a->y, b.y);
        const float hi = std::max(a->y, b.y);
        if (lo <= p.y && p.y <= hi && a->y != b.y) {
            const float ex = b.x - a->x;
            const float ey = b.y - a->y;
            const float denom = ey * dx - ex * dy;
            if (denom != 0.0f) {
                const float s = ((p.y - a->y) * dx - (p.x - a->x) * dy) / denom;
                const float t = (ex * (p.y - a->y) - ey * (p.x - a->x)) / denom;
                crossings += (s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f) ? 1u : 0u;
            }
        }
        a = &b;
    }
    return (crossings & 1u) != 0;
}

void Polygon::fixUp() {
    if (!isClockwise(points)) {
        std::reverse(points.begin(), points.end());
    }

    // Each repair inserts at most two corners and is followed by a fresh scan of the shortened
    // edge, so the number of repairs is capped to keep a pathological outline from running away.
    std::size_t repairsLeft = 4 * points.size() + 16;
    std::size_t i = 0;
    while (i < points.size() && points.size() >= 4) {
        const std::size_t n = points.size();
        const glm::vec3 a0 = points[i];
        const glm::vec3 a1 = points[(i + 1) % n];
        bool rescan = false;
        for (std::size_t j = i + 2; j < n && !rescan; ++j) {
            if (i == 0 && j == n - 1) {
                continue; // the closing edge is adjacent to the first one
            }
            const glm::vec3& b0 = points[j];
            const glm::vec3& b1 = points[(j + 1) % n];
            double s = 0.0;
            if (!Internal::boxesOverlap(a0, a1, b0, b1) || !Internal::segmentsMeet(a0, a1, b0, b1, s)) {
                continue;
            }
            const glm::vec3 x = Internal::interpolate(a0, a1, s);
            // Outlines that merely touch at a corner are not crossings.
            if (x == a0 || x == a1 || x == b0 || x == b1) {
                continue;
            }
            if (repairsLeft-- == 0) {
                return;
            }

            // The loop runs from the first inserted copy of x through corners i+1 .. j; the
            // remaining corners are 0 .. i, the second copy of x and j+1 .. n-1.
            std::vector<glm::vec3> loop;
            loop.reserve(j - i + 1);
            loop.push_back(x);
            loop.insert(loop.end(), points.begin() + static_cast<std::ptrdiff_t>(i + 1),
                        points.begin() + static_cast<std::ptrdiff_t>(j + 1));
            std::vector<glm::vec3> remaining;
            remaining.reserve(n - (j - i) + 1);
            remaining.insert(remaining.end(), points.begin(),
                             points.begin() + static_cast<std::ptrdiff_t>(i + 1));
            remaining.push_back(x);
            remaining.insert(remaining.end(), points.begin() + static_cast<std::ptrdiff_t>(j + 1),
                             points.end());

            const double loopArea = 0.5 * Internal::shoelaceSum(loop.begin(), loop.end(), self);
            // Deliberately not halved: a clockwise loop is kept only when it is at least twice as
            // large as the rest, which is how outlines repaired so far have always come out.
            const double rest = Internal::shoelaceSum(remaining.begin(), remaining.end(), self);
            if (loopArea <= 0.0) {
                if (rest > 0.0) {
                    TARN_ASSERT(false);
                    continue;
                }
                if (std::abs(rest) <= std::abs(loopArea)) {
                    points = std::move(loop);
                    i = 0;
                } else {
                    points = std::move(remaining);
                }
            } else {
                if (rest >= 0.0) {
                    TARN_ASSERT(false);
                    continue;
                }
                std::vector<glm::vec3> repaired;
                repaired.reserve(n + 2);
                repaired.insert(repaired.end(), points.begin(),
                                points.begin() + static_cast<std::ptrdiff_t>(i + 1));
                repaired.push_back(x);
                repaired.insert(repaired.end(), points.rbegin() + static_cast<std::ptrdiff_t>(n - j - 1),
                                points.rbegin() + static_cast<std::ptrdiff_t>(n - i - 1));
                repaired.push_back(x);
                repaired.insert(repaired.end(), points.begin() + static_cast<std::ptrdiff_t>(j + 1),
                                points.end());
                points = std::move(repaired);
            }
            rescan = true;
        }
        if (!rescan) {
            ++i;
        }
    }
}

std::vector<Polygon> Polygon::add(const Polygon& /*other*/) const {
    TARN_ASSERT(false);
    return {};
}

} // namespace Tarn::Geometry
