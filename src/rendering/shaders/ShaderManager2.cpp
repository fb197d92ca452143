#include "rendering/shaders/ShaderManager2.h"

#include <iterator>
#include <new>

#include <epoxy/gl.h>
#include <fmt/format.h>

#include "rendering/shaders/DynamicShader.h"
#include "rendering/shaders/ProgramLibrary.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

const char* StageWord(uint32_t kind) {
    switch (kind) {
        case ShaderStageKind::Fragment: return "fragment";
        case ShaderStageKind::Vertex: return "vertex";
        default: return "geometry";
    }
}

GLenum StageType(uint32_t kind) {
    switch (kind) {
        case ShaderStageKind::Fragment: return GL_FRAGMENT_SHADER;
        case ShaderStageKind::Vertex: return GL_VERTEX_SHADER;
        case ShaderStageKind::Geometry: return GL_GEOMETRY_SHADER;
        default: return 0;
    }
}

// Appends "(n) line\n" for every line of source, the last one without its line end, so that
// a compiler message "0:37(5): error" can be matched to the text.
void AppendNumberedSource(std::string& out, const std::string& source) {
    size_t start = 0;
    int lineNumber = 1;
    while (start < source.size()) {
        size_t end = source.find('\n', start);
        if (end == std::string::npos) end = source.size();
        const std::string_view line(source.data() + start, end - start);
        const bool last = end + 1 >= source.size();
        fmt::format_to(std::back_inserter(out), "({:d}) {:s}", lineNumber, line);
        if (!last) out += '\n';
        ++lineNumber;
        start = end + 1;
    }
}

}  // namespace

ShaderManager2::~ShaderManager2() {
    // Stage objects need the scene's context to go; SceneResources::Shutdown does that. What
    // is left here is dropped without GL calls.
    programs_.clear();
}

std::string ShaderManager2::BuildName(const ShaderDescription& d) const {
    ShaderSceneInfo scene;
    if (!ShaderSceneLink::Query(handle_, scene)) {
        Logger::Log(LogLevel::Error, "ShaderManager2 has no valid scene!");
        return {};
    }
    if (d.vertexAttributes > 0xFFF || d.flags > 0xFF || d.alphaFunction > 15 || scene.lightingModel > 15 ||
        d.geometryMode > 15)
        Logger::Log(LogLevel::Error, "ShaderDescription Attributes out of range for building dynamic shader name");

    std::string name;
    name.reserve(32);
    fmt::format_to(std::back_inserter(name), "{:01x}_{:01x}_{:02x}_{:03x}_{:01x}", scene.lightingModel, d.alphaFunction,
                   d.flags, d.vertexAttributes, d.geometryMode);
    if (d.textureLayers != 0) {
        name += '_';
        for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
            if (d.textureLayers & (1u << layer)) fmt::format_to(std::back_inserter(name), "{:x}", d.layerBlend[layer]);
    }
    return name;
}

std::shared_ptr<DynamicShader> ShaderManager2::GetShader(const ShaderDescription& description) {
    const std::string name = BuildName(description);
    if (name.empty()) return {};
    if (auto found = programs_.find(name); found != programs_.end()) {
        Logger::Log(LogLevel::ExtraVerbose, "Shader '%s' already exists, re-using.", name.c_str());
        return found->second;
    }
    ShaderSceneInfo scene;
    if (!ShaderSceneLink::Query(handle_, scene)) return {};
    const ProgramKey key{name, scene.matricesBindingPoint, scene.lightsBindingPoint, description.blendMode};
    std::shared_ptr<DynamicShader> shader = ProgramLibrary::Instance().Find(key);
    if (shader) {
        Logger::Log(LogLevel::ExtraVerbose, "Shader '%s' already exists, re-using.", name.c_str());
    } else {
        shader = BuildShader(name, description);
        if (!shader) return {};
        ProgramLibrary::Instance().Add(key, shader);
    }
    if (!programs_.emplace(name, shader).second) {
        Logger::Log(LogLevel::Error, "Unable to add shader to ProgramMap - DUPLICATE ENTRY");
        return {};
    }
    return shader;
}

std::shared_ptr<DynamicShader> ShaderManager2::BuildShader(const std::string& name,
                                                           const ShaderDescription& description) {
    std::shared_ptr<DynamicShader> shader;
    try {
        shader = std::make_shared<DynamicShader>(this, handle_, name, description);
    } catch (const std::bad_alloc&) {
        shader.reset();
    }
    if (!shader || !shader->Init()) {
        Logger::Log(LogLevel::Error, "Unable to create shader from description");
        return {};
    }
    return shader;
}

bool ShaderManager2::CompileStage(const ShaderStage& stage, uint32_t& shader) {
    shader = 0;
    if (stage.source.empty() || stage.name.empty()) return false;
    if (auto found = stages_.find(stage.name); found != stages_.end()) {
        shader = found->second;
        return true;
    }
    const GLenum type = StageType(stage.kind);
    if (type == 0) return false;

    const GLuint object = glCreateShader(type);
    if (object == 0) return false;
    const GLchar* text = stage.source.c_str();
    const GLint length = GLint(stage.source.size());
    glShaderSource(object, 1, &text, &length);
    glCompileShader(object);
    if (!CheckErrorLog(stage.kind, object, &stage.source, stage.name)) {
        glDeleteShader(object);
        return false;
    }
    bool stored = false;
    try {
        stored = stages_.emplace(stage.name, object).second;
    } catch (const std::bad_alloc&) {
        stored = false;
    }
    if (!stored) {
        Logger::Log(LogLevel::Error, "Cannot insert compiled shader '%s'", stage.name.c_str());
        glDeleteShader(object);
        return false;
    }
    Logger::Log(LogLevel::Verbose, "Successfully compiled %s shader '%s'", StageWord(stage.kind), stage.name.c_str());
    shader = object;
    return true;
}

bool ShaderManager2::LinkProgram(const std::vector<uint32_t>& stages, uint32_t& program) {
    program = glCreateProgram();
    if (program == 0) return false;
    for (uint32_t stage : stages)
        if (stage != 0) glAttachShader(program, stage);
    glLinkProgram(program);
    if (!CheckErrorLog(ShaderStageKind::Program, program, nullptr, std::string())) {
        glDeleteProgram(program);
        program = 0;
        return false;
    }
    return true;
}

bool ShaderManager2::CheckErrorLog(uint32_t kind, uint32_t object, const std::string* source, const std::string& name) {
    const bool isProgram = kind == ShaderStageKind::Program;
    GLint status = GL_FALSE;
    GLint logLength = 0;
    if (isProgram) {
        glGetProgramiv(object, GL_LINK_STATUS, &status);
        glGetProgramiv(object, GL_INFO_LOG_LENGTH, &logLength);
    } else {
        glGetShaderiv(object, GL_COMPILE_STATUS, &status);
        glGetShaderiv(object, GL_INFO_LOG_LENGTH, &logLength);
    }
    // No log at all is a clean result; the status decides in the (driver-dependent) case of a
    // failure without a message.
    if (logLength < 1) return status == GL_TRUE;

    if (!Logger::Passes(status == GL_TRUE ? LogLevel::Verbose : LogLevel::Error)) return status == GL_TRUE;
    try {
        std::string log(size_t(logLength), '\0');
        GLsizei written = 0;
        if (isProgram)
            glGetProgramInfoLog(object, logLength, &written, log.data());
        else
            glGetShaderInfoLog(object, logLength, &written, log.data());
        log.resize(size_t(written > 0 ? written : 0));

        if (status == GL_TRUE) {
            Logger::Log(LogLevel::Verbose, "GLSL shader log INFO:%s", log.c_str());
            return true;
        }
        std::string message = fmt::format("GLSL Error:\n{:s}", log);
        if (!isProgram && source && !source->empty()) {
            fmt::format_to(std::back_inserter(message), "\nShader: '{:s}'", name);
            AppendNumberedSource(message, *source);
        }
        Logger::WriteText(LogLevel::Error, message);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "ShaderManager2::CheckErrorLog() - OUT OF MEMORY!");
    }
    return false;
}

void ShaderManager2::Shutdown() {
    programs_.clear();
    for (const auto& [name, object] : stages_) glDeleteShader(object);
    stages_.clear();
}

}  // namespace Velmora::Rendering
