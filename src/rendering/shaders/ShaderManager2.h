#pragma once
// ShaderManager2: the generated GLSL programs of one scene and the stages it compiled.
//
// A program is named after the fields of its ShaderDescription that change the GLSL text
// (BuildName), so descriptions that differ only in uniform values (texture intensities,
// blending constants, alpha reference) share one program. Stages are cached under "DSV_",
// "DSG_" and "DSF_" plus the program name and outlive the programs that use them until
// Shutdown. A program another scene has already built is taken from ProgramLibrary rather than
// built again; the scenes that use it share it, each holding it until its own Shutdown.
// Render thread only, with the scene's GL context current.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/shaders/ShaderDescription.h"
#include "rendering/shaders/ShaderSceneLink.h"

namespace Velmora::Rendering {

class DynamicShader;

// Kinds of a shader stage; a program's link log is checked with kind Program.
namespace ShaderStageKind {
inline constexpr uint32_t Program = 0;
inline constexpr uint32_t Fragment = 1;
inline constexpr uint32_t Vertex = 2;
inline constexpr uint32_t Geometry = 3;
}  // namespace ShaderStageKind

struct ShaderStage {
    uint32_t kind = 0;
    std::string name;
    std::string source;
};

class ShaderManager2 {
public:
    explicit ShaderManager2(SceneHandle handle) : handle_(handle) {}
    ~ShaderManager2();
    ShaderManager2(const ShaderManager2&) = delete;
    ShaderManager2& operator=(const ShaderManager2&) = delete;

    // The program for this description, built on first request. Empty on failure, logged.
    std::shared_ptr<DynamicShader> GetShader(const ShaderDescription& description);

    // "{lighting}_{alpha}_{flags:02x}_{attributes:03x}_{geometry}" in hex, then "_" and the
    // blend word of each used layer. Empty when the scene is unknown.
    std::string BuildName(const ShaderDescription& description) const;

    // Compiles a stage, or hands back the object already compiled under its name.
    bool CompileStage(const ShaderStage& stage, uint32_t& shader);
    // Links the non-zero stages into a new program; on failure nothing is left behind.
    bool LinkProgram(const std::vector<uint32_t>& stages, uint32_t& program);
    // Reads the compile (stage kinds) or link (kind Program) status and log of object, and
    // logs a failure with the numbered source when it is given.
    bool CheckErrorLog(uint32_t kind, uint32_t object, const std::string* source, const std::string& name);

    // Drops every program and deletes every compiled stage.
    void Shutdown();

    SceneHandle GetSceneHandle() const { return handle_; }
    size_t ProgramCount() const { return programs_.size(); }
    size_t StageCount() const { return stages_.size(); }

private:
    std::shared_ptr<DynamicShader> BuildShader(const std::string& name, const ShaderDescription& description);

    SceneHandle handle_;
    std::map<std::string, uint32_t> stages_;
    std::map<std::string, std::shared_ptr<DynamicShader>> programs_;
};

}  // namespace Velmora::Rendering
