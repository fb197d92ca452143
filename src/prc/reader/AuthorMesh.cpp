#include "prc/reader/AuthorMesh.h"

#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

bool AuthorMesh::Init(const std::shared_ptr<FileStructure::BaseTessData>& input) {
    kind = Invalid;
    tessellation.reset();
    if (!input || input->vertices.empty()) return false;
    switch (input->type) {
        case kTypeTessHighlyCompressed: kind = Triangles; break;
        case kTypeTess3D:
            kind = static_cast<const FileStructure::Content3DTess&>(*input).decodeAsLines ? Lines : Triangles;
            break;
        case kTypeTess3DWire: kind = Lines; break;
        case kTypeTessMarkup:
            Logger::Log(LogLevel::Error,
                        "ERROR: AuthorMesh::Init() - Got Types::PRC_TYPE_TESS_Markup, but not yet implemented!");
            return false;
        default: Logger::Log(LogLevel::Error, "AuthorMesh::Init() - UNSUPPORTED MESH TYPE"); return false;
    }
    tessellation = input;
    return true;
}

}  // namespace Velmora::PRC
