#pragma once
// The staging object of one U3D mesh: its declaration, the arrays its continuations fill,
// and for CLOD meshes the adjacency that the progressive updates consult.
//
// Lifecycle: declared (empty arrays), based, refined, built and erased; or removed after a
// read error, in which case nothing of it is built.

#include <cstdint>
#include <memory>
#include <string>

#include "u3d/AdjacencySet.h"
#include "u3d/AuthorMeshData.h"

namespace Velmora::U3D {

class AuthorMesh {
public:
    // Makes the continuation record of the family named by data->blockKind and initialises
    // the mesh; an empty handle (with a log line) for an unknown kind or a failed Init.
    static std::shared_ptr<AuthorMesh> Create(const std::shared_ptr<AuthorMeshData>& data);

    bool Init();

    // Typed access; null when the mesh is of another family.
    template <typename T>
    T* DeclarationAs() const {
        return dynamic_cast<T*>(declaration.get());
    }
    template <typename T>
    T* ContinuationAs() const {
        return dynamic_cast<T*>(continuation.get());
    }

    std::string name;
    uint32_t meshKind = 0;
    std::shared_ptr<AuthorMeshData> declaration;
    std::shared_ptr<AuthorMeshContinuationData> continuation;
    AdjacencySet adjacencySet;

private:
    AuthorMesh() = default;
};

}  // namespace Velmora::U3D
