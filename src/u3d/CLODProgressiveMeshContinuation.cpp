#include "u3d/CLODProgressiveMeshContinuation.h"

#include <algorithm>
#include <cmath>
#include <ranges>
#include <span>

#include "u3d/AdjacencySet.h"
#include "u3d/BitStreamReader.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/CLODMeshData.h"
#include "u3d/SplitPosition.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Contexts of the resolution update stream.
namespace Ctx {
constexpr uint32_t FaceCount = 1, Orientation = 2, ThirdType = 3, ThirdLocal = 4;
constexpr uint32_t SplitClassBase = 15;  // + class 0..4
constexpr uint32_t NewCornerTexType = 29;
constexpr uint32_t TexValue0 = 33;  // .. 36
constexpr uint32_t NewFaceTexFlags = 39;
constexpr uint32_t NormalCount = 40, NormalSign = 41, NormalValue0 = 42;  // .. 44
constexpr uint32_t NormalIndex = 45;
constexpr uint32_t NewCornerColorType = 55, NewFaceColorFlags = 56;
constexpr uint32_t ColorValue0 = 60;  // .. 63, shared by diffuse and specular
constexpr uint32_t ShadingId = 65;
constexpr uint32_t DiffuseCount = 99, DiffuseSign = 100;
constexpr uint32_t SpecularCount = 101, SpecularSign = 102, TexSign = 103;
constexpr uint32_t DiffuseMove = 104;   // flag, type, new, local, global: 104 .. 108
constexpr uint32_t SpecularMove = 109;  // 109 .. 113
constexpr uint32_t TexMove = 114;       // 114 .. 118
constexpr uint32_t NewCornerColorLocal = 119, NewCornerColorGlobal = 120;
constexpr uint32_t NewCornerTexLocal = 121, NewCornerTexGlobal = 122;
constexpr uint32_t TexCount = 123;
}  // namespace Ctx

constexpr uint32_t kNone = 0xFFFFFFFFu;

// Index fields of a face that a pending change can carry: positions, normals, diffuse,
// specular (3 each) and the first four tex coord layers (12). Higher layers are never
// changed by a move.
namespace Field {
constexpr uint32_t Position = 0, Normal = 3, Diffuse = 6, Specular = 9, TexCoord = 12;
constexpr uint32_t Count = 24;
}  // namespace Field

struct PendingChange {
    uint32_t face = 0;
    uint32_t marks = 0;  // bit i: values[i] replaces field i
    std::array<uint32_t, Field::Count> values{};

    void Set(uint32_t field, uint32_t value) {
        values[field] = value;
        marks |= 1u << field;
    }
};

// A corner of indices the mesh keeps; nothing for those it does not (null).
void SetKept(CornerIndices* indices, uint32_t corner, uint32_t value) {
    if (indices) (*indices)[corner] = value;
}

Vec3f Sub(const Vec3f& a, const Vec3f& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
float Dot(const Vec3f& a, const Vec3f& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3f Cross(const Vec3f& a, const Vec3f& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
bool Negligible(const Vec3f& v) {
    constexpr float kEpsilon = 1e-07f;
    return std::fabs(v[0]) < kEpsilon && std::fabs(v[1]) < kEpsilon && std::fabs(v[2]) < kEpsilon;
}
Vec3f Normalized(const Vec3f& v) {
    const float inverse = 1.0f / std::sqrt(Dot(v, v));
    return {v[0] * inverse, v[1] * inverse, v[2] * inverse};
}

// Decodes the updates of one block into one mesh. Scratch containers live as long as the
// block, so an update allocates nothing once they have grown to the mesh's local degree.
class UpdateDecoder {
public:
    UpdateDecoder(BitStreamReader& reader, AuthorMesh& mesh, CLODMeshData& declaration, CLODMeshContinuationData& data,
                  const NormalStepObserver& observer)
        : reader_(reader),
          adjacency_(mesh.adjacencySet),
          declaration_(declaration),
          data_(data),
          mesh_(mesh),
          normals_(data.pendingNormals),
          observer_(observer ? &observer : nullptr),
          name_(mesh.name.c_str()) {}

    bool Run();

private:
    // One resolution update, r being the index the new position will get.
    bool Update();
    bool ReadNewColors(uint32_t countContext, uint32_t declared, uint32_t signContext, uint32_t valueContext,
                       float inverseQuant, Vec4f start, std::vector<Vec4f>& colors,
                       const IndexSet& (UpdateDecoder::*around)(), uint32_t& added, const char* invalidCount);
    bool ReadNewFaces(uint32_t count);
    bool ClassifySplitFaces();
    bool ReadMoveFaces(uint32_t newDiffuse, uint32_t newSpecular, uint32_t newTexCoords);
    bool ReadMoveAttribute(uint32_t firstContext, uint32_t newCount, const IndexSet& local, size_t arraySize,
                           bool unknownTypeIsGlobal, uint32_t& index, const char* invalidIndex);
    bool ReadNewFaceAttributes(uint32_t count);
    bool ReadNewCorners(uint32_t flagsContext, uint32_t typeContext, uint32_t localContext, uint32_t globalContext,
                        const IndexSet& splitSet, size_t arraySize, std::array<uint32_t, 3>& last,
                        const std::array<int, 3>& corners, uint32_t third, int kind, uint32_t layer,
                        std::array<uint32_t, 3>& out, const char* const* invalidLocal);
    bool UpdateAdjacency(uint32_t newFaceCount);
    bool ReadNewPosition();
    bool ReadNormals();
    bool ReadNormalsAt(uint32_t position);

    // The unit normal of a face, false for a degenerate face. Normals are cached per face
    // and recomputed only after the face's positions change: most faces are visited by many
    // updates, and the face records are too large to walk cheaply.
    bool FaceNormal(uint32_t face, Vec3f& out);

    // A fresh change record for a face. Each moved face is visited once per update, so a
    // face never has two records.
    PendingChange& NewPending(uint32_t face);
    void ApplyPending();

    // Neighbourhood sets of the split position. Neither faces nor adjacency of older faces
    // change between the colour reading and the new face attributes, so each is taken once
    // per update, when first needed.
    const IndexSet& SplitDiffuse();
    const IndexSet& SplitSpecular();
    const IndexSet& SplitTexCoords(uint32_t layer);
    const IndexSet& SplitLayer0() { return SplitTexCoords(0); }

    bool FailFor(const char* what) {
        Logger::Log(LogLevel::Error, "%s for AuthorMesh '%s' [Update %u]", what, name_, r_);
        return false;
    }
    bool FailIn(const char* what) {
        Logger::Log(LogLevel::Error, "%s in AuthorMesh '%s' [Update %u]", what, name_, r_);
        return false;
    }
    // Uniform over the positions there are; for r = 0 this is the dynamic context 1024, and
    // from r = 16383 on a plain read.
    uint32_t PositionContext() const { return UniformIndexContext(r_); }
    // Membership of a position in this update's sets: a position's mark is the update's
    // stamp shifted up by four, ORed with a bit per set; a mark with another stamp is empty.
    enum MarkSet : uint32_t { LeftThird = 1, RightThird = 2, MovePositions = 4, StayPositions = 8 };
    static constexpr uint32_t kMarkShift = 4;
    static constexpr uint32_t kMaxStamp = (1u << (32 - kMarkShift)) - 1;
    void Mark(MarkSet set, uint32_t position) {
        uint32_t& mark = marks_[position];
        if ((mark >> kMarkShift) != stamp_) mark = stamp_ << kMarkShift;
        mark |= set;
    }
    void Unmark(MarkSet set, uint32_t position) { marks_[position] &= ~uint32_t(set); }
    bool Marked(MarkSet set, uint32_t position) const {
        if (position >= marks_.size()) return false;
        const uint32_t mark = marks_[position];
        return (mark >> kMarkShift) == stamp_ && (mark & set) != 0;
    }

    BitStreamReader& reader_;
    AdjacencySet& adjacency_;
    CLODMeshData& declaration_;
    CLODMeshContinuationData& data_;
    const AuthorMesh& mesh_;
    PendingNormals& normals_;
    const NormalStepObserver* observer_;
    const char* name_;

    uint32_t r_ = 0;      // update number = index of the new position
    uint32_t s_ = 0;      // split position
    uint32_t stamp_ = 0;  // marks with it are members of this update's sets
    uint64_t facesThisBlock_ = 0;
    // What one block may cost: attribute entries it appends, and a count of set members and
    // face visits. Both grow with the block's size only, so a block that codes counts almost
    // for free (saturated adaptive contexts) can't grow a mesh or spin far beyond its bytes.
    uint64_t attributesLeft_ = 0;
    uint64_t workLeft_ = 0;
    bool Charge(uint64_t work) {
        if (work > workLeft_) return false;
        workLeft_ -= work;
        return true;
    }

    std::vector<uint32_t> splitFaces_;  // highest face first
    IndexSet neighbours_;
    IndexSet normalPositions_;
    IndexSet scratchSet_;
    IndexSet splitDiffuse_, splitSpecular_;
    std::array<IndexSet, AdjacencySet::kMaxQueryLayers> splitTexCoords_;
    bool haveSplitDiffuse_ = false, haveSplitSpecular_ = false;
    uint32_t haveSplitTexCoords_ = 0;  // bit per layer
    // Per position: membership of leftThird, rightThird, movePositions, stayPositions. One
    // word for all four, since a face's class asks about several sets at the same corners.
    std::vector<uint32_t> marks_;
    std::vector<uint32_t> moveFaces_;
    // The first pendingCount_ records are live. Records are reused rather than cleared:
    // only the fields marked in a record are ever read, so a reuse sets face and marks only.
    std::vector<PendingChange> pending_;
    uint32_t pendingCount_ = 0;

    std::vector<std::array<uint32_t, 3>> observedCorners_;
};

bool UpdateDecoder::Run() {
    const uint32_t start = reader_.ReadU32();
    const uint32_t end = reader_.ReadU32();
    // Every update from the third position on spends at least a bit on its split position,
    // so a block can't carry many more updates than it has bits; the range is refused before
    // anything is sized from it.
    if (start > end || end > declaration_.maxResolution || end > declaration_.positionCount ||
        start != data_.positions.size() || end - start > uint64_t(reader_.ByteSize()) * 8 + 256) {
        Logger::Log(LogLevel::Error, "Invalid resolution range %u..%u for AuthorMesh '%s'", start, end, name_);
        return false;
    }
    // Faces go into storage reserved once per block, bounded by both the declaration and
    // what this block can carry.
    const uint64_t faceRoom =
        std::min<uint64_t>(declaration_.faceCount, data_.primitiveCount + MaxFacesForBlock(reader_.ByteSize()));
    data_.ReserveFaces(faceRoom);
    normals_.BeginBlock(data_.primitives, data_.normals);
    marks_.assign(size_t(end) + 1, 0);

    attributesLeft_ = uint64_t(reader_.ByteSize()) * 8 + 4096;
    workLeft_ = uint64_t(reader_.ByteSize()) * 256 + (uint64_t(1) << 22);
    bool ok = true;
    for (r_ = start; r_ < end && ok; ++r_) {
        if (++stamp_ > kMaxStamp) {
            std::fill(marks_.begin(), marks_.end(), 0u);
            stamp_ = 1;
        }
        ok = Update();
        if (ok && reader_.Exhausted()) ok = FailFor("Update stream ends early");
    }
    if (ok) normals_.EndBlock(data_.normals);
    return ok;
}

bool UpdateDecoder::Update() {
    // 1. Split position and its neighbourhood.
    s_ = reader_.ReadCompressedU32(PositionContext());
    if (s_ > data_.positions.size()) return FailFor("Invalid split position index");
    // The new position is the split one plus a difference, read at the end of the update.
    if (s_ < data_.positions.size()) __builtin_prefetch(data_.positions.data() + s_);
    std::span<const uint32_t> faces;
    if (!adjacency_.GetFaceSet(s_, faces)) return FailFor("Failed to get split face set");
    if (!Charge(faces.size() * 4 + 1)) return FailFor("Update exceeds the work its block can carry");
    splitFaces_.assign(faces.rbegin(), faces.rend());  // highest face first
    neighbours_.clear();
    adjacency_.GetPositionSet(splitFaces_, neighbours_);
    neighbours_.Erase(s_);
    // Nearly every position the rest of the update touches is a neighbour (thirds of new
    // faces, corners of moved faces, the normal step): their run records and then their
    // face lists are asked for early, with the symbol reads in between hiding the wait.
    // Their set marks, which classifying the split faces reads, come along.
    for (uint32_t p : neighbours_) {
        adjacency_.PrefetchRun(p);
        if (p < marks_.size()) __builtin_prefetch(marks_.data() + p, 1);
    }
    haveSplitDiffuse_ = haveSplitSpecular_ = false;
    haveSplitTexCoords_ = 0;

    // 2.-4. New colours and tex coords, predicted from those around the split position.
    uint32_t newDiffuse = 0, newSpecular = 0, newTexCoords = 0;
    if (!ReadNewColors(Ctx::DiffuseCount, declaration_.diffuseCount, Ctx::DiffuseSign, Ctx::ColorValue0,
                       declaration_.inverseQuantDiffuse, {0, 0, 0, 1}, data_.diffuseColors,
                       &UpdateDecoder::SplitDiffuse, newDiffuse, "Invalid diffuse color count"))
        return false;
    if (!ReadNewColors(Ctx::SpecularCount, declaration_.specularCount, Ctx::SpecularSign, Ctx::ColorValue0,
                       declaration_.inverseQuantSpecular, {0, 0, 0, 0}, data_.specularColors,
                       &UpdateDecoder::SplitSpecular, newSpecular, "Invalid specular color count"))
        return false;
    if (!ReadNewColors(Ctx::TexCount, declaration_.texCoordCount, Ctx::TexSign, Ctx::TexValue0,
                       declaration_.inverseQuantTexCoord, {0, 0, 0, 0}, data_.texCoords, &UpdateDecoder::SplitLayer0,
                       newTexCoords, "Invalid texture coord count"))
        return false;

    // 5. New faces.
    const uint32_t newFaces = reader_.ReadCompressedU32(Ctx::FaceCount);
    if (newFaces > declaration_.faceCount - std::min(declaration_.faceCount, data_.primitiveCount) ||
        facesThisBlock_ + newFaces > MaxFacesForBlock(reader_.ByteSize()))
        return FailFor("Invalid new face count");
    facesThisBlock_ += newFaces;
    if (!ReadNewFaces(newFaces)) return false;
    for (uint32_t p : neighbours_) adjacency_.PrefetchFaces(p);

    // 6.-8. Which faces move to the new position, their new attributes, and the attributes
    // of the new faces.
    if (!ClassifySplitFaces()) return false;
    if (!ReadMoveFaces(newDiffuse, newSpecular, newTexCoords)) return false;
    if (!ReadNewFaceAttributes(newFaces)) return false;

    // 9.-13. Adjacency, the new position, and the normals around it.
    if (!UpdateAdjacency(newFaces)) return false;
    if (!ReadNewPosition()) return false;
    ApplyPending();
    if (declaration_.HasNormals()) {
        if (!ReadNormals()) return false;
    }
    return true;
}

bool UpdateDecoder::ReadNewColors(uint32_t countContext, uint32_t declared, uint32_t signContext, uint32_t valueContext,
                                  float inverseQuant, Vec4f start, std::vector<Vec4f>& colors,
                                  const IndexSet& (UpdateDecoder::*around)(), uint32_t& added,
                                  const char* invalidCount) {
    added = reader_.ReadCompressedU16(countContext);
    if (added == 0) return true;
    if (added > declared || colors.size() + added > declared || added > attributesLeft_) return FailFor(invalidCount);
    attributesLeft_ -= added;
    // Prediction: the start value plus the colours around the split position, divided by
    // their number (so the start's alpha counts in the mean).
    const IndexSet& set = (this->*around)();
    Vec4f prediction = start;
    if (!set.empty()) {
        for (uint32_t index : set)
            for (int k = 0; k < 4; ++k) prediction[k] += colors[index][k];
        const float count = static_cast<float>(set.size());
        for (float& component : prediction) component /= count;
    }
    for (uint32_t i = 0; i < added; ++i) {
        const uint8_t sign = reader_.ReadCompressedU8(signContext);
        Vec4f color;
        for (uint32_t k = 0; k < 4; ++k) {
            const float delta = static_cast<float>(reader_.ReadCompressedU32(valueContext + k)) * inverseQuant;
            color[k] = prediction[k] + ((sign >> k) & 1 ? -delta : delta);
        }
        colors.push_back(color);
    }
    return true;
}

bool UpdateDecoder::ReadNewFaces(uint32_t count) {
    uint32_t third = 0;
    for (uint32_t i = 0; i < count; ++i) {
        CLODFace face;
        face.shadingId = reader_.ReadCompressedU32(Ctx::ShadingId);
        if (face.shadingId >= declaration_.shadingCount || face.shadingId >= declaration_.shadingDescriptions.size())
            return FailFor("Invalid shading ID");
        const uint8_t orientation = reader_.ReadCompressedU8(Ctx::Orientation);
        if (orientation != 1 && orientation != 2) return FailFor("Invalid face orientation");
        const uint8_t thirdType = reader_.ReadCompressedU8(Ctx::ThirdType);
        if (thirdType == 1) {
            // A local index out of range keeps the previous face's third position.
            const uint32_t local = reader_.ReadCompressedU32(Ctx::ThirdLocal);
            if (local < neighbours_.size()) third = neighbours_[local];
        } else if (thirdType == 2) {
            third = reader_.ReadCompressedU32(PositionContext());
            if (!Charge(neighbours_.size() + 1)) return FailFor("Update exceeds the work its block can carry");
            if (third < data_.positions.size()) neighbours_.Insert(third);
        } else {
            return FailFor("Invalid third position type");
        }
        if (third >= data_.positions.size()) return FailFor("Invalid third position index");
        if (orientation == 1) {
            face.positions = {s_, r_, third};
            Mark(LeftThird, third);
        } else {
            face.positions = {r_, s_, third};
            Mark(RightThird, third);
        }
        data_.AddFace(face);
        normals_.AddFace();
    }
    return true;
}

bool UpdateDecoder::ClassifySplitFaces() {
    moveFaces_.clear();
    for (uint32_t faceIndex : splitFaces_) {
        const auto& corners = data_.faceCorners[faceIndex].positions;
        const int corner = data_.CornerOf(faceIndex, s_);
        if (corner < 0) return FailFor("Invalid split face info");
        const uint32_t a = corners[(corner + 1) % 3];
        const uint32_t b = corners[(corner + 2) % 3];
        const auto anyOf = [&](MarkSet set) {
            return Marked(set, corners[0]) || Marked(set, corners[1]) || Marked(set, corners[2]);
        };
        uint32_t faceClass = 0;
        if (Marked(RightThird, a))
            faceClass = 1;
        else if (Marked(RightThird, b))
            faceClass = 2;
        else if (Marked(LeftThird, a))
            faceClass = 2;
        else if (Marked(LeftThird, b))
            faceClass = 1;
        else if (anyOf(MovePositions))
            faceClass = 3;
        else if (anyOf(StayPositions))
            faceClass = 4;
        const bool moves = reader_.ReadCompressedU8(Ctx::SplitClassBase + faceClass) == 1;
        const MarkSet set = moves ? MovePositions : StayPositions;
        if (moves) moveFaces_.push_back(faceIndex);
        for (uint32_t p : corners) Mark(set, p);
        Unmark(set, s_);
    }
    return true;
}

bool UpdateDecoder::ReadMoveAttribute(uint32_t firstContext, uint32_t newCount, const IndexSet& local, size_t arraySize,
                                      bool unknownTypeIsGlobal, uint32_t& index, const char* invalidIndex) {
    const uint8_t type = reader_.ReadCompressedU8(firstContext + 1);
    switch (type) {
        case 1:  // counted back from the end: one of this update's new values
            index = reader_.ReadCompressedU32(firstContext + 2) - newCount + static_cast<uint32_t>(arraySize);
            break;
        case 2: {
            const uint32_t rank = reader_.ReadCompressedU32(firstContext + 3);
            index = rank < local.size() ? local[rank] : kNone;
            break;
        }
        case 3: index = reader_.ReadCompressedU32(firstContext + 4); break;
        default:
            if (unknownTypeIsGlobal) {
                Logger::Log(LogLevel::Error, "Invalid diffuseChangeType");
                index = reader_.ReadCompressedU32(firstContext + 4);
            } else {
                index = 0;
            }
            break;
    }
    if (index >= arraySize) return FailIn(invalidIndex);
    return true;
}

bool UpdateDecoder::ReadMoveFaces(uint32_t newDiffuse, uint32_t newSpecular, uint32_t newTexCoords) {
    const auto& descriptions = declaration_.shadingDescriptions;
    for (uint32_t faceIndex : moveFaces_) {
        const FaceCorners& face = data_.faceCorners[faceIndex];
        const int corner = data_.CornerOf(faceIndex, s_);
        if (corner < 0) return FailIn("Invalid update corner for move face");
        PendingChange& change = NewPending(faceIndex);
        change.Set(Field::Position + corner, r_);
        if (face.shadingId >= descriptions.size()) return FailIn("Invalid shader ID in move face");
        const ShadingDescription& shading = descriptions[face.shadingId];
        uint32_t index = 0;
        if (shading.HasDiffuse() && reader_.ReadCompressedU8(Ctx::DiffuseMove) == 1) {
            if (!ReadMoveAttribute(Ctx::DiffuseMove, newDiffuse, SplitDiffuse(), data_.diffuseColors.size(), true,
                                   index, "Invalid diffuse color index in move face"))
                return false;
            change.Set(Field::Diffuse + corner, index);
        }
        if (shading.HasSpecular() && reader_.ReadCompressedU8(Ctx::SpecularMove) == 1) {
            if (!ReadMoveAttribute(Ctx::SpecularMove, newSpecular, SplitSpecular(), data_.specularColors.size(), false,
                                   index, "Invalid specular color index in move face"))
                return false;
            change.Set(Field::Specular + corner, index);
        }
        for (uint32_t layer = 0; layer < shading.layerCount; ++layer) {
            if (reader_.ReadCompressedU8(Ctx::TexMove) != 1) continue;
            if (!ReadMoveAttribute(Ctx::TexMove, newTexCoords, SplitTexCoords(layer), data_.texCoords.size(), false,
                                   index, "Invalid texture coord index in move face"))
                return false;
            if (layer < AdjacencySet::kMaxQueryLayers) change.Set(Field::TexCoord + layer * 3 + corner, index);
        }
    }
    return true;
}

bool UpdateDecoder::ReadNewFaceAttributes(uint32_t count) {
    static constexpr const char* kDiffuseLocal[] = {"Invalid local diffuse color index! (split pos)",
                                                    "Invalid local diffuse color index! (new pos)",
                                                    "Invalid local diffuse color index! (third pos)"};
    static constexpr const char* kSpecularLocal[] = {"Invalid local specular color index! (split pos)",
                                                     "Invalid local specular color index! (new pos)",
                                                     "Invalid local specular color index! (third pos)"};
    static constexpr const char* kTexLocal[] = {"Invalid local tex coord index! (split pos)",
                                                "Invalid local tex coord index! (new pos)",
                                                "Invalid local tex coord index! (third pos)"};
    const auto& descriptions = declaration_.shadingDescriptions;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t faceIndex = data_.primitiveCount - count + i;
        if (faceIndex >= data_.primitiveCount) return FailFor("Invalid face index in new face");
        CLODFace& face = data_.primitives[faceIndex];
        // Corners of the split, new and third position (a degenerate face may repeat one).
        std::array<int, 3> corners{};
        corners[1] = face.CornerOf(r_);
        corners[0] = face.positions[(corners[1] + 1) % 3] == s_ ? (corners[1] + 1) % 3 : (corners[1] + 2) % 3;
        corners[2] = 3 - corners[0] - corners[1];
        const uint32_t third = face.positions[corners[2]];
        if (face.shadingId >= descriptions.size()) return FailFor("Invalid shading ID in new face");
        const ShadingDescription& shading = descriptions[face.shadingId];
        // Indices the mesh does not keep are read into scratch: they keep the stream in step.
        CornerIndices scratch{};
        CornerIndices* kept = data_.DiffuseOf(faceIndex);
        if (shading.HasDiffuse() &&
            !ReadNewCorners(Ctx::NewFaceColorFlags, Ctx::NewCornerColorType, Ctx::NewCornerColorLocal,
                            Ctx::NewCornerColorGlobal, SplitDiffuse(), data_.diffuseColors.size(), data_.lastDiffuse,
                            corners, third, 0, 0, kept ? *kept : scratch, kDiffuseLocal))
            return false;
        kept = data_.SpecularOf(faceIndex);
        if (shading.HasSpecular() &&
            !ReadNewCorners(Ctx::NewFaceColorFlags, Ctx::NewCornerColorType, Ctx::NewCornerColorLocal,
                            Ctx::NewCornerColorGlobal, SplitSpecular(), data_.specularColors.size(), data_.lastSpecular,
                            corners, third, 1, 0, kept ? *kept : scratch, kSpecularLocal))
            return false;
        for (uint32_t layer = 0; layer < shading.layerCount; ++layer) {
            kept = data_.TexCoordsOf(faceIndex, layer);
            CornerIndices& out = kept ? *kept : scratch;
            if (!ReadNewCorners(Ctx::NewFaceTexFlags, Ctx::NewCornerTexType, Ctx::NewCornerTexLocal,
                                Ctx::NewCornerTexGlobal, SplitTexCoords(layer), data_.texCoords.size(),
                                data_.lastTexCoord, corners, third, 2, layer, out, kTexLocal))
                return false;
        }
    }
    return true;
}

// The three corners of a new face, in the order split, new, third: each either repeats the
// index last used at that corner or reads a local index (into the split position's set, or
// the third position's for the third corner) or a global one.
bool UpdateDecoder::ReadNewCorners(uint32_t flagsContext, uint32_t typeContext, uint32_t localContext,
                                   uint32_t globalContext, const IndexSet& splitSet, size_t arraySize,
                                   std::array<uint32_t, 3>& last, const std::array<int, 3>& corners, uint32_t third,
                                   int kind, uint32_t layer, std::array<uint32_t, 3>& out,
                                   const char* const* invalidLocal) {
    const uint8_t flags = reader_.ReadCompressedU8(flagsContext);
    for (int k = 0; k < 3; ++k) {
        uint32_t index = last[k];
        if (!(flags & (1u << k))) {
            const uint32_t ty = reader_.ReadCompressedU8(typeContext);
            if (ty == 2) {
                const IndexSet* set = &splitSet;
                if (k == 2) {
                    const bool ok = kind == 0   ? adjacency_.GetDiffuseColorSet(third, scratchSet_)
                                    : kind == 1 ? adjacency_.GetSpecularColorSet(third, scratchSet_)
                                                : adjacency_.GetTexCoordSet(layer, third, scratchSet_);
                    if (!ok) scratchSet_.clear();
                    if (!Charge(scratchSet_.size() + 1)) return FailIn("Update exceeds the work its block can carry");
                    set = &scratchSet_;
                }
                const uint32_t rank = reader_.ReadCompressedU32(localContext);
                if (rank >= set->size()) return FailIn(invalidLocal[k]);
                index = (*set)[rank];
            } else {
                index = reader_.ReadCompressedU32(globalContext);
            }
        }
        if (index >= arraySize) return FailIn("Invalid attribute index in new face");
        out[corners[k]] = index;
        last[k] = index;
    }
    return true;
}

bool UpdateDecoder::UpdateAdjacency(uint32_t newFaceCount) {
    for (uint32_t face : moveFaces_) {
        adjacency_.Remove(s_, face);
        adjacency_.AddFace(r_, face);
    }
    for (uint32_t face = data_.primitiveCount - newFaceCount; face < data_.primitiveCount; ++face)
        for (uint32_t p : data_.faceCorners[face].positions) adjacency_.AddFace(p, face);
    return true;
}

bool UpdateDecoder::ReadNewPosition() {
    std::span<const uint32_t> faces;
    if (!adjacency_.GetFaceSet(r_, faces)) return FailFor("Failed to get new face set");
    if (!Charge(faces.size() * 3 + 1)) return FailFor("Update exceeds the work its block can carry");
    normalPositions_.clear();
    adjacency_.GetPositionSet(faces, normalPositions_);
    ReadSplitPosition(reader_, data_.positions, s_, declaration_.inverseQuantPosition);
    return true;
}

bool UpdateDecoder::ReadNormals() {
    // The step visits a few dozen faces spread over the whole mesh, behind a chain of
    // lookups: position -> run record -> face list -> cached normal and corners. Walked one
    // by one, every link is a cache miss waiting on the one before. Requesting each level
    // for all positions at once lets the misses of a level overlap, so the chain costs
    // about one miss per level. The faces whose normals must be computed afresh are the
    // moved and new ones, all at r, so their corners are among these positions too.
    for (uint32_t p : normalPositions_) {
        adjacency_.PrefetchRun(p);
        if (p < data_.positions.size()) __builtin_prefetch(data_.positions.data() + p);
    }
    for (uint32_t p : normalPositions_) {
        for (uint32_t face : adjacency_.FacesAt(p)) {
            if (face >= normals_.FaceCount()) continue;
            __builtin_prefetch(data_.faceCorners.data() + face);
            normals_.PrefetchCorners(face);
        }
    }
    for (uint32_t p : normalPositions_)  // highest position first
        if (!ReadNormalsAt(p)) return false;
    return true;
}

// The stream of one position's normals: how many it takes, their coded differences, and
// which of them each face's corner takes. The face normals around it are kept for the
// prediction, which is made once the load is complete (PendingNormals).
bool UpdateDecoder::ReadNormalsAt(uint32_t position) {
    std::span<const uint32_t> stored;
    if (!adjacency_.GetFaceSet(position, stored)) return FailFor("Failed to get normal face set");
    // Walked from the highest face down; nothing is added to any face set in this step, so
    // the view stays valid.
    // (A plain reverse range: clang's ranges support does not take std::span views here.)
    struct {
        std::span<const uint32_t> items;
        auto begin() const { return items.rbegin(); }
        auto end() const { return items.rend(); }
        size_t size() const { return items.size(); }
    } const faces{stored};
    const uint32_t count = reader_.ReadCompressedU32(Ctx::NormalCount);
    if (count > 2 * faces.size() + 16 || count > attributesLeft_ || !Charge(uint64_t(faces.size() + 1) * (count + 2)))
        return FailFor("Invalid normal count");
    attributesLeft_ -= count;

    // Face normals, valid ones packed to the front; the rest stay zero and take part. A
    // position that takes no normal needs no prediction.
    const uint32_t base = static_cast<uint32_t>(data_.normals.size());
    if (count > 0) {
        const uint32_t faceCount = static_cast<uint32_t>(faces.size());
        Vec3f* normals = normals_.FaceNormalRoom(faceCount);
        uint32_t valid = 0;
        for (uint32_t faceIndex : faces)
            if (FaceNormal(faceIndex, normals[valid])) ++valid;
        std::fill(normals + valid, normals + faceCount, Vec3f{0, 0, 0});
        normals_.AddStep(faceCount, valid, base, count);
    }

    // The coded differences only keep the stream in step; the prediction is the normal,
    // turned round when the third difference is odd.
    for (uint32_t i = 0; i < count; ++i) {
        reader_.ReadCompressedU8(Ctx::NormalSign);
        reader_.ReadCompressedU32(Ctx::NormalValue0);
        reader_.ReadCompressedU32(Ctx::NormalValue0 + 1);
        const uint32_t third = reader_.ReadCompressedU32(Ctx::NormalValue0 + 2);
        normals_.AddNormal(third & 1);
    }
    data_.normals.resize(data_.normals.size() + count, Vec3f{0, 0, 0});
    if (observer_) {
        observedCorners_.clear();
        for (uint32_t faceIndex : faces) observedCorners_.push_back(data_.faceCorners[faceIndex].positions);
        (*observer_)(mesh_, NormalStepView{position, base, observedCorners_, normals_.Turned(base, count)});
    }
    for (uint32_t faceIndex : faces) {
        const uint32_t local = reader_.ReadCompressedU32(Ctx::NormalIndex);
        if (local >= count) return FailIn("Invalid normal index for normal-face");
        const int corner = data_.CornerOf(faceIndex, position);
        if (corner < 0 || faceIndex >= normals_.FaceCount()) return FailIn("Invalid update corner for normal-face");
        normals_.SetCorner(faceIndex, corner, base + local);
    }
    return true;
}

// A face normal is the cross product of the normalised edges p1 - p0 and p2 - p0,
// normalised; a face with an edge or a cross product that is zero to 1e-7 in every
// component has none.
bool UpdateDecoder::FaceNormal(uint32_t faceIndex, Vec3f& out) {
    FaceCorners& cached = data_.faceCorners[faceIndex];
    uint32_t& state = cached.normalState;
    if (state == FaceCorners::kNormalStale) {
        const auto& corners = cached.positions;
        const Vec3f& p0 = data_.positions[corners[0]];
        const Vec3f e1 = Sub(data_.positions[corners[1]], p0);
        const Vec3f e2 = Sub(data_.positions[corners[2]], p0);
        state = FaceCorners::kNoNormal;
        if (!Negligible(e1) && !Negligible(e2)) {
            const Vec3f normal = Cross(Normalized(e1), Normalized(e2));
            if (!Negligible(normal)) {
                cached.normal = Normalized(normal);
                state = FaceCorners::kNormalValid;
            }
        }
    }
    if (state != FaceCorners::kNormalValid) return false;
    out = cached.normal;
    return true;
}

PendingChange& UpdateDecoder::NewPending(uint32_t face) {
    const uint32_t slot = pendingCount_++;
    if (slot == pending_.size()) pending_.emplace_back();
    PendingChange& change = pending_[slot];
    change.face = face;
    change.marks = 0;
    // The change is written into the full face record at the end of the update; asking
    // for its line now keeps that write from waiting on memory.
    __builtin_prefetch(data_.primitives.data() + face, 1);
    return change;
}

void UpdateDecoder::ApplyPending() {
    for (const PendingChange& change : std::span(pending_.data(), pendingCount_)) {
        CLODFace& face = data_.primitives[change.face];
        for (uint32_t marks = change.marks; marks != 0; marks &= marks - 1) {
            const uint32_t field = static_cast<uint32_t>(__builtin_ctz(marks));
            const uint32_t value = change.values[field];
            if (field < Field::Normal)
                data_.SetFacePosition(change.face, static_cast<int>(field), value);
            else if (field < Field::Diffuse)
                face.normals[field - Field::Normal] = value;
            else if (field < Field::Specular)
                SetKept(data_.DiffuseOf(change.face), field - Field::Diffuse, value);
            else if (field < Field::TexCoord)
                SetKept(data_.SpecularOf(change.face), field - Field::Specular, value);
            else
                SetKept(data_.TexCoordsOf(change.face, (field - Field::TexCoord) / 3), (field - Field::TexCoord) % 3,
                        value);
        }
    }
    pendingCount_ = 0;
}

const IndexSet& UpdateDecoder::SplitDiffuse() {
    if (!haveSplitDiffuse_) {
        if (!adjacency_.GetDiffuseColorSet(s_, splitDiffuse_)) splitDiffuse_.clear();
        haveSplitDiffuse_ = true;
    }
    return splitDiffuse_;
}

const IndexSet& UpdateDecoder::SplitSpecular() {
    if (!haveSplitSpecular_) {
        if (!adjacency_.GetSpecularColorSet(s_, splitSpecular_)) splitSpecular_.clear();
        haveSplitSpecular_ = true;
    }
    return splitSpecular_;
}

const IndexSet& UpdateDecoder::SplitTexCoords(uint32_t layer) {
    if (layer >= AdjacencySet::kMaxQueryLayers) {
        // Logs that higher layers have no neighbourhood, and yields the empty set.
        adjacency_.GetTexCoordSet(layer, s_, scratchSet_);
        return scratchSet_;
    }
    if (!(haveSplitTexCoords_ & (1u << layer))) {
        if (!adjacency_.GetTexCoordSet(layer, s_, splitTexCoords_[layer])) splitTexCoords_[layer].clear();
        haveSplitTexCoords_ |= 1u << layer;
    }
    return splitTexCoords_[layer];
}

}  // namespace

bool CLODProgressiveMeshContinuation::ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) {
    auto* declaration = mesh.DeclarationAs<CLODMeshData>();
    auto* continuation = mesh.ContinuationAs<CLODMeshContinuationData>();
    if (!declaration || !continuation || !mesh.adjacencySet.IsInitialized()) {
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation/adjacencySet of AuthorMesh '%s'",
                    mesh.name.c_str());
        return false;
    }
    UpdateDecoder decoder(reader, mesh, *declaration, *continuation, pool_.normalStepObserver);
    return decoder.Run();
}

}  // namespace Velmora::U3D
