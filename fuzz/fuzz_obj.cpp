// Feeds arbitrary bytes through the OBJ and MTL parsers. An input whose first byte is even is
// OBJ text: parse, node tree and the vertex rows of every mesh (with generated normals),
// written to memory; an odd first byte makes the rest MTL text. No rendering.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "SilentLog.h"
#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/MeshRowBuilder.h"
#include "obj/MtlParser.h"
#include "obj/NodeTreeBuilder.h"
#include "obj/ObjParser.h"
#include "rendering/Mesh.h"

namespace {

using namespace Velmora::OBJ;

// Material libraries named by the text are looked for here, where there are none.
constexpr const char* kNoDirectory = "/nonexistent-kestrum-fuzz";

void BuildRows(AuthorMeshPool& meshes, const AuthorMaterialPool& materials, const VertexArrays& arrays) {
    std::vector<float> rows;
    for (const auto& [name, mesh] : meshes.Meshes()) {
        MeshRowBuilder builder(arrays, true, true);
        if (!builder.Plan(*mesh, MeshRowBuilder::KindOf(*mesh), materials)) continue;
        for (const MeshRowBuilder::SubObject& sub : builder.SubObjects()) {
            rows.assign(size_t(sub.vertexCount) * Velmora::Rendering::VertexAttribute::FloatsPerVertex(sub.attributes),
                        0.0f);
            builder.FillSubObject(sub, rows.data());
        }
    }
}

void ParseObj(std::string_view text) {
    AuthorMeshPool meshes;
    AuthorMaterialPool materials;
    auto parser = ObjParser::Create(&meshes, &materials);
    if (!parser) return;
    if (parser->ParseText(text, kNoDirectory)) {
        std::vector<std::shared_ptr<AuthorNode>> top;
        NodeTreeBuilder::Build(meshes, top);
        BuildRows(meshes, materials, parser->Vertices());
    }
    parser->Shutdown();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    if (data[0] % 2 == 0) {
        ParseObj(text);
    } else {
        AuthorMaterialPool materials;
        MtlParser(materials).Parse(text);
    }
    return 0;
}
