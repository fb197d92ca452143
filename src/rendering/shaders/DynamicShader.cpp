#include "rendering/shaders/DynamicShader.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <fmt/format.h>

#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/shaders/ShaderManager2.h"
#include "rendering/shaders/ShaderSourceGenerator.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Names of the per-layer inputs and uniforms, built once instead of per program.
struct LayerNames {
    std::string texCoord[kMaxTextureLayers];
    std::string sampler[kMaxTextureLayers];
    std::string constant[kMaxTextureLayers];
    std::string intensity[kMaxTextureLayers];
    LayerNames() {
        for (uint32_t n = 0; n < kMaxTextureLayers; ++n) {
            texCoord[n] = fmt::format("vertexTexCoord{:d}", n);
            sampler[n] = fmt::format("texSampler{:d}", n);
            constant[n] = fmt::format("blendingConstant{:d}", n);
            intensity[n] = fmt::format("texIntensity{:d}", n);
        }
    }
};

const LayerNames& Names() {
    static const LayerNames names;
    return names;
}

void PointAttribute(int32_t location, GLint floats, GLsizei stride, uint32_t offsetFloats) {
    glEnableVertexAttribArray(GLuint(location));
    glVertexAttribPointer(GLuint(location), floats, GL_FLOAT, GL_FALSE, stride,
                          reinterpret_cast<const void*>(uintptr_t(offsetFloats) * sizeof(float)));
}

}  // namespace

DynamicShader::DynamicShader(ShaderManager2* manager, SceneHandle scene, std::string name,
                             const ShaderDescription& description)
    : manager_(manager), scene_(scene), name_(std::move(name)), description_(description) {}

DynamicShader::~DynamicShader() {
    if (program_ == 0) return;
    // A program outliving its context (a leak at process exit) is left to the driver.
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) return;
    for (uint32_t stage : stages_)
        if (stage != 0) glDetachShader(program_, stage);
    // A deleted program that is still in use lives on, with the driver's compiled code for it,
    // until another one is used; after the last scene there may never be another.
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    if (GLuint(current) == program_) glUseProgram(0);
    glDeleteProgram(program_);
    Logger::Log(LogLevel::Verbose, "Deleted shader '%s'", name_.c_str());
}

bool DynamicShader::Init() {
    ShaderSceneInfo scene;
    if (manager_ == nullptr || !ShaderSceneLink::Query(scene_, scene)) return false;
    matricesBinding_ = scene.matricesBindingPoint;
    lightsBinding_ = scene.lightsBindingPoint;
    if (matricesBinding_ == 0 && lightsBinding_ == 0) return false;

    if (!CreateStages(scene.lightingModel)) {
        Logger::Log(LogLevel::Error, "DynamicShader::Init() - failed to create shader sources from description!");
        return false;
    }
    if (!CreateProgram()) {
        Logger::Log(LogLevel::Error, "DynamicShader::Init() - failed to create shader program!");
        return false;
    }
    initialised_ = true;
    // The manager is needed only to build; other scenes may keep the program after it is gone.
    manager_ = nullptr;
    Logger::Log(LogLevel::Verbose, "Successfully created '%s'", name_.c_str());
    return true;
}

bool DynamicShader::CreateStages(uint32_t lightingModel) {
    const OpenGLContext& context = OpenGLContext::Instance();
    const ShaderSourceGenerator generator(description_, lightingModel, context.ShaderMajor(), context.ShaderMinor());

    ShaderStage stages[3];
    stages[0] = {ShaderStageKind::Vertex, "DSV_" + name_, generator.VertexSource()};
    if (generator.HasGeometryStage())
        stages[1] = {ShaderStageKind::Geometry, "DSG_" + name_, generator.GeometrySource()};
    stages[2] = {ShaderStageKind::Fragment, "DSF_" + name_, generator.FragmentSource()};

    stages_.clear();
    for (const ShaderStage& stage : stages) {
        if (stage.name.empty()) continue;
        uint32_t object = 0;
        if (!manager_->CompileStage(stage, object)) {
            Logger::LogF(LogLevel::Error, "Failed to compile dynamic shader {:s}", stage.name);
            return false;
        }
        stages_.push_back(object);
    }
    return true;
}

bool DynamicShader::CreateProgram() {
    if (!manager_->LinkProgram(stages_, program_)) {
        Logger::Log(LogLevel::Error, "Failed to link and/or validate shader program");
        return false;
    }
    const ShaderDescription& d = description_;
    const bool lighting = d.HasFlag(ShaderFlags::Lighting);
    const bool normalLit = d.Has(VertexAttribute::Normal) && lighting;

    if (d.Has(VertexAttribute::Position) && !d.HasFlag(ShaderFlags::NoGlobalMatrices) &&
        !BindBlock("GlobalMatrices", matricesBinding_))
        return false;
    if (normalLit && !BindBlock("GlobalLights", lightsBinding_)) return false;
    blockBindingsDone_ = true;

    ReadLocations();
    return true;
}

bool DynamicShader::BindBlock(const char* block, uint32_t bindingPoint) {
    const GLuint index = glGetUniformBlockIndex(program_, block);
    if (index == GL_INVALID_INDEX) {
        Logger::LogF(LogLevel::Error, "Failed to get UBO index for '{:s}' in shader '{:s}'", block, name_);
        return false;
    }
    // Errors left by earlier calls must not be taken for this one's.
    for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {}
    glUniformBlockBinding(program_, index, bindingPoint);
    if (glGetError() != GL_NO_ERROR) {
        Logger::LogF(LogLevel::Error, "Failed to set blockBinding for '{:s}'", block);
        return false;
    }
    return true;
}

void DynamicShader::ReadLocations() {
    const ShaderDescription& d = description_;
    const bool lighting = d.HasFlag(ShaderFlags::Lighting);
    Locations& l = locations_;

    if (d.Has(VertexAttribute::Position)) l.vertexPos = GetAttributeLocation("vertexPos");
    if (!d.HasFlag(ShaderFlags::NoModelMatrix)) l.modelMatrix = GetUniformLocation("modelMatrix");
    if (d.Has(VertexAttribute::Normal) && lighting) {
        l.vertexNormal = GetAttributeLocation("vertexNormal");
        l.normalMatrix = GetUniformLocation("normalMatrix");
    }
    if (d.geometryMode == GeometryMode::NormalsOnly) return;

    if (d.Has(VertexAttribute::Diffuse)) l.vertexDiffuse = GetAttributeLocation("vertexDiffuse");
    if (d.Has(VertexAttribute::Specular) && lighting) l.vertexSpecular = GetAttributeLocation("vertexSpecular");
    const LayerNames& names = Names();
    for (uint32_t n = 0; n < kMaxTextureLayers; ++n) {
        if (!d.LayerUsed(n)) continue;
        l.vertexTexCoord[n] = GetAttributeLocation(names.texCoord[n].c_str());
        l.texSampler[n] = GetUniformLocation(names.sampler[n].c_str());
        if (d.layerBlend[n] & LayerBlend::UsesConstant)
            l.blendingConstant[n] = GetUniformLocation(names.constant[n].c_str());
        l.texIntensity[n] = GetUniformLocation(names.intensity[n].c_str());
    }
    if (d.HasFlag(ShaderFlags::MaterialSampler)) {
        l.matSampler = GetUniformLocation("matSampler");
        l.materialIndex = GetUniformLocation("materialIndex");
    }
    if (d.HasFlag(ShaderFlags::MeshColor)) l.meshColor = GetUniformLocation("meshColor");
    if (d.alphaFunction != 0) l.alphaTestReference = GetUniformLocation("alphaTestReference");
}

int32_t DynamicShader::GetUniformLocation(const char* name) const {
    if (program_ == 0) {
        Logger::Log(LogLevel::Error, "DynamicShader::GetUniformLocation() - Invalid Program ID");
        return -1;
    }
    const GLint location = glGetUniformLocation(program_, name);
    if (location == -1)
        Logger::LogF(LogLevel::Error, "DynamicShader::GetUniformLocation() - cannot find uniform '{:s}'", name);
    return location;
}

int32_t DynamicShader::GetAttributeLocation(const char* name) const {
    if (program_ == 0) {
        Logger::Log(LogLevel::Error, "DynamicShader::GetAttributeLocation() - Invalid Program ID");
        return -1;
    }
    const GLint location = glGetAttribLocation(program_, name);
    if (location == -1)
        Logger::LogF(LogLevel::Error, "DynamicShader::GetAttributeLocation() - cannot find attribute '{:s}'", name);
    return location;
}

bool DynamicShader::InitVAOAttributes() {
    const ShaderDescription& d = description_;
    const uint32_t attributes = d.vertexAttributes;
    const GLsizei stride = GLsizei(VertexAttribute::FloatsPerVertex(attributes) * sizeof(float));
    if (stride == 0) {
        Logger::Log(LogLevel::Error, "DynamicShader::InitVAOAttributes() - invalid stride!");
        return false;
    }
    const Locations& l = locations_;
    const bool lighting = d.HasFlag(ShaderFlags::Lighting);
    const bool normalsOnly = d.geometryMode == GeometryMode::NormalsOnly;

    // Every present attribute advances the offset, whether this program reads it or not: the
    // row layout belongs to the mesh.
    uint32_t offset = 0;
    if (attributes & VertexAttribute::Position) {
        if (l.vertexPos != -1) PointAttribute(l.vertexPos, 3, stride, offset);
        offset += 3;
    }
    if (attributes & VertexAttribute::Normal) {
        if (lighting && l.vertexNormal != -1) PointAttribute(l.vertexNormal, 3, stride, offset);
        offset += 3;
    }
    if (normalsOnly) return true;
    if (attributes & VertexAttribute::Diffuse) {
        if (l.vertexDiffuse != -1) PointAttribute(l.vertexDiffuse, 4, stride, offset);
        offset += 4;
    }
    if (attributes & VertexAttribute::Specular) {
        if (l.vertexSpecular != -1) PointAttribute(l.vertexSpecular, 4, stride, offset);
        offset += 4;
    }
    for (uint32_t n = 0; n < kMaxTextureLayers; ++n) {
        if (!(attributes & VertexAttribute::TexCoord(n))) continue;
        if ((d.textureLayers & (1u << n)) && l.vertexTexCoord[n] != -1)
            PointAttribute(l.vertexTexCoord[n], 2, stride, offset);
        offset += 2;
    }
    return true;
}

void DynamicShader::Activate(const RenderInfo& info, uint32_t subObject) {
    if (subObject >= info.shaderInfos.size()) return;
    const RenderShaderInfo& shading = info.shaderInfos[subObject];
    const ShaderDescription& d = description_;
    const Locations& l = locations_;

    Renderer::Instance().SetBlendMode(d.blendMode);
    glUseProgram(program_);

    if (!d.HasFlag(ShaderFlags::NoModelMatrix)) glUniformMatrix4fv(l.modelMatrix, 1, GL_FALSE, info.modelMatrix.data());
    if (d.Has(VertexAttribute::Normal) && d.HasFlag(ShaderFlags::Lighting))
        glUniformMatrix3fv(l.normalMatrix, 1, GL_FALSE, info.normalMatrix.data());

    for (uint32_t n = 0; n < kMaxTextureLayers; ++n) {
        if (!(shading.textureMask & (1u << n))) continue;
        glUniform1i(l.texSampler[n], GLint(n));
        if (l.blendingConstant[n] != -1) glUniform1f(l.blendingConstant[n], shading.blendingConstant[n]);
        glUniform1f(l.texIntensity[n], shading.texIntensity[n]);
        glActiveTexture(GL_TEXTURE0 + n);
        glBindTexture(GL_TEXTURE_2D, shading.texture[n]);
    }
    if (d.HasFlag(ShaderFlags::MaterialSampler)) {
        glUniform1i(l.matSampler, kMaterialTextureUnit);
        glUniform1i(l.materialIndex, GLint(shading.materialIndex));
    }
    if (d.HasFlag(ShaderFlags::MeshColor)) glUniform4fv(l.meshColor, 1, info.meshColor.data());
    if (d.alphaFunction != 0) glUniform1f(l.alphaTestReference, shading.alphaReference);
}

}  // namespace Velmora::Rendering
