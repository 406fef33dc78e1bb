// Polygons decoded from the input: outlines of up to 130 corners whose coordinates are small
// integers, raw float bit patterns (NaN, infinities, denormals) or picked extremes.
//
// - isPointInside equals the containment rule applied edge by edge: an edge counts when its closed
//   y range holds the point and it is not horizontal, and then when the ray towards x + 1000000
//   (formed in single precision) meets it with both parameters in [0, 1].
// - fixUp terminates (the per-input timeout is the guard), adds at most two corners per repair
//   within its repair cap, and keeps finite outlines finite.
// - subtract returns the polygon unchanged for degenerate or non-finite input, otherwise finite
//   pieces of three or more corners; for two simple outlines on the integer grid, the pieces are
//   clockwise, no assertion fires, and a point well away from every edge lies in exactly one piece
//   when it is in this polygon and not in the other, and in none otherwise.

#include "FuzzCheck.h"

#include <Tarn/Geometry/Polygon.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

using Tarn::Geometry::Polygon;

namespace {

int assertions = 0;

struct Outline {
    std::vector<glm::vec3> points;
    bool onGrid = true; // every x and y a small integer
};

float decodeCoordinate(FuzzedDataProvider& input, bool gridOnly, bool& onGrid) {
    static const float extremes[] = {std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(),
                                     -0.0f,
                                     1e30f,
                                     -1e30f,
                                     std::numeric_limits<float>::denorm_min(),
                                     std::numeric_limits<float>::max(),
                                     1000000.0f,
                                     0.005f};
    const uint8_t selector = gridOnly ? 0 : input.ConsumeIntegral<uint8_t>();
    if (selector < 200) {
        return static_cast<float>(input.ConsumeIntegralInRange<int>(0, 15));
    }
    onGrid = false;
    if (selector < 230) {
        const uint32_t bits = input.ConsumeIntegral<uint32_t>();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    return extremes[selector % (sizeof extremes / sizeof extremes[0])];
}

Outline decodeOutline(FuzzedDataProvider& input, bool gridOnly, std::size_t maxCorners) {
    Outline outline;
    const std::size_t count = input.ConsumeIntegralInRange<std::size_t>(0, maxCorners);
    for (std::size_t i = 0; i < count && input.remaining_bytes() != 0; ++i) {
        const float x = decodeCoordinate(input, gridOnly, outline.onGrid);
        const float y = decodeCoordinate(input, gridOnly, outline.onGrid);
        outline.points.emplace_back(x, y, static_cast<float>(input.ConsumeIntegralInRange<int>(-2, 2)));
    }
    return outline;
}

// The rule, one edge at a time, as the contract states it.
bool referenceInside(const glm::vec3& p, const std::vector<glm::vec3>& outline) {
    if (outline.size() < 3) {
        return false;
    }
    const float dx = (p.x + 1000000.0f) - p.x;
    const float dy = (p.y + 0.0f) - p.y;
    unsigned crossings = 0;
    glm::vec3 a = outline.back();
    for (const glm::vec3& b : outline) {
        if (std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y) && a.y != b.y) {
            const float ex = b.x - a.x;
            const float ey = b.y - a.y;
            const float denom = ey * dx - ex * dy;
            if (denom != 0.0f) {
                const float s = ((p.y - a.y) * dx - (p.x - a.x) * dy) / denom;
                const float t = (ex * (p.y - a.y) - ey * (p.x - a.x)) / denom;
                crossings += (s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f) ? 1u : 0u;
            }
        }
        a = b;
    }
    return (crossings & 1u) != 0;
}

bool allFinite(const std::vector<glm::vec3>& points) {
    return std::all_of(points.begin(), points.end(), [](const glm::vec3& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    });
}

// Bit for bit, so that an outline holding NaN equals its copy.
bool sameOutline(const std::vector<glm::vec3>& a, const std::vector<glm::vec3>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(glm::vec3)) == 0);
}

double twiceSignedArea(const std::vector<glm::vec3>& points) {
    double sum = 0.0;
    for (std::size_t i = 0, j = points.size() - 1; i < points.size(); j = i++) {
        sum +=
            static_cast<double>(points[j].x) * points[i].y - static_cast<double>(points[j].y) * points[i].x;
    }
    return sum;
}

// Exact on the integer grid: the sign of the cross product (b - a) x (c - a).
int orientation(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c) {
    const auto v = static_cast<int64_t>((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
    return (v > 0) - (v < 0);
}

bool onSegment(const glm::vec3& a, const glm::vec3& b, const glm::vec3& p) {
    return orientation(a, b, p) == 0 && std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) &&
           std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y);
}

bool segmentsTouch(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, const glm::vec3& d) {
    const int o1 = orientation(a, b, c), o2 = orientation(a, b, d);
    const int o3 = orientation(c, d, a), o4 = orientation(c, d, b);
    if (o1 != o2 && o3 != o4 && o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0) {
        return true;
    }
    return onSegment(a, b, c) || onSegment(a, b, d) || onSegment(c, d, a) || onSegment(c, d, b);
}

// A simple outline on the grid: distinct corners, no edge meets another except its neighbours at
// their shared corner, no spike (an edge folding back over its neighbour), non-zero area.
bool isSimple(const std::vector<glm::vec3>& p) {
    const std::size_t n = p.size();
    if (n < 3 || twiceSignedArea(p) == 0.0) {
        return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i + 1; j < n; ++j) {
            if (p[i].x == p[j].x && p[i].y == p[j].y) {
                return false;
            }
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        const glm::vec3& a = p[i];
        const glm::vec3& b = p[(i + 1) % n];
        const glm::vec3& c = p[(i + 2) % n];
        if (onSegment(a, b, c) || onSegment(b, c, a)) {
            return false; // folds back along itself
        }
        for (std::size_t j = i + 2; j < n; ++j) {
            if (i == 0 && j == n - 1) {
                continue;
            }
            if (segmentsTouch(a, b, p[j], p[(j + 1) % n])) {
                return false;
            }
        }
    }
    return true;
}

bool evenOdd(double x, double y, const std::vector<glm::vec3>& p) {
    bool inside = false;
    for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
        const double yi = p[i].y, yj = p[j].y;
        if ((yi > y) != (yj > y)) {
            const double cx = p[i].x + (y - yi) * (static_cast<double>(p[j].x) - p[i].x) / (yj - yi);
            inside ^= x < cx;
        }
    }
    return inside;
}

double distanceToOutline(double x, double y, const std::vector<glm::vec3>& p) {
    double best = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
        const double ax = p[j].x, ay = p[j].y, bx = p[i].x, by = p[i].y;
        const double ex = bx - ax, ey = by - ay;
        const double length2 = ex * ex + ey * ey;
        double t = length2 == 0.0 ? 0.0 : ((x - ax) * ex + (y - ay) * ey) / length2;
        t = std::clamp(t, 0.0, 1.0);
        best = std::min(best, std::hypot(x - (ax + t * ex), y - (ay + t * ey)));
    }
    return best;
}

void checkContainment(const Outline& outline, FuzzedDataProvider& input) {
    Polygon polygon;
    for (const glm::vec3& p : outline.points) {
        polygon.addPoint(p); // keeps the decoded order, clockwise or not
    }
    const auto& points = polygon.getPoints();
    const auto check = [&](const glm::vec3& q) {
        TARN_FUZZ_CHECK(polygon.isPointInside(q) == referenceInside(q, points));
    };
    // Corners and edge midpoints are where the closed ranges and the level corners matter.
    for (std::size_t i = 0; i < points.size(); ++i) {
        const glm::vec3& a = points[i];
        const glm::vec3& b = points[(i + 1) % points.size()];
        check(a);
        check((a + b) * 0.5f);
        check(glm::vec3(a.x - 0.5f, a.y, 0.0f));
    }
    const std::size_t queries = input.ConsumeIntegralInRange<std::size_t>(0, 16);
    bool ignored = true;
    for (std::size_t i = 0; i < queries && input.remaining_bytes() != 0; ++i) {
        const float x = decodeCoordinate(input, false, ignored);
        const float y = decodeCoordinate(input, false, ignored);
        check(glm::vec3(x, y, 0.0f));
    }
}

void checkFixUp(const Outline& outline) {
    Polygon polygon(outline.points);
    const std::size_t n = polygon.getPoints().size();
    polygon.fixUp();
    const std::size_t repairs = 4 * n + 16;
    TARN_FUZZ_CHECK(polygon.getPoints().size() <= n + 2 * repairs);
    const bool moderate = std::all_of(outline.points.begin(), outline.points.end(), [](const glm::vec3& p) {
        return std::abs(p.x) <= 1e6f && std::abs(p.y) <= 1e6f && std::abs(p.z) <= 1e6f;
    });
    if (moderate) {
        TARN_FUZZ_CHECK(allFinite(polygon.getPoints()));
    }
}

void print(const char* name, const std::vector<glm::vec3>& points) {
    std::fprintf(stderr, "%s:", name);
    for (const glm::vec3& p : points) {
        std::fprintf(stderr, " (%.9g, %.9g, %g)", p.x, p.y, p.z);
    }
    std::fprintf(stderr, "\n");
}

void checkSubtract(const Outline& mine, const Outline& theirs) {
    const Polygon a(mine.points);
    const Polygon b(theirs.points);
    // Replaying a saved input with TARN_FUZZ_TRACE set prints the operands and the pieces.
    static const bool trace = std::getenv("TARN_FUZZ_TRACE") != nullptr;
    if (trace) {
        print("mine", a.getPoints());
        print("theirs", b.getPoints());
    }
    assertions = 0;
    const std::vector<Polygon> pieces = a.subtract(b);
    if (trace) {
        for (const Polygon& piece : pieces) {
            print("piece", piece.getPoints());
        }
        std::fprintf(stderr, "assertions: %d\n", assertions);
    }

    const bool degenerate = a.getNoOfPoints() < 3 || b.getNoOfPoints() < 3 || !allFinite(a.getPoints()) ||
                            !allFinite(b.getPoints());
    if (degenerate) {
        TARN_FUZZ_CHECK(pieces.size() == 1 && sameOutline(pieces[0].getPoints(), a.getPoints()));
        return;
    }
    for (const Polygon& piece : pieces) {
        TARN_FUZZ_CHECK(piece.getNoOfPoints() >= 3);
        TARN_FUZZ_CHECK(allFinite(piece.getPoints()));
    }
    // Self-crossing or zero-area outlines have no defined difference (fixUp is there to repair
    // them first): beyond surviving them, nothing is asked.
    if (!mine.onGrid || !theirs.onGrid || !isSimple(a.getPoints()) || !isSimple(b.getPoints())) {
        return;
    }
    const bool unchanged = pieces.size() == 1 && sameOutline(pieces[0].getPoints(), a.getPoints());
    for (const Polygon& piece : pieces) {
        TARN_FUZZ_CHECK(unchanged || twiceSignedArea(piece.getPoints()) < 0.0);
    }
    TARN_FUZZ_CHECK(assertions == 0);
    // Sample points off the grid lines; those near any edge are left out, since crossings closer
    // than the merge tolerance may move an edge by that much.
    for (int i = 0; i < 32; ++i) {
        for (int j = 0; j < 32; ++j) {
            const double x = -0.27 + i * 0.5 + 0.013 * j;
            const double y = -0.31 + j * 0.5 + 0.007 * i;
            bool nearEdge = distanceToOutline(x, y, a.getPoints()) < 0.05 ||
                            distanceToOutline(x, y, b.getPoints()) < 0.05;
            int covering = 0;
            for (const Polygon& piece : pieces) {
                nearEdge = nearEdge || distanceToOutline(x, y, piece.getPoints()) < 0.05;
                covering += evenOdd(x, y, piece.getPoints()) ? 1 : 0;
            }
            if (nearEdge) {
                continue;
            }
            const bool expected = evenOdd(x, y, a.getPoints()) && !evenOdd(x, y, b.getPoints());
            TARN_FUZZ_CHECK(covering == (expected ? 1 : 0));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // Internal-consistency assertions are counted: on simple outlines none may fire, on arbitrary
    // ones the operation must merely survive them.
    static const bool once =
        (Tarn::setAssertHandler([](const char*, const char*, int) { ++assertions; }), true);
    (void)once;

    FuzzedDataProvider input(data, size);
    const bool gridOnly = input.ConsumeBool();
    const Outline mine = decodeOutline(input, gridOnly, 130);
    const Outline theirs = decodeOutline(input, gridOnly, 48);
    checkContainment(mine, input);
    checkFixUp(mine);
    if (mine.points.size() <= 48) {
        checkSubtract(mine, theirs);
    }
    return 0;
}
