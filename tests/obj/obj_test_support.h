#pragma once
// OBJ text parsed in-process into fresh pools, and a scratch folder for files that name each
// other (OBJ, MTL, pictures).

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/ObjParser.h"

namespace ObjTest {

using namespace Velmora::OBJ;

inline std::string DataFile(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/obj/" + name; }

struct Parsed {
    AuthorMeshPool meshes;
    AuthorMaterialPool materials;
    std::shared_ptr<ObjParser> parser;
    bool ok = false;

    explicit Parsed(const std::string& text, const std::string& directory = ".") {
        parser = ObjParser::Create(&meshes, &materials);
        ok = parser && parser->ParseText(text, directory);
    }
    ~Parsed() {
        if (parser) parser->Shutdown();
    }
    // The geometry of one mesh under one material, or null.
    std::shared_ptr<Geometry> Find(const std::string& mesh, const std::string& material) const {
        const std::shared_ptr<AuthorMesh> m = meshes.FindMesh(mesh);
        if (!m) return nullptr;
        const auto it = m->Geometries().find(material);
        return it == m->Geometries().end() ? nullptr : it->second;
    }
};

// Positions of a triangle in file numbering (1-based).
inline std::array<int, 3> FilePositions(const FaceInfo& face) {
    return {face.Position(0) + 1, face.Position(1) + 1, face.Position(2) + 1};
}

class ScratchFolder {
public:
    ScratchFolder() {
        char pattern[] = "/tmp/kestrum_obj_XXXXXX";
        path = mkdtemp(pattern) ? pattern : "";
    }
    ~ScratchFolder() {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    std::string Write(const std::string& name, const std::string& text) const {
        const std::string file = path + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }
    std::string path;
};

// Four positions of a unit square in the z = 0 plane, corners counter-clockwise.
inline const char* kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

}  // namespace ObjTest
