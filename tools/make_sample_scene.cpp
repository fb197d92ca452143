// make_sample_scene: writes the small scene that the command-line host renders when it is
// given none (scenes/sample.u3d). A red cube and a blue pyramid on a grey slab, each with its
// own material and lit shader, a directional key light plus a weak ambient one, and two named
// views ("Front" and "Top").
//
// The file is built the way U3D writers lay it out: every node and mesh declaration inside a
// modifier chain (a model node's chain carries its shading modifier), then one CLOD base mesh
// block per mesh that holds the whole mesh, so no progressive update is needed. The header's
// declaration and file sizes are filled in for the tools that check them.
//
//   make_sample_scene OUT.u3d

#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "u3dwriter/U3DWriter.h"

namespace {

using U3DWriter::BitStreamWriter;
using U3DWriter::FrameBlock;
using U3DWriter::ParentEntry;
using U3DWriter::U3DFileWriter;

using Vec3 = std::array<float, 3>;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kModifierChain = 0xFFFFFF14;
constexpr uint32_t kModelNode = 0xFFFFFF22;
constexpr uint32_t kLightNode = 0xFFFFFF23;
constexpr uint32_t kViewNode = 0xFFFFFF24;
constexpr uint32_t kMeshDeclaration = 0xFFFFFF31;
constexpr uint32_t kBaseMesh = 0xFFFFFF3B;
constexpr uint32_t kShadingModifier = 0xFFFFFF45;
constexpr uint32_t kLightResource = 0xFFFFFF51;
constexpr uint32_t kViewResource = 0xFFFFFF52;
constexpr uint32_t kLitTextureShader = 0xFFFFFF53;
constexpr uint32_t kMaterialResource = 0xFFFFFF54;

// Static contexts of the base mesh: a uniform model over (context - 1024) symbols.
constexpr uint32_t kStaticFull = 1024;
constexpr uint32_t kShadingContext = 1;

Vec3 Sub(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3 Cross(const Vec3& a, const Vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
float Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3 Normalize(const Vec3& v) {
    const float length = std::sqrt(Dot(v, v));
    return {v[0] / length, v[1] / length, v[2] / length};
}

// A flat-shaded triangle mesh: each face carries one normal for all three corners.
struct Mesh {
    std::string name;
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;
    struct Face {
        std::array<uint32_t, 3> corners;
        uint32_t normal;
    };
    std::vector<Face> faces;

    // Adds the polygon as a fan; its corners may come in either order, the winding is made
    // counter-clockwise as seen from the side the outward normal points to.
    void AddPolygon(std::vector<uint32_t> corners, const Vec3& outward) {
        const Vec3 n = Normalize(outward);
        const uint32_t normal = static_cast<uint32_t>(normals.size());
        normals.push_back(n);
        for (size_t i = 1; i + 1 < corners.size(); ++i) {
            std::array<uint32_t, 3> tri{corners[0], corners[i], corners[i + 1]};
            const Vec3 e = Cross(Sub(positions[tri[1]], positions[tri[0]]), Sub(positions[tri[2]], positions[tri[0]]));
            if (Dot(e, n) < 0.0f) std::swap(tri[1], tri[2]);
            faces.push_back({tri, normal});
        }
    }
};

// A box from lo to hi, its faces split by axis.
Mesh Box(const std::string& name, const Vec3& lo, const Vec3& hi) {
    Mesh mesh;
    mesh.name = name;
    for (uint32_t i = 0; i < 8; ++i)
        mesh.positions.push_back({(i & 1) ? hi[0] : lo[0], (i & 2) ? hi[1] : lo[1], (i & 4) ? hi[2] : lo[2]});
    for (uint32_t axis = 0; axis < 3; ++axis) {
        const uint32_t bit = 1u << axis;
        for (uint32_t side = 0; side < 2; ++side) {
            std::vector<uint32_t> quad;
            for (uint32_t i = 0; i < 8; ++i)
                if (((i & bit) != 0) == (side == 1)) quad.push_back(i);
            // Corners of a face in cyclic order: 0, 1, 3, 2 of the four that share the side.
            std::vector<uint32_t> cyclic{quad[0], quad[1], quad[3], quad[2]};
            Vec3 outward{0, 0, 0};
            outward[axis] = side ? 1.0f : -1.0f;
            mesh.AddPolygon(cyclic, outward);
        }
    }
    return mesh;
}

// A square pyramid standing on the z = 0 plane.
Mesh Pyramid(const std::string& name, const Vec3& centre, float half, float height) {
    Mesh mesh;
    mesh.name = name;
    const float x = centre[0], y = centre[1], z = centre[2];
    mesh.positions = {{x - half, y - half, z},
                      {x + half, y - half, z},
                      {x + half, y + half, z},
                      {x - half, y + half, z},
                      {x, y, z + height}};
    mesh.AddPolygon({0, 1, 2, 3}, {0, 0, -1});
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t a = i, b = (i + 1) % 4;
        const Vec3 mid{(mesh.positions[a][0] + mesh.positions[b][0]) / 2 - x,
                       (mesh.positions[a][1] + mesh.positions[b][1]) / 2 - y, 0.0f};
        // Outward: away from the axis and up by the slope of the side.
        const Vec3 outward{mid[0] * height, mid[1] * height, half * half};
        mesh.AddPolygon({a, b, 4}, outward);
    }
    return mesh;
}

Bytes MeshDeclarationData(const Mesh& mesh) {
    BitStreamWriter w;
    w.WriteString(mesh.name);
    w.WriteU32(0);  // chain index
    const uint32_t positions = static_cast<uint32_t>(mesh.positions.size());
    // Mesh attributes (normals present), faces, positions, normals, diffuse, specular,
    // texture coordinates, shading descriptions.
    for (uint32_t v : {0u, static_cast<uint32_t>(mesh.faces.size()), positions,
                       static_cast<uint32_t>(mesh.normals.size()), 0u, 0u, 0u, 1u})
        w.WriteU32(v);
    // One shading description: no colours, no texture layers, original shading id 0.
    for (uint32_t v : {0u, 0u, 0u}) w.WriteU32(v);
    // The base mesh is the whole mesh: minimum and maximum resolution agree.
    w.WriteU32(positions);
    w.WriteU32(positions);
    for (int i = 0; i < 3; ++i) w.WriteU32(1000);                  // quality factors
    for (float f : {1.0f, 1.0f, 1.0f, 1.0f, 1.0f}) w.WriteF32(f);  // inverse quantisation
    for (float f : {0.9f, 0.5f, 0.985f}) w.WriteF32(f);            // crease, update, tolerance
    w.WriteU32(0);                                                 // bones
    return w.Finish();
}

Bytes BaseMeshData(const Mesh& mesh) {
    BitStreamWriter w;
    w.WriteString(mesh.name);
    w.WriteU32(0);
    const uint32_t positions = static_cast<uint32_t>(mesh.positions.size());
    const uint32_t normals = static_cast<uint32_t>(mesh.normals.size());
    for (uint32_t v : {static_cast<uint32_t>(mesh.faces.size()), positions, normals, 0u, 0u, 0u}) w.WriteU32(v);
    for (const Vec3& p : mesh.positions)
        for (float c : p) w.WriteF32(c);
    for (const Vec3& n : mesh.normals)
        for (float c : n) w.WriteF32(c);
    for (const Mesh::Face& face : mesh.faces) {
        w.WriteCompressedU32(kShadingContext, 0);
        for (uint32_t corner : face.corners) {
            w.WriteCompressedU32(kStaticFull + positions, corner);
            w.WriteCompressedU32(kStaticFull + normals, face.normal);
        }
    }
    return w.Finish();
}

void WriteParents(BitStreamWriter& w, const std::vector<ParentEntry>& parents) {
    w.WriteU32(static_cast<uint32_t>(parents.size()));
    for (const ParentEntry& p : parents) {
        w.WriteString(p.name);
        for (float v : p.transform) w.WriteF32(v);
    }
}

// A modifier chain around already framed blocks. Chain type 0 node, 1 model resource.
Bytes ChainData(const std::string& name, uint32_t chainType, const std::vector<Bytes>& framed) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(chainType);
    w.WriteU32(0);  // no bounds
    // The modifier count starts on a 4-byte boundary: 2 bytes of length, the name, 8 bytes.
    const size_t padding = (4 - (2 + name.size()) % 4) % 4;
    for (size_t i = 0; i < padding; ++i) w.WriteU8(0);
    w.WriteU32(static_cast<uint32_t>(framed.size()));
    for (const Bytes& block : framed) w.WriteBytes(block.data(), block.size());
    return w.Finish();
}

Bytes ModelNodeData(const std::string& name, const std::string& resource, const std::vector<ParentEntry>& parents) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    w.WriteString(resource);
    w.WriteU32(3);  // front and back visible
    return w.Finish();
}

Bytes ShadingModifierData(const std::string& node, const std::string& shader) {
    BitStreamWriter w;
    w.WriteString(node);
    w.WriteU32(1);    // chain index: after the node
    w.WriteU32(0xF);  // meshes, lines, points, glyphs
    w.WriteU32(1);    // shader lists
    w.WriteU32(1);    // shaders in the list
    w.WriteString(shader);
    return w.Finish();
}

Bytes LitShaderData(const std::string& name, const std::string& material) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(1);      // lighting on
    w.WriteF32(0.0f);   // alpha test reference
    w.WriteU32(0x617);  // alpha test: always
    w.WriteU32(0x606);  // colour blend: multiply
    w.WriteU32(1);      // render pass 0
    w.WriteU32(0);      // no texture channels
    w.WriteU32(0);      // no alpha texture channels
    w.WriteString(material);
    return w.Finish();
}

Bytes MaterialData(const std::string& name, const Vec3& diffuse) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(0x3F);  // every colour, reflectivity and opacity present
    const Vec3 ambient{diffuse[0] * 0.25f, diffuse[1] * 0.25f, diffuse[2] * 0.25f};
    for (const Vec3& c : {ambient, diffuse, Vec3{0.4f, 0.4f, 0.4f}, Vec3{0.0f, 0.0f, 0.0f}})
        for (float v : c) w.WriteF32(v);
    w.WriteF32(0.3f);  // reflectivity
    w.WriteF32(1.0f);  // opacity
    return w.Finish();
}

Bytes LightResourceData(const std::string& name, uint8_t type, const Vec3& color, float intensity) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(1);  // enabled
    w.WriteU8(type);
    for (float v : color) w.WriteF32(v);
    w.WriteF32(1.0f);
    for (float v : {1.0f, 0.0f, 0.0f}) w.WriteF32(v);  // attenuation
    w.WriteF32(180.0f);                                // spot angle
    w.WriteF32(intensity);
    return w.Finish();
}

Bytes LightNodeData(const std::string& name, const std::string& resource, const std::vector<ParentEntry>& parents) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    w.WriteString(resource);
    return w.Finish();
}

Bytes ViewNodeData(const std::string& name, const std::string& resource, const std::vector<ParentEntry>& parents,
                   float fieldOfView) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    w.WriteString(resource);
    w.WriteU32(0);  // perspective, position in pixels
    w.WriteF32(1.0f);
    w.WriteF32(1000.0f);
    w.WriteF32(fieldOfView);
    for (float v : {640.0f, 480.0f, 0.0f, 0.0f}) w.WriteF32(v);  // viewport
    w.WriteU32(0);                                               // backdrops
    w.WriteU32(0);                                               // overlays
    return w.Finish();
}

Bytes ViewResourceData(const std::string& name) {
    BitStreamWriter w;
    w.WriteString(name);
    w.WriteU32(1);                                                          // passes
    w.WriteString("");                                                      // root node: the world
    w.WriteU32(0);                                                          // render attributes
    w.WriteU32(0);                                                          // fog mode
    for (float v : {0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 1000.0f}) w.WriteF32(v);  // fog colour, near, far
    return w.Finish();
}

// A camera-to-world matrix (column major) for an eye looking at a target, z up.
ParentEntry LookAt(const Vec3& eye, const Vec3& target, const Vec3& up) {
    const Vec3 back = Normalize(Sub(eye, target));  // the camera looks along its -z
    const Vec3 right = Normalize(Cross(up, back));
    const Vec3 trueUp = Cross(back, right);
    ParentEntry entry;
    entry.name = "";
    const float m[16] = {right[0], right[1], right[2], 0, trueUp[0], trueUp[1], trueUp[2], 0,
                         back[0],  back[1],  back[2],  0, eye[0],    eye[1],    eye[2],    1};
    for (int i = 0; i < 16; ++i) entry.transform[i] = m[i];
    return entry;
}

Bytes HeaderData(uint32_t declarationSize, uint64_t fileSize) {
    BitStreamWriter w;
    w.WriteI16(0);
    w.WriteI16(0);
    w.WriteU32(0);  // base profile
    w.WriteU32(declarationSize);
    w.WriteU64(fileSize);
    w.WriteU32(106);  // character encoding: UTF-8
    return w.Finish();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_sample_scene OUT.u3d\n");
        return 2;
    }

    struct Shape {
        Mesh mesh;
        std::string node;
        Vec3 colour;
    };
    std::vector<Shape> shapes;
    shapes.push_back({Box("CubeMesh", {-2.6f, -1.0f, 0.0f}, {-0.6f, 1.0f, 2.0f}), "Cube", {0.85f, 0.15f, 0.1f}});
    shapes.push_back({Pyramid("PyramidMesh", {1.6f, 0.0f, 0.0f}, 1.1f, 2.4f), "Pyramid", {0.1f, 0.3f, 0.9f}});
    shapes.push_back({Box("SlabMesh", {-4.0f, -2.5f, -0.3f}, {4.0f, 2.5f, 0.0f}), "Slab", {0.6f, 0.6f, 0.55f}});

    const std::vector<ParentEntry> world{ParentEntry{}};
    std::vector<Bytes> declarations, continuations;
    for (const Shape& shape : shapes) {
        declarations.push_back(FrameBlock(
            kModifierChain,
            ChainData(shape.node, 0,
                      {FrameBlock(kModelNode, ModelNodeData(shape.node, shape.mesh.name, world)),
                       FrameBlock(kShadingModifier, ShadingModifierData(shape.node, shape.node + "Shader"))})));
        declarations.push_back(
            FrameBlock(kModifierChain,
                       ChainData(shape.mesh.name, 1, {FrameBlock(kMeshDeclaration, MeshDeclarationData(shape.mesh))})));
        declarations.push_back(
            FrameBlock(kLitTextureShader, LitShaderData(shape.node + "Shader", shape.node + "Material")));
        declarations.push_back(FrameBlock(kMaterialResource, MaterialData(shape.node + "Material", shape.colour)));
        continuations.push_back(FrameBlock(kBaseMesh, BaseMeshData(shape.mesh)));
    }

    // Key light from the upper front left. A directional light travels along its node's z
    // axis, so the node "looks" from the far side of the scene back towards the light.
    declarations.push_back(FrameBlock(kLightResource, LightResourceData("KeyLight", 1, {1.0f, 0.97f, 0.9f}, 1.0f)));
    declarations.push_back(FrameBlock(
        kModifierChain,
        ChainData(
            "Key", 0,
            {FrameBlock(kLightNode, LightNodeData("Key", "KeyLight", {LookAt({3, 5, -8}, {0, 0, 0}, {0, 0, 1})}))})));
    declarations.push_back(FrameBlock(kLightResource, LightResourceData("FillLight", 0, {0.35f, 0.35f, 0.4f}, 1.0f)));
    declarations.push_back(FrameBlock(
        kModifierChain, ChainData("Fill", 0, {FrameBlock(kLightNode, LightNodeData("Fill", "FillLight", world))})));

    declarations.push_back(FrameBlock(kViewResource, ViewResourceData("SampleView")));
    declarations.push_back(FrameBlock(
        kModifierChain,
        ChainData("Front", 0,
                  {FrameBlock(kViewNode, ViewNodeData("Front", "SampleView",
                                                      {LookAt({3, -11, 6}, {0, 0, 0.8f}, {0, 0, 1})}, 34.0f))})));
    declarations.push_back(FrameBlock(
        kModifierChain,
        ChainData("Top", 0,
                  {FrameBlock(kViewNode, ViewNodeData("Top", "SampleView",
                                                      {LookAt({0, -0.01f, 14}, {0, 0, 0}, {0, 1, 0})}, 40.0f))})));

    size_t declarationBytes = 0, continuationBytes = 0;
    for (const Bytes& b : declarations) declarationBytes += b.size();
    for (const Bytes& b : continuations) continuationBytes += b.size();
    const size_t headerBytes = FrameBlock(0x00443355, HeaderData(0, 0)).size();

    U3DFileWriter file = U3DFileWriter::Headless();
    file.AddBlock(0x00443355, HeaderData(static_cast<uint32_t>(headerBytes + declarationBytes),
                                         headerBytes + declarationBytes + continuationBytes));
    for (const Bytes& b : declarations) file.AddRaw(b);
    for (const Bytes& b : continuations) file.AddRaw(b);
    if (!file.WriteTo(argv[1])) {
        std::fprintf(stderr, "make_sample_scene: cannot write '%s'\n", argv[1]);
        return 1;
    }
    std::printf("%s: %zu bytes\n", argv[1], file.Bytes().size());
    return 0;
}
