// Face, line and point lines of ObjParser: index groups "v", "v/t", "v//n" and "v/t/n".

#include "obj/ObjParser.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr size_t kTriangleTokens = 4;
constexpr size_t kQuadTokens = 5;
constexpr size_t kMaxFaceTokens = kQuadTokens;
constexpr size_t kQuadCorners = 4;
constexpr size_t kMinLineTokens = 3;
constexpr size_t kMinPointTokens = 2;
// A quad becomes the triangles of corners 0, 1, 3 and 3, 1, 2.
constexpr uint32_t kQuadSplit[2][3] = {{0, 1, 3}, {3, 1, 2}};
constexpr size_t npos = std::string_view::npos;

void LogExpectedTexCoord(const char* method) {
    Logger::Log(LogLevel::Error, "ObjParser::%s() - expected tex coord, but not found!", method);
}
}  // namespace

int32_t ObjParser::ReadIndex(std::string_view text) const {
    const int64_t index = int64_t(IntOrZero(text)) - (nullIndexed_ ? 0 : 1);
    return index < 0 ? FaceInfo::kAbsent : int32_t(index);
}

// A geometry holds one kind of primitive: another kind with content starts a new geometry.
// The caller decides the layout when this gives true (the geometry is new to the kind).
bool ObjParser::SwitchGeometryTo(PrimitiveKind kind) {
    if (currentGeometry_->type == kind && !currentGeometry_->faces.empty()) return false;
    if (!currentGeometry_->faces.empty()) StartNewGeometry();
    return currentGeometry_ != nullptr;
}

bool ObjParser::DecideFaceLayout(std::string_view group) {
    const size_t first = group.find('/');
    if (first == 0) return false;
    const size_t second = first == npos ? npos : group.find('/', first + 1);
    Geometry& g = *currentGeometry_;
    g.hasTexCoords = first != npos;
    g.hasNormals = second != npos;
    if (second != npos && second == first + 1) g.hasTexCoords = false;
    return true;
}

bool ObjParser::ReadFaceCorner(std::string_view group, FaceInfo::Corner& corner) {
    const Geometry& g = *currentGeometry_;
    const size_t first = group.find('/');
    const size_t second = first == npos ? npos : group.find('/', first + 1);
    corner = {FaceInfo::kAbsent, FaceInfo::kAbsent, FaceInfo::kAbsent};
    if (g.hasTexCoords && g.hasNormals) {
        if (second == npos || second - first < 2) {
            LogExpectedTexCoord("ParseFace");
            return false;
        }
        corner[FaceInfo::TexCoordSlot] = ReadIndex(group.substr(first + 1, second - first - 1));
        corner[FaceInfo::NormalSlot] = ReadIndex(group.substr(second + 1));
    } else if (g.hasTexCoords) {
        if (first == npos) {
            LogExpectedTexCoord("ParseFace");
            return false;
        }
        const size_t end = second == npos ? group.size() : second;
        corner[FaceInfo::TexCoordSlot] = ReadIndex(group.substr(first + 1, end - first - 1));
    } else if (g.hasNormals) {
        if (second == npos) {
            Logger::Log(LogLevel::Error, "ObjParser::ParseFace() - expected normal, but not found!");
            return false;
        }
        corner[FaceInfo::NormalSlot] = ReadIndex(group.substr(second + 1));
    }
    corner[FaceInfo::PositionSlot] = ReadIndex(group.substr(0, first));
    // Relative (negative) indices are not supported, and neither is anything that reads as
    // an index before the first.
    if (corner[FaceInfo::PositionSlot] == FaceInfo::kAbsent ||
        (g.hasNormals && corner[FaceInfo::NormalSlot] == FaceInfo::kAbsent) ||
        (g.hasTexCoords && corner[FaceInfo::TexCoordSlot] == FaceInfo::kAbsent)) {
        Logger::Log(LogLevel::Error, "ObjParser::ParseFace() - invalid index in face!");
        return false;
    }
    return true;
}

bool ObjParser::ParseFace() {
    if (tokens_.Size() != kTriangleTokens && tokens_.Size() != kQuadTokens)
        Logger::Log(LogLevel::Warning, "ObjParser::Parse() - Face with invalid number of entries! '%s'",
                    tokens_.Joined().c_str());
    if (!currentGeometry_ || tokens_.Size() > kMaxFaceTokens || tokens_.Size() < 2) return false;
    if (SwitchGeometryTo(PrimitiveKind::Triangles)) {
        currentGeometry_->type = PrimitiveKind::Triangles;
        if (!DecideFaceLayout(tokens_[1])) return false;
    }
    FaceInfo::Corner corners[kQuadCorners];
    const size_t count = tokens_.Size() - 1;
    for (size_t i = 0; i < kQuadCorners; ++i) corners[i] = {FaceInfo::kAbsent, FaceInfo::kAbsent, FaceInfo::kAbsent};
    for (size_t i = 0; i < count; ++i)
        if (!ReadFaceCorner(tokens_[i + 1], corners[i])) return false;
    if (count < kQuadCorners) {
        AppendTriangle(corners[0], corners[1], corners[2]);
        return true;
    }
    for (const auto& split : kQuadSplit) AppendTriangle(corners[split[0]], corners[split[1]], corners[split[2]]);
    return true;
}

// A triangle that fails its check is dropped; the line still counts as read.
void ObjParser::AppendTriangle(const FaceInfo::Corner& a, const FaceInfo::Corner& b, const FaceInfo::Corner& c) {
    FaceInfo face;
    face.corners = {a, b, c};
    face.smoothingGroup = smoothingGroup_;
    if (face.CheckValid(arrays_.positions)) currentGeometry_->faces.push_back(face);
}

bool ObjParser::ReadPrimitiveCorner(std::string_view group, FaceInfo::Corner& corner) {
    corner = {FaceInfo::kAbsent, FaceInfo::kAbsent, FaceInfo::kAbsent};
    const size_t first = group.find('/');
    if (currentGeometry_->hasTexCoords) {
        if (first == npos) {
            LogExpectedTexCoord("ParseLine");
            return false;
        }
        const size_t second = group.find('/', first + 1);
        const size_t end = second == npos ? group.size() : second;
        corner[FaceInfo::TexCoordSlot] = ReadIndex(group.substr(first + 1, end - first - 1));
    }
    corner[FaceInfo::PositionSlot] = ReadIndex(group.substr(0, first));
    return true;
}

// Lines and points are kept as they are; their indices are checked when the mesh is built.
bool ObjParser::ParseLineOrPoint(PrimitiveKind kind) {
    const bool line = kind == PrimitiveKind::Lines;
    if (!currentGeometry_ || tokens_.Size() < (line ? kMinLineTokens : kMinPointTokens)) return false;
    if (SwitchGeometryTo(kind)) {
        const size_t slash = tokens_[1].find('/');
        if (slash == 0) return false;
        currentGeometry_->type = kind;
        currentGeometry_->hasTexCoords = slash != npos;
        currentGeometry_->hasNormals = false;
    }
    FaceInfo primitive;
    const size_t corners = line ? 2 : 1;
    for (size_t i = 0; i < corners; ++i)
        if (!ReadPrimitiveCorner(tokens_[i + 1], primitive.corners[i])) return false;
    primitive.smoothingGroup = smoothingGroup_;
    currentGeometry_->faces.push_back(primitive);
    return true;
}

}  // namespace Velmora::OBJ
