#include "u3d/AuthorMesh.h"

#include <new>

#include "u3d/BlockBase.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
uint32_t KindOfBlock(uint32_t blockKind) {
    switch (blockKind) {
        case BlockType::CLODMeshDeclaration: return MeshKind::CLOD;
        case BlockType::PointSetDeclaration: return MeshKind::PointSet;
        case BlockType::LineSetDeclaration: return MeshKind::LineSet;
        case BlockType::NewObjectType: return MeshKind::RHCompressed;
        default: return 0;
    }
}
}  // namespace

std::shared_ptr<AuthorMesh> AuthorMesh::Create(const std::shared_ptr<AuthorMeshData>& data) {
    const uint32_t kind = data ? KindOfBlock(data->blockKind) : 0;
    if (kind == 0) {
        Logger::Log(LogLevel::Error, "Invalid blockType AuthorMesh::Create()");
        return nullptr;
    }
    std::shared_ptr<AuthorMesh> mesh;
    try {
        mesh.reset(new AuthorMesh());
        mesh->meshKind = kind;
        mesh->declaration = data;
        mesh->continuation = data->CreateContinuationData();
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorMesh::Create() - OUT OF MEMORY!");
        return nullptr;
    }
    if (!mesh->Init()) return nullptr;
    return mesh;
}

bool AuthorMesh::Init() {
    if (!declaration || !continuation) {
        Logger::Log(LogLevel::Error, "AuthorMesh::Init() - invalid declaration/continuation data");
        return false;
    }
    if (!adjacencySet.Init(this)) {
        Logger::Log(LogLevel::Error, "AuthorMesh::Create() - failed to initialize AdjacencySet");
        return false;
    }
    name = declaration->meshName;
    // Each family reserves what its declaration promises (capped); RH meshes fill their
    // arrays in one go and reserve nothing here.
    if (meshKind != MeshKind::RHCompressed && !continuation->Prepare(*declaration)) {
        Logger::Log(LogLevel::Error, "AuthorMesh::Init() - OUT OF MEMORY!");
        return false;
    }
    return true;
}

}  // namespace Velmora::U3D
