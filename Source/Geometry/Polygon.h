#pragma once

#include <Tarn/Foundation/Export.h>

#include <glm/vec3.hpp>

#include <cstdint>
#include <vector>

/// Planar geometry: polygons with area, containment, repair and subtraction, and the index list of
/// quads. (Geodesy is in Tarn and the global namespace, easing curves in Tarn::EasingFn.)
namespace Tarn::Geometry {

/// A simple polygon in the x-y plane.
///
/// Corners are glm::vec3; areas, orientation and containment use x and y only, and z is carried
/// along (interpolated where outlines are cut). The closing edge runs from the last corner back to
/// the first, which is not repeated. Orientation follows the y-up convention: an outline is
/// clockwise when its signed (shoelace) area is negative. The constructors and setPoints make the
/// outline clockwise; addPoint leaves the order alone.
///
/// Two corners closer than 0.01 on every axis (an absolute tolerance) count as the same corner
/// when polygons are subtracted, so coordinates are expected in units where 0.01 is negligible.
class TARN_API Polygon {
public:
    Polygon() = default;
    /// Copies the corners and reverses their order unless they are already clockwise (an outline
    /// of zero area, including one with fewer than three corners, is reversed too).
    explicit Polygon(const std::vector<glm::vec3>& points);
    /// Polygons are values: copies own their corners.
    ///@{
    Polygon(const Polygon&) = default;
    Polygon(Polygon&&) noexcept = default;
    Polygon& operator=(const Polygon&) = default;
    Polygon& operator=(Polygon&&) noexcept = default;
    ///@}
    ~Polygon() = default;

    /// Replaces the corners (no copy when given the polygon's own array) and orients them as the
    /// constructor does.
    void setPoints(const std::vector<glm::vec3>& newPoints);
    /// Appends one corner without touching the orientation.
    void addPoint(const glm::vec3& point);
    /// Removes every corner.
    void clearPoints();

    /// The corners, in their (normally clockwise) order.
    const std::vector<glm::vec3>& getPoints() const { return points; }
    /// The corner at `index`; the index is not checked.
    const glm::vec3& getPoint(uint64_t index) const { return points[static_cast<std::size_t>(index)]; }
    /// Number of corners.
    uint64_t getNoOfPoints() const { return points.size(); }

    /// Absolute area; 0 for fewer than three corners.
    float calcArea() const;

    /// Even-odd test with a horizontal ray towards +x. Corners and edges are included, so points
    /// on the outline usually count as inside; a ray through a corner may count both edges there.
    bool isPointInside(const glm::vec3& point) const;

    /// Repairs a self-crossing outline in place: makes it clockwise, then at each crossing either
    /// turns a counter-clockwise lobe round or drops the smaller of two clockwise lobes. Crossings
    /// it cannot resolve raise an assertion and are left as they are.
    void fixUp();

    /// This polygon minus `other`, as clockwise polygons: empty when `other` covers this one, a
    /// copy when they are apart, one polygon whose outline runs round the hole through a
    /// zero-width cut when `other` lies inside, and otherwise every piece left over. A polygon with
    /// fewer than three corners, or with a NaN or infinite coordinate, on either side leaves this
    /// one unchanged.
    std::vector<Polygon> subtract(const Polygon& other) const;

    /// Not provided: raises an assertion and returns an empty array.
    std::vector<Polygon> add(const Polygon& other) const;

private:
    using PointIterator = std::vector<glm::vec3>::const_iterator;

    /// Signed shoelace area of the corners in [begin, end); 0 for fewer than three.
    static float calcSignedArea(PointIterator begin, PointIterator end);
    static bool isClockwise(const std::vector<glm::vec3>& points);
    static bool isPointInside(const glm::vec3& point, const std::vector<glm::vec3>& points);

    std::vector<glm::vec3> points;
};

} // namespace Tarn::Geometry
