#include "obj/AuthoringPool_OBJ.h"

#include <new>

#include "format/AuthoringInterrupt.h"
#include "obj/NodeTreeBuilder.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using FormatGlue::AuthoringInterrupt;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr float kReadPoints = 50.0f;
}  // namespace

bool AuthoringPool_OBJ::Init() {
    if (meshPool_) return true;
    meshPool_.reset(new (std::nothrow) AuthorMeshPool());
    materialPool_.reset(new (std::nothrow) AuthorMaterialPool());
    if (meshPool_ && materialPool_) parser_ = ObjParser::Create(meshPool_.get(), materialPool_.get());
    if (!meshPool_ || !materialPool_ || !parser_) {
        Logger::Log(LogLevel::Error, "AuthoringPool_OBJ::Init(): Failed to allocate memory for pool objects!");
        Shutdown();
        return false;
    }
    return true;
}

void AuthoringPool_OBJ::Shutdown() {
    if (parser_) parser_->Shutdown();
    parser_.reset();
    rootNode_.reset();
    meshPool_.reset();
    materialPool_.reset();
}

bool AuthoringPool_OBJ::LoadFromFile(const std::string& path, Timer timer) {
    if (!parser_ && !Init()) return false;
    if (!parser_->Parse(path)) return false;
    {
        Utility::ScopedSubTimer stage(timer, "LoadFromFile::CreateAuthoringObjectsFromFile");
        if (!CreateAuthoringObjectsFromParsedData()) return false;
    }
    progress_.UpdateProgress(kReadPoints);
    return !AuthoringInterrupt::Interrupted();
}

bool AuthoringPool_OBJ::LoadFromMemory(const uint8_t*, uint32_t, Timer) {
    Logger::Log(LogLevel::Error, "Loading OBJ from memory not supported");
    return false;
}

bool AuthoringPool_OBJ::CreateAuthoringObjectsFromParsedData() {
    if (!parser_ || !meshPool_) return false;
    const std::string& objectName = parser_->ObjectName();
    rootNode_ = AuthorNode::Create(objectName.empty() ? kRootModelName : objectName, AuthorNode::Group);
    if (!rootNode_) return false;
    return NodeTreeBuilder::Build(*meshPool_, rootNode_->children);
}

}  // namespace Velmora::OBJ
