#include <Tarn/Geometry/Polygon.h>

#include "Internal/PolygonMath.h"

#include <Tarn/Foundation/Assert.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
#include <emmintrin.h>
#define TARN_POLYGON_SSE2 1
#else
#define TARN_POLYGON_SSE2 0
#endif

namespace Tarn::Geometry {

namespace {

const glm::vec3& self(const glm::vec3& p) {
    return p;
}

// The crossing test of one edge a -> b whose y range holds p.y: the edge parameter s and the ray
// parameter t must both lie in [0, 1], ends included.
unsigned edgeCrossed(const glm::vec3& p, float dx, float dy, const glm::vec3& a, const glm::vec3& b) {
    const float ex = b.x - a.x;
    const float ey = b.y - a.y;
    const float denom = ey * dx - ex * dy;
    if (denom == 0.0f) {
        return 0;
    }
    const float s = ((p.y - a.y) * dx - (p.x - a.x) * dy) / denom;
    const float t = (ex * (p.y - a.y) - ey * (p.x - a.x)) / denom;
    return (s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f) ? 1u : 0u;
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
    const glm::vec3* pts = outline.data();

    // Only a few edges of an outline straddle p.y, and which ones is unpredictable, so the y-range
    // test is done without branches for 64 corners at a time, from two bits per corner (at or
    // below p.y, at or above p.y): an edge is tested when one end is at or below and the other at
    // or above. That also admits a horizontal edge lying on the ray's level, which the rule skips;
    // its crossing test gives no crossing anyway, since both terms of its denominator are zero
    // (or NaN). A NaN end sets neither bit, so such an edge is never tested, as with the ordered
    // comparisons of the rule.
    uint64_t previousBelow = pts[n - 1].y <= p.y ? 1u : 0u;
    uint64_t previousAbove = pts[n - 1].y >= p.y ? 1u : 0u;
    unsigned crossings = 0;
    for (std::size_t chunk = 0; chunk < n; chunk += 64) {
        const std::size_t count = std::min<std::size_t>(64, n - chunk);
        const glm::vec3* corners = pts + chunk;
        uint64_t below = 0;
        uint64_t above = 0;
        std::size_t i = 0;
#if TARN_POLYGON_SSE2
        // The y coordinates of four packed corners (12 bytes each) come from three loads and three
        // shuffles; sixteen corners are gathered before their bits are shifted into place.
        const float* packed = &corners[0].x;
        const __m128 py = _mm_set1_ps(p.y);
        const auto quad = [&](std::size_t at, unsigned& quadBelow, unsigned& quadAbove) {
            const __m128 v0 = _mm_loadu_ps(packed + 3 * at);     // x0 y0 z0 x1
            const __m128 v1 = _mm_loadu_ps(packed + 3 * at + 4); // y1 z1 x2 y2
            const __m128 v2 = _mm_loadu_ps(packed + 3 * at + 8); // z2 x3 y3 z3
            const __m128 y01 = _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(0, 0, 1, 1));
            const __m128 y23 = _mm_shuffle_ps(v1, v2, _MM_SHUFFLE(2, 2, 3, 3));
            const __m128 y = _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(2, 0, 2, 0));
            quadBelow = static_cast<unsigned>(_mm_movemask_ps(_mm_cmple_ps(y, py)));
            quadAbove = static_cast<unsigned>(_mm_movemask_ps(_mm_cmpge_ps(y, py)));
        };
        for (; i + 16 <= count; i += 16) {
            unsigned b0, a0, b1, a1, b2, a2, b3, a3;
            quad(i, b0, a0);
            quad(i + 4, b1, a1);
            quad(i + 8, b2, a2);
            quad(i + 12, b3, a3);
            below |= static_cast<uint64_t>(b0 | b1 << 4 | b2 << 8 | b3 << 12) << i;
            above |= static_cast<uint64_t>(a0 | a1 << 4 | a2 << 8 | a3 << 12) << i;
        }
        for (; i + 4 <= count; i += 4) {
            unsigned b0, a0;
            quad(i, b0, a0);
            below |= static_cast<uint64_t>(b0) << i;
            above |= static_cast<uint64_t>(a0) << i;
        }
#endif
        for (; i < count; ++i) {
            below |= static_cast<uint64_t>(corners[i].y <= p.y) << i;
            above |= static_cast<uint64_t>(corners[i].y >= p.y) << i;
        }
        const uint64_t startBelow = (below << 1) | previousBelow;
        const uint64_t startAbove = (above << 1) | previousAbove;
        uint64_t straddling = (startBelow & above) | (startAbove & below);
        previousBelow = (below >> (count - 1)) & 1u;
        previousAbove = (above >> (count - 1)) & 1u;
        while (straddling != 0) {
            const std::size_t j = chunk + static_cast<std::size_t>(std::countr_zero(straddling));
            straddling &= straddling - 1;
            crossings += edgeCrossed(p, dx, dy, pts[j == 0 ? n - 1 : j - 1], pts[j]);
        }
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
                    TARN_ASSERT_IN(false, "Source\\Geometry\\Polygon");
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
                    TARN_ASSERT_IN(false, "Source\\Geometry\\Polygon");
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
    TARN_ASSERT_IN(false, "Source\\Geometry\\Polygon");
    return {};
}

} // namespace Tarn::Geometry
