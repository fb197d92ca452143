// The MTL parser: keywords in any case, clamped values and the refusals of the format.

#include <gtest/gtest.h>

#include "obj/AuthorMaterialPool.h"
#include "obj/MtlParser.h"
#include "support/LogCapture.h"

namespace {

using Velmora::OBJ::AuthorMaterialPool;
using Velmora::OBJ::MaterialInfo;
using Velmora::OBJ::MtlParser;
using Velmora::Test::LogCapture;

struct Library {
    AuthorMaterialPool pool;
    bool ok = false;
    explicit Library(const char* text) { ok = MtlParser(pool).Parse(text); }
    const MaterialInfo& operator[](const char* name) const {
        static const MaterialInfo kMissing;
        const MaterialInfo* m = pool.Find(name);
        return m ? *m : kMissing;
    }
};

TEST(MtlParser, ValuesAreClampedToTheirRanges) {
    LogCapture log;
    Library lib(
        "newmtl a\nNs 5000\nNi 0\nillum 12\n"
        "newmtl b\nNs -3\nNi 50\n");
    ASSERT_TRUE(lib.ok);
    EXPECT_EQ(lib["a"].specularExponent, 1000.0f);
    EXPECT_FLOAT_EQ(lib["a"].opticalDensity, 0.001f);
    EXPECT_EQ(lib["a"].illuminationModel, 10);
    EXPECT_EQ(lib["b"].specularExponent, 0.0f);
    EXPECT_EQ(lib["b"].opticalDensity, 10.0f);
}

TEST(MtlParser, OpacityOfZeroOrLessMeansOpaqueAndTrIsNotInverted) {
    LogCapture log;
    Library lib("newmtl zero\nd 0\nnewmtl negative\nd -1\nnewmtl half\nd 0.5\nnewmtl tr\nTr 0.25\nnewmtl big\nd 3\n");
    EXPECT_EQ(lib["zero"].opacity, 1.0f);
    EXPECT_EQ(lib["negative"].opacity, 1.0f);
    EXPECT_EQ(lib["half"].opacity, 0.5f);
    EXPECT_EQ(lib["tr"].opacity, 0.25f);
    EXPECT_EQ(lib["big"].opacity, 1.0f);
}

TEST(MtlParser, KeywordsIgnoreCaseAndColoursNeedThreeValues) {
    LogCapture log;
    Library lib("NEWMTL m\nKD 0.5 0.25 1\nKa 0.1\nKs 1 1 1\n");
    EXPECT_EQ(lib["m"].diffuse, (MaterialInfo::Color{0.5f, 0.25f, 1.0f}));
    EXPECT_EQ(lib["m"].ambient, (MaterialInfo::Color{0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(lib["m"].specular, (MaterialInfo::Color{1.0f, 1.0f, 1.0f}));
}

TEST(MtlParser, MapNamesKeepTheirBlanksUpToAComment) {
    Library lib("newmtl m\nmap_Kd my picture.png # the wood\nbump  bumps.tga\nrefl -type sphere shiny.png\n");
    EXPECT_EQ(lib["m"].diffuseMap, "my picture.png");
    EXPECT_EQ(lib["m"].bumpMap, "bumps.tga");
    EXPECT_EQ(lib["m"].reflectionMap, "shiny.png");
}

TEST(MtlParser, RefusesValuesWithoutAMaterialAndASecondMaterialOfOneName) {
    LogCapture log;
    Library empty("Kd 1 1 1\nfoo 1\n");
    EXPECT_FALSE(empty.ok);
    EXPECT_TRUE(log.Has("FAILED TO PARSE LINE 'Kd 1 1 1'"));
    EXPECT_TRUE(log.Has("MtlParser::Parse() - UNSUPPORTED TOKEN 'foo'", 1));
    Library twice("newmtl m\nKd 1 0 0\nnewmtl m\nKd 0 1 0\n");
    EXPECT_EQ(twice.pool.Size(), 1u);
    EXPECT_EQ(twice["m"].diffuse, (MaterialInfo::Color{1.0f, 0.0f, 0.0f}));
}

}  // namespace
