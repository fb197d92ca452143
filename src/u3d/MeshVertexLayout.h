#pragma once
// The interleaved vertex row that every U3D mesh family builds: position, then normal,
// diffuse, specular and the tex coord layers where present, in the order of
// Rendering::Mesh. Shared by the CLOD, point, line and RH builders.

#include <array>
#include <cstdint>
#include <vector>

#include "rendering/Mesh.h"
#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

// Where each attribute of one shading id sits inside its vertex row (-1: absent).
struct VertexLayout {
    uint32_t attributes = 0;
    uint32_t stride = 0;
    int32_t normal = -1;
    int32_t diffuse = -1;
    int32_t specular = -1;
    int32_t texCoord = -1;  // first layer; the layers follow two floats apart
    uint32_t layers = 0;
};

inline VertexLayout MakeLayout(const ShadingDescription& shading, bool normals, bool diffuse, bool specular,
                               bool texCoords) {
    namespace VA = Rendering::VertexAttribute;
    VertexLayout layout;
    layout.attributes = VA::Position;
    if (normals) layout.attributes |= VA::Normal;
    if (diffuse) layout.attributes |= VA::Diffuse;
    if (specular) layout.attributes |= VA::Specular;
    if (texCoords) {
        layout.layers =
            shading.layerCount < ShadingDescription::kMaxLayers ? shading.layerCount : ShadingDescription::kMaxLayers;
        for (uint32_t layer = 0; layer < layout.layers; ++layer) layout.attributes |= VA::TexCoord(layer);
    }
    layout.stride = VA::FloatsPerVertex(layout.attributes);
    layout.normal = VA::FloatOffset(layout.attributes, VA::Normal);
    layout.diffuse = VA::FloatOffset(layout.attributes, VA::Diffuse);
    layout.specular = VA::FloatOffset(layout.attributes, VA::Specular);
    layout.texCoord = layout.layers ? VA::FloatOffset(layout.attributes, VA::TexCoord0) : -1;
    return layout;
}

// Indices were checked against their arrays when read, but only for the attributes the
// reader was told to expect: a declaration that contradicts itself leaves indices that point
// into empty arrays. Those read zeros.
template <size_t N>
inline void CopyOr0(float* out, const std::vector<std::array<float, N>>& values, uint32_t index, uint32_t count) {
    if (index < values.size()) {
        for (uint32_t k = 0; k < count; ++k) out[k] = values[index][k];
    } else {
        for (uint32_t k = 0; k < count; ++k) out[k] = 0.0f;
    }
}

}  // namespace Velmora::U3D
