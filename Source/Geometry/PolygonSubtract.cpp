// Polygon subtraction.
//
// Both outlines are turned into vertex lists, "mine" (this polygon) and "theirs" (the one
// subtracted), clockwise. After near-equal corners are merged and every crossing of the two
// outlines is inserted into both lists, the vertices the lists share (same position) are the
// intersection vertices. They cut each outline into stretches:
//
//   mine   stretch kept   when it lies outside theirs (or on theirs' outline with theirs on the
//                         far side), walked forwards;
//   theirs stretch kept   when it lies strictly inside mine, walked backwards.
//
// Every result polygon alternates kept stretches of the two lists, meeting at intersection
// vertices. When no stretch of mine is dropped and none of theirs is kept, the outlines only touch
// (or are apart), and containment of one corner decides between "apart", "covered" and "hole".
//
// Every loop below is bounded by the list sizes: a stretch is walked at most once, and crossings
// are inserted at most a fixed number of times per edge.

#include <Tarn/Geometry/Polygon.h>

#include "Internal/PolygonMath.h"

#include <glm/common.hpp>
#include <glm/vec2.hpp>

#include <Tarn/Foundation/Assert.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace Tarn::Geometry {

namespace {

struct Vertex {
    glm::vec3 position;
    bool intersectionPoint;
};
using VertexList = std::vector<Vertex>;

constexpr float kNearTolerance = 0.01f;
constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

const glm::vec3& positionOf(const Vertex& v) {
    return v.position;
}

bool nearEqual(const glm::vec3& a, const glm::vec3& b) {
    return std::abs(a.x - b.x) < kNearTolerance && std::abs(a.y - b.y) < kNearTolerance &&
           std::abs(a.z - b.z) < kNearTolerance;
}

std::size_t previous(std::size_t i, std::size_t n) {
    return i == 0 ? n - 1 : i - 1;
}
std::size_t following(std::size_t i, std::size_t n) {
    return i + 1 == n ? 0 : i + 1;
}

VertexList toVertices(const std::vector<glm::vec3>& points) {
    VertexList list;
    list.reserve(points.size() * 2);
    for (const glm::vec3& p : points) {
        list.push_back({p, false});
    }
    return list;
}

// Removes vertices near-equal to their predecessor. An intersection vertex survives at the
// expense of its predecessor, since its twin in the other list must keep its exact position.
void clean(VertexList& list) {
    std::size_t i = 0;
    while (list.size() > 1 && i < list.size()) {
        const std::size_t prev = previous(i, list.size());
        if (!nearEqual(list[i].position, list[prev].position)) {
            ++i;
        } else if (!list[i].intersectionPoint) {
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(prev));
            if (prev < i) {
                --i;
            }
        }
    }
}

std::size_t findExact(const VertexList& list, const glm::vec3& p) {
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i].position == p) {
            return i;
        }
    }
    return kNone;
}

// Gives every theirs vertex that is near-equal to a mine vertex that vertex's exact position, so
// that corners meant to coincide are recognised as shared. Mine vertices are taken in order, so
// the last near-equal one wins. Candidates come from a window of theirs sorted by x; the window is
// twice the tolerance wide because a vertex moved by an earlier snap keeps its old sort key.
void snap(const VertexList& mine, VertexList& theirs) {
    std::vector<std::pair<float, std::size_t>> byX(theirs.size());
    for (std::size_t i = 0; i < theirs.size(); ++i) {
        byX[i] = {theirs[i].position.x, i};
    }
    std::sort(byX.begin(), byX.end());
    for (const Vertex& m : mine) {
        auto it = std::lower_bound(byX.begin(), byX.end(),
                                   std::make_pair(m.position.x - 2.0f * kNearTolerance, std::size_t{0}));
        for (; it != byX.end() && it->first <= m.position.x + 2.0f * kNearTolerance; ++it) {
            Vertex& t = theirs[it->second];
            if (nearEqual(m.position, t.position)) {
                t = m;
            }
        }
    }
}

// The edges of an outline bucketed by horizontal bands of y, so that an edge of the other outline
// is only tested against the edges that can reach its height.
class EdgeBands {
public:
    explicit EdgeBands(const VertexList& outline) {
        const std::size_t n = outline.size();
        float lo = std::numeric_limits<float>::infinity();
        float hi = -lo;
        for (const Vertex& v : outline) {
            lo = std::min(lo, v.position.y);
            hi = std::max(hi, v.position.y);
        }
        bandCount = std::clamp<std::size_t>(n / 2, 1, 64);
        minY = lo;
        scale = hi > lo ? static_cast<float>(bandCount) / (hi - lo) : 0.0f;
        std::vector<std::size_t> counts(bandCount + 1, 0);
        for (std::size_t e = 0; e < n; ++e) {
            const auto [b0, b1] = range(outline[previous(e, n)].position.y, outline[e].position.y);
            for (std::size_t b = b0; b <= b1; ++b) {
                ++counts[b + 1];
            }
        }
        for (std::size_t b = 0; b < bandCount; ++b) {
            counts[b + 1] += counts[b];
        }
        start = counts;
        edges.resize(counts[bandCount]);
        for (std::size_t e = 0; e < n; ++e) {
            const auto [b0, b1] = range(outline[previous(e, n)].position.y, outline[e].position.y);
            for (std::size_t b = b0; b <= b1; ++b) {
                edges[counts[b]++] = e;
            }
        }
        seen.assign(n, 0);
    }

    // Calls fn(e) once for every edge (by its end index) sharing a band with the y range [y0, y1].
    template <typename Fn>
    void forEachNear(float y0, float y1, Fn fn) {
        ++stamp;
        const auto [b0, b1] = range(y0, y1);
        for (std::size_t b = b0; b <= b1; ++b) {
            for (std::size_t k = start[b]; k < start[b + 1]; ++k) {
                const std::size_t e = edges[k];
                if (seen[e] != stamp) {
                    seen[e] = stamp;
                    fn(e);
                }
            }
        }
    }

private:
    std::pair<std::size_t, std::size_t> range(float y0, float y1) const {
        return {band(std::min(y0, y1)), band(std::max(y0, y1))};
    }
    std::size_t band(float y) const {
        const float f = (y - minY) * scale;
        if (!(f > 0.0f)) {
            return 0;
        }
        // Compared as a float first: a height far beyond the last band would overflow the integer.
        if (f >= static_cast<float>(bandCount - 1)) {
            return bandCount - 1;
        }
        return static_cast<std::size_t>(f);
    }

    std::size_t bandCount = 1;
    float minY = 0.0f;
    float scale = 0.0f;
    std::vector<std::size_t> start;
    std::vector<std::size_t> edges;
    std::vector<uint32_t> seen;
    uint32_t stamp = 0;
};

// Inserts every crossing of the two outlines into both lists, walking each edge of mine from its
// start so that several crossings on one edge are found in order. Crossings land in mine at once;
// those for theirs are collected per edge of the original outline and put in place, ordered along
// the edge, at the end, which keeps theirs' edges stable for the band index. An edge of theirs is
// always tested whole, so a crossing near one found earlier on it is computed the same way.
void insertCrossings(VertexList& mine, VertexList& theirs) {
    const std::size_t m = theirs.size();
    EdgeBands bands(theirs);
    struct Pending {
        double along;
        glm::vec3 position;
    };
    std::vector<std::vector<Pending>> pending(m);
    std::vector<glm::vec3> added; // every position inserted into theirs
    auto inTheirs = [&](const glm::vec3& x) -> std::size_t {
        const std::size_t i = findExact(theirs, x);
        if (i != kNone) {
            return i;
        }
        return std::find(added.begin(), added.end(), x) != added.end() ? m : kNone;
    };
    std::vector<std::size_t> candidates;

    for (std::size_t cur = 0; cur < mine.size(); ++cur) {
        glm::vec3 from = mine[previous(cur, mine.size())].position;
        const glm::vec3 end = mine[cur].position;
        candidates.clear();
        bands.forEachNear(from.y, end.y, [&](std::size_t tc) {
            if (Internal::boxesOverlap(from, end, theirs[previous(tc, m)].position, theirs[tc].position)) {
                candidates.push_back(tc);
            }
        });
        // A transversal crossing is found once per edge of theirs; the margin covers crossings
        // found again at the same spot through rounding.
        std::size_t budget = candidates.size() + 4;
        while (!candidates.empty() && budget-- > 0) {
            glm::vec3 best{};
            std::size_t bestTheirEnd = kNone;
            float bestDistance = std::numeric_limits<float>::infinity();
            for (std::size_t tc : candidates) {
                const glm::vec3& t0 = theirs[previous(tc, m)].position;
                const glm::vec3& t1 = theirs[tc].position;
                double s = 0.0;
                if (!Internal::segmentsMeet(from, end, t0, t1, s)) {
                    continue;
                }
                const glm::vec3 x = Internal::interpolate(from, end, s);
                const glm::vec3 d = x - from;
                const float distance = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
                if (distance >= bestDistance) {
                    continue;
                }
                if (inTheirs(x) != kNone && findExact(mine, x) != kNone) {
                    continue;
                }
                best = x;
                bestTheirEnd = tc;
                bestDistance = distance;
            }
            if (bestTheirEnd == kNone) {
                break;
            }
            const std::size_t atTheirs = inTheirs(best);
            if (atTheirs != kNone && atTheirs < m) {
                theirs[atTheirs].intersectionPoint = true;
            } else if (atTheirs == kNone) {
                const glm::vec3& t0 = theirs[previous(bestTheirEnd, m)].position;
                const glm::vec3& t1 = theirs[bestTheirEnd].position;
                const double dx = static_cast<double>(t1.x) - t0.x;
                const double dy = static_cast<double>(t1.y) - t0.y;
                const double along =
                    (static_cast<double>(best.x) - t0.x) * dx + (static_cast<double>(best.y) - t0.y) * dy;
                pending[bestTheirEnd].push_back({along, best});
                added.push_back(best);
            }
            // Two segments meet once: this edge of theirs is done for the rest of the walk (tested
            // again from the crossing it would only find the crossing again, off by rounding).
            candidates.erase(std::find(candidates.begin(), candidates.end(), bestTheirEnd));
            const std::size_t inMine = findExact(mine, best);
            if (inMine != kNone) {
                mine[inMine].intersectionPoint = true;
            } else {
                mine.insert(mine.begin() + static_cast<std::ptrdiff_t>(cur), {best, true});
                ++cur;
            }
            from = best;
        }
    }

    if (added.empty()) {
        return;
    }
    VertexList merged;
    merged.reserve(m + added.size());
    for (std::size_t tc = 0; tc < m; ++tc) {
        std::vector<Pending>& onEdge = pending[tc];
        std::stable_sort(onEdge.begin(), onEdge.end(),
                         [](const Pending& a, const Pending& b) { return a.along < b.along; });
        for (const Pending& x : onEdge) {
            merged.push_back({x.position, true});
        }
        merged.push_back(theirs[tc]);
    }
    theirs = std::move(merged);
}

bool lessPosition(const glm::vec3& a, const glm::vec3& b) {
    if (a.x != b.x) {
        return a.x < b.x;
    }
    if (a.y != b.y) {
        return a.y < b.y;
    }
    return a.z < b.z;
}

// Links the intersection vertices of a list that have exactly the same position into rings:
// same[i] is the next intersection vertex at vertex i's position (i itself when the position
// occurs once). Other vertices are never looked up and stay unlinked.
std::vector<std::size_t> samePositionRings(const VertexList& list) {
    std::vector<std::size_t> order;
    std::vector<std::size_t> same(list.size(), kNone);
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i].intersectionPoint) {
            order.push_back(i);
        }
    }
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return lessPosition(list[a].position, list[b].position) ||
               (list[a].position == list[b].position && a < b);
    });
    for (std::size_t k = 0; k < order.size();) {
        std::size_t end = k + 1;
        while (end < order.size() && list[order[end]].position == list[order[k]].position) {
            ++end;
        }
        for (std::size_t q = k; q < end; ++q) {
            same[order[q]] = order[q + 1 < end ? q + 1 : k];
        }
        k = end;
    }
    return same;
}

// Cleaning merges crossings closer than the tolerance separately in each list, so a crossing kept
// in one list may have lost its twin in the other (where the two were not neighbours). Such a
// vertex takes the position of the surviving crossing it is near-equal to, which keeps the two
// outlines meeting at the same points; a sub-tolerance spike between the two becomes a loop
// through one point.
void reconcile(VertexList& list, const VertexList& other) {
    std::vector<glm::vec3> positions;
    positions.reserve(other.size());
    for (const Vertex& u : other) {
        if (u.intersectionPoint) {
            positions.push_back(u.position);
        }
    }
    std::sort(positions.begin(), positions.end(), lessPosition);
    for (Vertex& v : list) {
        if (!v.intersectionPoint ||
            std::binary_search(positions.begin(), positions.end(), v.position, lessPosition)) {
            continue;
        }
        // Rare: only crossings merged away on one side get here.
        for (const glm::vec3& candidate : positions) {
            if (nearEqual(candidate, v.position)) {
                v.position = candidate;
                break;
            }
        }
    }
}

// Removes vertices at exactly the position of their predecessor.
void removeRepeats(VertexList& list) {
    std::size_t i = 0;
    while (list.size() > 1 && i < list.size()) {
        const std::size_t prev = previous(i, list.size());
        if (list[i].position == list[prev].position) {
            list[prev].intersectionPoint = list[prev].intersectionPoint || list[i].intersectionPoint;
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
}

// Removes spikes: a vertex whose two neighbours have exactly one position, i.e. an outline that
// runs out to the vertex and straight back. Merging two crossings closer than the tolerance turns
// a thin tip (a corner of one outline just across the other's edge) into such a spike through the
// merged crossing. It encloses nothing, yet it would be a stretch that starts and ends at one
// shared position, which no classification of stretches can place inside or outside.
void removeSpikes(VertexList& list) {
    bool removed = true;
    while (removed && list.size() >= 3) {
        removed = false;
        for (std::size_t i = 0; i < list.size() && list.size() >= 3; ++i) {
            const std::size_t prev = previous(i, list.size());
            const std::size_t next = following(i, list.size());
            if (list[prev].position != list[next].position) {
                continue;
            }
            list[prev].intersectionPoint = list[prev].intersectionPoint || list[next].intersectionPoint;
            // Erase the later index first so that the earlier one stays valid.
            const auto [first, second] = std::minmax(i, next);
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(second));
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(first));
            removed = true;
        }
    }
}

// Flags the vertices the two lists share and links each to its twin (the first vertex with that
// position in the other list). Returns the number of shared vertices in mine.
std::size_t flagShared(VertexList& mine, VertexList& theirs, std::vector<std::size_t>& mineTwin,
                       std::vector<std::size_t>& theirTwin) {
    for (Vertex& v : mine) {
        v.intersectionPoint = false;
    }
    for (Vertex& v : theirs) {
        v.intersectionPoint = false;
    }
    std::vector<std::size_t> order(theirs.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return lessPosition(theirs[a].position, theirs[b].position);
    });
    mineTwin.assign(mine.size(), kNone);
    theirTwin.assign(theirs.size(), kNone);
    std::size_t shared = 0;
    for (std::size_t i = 0; i < mine.size(); ++i) {
        const glm::vec3& p = mine[i].position;
        auto it = std::lower_bound(order.begin(), order.end(), p, [&](std::size_t t, const glm::vec3& q) {
            return lessPosition(theirs[t].position, q);
        });
        if (it == order.end() || theirs[*it].position != p) {
            continue;
        }
        mine[i].intersectionPoint = true;
        mineTwin[i] = *it;
        ++shared;
        for (; it != order.end() && theirs[*it].position == p; ++it) {
            theirs[*it].intersectionPoint = true;
            if (theirTwin[*it] == kNone) {
                theirTwin[*it] = i;
            }
        }
    }
    return shared;
}

std::size_t nextIntersection(const VertexList& list, std::size_t startIdx) {
    std::size_t idx = startIdx;
    do {
        idx = following(idx, list.size());
    } while (!list[idx].intersectionPoint && idx != startIdx);
    TARN_ASSERT_IN(idx != startIdx, "Source\\Geometry\\Polygon");
    return idx;
}

std::size_t previousIntersection(const VertexList& list, std::size_t startIdx) {
    std::size_t idx = startIdx;
    do {
        idx = previous(idx, list.size());
    } while (!list[idx].intersectionPoint && idx != startIdx);
    TARN_ASSERT_IN(idx != startIdx, "Source\\Geometry\\Polygon");
    return idx;
}

// Vertex classification: -1 inside, +1 outside. Unlike the public containment test, an edge's y
// range is half-open, so a ray through a corner counts exactly one of the two edges meeting there
// (or none or both where the outline turns back), and edges ending exactly at the tested position
// are skipped, so a shared corner does not decide for itself.
int classifyVertex(const glm::vec3& p, const VertexList& outline) {
    const std::size_t n = outline.size();
    const float dx = (p.x + 1000000.0f) - p.x;
    const float dy = (p.y + 0.0f) - p.y;
    unsigned crossings = 0;
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
        const glm::vec3& a = outline[j].position;
        const glm::vec3& b = outline[i].position;
        if (a == p || b == p) {
            continue;
        }
        const float lo = std::min(a.y, b.y);
        const float hi = std::max(a.y, b.y);
        if (!(lo <= p.y && p.y < hi)) {
            continue;
        }
        const float ex = b.x - a.x;
        const float ey = b.y - a.y;
        const float denom = ey * dx - ex * dy;
        if (denom == 0.0f) {
            continue;
        }
        const float s = ((p.y - a.y) * dx - (p.x - a.x) * dy) / denom;
        const float t = (ex * (p.y - a.y) - ey * (p.x - a.x)) / denom;
        if (s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f) {
            ++crossings;
        }
    }
    return (crossings & 1u) != 0 ? -1 : 1;
}

// Where a point lies relative to an outline. Boundary means within `tolerance` of an edge, in
// which case `edge` receives that edge's direction.
enum class Side { Inside, Outside, Boundary };

Side locate(double px, double py, const VertexList& outline, double tolerance, glm::dvec2& edge) {
    const std::size_t n = outline.size();
    bool inside = false;
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
        const double ax = outline[j].position.x;
        const double ay = outline[j].position.y;
        const double bx = outline[i].position.x;
        const double by = outline[i].position.y;
        if (px >= std::min(ax, bx) - tolerance && px <= std::max(ax, bx) + tolerance &&
            py >= std::min(ay, by) - tolerance && py <= std::max(ay, by) + tolerance) {
            const double ex = bx - ax;
            const double ey = by - ay;
            const double lengthSquared = ex * ex + ey * ey;
            double u = lengthSquared > 0.0 ? ((px - ax) * ex + (py - ay) * ey) / lengthSquared : 0.0;
            u = std::clamp(u, 0.0, 1.0);
            const double cx = ax + u * ex - px;
            const double cy = ay + u * ey - py;
            if (cx * cx + cy * cy <= tolerance * tolerance) {
                edge = glm::dvec2(ex, ey);
                return Side::Boundary;
            }
        }
        if ((ay > py) != (by > py) && px < ax + (py - ay) * (bx - ax) / (by - ay)) {
            inside = !inside;
        }
    }
    return inside ? Side::Inside : Side::Outside;
}

// Decides a stretch from the first of its edges whose midpoint is clear of the other outline;
// a stretch lying entirely on the other outline is decided by `onBoundary` with the direction of
// the other outline there.
template <typename OnBoundary>
bool classifyStretch(const VertexList& list, std::size_t startIdx, std::size_t endIdx,
                     const VertexList& other, double tolerance, Side keepSide, OnBoundary onBoundary) {
    glm::dvec2 firstOtherEdge(0.0);
    glm::dvec2 firstEdge(0.0);
    bool haveBoundary = false;
    std::size_t idx = startIdx;
    do {
        const std::size_t nextIdx = following(idx, list.size());
        const glm::vec3& a = list[idx].position;
        const glm::vec3& b = list[nextIdx].position;
        const double mx = (static_cast<double>(a.x) + b.x) * 0.5;
        const double my = (static_cast<double>(a.y) + b.y) * 0.5;
        glm::dvec2 otherEdge(0.0);
        const Side side = locate(mx, my, other, tolerance, otherEdge);
        if (side != Side::Boundary) {
            return side == keepSide;
        }
        if (!haveBoundary) {
            haveBoundary = true;
            firstOtherEdge = otherEdge;
            firstEdge = glm::dvec2(static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y);
        }
        idx = nextIdx;
    } while (idx != endIdx);
    return onBoundary(firstEdge, firstOtherEdge);
}

void appendUnlessRepeated(std::vector<glm::vec3>& outline, const glm::vec3& p) {
    if (outline.empty() || outline.back() != p) {
        outline.push_back(p);
    }
}

// Walks the kept stretches into result polygons. Where a position occurs more than once in a
// list (outlines touching themselves after merging), any of its vertices may continue the walk.
struct Links {
    std::vector<std::size_t> mineTwin;  // a theirs vertex at the mine vertex's position, or kNone
    std::vector<std::size_t> theirTwin; // a mine vertex at the theirs vertex's position, or kNone
    std::vector<std::size_t> mineSame;  // rings of mine vertices at one position
    std::vector<std::size_t> theirSame; // rings of theirs vertices at one position
};

std::vector<Polygon> trace(const VertexList& mine, const VertexList& theirs, const Links& links,
                           const std::vector<char>& myKeep, const std::vector<char>& theirKeep,
                           double minimumArea) {
    const std::size_t n = mine.size();
    const std::size_t m = theirs.size();
    std::vector<char> myUsed(n, 0);
    std::vector<char> theirUsed(m, 0);
    std::vector<Polygon> result;
    std::vector<glm::vec3> outline;

    // A mine vertex at the position of mine[at] that starts a kept, unused stretch.
    auto mineContinuation = [&](std::size_t at) -> std::size_t {
        std::size_t idx = at;
        do {
            if (mine[idx].intersectionPoint && myKeep[idx] && !myUsed[idx]) {
                return idx;
            }
            idx = links.mineSame[idx];
        } while (idx != at && idx != kNone);
        return kNone;
    };
    // A theirs vertex at the position of theirs[at] that ends a kept, unused stretch (walked
    // backwards from it).
    auto theirContinuation = [&](std::size_t at) -> std::size_t {
        std::size_t theirEndIdx = at;
        do {
            TARN_ASSERT_IN(theirs[theirEndIdx].intersectionPoint, "Source\\Geometry\\Polygon");
            const std::size_t theirPreviousIdx = previousIntersection(theirs, theirEndIdx);
            TARN_ASSERT_IN(theirs[theirPreviousIdx].intersectionPoint, "Source\\Geometry\\Polygon");
            if (theirKeep[theirPreviousIdx] && !theirUsed[theirPreviousIdx]) {
                return theirEndIdx;
            }
            theirEndIdx = links.theirSame[theirEndIdx];
        } while (theirEndIdx != at && theirEndIdx != kNone);
        return kNone;
    };

    for (std::size_t first = 0; first < n; ++first) {
        if (!mine[first].intersectionPoint || !myKeep[first] || myUsed[first]) {
            continue;
        }
        outline.clear();
        const glm::vec3 startPosition = mine[first].position;
        std::size_t myStartIdx = first;
        std::size_t theirStartIdx = kNone;
        bool onMine = true;
        // Every pass walks one unused stretch, so n + m passes always suffice.
        for (std::size_t pass = 0; pass <= n + m; ++pass) {
            if (onMine) {
                TARN_ASSERT_IN(mine[myStartIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                myUsed[myStartIdx] = 1;
                const std::size_t myEndIdx = nextIntersection(mine, myStartIdx);
                TARN_ASSERT_IN(myEndIdx != myStartIdx, "Source\\Geometry\\Polygon");
                TARN_ASSERT_IN(mine[myEndIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                for (std::size_t idx = myStartIdx; idx != myEndIdx; idx = following(idx, n)) {
                    appendUnlessRepeated(outline, mine[idx].position);
                }
                if (mine[myEndIdx].position == startPosition) {
                    break;
                }
                // Leaving mine where it enters theirs: follow theirs backwards if it can be.
                const std::size_t twin = links.mineTwin[myEndIdx];
                const std::size_t theirEndIdx = twin == kNone ? kNone : theirContinuation(twin);
                if (theirEndIdx != kNone) {
                    TARN_ASSERT_IN(theirs[theirEndIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                    onMine = false;
                    theirStartIdx = theirEndIdx;
                    continue;
                }
                const std::size_t next = mineContinuation(myEndIdx);
                if (next == kNone) {
                    break;
                }
                myStartIdx = next;
            } else {
                TARN_ASSERT_IN(theirs[theirStartIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                const std::size_t theirPreviousIdx = previousIntersection(theirs, theirStartIdx);
                TARN_ASSERT_IN(theirs[theirPreviousIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                theirUsed[theirPreviousIdx] = 1;
                appendUnlessRepeated(outline, theirs[theirStartIdx].position);
                // Theirs is walked backwards, from its start vertex down to just after the previous
                // intersection vertex; none of those in between may be shared with mine.
                std::size_t idx = previous(theirStartIdx, m);
                while (idx != theirPreviousIdx) {
                    const Vertex* i = &theirs[idx];
                    TARN_ASSERT_IN(!i->intersectionPoint, "Source\\Geometry\\Polygon");
                    appendUnlessRepeated(outline, i->position);
                    idx = previous(idx, m);
                }
                if (theirs[theirPreviousIdx].position == startPosition) {
                    break;
                }
                const std::size_t twin = links.theirTwin[theirPreviousIdx];
                const std::size_t next = twin == kNone ? kNone : mineContinuation(twin);
                if (next != kNone) {
                    TARN_ASSERT_IN(mine[next].intersectionPoint, "Source\\Geometry\\Polygon");
                    onMine = true;
                    myStartIdx = next;
                    continue;
                }
                // Mine cannot be followed here: go on along theirs if its next stretch is kept.
                const std::size_t theirFollowUpIdx = theirContinuation(theirPreviousIdx);
                if (theirFollowUpIdx == kNone) {
                    break;
                }
                TARN_ASSERT_IN(theirs[theirFollowUpIdx].intersectionPoint, "Source\\Geometry\\Polygon");
                theirStartIdx = theirFollowUpIdx;
            }
        }
        while (outline.size() > 1 && outline.back() == outline.front()) {
            outline.pop_back();
        }
        if (outline.size() < 3) {
            continue;
        }
        // Pieces are clockwise by construction; anything else (or a sliver of no area) comes from
        // outlines that only graze each other and is not a piece of the result.
        const double area =
            0.5 * Internal::shoelaceSum(outline.begin(), outline.end(),
                                        [](const glm::vec3& p) -> const glm::vec3& { return p; });
        if (area < -minimumArea) {
            result.emplace_back(outline);
        }
    }
    return result;
}

float maxAbsCoordinate(const VertexList& a, const VertexList& b) {
    float largest = 0.0f;
    for (const VertexList* list : {&a, &b}) {
        for (const Vertex& v : *list) {
            largest = std::max({largest, std::abs(v.position.x), std::abs(v.position.y)});
        }
    }
    return largest;
}

// Whether p lies on the outline, within the merge tolerance, in x and y.
bool nearOutline(const glm::vec3& p, const VertexList& outline) {
    const double tolerance = kNearTolerance;
    for (std::size_t i = 0, j = outline.size() - 1; i < outline.size(); j = i++) {
        const glm::vec3& a = outline[j].position;
        const glm::vec3& b = outline[i].position;
        const double ex = static_cast<double>(b.x) - a.x;
        const double ey = static_cast<double>(b.y) - a.y;
        const double px = static_cast<double>(p.x) - a.x;
        const double py = static_cast<double>(p.y) - a.y;
        const double length2 = ex * ex + ey * ey;
        const double t = length2 > 0.0 ? std::clamp((px * ex + py * ey) / length2, 0.0, 1.0) : 0.0;
        const double dx = px - t * ex;
        const double dy = py - t * ey;
        if (dx * dx + dy * dy < tolerance * tolerance) {
            return true;
        }
    }
    return false;
}

// The point that decides whether outlines that do not cross are apart, covered or a hole: the
// first corner that is not shared and does not lie on the other outline in x and y, else the
// first edge midpoint off the other outline. A corner can lie there without being shared: on an
// edge that runs along one of the other's (parallel edges give no crossing to insert), or at
// another height (shared positions compare z too). Classified, it would be on the outline, neither
// in nor out, and the answer would be a guess.
glm::vec3 decidingPoint(const VertexList& list, const VertexList& other) {
    for (const Vertex& v : list) {
        if (!v.intersectionPoint && !nearOutline(v.position, other)) {
            return v.position;
        }
    }
    for (std::size_t i = 0, j = list.size() - 1; i < list.size(); j = i++) {
        const glm::vec3 middle = (list[j].position + list[i].position) * 0.5f;
        if (!nearOutline(middle, other)) {
            return middle;
        }
    }
    return list.front().position;
}

struct Bounds {
    glm::vec3 lo{std::numeric_limits<float>::infinity()};
    glm::vec3 hi{-std::numeric_limits<float>::infinity()};
};

bool allFinite(const std::vector<glm::vec3>& points) {
    return std::all_of(points.begin(), points.end(), [](const glm::vec3& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    });
}

Bounds boundsOf(const std::vector<glm::vec3>& points) {
    Bounds b;
    for (const glm::vec3& p : points) {
        b.lo = glm::min(b.lo, p);
        b.hi = glm::max(b.hi, p);
    }
    return b;
}

} // namespace

std::vector<Polygon> Polygon::subtract(const Polygon& other) const {
    // Non-finite corners have no place in an outline (and would break the orderings below).
    if (points.size() < 3 || other.points.size() < 3 || !allFinite(points) || !allFinite(other.points)) {
        return {*this};
    }
    // Outlines whose boxes are further apart than the merge tolerance cannot touch.
    const Bounds mineBox = boundsOf(points);
    const Bounds theirBox = boundsOf(other.points);
    if (mineBox.hi.x + kNearTolerance < theirBox.lo.x || theirBox.hi.x + kNearTolerance < mineBox.lo.x ||
        mineBox.hi.y + kNearTolerance < theirBox.lo.y || theirBox.hi.y + kNearTolerance < mineBox.lo.y) {
        return {*this};
    }

    VertexList mine = toVertices(points);
    VertexList theirs = toVertices(other.points);
    clean(mine);
    snap(mine, theirs);
    clean(theirs);
    if (mine.size() < 3 || theirs.size() < 3) {
        return {*this};
    }
    insertCrossings(mine, theirs);
    clean(mine);
    clean(theirs);
    reconcile(mine, theirs);
    reconcile(theirs, mine);
    removeRepeats(mine);
    removeRepeats(theirs);
    removeSpikes(mine);
    removeSpikes(theirs);

    Links links;
    const std::size_t shared = flagShared(mine, theirs, links.mineTwin, links.theirTwin);
    links.mineSame = samePositionRings(mine);
    links.theirSame = samePositionRings(theirs);

    bool crossing = false;
    std::vector<char> myKeep(mine.size(), 0);
    std::vector<char> theirKeep(theirs.size(), 0);
    if (shared >= 2 && mine.size() >= 3 && theirs.size() >= 3) {
        // Positions are single precision: points of one outline that lie on the other are off by
        // a few units in the last place of the largest coordinate.
        const double tolerance = 4e-6 * static_cast<double>(maxAbsCoordinate(mine, theirs)) + 1e-9;
        for (std::size_t i = 0; i < mine.size(); ++i) {
            if (!mine[i].intersectionPoint) {
                continue;
            }
            // On theirs' outline, mine's edge belongs to the result only where theirs lies on the
            // other side, i.e. where the two outlines run in opposite directions.
            myKeep[i] = classifyStretch(mine, i, nextIntersection(mine, i), theirs, tolerance, Side::Outside,
                                        [](const glm::dvec2& mineEdge, const glm::dvec2& theirEdge) {
                                            return mineEdge.x * theirEdge.x + mineEdge.y * theirEdge.y < 0.0;
                                        });
            crossing = crossing || !myKeep[i];
        }
        for (std::size_t i = 0; i < theirs.size(); ++i) {
            if (!theirs[i].intersectionPoint) {
                continue;
            }
            const std::size_t theirFollowUpIdx = nextIntersection(theirs, i);
            TARN_ASSERT_IN(theirs[theirFollowUpIdx].intersectionPoint, "Source\\Geometry\\Polygon");
            // Where theirs runs along mine's outline, mine's own stretch already bounds the result.
            theirKeep[i] = classifyStretch(theirs, i, theirFollowUpIdx, mine, tolerance, Side::Inside,
                                           [](const glm::dvec2&, const glm::dvec2&) { return false; });
            crossing = crossing || theirKeep[i];
        }
    }

    if (crossing) {
        const double mineArea = std::abs(0.5 * Internal::shoelaceSum(mine.begin(), mine.end(), positionOf));
        return trace(mine, theirs, links, myKeep, theirKeep, mineArea * 1e-9);
    }

    // The outlines do not cross: decide by one point of each that lies off the other outline.
    if (classifyVertex(decidingPoint(theirs, mine), mine) > 0) {
        if (classifyVertex(decidingPoint(mine, theirs), theirs) < 0) {
            return {};
        }
        return {*this};
    }

    // A hole: join it to the outline through the closest pair of corners, walking the hole
    // backwards so that it winds against the outline.
    std::size_t bestMine = 0;
    std::size_t bestTheirs = 0;
    float bestDistance = std::numeric_limits<float>::infinity();
    for (std::size_t i = 0; i < mine.size(); ++i) {
        for (std::size_t j = 0; j < theirs.size(); ++j) {
            const glm::vec3 d = mine[i].position - theirs[j].position;
            const float distance = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
            if (distance < bestDistance) {
                bestDistance = distance;
                bestMine = i;
                bestTheirs = j;
            }
        }
    }
    std::vector<glm::vec3> joined;
    joined.reserve(mine.size() + theirs.size() + 2);
    for (std::size_t i = 0; i <= bestMine; ++i) {
        joined.push_back(mine[i].position);
    }
    for (std::size_t j = bestTheirs + 1; j-- > 0;) {
        joined.push_back(theirs[j].position);
    }
    for (std::size_t j = theirs.size(); j-- > bestTheirs;) {
        joined.push_back(theirs[j].position);
    }
    for (std::size_t i = bestMine; i < mine.size(); ++i) {
        joined.push_back(mine[i].position);
    }
    return {Polygon(joined)};
}

} // namespace Tarn::Geometry
