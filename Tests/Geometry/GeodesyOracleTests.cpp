// Geodesy checked against PROJ, an independent implementation (its transverse Mercator is the
// exact Poder/Engsager algorithm, not the series used here).
#include <Tarn/Geometry/Geodesy.h>

#include <gtest/gtest.h>

#include <proj.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>

namespace {

using Transform = std::unique_ptr<PJ, decltype(&proj_destroy)>;

class GeodesyOracle : public ::testing::Test {
protected:
    // Longitude and latitude in degrees in, whatever the last step produces out.
    Transform fromDegrees(const std::string& steps) {
        const std::string definition =
            "+proj=pipeline +step +proj=unitconvert +xy_in=deg +xy_out=rad " + steps;
        Transform pj(proj_create(ctx.get(), definition.c_str()), &proj_destroy);
        EXPECT_TRUE(pj) << definition;
        return pj;
    }
    static PJ_COORD apply(PJ* pj, double latitude, double longitude, double altitude) {
        return proj_trans(pj, PJ_FWD, proj_coord(longitude, latitude, altitude, 0.0));
    }
    static void report(const char* what, double metres) {
        std::printf("[  oracle  ] largest difference, %s: %.3g m\n", what, metres);
        ::testing::Test::RecordProperty(what, std::to_string(metres));
    }

    std::unique_ptr<PJ_CONTEXT, decltype(&proj_context_destroy)> ctx{proj_context_create(),
                                                                     &proj_context_destroy};
    std::mt19937_64 rng{20261122};
};

} // namespace

TEST_F(GeodesyOracle, ECEFWithinOneMillimetre) {
    Transform cart = fromDegrees("+step +proj=cart +ellps=WGS84");
    ASSERT_TRUE(cart);
    std::uniform_real_distribution<double> lat(-90.0, 90.0), lon(-180.0, 180.0), alt(-500.0, 9000.0);
    double worst = 0.0;
    for (int i = 0; i < 5000; ++i) {
        const double la = lat(rng), lo = lon(rng), h = alt(rng);
        const glm::dvec3 ours = LLtoECEF(la, lo, h);
        const PJ_COORD theirs = apply(cart.get(), la, lo, h);
        const double d = std::hypot(ours.x - theirs.xyz.x, ours.y - theirs.xyz.y, ours.z - theirs.xyz.z);
        worst = std::max(worst, d);
        ASSERT_LT(d, 1e-3) << la << ", " << lo << ", " << h;
    }
    report("LLtoECEF", worst);
}

TEST_F(GeodesyOracle, UTMWithinOneCentimetreNearTheCentralMeridian) {
    // The projection depends only on the distance from the central meridian, so one PROJ
    // transverse Mercator centred on 0 serves every zone; each row of the table is checked with its
    // own radius and eccentricity.
    const auto table = Tarn::getEllipsoids();
    std::uniform_real_distribution<double> lat(-80.0, 84.0), offset(-3.0, 3.0);
    std::uniform_int_distribution<int> zones(1, 60);
    double worst = 0.0;
    for (int ellipsoid = 1; ellipsoid < Tarn::kEllipsoidCount; ++ellipsoid) {
        char params[160];
        std::snprintf(params, sizeof params,
                      "+step +proj=tmerc +lon_0=0 +k_0=0.9996 +x_0=500000 +a=%.17g +es=%.17g",
                      table[ellipsoid].equatorialRadius, table[ellipsoid].eccentricitySquared);
        Transform north = fromDegrees(std::string(params) + " +y_0=0");
        Transform south = fromDegrees(std::string(params) + " +y_0=10000000");
        ASSERT_TRUE(north && south);
        const int samples = ellipsoid == Tarn::kEllipsoidWGS84 ? 20000 : 500;
        for (int i = 0; i < samples; ++i) {
            const int zone = zones(rng);
            const double la = lat(rng), d = offset(rng);
            const bool isNorth = la >= 0.0;
            double e = 0.0, n = 0.0;
            LLtoUTM(e, n, la, zone * 6 - 183 + d, zone, isNorth, ellipsoid);
            const PJ_COORD ref = apply(isNorth ? north.get() : south.get(), la, d, 0.0);
            const double diff = std::hypot(e - ref.xy.x, n - ref.xy.y);
            worst = std::max(worst, diff);
            ASSERT_LT(diff, 0.01) << table[ellipsoid].name << " zone " << zone << " at " << la << ", " << d;
        }
    }
    report("LLtoUTM within 3 degrees", worst);
}

TEST_F(GeodesyOracle, ENUMatchesTopocentricFrame) {
    std::uniform_real_distribution<double> lat(-85.0, 85.0), lon(-180.0, 180.0), near(-0.5, 0.5),
        alt(0.0, 3000.0);
    double worst = 0.0;
    for (int o = 0; o < 20; ++o) {
        const double la0 = lat(rng), lo0 = lon(rng), h0 = alt(rng);
        const Tarn::LLToENUConverter converter(la0, lo0, h0);
        char steps[200];
        std::snprintf(steps, sizeof steps,
                      "+step +proj=cart +ellps=WGS84 +step +proj=topocentric +ellps=WGS84 +lat_0=%.17g "
                      "+lon_0=%.17g +h_0=%.17g",
                      la0, lo0, h0);
        Transform topo = fromDegrees(steps);
        ASSERT_TRUE(topo);
        for (int i = 0; i < 100; ++i) {
            const double la = la0 + near(rng), lo = lo0 + near(rng), h = alt(rng);
            const glm::dvec3 ours = converter.convert(la, lo, h);
            const PJ_COORD ref = apply(topo.get(), la, lo, h);
            const double d = std::hypot(ours.x - ref.xyz.x, ours.y - ref.xyz.y, ours.z - ref.xyz.z);
            worst = std::max(worst, d);
            ASSERT_LT(d, 1e-3);
        }
    }
    report("LLToENUConverter", worst);
}
