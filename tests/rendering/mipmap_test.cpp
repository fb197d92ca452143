// Mipmap levels reduced on the CPU, and textures uploaded with them: complete on the GPU, with
// the reduced level where the driver would have put its own.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstring>
#include <vector>

#include "GLTestEnvironment.h"
#include "rendering/MipmapChain.h"
#include "rendering/Texture.h"

using namespace Velmora::Rendering;

namespace {

std::vector<uint8_t> Level(const MipmapLevel& level) {
    return {level.pixels.get(), level.pixels.get() + size_t(level.width) * level.height * 4};
}

// w x h texels of one colour, rows `stride` bytes apart with the padding filled with junk.
std::vector<uint8_t> Flat(uint32_t w, uint32_t h, size_t stride, const uint8_t (&texel)[4]) {
    std::vector<uint8_t> pixels(stride * h, 0xEE);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) std::memcpy(&pixels[y * stride + x * 4], texel, 4);
    return pixels;
}

}  // namespace

TEST(MipmapChain, TexelIsTheRoundedMeanOfItsBlockPerChannel) {
    // Channels chosen so a truncating mean, a swapped channel or one texel of the block
    // missing each gives a different answer.
    const std::vector<uint8_t> pixels = {0, 10, 255, 1, 1, 20, 255, 2,  //
                                         0, 30, 0,   3, 2, 41, 0,   4};
    MipmapLevel out;
    ASSERT_TRUE(MipmapChain::Reduce(pixels.data(), 2, 2, 8, out));
    EXPECT_EQ(out.width, 1u);
    EXPECT_EQ(out.height, 1u);
    EXPECT_EQ(Level(out), (std::vector<uint8_t>{1, 25, 128, 3}));
}

TEST(MipmapChain, OddAndThinSizesHalveDownToOneTexelWithoutLeavingTheirRows) {
    const uint8_t colour[4] = {9, 80, 200, 255};
    for (const auto& [w, h] : std::vector<std::pair<uint32_t, uint32_t>>{{5, 3}, {1, 7}, {9, 1}, {256, 3}}) {
        const size_t stride = size_t(w) * 4 + 12;
        std::vector<uint8_t> source = Flat(w, h, stride, colour);
        uint32_t width = w, height = h;
        size_t rowBytes = stride;
        MipmapLevel level;
        int levels = 0;
        while (width > 1 || height > 1) {
            ASSERT_TRUE(MipmapChain::Reduce(source.data(), width, height, rowBytes, level)) << w << "x" << h;
            EXPECT_EQ(level.width, width > 1 ? width / 2 : 1u);
            EXPECT_EQ(level.height, height > 1 ? height / 2 : 1u);
            // Junk in the row padding would show as a changed colour.
            EXPECT_EQ(Level(level), Flat(level.width, level.height, size_t(level.width) * 4, colour))
                << w << "x" << h << " level " << levels + 1;
            source = Level(level);
            width = level.width;
            height = level.height;
            rowBytes = size_t(width) * 4;
            ASSERT_LT(++levels, 32);
        }
    }
}

TEST(MipmapChain, BadSourcesGiveAnEmptyLevel) {
    const std::vector<uint8_t> pixels(64, 1);
    MipmapLevel out;
    EXPECT_FALSE(MipmapChain::Reduce(nullptr, 2, 2, 8, out));
    EXPECT_FALSE(MipmapChain::Reduce(pixels.data(), 4, 2, 8, out));  // rows shorter than the width
    EXPECT_FALSE(MipmapChain::Reduce(pixels.data(), 0, 2, 8, out));
    EXPECT_EQ(out.pixels, nullptr);
}

TEST(MipmapChain, UploadedTextureCarriesTheReducedLevelsAndIsComplete) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    kestrum_test::TakeGLError();
    // A 16x8 texture of vertical stripes, black and white in pairs: level 1 is stripes one
    // texel wide, level 2 an even grey.
    const uint32_t w = 16, h = 8;
    TextureCreationInfo info;
    info.data = TextureData::Create(w, h, w * 4, w * h * 4);
    ASSERT_TRUE(info.data);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            std::memset(info.data->pixels.get() + (y * w + x) * 4, (x / 2) % 2 ? 0xFF : 0x00, 4);
    std::shared_ptr<Texture> texture = Texture::CreateFromTextureData(info);
    ASSERT_TRUE(texture);

    glBindTexture(GL_TEXTURE_2D, texture->GetId());
    GLint maxLevel = -1;
    GLint lastWidth = 0, lastHeight = 0;
    for (GLint level = 0; level < 8; ++level) {
        GLint width = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH, &width);
        if (width == 0) break;
        maxLevel = level;
        lastWidth = width;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_HEIGHT, &lastHeight);
    }
    EXPECT_EQ(maxLevel, 4);  // 16x8, 8x4, 4x2, 2x1, 1x1
    EXPECT_EQ(lastWidth, 1);
    EXPECT_EQ(lastHeight, 1);

    std::vector<uint8_t> level1(size_t(w / 2) * (h / 2) * 4), level2(size_t(w / 4) * (h / 4) * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 1, GL_BGRA, GL_UNSIGNED_BYTE, level1.data());
    glGetTexImage(GL_TEXTURE_2D, 2, GL_BGRA, GL_UNSIGNED_BYTE, level2.data());
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glBindTexture(GL_TEXTURE_2D, 0);
    for (size_t i = 0; i < level1.size(); ++i) ASSERT_EQ(level1[i], (i / 4) % 2 ? 0xFF : 0x00) << i;
    for (size_t i = 0; i < level2.size(); ++i) ASSERT_EQ(level2[i], 0x80) << i;
    EXPECT_EQ(kestrum_test::TakeGLError(), "");
}
