// Geodesy beside PROJ, polygon containment and subtraction beside Boost.Geometry.
#include <Tarn/Geometry/Geodesy.h>
#include <Tarn/Geometry/Polygon.h>

#include <benchmark/benchmark.h>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include <proj.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace bg = boost::geometry;
using Tarn::Geometry::Polygon;

namespace {

using BPoint = bg::model::d2::point_xy<double>;
using BPolygon = bg::model::polygon<BPoint>;
using BMulti = bg::model::multi_polygon<BPolygon>;

struct LatLon {
    double lat;
    double lon;
};

// Points of UTM zone 32 (6 to 12 degrees east), northern hemisphere.
const std::vector<LatLon>& zonePoints() {
    static const std::vector<LatLon> points = [] {
        std::mt19937_64 rng(32);
        std::uniform_real_distribution<double> lat(0.5, 55.0), lon(6.0, 12.0);
        std::vector<LatLon> p(4096);
        for (LatLon& q : p) {
            q = {lat(rng), lon(rng)};
        }
        return p;
    }();
    return points;
}

void LLtoUTM_ZoneComputed(benchmark::State& state) {
    const auto& points = zonePoints();
    for (auto _ : state) {
        for (const LatLon& p : points) {
            double e = 0.0;
            double n = 0.0;
            LLtoUTM(e, n, p.lat, p.lon);
            benchmark::DoNotOptimize(e);
            benchmark::DoNotOptimize(n);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * points.size()));
}
BENCHMARK(LLtoUTM_ZoneComputed);

void LLtoUTM_ZoneGiven(benchmark::State& state) {
    const auto& points = zonePoints();
    for (auto _ : state) {
        for (const LatLon& p : points) {
            double e = 0.0;
            double n = 0.0;
            LLtoUTM(e, n, p.lat, p.lon, 32, true);
            benchmark::DoNotOptimize(e);
            benchmark::DoNotOptimize(n);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * points.size()));
}
BENCHMARK(LLtoUTM_ZoneGiven);

struct ProjUtm {
    ProjUtm() {
        ctx = proj_context_create();
        // Degrees in, zone 32 out: the same work as LLtoUTM with the zone given.
        pj = proj_create(ctx, "+proj=pipeline +step +proj=unitconvert +xy_in=deg +xy_out=rad "
                              "+step +proj=utm +zone=32 +ellps=WGS84");
    }
    ~ProjUtm() {
        proj_destroy(pj);
        proj_context_destroy(ctx);
    }
    PJ_CONTEXT* ctx;
    PJ* pj;
};

void PROJ_Trans(benchmark::State& state) {
    ProjUtm proj;
    const auto& points = zonePoints();
    for (auto _ : state) {
        for (const LatLon& p : points) {
            PJ_COORD c = proj_trans(proj.pj, PJ_FWD, proj_coord(p.lon, p.lat, 0.0, 0.0));
            benchmark::DoNotOptimize(c);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * points.size()));
}
BENCHMARK(PROJ_Trans);

void PROJ_TransGeneric(benchmark::State& state) {
    ProjUtm proj;
    const auto& points = zonePoints();
    std::vector<double> x(points.size()), y(points.size());
    for (auto _ : state) {
        state.PauseTiming();
        for (std::size_t i = 0; i < points.size(); ++i) {
            x[i] = points[i].lon;
            y[i] = points[i].lat;
        }
        state.ResumeTiming();
        proj_trans_generic(proj.pj, PJ_FWD, x.data(), sizeof(double), x.size(), y.data(), sizeof(double),
                           y.size(), nullptr, 0, 0, nullptr, 0, 0);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * points.size()));
}
BENCHMARK(PROJ_TransGeneric);

// A concave outline with 100 corners, star-shaped about `centre`.
std::vector<glm::vec3> star100(glm::vec3 centre, float radius, uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<float> r(0.6f * radius, radius);
    std::vector<glm::vec3> pts;
    for (int i = 0; i < 100; ++i) {
        const float a = 2.0f * std::numbers::pi_v<float> * static_cast<float>(i) / 100.0f;
        const float k = r(rng);
        pts.emplace_back(centre.x + k * std::cos(a), centre.y + k * std::sin(a), 0.0f);
    }
    return pts;
}

BPolygon toBoost(const std::vector<glm::vec3>& pts) {
    BPolygon poly;
    for (const glm::vec3& q : pts) {
        bg::append(poly.outer(), BPoint(q.x, q.y));
    }
    bg::correct(poly);
    return poly;
}

std::vector<glm::vec3> probePoints() {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<float> u(-110.0f, 110.0f);
    std::vector<glm::vec3> p(1024);
    for (glm::vec3& q : p) {
        q = glm::vec3(u(rng), u(rng), 0.0f);
    }
    return p;
}

void Polygon_IsPointInside100(benchmark::State& state) {
    const Polygon polygon(star100(glm::vec3(0.0f), 100.0f, 1));
    const auto probes = probePoints();
    for (auto _ : state) {
        for (const glm::vec3& q : probes) {
            benchmark::DoNotOptimize(polygon.isPointInside(q));
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * probes.size()));
}
BENCHMARK(Polygon_IsPointInside100);

void Boost_Within100(benchmark::State& state) {
    const BPolygon polygon = toBoost(star100(glm::vec3(0.0f), 100.0f, 1));
    std::vector<BPoint> probes;
    for (const glm::vec3& q : probePoints()) {
        probes.emplace_back(q.x, q.y);
    }
    for (auto _ : state) {
        for (const BPoint& q : probes) {
            benchmark::DoNotOptimize(bg::within(q, polygon));
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * probes.size()));
}
BENCHMARK(Boost_Within100);

// Two 100-corner outlines overlapping by about half: arg 0 concave, arg 1 convex.
std::pair<std::vector<glm::vec3>, std::vector<glm::vec3>> overlappingPair(bool convex) {
    auto a = star100(glm::vec3(0.0f), 100.0f, 11);
    auto b = star100(glm::vec3(60.0f, 25.0f, 0.0f), 100.0f, 12);
    if (convex) {
        for (auto* pts : {&a, &b}) {
            const glm::vec3 c = pts == &a ? glm::vec3(0.0f) : glm::vec3(60.0f, 25.0f, 0.0f);
            for (std::size_t i = 0; i < pts->size(); ++i) {
                const float t = 2.0f * std::numbers::pi_v<float> * static_cast<float>(i) / 100.0f;
                (*pts)[i] = glm::vec3(c.x + 100.0f * std::cos(t), c.y + 100.0f * std::sin(t), 0.0f);
            }
        }
    }
    return {a, b};
}

void Polygon_Subtract100(benchmark::State& state) {
    const auto [a, b] = overlappingPair(state.range(0) != 0);
    const Polygon pa(a);
    const Polygon pb(b);
    for (auto _ : state) {
        std::vector<Polygon> result = pa.subtract(pb);
        benchmark::DoNotOptimize(result.data());
    }
}
BENCHMARK(Polygon_Subtract100)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void Boost_Difference100(benchmark::State& state) {
    const auto [a, b] = overlappingPair(state.range(0) != 0);
    const BPolygon pa = toBoost(a);
    const BPolygon pb = toBoost(b);
    for (auto _ : state) {
        BMulti result;
        bg::difference(pa, pb, result);
        benchmark::DoNotOptimize(result.data());
    }
}
BENCHMARK(Boost_Difference100)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace
