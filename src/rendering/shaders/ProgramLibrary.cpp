#include "rendering/shaders/ProgramLibrary.h"

#include <new>

#include "rendering/shaders/DynamicShader.h"

namespace Velmora::Rendering {

ProgramLibrary& ProgramLibrary::Instance() {
    static ProgramLibrary library;
    return library;
}

std::shared_ptr<DynamicShader> ProgramLibrary::Find(const ProgramKey& key) {
    auto found = programs_.find(key);
    if (found == programs_.end()) return {};
    std::shared_ptr<DynamicShader> program = found->second.lock();
    if (!program) programs_.erase(found);
    return program;
}

void ProgramLibrary::Add(const ProgramKey& key, const std::shared_ptr<DynamicShader>& program) {
    DropGone();
    if (!program) return;
    // Without the entry the program still works; only the next scene compiles its own.
    try {
        programs_.insert_or_assign(key, program);
    } catch (const std::bad_alloc&) {}
}

void ProgramLibrary::DropGone() {
    std::erase_if(programs_, [](const auto& entry) { return entry.second.expired(); });
}

}  // namespace Velmora::Rendering
