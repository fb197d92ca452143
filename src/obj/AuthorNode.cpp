#include "obj/AuthorNode.h"

#include <new>

#include "util/Logger.h"

namespace Velmora::OBJ {

std::shared_ptr<AuthorNode> AuthorNode::Create(const std::string& name, uint32_t type) {
    if (name.empty() || (type != Group && type != Model)) return nullptr;
    std::shared_ptr<AuthorNode> node(new (std::nothrow) AuthorNode());
    if (!node) {
        Utility::Logger::Log(Utility::LogLevel::Error, "AuthorNode::Create() - OUT OF MEMORY!");
        return nullptr;
    }
    node->name = name;
    node->type = type;
    return node;
}

}  // namespace Velmora::OBJ
