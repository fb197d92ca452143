#pragma once
// Scenes built from code for the scene and view tests: boxes and spheres as GPU meshes, models
// over them, a scene registry fixture that releases whatever a test made, and a capture view
// (a hidden capture window plus a RenderView) with pixel helpers over its read-back.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "GLTestEnvironment.h"
#include "host/windowing/CaptureWindow.h"
#include "rendering/Mesh.h"
#include "rendering/Model.h"
#include "rendering/OpenGLContext.h"
#include "rendering/RenderView.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "support/LogCapture.h"

namespace kestrum_test::scene {

using namespace Velmora::Rendering;

// Rows of position, normal and diffuse colour.
constexpr uint32_t kLitAttributes = VertexAttribute::Position | VertexAttribute::Normal | VertexAttribute::Diffuse;
constexpr uint32_t kRowFloats = 10;

inline void PutRow(std::vector<float>& rows, const Vec3& p, const Vec3& n, const Vec4& c) {
    rows.insert(rows.end(), {p[0], p[1], p[2], n[0], n[1], n[2], c[0], c[1], c[2], c[3]});
}

inline std::shared_ptr<Mesh> UploadMesh(SceneHandle handle, const std::string& name, const std::vector<float>& rows,
                                        const std::vector<uint32_t>& indices) {
    MeshCreationInfo info;
    info.name = name;
    info.primitiveType = PrimitiveType::Triangles;
    MeshSubObjectData sub;
    sub.attributes = kLitAttributes;
    sub.vertices = DataBuffer<float>::Create(uint32_t(rows.size() / kRowFloats), kRowFloats, rows.data());
    if (!indices.empty()) sub.indices = DataBuffer<uint32_t>::Create(uint32_t(indices.size()), 1, indices.data());
    info.subObjects.push_back(sub);
    auto mesh = Mesh::Create(info);
    auto scene = SceneManager::Instance().GetScene(handle);
    if (mesh && scene) scene->GetResources().meshManager.AddMesh(name, mesh);
    return mesh;
}

// An axis-aligned box, counter-clockwise seen from outside. faceColors: +x, -x, +y, -y, +z, -z.
inline std::shared_ptr<Mesh> MakeBox(SceneHandle handle, const std::string& name, const Vec3& lo, const Vec3& hi,
                                     const std::vector<Vec4>& faceColors) {
    std::vector<float> rows;
    const Vec3 c{(lo[0] + hi[0]) * 0.5f, (lo[1] + hi[1]) * 0.5f, (lo[2] + hi[2]) * 0.5f};
    const Vec3 h{(hi[0] - lo[0]) * 0.5f, (hi[1] - lo[1]) * 0.5f, (hi[2] - lo[2]) * 0.5f};
    // Normal axis, then the two in-plane axes with u x v = +normal.
    const int axes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}};
    for (int f = 0; f < 6; ++f) {
        const int a = axes[f][0], u = axes[f][1], v = axes[f][2];
        const float sign = (f % 2 == 0) ? 1.0f : -1.0f;
        Vec3 n{0, 0, 0};
        n[a] = sign;
        auto corner = [&](float su, float sv) {
            Vec3 p = c;
            p[a] += sign * h[a];
            p[u] += su * h[u];
            p[v] += sv * h[v];
            return p;
        };
        const Vec3 q[4] = {corner(-1, -1), corner(1, -1), corner(1, 1), corner(-1, 1)};
        const Vec4 color = faceColors[size_t(f) % faceColors.size()];
        for (int k : {0, 1, 2, 0, 2, 3}) PutRow(rows, q[k], n, color);
    }
    return UploadMesh(handle, name, rows, {});
}

// A UV sphere around the origin, indexed, about 2 * rings * segments triangles.
inline std::shared_ptr<Mesh> MakeSphere(SceneHandle handle, const std::string& name, float radius, uint32_t rings,
                                        uint32_t segments, const Vec4& color) {
    std::vector<float> rows;
    rows.reserve(size_t(rings + 1) * (segments + 1) * kRowFloats);
    const float pi = 3.14159265358979f;
    for (uint32_t i = 0; i <= rings; ++i) {
        const float theta = pi * float(i) / float(rings);
        for (uint32_t j = 0; j <= segments; ++j) {
            const float phi = 2.0f * pi * float(j) / float(segments);
            const Vec3 n{std::sin(theta) * std::cos(phi), std::cos(theta), std::sin(theta) * std::sin(phi)};
            PutRow(rows, {n[0] * radius, n[1] * radius, n[2] * radius}, n, color);
        }
    }
    std::vector<uint32_t> indices;
    indices.reserve(size_t(rings) * segments * 6);
    const uint32_t stride = segments + 1;
    for (uint32_t i = 0; i < rings; ++i) {
        for (uint32_t j = 0; j < segments; ++j) {
            const uint32_t a = i * stride + j, b = a + stride, c = b + 1, d = a + 1;
            // Seen from outside (theta down, phi round) a, d, c and a, c, b run counter-clockwise.
            indices.insert(indices.end(), {a, d, c, a, c, b});
        }
    }
    return UploadMesh(handle, name, rows, indices);
}

inline ShaderDescription Description(uint32_t flags) {
    ShaderDescription d;
    d.vertexAttributes = kLitAttributes;
    d.flags = flags;
    d.blendMode = 3;
    return d;
}

inline std::shared_ptr<Model> MakeModel(SceneHandle handle, const std::string& name, std::shared_ptr<Mesh> mesh,
                                        uint32_t flags = ShaderFlags::FrontFaces) {
    ModelCreationInfo info;
    info.name = name;
    info.mesh = std::move(mesh);
    info.shaderDescriptions.push_back(Description(flags));
    return Model::Create(handle, info);
}

inline const std::vector<Vec4>& FaceColors() {
    static const std::vector<Vec4> colors = {{1, 0, 0, 1}, {0, 1, 1, 1}, {0, 1, 0, 1},
                                             {1, 0, 1, 1}, {0, 0, 1, 1}, {1, 1, 0, 1}};
    return colors;
}

// A read-back picture: BGRA, bottom row first, as ReadFramebuffer gives it unflipped.
struct Picture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> bgra;

    // Red, green, blue at column x, row y counted from the top.
    std::array<int, 3> At(uint32_t x, uint32_t y) const {
        const uint8_t* p = bgra.data() + (size_t(height - 1 - y) * width + x) * 4;
        return {p[2], p[1], p[0]};
    }
    bool IsBackground(uint32_t x, uint32_t y, const std::array<int, 3>& bg) const { return At(x, y) == bg; }

    // Bounding rectangle of the pixels that differ from bg: left, top, right, bottom (inclusive);
    // all -1 when there are none.
    std::array<int, 4> Extent(const std::array<int, 3>& bg) const {
        std::array<int, 4> r{-1, -1, -1, -1};
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                if (IsBackground(x, y, bg)) continue;
                if (r[0] < 0 || int(x) < r[0]) r[0] = int(x);
                if (r[1] < 0) r[1] = int(y);
                r[2] = std::max(r[2], int(x));
                r[3] = int(y);
            }
        }
        return r;
    }
    // Mean of one channel (0 red, 1 green, 2 blue) over the pixels that differ from bg.
    double Mean(int channel, const std::array<int, 3>& bg) const {
        double sum = 0;
        size_t n = 0;
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                auto c = At(x, y);
                if (c == bg) continue;
                sum += c[size_t(channel)];
                ++n;
            }
        return n ? sum / double(n) : 0.0;
    }
    size_t CountDifferent(const Picture& other, int tolerance) const {
        size_t n = 0;
        for (size_t i = 0; i < bgra.size() && i < other.bgra.size(); ++i)
            if (std::abs(int(bgra[i]) - int(other.bgra[i])) > tolerance) ++n;
        return n;
    }
};

// A hidden capture window and a view on it; the view is unlinked and the window released on
// destruction, with the view's drawable current.
class CaptureView {
public:
    CaptureView(const std::string& name, uint32_t width, uint32_t height) {
        window_ = std::make_unique<Velmora::Windowing::CaptureWindow>();
        if (!window_->Create({0, int32_t(width), int32_t(height)})) return;
        RenderViewCreationInfo info;
        info.name = name;
        info.window = window_->GetHandle();
        info.width = width;
        info.height = height;
        view_ = RenderView::Create(info);
    }
    ~CaptureView() {
        if (view_) {
            OpenGLContext::Instance().Activate(view_->GetDC());
            SceneManager::Instance().UnlinkSceneFromRenderView(view_.get());
            view_.reset();
        }
        window_.reset();
        kestrum_test::EnsureGLContext();
    }
    RenderView* operator->() const { return view_.get(); }
    RenderView* get() const { return view_.get(); }
    explicit operator bool() const { return view_ != nullptr; }

    bool Capture(Picture& picture) {
        uint32_t size = 0;
        picture.width = view_->GetWidth();
        picture.height = view_->GetHeight();
        return view_->RenderToMemory(picture.bgra, size, false) && size == picture.bgra.size();
    }

private:
    std::unique_ptr<Velmora::Windowing::CaptureWindow> window_;
    std::shared_ptr<RenderView> view_;
};

// Captures the log at full verbosity and releases every scene a test left behind.
class SceneTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        SceneManager::Instance();  // installs the scene lookups
        log_ = std::make_unique<Velmora::Test::LogCapture>();
    }
    void TearDown() override {
        kestrum_test::EnsureGLContext();
        for (SceneHandle handle : created_) SceneManager::Instance().ReleaseScene(handle);
        // Whatever a test did, it leaves no GL error behind for the next one.
        EXPECT_EQ(kestrum_test::TakeGLError(), "");
        log_.reset();
    }

    SceneHandle NewScene() {
        SceneHandle handle = SceneManager::Instance().CreateScene();
        if (handle != 0) created_.push_back(handle);
        return handle;
    }

    // One box of the given corners under a group root, initialised without helpers in sight.
    SceneHandle BoxScene(const Vec3& lo, const Vec3& hi, bool helpers = false) {
        SceneHandle handle = NewScene();
        if (handle == 0) return 0;
        auto root = InvisibleModel::Create(handle, "___TEST_ROOT");
        auto box = MakeModel(handle, "box", MakeBox(handle, "boxMesh", lo, hi, FaceColors()));
        if (!root || !box || !root->AddChild(box, "")) return 0;
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = helpers;
        info.gridVisible = helpers;
        return SceneManager::Instance().GetScene(handle)->Init(info) ? handle : 0;
    }

    std::shared_ptr<SceneGraph> Scene(SceneHandle handle) { return SceneManager::Instance().GetScene(handle); }

    std::unique_ptr<Velmora::Test::LogCapture> log_;
    std::vector<SceneHandle> created_;
};

inline constexpr std::array<int, 3> kBlack{0, 0, 0};

}  // namespace kestrum_test::scene
