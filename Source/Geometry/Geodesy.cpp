#include <Tarn/Geometry/Geodesy.h>

#include <Tarn/Foundation/Assert.h>

#include <array>
#include <cmath>
#include <limits>

namespace {

constexpr double kDegToRad = 0.017453292519943295;
constexpr double kRadToDeg = 57.29577951308232;
constexpr double kUTMScale = 0.9996;
constexpr double kFalseEasting = 500000.0;
constexpr double kFalseNorthingSouth = 10000000.0;

// ECEF uses the full-precision WGS-84 figure, not the rounded table row.
constexpr double kWGS84Radius = 6378137.0;
constexpr double kWGS84EccentricitySquared = 0.0066943799901975545;
constexpr double kWGS84OneMinusEccentricitySquared = 0.9933056200098025;

constexpr std::array<Tarn::Ellipsoid, Tarn::kEllipsoidCount> kEllipsoids{{
    {-1, "Placeholder", 0, 0},
    {1, "Airy", 6377563, 0.00667054},
    {2, "Australian National", 6378160, 0.006694542},
    {3, "Bessel 1841", 6377397, 0.006674372},
    {4, "Bessel 1841 (Nambia) ", 6377484, 0.006674372},
    {5, "Clarke 1866", 6378206, 0.006768658},
    {6, "Clarke 1880", 6378249, 0.006803511},
    {7, "Everest", 6377276, 0.006637847},
    {8, "Fischer 1960 (Mercury) ", 6378166, 0.006693422},
    {9, "Fischer 1968", 6378150, 0.006693422},
    {10, "GRS 1967", 6378160, 0.006694605},
    {11, "GRS 1980", 6378137, 0.00669438},
    {12, "Helmert 1906", 6378200, 0.006693422},
    {13, "Hough", 6378270, 0.00672267},
    {14, "International", 6378388, 0.00672267},
    {15, "Krassovsky", 6378245, 0.006693422},
    {16, "Modified Airy", 6377340, 0.00667054},
    {17, "Modified Everest", 6377304, 0.006637847},
    {18, "Modified Fischer 1960", 6378155, 0.006693422},
    {19, "South American 1969", 6378160, 0.006694542},
    {20, "WGS 60", 6378165, 0.006693422},
    {21, "WGS 66", 6378145, 0.006694542},
    {22, "WGS-72", 6378135, 0.006694318},
    {23, "WGS-84", 6378137, 0.00669438},
}};

// Per-ellipsoid factors of the transverse Mercator series, computed once at compile time so that a
// projection costs one sine/cosine pair, one square root and a few divisions.
struct UTMFactors {
    double a;
    double e2;
    double ep2;                // second eccentricity squared
    double m0, m2, m4, m6;     // meridian arc: a * (m0 phi - m2 sin 2phi + m4 sin 4phi - m6 sin 6phi)
    double eastingFifthOrder;  // -58 e'^2
    double northingSixthOrder; // -330 e'^2
};

constexpr UTMFactors makeFactors(const Tarn::Ellipsoid& ellipsoid) {
    const double e2 = ellipsoid.eccentricitySquared;
    const double e4 = e2 * e2;
    const double e6 = e4 * e2;
    const double ep2 = e2 / (1.0 - e2);
    return UTMFactors{ellipsoid.equatorialRadius,
                      e2,
                      ep2,
                      1.0 - e2 / 4.0 - 3.0 * e4 / 64.0 - 5.0 * e6 / 256.0,
                      3.0 * e2 / 8.0 + 3.0 * e4 / 32.0 + 45.0 * e6 / 1024.0,
                      15.0 * e4 / 256.0 + 45.0 * e6 / 1024.0,
                      35.0 * e6 / 3072.0,
                      -58.0 * ep2,
                      -330.0 * ep2};
}

constexpr std::array<UTMFactors, Tarn::kEllipsoidCount> makeFactorTable() {
    std::array<UTMFactors, Tarn::kEllipsoidCount> table{};
    for (int i = 0; i < Tarn::kEllipsoidCount; ++i) {
        table[i] = makeFactors(kEllipsoids[i]);
    }
    return table;
}

constexpr std::array<UTMFactors, Tarn::kEllipsoidCount> kFactors = makeFactorTable();

// Wraps longitudes from -180 up to 540 into [-180, 180). Truncation toward zero leaves anything
// below -180 untouched; existing callers depend on that, so it is not "fixed" with floor.
double normaliseLongitude(double longitude) {
    return (longitude + 180.0) - std::trunc((longitude + 180.0) / 360.0) * 360.0 - 180.0;
}

double centralMeridian(int zone) {
    return static_cast<double>(zone * 6 - 183);
}

// The store into a volatile float is what guarantees the rounding: GCC 12 at -O2 merges two
// adjacent double-to-float-to-double round trips into one vector round trip and then folds it
// away, which silently returned unrounded offsets from optimised builds.
double roundToSingle(double value) {
    volatile float single = static_cast<float>(value);
    return single;
}

void computeZone(int& zone, bool& north, double latitude, double normalisedLongitude) {
    const double lon = normalisedLongitude;
    zone = 1 + static_cast<int>(std::trunc((lon + 180.0) / 6.0));
    if (latitude >= 56.0 && latitude < 64.0 && lon >= 3.0 && lon < 12.0) {
        zone = 32;
    }
    if (latitude >= 72.0 && latitude < 84.0) {
        if (lon >= 0.0 && lon < 9.0) {
            zone = 31;
        } else if (lon >= 9.0 && lon < 21.0) {
            zone = 33;
        } else if (lon >= 21.0 && lon < 33.0) {
            zone = 35;
        } else if (lon >= 33.0 && lon < 42.0) {
            zone = 37;
        }
    }
    north = latitude >= 0.0;
}

} // namespace

namespace Tarn {

std::span<const Ellipsoid, kEllipsoidCount> getEllipsoids() {
    return kEllipsoids;
}

LLToENUConverter::LLToENUConverter(double latitude, double longitude, double altitude)
    : origin(LLtoECEF(latitude, longitude, altitude)) {
    const double phi = latitude * kDegToRad;
    const double lambda = longitude * kDegToRad;
    const double sinPhi = std::sin(phi);
    const double cosPhi = std::cos(phi);
    const double sinLambda = std::sin(lambda);
    const double cosLambda = std::cos(lambda);
    // glm is column-major: rotation[column][row]. Rows are east, north, up.
    rotation[0] = glm::dvec3(-sinLambda, -sinPhi * cosLambda, cosPhi * cosLambda);
    rotation[1] = glm::dvec3(cosLambda, -sinPhi * sinLambda, cosPhi * sinLambda);
    rotation[2] = glm::dvec3(0.0, cosPhi, sinPhi);
}

glm::dvec3 LLToENUConverter::convert(double latitude, double longitude, double altitude) const {
    return rotation * (LLtoECEF(latitude, longitude, altitude) - origin);
}

glm::dvec2 LLToENUConverter::calcVectorBetweenCoordinates(double latitude1, double longitude1,
                                                          double latitude2, double longitude2) const {
    const glm::dvec3 a = convert(latitude1, longitude1, 0.0);
    const glm::dvec3 b = convert(latitude2, longitude2, 0.0);
    return glm::dvec2(b.x - a.x, b.y - a.y);
}

} // namespace Tarn

glm::dvec3 LLtoECEF(double latitude, double longitude, double altitude) {
    const double phi = latitude * kDegToRad;
    const double lambda = longitude * kDegToRad;
    const double sinPhi = std::sin(phi);
    const double cosPhi = std::cos(phi);
    const double n = kWGS84Radius / std::sqrt(1.0 - kWGS84EccentricitySquared * sinPhi * sinPhi);
    return glm::dvec3((n + altitude) * cosPhi * std::cos(lambda), (n + altitude) * cosPhi * std::sin(lambda),
                      (n * kWGS84OneMinusEccentricitySquared + altitude) * sinPhi);
}

void LLtoUTMZone(int& zone, bool& north, double latitude, double longitude, int /*ellipsoid*/) {
    computeZone(zone, north, latitude, normaliseLongitude(longitude));
}

void LLtoUTM(double& easting, double& northing, double latitude, double longitude, int zone, bool north,
             int ellipsoid) {
    TARN_ASSERT(ellipsoid >= 0 && ellipsoid < Tarn::kEllipsoidCount && "Unknown reference ellipsoid.");
    if (ellipsoid < 0 || ellipsoid >= Tarn::kEllipsoidCount) {
        easting = std::numeric_limits<double>::quiet_NaN();
        northing = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    const UTMFactors& f = kFactors[static_cast<size_t>(ellipsoid)];
    const double lon = normaliseLongitude(longitude);
    if (zone == -1) {
        computeZone(zone, north, latitude, lon);
    }

    const double phi = latitude * kDegToRad;
    const double sinPhi = std::sin(phi);
    const double cosPhi = std::cos(phi);
    const double tanPhi = sinPhi / cosPhi;

    const double n = f.a / std::sqrt(1.0 - f.e2 * sinPhi * sinPhi);
    const double t = tanPhi * tanPhi;
    const double c = f.ep2 * cosPhi * cosPhi;
    const double a = cosPhi * ((lon - centralMeridian(zone)) * kDegToRad);

    // sin 2phi, sin 4phi and sin 6phi from the one sine/cosine pair by the multiple-angle identities.
    const double sin2 = 2.0 * sinPhi * cosPhi;
    const double cos2 = (cosPhi - sinPhi) * (cosPhi + sinPhi);
    const double sin4 = 2.0 * sin2 * cos2;
    const double cos4 = (cos2 - sin2) * (cos2 + sin2);
    const double sin6 = sin4 * cos2 + cos4 * sin2;
    const double m = f.a * (f.m0 * phi - f.m2 * sin2 + f.m4 * sin4 - f.m6 * sin6);

    const double a2 = a * a;
    const double a3 = a2 * a;
    const double a4 = a2 * a2;
    const double a5 = a4 * a;
    const double a6 = a4 * a2;

    easting = kUTMScale * n *
                  (a + (1.0 - t + c) * a3 / 6.0 +
                   (5.0 - 18.0 * t + t * t + 72.0 * c + f.eastingFifthOrder) * a5 / 120.0) +
              kFalseEasting;
    northing =
        kUTMScale * (m + n * tanPhi *
                             (a2 / 2.0 + (5.0 - t + 9.0 * c + 4.0 * c * c) * a4 / 24.0 +
                              (61.0 - 58.0 * t + t * t + 600.0 * c + f.northingSixthOrder) * a6 / 720.0));
    if (!north) {
        northing += kFalseNorthingSouth;
    }
}

float calcBearingBetweenCoordinates(double latitude1, double longitude1, double latitude2,
                                    double longitude2) {
    int zone = 0;
    bool north = true;
    LLtoUTMZone(zone, north, latitude2, longitude2, Tarn::kEllipsoidWGS84);

    const double phi1 = latitude1 * kDegToRad;
    const double phi2 = latitude2 * kDegToRad;
    const double deltaLambda = (longitude2 - longitude1) * kDegToRad;
    const double theta =
        std::atan2(std::sin(deltaLambda) * std::cos(phi2),
                   std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(deltaLambda));
    const double convergence =
        std::atan(std::tan((longitude2 - centralMeridian(zone)) * kDegToRad) * std::sin(phi2));
    return static_cast<float>(std::fmod(theta * kRadToDeg - convergence * kRadToDeg + 360.0, 360.0));
}

glm::dvec2 calcUTMVectorBetweenCoordinates(double latitude1, double longitude1, double latitude2,
                                           double longitude2) {
    int zone1 = 0;
    int zone2 = 0;
    bool north1 = true;
    bool north2 = true;
    LLtoUTMZone(zone1, north1, latitude1, longitude1, Tarn::kEllipsoidWGS84);
    LLtoUTMZone(zone2, north2, latitude2, longitude2, Tarn::kEllipsoidWGS84);
    if (zone1 != zone2) {
        return glm::dvec2(0.0, 0.0);
    }
    double easting1 = 0.0;
    double northing1 = 0.0;
    double easting2 = 0.0;
    double northing2 = 0.0;
    LLtoUTM(easting1, northing1, latitude1, longitude1, zone1, north1, Tarn::kEllipsoidWGS84);
    LLtoUTM(easting2, northing2, latitude2, longitude2, zone1, north2, Tarn::kEllipsoidWGS84);

    const double x = easting2 - easting1;
    double y = northing2 - northing1;
    if (north1 && !north2) {
        y = northing2 - kFalseNorthingSouth - northing1;
    } else if (!north1 && north2) {
        y = northing2 - (northing1 - kFalseNorthingSouth);
    }
    // Callers store these offsets in single-precision scene data; rounding here keeps them
    // identical to what they read back.
    return glm::dvec2(roundToSingle(x), roundToSingle(y));
}
