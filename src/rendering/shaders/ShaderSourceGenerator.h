#pragma once
// Assembles the GLSL text of the three stages of a generated program from a ShaderDescription.
// The text depends on nothing but the description, the scene's lighting model and the shading
// language version, so it is produced without a GL context; DynamicShader compiles it.
//
// A description is expected to be coherent: lighting needs the position and normal attributes
// and the GlobalMatrices block (flag 0x20 clear); NoModelMatrix (0x40) is meant together with
// NoGlobalMatrices (0x20). Other combinations produce text that the compiler rejects, and
// the rejection is logged with the numbered source.

#include <cstdint>
#include <string>

#include "rendering/shaders/ShaderDescription.h"

namespace Velmora::Rendering {

// Lighting models of a scene; they only change the specular term.
namespace LightingModel {
inline constexpr uint32_t Phong = 0;
inline constexpr uint32_t Blinn = 1;
inline constexpr uint32_t Gauss = 2;
}  // namespace LightingModel

class ShaderSourceGenerator {
public:
    // GLSL version as the context reports it: 3.30 is (3, 30) and gives "#version 330".
    ShaderSourceGenerator(const ShaderDescription& description, uint32_t lightingModel, int32_t shaderMajor,
                          int32_t shaderMinor);

    // Whether the description asks for a geometry stage (modes 1 to 3; 4 is drawn without).
    bool HasGeometryStage() const;

    std::string VertexSource() const;
    std::string GeometrySource() const;  // empty when HasGeometryStage() is false
    std::string FragmentSource() const;

private:
    void AppendHead(std::string& s) const;
    void AppendMatricesBlock(std::string& s) const;
    bool HasInterfaceMembers() const;
    void AppendInterfaceMembers(std::string& s) const;
    void AppendGeometryCopies(std::string& s) const;

    void AppendFragmentUniforms(std::string& s) const;
    void AppendFragmentInput(std::string& s) const;
    void AppendLightOutput(std::string& s) const;
    void AppendAmbient(std::string& s, const char* prefix) const;
    void AppendEmissive(std::string& s, const char* prefix) const;
    void AppendSpecular(std::string& s, const char* prefix) const;
    void AppendMain(std::string& s) const;
    void AppendBaseColor(std::string& s, const char* prefix) const;
    void AppendLayerBlend(std::string& s, const char* prefix, uint32_t layer) const;
    void AppendMaterialBlend(std::string& s, const char* prefix) const;
    void AppendFaceNormal(std::string& s, const char* prefix) const;
    void AppendGamma(std::string& s, const char* prefix) const;
    void AppendAlphaTest(std::string& s, const char* prefix) const;

    bool Lighting() const { return desc_.HasFlag(ShaderFlags::Lighting); }
    bool FrontOnly() const { return (desc_.flags & 0x3) == ShaderFlags::FrontFaces; }
    bool BackOnly() const { return (desc_.flags & 0x3) == ShaderFlags::BackFaces; }

    ShaderDescription desc_;
    uint32_t lightingModel_;
    int32_t shaderMajor_;
    int32_t shaderMinor_;
};

}  // namespace Velmora::Rendering
