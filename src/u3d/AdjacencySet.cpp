#include "u3d/AdjacencySet.h"

#include <algorithm>
#include <array>
#include <functional>
#include <new>

#include "u3d/AuthorMesh.h"
#include "u3d/CLODMeshData.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

// ---------------------------------------------------------------------------------------
// IndexSet

void IndexSet::Insert(uint32_t value) {
    // Members mostly arrive in descending order, so the end is tried first.
    if (items_.empty() || items_.back() > value) {
        items_.push_back(value);
        return;
    }
    auto it = std::lower_bound(items_.begin(), items_.end(), value, std::greater<uint32_t>());
    if (*it != value) items_.insert(it, value);
}

void IndexSet::Erase(uint32_t value) {
    auto it = std::lower_bound(items_.begin(), items_.end(), value, std::greater<uint32_t>());
    if (it != items_.end() && *it == value) items_.erase(it);
}

bool IndexSet::Contains(uint32_t value) const {
    return std::binary_search(items_.begin(), items_.end(), value, std::greater<uint32_t>());
}

void IndexSet::Normalize() {
    const size_t size = items_.size();
    if (size < 2) return;
    if (size > 64) {
        std::sort(items_.begin(), items_.end(), std::greater<uint32_t>());
        items_.erase(std::unique(items_.begin(), items_.end()), items_.end());
        return;
    }
    // Neighbourhood sets are small, a few dozen values of which half or more are repeats
    // (the corners of the faces around one position). Repeats are dropped first, each value
    // tested against all distinct ones so far with no early exit, so the test has no
    // unpredictable branch and vectorises; the handful left is then put in order. The
    // distinct prefix never overtakes the value being read, so both happen in place.
    uint32_t* items = items_.data();
    size_t count = 1;
    for (size_t i = 1; i < size; ++i) {
        const uint32_t value = items[i];
        uint32_t seen = 0;
        for (size_t j = 0; j < count; ++j) seen |= items[j] == value;
        items[count] = value;
        count += seen ^ 1u;
    }
    // The distinct values are put in order by rank: a value's place is the number of values
    // above it. Counting compares every pair, but without a branch that depends on the
    // data, where an insertion sort of these few values mispredicts at almost every one.
    std::array<uint32_t, 64> ordered;
    for (size_t i = 0; i < count; ++i) {
        const uint32_t value = items[i];
        uint32_t rank = 0;
        for (size_t j = 0; j < count; ++j) rank += items[j] > value;
        ordered[rank] = value;
    }
    std::copy_n(ordered.data(), count, items);
    items_.resize(count);
}

// ---------------------------------------------------------------------------------------
// AdjacencySet

namespace {
constexpr uint32_t kInitialRun = 8;
}

bool AdjacencySet::Init(AuthorMesh* mesh) {
    if (!mesh) {
        Logger::Log(LogLevel::Error, "AdjacencySet::Init: Invalid input data");
        return false;
    }
    if (mesh_) {
        Logger::Log(LogLevel::Warning, "AdjacencySet::Init: already initialized!");
        return true;
    }
    if (!mesh->declaration) {
        Logger::Log(LogLevel::Error, "AdjacencySet::Init: Failed to get mesh declaration");
        return false;
    }
    mesh_ = mesh;
    positionCount_ = mesh->declaration->positionCount;
    declaration_ = dynamic_cast<const CLODMeshData*>(mesh->declaration.get());
    continuation_ = dynamic_cast<CLODMeshContinuationData*>(mesh->continuation.get());
    // Slots are made as positions are first touched, so a hostile positionCount costs
    // nothing until the data really reaches that far.
    try {
        runs_.reserve(std::min(positionCount_, kMaxReservedEntries));
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AdjacencySet::Init() - OUT OF MEMORY!");
        mesh_ = nullptr;
        return false;
    }
    return true;
}

bool AdjacencySet::EnsureRun(uint32_t position) {
    if (position < runs_.size()) return true;
    try {
        size_t grown = std::max<size_t>(size_t(position) + 1, runs_.size() * 2);
        runs_.resize(std::min<size_t>(grown, positionCount_));
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AdjacencySet::Init() - OUT OF MEMORY!");
        return false;
    }
    return true;
}

void AdjacencySet::AddFace(uint32_t position, uint32_t face) {
    if (position >= positionCount_ || !EnsureRun(position)) return;
    Run& run = runs_[position];
    uint32_t* begin = pool_.data() + run.offset;
    uint32_t* end = begin + run.size;
    uint32_t* at = end;
    if (run.size != 0 && end[-1] >= face) {
        at = std::lower_bound(begin, end, face);
        if (*at == face) return;
    }
    if (run.size == run.capacity) {
        const uint32_t capacity = run.capacity ? run.capacity * 2 : kInitialRun;
        const size_t offset = pool_.size();
        const size_t rank = static_cast<size_t>(at - begin);
        try {
            pool_.resize(offset + capacity);
        } catch (const std::bad_alloc&) {
            Logger::Log(LogLevel::Error, "AdjacencySet::AddFace() - OUT OF MEMORY!");
            return;
        }
        std::copy_n(pool_.begin() + run.offset, run.size, pool_.begin() + offset);
        run.offset = static_cast<uint32_t>(offset);
        run.capacity = capacity;
        begin = pool_.data() + run.offset;
        end = begin + run.size;
        at = begin + rank;
    }
    std::copy_backward(at, end, end + 1);
    *at = face;
    ++run.size;
}

bool AdjacencySet::GetFaceSet(uint32_t position, std::span<const uint32_t>& out) {
    if (position >= positionCount_ || !EnsureRun(position)) {
        Logger::Log(LogLevel::Error, "AdjacencySet::GetFaceSet - invalid index!");
        out = {};
        return false;
    }
    const Run& run = runs_[position];
    out = std::span<const uint32_t>(pool_.data() + run.offset, run.size);
    return true;
}

void AdjacencySet::Remove(uint32_t position, uint32_t face) {
    if (position >= positionCount_) {
        Logger::Log(LogLevel::Error, "AdjacencySet::Remove - invalid index!");
        return;
    }
    if (position >= runs_.size()) return;
    Run& run = runs_[position];
    uint32_t* begin = pool_.data() + run.offset;
    uint32_t* end = begin + run.size;
    uint32_t* at = std::lower_bound(begin, end, face);
    if (at == end || *at != face) return;
    std::copy(at + 1, end, at);
    --run.size;
}

bool AdjacencySet::GetPositionSet(std::span<const uint32_t> faceSet, IndexSet& setOut) {
    if (!continuation_) {
        Logger::Log(LogLevel::Error, "AdjacencySet::GetPositionSet: failed to get mesh continuation");
        return false;
    }
    const auto& corners = continuation_->faceCorners;
    const size_t start = setOut.size();
    uint32_t* out = setOut.Extend(faceSet.size() * 3);
    size_t added = 0;
    for (uint32_t face : faceSet) {
        if (face >= corners.size()) continue;  // faces enter the sets only once stored
        for (uint32_t p : corners[face].positions) out[added++] = p;
    }
    setOut.Truncate(start + added);
    setOut.Normalize();
    return true;
}

bool AdjacencySet::GetDiffuseColorSet(uint32_t position, IndexSet& setOut) {
    return GetAttributeSet(Attribute::Diffuse, 0, position, setOut);
}

bool AdjacencySet::GetSpecularColorSet(uint32_t position, IndexSet& setOut) {
    return GetAttributeSet(Attribute::Specular, 0, position, setOut);
}

bool AdjacencySet::GetTexCoordSet(uint32_t layer, uint32_t position, IndexSet& setOut) {
    return GetAttributeSet(Attribute::TexCoord, layer, position, setOut);
}

bool AdjacencySet::GetAttributeSet(Attribute attribute, uint32_t layer, uint32_t position, IndexSet& setOut) {
    static constexpr const char* kNames[] = {"GetDiffuseColorSet", "GetSpecularColorSet", "GetTexCoordSet"};
    const char* name = kNames[static_cast<int>(attribute)];
    setOut.clear();
    if (attribute == Attribute::TexCoord && layer >= kMaxQueryLayers) {
        Logger::Log(LogLevel::Error,
                    "AdjacencySet::GetTexCoordSet: invalid texture layers, currently only 4 supported");
        return false;
    }
    std::span<const uint32_t> faceSet;
    if (position >= positionCount_ || !EnsureRun(position)) {
        Logger::Log(LogLevel::Error, "AdjacencySet::%s: failed to get FaceSet", name);
        return false;
    }
    faceSet = std::span<const uint32_t>(pool_.data() + runs_[position].offset, runs_[position].size);
    if (!declaration_) {
        Logger::Log(LogLevel::Error, "AdjacencySet::%s: failed to get mesh declaration", name);
        return false;
    }
    if (!continuation_) {
        Logger::Log(LogLevel::Error, "AdjacencySet::%s: failed to get mesh continuation", name);
        return false;
    }
    const auto& descriptions = declaration_->shadingDescriptions;
    const auto& records = continuation_->faceCorners;
    for (uint32_t faceIndex : faceSet) {
        // The shading and the corner come from the compact record; the full face is read
        // only for a face that carries the attribute.
        if (faceIndex >= records.size()) continue;
        const uint32_t shadingId = records[faceIndex].shadingId;
        if (shadingId >= descriptions.size()) continue;
        const ShadingDescription& shading = descriptions[shadingId];
        const bool has = attribute == Attribute::Diffuse    ? shading.HasDiffuse()
                         : attribute == Attribute::Specular ? shading.HasSpecular()
                                                            : layer < shading.layerCount;
        if (!has) continue;
        const int corner = continuation_->CornerOf(faceIndex, position);
        if (corner < 0) {
            Logger::Log(LogLevel::Error, "AdjacencySet::%s: bad position index", name);
            continue;
        }
        switch (attribute) {
            case Attribute::Diffuse: setOut.Append(continuation_->Diffuse(faceIndex)[corner]); break;
            case Attribute::Specular: setOut.Append(continuation_->Specular(faceIndex)[corner]); break;
            case Attribute::TexCoord: setOut.Append(continuation_->TexCoords(faceIndex, layer)[corner]); break;
        }
    }
    setOut.Normalize();
    return true;
}

}  // namespace Velmora::U3D
