// Feeds arbitrary bytes through the PRC reading path from memory. An input whose first byte is
// 0 modulo 8 (every PRC file: 'P') is a whole file: container, inflation of every section,
// schemas and every section and entity reader, up to the filled file structure blocks. Other
// first bytes choose one section reader and hand it the rest as already inflated data, so that
// mutations reach the entity readers without passing zlib. A whole file that reads goes on
// through the authoring step: tessellation decoding, materials, styles, textures and the
// occurrence tree. The scene build needs a GL context and is left out. A single tessellation
// that decodes is also encoded again as a highly compressed one and that decoded in turn, so
// the writer's walk sees whatever meshes the reader can be made to produce.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "SilentLog.h"
#include "prc/export/MeshTraversalEncode.h"
#include "prc/reader/AuthoringPool_PRC.h"
#include "prc/reader/BitstreamReader.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/TesselationDecoder.h"

namespace {

using Velmora::PRC::BitstreamReader;
namespace FS = Velmora::PRC::FileStructure;
constexpr uint32_t kFuzzNormalBits = 10;
constexpr double kFuzzTolerance = 1e-3;

void EncodeAgain(const FS::BaseTessData& decoded) {
    // The decoders give a normal per triangle corner, or none where the authoring step
    // calculates them (the encoder then takes face normals); the encoder takes a row per corner
    // and merges equal rows itself.
    const size_t corners = decoded.triangleIndices.size() - decoded.triangleIndices.size() % 3;
    if (corners == 0) return;
    const bool hasNormals = decoded.normals.size() >= corners;
    Velmora::PRC::EncodeTriangles mesh;
    mesh.positions.reserve(corners);
    mesh.normals.reserve(corners);
    mesh.indices.reserve(corners);
    for (size_t corner = 0; corner < corners; ++corner) {
        const uint32_t vertex = decoded.triangleIndices[corner];
        if (vertex >= decoded.vertices.size()) return;
        mesh.positions.push_back(decoded.vertices[vertex]);
        mesh.normals.push_back(hasNormals ? decoded.normals[corner] : FS::Vec3f{0.0f, 0.0f, 0.0f});
        mesh.indices.push_back(static_cast<uint32_t>(corner));
    }
    mesh.faces.assign(corners / 3, 0);
    Velmora::PRC::MeshTraversalEncode::DropDegenerateTriangles(mesh);
    Velmora::PRC::MeshTraversalEncode::RepairNormals(mesh);
    auto encoded = std::make_shared<FS::HighlyCompressed3DTess>();
    Velmora::PRC::MeshTraversalEncode encoder(kFuzzNormalBits);
    if (encoder.EncodeArrays(mesh, kFuzzTolerance, *encoded))
        (void)Velmora::PRC::TesselationDecoder::DecodeTesselation(encoded, nullptr, 0.0f);
}

enum Mode : uint8_t {
    kWholeFile = 0,
    kGlobals = 1,
    kTree = 2,
    kTessellation = 3,
    kGeometry = 4,
    kModelFile = 5,
    kSchema = 6,
    kTessellationEntity = 7,
    kModes = 8,
};

constexpr uint32_t kFileStructures = 1;

void ReadSection(uint8_t mode, const uint8_t* data, size_t size) {
    auto* copy = new uint8_t[size ? size : 1];
    if (size) std::memcpy(copy, data, size);
    BitstreamReader reader;
    reader.SetVersion(8137);
    reader.SetData(std::make_shared<Velmora::Utility::DataHolder<uint8_t>>(copy, static_cast<uint32_t>(size)));
    FS::GlobalsSection globals;
    BitstreamReader::SetCurrentGlobals(&globals);
    switch (mode) {
        case kGlobals: reader.ReadFileStructureGlobalsDecompressed(globals); break;
        case kTree: {
            FS::TreeSection tree;
            reader.ReadFileStructureTreeDecompressed(tree);
            break;
        }
        case kTessellation: {
            FS::TessellationSection section;
            reader.ReadFileStructureTessellationDecompressed(section);
            break;
        }
        case kGeometry: {
            FS::GeometrySection section;
            reader.ReadFileStructureGeometryDecompressed(section);
            break;
        }
        case kModelFile: {
            FS::ModelFileSection model;
            reader.ReadModelFileSectionDecompressed(model, kFileStructures);
            break;
        }
        case kSchema: {
            // Schemas first, then a graphics entity and a transformation that run them.
            if (reader.ReadSchema(globals.schemas)) {
                FS::Graphics graphics;
                reader.ReadGraphics(graphics);
                (void)reader.ReadTransformation();
            }
            break;
        }
        default: {
            // A tessellation entity on its own, decoded as the authoring step would: the
            // highly compressed walk sees mutated arrays without a whole file around them.
            const auto tess = reader.ReadTessellation();
            if (tess && Velmora::PRC::TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f)) EncodeAgain(*tess);
            break;
        }
    }
    BitstreamReader::SetCurrentGlobals(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > (64u << 20)) return 0;
    const uint8_t mode = data[0] % kModes;
    if (mode == kWholeFile) {
        auto file = Velmora::PRC::PRCFile::CreateFromMemory(data, static_cast<uint32_t>(size), nullptr, 0.6f);
        if (!file) return 0;
        Velmora::PRC::AuthoringPool_PRC pool;
        if (pool.Init()) (void)pool.CreateAuthoringObjectsFromFile(file, nullptr);
        pool.Shutdown();
        return 0;
    }
    ReadSection(mode, data + 1, size - 1);
    return 0;
}
