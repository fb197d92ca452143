// The GLSL text of generated programs, checked without a GL context.

#include <gtest/gtest.h>

#include <string>

#include "rendering/shaders/ShaderManager2.h"
#include "rendering/shaders/ShaderSourceGenerator.h"
#include "shader_test_support.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using kestrum_test::FakeScenes;
using Velmora::Test::LogCapture;

constexpr uint32_t kPos = VertexAttribute::Position;
constexpr uint32_t kNormal = VertexAttribute::Normal;
constexpr uint32_t kDiffuse = VertexAttribute::Diffuse;
constexpr uint32_t kSpecular = VertexAttribute::Specular;

ShaderDescription Describe(uint32_t attributes, uint32_t flags, uint32_t geometryMode = 0) {
    ShaderDescription d;
    d.vertexAttributes = attributes;
    d.flags = flags;
    d.geometryMode = geometryMode;
    d.blendMode = 3;
    return d;
}

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// ---------------------------------------------------------------------------------------------
// Program names

TEST(ShaderNameTest, NamesFollowTheDescriptionFields) {
    FakeScenes scenes;
    scenes.Add(1, LightingModel::Blinn);
    ShaderManager2 manager(1);

    // Front and back faces, no lighting, one layer replaced: the documented example.
    ShaderDescription d = Describe(kPos | 0x01, 0x03);
    d.textureLayers = 0x1;
    d.layerBlend[0] = 2;
    EXPECT_EQ(manager.BuildName(d), "1_0_03_101_0_2");

    // Every field in hex with its width; one blend digit per used layer, ascending.
    scenes.SetLightingModel(1, LightingModel::Gauss);
    ShaderDescription e = Describe(0xF05, 0x1C, 3);
    e.alphaFunction = 7;
    e.textureLayers = 0x05;
    e.layerBlend[0] = 0xB;
    e.layerBlend[1] = 0x7;  // not in textureLayers: not named
    e.layerBlend[2] = 0x3;
    EXPECT_EQ(manager.BuildName(e), "2_7_1c_f05_3_b3");

    // Nothing of the uniform values reaches the name.
    ShaderDescription f = e;
    f.texIntensity[0] = 0.25f;
    f.blendingConstant[2] = 0.5f;
    f.alphaReference = 0.75f;
    f.blendMode = 1;
    EXPECT_EQ(manager.BuildName(f), manager.BuildName(e));
}

TEST(ShaderNameTest, OutOfRangeFieldsAreReportedAndStillNamed) {
    FakeScenes scenes;
    scenes.Add(1, LightingModel::Phong);
    ShaderManager2 manager(1);
    LogCapture log;
    EXPECT_EQ(manager.BuildName(Describe(0x1100, 0x04)), "0_0_04_1100_0");
    EXPECT_TRUE(log.Has("ShaderDescription Attributes out of range for building dynamic shader name", 1));

    log.Clear();
    ShaderDescription d = Describe(kPos, 0x100);
    d.alphaFunction = 16;
    EXPECT_EQ(manager.BuildName(d), "0_10_100_100_0");
    EXPECT_EQ(log.Count("out of range"), 1u);

    log.Clear();
    EXPECT_EQ(manager.BuildName(Describe(0xFFF, 0xFF, 15)), "0_0_ff_fff_f");
    EXPECT_FALSE(log.Has("out of range"));
}

TEST(ShaderNameTest, UnknownSceneGivesNoName) {
    FakeScenes scenes;
    ShaderManager2 manager(7);
    LogCapture log;
    EXPECT_EQ(manager.BuildName(Describe(kPos, 0x01)), "");
    EXPECT_TRUE(log.Has("ShaderManager2 has no valid scene!", 1));
    EXPECT_EQ(manager.GetShader(Describe(kPos, 0x01)), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Whole stages of one small description

TEST(ShaderSourceTest, VertexColourProgramText) {
    const ShaderSourceGenerator generator(Describe(kPos | kDiffuse, 0x01), LightingModel::Blinn, 3, 30);
    EXPECT_FALSE(generator.HasGeometryStage());
    EXPECT_EQ(generator.GeometrySource(), "");

    const std::string head =
        "#version 330\n\nlayout(std140) uniform;\n\n"
        "uniform GlobalMatrices\n{\n    mat4 viewMatrix;\n    mat4 projectionMatrix;\n};\n\n";
    EXPECT_EQ(generator.VertexSource(),
              head +
                  "uniform mat4 modelMatrix;\n\n"
                  "// vertex attributes\nin vec3 vertexPos;\nin vec4 vertexDiffuse;\n\n"
                  "// shader output\nout VertexData\n{\n"
                  "    vec3 vertPositionCamSpace;    // vertex position in camera space\n"
                  "    vec4 vertDiffuseColor;        // vertex diffuse color\n"
                  "} vertexOut;\n\n"
                  "void main()\n{\n"
                  "    vertexOut.vertPositionCamSpace = vec3(viewMatrix * modelMatrix * vec4(vertexPos, 1.0));\n\n"
                  "    vertexOut.vertDiffuseColor = vertexDiffuse;\n\n"
                  "    gl_Position = projectionMatrix * vec4(vertexOut.vertPositionCamSpace, 1.0);\n"
                  "}\n");
    EXPECT_EQ(generator.FragmentSource(),
              head +
                  "// fragment stage input\nin VertexData\n{\n"
                  "    vec3 vertPositionCamSpace;    // vertex position in camera space\n"
                  "    vec4 vertDiffuseColor;        // vertex diffuse color\n"
                  "\n};\n"
                  "vec4 currDiffuseColor = vec4(0.0);\nfloat currOpacity = 1.0;\n"
                  "// output\nout vec4 resultColor;\n\n"
                  "void main()\n{\n"
                  "    if( !gl_FrontFacing )\n        discard;\n\n"
                  "    // add base color info\n"
                  "    currDiffuseColor = vertDiffuseColor;\n"
                  "    currOpacity = currDiffuseColor.a;\n"
                  "    // set result color\n"
                  "    resultColor = currDiffuseColor;\n"
                  "}\n");
}

TEST(ShaderSourceTest, VersionLineComesFromTheShadingLanguageVersion) {
    const ShaderDescription d = Describe(kPos, 0x03);
    EXPECT_EQ(ShaderSourceGenerator(d, 1, 4, 50).VertexSource().rfind("#version 450\n\nlayout(std140) uniform;\n\n", 0), 0u);
    EXPECT_EQ(ShaderSourceGenerator(d, 1, 1, 40).FragmentSource().rfind("#version 140\n\n", 0), 0u);
}

TEST(ShaderSourceTest, ClipSpaceProgramsSkipTheMatrices) {
    // The screen quad's description: front, no matrices, no model matrix, one replaced layer.
    ShaderDescription d = Describe(kPos | 0x01, 0x61);
    d.textureLayers = 1;
    d.layerBlend[0] = 2;
    const ShaderSourceGenerator generator(d, 1, 3, 30);
    const std::string vertex = generator.VertexSource();
    EXPECT_FALSE(Contains(vertex, "GlobalMatrices"));
    EXPECT_FALSE(Contains(vertex, "modelMatrix"));
    EXPECT_FALSE(Contains(vertex, "vertPositionCamSpace"));
    EXPECT_TRUE(Contains(vertex, "    gl_Position = vec4(vertexPos, 1.0);\n}\n"));
    EXPECT_TRUE(Contains(vertex, "    vertexOut.vertTexCoord0 = vertexTexCoord0;\n"));

    d.flags = 0x21;
    EXPECT_TRUE(Contains(ShaderSourceGenerator(d, 1, 3, 30).VertexSource(),
                         "uniform mat4 modelMatrix;\n\n// vertex attributes\n"));
    EXPECT_TRUE(Contains(ShaderSourceGenerator(d, 1, 3, 30).VertexSource(),
                         "    gl_Position = modelMatrix * vec4(vertexPos, 1.0);\n"));
}

TEST(ShaderSourceTest, MissingPositionLeavesNoCameraSpacePosition) {
    for (uint32_t mode : {0u, 1u, 2u, 3u}) {
        const ShaderSourceGenerator generator(Describe(kDiffuse, 0x03, mode), 1, 3, 30);
        EXPECT_FALSE(Contains(generator.VertexSource(), "vertPositionCamSpace")) << mode;
        EXPECT_FALSE(Contains(generator.GeometrySource(), "vertPositionCamSpace")) << mode;
        EXPECT_FALSE(Contains(generator.FragmentSource(), "vertPositionCamSpace")) << mode;
        EXPECT_FALSE(Contains(generator.VertexSource(), "gl_Position")) << mode;
    }
}

// ---------------------------------------------------------------------------------------------
// Lighting

TEST(ShaderSourceTest, SpecularTermFollowsTheLightingModel) {
    const ShaderDescription d = Describe(kPos | kNormal | kDiffuse | kSpecular, 0x07);
    const char* comments[] = {"// specular reflection - phong\n", "// specular reflection - blinn\n",
                              "// specular reflection - gauss\n"};
    for (uint32_t model = 0; model < 3; ++model) {
        const std::string fragment = ShaderSourceGenerator(d, model, 3, 30).FragmentSource();
        for (uint32_t other = 0; other < 3; ++other)
            EXPECT_EQ(Contains(fragment, std::string("        ") + comments[other]), other == model) << model;
        EXPECT_TRUE(Contains(fragment, "        float matShininess = 1000.0f;  // default shininess\n"
                                       "        if( matShininess > 0.0 )\n        {\n"));
        EXPECT_TRUE(Contains(fragment, "    currSpecularColor = vertSpecularColor;\n"));
    }

    // With the material table the shininess comes from the material; without the specular
    // attribute or the table there is no specular term at all.
    ShaderDescription m = Describe(kPos | kNormal, 0x17);
    const std::string withMaterial = ShaderSourceGenerator(m, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(Contains(withMaterial, "// specular reflection - blinn"));
    EXPECT_FALSE(Contains(withMaterial, "default shininess"));
    EXPECT_TRUE(Contains(withMaterial, "    vec3 emissiveTerm = vec3(matEmissive);\n\n"));
    m.flags = 0x07;
    const std::string plain = ShaderSourceGenerator(m, 1, 3, 30).FragmentSource();
    EXPECT_FALSE(Contains(plain, "specular reflection"));
    EXPECT_TRUE(Contains(plain, "    vec3 emissiveTerm = vec3(0.0);\n\n"));
}

TEST(ShaderSourceTest, UnsupportedLightingModelIsReportedWithoutSpecular) {
    LogCapture log;
    const std::string fragment =
        ShaderSourceGenerator(Describe(kPos | kNormal | kSpecular, 0x07), 3, 3, 30).FragmentSource();
    EXPECT_TRUE(log.Has("AddFragmentLightingFunction() - Unsupported light model '3'", 1));
    EXPECT_FALSE(Contains(fragment, "specular reflection"));
    EXPECT_TRUE(Contains(fragment, "AddLightOutput();"));
}

TEST(ShaderSourceTest, LitProgramDeclaresLightsAndPicksFaceNormals) {
    ShaderDescription d = Describe(kPos | kNormal, 0x07);
    std::string fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(Contains(fragment, "const int NUMBER_OF_LIGHTS = 8;\n\nuniform GlobalLights\n{\n"));
    EXPECT_TRUE(Contains(fragment, "} Lights;\n\n"));
    EXPECT_TRUE(Contains(fragment, "        if( gl_FrontFacing )\n            faceNormal = vertNormalCamSpace;\n"
                                   "        else\n            faceNormal = vertBackNormalCamSpace;\n\n"));
    EXPECT_TRUE(Contains(fragment, "        // apply gamma correction to result\n"));
    EXPECT_TRUE(Contains(fragment, "    if( Lights.enableAmbient == 1 )\n"));
    // Without a colour source: the fallback, and it says so.
    d.flags = 0x06;
    LogCapture log;
    fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(log.Has("DynamicShader::AddBaseColor - using fallback colors!", 1));
    EXPECT_TRUE(Contains(fragment, "    if( gl_FrontFacing )\n        discard;\n\n"));
    EXPECT_TRUE(Contains(fragment, "        faceNormal = vertBackNormalCamSpace;\n\n"));
    EXPECT_FALSE(Contains(fragment, "if( gl_FrontFacing )\n            faceNormal"));
    EXPECT_TRUE(Contains(fragment, "    currAmbientColor = vec4(1.0);\n    currSpecularColor = vec4(1.0);\n"));
}

// ---------------------------------------------------------------------------------------------
// Texture layers and materials

TEST(ShaderSourceTest, LayerBlendReadsLayerZeroExceptForTheAddTest) {
    ShaderDescription d = Describe(kPos | 0x07, 0x01);
    d.textureLayers = 0x07;
    d.layerBlend[0] = 0;  // multiply, layer alpha
    d.layerBlend[1] = 3;  // mix on its own word, but layer 0 decides: multiply
    d.layerBlend[2] = 1;  // add: its own word decides
    std::string fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(Contains(fragment, "    currDiffuseColor = texture(texSampler0, vertTexCoord0) * vec4( vec3(texIntensity0), 1.0 );\n"
                                   "    vec4 texLayer1 = texture(texSampler1, vertTexCoord1) * vec4( vec3(texIntensity1), 1.0 );\n"
                                   "    currDiffuseColor *= texLayer1;\n"));
    EXPECT_TRUE(Contains(fragment, "    currDiffuseColor = vec4( clamp(currDiffuseColor + texLayer2, 0.0, 1.0).rgb, texLayer2.a );\n"));
    EXPECT_TRUE(Contains(fragment, "uniform sampler2D texSampler2;\nuniform float blendingConstant2;\nuniform float texIntensity2;\n\n\n"));

    // Layer 0 set to mix with the constant as alpha source: the add of layer 2 takes its
    // alpha from layer 0's word too.
    d.layerBlend[0] = 3 | 8;
    fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(Contains(fragment, "    currDiffuseColor = mix( currDiffuseColor, texLayer1, blendingConstant1 );\n"));
    EXPECT_TRUE(Contains(fragment, "clamp(currDiffuseColor + texLayer2, 0.0, 1.0).rgb, blendingConstant2 );\n"));

    d.layerBlend[0] = 2;
    fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
    EXPECT_TRUE(Contains(fragment, "    currDiffuseColor = texLayer1;\n"));
    EXPECT_TRUE(Contains(fragment, "    currOpacity = currDiffuseColor.a;\n"));
}

TEST(ShaderSourceTest, OnlyLayersInBothMasksAreUsed) {
    ShaderDescription d = Describe(kPos | 0x03, 0x01);
    d.textureLayers = 0x06;  // layer 1 in both, layer 2 has no coordinates, layer 0 not on
    const ShaderSourceGenerator generator(d, 1, 3, 30);
    const std::string vertex = generator.VertexSource();
    const std::string fragment = generator.FragmentSource();
    EXPECT_TRUE(Contains(vertex, "in vec2 vertexTexCoord1;\n"));
    EXPECT_FALSE(Contains(vertex, "vertexTexCoord0"));
    EXPECT_FALSE(Contains(vertex, "vertexTexCoord2"));
    EXPECT_TRUE(Contains(fragment, "texSampler1"));
    EXPECT_FALSE(Contains(fragment, "texSampler0"));
    EXPECT_FALSE(Contains(fragment, "texSampler2"));
}

TEST(ShaderSourceTest, MaterialTableIsFetchedPerVertexAndBlended) {
    ShaderDescription d = Describe(kPos | kNormal | 0x01, 0x17);
    d.textureLayers = 1;
    d.layerBlend[0] = 1 | 8;  // add, constant alpha
    const ShaderSourceGenerator generator(d, 1, 3, 30);
    const std::string vertex = generator.VertexSource();
    EXPECT_TRUE(Contains(vertex, "uniform mat3 normalMatrix;\n\nuniform samplerBuffer matSampler;\nuniform int materialIndex;\n\n"));
    EXPECT_TRUE(Contains(vertex, "    vertexOut.matAmbient = texelFetch( matSampler, (materialIndex * 5) + 0 );\n"));
    EXPECT_TRUE(Contains(vertex, "    vec4 matAttributes = texelFetch( matSampler, (materialIndex * 5) + 4 );\n"
                                 "    vertexOut.matShininess = matAttributes.x;\n    vertexOut.matOpacity = matAttributes.y;\n\n"));
    const std::string fragment = generator.FragmentSource();
    EXPECT_TRUE(Contains(fragment, "    currSpecularColor = matSpecular;\n"
                                   "    currOpacity = blendingConstant0 * matOpacity;\n\n"
                                   "    // modify color according to blend factors\n"
                                   "    currDiffuseColor = vec4( clamp(matDiffuse + currDiffuseColor, 0.0, 1.0).rgb, blendingConstant0 );\n"));
}

// ---------------------------------------------------------------------------------------------
// Alpha test and geometry stage

TEST(ShaderSourceTest, AlphaFunctionsMapToTheirTests) {
    const char* expected[] = {
        nullptr,
        "    // alpha test\n    discard;\n\n",
        "    // alpha test\n    if( resultColor.a < alphaTestReference )\n        discard;\n\n",
        "    if( resultColor.a > alphaTestReference )\n",
        "    if( resultColor.a == alphaTestReference )\n",
        "    if( resultColor.a != alphaTestReference )\n",
        "    if( resultColor.a <= alphaTestReference )\n",
        "    if( resultColor.a >= alphaTestReference )\n",
        "    // alpha test\n    // nothing to do\n\n",
    };
    for (uint32_t function = 0; function <= 8; ++function) {
        ShaderDescription d = Describe(kPos | kDiffuse, 0x03);
        d.alphaFunction = function;
        const std::string fragment = ShaderSourceGenerator(d, 1, 3, 30).FragmentSource();
        EXPECT_EQ(Contains(fragment, "uniform float alphaTestReference;\n\n"), function != 0) << function;
        if (expected[function]) {
            EXPECT_TRUE(Contains(fragment, expected[function])) << function;
        } else {
            EXPECT_FALSE(Contains(fragment, "alpha test")) << function;
        }
    }
}

TEST(ShaderSourceTest, GeometryModesShapeTheGeometryStage) {
    const char* layouts[] = {nullptr, "layout(triangles) in;\nlayout(points, max_vertices=3) out;\n\n",
                             "layout(triangles) in;\nlayout(line_strip, max_vertices=4) out;\n\n",
                             "layout(triangles) in;\nlayout(triangle_strip, max_vertices=3) out;\n\n"};
    for (uint32_t mode = 0; mode <= 4; ++mode) {
        const ShaderSourceGenerator generator(Describe(kPos | kNormal, 0x07, mode), 1, 3, 30);
        const std::string geometry = generator.GeometrySource();
        const std::string fragment = generator.FragmentSource();
        EXPECT_EQ(generator.HasGeometryStage(), mode >= 1 && mode <= 3) << mode;
        if (mode >= 1 && mode <= 3) {
            EXPECT_TRUE(Contains(geometry, layouts[mode])) << mode;
        }
        EXPECT_EQ(Contains(fragment, "    noperspective vec3 edgeDist;\n"), mode >= 1 && mode <= 3) << mode;
        EXPECT_EQ(Contains(geometry, "    noperspective vec3 edgeDist;\n\n} vertexOut;\n\n"), mode >= 1 && mode <= 3) << mode;
        EXPECT_EQ(Contains(fragment, "// add edge color for solid wireframe"), mode == 3) << mode;
        EXPECT_EQ(Contains(fragment, "    resultColor = vec4( vertNormalCamSpace, 1.0 );\n}\n"), mode == 4) << mode;
    }
    const std::string wire = ShaderSourceGenerator(Describe(kPos | kNormal, 0x07, 3), 1, 3, 30).GeometrySource();
    EXPECT_TRUE(Contains(wire, "        vertexOut.edgeDist[i] = 1.0;\n\n        // pass through data\n"
                               "        vertexOut.vertPositionCamSpace = vertexIn[i].vertPositionCamSpace;\n"));
    EXPECT_TRUE(Contains(wire, "\n} vertexIn[];\n\n"));
    const std::string lines = ShaderSourceGenerator(Describe(kPos, 0x03, 2), 1, 3, 30).GeometrySource();
    EXPECT_TRUE(Contains(lines, "        int i = j % gl_in.length();\n"));
}

}  // namespace
