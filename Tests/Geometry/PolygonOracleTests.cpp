// Polygon subtraction checked against Boost.Geometry on seeded random pairs.
#include <Tarn/Geometry/Polygon.h>

#include "AssertRecorder.h"
#include "SignedArea.h"

#include <gtest/gtest.h>

#include <glm/common.hpp>
#include <glm/vec2.hpp>

#include <boost/geometry.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <numbers>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace bg = boost::geometry;
using Tarn::Geometry::Polygon;
using Points = std::vector<glm::vec3>;

namespace {

using BPoint = bg::model::d2::point_xy<double>;
using BPolygon = bg::model::polygon<BPoint>;
using BMulti = bg::model::multi_polygon<BPolygon>;

BPolygon toBoost(const Points& pts) {
    BPolygon poly;
    for (const glm::vec3& q : pts) {
        bg::append(poly.outer(), BPoint(q.x, q.y));
    }
    bg::correct(poly);
    return poly;
}

struct PairGenerator {
    explicit PairGenerator(uint64_t seed) : rng(seed) {}

    // A polygon star-shaped about `centre`: sorted angles, radii in [rMin, rMax] (equal radii
    // give a convex outline).
    Points star(glm::vec2 centre, float rMin, float rMax, int corners, bool onGrid) {
        std::uniform_real_distribution<float> angle(0.0f, 2.0f * std::numbers::pi_v<float>);
        std::uniform_real_distribution<float> radius(rMin, rMax);
        std::vector<float> angles(static_cast<std::size_t>(corners));
        std::generate(angles.begin(), angles.end(), [&] { return angle(rng); });
        std::sort(angles.begin(), angles.end());
        Points pts;
        for (float a : angles) {
            const float r = radius(rng);
            glm::vec3 q(centre.x + r * std::cos(a), centre.y + r * std::sin(a), 0.0f);
            q = onGrid ? glm::round(q) : q;
            if (pts.empty() || pts.back() != q) {
                pts.push_back(q);
            }
        }
        return pts;
    }

    Points scaled(const Points& pts, glm::vec2 about, float k) {
        Points out;
        for (const glm::vec3& q : pts) {
            out.emplace_back(about.x + (q.x - about.x) * k, about.y + (q.y - about.y) * k, 0.0f);
        }
        return out;
    }

    // One pair of the given kind; both outlines are valid simple polygons.
    std::pair<Points, Points> make(int kind) {
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        std::uniform_int_distribution<int> corners(3, 24);
        const glm::vec2 c(unit(rng) * 200.0f - 100.0f, unit(rng) * 200.0f - 100.0f);
        const glm::vec2 offset(unit(rng) * 120.0f - 60.0f, unit(rng) * 120.0f - 60.0f);
        if (kind < 3) { // overlapping: convex, concave, and concave against convex
            const float r[3][4] = {{50, 50, 40, 40}, {15, 60, 15, 60}, {20, 60, 35, 35}};
            const glm::vec2 shift = kind == 2 ? offset * 0.5f : offset;
            const Points a = star(c, r[kind][0], r[kind][1], corners(rng), false);
            return {a, star(c + shift, r[kind][2], r[kind][3], corners(rng), false)};
        }
        switch (kind) {
        case 3:   // a smaller copy inside (a hole)
        case 4: { // covered by a larger copy
            const Points a = star(c, 30, 60, corners(rng), false);
            return {a, scaled(a, c, kind == 3 ? 0.2f + 0.4f * unit(rng) : 1.5f + unit(rng))};
        }
        case 5: // apart
            return {star(c, 20, 40, corners(rng), false),
                    star(c + glm::vec2(100.0f, 30.0f), 20, 40, corners(rng), false)};
        case 6: { // convex, touching at a corner from outside or along edges from inside
            if (unit(rng) < 0.5f) {
                const Points a = star(c, 50, 50, corners(rng), false);
                return {a, scaled(a, glm::vec2(a[0]), -1.0f)}; // point-mirrored about a corner
            }
            // Halved towards a corner; on a grid of even numbers the halved corners lie exactly on
            // the outline, so the overlap of the edges is exact for both implementations.
            Points a =
                star(glm::vec2(std::round(c.x / 2.0f), std::round(c.y / 2.0f)), 25, 25, corners(rng), true);
            for (glm::vec3& q : a) {
                q *= 2.0f;
            }
            return {a, scaled(a, glm::vec2(a[0].x, a[0].y), 0.5f)};
        }
        case 7: { // integer grid: shared corners and collinear edges are common
            std::uniform_int_distribution<int> shift(-8, 8);
            const glm::vec2 g(std::round(c.x), std::round(c.y));
            return {star(g, 4, 14, corners(rng), true),
                    star(g + glm::vec2(shift(rng), shift(rng)), 4, 14, corners(rng), true)};
        }
        default: { // axis-aligned rectangles on a grid
            std::uniform_int_distribution<int> coord(0, 12);
            const auto rect = [&] {
                int x0 = coord(rng), x1 = coord(rng), y0 = coord(rng), y1 = coord(rng);
                x1 += x0 == x1 ? 1 : 0;
                y1 += y0 == y1 ? 1 : 0;
                std::tie(x0, x1) = std::minmax(x0, x1);
                std::tie(y0, y1) = std::minmax(y0, y1);
                return Points{glm::vec3(x0, y0, 0), glm::vec3(x1, y0, 0), glm::vec3(x1, y1, 0),
                              glm::vec3(x0, y1, 0)};
            };
            Points a = rect();
            return {a, rect()};
        }
        }
    }

    std::mt19937_64 rng;
};

struct OracleRun {
    std::vector<std::string> failures;
    int cases = 0;
    double worstRelative = 0.0;
};

// Corners closer than the merge tolerance would be merged by design and are not what this
// comparison is about.
bool wellSeparated(const Points& pts) {
    for (std::size_t i = 0; i < pts.size(); ++i) {
        for (std::size_t j = i + 1; j < pts.size(); ++j) {
            if (std::abs(pts[i].x - pts[j].x) < 0.05f && std::abs(pts[i].y - pts[j].y) < 0.05f) {
                return false;
            }
        }
    }
    return true;
}

OracleRun runOracle(int pairs) {
    OracleRun run;
    Tarn::Testing::AssertRecorder recorder;
    PairGenerator gen(0x7a2e5eedULL);
    constexpr int kKinds = 9;
    for (int i = 0; run.cases < pairs && i < pairs * 20; ++i) {
        const int kind = i % kKinds;
        auto [a, b] = gen.make(kind);
        const BPolygon ba = toBoost(a), bb = toBoost(b);
        if (a.size() < 3 || b.size() < 3 || !wellSeparated(a) || !wellSeparated(b) || !bg::is_valid(ba) ||
            !bg::is_valid(bb)) {
            continue;
        }
        ++run.cases;
        BMulti expected;
        bg::difference(ba, bb, expected);
        const double expectedArea = bg::area(expected);
        recorder.clear();
        const std::vector<Polygon> result = Polygon(a).subtract(Polygon(b));
        double area = 0.0;
        std::ostringstream problem;
        for (const Polygon& piece : result) {
            const double s = signedArea(piece.getPoints());
            area -= s;
            if (piece.getNoOfPoints() < 3 || s >= 0.0) {
                problem << " piece with " << piece.getNoOfPoints() << " corners and signed area " << s << ";";
            }
        }
        const double relative = std::abs(area - expectedArea) / std::max(expectedArea, 1e-3 * bg::area(ba));
        run.worstRelative = std::max(run.worstRelative, relative);
        if (relative > 1e-3) {
            problem << " area " << area << ", Boost " << expectedArea << ";";
        }
        if (!recorder.empty()) {
            problem << " assertion " << recorder.texts()[0] << ";";
        }
        if (!problem.str().empty()) {
            std::ostringstream where;
            where.precision(9);
            where << "pair " << i << " (kind " << kind << "):" << problem.str() << " A=" << bg::wkt(ba)
                  << " B=" << bg::wkt(bb);
            run.failures.push_back(where.str());
        }
    }
    return run;
}

} // namespace

TEST(PolygonOracle, SubtractMatchesBoostGeometry) {
    // Runs on its own thread so that a subtraction that never returned fails the test within a
    // deadline instead of stalling the suite.
    std::packaged_task<OracleRun()> task([] { return runOracle(900); });
    std::future<OracleRun> done = task.get_future();
    std::thread worker(std::move(task));
    if (done.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ADD_FAILURE() << "subtract did not finish within the deadline";
        std::fflush(nullptr);
        std::_Exit(1);
    }
    worker.join();
    const OracleRun run = done.get();
    EXPECT_GE(run.cases, 500);
    for (std::size_t k = 0; k < run.failures.size() && k < 10; ++k) {
        ADD_FAILURE() << run.failures[k];
    }
    EXPECT_TRUE(run.failures.empty()) << run.failures.size() << " of " << run.cases << " pairs differ";
    std::printf("[  oracle  ] %d pairs, largest relative area difference against Boost.Geometry: %.3g\n",
                run.cases, run.worstRelative);
}
