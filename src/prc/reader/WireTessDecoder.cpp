// Wire indices are offsets into the flat coordinate array, three a point.

#include "prc/reader/WireTessDecoder.h"

#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kCoordinatesPerVertex = 3;
constexpr size_t kIndicesPerSegment = 2;

}  // namespace

bool WireTessDecoder::PrepareDecode() {
    if (tess_.numberOfWireIndices == 0 && tess_.wires.empty()) {
        // Without wire indices the points themselves, in order, are the one wire.
        Wire wire;
        wire.indices.reserve(tess_.vertices.size());
        for (size_t v = 0; v < tess_.vertices.size(); ++v)
            wire.indices.push_back(static_cast<int32_t>(v * kCoordinatesPerVertex));
        wire.numberOfPoints = static_cast<uint32_t>(wire.indices.size());
        tess_.wires.push_back(std::move(wire));
    }
    size_t indices = 0;
    for (const Wire& wire : tess_.wires)
        if (wire.indices.size() > 1) indices += (wire.indices.size() - 1) * kIndicesPerSegment;
    tess_.triangleIndices.reserve(indices);
    ReportShare(kPrepareShare);
    return true;
}

bool WireTessDecoder::DoDecode() {
    const size_t vertexCount = tess_.vertices.size();
    for (const Wire& wire : tess_.wires) {
        for (size_t p = 0; p < wire.indices.size(); ++p) {
            const int32_t offset = wire.indices[p];
            if (offset < 0 || static_cast<size_t>(offset) / kCoordinatesPerVertex >= vertexCount) {
                Logger::Log(LogLevel::Error, "WireTessDecoder::DoDecode() - wire index %d outside the vertices",
                            offset);
                return false;
            }
            const auto vertex = static_cast<uint32_t>(offset) / kCoordinatesPerVertex;
            // Inner points end one segment and start the next.
            if (p > 0) tess_.triangleIndices.push_back(vertex);
            if (p + 1 < wire.indices.size()) tess_.triangleIndices.push_back(vertex);
        }
    }
    ReportShare(kDecodeShare);
    return true;
}

}  // namespace Velmora::PRC
