#include <Tarn/Geometry/Polygon.h>

#include "AssertRecorder.h"
#include "SignedArea.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

using Tarn::Geometry::Polygon;
using Points = std::vector<glm::vec3>;

namespace {

glm::vec3 p(float x, float y, float z = 0.0f) {
    return glm::vec3(x, y, z);
}

Polygon square(float x0, float y0, float x1, float y1) {
    return Polygon(Points{p(x0, y0), p(x1, y0), p(x1, y1), p(x0, y1)});
}

// Takes the corners in the order given, without the constructor's re-orientation.
Polygon unoriented(const Points& pts) {
    Polygon polygon;
    for (const glm::vec3& q : pts) {
        polygon.addPoint(q);
    }
    return polygon;
}

} // namespace

TEST(Polygon, OutlinesAreStoredClockwise) {
    const Polygon ccw(Points{p(0, 0), p(1, 0), p(1, 1), p(0, 1)});
    EXPECT_EQ(ccw.getPoints(), (Points{p(0, 1), p(1, 1), p(1, 0), p(0, 0)}));
    EXPECT_EQ(ccw.calcArea(), 1.0f);

    const Polygon cw(Points{p(0, 1), p(1, 1), p(1, 0), p(0, 0)});
    EXPECT_EQ(cw.getPoints(), ccw.getPoints());

    // Zero area counts as "not clockwise" and is reversed as well.
    const Polygon line(Points{p(0, 0), p(5, 0)});
    EXPECT_EQ(line.getPoints(), (Points{p(5, 0), p(0, 0)}));
    EXPECT_EQ(line.calcArea(), 0.0f);

    // addPoint leaves the order alone; setPoints with the polygon's own array re-orients in place.
    Polygon built = unoriented(Points{p(0, 0), p(2, 0), p(2, 2), p(0, 2)});
    EXPECT_EQ(built.getPoint(1), p(2, 0));
    built.setPoints(built.getPoints());
    EXPECT_EQ(built.getPoints(), (Points{p(0, 2), p(2, 2), p(2, 0), p(0, 0)}));
    EXPECT_EQ(built.calcArea(), 4.0f);
}

// The even-odd rule exactly as stated, one edge at a time: a ray to the right counts an edge whose
// height range holds the point's, ends included, so level (horizontal) edges never count and a
// ray through a corner counts both edges that meet there; z plays no part. Checked on outlines
// where the fast range test is most likely to go wrong: corners on a coarse grid (many corners
// and horizontal edges level with the point), NaN corners, too few corners, and lengths on both
// sides of every block of 4 and 64 corners.
bool insideByRule(const glm::vec3& q, const Points& outline) {
    const std::size_t n = outline.size();
    if (n < 3) {
        return false;
    }
    const float dx = (q.x + 1000000.0f) - q.x;
    const float dy = (q.y + 0.0f) - q.y;
    unsigned crossed = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const glm::vec3& a = outline[(i + n - 1) % n];
        const glm::vec3& b = outline[i];
        const bool counts = a.y < b.y ? (a.y <= q.y && q.y <= b.y) : a.y > b.y && (b.y <= q.y && q.y <= a.y);
        const float denom = (b.y - a.y) * dx - (b.x - a.x) * dy;
        if (!counts || denom == 0.0f) {
            continue;
        }
        const float s = ((q.y - a.y) * dx - (q.x - a.x) * dy) / denom;
        const float t = ((b.x - a.x) * (q.y - a.y) - (b.y - a.y) * (q.x - a.x)) / denom;
        crossed += s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f;
    }
    return (crossed & 1u) != 0;
}

TEST(Polygon, ContainmentFollowsTheRuleOnLevelCornersAtEveryLength) {
    uint32_t state = 12345;
    const auto next = [&state](int range) {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(static_cast<int>((state >> 8) % static_cast<uint32_t>(range)) - range / 2);
    };
    for (const std::size_t n :
         {2u, 3u, 4u, 5u, 7u, 8u, 15u, 16u, 17u, 63u, 64u, 65u, 67u, 100u, 128u, 129u, 200u}) {
        for (int round = 0; round < 3; ++round) {
            Points outline(n);
            for (glm::vec3& corner : outline) {
                corner = p(next(9), next(9));
            }
            if (round == 2) {
                outline[n / 2].y = std::numeric_limits<float>::quiet_NaN();
            }
            const Polygon polygon = unoriented(outline);
            for (int k = 0; k < 200; ++k) {
                const glm::vec3 q = p(next(11) + (k % 2 ? 0.5f : 0.0f), next(11), static_cast<float>(k));
                ASSERT_EQ(polygon.isPointInside(q), insideByRule(q, outline))
                    << n << " corners, round " << round << ", point " << q.x << ", " << q.y;
            }
        }
    }
}

TEST(Polygon, SubtractWithoutCrossingsKeepsCoversOrCutsToAHole) {
    Tarn::Testing::AssertRecorder recorder;
    const Polygon sq = square(0, 0, 10, 10);
    const Polygon twoCorners(Points{p(1, 1), p(2, 2)});

    // Nothing to take away: a cutter without area, far away or beyond the corner tolerance, a
    // polygon without area, and corners that are not numbers.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const auto& [mine, theirs] : {std::pair{sq, twoCorners},
                                       {sq, square(20, 20, 30, 30)},
                                       {sq, square(10.005f, -0.002f, 20, 10.003f)},
                                       {twoCorners, sq},
                                       {sq, Polygon(Points{p(5, 5), p(nan, 5), p(15, 15)})}}) {
        const std::vector<Polygon> result = mine.subtract(theirs);
        ASSERT_EQ(result.size(), 1u);
        EXPECT_EQ(result[0].getPoints(), mine.getPoints());
    }
    EXPECT_TRUE(sq.subtract(square(-5, -5, 15, 15)).empty());
    // Corners within 0.01 on every axis are one corner: a near copy covers the square.
    EXPECT_TRUE(sq.subtract(square(0.004f, 0.003f, 10.006f, 9.995f)).empty());

    // A hole: the outline up to its corner closest to the hole, the hole backwards from its
    // closest corner, and back along the same cut.
    const std::vector<Polygon> result = sq.subtract(square(6, 6, 8, 8));
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].getPoints(), (Points{p(0, 10), p(10, 10), p(8, 8), p(6, 8), p(6, 6), p(8, 6), p(8, 8),
                                             p(10, 10), p(10, 0), p(0, 0)}));
    EXPECT_EQ(result[0].calcArea(), 96.0f);
    EXPECT_TRUE(recorder.empty());
}

TEST(Polygon, SubtractCrossingOutlines) {
    Tarn::Testing::AssertRecorder recorder;
    const Polygon sq = square(0, 0, 10, 10);

    const std::vector<Polygon> corner = sq.subtract(square(5, 5, 15, 15));
    ASSERT_EQ(corner.size(), 1u);
    EXPECT_EQ(corner[0].getPoints(), (Points{p(10, 5), p(10, 0), p(0, 0), p(0, 10), p(5, 10), p(5, 5)}));
    EXPECT_EQ(corner[0].calcArea(), 75.0f);

    // A band across the square cuts it in two; z is interpolated where the outlines cross.
    const Polygon sloped(Points{p(0, 0, 0), p(10, 0, 10), p(10, 10, 10), p(0, 10, 0)});
    const std::vector<Polygon> halves = sloped.subtract(square(4, -5, 6, 15));
    ASSERT_EQ(halves.size(), 2u);
    for (const Polygon& half : halves) {
        EXPECT_EQ(half.calcArea(), 40.0f);
        EXPECT_LT(signedArea(half.getPoints()), 0.0);
        for (const glm::vec3& q : half.getPoints()) {
            EXPECT_NEAR(q.z, q.x, 1e-5f);
        }
    }

    // A hole touching the outline along part of an edge opens it into a notch.
    const std::vector<Polygon> notch = sq.subtract(square(0, 4, 3, 6));
    ASSERT_EQ(notch.size(), 1u);
    EXPECT_EQ(notch[0].calcArea(), 94.0f);
    EXPECT_EQ(notch[0].getNoOfPoints(), 8u);

    // Touching from outside at one corner changes nothing.
    const std::vector<Polygon> touching = sq.subtract(Polygon(Points{p(10, 10), p(20, 12), p(12, 20)}));
    ASSERT_EQ(touching.size(), 1u);
    EXPECT_EQ(touching[0].calcArea(), 100.0f);
    // Also when the touching corner sits at another height (z never decides what is inside), and
    // when the outside polygon runs along an edge with a corner of its own on that edge.
    const std::vector<Polygon> below = sq.subtract(Polygon(Points{p(4, 0, -2), p(8, -3), p(0, -3)}));
    ASSERT_EQ(below.size(), 1u);
    EXPECT_EQ(below[0].getPoints(), sq.getPoints());
    const Polygon arrow(Points{p(1, 2), p(0, 0), p(2, 12), p(2, 0)});
    const std::vector<Polygon> alongside =
        arrow.subtract(Polygon(Points{p(2, 0), p(2, 7), p(2, 14), p(13, 13)}));
    ASSERT_EQ(alongside.size(), 1u);
    EXPECT_EQ(alongside[0].getPoints(), arrow.getPoints());
    // Every corner of the outside polygon lies on this one's outline: an edge midpoint decides.
    const Polygon wedge(Points{p(2, 4), p(14, 2), p(4, 2), p(2, 2), p(0, 0)});
    const std::vector<Polygon> under = wedge.subtract(Polygon(Points{p(9, 2), p(11, 2), p(0, 0), p(2, 2)}));
    ASSERT_EQ(under.size(), 1u);
    EXPECT_EQ(under[0].getPoints(), wedge.getPoints());
    // A corner just across the other's edge, its two edges crossing it closer together than the
    // merge tolerance: the crossings merge into one point, the thin tip between them is dropped,
    // and what remains only touches. Once of theirs inside mine, once of mine inside theirs.
    const Polygon notched(Points{p(0, 3), p(0, 5), p(15, 4), p(2, 2), p(0, 0, 2)});
    const std::vector<Polygon> sliver =
        notched.subtract(Polygon(Points{p(14, 4), p(14, 13, -2), p(15, 15, -2)}));
    ASSERT_EQ(sliver.size(), 1u);
    EXPECT_EQ(sliver[0].getPoints(), notched.getPoints());
    const Polygon tipped(Points{p(2, 10, -2), p(12, 15, -2), p(13, 15, -2)});
    const std::vector<Polygon> tip =
        tipped.subtract(Polygon(Points{p(11, 0, -2), p(0, 0, -2), p(0, 12), p(11, 2, 2), p(9, 2, -2)}));
    ASSERT_EQ(tip.size(), 1u);
    EXPECT_EQ(tip[0].getPoints(), tipped.getPoints());
    EXPECT_TRUE(recorder.empty()) << recorder.texts()[0];
}

TEST(Polygon, SubtractWithAFarCornerStaysWithinTheEdgeBands) {
    // A corner far beyond the other outline's height lies past its last band of edges, at a
    // distance no integer band index can hold.
    const Polygon far(Points{p(10, 0), p(0, 0), p(-1e30f, 1e30f)});
    const Polygon cutter(Points{p(0, 0), p(-1e30f, 2), p(15, 15)});
    for (const Polygon& piece : far.subtract(cutter)) {
        EXPECT_GE(piece.getNoOfPoints(), 3u);
    }
}

TEST(Polygon, AddIsNotProvided) {
    Tarn::Testing::AssertRecorder recorder;
    EXPECT_TRUE(square(0, 0, 1, 1).add(square(2, 2, 3, 3)).empty());
    ASSERT_EQ(recorder.count(), 1u);
    EXPECT_EQ(recorder.texts()[0], "false");
}

TEST(Polygon, FixUpRepairsSelfCrossingOutlines) {
    Tarn::Testing::AssertRecorder recorder;
    Polygon bowTie = unoriented(Points{p(0, 0), p(2, 2), p(2, 0), p(0, 2)});
    EXPECT_EQ(bowTie.calcArea(), 0.0f); // the lobes cancel
    bowTie.fixUp();
    EXPECT_EQ(bowTie.getPoints(), (Points{p(0, 2), p(1, 1), p(2, 2), p(2, 0), p(1, 1), p(0, 0)}));
    EXPECT_EQ(bowTie.calcArea(), 2.0f);

    // A clockwise square whose bottom edge curls through a small clockwise loop: the smaller loop
    // goes, unless the walk starts inside the curl, where the large part is the loop and is kept.
    const Points curl{p(0, 0), p(0, 10), p(10, 10), p(10, 0), p(4, 0), p(4, 1), p(6, 1), p(6, -1), p(0, -1)};
    Polygon loopAfterStart = unoriented(curl);
    loopAfterStart.fixUp();
    EXPECT_EQ(loopAfterStart.getPoints(),
              (Points{p(0, 0), p(0, 10), p(10, 10), p(10, 0), p(6, 0), p(6, -1), p(0, -1)}));
    Points rotated(curl.begin() + 4, curl.end());
    rotated.insert(rotated.end(), curl.begin(), curl.begin() + 4);
    Polygon startInCurl = unoriented(rotated);
    startInCurl.fixUp();
    EXPECT_EQ(startInCurl.getPoints(),
              (Points{p(6, 0), p(6, -1), p(0, -1), p(0, 0), p(0, 10), p(10, 10), p(10, 0)}));
    EXPECT_TRUE(recorder.empty());

    // The bow tie entered at another corner: the loop found is the clockwise lobe and the rest
    // runs the other way, which is reported and left alone.
    Polygon reversedLobe = unoriented(Points{p(2, 0), p(2, 2), p(0, 0), p(0, 2)});
    reversedLobe.fixUp();
    ASSERT_EQ(recorder.count(), 1u);
    EXPECT_EQ(recorder.texts()[0], "false");
    EXPECT_EQ(reversedLobe.getPoints(), (Points{p(0, 2), p(0, 0), p(2, 2), p(2, 0)}));
}
