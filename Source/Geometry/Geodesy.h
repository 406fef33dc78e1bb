#pragma once

#include <Tarn/Foundation/Export.h>

#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include <span>

/// @file
/// Geodesy. Geographic coordinates are latitude and longitude in degrees (north and east positive)
/// and altitude in metres above the ellipsoid. The conversion functions are free functions in the
/// global namespace so that scene code can call them unqualified; the supporting types live in Tarn.

namespace Tarn {

/// One reference ellipsoid for the UTM projection.
struct Ellipsoid {
    /// The row's number in the table (the index LLtoUTM takes).
    int id;
    /// The published name, byte for byte (two end with a blank).
    const char* name;
    double equatorialRadius;    ///< metres
    double eccentricitySquared; ///< square of the first eccentricity
};

/// Number of rows in the ellipsoid table.
inline constexpr int kEllipsoidCount = 24;
/// Row of the WGS-84 ellipsoid, the one every caller inside the library uses.
inline constexpr int kEllipsoidWGS84 = 23;

/// The reference ellipsoid table, indexed by the ellipsoid number that LLtoUTM takes. Row 0 is a
/// placeholder with radius 0. Names are kept byte for byte as they have always been published,
/// including the trailing blank of two of them, so look-ups by name must match exactly.
TARN_API std::span<const Ellipsoid, kEllipsoidCount> getEllipsoids();

/// Converts geographic coordinates into a local East-North-Up frame (metres) tangent to the
/// WGS-84 ellipsoid at a fixed origin. Cheap to copy; conversions do not modify it.
class TARN_API LLToENUConverter {
public:
    /// Places the frame's origin at the given point.
    LLToENUConverter(double latitude, double longitude, double altitude);

    /// (east, north, up) of the point relative to the origin.
    glm::dvec3 convert(double latitude, double longitude, double altitude) const;

    /// (east, north) of point 2 minus point 1, both taken at altitude 0.
    glm::dvec2 calcVectorBetweenCoordinates(double latitude1, double longitude1, double latitude2,
                                            double longitude2) const;

    /// ECEF position of the origin.
    const glm::dvec3& getOrigin() const { return origin; }
    /// Rotation from an ECEF difference into (east, north, up).
    const glm::dmat3& getRotation() const { return rotation; }

private:
    glm::dvec3 origin;
    glm::dmat3 rotation;
};

} // namespace Tarn

/// Earth-centred Earth-fixed position (metres) of a point on WGS-84.
TARN_API glm::dvec3 LLtoECEF(double latitude, double longitude, double altitude);

/// The UTM zone (1..60) and hemisphere of a point, with the Norway (zone 32) and Svalbard
/// (zones 31, 33, 35, 37) exceptions. Longitudes from -180 up to 540 are first wrapped into
/// [-180, 180), so 180 falls into zone 1; longitudes below -180 are not wrapped. The ellipsoid does
/// not influence zones; the parameter exists for symmetry with LLtoUTM.
TARN_API void LLtoUTMZone(int& zone, bool& north, double latitude, double longitude,
                          int ellipsoid = Tarn::kEllipsoidWGS84);

/// UTM easting and northing (metres) of a point on the ellipsoid of the given table row. With zone
/// -1 the zone and the hemisphere are computed from the point and `north` is ignored; otherwise the
/// point is projected into the given zone and hemisphere (southern northings carry the 10000 km
/// false northing). An ellipsoid number outside the table raises an assertion and yields NaN.
TARN_API void LLtoUTM(double& easting, double& northing, double latitude, double longitude, int zone = -1,
                      bool north = true, int ellipsoid = Tarn::kEllipsoidWGS84);

/// Grid bearing in degrees, in [0, 360), of the great circle leaving point 1 towards point 2,
/// measured from UTM grid north of point 2's zone.
TARN_API float calcBearingBetweenCoordinates(double latitude1, double longitude1, double latitude2,
                                             double longitude2);

/// (easting, northing) of point 2 minus point 1 in metres, both projected into their common UTM
/// zone; (0, 0) when the points lie in different zones. A pair straddling the equator is measured
/// across it. Each component is rounded to single precision.
TARN_API glm::dvec2 calcUTMVectorBetweenCoordinates(double latitude1, double longitude1, double latitude2,
                                                    double longitude2);
