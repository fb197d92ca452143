// The normal step of the walk. Recalculated normals only consume the triangle's reversed
// flag here: the renderer's normal generation makes them from the finished mesh. Stored
// normals are pairs of quantised angles in the frame of their triangle, or references to a
// normal already known at the same point, each reference as wide as the number of candidates
// needs.

#include <cmath>

#include "prc/reader/Compressed3DTessDecoder.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Traversal::Face;
using Traversal::kCorners;
using Traversal::kNone;
using Traversal::kRightAngle;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kSignFlags = 3;
// Below this many candidates a reference takes one bit fewer than their number.
constexpr size_t kNarrowReferenceLimit = 4;

}  // namespace

bool Compressed3DTessDecoder::TakeFlag(uint8_t& flag) {
    if (cursors_.normalFlags >= tess_->normalFlagArray.size()) return false;
    flag = tess_->normalFlagArray[cursors_.normalFlags++];
    return true;
}

bool Compressed3DTessDecoder::CalculateTriangleFrame(const Face& face, PrcPt& sX, PrcPt& sY, PrcPt& sZ) const {
    switch (MakeTriangleFrame(face, sX, sY, sZ)) {
        case Traversal::FrameFault::None: return true;
        case Traversal::FrameFault::NoNormal:
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::CalculateTriangleNormalWithNormals() - Failed to unitize, invalid input "
                        "triangle!");
            return false;
        case Traversal::FrameFault::NoOrthoRep:
            Logger::Log(LogLevel::Error, "MeshTraversalDecode::CalculateNormalsForTriangle() - MakeOrthoRep() failed!");
            return false;
        case Traversal::FrameFault::NotOrthogonal:
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::CalculateNormalsForTriangle() - Vector safety check failed!");
            return false;
    }
    return false;
}

bool Compressed3DTessDecoder::ReadAndCalculateNextNormal(PrcPt sX, PrcPt sY, PrcPt sZ, const uint8_t signs[3],
                                                         int32_t& index) {
    const std::vector<uint16_t>& angles = tess_->normalAngleArray;
    if (cursors_.normalAngles + 2 > angles.size()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::ReadAndCalculateNextNormal() - OUT OF BOUNDS!");
        return false;
    }
    const double scale = static_cast<double>((1u << tess_->normalBits) - 1u);
    const double theta = angles[cursors_.normalAngles] * kRightAngle / scale;
    const double phi = angles[cursors_.normalAngles + 1] * kRightAngle / scale;
    cursors_.normalAngles += 2;
    if (signs[1]) sX = sX * -1.0;
    if (signs[2]) sY = sY * -1.0;
    if (signs[0]) sZ = sZ * -1.0;
    PrcPt normal = sX * (std::cos(theta) * std::cos(phi)) + sY * (std::sin(theta) * std::cos(phi)) + sZ * std::sin(phi);
    if (normal.Unitize() != 0) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::ReadAndCalculateNextNormal() - FAILED TO UNITIZE NORMAL!");
        return false;
    }
    if (std::isnan(normal.x) || std::isnan(normal.y) || std::isnan(normal.z)) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::ReadAndCalculateNextNormal() - INVALID NORMAL!");
        return false;
    }
    index = static_cast<int32_t>(normalStore_.size());
    normalStore_.push_back(normal);
    return true;
}

bool Compressed3DTessDecoder::GetReferenceNormalFromBinaryFlags(int32_t point, int32_t& index) {
    if (!PointExists(point) || pointNormals_[static_cast<size_t>(point)].empty()) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::GetReferenceNormalFromBinaryFlags() - Bad input data!");
        return false;
    }
    const std::vector<int32_t>& candidates = pointNormals_[static_cast<size_t>(point)];
    const size_t n = candidates.size();
    uint32_t width = 1;
    if (n < kNarrowReferenceLimit) {
        width = n > 2 ? static_cast<uint32_t>(n - 1) : 1u;
    } else {
        for (uint64_t mask = 1; n > mask; mask = mask * 2 + 1) ++width;
    }
    if (cursors_.normalFlags + width > tess_->normalFlagArray.size()) {
        Logger::Log(LogLevel::Error,
                    "MeshTraversalDecode::GetReferenceNormalFromBinaryFlags() - Invalid size of binary data! (3)");
        return false;
    }
    uint64_t value = 0;
    for (uint32_t bit = 0; bit < width; ++bit) value |= uint64_t{tess_->normalFlagArray[cursors_.normalFlags++]} << bit;
    if (value >= n) {
        Logger::Log(LogLevel::Error, "MeshTraversalDecode::GetReferenceNormalFromBinaryFlags() - Invalid ref index");
        return false;
    }
    uint64_t seen = 0;
    for (auto it = candidates.rbegin(); it != candidates.rend(); ++it) {
        if (*it == kNone) continue;
        if (seen++ == value) {
            index = *it;
            return true;
        }
    }
    Logger::Log(LogLevel::Error,
                "MeshTraversalDecode::GetReferenceNormalFromBinaryFlags() - reference normal not found!");
    return false;
}

bool Compressed3DTessDecoder::ReadNormal(int32_t point, const PrcPt& sX, const PrcPt& sY, const PrcPt& sZ,
                                         int32_t& index) {
    uint8_t isReference = 0;
    if (!TakeFlag(isReference)) {
        Logger::Log(LogLevel::Error,
                    "MeshTraversalDecode::CalculateNormalsForTriangle() - Invalid size of binary data! (1)");
        return false;
    }
    if (isReference) return GetReferenceNormalFromBinaryFlags(point, index);
    uint8_t signs[kSignFlags] = {0, 0, 0};
    for (uint8_t& sign : signs)
        if (!TakeFlag(sign)) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::CalculateNormalsForTriangle() - Invalid size of binary data! (2)");
            return false;
        }
    if (!ReadAndCalculateNextNormal(sX, sY, sZ, signs, index)) {
        Logger::Log(LogLevel::Error,
                    "MeshTraversalDecode::CalculateNormalsForTriangle() - Failed in ReadAndCalculateNextNormal()");
        return false;
    }
    return true;
}

// A corner at a point that an earlier triangle made takes the normal last made there: the
// stream holds normals only where a triangle brings a new point.
bool Compressed3DTessDecoder::ReadCornerNormal(Face& face, uint32_t corner, const PrcPt& sX, const PrcPt& sY,
                                               const PrcPt& sZ) {
    const auto point = static_cast<size_t>(face.points[corner]);
    std::vector<int32_t>& known = pointNormals_[point];
    if (!face.isNewPoint[corner]) {
        face.normals[corner] = kNone;
        for (auto it = known.rbegin(); it != known.rend() && face.normals[corner] == kNone; ++it)
            face.normals[corner] = *it;
        return true;
    }
    if (!ReadNormal(face.points[corner], sX, sY, sZ, face.normals[corner])) return false;
    known.push_back(face.normals[corner]);
    return true;
}

bool Compressed3DTessDecoder::CalculateNormalsForTriangle(Face& face) {
    if (tess_->normalsRecalculated) {
        // The flag was applied when the corners were read; here it is only passed.
        if (cursors_.reversed >= tess_->reversedArray.size()) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::SetDefaultNormalsOnTriangle() - reversed flag out of bounds!");
            return false;
        }
        ++cursors_.reversed;
        return true;
    }
    // An invalid triangle has no frame of its own; it still reads what a valid one would,
    // in a fixed frame, so that the flags and angles stay in step.
    PrcPt sX{1.0, 0.0, 0.0}, sY{0.0, 1.0, 0.0}, sZ{0.0, 0.0, 1.0};
    if (face.valid && !CalculateTriangleFrame(face, sX, sY, sZ)) return false;
    if (!face.valid) Logger::Log(LogLevel::Warning, "Warning: Setting default normals on (invalid) triangle!");
    face.normal = sZ;
    if (faces_[static_cast<size_t>(face.faceIndex)].isPlanar) {
        uint8_t takesTriangleNormal = 0;
        if (!TakeFlag(takesTriangleNormal)) {
            Logger::Log(LogLevel::Error,
                        "MeshTraversalDecode::CalculateNormalsForTriangle() - Invalid size of binary data (planar)!");
            return false;
        }
        int32_t index = kNone;
        if (takesTriangleNormal) {
            index = static_cast<int32_t>(normalStore_.size());
            normalStore_.push_back(sZ);
        } else {
            // The flag stood where a corner's reference flag stands; the signs and angles follow.
            --cursors_.normalFlags;
            if (!ReadNormal(face.points[0], sX, sY, sZ, index)) return false;
        }
        for (uint32_t c = 0; c < kCorners; ++c) {
            face.normals[c] = index;
            pointNormals_[static_cast<size_t>(face.points[c])].push_back(index);
        }
        return true;
    }
    for (uint32_t c = 0; c < kCorners; ++c)
        if (!ReadCornerNormal(face, c, sX, sY, sZ)) return false;
    return true;
}

}  // namespace Velmora::PRC
