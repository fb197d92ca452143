#include <gtest/gtest.h>

#include "format/PDFHelper.h"
#include "support/LogCapture.h"
#include "u3d/U3DSceneDescription.h"

namespace {

using Velmora::FormatGlue::Dictionary;
using Velmora::FormatGlue::DictionaryValue;
using Velmora::FormatGlue::PDFHelper;
using Velmora::U3D::CreateDictionaryFromViewParams;
using Velmora::U3D::U3DSceneDescription;
using Velmora::U3D::ViewportRect;
using Velmora::Utility::ViewParameters;

class SceneDescriptionTest : public ::testing::Test {
protected:
    Velmora::Test::LogCapture log;
};

TEST_F(SceneDescriptionTest, ReadsProjectionBackgroundAndLighting) {
    U3DSceneDescription d;
    ASSERT_TRUE(
        d.CreateFromString("/XN (V) /3DB [0 0 8 6] /BG << /C [0.2] >> /LS << /Subtype /Night >> /CO 3 "
                           "/RM << /Subtype /Wireframe >> /P << /Subtype /P /FOV 200 /PS /Max /CS /XNF /N 0.1 /F 50 >> "
                           "/MS /U3D /U3DPath (Cam A)"));
    EXPECT_EQ(d.backgroundColor, (std::array<float, 3>{0.2f, 0.2f, 0.2f}));
    EXPECT_EQ(d.lightingScheme, "Night");
    EXPECT_TRUE(d.hasCenterOfOrbit);
    EXPECT_FLOAT_EQ(d.centerOfOrbit, 3.0f);
    EXPECT_FLOAT_EQ(d.fieldOfView, 180.0f);  // clamped
    EXPECT_EQ(d.projectionScaling, U3DSceneDescription::Max);
    EXPECT_TRUE(d.hasClipping);
    EXPECT_FLOAT_EQ(d.nearClip, 0.1f);
    EXPECT_FLOAT_EQ(d.farClip, 50.0f);
    EXPECT_TRUE(d.hasViewNode);
    EXPECT_EQ(d.viewNode, "Cam A");
}

TEST_F(SceneDescriptionTest, ProjectionScalingNumbersAndFailures) {
    U3DSceneDescription number;
    ASSERT_TRUE(number.CreateFromString("/XN (V) /3DB [0 0 8 6] /P << /Subtype /P /FOV 30 /PS 2.5 >>"));
    EXPECT_EQ(number.projectionScaling, U3DSceneDescription::Number);
    EXPECT_FLOAT_EQ(number.projectionScale, 2.5f);
    U3DSceneDescription bad;
    ASSERT_TRUE(bad.CreateFromString("/XN (V) /3DB [0 0 8 6] /P << /Subtype /P /PS x1 >>"));
    U3DSceneDescription ortho;
    ASSERT_TRUE(ortho.CreateFromString("/XN (V) /3DB [0 0 8 6] /P << /Subtype /O /OS 4 >>"));
    EXPECT_TRUE(ortho.orthographic);
    EXPECT_FLOAT_EQ(ortho.orthoScale, 4.0f);
}

TEST_F(SceneDescriptionTest, MatrixSourceRules) {
    U3DSceneDescription noMatrix;
    EXPECT_FALSE(noMatrix.CreateFromString("/XN (V) /3DB [0 0 8 6] /MS /M"));
    U3DSceneDescription noPath;
    EXPECT_FALSE(noPath.CreateFromString("/XN (V) /3DB [0 0 8 6] /MS /U3D"));
    U3DSceneDescription matrix;
    ASSERT_TRUE(matrix.CreateFromString("/XN (V) /3DB [0 0 8 6] /MS /M /C2W [1 0 0 0 1 0 0 0 1 4 5 6]"));
    EXPECT_TRUE(matrix.hasMatrix);
    EXPECT_FLOAT_EQ(matrix.cameraToWorld[12], 4.0f);
    EXPECT_FLOAT_EQ(matrix.cameraToWorld[15], 1.0f);
}

}  // namespace
