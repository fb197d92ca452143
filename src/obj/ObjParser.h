#pragma once
// Turns the text of a Wavefront OBJ file into the staging data of one load: the four shared
// coordinate arrays and the meshes of the mesh pool, each a set of Geometry runs of FaceInfo
// records. Reading is forgiving: a line that cannot be used is logged and skipped.
//
// The file is read in one piece and scanned in place; a first pass counts what the arrays
// will hold so that they are sized once.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "obj/AuthorMesh.h"
#include "obj/Geometry.h"
#include "obj/TextScan.h"
#include "obj/VertexArrays.h"

namespace Velmora::OBJ {

class AuthorMaterialPool;
class AuthorMeshPool;

class ObjParser {
public:
    static constexpr const char* kDefaultGroup = "default";

    // Null when either pool is missing. Starts the first mesh and geometry.
    static std::shared_ptr<ObjParser> Create(AuthorMeshPool* meshPool, AuthorMaterialPool* materialPool);

    // Reads and parses the file; false when it cannot be read, is empty or holds no geometry.
    bool Parse(const std::string& path);
    // Parses OBJ text; material libraries are looked for in `directory`.
    bool ParseText(std::string_view text, const std::string& directory);
    void Shutdown();

    const VertexArrays& Vertices() const { return arrays_; }
    VertexArrays& Vertices() { return arrays_; }
    const std::string& ObjectName() const { return objectName_; }
    const std::string& FilePath() const { return filePath_; }
    const std::string& Directory() const { return directory_; }

private:
    ObjParser(AuthorMeshPool& meshPool, AuthorMaterialPool& materialPool)
        : meshPool_(meshPool), materialPool_(materialPool) {}

    void CountAndReserve(std::string_view text);
    void ParseLines(std::string_view text);
    bool ParseLine();

    // Handlers, one per keyword; each reads tokens_.
    bool ParseMaterialLibrary();
    bool ParseUseMaterial();
    bool ReadIndexingInfo();
    bool ParseSmoothingGroup();
    bool ParseObjectName();
    bool ParseGroupName();
    bool ParseVertex();
    bool ParseTexCoord();
    bool ParseColor();
    bool ParseNormal();
    bool ParseFace();
    bool ParseLineOrPoint(PrimitiveKind kind);

    // Face reading (ObjParser_Primitives.cpp).
    bool SwitchGeometryTo(PrimitiveKind kind);
    bool DecideFaceLayout(std::string_view group);
    bool ReadFaceCorner(std::string_view group, FaceInfo::Corner& corner);
    bool ReadPrimitiveCorner(std::string_view group, FaceInfo::Corner& corner);
    int32_t ReadIndex(std::string_view text) const;
    void AppendTriangle(const FaceInfo::Corner& a, const FaceInfo::Corner& b, const FaceInfo::Corner& c);

    bool StartNewGeometry();
    bool FinishCurrentGeometry();
    // Hands the mesh to the pool; with startNext a new mesh begins under the current groups.
    bool FinishCurrentMesh(bool startNext);
    bool StartNewMesh();
    void LoadMaterialLibrary(const std::string& name);

    AuthorMeshPool& meshPool_;
    AuthorMaterialPool& materialPool_;
    VertexArrays arrays_;
    std::string filePath_;
    std::string directory_;
    std::string objectName_;
    AuthorMesh::GroupSet groups_{kDefaultGroup};
    std::string materialName_;
    int32_t smoothingGroup_ = 0;
    std::shared_ptr<AuthorMesh> currentMesh_;
    std::shared_ptr<Geometry> currentGeometry_;
    bool nullIndexed_ = false;
    std::set<std::string> loadedLibraries_;
    LineTokens tokens_;
};

}  // namespace Velmora::OBJ
