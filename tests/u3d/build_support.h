#pragma once
// Helpers of the scene-building tests: a current GL context on the test thread (the renderer
// starts headless on first use), hand-made CLOD author meshes, and walks over built scenes.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "u3d/AuthorMesh.h"
#include "u3d/CLODMeshData.h"

namespace Velmora::U3D::Test {

inline bool EnsureBuildContext() {
    Rendering::Renderer& renderer = Rendering::Renderer::Instance();
    if (!renderer.IsInitialized()) {
        Rendering::RendererCreationInfo info;
        info.verticalSync = false;
        if (!renderer.Init(info)) return false;
    }
    Rendering::OpenGLContext& context = Rendering::OpenGLContext::Instance();
    if (!context.CurrentDC()) return context.Activate(context.SharedDC());
    return true;
}

inline std::string TestFile(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/u3d/" + name; }

// A CLOD mesh whose positions are given, with one shading description per entry of `layers`
// (its tex coord layer count). Faces are added with AddFace (which bypasses the reader's
// adjacency bookkeeping: only the face records matter to the builder).
struct MeshMaker {
    std::shared_ptr<CLODMeshData> decl = std::make_shared<CLODMeshData>();
    std::shared_ptr<AuthorMesh> mesh;

    MeshMaker(const std::string& name, uint32_t faceCount, std::vector<uint32_t> layers = {0}) {
        decl->blockKind = 0xFFFFFF31;
        decl->meshName = name;
        decl->faceCount = faceCount;
        decl->shadingCount = uint32_t(layers.size());
        for (uint32_t n : layers) {
            ShadingDescription shading;
            shading.layerCount = n;
            decl->shadingDescriptions.push_back(shading);
        }
        decl->meshAttributes = CLODMeshData::kNoNormals;
    }
    CLODMeshContinuationData& Data() {
        if (!mesh) mesh = AuthorMesh::Create(decl);
        return *mesh->ContinuationAs<CLODMeshContinuationData>();
    }
    void AddFace(uint32_t a, uint32_t b, uint32_t c, uint32_t shadingId = 0) {
        CLODFace face;
        face.positions = {a, b, c};
        face.normals = {a, b, c};
        face.shadingId = shadingId;
        CLODFaceAttributes attributes;
        attributes.diffuse = {a, b, c};
        attributes.texCoords[0] = {a, b, c};
        attributes.texCoords[1] = {c, b, a};
        Data().AddFace(face, &attributes);
    }
};

// Calls fn for every model of the subtree below `model` (not the model itself).
inline void ForEachModel(const Rendering::Model& model, const std::function<void(const Rendering::Model&)>& fn) {
    for (const auto& [name, child] : model.GetChildren()) {
        fn(*child);
        ForEachModel(*child, fn);
    }
}

// The document's meshes of a scene (the renderer's helper meshes, named "___...", left out)
// and their triangles.
struct DocumentMeshes {
    size_t meshes = 0;
    uint64_t triangles = 0;
};
inline DocumentMeshes CountDocumentMeshes(const Rendering::SceneGraph& scene) {
    DocumentMeshes counts;
    for (const auto& [name, mesh] : scene.GetResources().meshManager.GetMeshes()) {
        if (name.rfind("___", 0) == 0) continue;
        ++counts.meshes;
        if (mesh->GetPrimitiveType() != Rendering::PrimitiveType::Triangles) continue;
        for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i)
            counts.triangles += mesh->GetDrawInfo(i)->primitiveCount;
    }
    return counts;
}

// Releases a scene when the test ends, whatever happens.
struct SceneGuard {
    uint32_t handle = 0;
    explicit SceneGuard(uint32_t h) : handle(h) {}
    ~SceneGuard() {
        if (handle) Rendering::SceneManager::Instance().ReleaseScene(handle);
    }
    std::shared_ptr<Rendering::SceneGraph> Scene() const {
        return Rendering::SceneManager::Instance().GetScene(handle);
    }
};

}  // namespace Velmora::U3D::Test
