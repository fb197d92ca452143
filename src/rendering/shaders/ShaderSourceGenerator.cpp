#include "rendering/shaders/ShaderSourceGenerator.h"

#include <iterator>

#include <fmt/format.h>

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Rough upper sizes of the stages; one reservation keeps the appends from reallocating.
constexpr size_t kVertexReserve = 4096;
constexpr size_t kGeometryReserve = 4096;
constexpr size_t kFragmentReserve = 12288;

// Appends one piece of text behind an indentation prefix: the pieces of the line-wise sections
// (base colour, ambient, gamma, ...) are shared between nesting depths.
inline void Put(std::string& s, const char* prefix, const char* text) {
    s += prefix;
    s += text;
}

constexpr const char* k4 = "    ";
constexpr const char* k8 = "        ";

constexpr const char* kMaterialMembers =
    "    flat vec4   matAmbient;\n    flat vec4   matDiffuse;\n    flat vec4   matSpecular;\n"
    "    flat vec4   matEmissive;\n    flat float  matShininess;\n    flat float  matOpacity;\n";

constexpr const char* kLightSourceStruct =
    "struct LightSource\n{\n    vec4   position;\n    vec4   diffuse;\n    vec4   specular;\n"
    "    vec3   spotDirection;\n    float  constantAttenuation;\n    float  linearAttenuation;\n"
    "    float  quadraticAttenuation;\n    float  spotCutoff;\t\t// has to be the cosine of the angle already\n"
    "    float  spotExponent;\n};\n\n";

constexpr const char* kLightsBlockBody =
    "\n{\n    int         enableLighting;\n    int         enableAmbient;\n    int         enableGamma;\n"
    "    float       gamma;\n    vec4        ambientIntensity;\n    LightSource light[NUMBER_OF_LIGHTS];\n"
    "    ivec4       flags[NUMBER_OF_LIGHTS];\t// is ivec4 for alignment reasons\n} Lights;\n\n";

// The loop ends after the last slot that is on. Slots that are off are skipped by a branch,
// and a rasteriser that shades many fragments in lock-step still runs both sides of it: each
// slot costs a full light whether on or not. A loop that has ended costs nothing, so four
// lights cost four, not eight.
constexpr const char* kLightLoopHead =
    "    int lightSlots = 0;\n"
    "    for( int index = 0; index < NUMBER_OF_LIGHTS; index++ )\n"
    "        if( Lights.flags[index].x == 1 )\n"
    "            lightSlots = index + 1;\n\n"
    "    for( int index = 0; index < lightSlots; index++ )\n    {\n"
    "    \t if( Lights.flags[index].x != 1 )\t// flags is an ivec4 (for simpler alignment), so it just uses x "
    "component\n"
    "            continue;\n\n        LightSource lgt = Lights.light[index];\n\n";

constexpr const char* kLightDirection =
    "        vec3 lightDirectionCamSpace;\n        float attenuation;\n\n"
    "        // is it a directional light?\n        if( lgt.position.w == 0.0 )\n        {\n"
    "            attenuation = 1.0;\n"
    "            lightDirectionCamSpace = vec3(viewMatrix * (-lgt.position));\n        }\n"
    "        else    // point or spot lights\n        {\n"
    "            vec3 lightPosCamSpace = vec3(viewMatrix * lgt.position);\n"
    "            lightDirectionCamSpace = lightPosCamSpace - vertPositionCamSpace;\n"
    "            float lightDistanceSqr = dot(lightDirectionCamSpace, lightDirectionCamSpace);\n"
    "            float lightDistance = sqrt(lightDistanceSqr);\n"
    "            lightDirectionCamSpace = lightDirectionCamSpace / lightDistance;\t// normalize\n\n"
    "            attenuation = 1.0 / (lgt.constantAttenuation +\n"
    "                          lgt.linearAttenuation * lightDistance +\n"
    "                          lgt.quadraticAttenuation * lightDistanceSqr);\n\n"
    "            if( lgt.spotCutoff > 0 )    // spot light\n            {\n"
    "                vec3 spotlightDirCamSpace = vec3(viewMatrix * vec4(lgt.spotDirection, 0.0));\n"
    "                float clampedCosine = max(0.0, dot(-lightDirectionCamSpace, spotlightDirCamSpace));\n"
    "                if( clampedCosine < lgt.spotCutoff )\n                {\n"
    "                    attenuation = 0.0;\n                }\n                else\n                {\n"
    "                    attenuation = attenuation * pow(clampedCosine, lgt.spotExponent);\n"
    "                }\n            }\n        }\n\n"
    "        // calculate light\n"
    "        float lightDot = max( 0.0, dot(faceNormal, lightDirectionCamSpace) );\n\n"
    "        // diffuse reflection\n";

constexpr const char* kEdgeColor =
    "    // add edge color for solid wireframe\n    vec3 d = fwidth(edgeDist);\n"
    "    vec3 a3 = smoothstep(vec3(0.0), d * 1.5, edgeDist);\n"
    "    float edgeFactor = min(min(a3.x, a3.y), a3.z);\n"
    "    resultColor = vec4( mix( vec3(1.0), resultColor.rgb, edgeFactor ), resultColor.a);\n";

}  // namespace

ShaderSourceGenerator::ShaderSourceGenerator(const ShaderDescription& description, uint32_t lightingModel,
                                             int32_t shaderMajor, int32_t shaderMinor)
    : desc_(description), lightingModel_(lightingModel), shaderMajor_(shaderMajor), shaderMinor_(shaderMinor) {}

bool ShaderSourceGenerator::HasGeometryStage() const {
    return desc_.geometryMode != GeometryMode::None && desc_.geometryMode != GeometryMode::NormalsOnly;
}

void ShaderSourceGenerator::AppendHead(std::string& s) const {
    fmt::format_to(std::back_inserter(s), "#version {:d}{:02d}\n\n", shaderMajor_, shaderMinor_);
    s += "layout(std140) uniform;\n\n";
}

void ShaderSourceGenerator::AppendMatricesBlock(std::string& s) const {
    if (desc_.HasFlag(ShaderFlags::NoGlobalMatrices)) return;
    s += "uniform ";
    s += "GlobalMatrices";
    s += "\n{\n    mat4 viewMatrix;\n    mat4 projectionMatrix;\n};\n\n";
}

// The members of the VertexData block passed from stage to stage; every stage declares the
// same list under the same conditions, or the program does not link.
bool ShaderSourceGenerator::HasInterfaceMembers() const {
    return (desc_.Has(VertexAttribute::Position) && !desc_.HasFlag(ShaderFlags::NoGlobalMatrices)) ||
           (desc_.Has(VertexAttribute::Normal) && Lighting()) || desc_.Has(VertexAttribute::Diffuse) ||
           (desc_.Has(VertexAttribute::Specular) && Lighting()) || desc_.UsedLayers() != 0 ||
           desc_.HasFlag(ShaderFlags::MaterialSampler);
}

void ShaderSourceGenerator::AppendInterfaceMembers(std::string& s) const {
    if (desc_.Has(VertexAttribute::Position) && !desc_.HasFlag(ShaderFlags::NoGlobalMatrices))
        s += "    vec3 vertPositionCamSpace;    // vertex position in camera space\n";
    if (desc_.Has(VertexAttribute::Normal) && Lighting())
        s += "    vec3 vertNormalCamSpace;      // vertex normal in camera space\n"
             "    vec3 vertBackNormalCamSpace;  // backside vertex normal in camera space\n";
    if (desc_.Has(VertexAttribute::Diffuse)) s += "    vec4 vertDiffuseColor;        // vertex diffuse color\n";
    if (desc_.Has(VertexAttribute::Specular) && Lighting())
        s += "    vec4 vertSpecularColor;       // vertex diffuse color\n";
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        if (desc_.LayerUsed(layer))
            fmt::format_to(std::back_inserter(s),
                           "    vec2 vertTexCoord{:d};           // texture color coord layer {:d}\n", layer, layer);
    if (desc_.HasFlag(ShaderFlags::MaterialSampler)) s += kMaterialMembers;
}

std::string ShaderSourceGenerator::VertexSource() const {
    const bool position = desc_.Has(VertexAttribute::Position);
    const bool normalLit = desc_.Has(VertexAttribute::Normal) && Lighting();
    const bool camSpace = position && !desc_.HasFlag(ShaderFlags::NoGlobalMatrices);
    const bool material = desc_.HasFlag(ShaderFlags::MaterialSampler);
    std::string s;
    s.reserve(kVertexReserve);
    AppendHead(s);
    AppendMatricesBlock(s);

    if (!desc_.HasFlag(ShaderFlags::NoModelMatrix)) s += "uniform mat4 modelMatrix;\n";
    if (desc_.Has(VertexAttribute::Normal)) s += "uniform mat3 normalMatrix;\n";
    if (material) {
        s += "\nuniform samplerBuffer matSampler;\n";
        s += "uniform int materialIndex;\n";
    }
    s += "\n";

    s += "// vertex attributes\n";
    if (position) s += "in vec3 vertexPos;\n";
    if (normalLit) s += "in vec3 vertexNormal;\n";
    if (desc_.Has(VertexAttribute::Diffuse)) s += "in vec4 vertexDiffuse;\n";
    if (desc_.Has(VertexAttribute::Specular)) s += "in vec4 vertexSpecular;\n";
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        if (desc_.LayerUsed(layer)) fmt::format_to(std::back_inserter(s), "in vec2 vertexTexCoord{:d};\n", layer);
    s += "\n";

    if (HasInterfaceMembers()) {
        s += "// shader output\n";
        s += "out VertexData\n{\n";
        AppendInterfaceMembers(s);
        s += "} vertexOut;\n\n";
    }

    s += "void main()\n{\n";
    if (camSpace)
        s += "    vertexOut.vertPositionCamSpace = vec3(viewMatrix * modelMatrix * vec4(vertexPos, 1.0));\n\n";
    if (normalLit)
        s += "    vertexOut.vertNormalCamSpace = normalize(mat3(viewMatrix) * normalMatrix * vertexNormal);\n"
             "    vertexOut.vertBackNormalCamSpace = -vertexOut.vertNormalCamSpace;\n\n";
    if (desc_.Has(VertexAttribute::Diffuse)) s += "    vertexOut.vertDiffuseColor = vertexDiffuse;\n\n";
    if (desc_.Has(VertexAttribute::Specular) && Lighting())
        s += "    vertexOut.vertSpecularColor = vertexSpecular;\n\n";
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        if (desc_.LayerUsed(layer))
            fmt::format_to(std::back_inserter(s), "    vertexOut.vertTexCoord{:d} = vertexTexCoord{:d};\n", layer,
                           layer);

    if (material) {
        // Five texels per material row: ambient, diffuse, specular, emissive, then
        // (shininess, opacity, -, -).
        const std::string row = fmt::format("(materialIndex * {:d})", 5);
        const auto out = std::back_inserter(s);
        fmt::format_to(out, "    vertexOut.matAmbient = texelFetch( matSampler, {:s} + {:d} );\n", row, 0);
        fmt::format_to(out, "    vertexOut.matDiffuse = texelFetch( matSampler, {:s} + {:d} );\n", row, 1);
        fmt::format_to(out, "    vertexOut.matSpecular = texelFetch( matSampler, {:s} + {:d} );\n", row, 2);
        fmt::format_to(out, "    vertexOut.matEmissive = texelFetch( matSampler, {:s} + {:d} );\n", row, 3);
        fmt::format_to(out, "    vec4 matAttributes = texelFetch( matSampler, {:s} + {:d} );\n", row, 4);
        s += "    vertexOut.matShininess = matAttributes.x;\n    vertexOut.matOpacity = matAttributes.y;\n\n";
    }

    // Without a position there is nothing to place; such a stage only feeds attributes.
    if (position) {
        if (!desc_.HasFlag(ShaderFlags::NoGlobalMatrices))
            s += "    gl_Position = projectionMatrix * vec4(vertexOut.vertPositionCamSpace, 1.0);\n";
        else if (!desc_.HasFlag(ShaderFlags::NoModelMatrix))
            s += "    gl_Position = modelMatrix * vec4(vertexPos, 1.0);\n";
        else
            s += "    gl_Position = vec4(vertexPos, 1.0);\n";
    }
    s += "}\n";
    return s;
}

void ShaderSourceGenerator::AppendGeometryCopies(std::string& s) const {
    const size_t before = s.size();
    if (desc_.Has(VertexAttribute::Position) && !desc_.HasFlag(ShaderFlags::NoGlobalMatrices))
        s += "        vertexOut.vertPositionCamSpace = vertexIn[i].vertPositionCamSpace;\n";
    if (desc_.Has(VertexAttribute::Normal) && Lighting())
        s += "        vertexOut.vertNormalCamSpace = vertexIn[i].vertNormalCamSpace;\n"
             "        vertexOut.vertBackNormalCamSpace = vertexIn[i].vertBackNormalCamSpace;\n";
    if (desc_.Has(VertexAttribute::Diffuse))
        s += "        vertexOut.vertDiffuseColor = vertexIn[i].vertDiffuseColor;\n";
    if (desc_.Has(VertexAttribute::Specular) && Lighting())
        s += "        vertexOut.vertSpecularColor = vertexIn[i].vertSpecularColor;\n";
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        if (desc_.LayerUsed(layer))
            fmt::format_to(std::back_inserter(s),
                           "        vertexOut.vertTexCoord{:d} = vertexIn[i].vertTexCoord{:d};\n", layer, layer);
    if (desc_.HasFlag(ShaderFlags::MaterialSampler))
        s += "        vertexOut.matAmbient = vertexIn[i].matAmbient;\n"
             "        vertexOut.matDiffuse = vertexIn[i].matDiffuse;\n"
             "        vertexOut.matSpecular = vertexIn[i].matSpecular;\n"
             "        vertexOut.matEmissive = vertexIn[i].matEmissive;\n"
             "        vertexOut.matShininess = vertexIn[i].matShininess;\n"
             "        vertexOut.matOpacity = vertexIn[i].matOpacity;\n";
    if (s.size() != before) s += "\n";
}

std::string ShaderSourceGenerator::GeometrySource() const {
    if (!HasGeometryStage()) return {};
    const uint32_t mode = desc_.geometryMode;
    std::string s;
    s.reserve(kGeometryReserve);
    AppendHead(s);
    s += "layout(triangles) in;\n";
    if (mode == GeometryMode::Points)
        s += "layout(points, max_vertices=3) out;\n\n";
    else if (mode == GeometryMode::Lines)
        s += "layout(line_strip, max_vertices=4) out;\n\n";
    else
        s += "layout(triangle_strip, max_vertices=3) out;\n\n";

    AppendMatricesBlock(s);
    if (!desc_.HasFlag(ShaderFlags::NoModelMatrix)) s += "uniform mat4 modelMatrix;\n";
    if (desc_.Has(VertexAttribute::Normal)) s += "uniform mat3 normalMatrix;\n";
    s += "\n";

    if (HasInterfaceMembers()) {
        s += "// geometry stage input\n";
        s += "in VertexData\n{\n";
        AppendInterfaceMembers(s);
        s += "\n} vertexIn[];\n\n";
    }

    // The edge distance feeds the solid wireframe. Points and lines carry it unset: the
    // fragment stage declares it for all three modes, and the blocks of linked stages must
    // match member for member.
    const bool edgeDistance = (mode & 0x3) != 0;
    s += "// geometry stage output\n";
    s += "out VertexData\n{\n";
    AppendInterfaceMembers(s);
    if (edgeDistance) s += "    noperspective vec3 edgeDist;\n";
    s += "\n} vertexOut;\n\n";

    s += "void main()\n{\n";
    if (mode == GeometryMode::Lines)
        s += "    for( int j = 0; j < gl_in.length()+1; j++ )\n    {\n        int i = j % gl_in.length();\n\n"
             "        // pass through data\n";
    else if (mode == GeometryMode::SolidWireframe)
        s += "    for( int i = 0; i < gl_in.length(); i++ )\n    {\n"
             "        // set variables for edge distance (to be interpolated non-perspective for fragments)\n"
             "        vertexOut.edgeDist = vec3(0.0);\n        vertexOut.edgeDist[i] = 1.0;\n\n"
             "        // pass through data\n";
    else
        s += "    for( int i = 0; i < gl_in.length(); i++ )\n    {\n        // pass through data\n";
    AppendGeometryCopies(s);
    s += "        // emit vertex\n        gl_Position = gl_in[i].gl_Position;\n        EmitVertex();\n    }\n\n"
         "    // emit primitive\n    EndPrimitive();\n";
    s += "}\n";
    return s;
}

std::string ShaderSourceGenerator::FragmentSource() const {
    std::string s;
    s.reserve(kFragmentReserve);
    AppendHead(s);
    AppendMatricesBlock(s);
    if (Lighting()) {
        s += kLightSourceStruct;
        fmt::format_to(std::back_inserter(s), "const int NUMBER_OF_LIGHTS = {:d};\n\n", 8);
        s += "uniform ";
        s += "GlobalLights";
        s += kLightsBlockBody;
    }
    AppendFragmentUniforms(s);
    AppendFragmentInput(s);

    if (Lighting())
        s += "vec3 faceNormal;\nvec3 accumulatedLight = vec3(0.0);  // diffuse + ambient + emissive\n"
             "vec4 currAmbientColor = vec4(0.0);\nvec4 currSpecularColor = vec4(0.0);\n";
    s += "vec4 currDiffuseColor = vec4(0.0);\n";
    s += "float currOpacity = 1.0;\n";
    s += "// output\nout vec4 resultColor;\n\n";

    if (Lighting()) AppendLightOutput(s);
    AppendMain(s);
    return s;
}

void ShaderSourceGenerator::AppendFragmentUniforms(std::string& s) const {
    if (desc_.HasFlag(ShaderFlags::MeshColor)) s += "uniform vec4 meshColor;\n\n";
    const auto out = std::back_inserter(s);
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer) {
        if (!desc_.LayerUsed(layer)) continue;
        fmt::format_to(out, "uniform sampler2D texSampler{:d};\n", layer);
        fmt::format_to(out, "uniform float blendingConstant{:d};\n", layer);
        fmt::format_to(out, "uniform float texIntensity{:d};\n\n", layer);
    }
    if (desc_.UsedLayers() != 0) s += "\n";
    if (desc_.alphaFunction != 0) s += "uniform float alphaTestReference;\n\n";
}

void ShaderSourceGenerator::AppendFragmentInput(std::string& s) const {
    const bool edgeDistance = (desc_.geometryMode & 0x3) != 0;
    if (!HasInterfaceMembers() && !edgeDistance) return;  // GLSL allows no empty block
    s += "// fragment stage input\n";
    s += "in VertexData\n{\n";
    AppendInterfaceMembers(s);
    if (edgeDistance) s += "    noperspective vec3 edgeDist;\n";
    s += "\n};\n";
}

void ShaderSourceGenerator::AppendLightOutput(std::string& s) const {
    s += "void AddLightOutput()\n{\n";
    AppendAmbient(s, k4);
    AppendEmissive(s, k4);
    s += "    // diffuse and specular terms\n    vec3 diffuseTerm = vec3(0.0);\n    vec3 specularTerm = vec3(0.0);\n";
    s += kLightLoopHead;
    s += kLightDirection;
    s += "        diffuseTerm += vec3(lgt.diffuse) * lightDot * attenuation;\n\n";
    AppendSpecular(s, k8);
    s += "    }\n\n";
    s += "    // add up results results\n";
    s += "    accumulatedLight = ambientTerm + emissiveTerm + (diffuseTerm * vec3(currDiffuseColor)) + "
         "(specularTerm * vec3(currSpecularColor));\n";
    s += "}\n\n";
}

void ShaderSourceGenerator::AppendAmbient(std::string& s, const char* p) const {
    Put(s, p, "// add ambient\n");
    Put(s, p, "vec3 ambientTerm = vec3(0.0);\n");
    Put(s, p, "if( Lights.enableAmbient == 1 )\n");
    Put(s, p, "{\n");
    Put(s, p, "    ambientTerm = (vec3(currAmbientColor) * vec3(Lights.ambientIntensity));\n");
    Put(s, p, "}\n\n");
}

void ShaderSourceGenerator::AppendEmissive(std::string& s, const char* p) const {
    Put(s, p, "// add emissive\n");
    if (desc_.HasFlag(ShaderFlags::MaterialSampler))
        Put(s, p, "vec3 emissiveTerm = vec3(matEmissive);\n\n");
    else
        Put(s, p, "vec3 emissiveTerm = vec3(0.0);\n\n");
}

void ShaderSourceGenerator::AppendSpecular(std::string& s, const char* p) const {
    const bool material = desc_.HasFlag(ShaderFlags::MaterialSampler);
    if (!material && !desc_.Has(VertexAttribute::Specular)) return;
    if (lightingModel_ > LightingModel::Gauss) {
        Logger::LogF(LogLevel::Error, "AddFragmentLightingFunction() - Unsupported light model '{:d}'", lightingModel_);
        return;
    }
    if (!material) Put(s, p, "float matShininess = 1000.0f;  // default shininess\n");
    Put(s, p, "if( matShininess > 0.0 )\n");
    Put(s, p, "{\n");
    switch (lightingModel_) {
        case LightingModel::Phong:
            Put(s, p, "// specular reflection - phong\n");
            Put(s, p, "    vec3 reflectionCamSpace = reflect(-lightDirectionCamSpace, faceNormal);\n");
            Put(s, p, "    vec3 surfToViewerCamSpace = normalize (-vertPositionCamSpace);\n");
            Put(s, p, "    float dotSpecular = max( 0.0, dot (reflectionCamSpace, surfToViewerCamSpace) );\n");
            Put(s, p, "    float specularFactor = pow( dotSpecular, matShininess );\n");
            Put(s, p, "    specularTerm += vec3(lgt.specular * specularFactor); \n");
            break;
        case LightingModel::Blinn:
            Put(s, p, "// specular reflection - blinn\n");
            Put(s, p, "    vec3 surfToViewerCamSpace = normalize (-vertPositionCamSpace);\n");
            Put(s, p, "    vec3 halfAngle = normalize(lightDirectionCamSpace + surfToViewerCamSpace);\n");
            Put(s, p, "    float blinnSpecularFactor = dot(faceNormal, halfAngle);\n");
            Put(s, p, "    blinnSpecularFactor = clamp(blinnSpecularFactor, 0, 1);\n");
            Put(s, p, "    blinnSpecularFactor = lightDot != 0.0 ? blinnSpecularFactor : 0.0;\n");
            Put(s, p, "    blinnSpecularFactor = pow(blinnSpecularFactor, matShininess);\n");
            Put(s, p, "    specularTerm += vec3(lgt.specular * blinnSpecularFactor);\n");
            break;
        default:
            Put(s, p, "// specular reflection - gauss\n");
            Put(s, p, "    vec3 surfToViewerCamSpace = normalize (-vertPositionCamSpace);\n");
            Put(s, p, "    vec3 halfAngle = normalize(lightDirectionCamSpace + surfToViewerCamSpace);\n");
            Put(s, p, "    float angleNormalHalf = acos(dot(halfAngle, faceNormal));\n");
            Put(s, p, "    float exponent = angleNormalHalf / matShininess;\n");
            Put(s, p, "    exponent = -(exponent * exponent);\n");
            Put(s, p, "    float gaussSpecularFactor = exp(exponent);\n");
            Put(s, p, "    gaussSpecularFactor = lightDot != 0.0 ? gaussSpecularFactor : 0.0;\n");
            Put(s, p, "    specularTerm += vec3(lgt.specular * gaussSpecularFactor);\n");
            break;
    }
    Put(s, p, "}\n");
}

void ShaderSourceGenerator::AppendMain(std::string& s) const {
    s += "void main()\n{\n";
    // Face culling happens here rather than in GL state, so one mesh can carry front and back
    // programs side by side.
    if (FrontOnly()) {
        Put(s, k4, "if( !gl_FrontFacing )\n");
        Put(s, k4, "    discard;\n\n");
    } else if (BackOnly()) {
        Put(s, k4, "if( gl_FrontFacing )\n");
        Put(s, k4, "    discard;\n\n");
    }

    if (desc_.geometryMode == GeometryMode::NormalsOnly) {
        s += "    // override result with normal info\n    resultColor = vec4( vertNormalCamSpace, 1.0 );\n";
        s += "}\n";
        return;
    }

    AppendBaseColor(s, k4);

    if (!Lighting()) {
        Put(s, k4, "// set result color\n");
        Put(s, k4, "resultColor = currDiffuseColor;\n");
    } else {
        s += "    if( Lights.enableLighting == 0 )\n    {\n";
        Put(s, k8, "// set result color\n");
        Put(s, k8, "resultColor = currDiffuseColor;\n");
        s += "    }\n    else\n    {\n";
        AppendFaceNormal(s, k8);
        s += "        // iterate all lights\n        AddLightOutput();\n\n";
        Put(s, k8, "// set result color\n");
        Put(s, k8, "resultColor = vec4(accumulatedLight, currOpacity);\n");
        AppendGamma(s, k8);
        s += "    }\n";
    }

    if (desc_.alphaFunction != 0) AppendAlphaTest(s, k4);
    if (desc_.geometryMode == GeometryMode::SolidWireframe) s += kEdgeColor;
    s += "}\n";
}

void ShaderSourceGenerator::AppendFaceNormal(std::string& s, const char* p) const {
    Put(s, p, "// get face normal\n");
    if (FrontOnly()) {
        Put(s, p, "faceNormal = vertNormalCamSpace;\n\n");
    } else if (BackOnly()) {
        Put(s, p, "faceNormal = vertBackNormalCamSpace;\n\n");
    } else {
        Put(s, p, "if( gl_FrontFacing )\n");
        Put(s, p, "    faceNormal = vertNormalCamSpace;\n");
        Put(s, p, "else\n");
        Put(s, p, "    faceNormal = vertBackNormalCamSpace;\n\n");
    }
}

void ShaderSourceGenerator::AppendGamma(std::string& s, const char* p) const {
    Put(s, p, "// apply gamma correction to result\n");
    Put(s, p, "if( Lights.enableGamma == 1 )\n");
    Put(s, p, "{\n");
    Put(s, p, "    vec3 gamma = vec3(1.0 / Lights.gamma);\n");
    Put(s, p, "    resultColor = pow(resultColor, vec4(gamma,1.0));\n");
    Put(s, p, "}\n");
}

void ShaderSourceGenerator::AppendAlphaTest(std::string& s, const char* p) const {
    static constexpr const char* kTests[] = {
        nullptr,
        nullptr,
        "if( resultColor.a < alphaTestReference )\n",
        "if( resultColor.a > alphaTestReference )\n",
        "if( resultColor.a == alphaTestReference )\n",
        "if( resultColor.a != alphaTestReference )\n",
        "if( resultColor.a <= alphaTestReference )\n",
        "if( resultColor.a >= alphaTestReference )\n",
    };
    Put(s, p, "// alpha test\n");
    const uint32_t function = desc_.alphaFunction;
    if (function == 1) {
        Put(s, p, "discard;\n");
    } else if (function >= 2 && function <= 7) {
        Put(s, p, kTests[function]);
        Put(s, p, "    discard;\n");
    } else {
        Put(s, p, "// nothing to do\n");
    }
    s += "\n";
}

void ShaderSourceGenerator::AppendBaseColor(std::string& s, const char* p) const {
    const bool lighting = Lighting();
    const bool material = desc_.HasFlag(ShaderFlags::MaterialSampler);
    Put(s, p, "// add base color info\n");

    if ((desc_.vertexAttributes & VertexAttribute::TexCoordMask) == 0 || desc_.textureLayers == 0) {
        if (desc_.Has(VertexAttribute::Diffuse)) {
            Put(s, p, "currDiffuseColor = vertDiffuseColor;\n");
            if (lighting) {
                Put(s, p, "currAmbientColor = currDiffuseColor;\n");
                if (desc_.Has(VertexAttribute::Specular))
                    Put(s, p, "currSpecularColor = vertSpecularColor;\n");
                else if (material)
                    Put(s, p, "currSpecularColor = matSpecular;\n");
                else
                    Put(s, p, "currSpecularColor = currDiffuseColor;\n");
            }
            if (material) {
                if (desc_.layerBlend[0] & LayerBlend::UsesConstant)
                    Put(s, p, "currOpacity = blendingConstant0 * matOpacity;\n");
                else
                    Put(s, p, "currOpacity = currDiffuseColor.a * matOpacity;\n");
            } else {
                Put(s, p, "currOpacity = currDiffuseColor.a;\n");
            }
        } else if (desc_.HasFlag(ShaderFlags::MeshColor)) {
            Put(s, p, "currDiffuseColor = meshColor;\n");
            if (lighting) {
                Put(s, p, "currAmbientColor = currDiffuseColor;\n");
                Put(s, p, material ? "currSpecularColor = matSpecular;\n" : "currSpecularColor = currDiffuseColor;\n");
            }
        } else if (material) {
            Put(s, p, "currDiffuseColor = matDiffuse;\n");
            if (lighting) {
                Put(s, p, "currAmbientColor = matAmbient;\n");
                Put(s, p, "currSpecularColor = matSpecular;\n");
            }
            Put(s, p, "currOpacity = matOpacity;\n");
        } else {
            Put(s, p, "currDiffuseColor = vec4(1.0);\n");
            if (lighting) {
                Put(s, p, "currAmbientColor = vec4(1.0);\n");
                Put(s, p, "currSpecularColor = vec4(1.0);\n");
            }
            Logger::Log(LogLevel::Error, "DynamicShader::AddBaseColor - using fallback colors!");
        }
        return;
    }

    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer) {
        if (!desc_.LayerUsed(layer)) continue;
        if (layer == 0) {
            Put(s, p, "currDiffuseColor = texture(texSampler0, vertTexCoord0) * vec4( vec3(texIntensity0), 1.0 );\n");
            continue;
        }
        s += p;
        fmt::format_to(
            std::back_inserter(s),
            "vec4 texLayer{:d} = texture(texSampler{:d}, vertTexCoord{:d}) * vec4( vec3(texIntensity{:d}), 1.0 );\n",
            layer, layer, layer, layer);
        AppendLayerBlend(s, p, layer);
    }

    if (lighting) {
        Put(s, p, "currAmbientColor = currDiffuseColor;\n");
        Put(s, p, material ? "currSpecularColor = matSpecular;\n" : "currSpecularColor = currDiffuseColor;\n");
    }
    if (!material) {
        Put(s, p, "currOpacity = currDiffuseColor.a;\n");
        return;
    }
    AppendMaterialBlend(s, p);
}

// Combines layer n (n > 0) into the colour so far. Only the add test looks at the layer's own
// word; the alpha source of add and the tests for multiply, mix and replace look at layer 0's.
// Documents written for this system depend on that reading, so it is kept.
void ShaderSourceGenerator::AppendLayerBlend(std::string& s, const char* p, uint32_t layer) const {
    const uint32_t own = desc_.layerBlend[layer];
    const uint32_t first = desc_.layerBlend[0];
    const bool layerAlpha = (first & LayerBlend::AlphaSourceMask) == 0;
    const auto out = std::back_inserter(s);
    s += p;
    if ((own & LayerBlend::OperationMask) == LayerBlend::Add) {
        if (layerAlpha)
            fmt::format_to(
                out,
                "currDiffuseColor = vec4( clamp(currDiffuseColor + texLayer{:d}, 0.0, 1.0).rgb, texLayer{:d}.a );\n",
                layer, layer);
        else
            fmt::format_to(out,
                           "currDiffuseColor = vec4( clamp(currDiffuseColor + texLayer{:d}, 0.0, 1.0).rgb, "
                           "blendingConstant{:d} );\n",
                           layer, layer);
    } else if ((first & LayerBlend::OperationMask) == LayerBlend::Multiply) {
        fmt::format_to(out, "currDiffuseColor *= texLayer{:d};\n", layer);
    } else if ((first & LayerBlend::OperationMask) == LayerBlend::Mix) {
        if (layerAlpha)
            fmt::format_to(out, "currDiffuseColor = mix( currDiffuseColor, texLayer{:d}, texLayer{:d}.a );\n", layer,
                           layer);
        else
            fmt::format_to(out, "currDiffuseColor = mix( currDiffuseColor, texLayer{:d}, blendingConstant{:d} );\n",
                           layer, layer);
    } else {
        fmt::format_to(out, "currDiffuseColor = texLayer{:d};\n", layer);
    }
}

void ShaderSourceGenerator::AppendMaterialBlend(std::string& s, const char* p) const {
    const uint32_t first = desc_.layerBlend[0];
    const bool layerAlpha = (first & LayerBlend::AlphaSourceMask) == 0;
    if (first & LayerBlend::UsesConstant)
        Put(s, p, "currOpacity = blendingConstant0 * matOpacity;\n");
    else
        Put(s, p, "currOpacity = currDiffuseColor.a * matOpacity;\n");
    s += "\n";
    Put(s, p, "// modify color according to blend factors\n");
    switch (first & LayerBlend::OperationMask) {
        case LayerBlend::Multiply: Put(s, p, "currDiffuseColor = matDiffuse * currDiffuseColor;\n"); break;
        case LayerBlend::Add:
            Put(s, p,
                layerAlpha ? "currDiffuseColor = vec4( clamp(matDiffuse + currDiffuseColor, 0.0, 1.0).rgb, "
                             "currDiffuseColor.a );\n"
                           : "currDiffuseColor = vec4( clamp(matDiffuse + currDiffuseColor, 0.0, 1.0).rgb, "
                             "blendingConstant0 );\n");
            break;
        case LayerBlend::Mix:
            Put(s, p,
                layerAlpha ? "currDiffuseColor = mix( matDiffuse, currDiffuseColor, currDiffuseColor.a );\n"
                           : "currDiffuseColor = mix( matDiffuse, currDiffuseColor, blendingConstant0 );\n");
            break;
        default:  // replace: the texture stands as it is
            break;
    }
}

}  // namespace Velmora::Rendering
