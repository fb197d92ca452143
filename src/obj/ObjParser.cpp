#include "obj/ObjParser.h"

#include <new>
#include <vector>

#include "format/AuthoringInterrupt.h"
#include "format/FileReader.h"
#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/MtlParser.h"
#include "util/Logger.h"
#include "util/Paths.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {
// Lines between two looks at the interrupt flag.
constexpr size_t kInterruptStride = 1u << 16;
constexpr size_t kPositionTokens = 4;
constexpr size_t kTexCoordTokens = 3;
constexpr size_t kNormalTokens = 4;
constexpr size_t kColorTokens = 5;
constexpr size_t kSingleArgumentTokens = 2;
constexpr const char* kSmoothingOff = "off";
}  // namespace

std::shared_ptr<ObjParser> ObjParser::Create(AuthorMeshPool* meshPool, AuthorMaterialPool* materialPool) {
    if (!meshPool || !materialPool) return nullptr;
    std::shared_ptr<ObjParser> parser(new (std::nothrow) ObjParser(*meshPool, *materialPool));
    if (!parser) {
        Logger::Log(LogLevel::Error, "ObjParser::Create() - OUT OF MEMORY!");
        return nullptr;
    }
    parser->materialName_ = AuthorMaterialPool::kDefaultMaterialName;
    if (!parser->StartNewMesh()) return nullptr;
    return parser;
}

bool ObjParser::Parse(const std::string& path) {
    std::vector<uint8_t> bytes;
    if (!FormatGlue::ReadWholeFile(path, bytes) || bytes.empty()) return false;
    filePath_ = path;
    Logger::Log(LogLevel::Info, "AuthoringPool: Successfully loaded raw OBJ data from '%s'", path.c_str());
    return ParseText(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                     Utility::ParentPath(path));
}

bool ObjParser::ParseText(std::string_view text, const std::string& directory) {
    directory_ = directory;
    try {
        CountAndReserve(text);
        ParseLines(text);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    if (FormatGlue::AuthoringInterrupt::Interrupted()) return false;
    // A mesh that fails to go in is logged; only an empty pool fails the parse.
    FinishCurrentMesh(false);
    if (meshPool_.Empty()) {
        Logger::Log(LogLevel::Error, "ObjParser::Parse() - NO GEOMETRY FOUND");
        return false;
    }
    return true;
}

void ObjParser::Shutdown() {
    if (currentMesh_ || currentGeometry_)
        Logger::Log(LogLevel::Error, "ObjParser::Shutdown() - current objects not cleaned up !");
    currentMesh_.reset();
    currentGeometry_.reset();
}

// The arrays are sized once from a count of their lines.
void ObjParser::CountAndReserve(std::string_view text) {
    size_t positions = 0, normals = 0, texCoords = 0, colors = 0;
    size_t pos = 0;
    while (pos < text.size()) {
        const std::string_view line = NextLine(text, pos);
        size_t i = 0;
        while (i < line.size() && IsSeparator(line[i])) ++i;
        size_t end = i;
        while (end < line.size() && !IsSeparator(line[end])) ++end;
        const std::string_view keyword = line.substr(i, end - i);
        if (keyword == "v") {
            ++positions;
        } else if (keyword == "vn") {
            ++normals;
        } else if (keyword == "vt") {
            ++texCoords;
        } else if (keyword == "vc") {
            ++colors;
        }
    }
    arrays_.positions.reserve(positions);
    arrays_.normals.reserve(normals);
    arrays_.texCoords.reserve(texCoords);
    arrays_.colors.reserve(colors);
}

void ObjParser::ParseLines(std::string_view text) {
    size_t pos = 0;
    size_t lines = 0;
    while (pos < text.size()) {
        if (++lines % kInterruptStride == 0 && FormatGlue::AuthoringInterrupt::Interrupted()) return;
        tokens_.Split(NextLine(text, pos));
        tokens_.StripComment();
        if (tokens_.Empty()) continue;
        if (!ParseLine())
            Logger::Log(LogLevel::Error, "ObjParser::Parse() - FAILED TO PARSE LINE '%s'", tokens_.Joined().c_str());
    }
}

bool ObjParser::ParseLine() {
    const std::string_view keyword = tokens_[0];
    if (keyword == "mtllib") return ParseMaterialLibrary();
    if (keyword == "usemtl") return ParseUseMaterial();
    if (keyword == "nullindexed") return ReadIndexingInfo();
    if (keyword == "s") return ParseSmoothingGroup();
    if (keyword == "o") return ParseObjectName();
    if (keyword == "g") return ParseGroupName();
    if (keyword == "v") return ParseVertex();
    if (keyword == "vt") return ParseTexCoord();
    if (keyword == "vc") return ParseColor();
    if (keyword == "vn") return ParseNormal();
    if (keyword == "f") return ParseFace();
    if (keyword == "l") return ParseLineOrPoint(PrimitiveKind::Lines);
    if (keyword == "p") return ParseLineOrPoint(PrimitiveKind::Points);
    Logger::LogF(LogLevel::Error, "ObjParser::Parse() - UNSUPPORTED TOKEN '{:s}'", keyword);
    return false;
}

// Names with blanks were split: the tokens are joined back until the running name ends in
// ".mtl".
bool ObjParser::ParseMaterialLibrary() {
    if (tokens_.Size() < kSingleArgumentTokens) return false;
    std::string name;
    for (size_t i = 1; i < tokens_.Size(); ++i) {
        if (!name.empty()) name += ' ';
        name.append(tokens_[i]);
        if (EndsWithLowered(name, ".mtl")) {
            LoadMaterialLibrary(name);
            name.clear();
        }
    }
    return true;
}

void ObjParser::LoadMaterialLibrary(const std::string& name) {
    const std::string path = AuthorMaterialPool::ResolveBeside(directory_, name);
    // A library named twice, or one that is this very file, is read once at most.
    if (path == filePath_ || !loadedLibraries_.insert(path).second) {
        Logger::Log(LogLevel::Warning, "ObjParser::Parse() - material library '%s' already read, IGNORED",
                    path.c_str());
        return;
    }
    MtlParser(materialPool_).ParseFile(path);
}

bool ObjParser::ParseUseMaterial() {
    if (tokens_.Size() != kSingleArgumentTokens || !currentGeometry_) return false;
    materialName_ = std::string(tokens_[1]);
    if (currentGeometry_->faces.empty()) {
        currentGeometry_->materialName = materialName_;
        return true;
    }
    return StartNewGeometry();
}

bool ObjParser::ReadIndexingInfo() {
    if (tokens_.Size() != kSingleArgumentTokens || !currentGeometry_) return false;
    int32_t value = 0;
    if (!ParseInt(tokens_[1], value)) {
        Logger::LogF(LogLevel::Warning,
                     "ObjParser::ReadIndexingInfo() - Bad lexical cast from '{:s}' - nullIndexed is set to false",
                     tokens_[1]);
        nullIndexed_ = false;
        return true;
    }
    nullIndexed_ = value != 0;
    return true;
}

bool ObjParser::ParseSmoothingGroup() {
    if (tokens_.Size() != kSingleArgumentTokens) return false;
    const std::string argument = Lowered(tokens_[1]);
    if (argument == kSmoothingOff) {
        smoothingGroup_ = 0;
        return true;
    }
    int32_t group = 0;
    if (!ParseInt(argument, group) || group < 0) {
        Logger::LogF(LogLevel::Warning,
                     "ObjParser::ParseSmoothingGroup() - Bad lexical cast from '{:s}' - smoothing group set to 0",
                     tokens_[1]);
        group = 0;
    }
    smoothingGroup_ = group;
    return true;
}

bool ObjParser::ParseObjectName() {
    if (tokens_.Size() < kSingleArgumentTokens) return false;
    const std::string name(tokens_[1]);
    if (!objectName_.empty())
        Logger::Log(LogLevel::Warning,
                    "ObjParser::ParseObjectName() - Object name has already been set, OVERRIDING ('%s' -> '%s')",
                    objectName_.c_str(), name.c_str());
    objectName_ = name;
    return true;
}

bool ObjParser::ParseGroupName() {
    if (!currentMesh_) return false;
    AuthorMesh::GroupSet groups;
    for (size_t i = 1; i < tokens_.Size(); ++i) {
        if (!groups.emplace(tokens_[i]).second)
            Logger::LogF(LogLevel::Error, "ObjParser::ParseGroupName() - with duplicate group name! '{:s}'",
                         tokens_[i]);
    }
    if (groups.empty()) groups.emplace(kDefaultGroup);
    groups_ = std::move(groups);
    // Nothing drawn under the old names yet: the mesh merely changes its names.
    if (currentMesh_->Empty() && (!currentGeometry_ || currentGeometry_->faces.empty())) {
        currentMesh_->SetGroups(groups_);
        return true;
    }
    return FinishCurrentMesh(true);
}

bool ObjParser::ParseVertex() {
    if (tokens_.Size() < kPositionTokens) return false;
    arrays_.positions.push_back({DoubleOrZero(tokens_[1]), DoubleOrZero(tokens_[2]), DoubleOrZero(tokens_[3])});
    return true;
}

bool ObjParser::ParseTexCoord() {
    if (tokens_.Size() < kTexCoordTokens) return false;
    arrays_.texCoords.push_back({DoubleOrZero(tokens_[1]), DoubleOrZero(tokens_[2])});
    return true;
}

bool ObjParser::ParseColor() {
    if (tokens_.Size() < kColorTokens) return false;
    arrays_.colors.push_back(
        {DoubleOrZero(tokens_[1]), DoubleOrZero(tokens_[2]), DoubleOrZero(tokens_[3]), DoubleOrZero(tokens_[4])});
    return true;
}

bool ObjParser::ParseNormal() {
    if (tokens_.Size() < kNormalTokens) return false;
    arrays_.normals.push_back({DoubleOrZero(tokens_[1]), DoubleOrZero(tokens_[2]), DoubleOrZero(tokens_[3])});
    return true;
}

bool ObjParser::StartNewGeometry() {
    FinishCurrentGeometry();
    currentGeometry_.reset(new (std::nothrow) Geometry());
    if (!currentGeometry_) {
        Logger::Log(LogLevel::Error, "ObjParser::StartNewGeometry() - OUT OF MEMORY!");
        return false;
    }
    currentGeometry_->materialName = materialName_;
    return true;
}

bool ObjParser::FinishCurrentGeometry() {
    if (!currentMesh_) {
        Logger::Log(LogLevel::Error, "ObjParser with invalid mesh!");
        return false;
    }
    if (!currentGeometry_) return true;
    std::shared_ptr<Geometry> geometry = std::move(currentGeometry_);
    currentGeometry_.reset();
    if (geometry->Empty()) {
        Logger::Log(LogLevel::Warning, "ObjParser::Parse() - Last Geometry object empty -> IGNORED!");
        return true;
    }
    if (!currentMesh_->AddGeometry(geometry)) {
        Logger::Log(LogLevel::Error, "ObjParser::FinishCurrentGeometry() - FAILED TO ADD MESH!");
        return false;
    }
    return true;
}

bool ObjParser::FinishCurrentMesh(bool startNext) {
    bool finished = FinishCurrentGeometry();
    if (currentMesh_ && !currentMesh_->Empty() && !meshPool_.AddMesh(currentMesh_)) {
        Logger::Log(LogLevel::Error, "ObjParser::FinishCurrentMesh() - FAILED TO ADD MESH!");
        finished = false;
    }
    currentMesh_.reset();
    if (startNext && !StartNewMesh()) return false;
    return finished;
}

bool ObjParser::StartNewMesh() {
    currentMesh_.reset(new (std::nothrow) AuthorMesh(groups_));
    if (!currentMesh_) {
        Logger::Log(LogLevel::Error, "ObjParser::Create() - OUT OF MEMORY!");
        return false;
    }
    return StartNewGeometry();
}

}  // namespace Velmora::OBJ
