#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>
#include <vector>

namespace Tarn::Geometry {

/// Appends the indices of `quadCount` quads, two triangles each (v, v+1, v+2 and v+2, v+1, v+3,
/// sharing the diagonal v+1 to v+2), starting at vertex `startIndex`. With `shareEdges` every quad
/// reuses the last two vertices of the previous one, as in a strip (v advances by 2); without it
/// the quads are independent (v advances by 4). Room for all new indices is reserved first, so a
/// count of 0 only grows the capacity. Existing contents are kept.
TARN_API void generateQuadIndices(std::vector<uint32_t>& indices, uint64_t quadCount, uint32_t startIndex,
                                  bool shareEdges);

} // namespace Tarn::Geometry
