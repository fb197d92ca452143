#include "u3d/PrimitiveSetContinuation.h"

#include <algorithm>
#include <cmath>

#include "u3d/BitStreamReader.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/CLODMeshData.h"
#include "u3d/PrimitiveSetData.h"
#include "u3d/SplitPosition.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Contexts of the point and line update stream.
namespace Ctx {
constexpr uint32_t PrimitiveCount = 1, ShadingId = 1;
constexpr uint32_t TexSign = 32, TexValue0 = 33;  // .. 36
constexpr uint32_t TexDuplicate = 39;
constexpr uint32_t NormalCount = 40, NormalSign = 41, NormalValue0 = 42;  // .. 44
constexpr uint32_t NormalIndex = 45;
constexpr uint32_t ColorDuplicate = 56;
constexpr uint32_t ColorSign = 41;
constexpr uint32_t ColorValue0 = 60;  // .. 63, shared by diffuse and specular
}  // namespace Ctx

// Bit of a duplicate flag that says the attribute re-uses the last entry of its array.
constexpr uint8_t kDuplicate = 0x02;

// The texts that differ between the two families.
struct SetMessages {
    const char* family;
    const char* resolutionTooHigh;
    const char* badNewCount;
};
constexpr SetMessages kPointMessages = {
    "PointSetContinuation",
    "PointSetContinuation: Resolution update is greater than number of expected positions for '%s'!",
    "Invalid new point count for AuthorMesh '%s'"};
constexpr SetMessages kLineMessages = {
    "LineSetContinuation",
    "LineSetContinuation: Resolution update is greater than number of expected positions for '%s'!",
    "Invalid new line count for AuthorMesh '%s'"};

// Reads one run of updates into a point set (Ends = 1) or line set (Ends = 2).
template <uint32_t Ends>
class SetUpdateDecoder {
public:
    using Data = SetContinuationData<Ends>;
    using Primitive = typename Data::Primitive;

    SetUpdateDecoder(BitStreamReader& reader, const PrimitiveSetData& declaration, Data& data, const std::string& name,
                     const SetMessages& messages)
        : reader_(reader),
          declaration_(declaration),
          data_(data),
          name_(name.c_str()),
          messages_(messages),
          budget_(MaxFacesForBlock(reader.ByteSize())) {}

    bool Run() {
        const uint32_t start = reader_.ReadU32();
        const uint32_t end = reader_.ReadU32();
        if (end > declaration_.positionCount) {
            Logger::Log(LogLevel::Error, messages_.resolutionTooHigh, name_);
            return false;
        }
        for (uint32_t r = start; r < end; ++r) {
            if (!Charge(1) || !ReadUpdate(r)) return false;
            if (reader_.Exhausted()) return Fail("%s: update data past the end of the block for '%s'");
        }
        return true;
    }

private:
    bool Fail(const char* format) {
        Logger::Log(LogLevel::Error, format, messages_.family, name_);
        return false;
    }
    bool FailFor(const char* format) {
        Logger::Log(LogLevel::Error, format, name_);
        return false;
    }
    // Every item an update adds is charged against what the block's size can honestly code,
    // so a block of cheaply coded values cannot grow the mesh without bound.
    bool Charge(uint64_t items) {
        if (items > budget_) return Fail("%s: more data than the block can carry for '%s'");
        budget_ -= items;
        return true;
    }
    bool HasNormals() const { return declaration_.normalCount != 0; }

    bool ReadUpdate(uint32_t r);
    bool ReadPosition(uint32_t split);
    bool ReadNormals(uint32_t split, uint32_t& added);
    Vec3f PredictNormal(uint32_t split) const;
    void AddToNormalSums(const Primitive& primitive);
    bool ReadPrimitive(uint32_t r, uint32_t newNormals);
    bool ReadEnd(const ShadingDescription& shading, uint32_t newNormals, Primitive& primitive, uint32_t end);
    bool ReadColor(float inverseQuant, std::vector<Vec4f>& colors, uint32_t& index, const char* reuseMessage);
    bool ReadTexCoord(uint32_t& index);
    Vec4f ReadDifference(uint32_t signContext, uint32_t valueContext, float inverseQuant);

    BitStreamReader& reader_;
    const PrimitiveSetData& declaration_;
    Data& data_;
    const char* name_;
    const SetMessages& messages_;
    uint64_t budget_;
};

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadUpdate(uint32_t r) {
    // Updates 0 and 1 both split with the one-symbol context: the index reads as 0.
    const uint32_t split = reader_.ReadCompressedU32(UniformIndexContext(std::max<uint32_t>(r, 1)));
    if (split > data_.positions.size()) return FailFor("Invalid split position index for AuthorMesh '%s'");
    if (!ReadPosition(split)) return false;
    uint32_t newNormals = 0;
    if (!ReadNormals(split, newNormals)) return false;

    const uint32_t count = reader_.ReadCompressedU32(Ctx::PrimitiveCount);
    if (uint64_t(data_.primitiveCount) + count > declaration_.primitiveCount) return FailFor(messages_.badNewCount);
    if (!Charge(count)) return false;
    for (uint32_t i = 0; i < count; ++i)
        if (!ReadPrimitive(r, newNormals)) return false;
    return true;
}

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadPosition(uint32_t split) {
    ReadSplitPosition(reader_, data_.positions, split, declaration_.inverseQuantPosition);
    return true;
}

// New normals are coded as differences from a prediction: the mean direction of the normals
// at the ends that stand on the split position (zero where there are none). The files that
// third-party writers make decode to unit normals this way.
template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadNormals(uint32_t split, uint32_t& added) {
    added = reader_.ReadCompressedU32(Ctx::NormalCount);
    if (!HasNormals()) return true;
    // The declared normal count is no bound: writers count one normal per line there and
    // then give each end its own.
    if (!Charge(added)) return false;
    const Vec3f prediction = PredictNormal(split);
    for (uint32_t i = 0; i < added; ++i) {
        const uint8_t sign = reader_.ReadCompressedU8(Ctx::NormalSign);
        Vec3f normal = prediction;
        for (uint32_t k = 0; k < 3; ++k) {
            const float value =
                static_cast<float>(reader_.ReadCompressedU32(Ctx::NormalValue0 + k)) * declaration_.inverseQuantNormal;
            normal[k] += (sign >> k) & 1 ? -value : value;
        }
        data_.normals.push_back(normal);
    }
    return true;
}

template <uint32_t Ends>
Vec3f SetUpdateDecoder<Ends>::PredictNormal(uint32_t split) const {
    if (split >= data_.normalSums.size()) return {0, 0, 0};
    const Vec3f& sum = data_.normalSums[split];
    const float length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
    if (!(length > 0.0f)) return {0, 0, 0};
    return {sum[0] / length, sum[1] / length, sum[2] / length};
}

template <uint32_t Ends>
void SetUpdateDecoder<Ends>::AddToNormalSums(const Primitive& primitive) {
    if (!HasNormals()) return;
    // Positions only grow by one per update, so the array never runs far ahead of them.
    if (data_.normalSums.size() < data_.positions.size()) data_.normalSums.resize(data_.positions.size(), {0, 0, 0});
    for (uint32_t end = 0; end < Ends; ++end) {
        const uint32_t position = primitive.positions[end];
        if (position >= data_.normalSums.size()) continue;
        const Vec3f& normal = data_.normals[primitive.normals[end]];
        for (uint32_t k = 0; k < 3; ++k) data_.normalSums[position][k] += normal[k];
    }
}

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadPrimitive(uint32_t r, uint32_t newNormals) {
    Primitive primitive;
    primitive.shadingId = reader_.ReadCompressedU32(Ctx::ShadingId);
    const auto& descriptions = declaration_.shadingDescriptions;
    if (primitive.shadingId >= declaration_.shadingCount || primitive.shadingId >= descriptions.size())
        return FailFor("Invalid shading ID for AuthorMesh '%s'");
    if constexpr (Ends == 2) {
        primitive.positions[0] = reader_.ReadCompressedU32(UniformIndexContext(r));
        if (primitive.positions[0] >= data_.positions.size())
            return FailFor("Invalid first position index for AuthorMesh '%s'");
    }
    primitive.positions[Ends - 1] = r;
    const ShadingDescription& shading = descriptions[primitive.shadingId];
    for (uint32_t end = 0; end < Ends; ++end)
        if (!ReadEnd(shading, newNormals, primitive, end)) return false;
    AddToNormalSums(primitive);
    data_.primitives.push_back(primitive);
    ++data_.primitiveCount;
    return true;
}

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadEnd(const ShadingDescription& shading, uint32_t newNormals, Primitive& primitive,
                                     uint32_t end) {
    if (HasNormals()) {
        // Counted back from the end: 0 is the first normal of this update.
        const uint32_t index =
            uint32_t(data_.normals.size()) - newNormals + reader_.ReadCompressedU32(Ctx::NormalIndex);
        if (index >= data_.normals.size()) return FailFor("Invalid global normal index for AuthorMesh '%s'");
        primitive.normals[end] = index;
    }
    if (shading.HasDiffuse() &&
        !ReadColor(declaration_.inverseQuantDiffuse, data_.diffuseColors, primitive.diffuse[end],
                   "Invalid diffuse color re-use index for AuthorMesh '%s'"))
        return false;
    if (shading.HasSpecular() &&
        !ReadColor(declaration_.inverseQuantSpecular, data_.specularColors, primitive.specular[end],
                   "Invalid specular color re-use index for AuthorMesh '%s'"))
        return false;
    // Re-used tex coords cost the stream almost nothing, so every layer is charged.
    if (!Charge(shading.layerCount)) return false;
    for (uint32_t layer = 0; layer < shading.layerCount; ++layer) {
        uint32_t index = 0;
        if (!ReadTexCoord(index)) return false;
        if (layer < ShadingDescription::kMaxLayers) primitive.texCoords[layer][end] = index;
    }
    return true;
}

template <uint32_t Ends>
Vec4f SetUpdateDecoder<Ends>::ReadDifference(uint32_t signContext, uint32_t valueContext, float inverseQuant) {
    const uint8_t sign = reader_.ReadCompressedU8(signContext);
    Vec4f difference;
    for (uint32_t k = 0; k < 4; ++k) {
        const float value = static_cast<float>(reader_.ReadCompressedU32(valueContext + k)) * inverseQuant;
        difference[k] = (sign >> k) & 1 ? -value : value;
    }
    return difference;
}

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadColor(float inverseQuant, std::vector<Vec4f>& colors, uint32_t& index,
                                       const char* reuseMessage) {
    const uint8_t flag = reader_.ReadCompressedU8(Ctx::ColorDuplicate);
    if (flag & kDuplicate) {
        if (colors.empty()) return FailFor(reuseMessage);
        index = uint32_t(colors.size() - 1);
        return true;
    }
    if (!Charge(1)) return false;
    const Vec4f difference = ReadDifference(Ctx::ColorSign, Ctx::ColorValue0, inverseQuant);
    Vec4f color = colors.empty() ? Vec4f{0, 0, 0, 0} : colors.back();
    for (uint32_t k = 0; k < 4; ++k) color[k] += difference[k];
    index = uint32_t(colors.size());
    colors.push_back(color);
    return true;
}

template <uint32_t Ends>
bool SetUpdateDecoder<Ends>::ReadTexCoord(uint32_t& index) {
    std::vector<Vec4f>& texCoords = data_.texCoords;
    const uint8_t flag = reader_.ReadCompressedU8(Ctx::TexDuplicate);
    if (flag & kDuplicate) {
        if (texCoords.empty()) return FailFor("Invalid texture coord re-use index for AuthorMesh '%s'");
        index = uint32_t(texCoords.size() - 1);
        return true;
    }
    if (!Charge(1)) return false;
    const Vec4f difference = ReadDifference(Ctx::TexSign, Ctx::TexValue0, declaration_.inverseQuantTexCoord);
    Vec4f texCoord = texCoords.empty() ? Vec4f{0, 0, 0, 0} : texCoords.back();
    for (uint32_t k = 0; k < 4; ++k) texCoord[k] += difference[k];
    index = uint32_t(texCoords.size());
    texCoords.push_back(texCoord);
    return true;
}

template <uint32_t Ends>
bool ReadSetUpdates(BitStreamReader& reader, AuthorMesh& mesh, const SetMessages& messages) {
    auto* declaration = mesh.DeclarationAs<PrimitiveSetData>();
    auto* continuation = mesh.ContinuationAs<SetContinuationData<Ends>>();
    if (!declaration || !continuation) {
        Logger::Log(LogLevel::Error, "Cannot look up declaration/continuation of AuthorMesh '%s'", mesh.name.c_str());
        return false;
    }
    SetUpdateDecoder<Ends> decoder(reader, *declaration, *continuation, mesh.name, messages);
    return decoder.Run();
}

}  // namespace

bool PointSetContinuation::ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) {
    return ReadSetUpdates<1>(reader, mesh, kPointMessages);
}

bool LineSetContinuation::ReadMeshSpecificData(BitStreamReader& reader, AuthorMesh& mesh) {
    return ReadSetUpdates<2>(reader, mesh, kLineMessages);
}

}  // namespace Velmora::U3D
