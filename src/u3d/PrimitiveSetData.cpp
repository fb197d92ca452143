#include "u3d/PrimitiveSetData.h"

#include <algorithm>
#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr LogLevel kDumpLevel = LogLevel::ExtraVerbose;

uint32_t Capped(uint64_t count) { return static_cast<uint32_t>(std::min<uint64_t>(count, kMaxReservedEntries)); }

void PrintRecord(uint32_t i, const PointRecord& p) {
    const auto& t = p.texCoords;
    Logger::Log(kDumpLevel, "[%04u] P{%u} Sd{%u} N{%u} D{%u} S{%u} T{%u/%u/%u/%u}", i, p.positions[0], p.shadingId,
                p.normals[0], p.diffuse[0], p.specular[0], t[0][0], t[1][0], t[2][0], t[3][0]);
}

void PrintRecord(uint32_t i, const LineRecord& l) {
    const auto& t = l.texCoords;
    Logger::Log(kDumpLevel, "[%04u] P{%u/%u} Sd{%u} N{%u/%u} D{%u/%u} S{%u/%u} T{%u/%u}{%u/%u}{%u/%u}{%u/%u}", i,
                l.positions[0], l.positions[1], l.shadingId, l.normals[0], l.normals[1], l.diffuse[0], l.diffuse[1],
                l.specular[0], l.specular[1], t[0][0], t[0][1], t[1][0], t[1][1], t[2][0], t[2][1], t[3][0], t[3][1]);
}
}  // namespace

std::shared_ptr<AuthorMeshContinuationData> PointSetData::CreateContinuationData() const {
    return std::make_shared<PointSetContinuationData>();
}

std::shared_ptr<AuthorMeshContinuationData> LineSetData::CreateContinuationData() const {
    return std::make_shared<LineSetContinuationData>();
}

template <uint32_t Ends>
bool SetContinuationData<Ends>::Prepare(const AuthorMeshData& declaration) {
    if (!AuthorMeshContinuationData::Prepare(declaration)) return false;
    const auto* set = dynamic_cast<const PrimitiveSetData*>(&declaration);
    if (!set) return false;
    try {
        // A line's two ends may each carry a normal of their own.
        normals.reserve(Capped(uint64_t(set->positionCount) * Ends));
        primitives.reserve(Capped(set->primitiveCount));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

template <uint32_t Ends>
void SetContinuationData<Ends>::Print() const {
    if (!Logger::Passes(kDumpLevel)) return;
    PrintArrays();
    Logger::Log(kDumpLevel, Ends == 1 ? "Available Points: " : "Available Lines: ");
    for (uint32_t i = 0; i < primitiveCount && i < primitives.size(); ++i) PrintRecord(i, primitives[i]);
}

template class SetContinuationData<1>;
template class SetContinuationData<2>;

}  // namespace Velmora::U3D
