// Point lights shine from where the scene shows them, wherever the scene is moved to; a plane
// seen from the side away from its light shows only its own emissive colour.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "format/AuthoringPool.h"
#include "host/windowing/CaptureWindow.h"
#include "rendering/RenderView.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3dwriter/U3DWriter.h"

namespace {

using namespace Velmora;
using Rendering::Vec3;
using U3DWriter::BitStreamWriter;
using U3DWriter::FrameBlock;
using Bytes = std::vector<uint8_t>;

constexpr float kSide = 10.0f;  // the plane's side
constexpr float kLightHeight = 1.0f;
constexpr float kLightInsetX = 2.0f;  // from the corner; unequal, so that a mirrored picture shows
constexpr float kLightInsetY = 3.0f;
constexpr uint32_t kPictureSize = 160;
// Block types.
constexpr uint32_t kModifierChain = 0xFFFFFF14;
constexpr uint32_t kModelNode = 0xFFFFFF22;
constexpr uint32_t kLightNode = 0xFFFFFF23;
constexpr uint32_t kMeshDeclaration = 0xFFFFFF31;
constexpr uint32_t kBaseMesh = 0xFFFFFF3B;
constexpr uint32_t kShadingModifier = 0xFFFFFF45;
constexpr uint32_t kLightResource = 0xFFFFFF51;
constexpr uint32_t kLitShader = 0xFFFFFF53;
constexpr uint32_t kMaterial = 0xFFFFFF54;
// Static contexts hold (context - kStaticBase) equally likely symbols.
constexpr uint32_t kStaticBase = 1024;
constexpr uint32_t kShadingContext = 1;
constexpr uint8_t kPointLight = 2;

Bytes Framed(uint32_t type, const std::function<void(BitStreamWriter&)>& body) {
    BitStreamWriter w;
    body(w);
    return FrameBlock(type, w.Finish());
}

// A modifier chain (0 node, 1 resource) around framed blocks.
Bytes Chain(const std::string& name, uint32_t kind, const std::vector<Bytes>& blocks) {
    return Framed(kModifierChain, [&](BitStreamWriter& w) {
        w.WriteString(name);
        w.WriteU32(kind);
        w.WriteU32(0);  // no bounds
        for (size_t i = 0; i < (4 - (2 + name.size()) % 4) % 4; ++i) w.WriteU8(0);
        w.WriteU32(uint32_t(blocks.size()));
        for (const Bytes& b : blocks) w.WriteBytes(b.data(), b.size());
    });
}

// A node's one parent: the world, with the node moved to `at`.
std::vector<U3DWriter::ParentEntry> WorldAt(const Vec3& at) {
    U3DWriter::ParentEntry world;
    std::copy(at.begin(), at.end(), world.transform + 12);
    return {world};
}

// A grey square plane at z = 0 facing +z, lit by one white point light with quadratic fall-off
// (a sharp peak under it); everything moved by `offset`.
Bytes LitPlaneScene(const Vec3& offset) {
    const Vec3 light{offset[0] + kLightInsetX, offset[1] + kLightInsetY, offset[2] + kLightHeight};
    Bytes mesh = Framed(kMeshDeclaration, [](BitStreamWriter& w) {
        w.WriteString("PlaneMesh");
        for (uint32_t v : {0u, 0u, 2u, 4u, 1u, 0u, 0u, 0u, 1u, 0u, 0u, 0u, 4u, 4u, 1000u, 1000u, 1000u})
            w.WriteU32(v);  // chain, attributes, faces, positions, normals, colours, layers, shading
        for (float f : {1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 0.9f, 0.5f, 0.985f}) w.WriteF32(f);
        w.WriteU32(0);  // bones
    });
    Bytes shading = Framed(kShadingModifier, [](BitStreamWriter& w) {
        w.WriteString("Plane");
        for (uint32_t v : {1u, 0xFu, 1u, 1u}) w.WriteU32(v);
        w.WriteString("PlaneShader");
    });
    std::vector<Bytes> blocks{
        Chain("Plane", 0,
              {FrameBlock(kModelNode, U3DWriter::ModelNodeBlock("Plane", WorldAt(offset), "PlaneMesh")), shading}),
        Chain("PlaneMesh", 1, {mesh}),
        Framed(kLitShader,
               [](BitStreamWriter& w) {
                   w.WriteString("PlaneShader");
                   w.WriteU32(1);
                   w.WriteF32(0.0f);
                   for (uint32_t v : {0x617u, 0x606u, 1u, 0u, 0u}) w.WriteU32(v);
                   w.WriteString("Grey");
               }),
        Framed(kMaterial,
               [](BitStreamWriter& w) {
                   w.WriteString("Grey");
                   w.WriteU32(0x3F);
                   for (float v : {0.0f, 0.0f, 0.0f, 0.8f, 0.8f, 0.8f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f})
                       w.WriteF32(v);  // ambient, diffuse, specular, emissive, reflectivity, opacity
               }),
        Framed(kLightResource,
               [](BitStreamWriter& w) {
                   w.WriteString("Bulb");
                   w.WriteU32(1);
                   w.WriteU8(kPointLight);
                   for (float v : {1.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f, 1.0f, 180.0f, 1.0f}) w.WriteF32(v);
               }),
        Chain("Lamp", 0, {FrameBlock(kLightNode, U3DWriter::LightNodeBlock("Lamp", WorldAt(light), "Bulb"))}),
        Framed(kBaseMesh, [&](BitStreamWriter& w) {
            w.WriteString("PlaneMesh");
            for (uint32_t v : {0u, 2u, 4u, 1u, 0u, 0u, 0u}) w.WriteU32(v);
            for (float v : {0.0f, 0.0f, 0.0f, kSide, 0.0f, 0.0f, kSide, kSide, 0.0f, 0.0f, kSide, 0.0f}) w.WriteF32(v);
            for (float v : {0.0f, 0.0f, 1.0f}) w.WriteF32(v);
            for (const std::array<uint32_t, 3>& face : {std::array<uint32_t, 3>{0, 1, 2}, {0, 2, 3}}) {
                w.WriteCompressedU32(kShadingContext, 0);
                for (uint32_t corner : face) {
                    w.WriteCompressedU32(kStaticBase + 4, corner);
                    w.WriteCompressedU32(kStaticBase + 1, 0);
                }
            }
        })};
    U3DWriter::U3DFileWriter file;
    for (const Bytes& b : blocks) file.AddRaw(b);
    return file.Bytes();
}

struct Measured {
    std::array<float, 2> marker{-1.0f, -1.0f};  // the marker's projection, in pixels
    std::array<float, 2> brightest{-1.0f, -1.0f};
    int peak = 0;
};

// Pixel of a world point through the camera, x to the right and y up from the bottom row.
std::array<float, 2> Project(const Rendering::SceneCamera& camera, const Vec3& p) {
    const auto& v = camera.GetViewMatrix();
    const auto& pr = camera.GetProjectionMatrix();
    float eye[4], clip[4];
    for (int r = 0; r < 4; ++r) eye[r] = v[r] * p[0] + v[4 + r] * p[1] + v[8 + r] * p[2] + v[12 + r];
    for (int r = 0; r < 4; ++r)
        clip[r] = pr[r] * eye[0] + pr[4 + r] * eye[1] + pr[8 + r] * eye[2] + pr[12 + r] * eye[3];
    return {(clip[0] / clip[3] + 1.0f) * 0.5f * kPictureSize, (clip[1] / clip[3] + 1.0f) * 0.5f * kPictureSize};
}

// Captures the scene through its default camera; `markerName` names the light marker to
// project and `emissive` receives the emissive colour of the last material, both optional.
Measured CaptureScene(const Bytes& bytes, Bytes& pixels, const char* markerName,
                      std::array<float, 4>* emissive = nullptr) {
    Measured m;
    auto pool = FormatGlue::AuthoringPool::Create(new U3D::AuthoringPool_U3D(), nullptr, nullptr);
    uint32_t handle = 0;
    EXPECT_TRUE(pool && pool->LoadFromMemory(bytes.data(), uint32_t(bytes.size()), nullptr) &&
                pool->BuildSceneGraph(handle, nullptr));
    U3D::Test::SceneGuard guard(handle);
    auto scene = guard.Scene();
    auto marker = scene && markerName ? scene->FindLightModel(markerName) : nullptr;
    if (scene && emissive && !scene->GetResources().materialManager.GetMaterials().empty())
        *emissive = scene->GetResources().materialManager.GetMaterials().back().emissive;
    Windowing::CaptureWindow window;
    if (!scene || (markerName && !marker) || !window.Create({0, int32_t(kPictureSize), int32_t(kPictureSize)})) {
        ADD_FAILURE() << "no scene, marker or window";
        return m;
    }
    Rendering::RenderViewCreationInfo info;
    info.name = "lamp";
    info.window = window.GetHandle();
    info.width = info.height = kPictureSize;
    auto view = Rendering::RenderView::Create(info);
    uint32_t size = 0;
    if (view && Rendering::SceneManager::Instance().LinkSceneToRenderView(handle, view.get())) {
        view->Render(1000);
        EXPECT_TRUE(view->RenderToMemory(pixels, size, false));
        if (marker) {
            marker->UpdateWorldMatrix();  // a hidden marker is not brought up to date by drawing
            const auto& w = marker->GetWorldMatrix();
            m.marker = Project(view->GetCameraController().GetActiveCamera(), {w[12], w[13], w[14]});
        }
        Rendering::OpenGLContext::Instance().Activate(view->GetDC());
        Rendering::SceneManager::Instance().UnlinkSceneFromRenderView(view.get());
    }
    view.reset();
    EXPECT_TRUE(U3D::Test::EnsureBuildContext());
    return m;
}

Measured CaptureLitPlane(const Vec3& offset) {
    Bytes pixels;
    Measured m = CaptureScene(LitPlaneScene(offset), pixels, "Lamp_p0");
    // The middle of the brightest pixels: a flat peak spreads over a few of them.
    float sx = 0.0f, sy = 0.0f, n = 0.0f;
    for (size_t i = 0; i + 3 < pixels.size() && pixels.size() == size_t(kPictureSize) * kPictureSize * 4; i += 4) {
        const int b = pixels[i] + pixels[i + 1] + pixels[i + 2];
        if (b > m.peak) {
            m.peak = b;
            sx = sy = n = 0.0f;
        }
        if (b == m.peak) {
            sx += float(i / 4 % kPictureSize);
            sy += float(i / 4 / kPictureSize);
            n += 1.0f;
        }
    }
    if (n > 0.0f) m.brightest = {sx / n + 0.5f, sy / n + 0.5f};
    return m;
}

class LightPlacement : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(U3D::Test::EnsureBuildContext());
        FormatGlue::AuthoringInterrupt::Reset();
    }
};

TEST_F(LightPlacement, PointLightIsBrightestUnderItsMarkerWhereverTheSceneLies) {
    for (const Vec3& offset : {Vec3{40.0f, -25.0f, 15.0f}, Vec3{2040.0f, -3025.0f, 1015.0f}}) {
        SCOPED_TRACE(testing::Message() << offset[0] << ", " << offset[1] << ", " << offset[2]);
        const Measured m = CaptureLitPlane(offset);
        EXPECT_GT(m.peak, 3 * 100);
        EXPECT_NEAR(m.brightest[0], m.marker[0], 3.0f);
        EXPECT_NEAR(m.brightest[1], m.marker[1], 3.0f);
    }
}

// The plane lies above its own light: the side the camera sees is lit by nothing but itself.
TEST_F(LightPlacement, PlaneFacingAwayFromItsLightShowsOnlyItsEmissiveColour) {
    std::ifstream in(U3D::Test::TestFile("plane64x64.u3d"), std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    ASSERT_FALSE(bytes.empty());
    Bytes pixels;
    std::array<float, 4> emissive{-1.0f, -1.0f, -1.0f, -1.0f};
    CaptureScene(bytes, pixels, nullptr, &emissive);
    ASSERT_EQ(pixels.size(), size_t(kPictureSize) * kPictureSize * 4);
    // Four points of the plane, clear of the grid and axis lines through the middle.
    for (const uint32_t x : {kPictureSize / 2 - 25, kPictureSize / 2 + 25}) {
        for (const uint32_t y : {kPictureSize / 2 - 25, kPictureSize / 2 + 25}) {
            const size_t at = (size_t(y) * kPictureSize + x) * 4;  // blue, green, red, alpha
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(pixels[at + 2 - c], emissive[c] * 255.0f, 2.0f) << x << "," << y;
        }
    }
}

}  // namespace
