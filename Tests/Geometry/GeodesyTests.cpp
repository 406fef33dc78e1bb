#include <Tarn/Geometry/Geodesy.h>

#include "AssertRecorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <utility>

TEST(Geodesy, EllipsoidTableKeepsItsPublishedRows) {
    const auto table = Tarn::getEllipsoids();
    ASSERT_EQ(table.size(), 24u);
    EXPECT_EQ(table[0].id, -1);
    EXPECT_EQ(std::string(table[0].name), "Placeholder");
    EXPECT_EQ(table[0].equatorialRadius, 0.0);
    for (int i = 1; i < 24; ++i) {
        EXPECT_EQ(table[i].id, i);
    }
    // The two trailing blanks are part of the names.
    EXPECT_EQ(std::string(table[4].name), "Bessel 1841 (Nambia) ");
    EXPECT_EQ(std::string(table[8].name), "Fischer 1960 (Mercury) ");
    EXPECT_EQ(std::string(table[22].name), "WGS-72");
    EXPECT_EQ(std::string(table[23].name), "WGS-84");
    EXPECT_EQ(table[23].equatorialRadius, 6378137.0);
    EXPECT_EQ(table[23].eccentricitySquared, 0.00669438);
    EXPECT_EQ(table[6].equatorialRadius, 6378249.0);
    EXPECT_EQ(table[6].eccentricitySquared, 0.006803511);
}

TEST(Geodesy, ECEFOnTheAxes) {
    const glm::dvec3 origin = LLtoECEF(0.0, 0.0, 0.0);
    EXPECT_EQ(origin, glm::dvec3(6378137.0, 0.0, 0.0));
    const glm::dvec3 pole = LLtoECEF(90.0, 0.0, 0.0);
    EXPECT_DOUBLE_EQ(pole.z, 6378137.0 * 0.9933056200098025 / std::sqrt(1.0 - 0.0066943799901975545));
    EXPECT_NEAR(pole.x, 0.0, 1e-6);
    const glm::dvec3 east = LLtoECEF(0.0, 90.0, 100.0);
    EXPECT_NEAR(east.x, 0.0, 1e-6);
    EXPECT_DOUBLE_EQ(east.y, 6378237.0);
}

TEST(Geodesy, ZonesWrapLongitudeAndHonourNorwayAndSvalbard) {
    // Below -180 nothing is wrapped, so the zone number leaves 1..60.
    const struct {
        double latitude, longitude;
        int zone;
    } cases[] = {{10, 180, 1},   {10, 179.9, 60}, {10, -180, 1}, {10, 369, 32}, {10, 540, 1}, {10, -186.5, 0},
                 {60, 5, 32},    {56, 3, 32},     {60, 2.9, 31}, {64, 5, 31},   {60, 12, 33}, {78, 10, 33},
                 {78, 8.9, 31},  {72, 9, 33},     {78, 21, 35},  {78, 33, 37},  {78, 42, 38}, {84, 10, 32},
                 {71.9, 10, 32}, {0, 0, 31},      {-1e-9, 0, 31}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.latitude << ", " << c.longitude);
        int zone = -99;
        bool north = c.latitude < 0;
        LLtoUTMZone(zone, north, c.latitude, c.longitude);
        EXPECT_EQ(zone, c.zone);
        EXPECT_EQ(north, c.latitude >= 0); // the equator is north
    }
}

TEST(Geodesy, UTMOnTheCentralMeridianAndTheZoneProjectedInto) {
    double e, n;
    LLtoUTM(e, n, 0.0, 9.0);
    EXPECT_EQ(e, 500000.0);
    EXPECT_EQ(n, 0.0);
    LLtoUTM(e, n, 0.0, -177.0, 1, false);
    EXPECT_EQ(e, 500000.0);
    EXPECT_EQ(n, 10000000.0);

    // Without a zone, the one LLtoUTMZone picks (exceptions included) is projected into.
    for (const auto& [latitude, longitude] :
         {std::pair{60.0, 5.0}, {78.0, 20.5}, {78.0, 10.0}, {-33.9, 18.4}, {1.0, 180.0}, {47.0, 371.5}}) {
        SCOPED_TRACE(testing::Message() << latitude << ", " << longitude);
        int zone = 0;
        bool north = false;
        LLtoUTMZone(zone, north, latitude, longitude);
        double eAuto, nAuto;
        LLtoUTM(eAuto, nAuto, latitude, longitude);
        LLtoUTM(e, n, latitude, longitude, zone, north);
        EXPECT_EQ(eAuto, e);
        EXPECT_EQ(nAuto, n);
    }
    // A forced zone is used even when the point belongs elsewhere: Norway's west coast lies in
    // zone 32, west of its central meridian, and east of zone 31's.
    LLtoUTM(e, n, 60.0, 5.0);
    EXPECT_LT(e, 500000.0);
    LLtoUTM(e, n, 60.0, 5.0, 31, true);
    EXPECT_GT(e, 500000.0);

    // A longitude one turn further round lands on the same grid position.
    double eTurn, nTurn;
    LLtoUTM(e, n, 47.0, 11.5);
    LLtoUTM(eTurn, nTurn, 47.0, 11.5 + 360.0);
    EXPECT_NEAR(eTurn, e, 1e-6);
    EXPECT_NEAR(nTurn, n, 1e-6);
}

TEST(Geodesy, UnknownEllipsoidIsReportedAndYieldsNaN) {
    Tarn::Testing::AssertRecorder recorder;
    double e = 1.0;
    double n = 1.0;
    LLtoUTM(e, n, 10.0, 10.0, -1, true, 24);
    EXPECT_TRUE(std::isnan(e));
    EXPECT_TRUE(std::isnan(n));
    LLtoUTM(e, n, 10.0, 10.0, -1, true, -1);
    EXPECT_EQ(recorder.count(), 2u);
    EXPECT_TRUE(recorder.saw(
        "ellipsoid >= 0 && ellipsoid < Tarn::kEllipsoidCount && \"Unknown reference ellipsoid.\""));
}

TEST(Geodesy, BearingIsGridRelativeAndInRange) {
    EXPECT_EQ(calcBearingBetweenCoordinates(10.0, 9.0, 20.0, 9.0), 0.0f);
    EXPECT_NEAR(calcBearingBetweenCoordinates(0.0, 8.9, 0.0, 9.0), 90.0f, 1e-4f);
    EXPECT_NEAR(calcBearingBetweenCoordinates(20.0, 9.0, 10.0, 9.0), 180.0f, 1e-4f);
    // A bearing just west of north wraps to just below 360, never to a negative angle.
    const float northWest = calcBearingBetweenCoordinates(0.0, 9.0, 1.0, 8.999);
    EXPECT_GE(northWest, 359.0f);
    EXPECT_LT(northWest, 360.0f);
    // Along a true meridian 2 degrees east of zone 32's central meridian (9), grid north is turned
    // by the convergence atan(tan 2deg * sin lat) at the destination; 1 degree west of zone 33's
    // (15) the other way.
    const double rad = std::numbers::pi / 180.0;
    const double east = std::atan(std::tan(2.0 * rad) * std::sin(20.0 * rad)) / rad;
    EXPECT_NEAR(calcBearingBetweenCoordinates(10.0, 11.0, 20.0, 11.0), 360.0 - east, 1e-4);
    const double west = std::atan(std::tan(-1.0 * rad) * std::sin(20.0 * rad)) / rad;
    EXPECT_NEAR(calcBearingBetweenCoordinates(10.0, 14.0, 20.0, 14.0), -west, 1e-4);
}

TEST(Geodesy, UTMVectorWithinOneZoneOnly) {
    EXPECT_EQ(calcUTMVectorBetweenCoordinates(50.0, 11.9, 50.0, 12.1), glm::dvec2(0.0, 0.0));

    const glm::dvec2 v = calcUTMVectorBetweenCoordinates(50.0, 7.0, 51.1, 10.3);
    double e1, n1, e2, n2, eq, nq;
    LLtoUTM(e1, n1, 50.0, 7.0);
    LLtoUTM(e2, n2, 51.1, 10.3);
    EXPECT_EQ(v.x, static_cast<double>(static_cast<float>(e2 - e1)));
    EXPECT_EQ(v.y, static_cast<double>(static_cast<float>(n2 - n1)));
    EXPECT_NE(v.y, n2 - n1); // the single-precision rounding is visible at this distance

    // Across the equator the false northing is taken out, in either direction.
    LLtoUTM(eq, nq, 0.001, 9.0);
    const glm::dvec2 south = calcUTMVectorBetweenCoordinates(0.001, 9.0, -0.001, 9.0);
    const glm::dvec2 north = calcUTMVectorBetweenCoordinates(-0.001, 9.0, 0.001, 9.0);
    EXPECT_NEAR(south.y, -2.0 * nq, 1e-3);
    EXPECT_NEAR(north.y, 2.0 * nq, 1e-3);
    EXPECT_NEAR(south.x, 0.0, 1e-6);
}

TEST(Geodesy, ENUOriginAndVectorsBetweenPoints) {
    // The frame's axes and lengths are checked against PROJ's topocentric frame.
    const Tarn::LLToENUConverter converter(47.3, 8.5, 400.0);
    EXPECT_EQ(converter.convert(47.3, 8.5, 400.0), glm::dvec3(0.0));
    const glm::dvec2 ab = converter.calcVectorBetweenCoordinates(47.0, 8.0, 47.5, 9.0);
    EXPECT_EQ(ab, -converter.calcVectorBetweenCoordinates(47.5, 9.0, 47.0, 8.0));
    const glm::dvec3 d = converter.convert(47.5, 9.0, 0.0) - converter.convert(47.0, 8.0, 0.0);
    EXPECT_EQ(ab, glm::dvec2(d));
}
