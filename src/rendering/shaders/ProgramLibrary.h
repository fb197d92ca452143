#pragma once
// ProgramLibrary: the generated programs that are alive in the one GL context, found by what
// decides their text and their block bindings, so that scenes drawn with the same kinds of
// shading share one program instead of each compiling and linking its own. A program's GLSL
// follows from its name and the context's shading language version, which stays the same for
// the life of the context; the uniform block binding points are set on the program itself and
// the blend mode is applied by it at every activation, so they are part of the key too.
//
// The library holds no program: every scene's ShaderManager2 keeps the programs it uses, and a
// program goes (with its GL object) when the last scene using it lets go. Capture hosts load
// and unload scenes of the same files over and over; without sharing, every load compiled every
// program again, and the driver's compiler churn was most of the render thread's allocations.
// Render thread only.

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace Velmora::Rendering {

class DynamicShader;

struct ProgramKey {
    std::string name;  // ShaderManager2::BuildName
    uint32_t matricesBindingPoint = 0;
    uint32_t lightsBindingPoint = 0;
    uint32_t blendMode = 0;
    auto operator<=>(const ProgramKey&) const = default;
};

class ProgramLibrary {
public:
    static ProgramLibrary& Instance();

    // The live program under key; empty when there is none (never built, or every scene that
    // used it is gone).
    std::shared_ptr<DynamicShader> Find(const ProgramKey& key);
    // Makes a built program findable; entries of programs that are gone are dropped here, so
    // the table never holds more than the live programs and one new one.
    void Add(const ProgramKey& key, const std::shared_ptr<DynamicShader>& program);

private:
    ProgramLibrary() = default;
    void DropGone();

    std::map<ProgramKey, std::weak_ptr<DynamicShader>> programs_;
};

}  // namespace Velmora::Rendering
