#include <Tarn/Geometry/QuadIndices.h>

#include <cstddef>

namespace Tarn::Geometry {

void generateQuadIndices(std::vector<uint32_t>& indices, uint64_t quadCount, uint32_t startIndex,
                         bool shareEdges) {
    indices.reserve(indices.size() + static_cast<std::size_t>(quadCount) * 6);
    const uint32_t step = shareEdges ? 2u : 4u;
    uint32_t v = startIndex;
    for (uint64_t quad = 0; quad < quadCount; ++quad) {
        indices.insert(indices.end(), {v, v + 1, v + 2, v + 2, v + 1, v + 3});
        v += step;
    }
}

} // namespace Tarn::Geometry
