#include "u3d/RHReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "u3d/AuthorShaderPool.h"
#include "u3d/RHCMeshData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint32_t kMaxUxBytes = 4;
constexpr uint32_t kIndexRangeOffset = 1024;
constexpr double kTwoPi = 6.283185307179586;
// Bits of a group record's flags byte: widths of its two values, and attribute hints.
constexpr uint32_t kFirstWidthShift = 4, kSecondWidthShift = 2, kWidthMask = 0x3;
constexpr uint8_t kColourHints = 0xC0;
constexpr uint32_t kCountWidthShift = 6;
}  // namespace

bool RHReader::Fail(const char* message) {
    if (!failed_) Logger::Log(LogLevel::Error, "%s", message);
    failed_ = true;
    return false;
}

uint8_t RHReader::ReadU8() {
    if (failed_) return 0;
    if (cursor_ >= size_) {
        Fail("RHReader::ReadU8() - out of bounds!");
        return 0;
    }
    return data_[cursor_++];
}

uint16_t RHReader::ReadU16() { return uint16_t(ReadUx(1)); }

uint32_t RHReader::ReadU32() { return ReadUx(3); }

uint32_t RHReader::ReadUx(uint32_t n) {
    if (n >= kMaxUxBytes) {
        Fail("RHReader::ReadUx() - invalid number of bytes!");
        return 0;
    }
    uint32_t value = 0;
    for (uint32_t i = 0; i <= n; ++i) value |= uint32_t(ReadU8()) << (8 * i);
    return value;
}

float RHReader::ReadF32() {
    if (failed_) return 0.0f;
    if (Remaining() < sizeof(float)) {
        Fail("RHReader::ReadF32() - out of bounds!");
        return 0.0f;
    }
    const uint32_t bits = ReadU32();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// ---- integer arrays -------------------------------------------------------------------------

bool RHReader::ReadEncodedUIntArray(uint64_t count, std::vector<uint32_t>& out) {
    if (failed_) return false;
    // No encoding codes a value in less than half a byte, except the all-zero and all-equal
    // ones; callers bound their counts by the payload before asking, this is the last guard.
    if (count > uint64_t(size_) * 2 + 64) return Fail("RHReader::ReadEncodedUIntArray() - invalid array size!");
    try {
        out.assign(size_t(count), 0);
    } catch (const std::bad_alloc&) {
        return Fail("RHReader::ReadEncodedUIntArray() - OUT OF MEMORY!");
    }
    const uint8_t head = ReadU8();
    const uint32_t body = ReadUx(head >> kCountWidthShift);
    const uint32_t encoding = head & 0x3F;
    if (failed_) return false;
    if (body > Remaining()) return Fail("RHReader::ReadEncodedUIntArray() - encoded data past the end!");
    const uint32_t start = cursor_;
    switch (encoding) {
        case AllZero: break;
        case AllEqual: {
            if (body < sizeof(uint32_t)) return Fail("RHReader::ReadEncodedUIntArray() - invalid data size!");
            const uint32_t value = ReadU32();
            for (uint32_t& v : out) v = value;
            break;
        }
        case Nibbles: {
            if (body != (count + 1) / 2) return Fail("RHReader::ReadEncodedUIntArray() - invalid data size!");
            for (uint64_t i = 0; i < count; ++i) {
                const uint8_t byte = data_[start + i / 2];
                out[i] = (i & 1) ? byte >> 4 : byte & 0x0F;
            }
            break;
        }
        case Plain1:
        case Plain1 + 1:
        case Plain1 + 2:
        case Plain4: {
            const uint32_t bytes = encoding - Plain1 + 1;
            if (body != count * bytes) return Fail("RHReader::ReadEncodedUIntArray() - invalid data size!");
            for (uint32_t& v : out) v = ReadUx(bytes - 1);
            break;
        }
        case UIC1:
            if (!ReadUIC1UIntArray(out, body)) return false;
            break;
        default: return Fail("RHReader::ReadEncodedUIntArray() - Invalid/Unsuported encoding type!");
    }
    cursor_ = start + body;
    return !failed_;
}

bool RHReader::ReadUIC1UIntArray(std::vector<uint32_t>& array, uint32_t bodySize) {
    values_.fill(0);
    differences_.fill(0);
    valuePosition_ = differencePosition_ = 0;
    // k back: 0 is the last value (or difference) decoded.
    auto valueBack = [&](uint32_t k) { return values_[(valuePosition_ + kHistory - 1 - k % kHistory) % kHistory]; };
    auto differenceBack = [&](uint32_t k) {
        return differences_[(differencePosition_ + kHistory - 1 - k % kHistory) % kHistory];
    };
    constexpr uint32_t kFar = 0x11, kFarBack = 16, kThirdBack = 2, kFewValues = 3;
    const uint32_t end = cursor_ + bodySize;
    size_t decoded = 0;
    while (cursor_ < end) {
        const uint8_t byte = data_[cursor_++];
        const uint32_t h = byte >> 4;
        const uint32_t last = valueBack(0);
        const bool few = decoded < kFewValues;
        uint32_t value = 0;
        switch (byte & 0x0F) {
            case Back: value = valueBack(h); break;
            case Step: value = (h & 1) ? last + (h / 2 + 1) : last - (h / 2 + 1); break;
            case Stop:
                return Fail("RHReader::ReadUIC1UIntArray() - decoding error, not all array values have been filled!");
            case ThirdBackUp: value = few ? h + 1 : valueBack(kThirdBack) + h + 1; break;
            case ThirdBackDown: value = few ? uint32_t(-1) - h : valueBack(kThirdBack) - h - 1; break;
            case FarBack: value = valueBack(h + kFarBack); break;
            case RepeatDifference: value = last + differenceBack(h); break;
            case ThirdBackFarUp: value = few ? h + kFar : valueBack(kThirdBack) + h + kFar; break;
            case ThirdBackFarDown: value = few ? uint32_t(0) - kFar - h : valueBack(kThirdBack) - h - kFar; break;
            default: return Fail("RHReader::ReadUIC1UIntArray() - Invalid blockSizeDelta!");
        }
        if (decoded >= array.size())
            return Fail("RHReader::ReadUIC1UIntArray() - decoding error, more values than the array holds!");
        array[decoded++] = value;
        values_[valuePosition_] = value;
        valuePosition_ = (valuePosition_ + 1) % kHistory;
        differences_[differencePosition_] = value - last;
        differencePosition_ = (differencePosition_ + 1) % kHistory;
    }
    if (decoded < array.size())
        return Fail("RHReader::ReadUIC1UIntArray() - decoding error, not all array values have been filled!");
    return true;
}

// ---- float arrays ---------------------------------------------------------------------------

bool RHReader::ReadQuantCompressedFloatArray(uint64_t count, std::vector<float>& out) {
    const float lo = ReadF32();
    const float hi = ReadF32();
    const uint32_t quant = ReadU32();
    if (failed_) return false;
    if (!std::isfinite(lo) || !std::isfinite(hi) || hi < lo || quant == 0)
        return Fail("RHReader::ReadQuantCompressedFloatArray() - invalid min/max values");
    std::vector<uint32_t> values;
    if (!ReadEncodedUIntArray(count, values)) return false;
    out.resize(values.size());
    const double scale = (double(hi) - double(lo)) / quant;
    for (size_t i = 0; i < values.size(); ++i) out[i] = float(values[i] * scale + lo);
    return true;
}

bool RHReader::ReadQuantCompressedVec3Array(uint64_t count, std::vector<Vec3f>& out) {
    float lo[3], hi[3];
    for (float& v : lo) v = ReadF32();
    for (float& v : hi) v = ReadF32();
    const uint32_t quant = ReadU32();
    if (failed_) return false;
    if (quant == 0) return Fail("RHReader::ReadQuantCompressedVec3Array() - invalid ZERO quant!");
    for (int k = 0; k < 3; ++k)
        if (!std::isfinite(lo[k]) || !std::isfinite(hi[k]) || hi[k] < lo[k])
            return Fail("RHReader::ReadQuantCompressedFloatArray() - invalid min/max values");
    std::vector<uint32_t> values;
    if (!ReadEncodedUIntArray(count * 3, values)) return false;
    out.resize(size_t(count));
    for (size_t i = 0; i < out.size(); ++i)
        for (int k = 0; k < 3; ++k)
            out[i][k] = float(values[i * 3 + k] * ((double(hi[k]) - double(lo[k])) / quant) + lo[k]);
    return true;
}

bool RHReader::ReadQuantCompressedAlphaThetaFloatArray(uint64_t count, std::vector<Vec3f>& out) {
    const uint32_t quant = ReadU32();
    if (failed_) return false;
    if (quant == 0) return Fail("RHReader::ReadQuantCompressedAlphaThetaFloatArray() - invalid ZERO quant!");
    std::vector<uint32_t> values;
    if (!ReadEncodedUIntArray(count * 2, values)) return false;
    out.resize(size_t(count));
    for (size_t i = 0; i < out.size(); ++i) {
        const double alpha = values[i * 2] * kTwoPi / quant;
        const double theta = values[i * 2 + 1] * kTwoPi / quant;
        out[i] = {float(std::cos(alpha) * std::sin(theta)), float(std::sin(alpha) * std::sin(theta)),
                  float(std::cos(theta))};
    }
    return true;
}

bool RHReader::ReadFloatArray(uint64_t count, std::vector<float>& out) {
    const uint8_t format = ReadU8();
    if (failed_) return false;
    if (format == Quantised) return ReadQuantCompressedFloatArray(count, out);
    if (format != PlainFloats) return Fail("RHReader::ReadFloatArray() - unsupported float compression format!");
    if (count * sizeof(float) > Remaining()) return Fail("RHReader::ReadF32() - out of bounds!");
    out.resize(size_t(count));
    for (float& v : out) v = ReadF32();
    return !failed_;
}

bool RHReader::ReadVec3Array(uint64_t count, std::vector<Vec3f>& out) {
    try {
        const uint8_t format = ReadU8();
        bool ok = false;
        if (failed_) {
            ok = false;
        } else if (format == PlainFloats) {
            ok = count * 3 * sizeof(float) <= Remaining();
            if (ok) {
                out.resize(size_t(count));
                for (Vec3f& v : out)
                    for (float& c : v) c = ReadF32();
            }
        } else if (format == Quantised) {
            ok = ReadQuantCompressedVec3Array(count, out);
        } else if (format == AlphaTheta) {
            ok = ReadQuantCompressedAlphaThetaFloatArray(count, out);
        }
        if (!ok || failed_) {
            failed_ = false;  // the array's own message names what failed
            return Fail("RHReader::ReadVec3Array() - failed to decode mesh positions!");
        }
    } catch (const std::bad_alloc&) {
        return Fail("RHReader::ReadVec3Array() - OUT OF MEMORY!");
    }
    return true;
}

bool RHReader::ReadVec4Array(uint64_t count, std::vector<Vec4f>& out) {
    try {
        const uint8_t format = ReadU8();
        bool ok = false;
        if (failed_) {
            ok = false;
        } else if (format == PlainFloats) {
            ok = count * 4 * sizeof(float) <= Remaining();
            if (ok) {
                out.resize(size_t(count));
                for (Vec4f& v : out)
                    for (float& c : v) c = ReadF32();
            }
        } else if (format == Quantised) {
            std::vector<float> values;
            ok = ReadQuantCompressedFloatArray(count * 4, values);
            if (ok) {
                out.resize(size_t(count));
                for (size_t i = 0; i < out.size(); ++i)
                    for (int k = 0; k < 4; ++k) out[i][k] = values[i * 4 + k];
            }
        }
        if (!ok || failed_) {
            failed_ = false;
            return Fail("RHReader::ReadVec4Array() - failed to decode mesh positions!");
        }
    } catch (const std::bad_alloc&) {
        return Fail("RHReader::ReadVec4Array() - OUT OF MEMORY!");
    }
    return true;
}

// ---- the mesh -------------------------------------------------------------------------------

bool RHReader::ReadGroupRecords(uint32_t faceLimit, std::vector<uint32_t>& groupFaces) {
    const uint32_t records = ReadU8();
    for (uint32_t i = 0; i < records && !failed_; ++i) {
        const uint8_t flags = ReadU8();
        const uint32_t faces = ReadUx((flags >> kFirstWidthShift) & kWidthMask);
        ReadUx((flags >> kSecondWidthShift) & kWidthMask);  // reserved
        if (flags & kColourHints) Logger::Log(LogLevel::Info, "Has diffuse/specular");
        // The record is padded to whole words of its face count.
        const uint32_t padding = faces == 0 ? 0 : (faces - 1) / 4;
        if (padding > Remaining()) return Fail("RHReader::ReadU8() - out of bounds!");
        cursor_ += padding;
        if (faces > faceLimit) return Fail("RHReader::ReadMeshInfo() - invalid group face count!");
        groupFaces.push_back(faces);
    }
    return !failed_;
}

bool RHReader::ReadMeshInfo(RHCMeshData& declaration, RHCMeshContinuationData& continuation) {
    groupCount_ = shadingGroup_ ? uint32_t(shadingGroup_->shaderLists.size()) : 1;
    if (groupCount_ == 0) return Fail("RHReader::ReadMeshInfo() - empty shading group, chunk reading aborted!");
    // Each index costs at least half a byte of the payload.
    const uint64_t maxIndices = uint64_t(size_) * 2;
    std::vector<uint32_t> groupFaces;
    if (groupCount_ >= 2 && !ReadGroupRecords(uint32_t(std::min<uint64_t>(maxIndices, UINT32_MAX)), groupFaces))
        return false;
    const uint8_t present = ReadU8();
    const uint32_t width = present >> kCountWidthShift;
    std::array<uint32_t, CountBits> counts{};
    for (uint32_t bit = 0; bit < CountBits; ++bit)
        if (present & (1u << bit)) counts[bit] = ReadUx(width);
    if (failed_) return false;
    if (counts[Faces] == 0) return Fail("RHReader::ReadMeshInfo() - no face indices, chunk reading aborted!");
    if (counts[Positions] == 0) return Fail("RHReader::ReadMeshInfo() - no vertex positions, chunk reading aborted!");
    const uint64_t indices = uint64_t(counts[Faces]) * 3;
    if (indices > maxIndices) return Fail("RHReader::ReadMeshInfo() - counts exceed the data, chunk reading aborted!");
    // An attribute with more entries than there are corners to use them can't be honest.
    for (uint32_t bit = Positions; bit < CountBits; ++bit)
        if (counts[bit] > indices)
            return Fail("RHReader::ReadMeshInfo() - counts exceed the data, chunk reading aborted!");

    declaration.faceCount = counts[Faces];
    declaration.positionCount = counts[Positions];
    declaration.normalCount = counts[Normals];
    declaration.diffuseCount = counts[Diffuse];
    declaration.specularCount = counts[Specular];
    declaration.texCoordCount = counts[TexCoords];
    declaration.shadingCount = groupCount_;
    ShadingDescription shading;
    if (counts[Diffuse]) shading.shadingAttributes |= ShadingDescription::kDiffuse;
    if (counts[Specular]) shading.shadingAttributes |= ShadingDescription::kSpecular;
    if (counts[TexCoords]) {
        shading.layerCount = 1;
        shading.layerDimensions[0] = 2;
    }
    declaration.shadingDescriptions.assign(groupCount_, shading);

    if (!groupFaces.empty()) {
        // Faces belong to the groups in order; faces past the last group get an id past the
        // descriptions, which the build refuses.
        continuation.faceGroups.assign(counts[Faces], uint32_t(groupFaces.size()));
        uint64_t face = 0;
        for (uint32_t group = 0; group < groupFaces.size(); ++group)
            for (uint32_t i = 0; i < groupFaces[group] && face < counts[Faces]; ++i)
                continuation.faceGroups[size_t(face++)] = group;
    }
    return true;
}

bool RHReader::ReadIndices(const RHCMeshData& declaration, RHCMeshContinuationData& continuation) {
    const uint64_t indexCount = uint64_t(declaration.faceCount) * 3;
    continuation.faces.assign(declaration.faceCount, RHCFace{});
    using Corners = std::array<uint32_t, 3> RHCFace::*;
    const struct {
        uint32_t count;
        Corners field;
    } arrays[] = {{declaration.positionCount, &RHCFace::positions},
                  {declaration.normalCount, &RHCFace::normals},
                  {declaration.diffuseCount, &RHCFace::diffuse},
                  {declaration.specularCount, &RHCFace::specular},
                  {declaration.texCoordCount, &RHCFace::texCoords}};
    std::vector<uint32_t> indices;
    for (const auto& array : arrays) {
        if (array.count == 0) continue;
        indexRange_ = array.count + kIndexRangeOffset;
        if (!ReadEncodedUIntArray(indexCount, indices)) return false;
        for (uint64_t i = 0; i < indexCount; ++i) {
            if (indices[i] >= array.count) return Fail("RHReader::ReadIndices() - index out of range!");
            (continuation.faces[size_t(i / 3)].*array.field)[i % 3] = indices[i];
        }
    }
    return true;
}

bool RHReader::ReadAttributes(const RHCMeshData& declaration, RHCMeshContinuationData& continuation) {
    if (!ReadVec3Array(declaration.positionCount, continuation.positions)) return false;
    if (declaration.normalCount && !ReadVec3Array(declaration.normalCount, continuation.normals)) return false;
    if (declaration.diffuseCount && !ReadVec4Array(declaration.diffuseCount, continuation.diffuseColors)) return false;
    if (declaration.specularCount && !ReadVec4Array(declaration.specularCount, continuation.specularColors))
        return false;
    if (declaration.texCoordCount) {
        std::vector<float> uv;
        if (!ReadFloatArray(uint64_t(declaration.texCoordCount) * 2, uv)) return false;
        continuation.texCoords.resize(declaration.texCoordCount);
        for (size_t i = 0; i < continuation.texCoords.size(); ++i)
            continuation.texCoords[i] = {uv[i * 2], uv[i * 2 + 1], 0.0f, 0.0f};
    }
    return true;
}

bool RHReader::Read(RHCMeshData& declaration, RHCMeshContinuationData& continuation) {
    try {
        if (!ReadMeshInfo(declaration, continuation) || !ReadIndices(declaration, continuation) ||
            !ReadAttributes(declaration, continuation))
            return false;
    } catch (const std::bad_alloc&) {
        return Fail("RHReader::Read() - OUT OF MEMORY!");
    }
    continuation.primitiveCount = declaration.faceCount;
    return !failed_;
}

}  // namespace Velmora::U3D
