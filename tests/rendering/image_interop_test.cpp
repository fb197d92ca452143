// Third-party image files: the PNG and JPEG textures embedded in the U3D test scenes (written
// by another program's converter), decoded by the codec and compared with an independent
// decoder (stb_image, compiled here for PNG and JPEG only, as a test oracle).

#include <gtest/gtest.h>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#endif
#include <stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "GLTestEnvironment.h"
#include "rendering/Image.h"
#include "rendering/Texture.h"

using namespace Velmora::Rendering;

namespace {

struct Embedded {
    std::string file;
    ImageFileType type;
    std::vector<uint8_t> bytes;
};

std::vector<uint8_t> ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// PNG from its signature through the CRC after IEND; JPEG from SOI through the first EOI
// (inside entropy-coded data 0xFF is always stuffed, so the first EOI ends the image).
std::vector<Embedded> FindImages(const std::string& name) {
    const auto data = ReadFile(std::filesystem::path(KESTRUM_TESTDATA) / "u3d" / name);
    std::vector<Embedded> found;
    static const uint8_t kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    for (size_t i = 0; i + 8 <= data.size(); ++i) {
        if (std::memcmp(&data[i], kPng, 8) == 0) {
            for (size_t e = i + 8; e + 8 <= data.size(); ++e)
                if (std::memcmp(&data[e], "IEND", 4) == 0) {
                    found.push_back({name, ImageFileType::PNG, {data.begin() + long(i), data.begin() + long(e + 8)}});
                    break;
                }
        } else if (data[i] == 0xFF && data[i + 1] == 0xD8 && data[i + 2] == 0xFF) {
            for (size_t e = i + 3; e + 2 <= data.size(); ++e)
                if (data[e] == 0xFF && data[e + 1] == 0xD9) {
                    found.push_back({name, ImageFileType::JPEG, {data.begin() + long(i), data.begin() + long(e + 2)}});
                    break;
                }
        }
    }
    return found;
}

// The oracle's RGBA pixels, top row first.
std::vector<uint8_t> OracleDecode(const std::vector<uint8_t>& bytes, int& w, int& h) {
    int channels = 0;
    stbi_uc* p = stbi_load_from_memory(bytes.data(), int(bytes.size()), &w, &h, &channels, 4);
    if (!p) return {};
    std::vector<uint8_t> out(p, p + size_t(w) * h * 4);
    stbi_image_free(p);
    return out;
}

}  // namespace

TEST(ImageInterop, EmbeddedTexturesMatchAnIndependentDecoder) {
    size_t png = 0, jpeg = 0;
    for (const char* name : {"shading_alpha.u3d", "shading_lines_alpha.u3d", "TextureLayers.u3d", "box_bo.u3d",
                             "SimpleShapesAnimation.u3d"}) {
        for (const Embedded& e : FindImages(name)) {
            int w = 0, h = 0;
            const auto expected = OracleDecode(e.bytes, w, h);
            ASSERT_FALSE(expected.empty()) << e.file;
            ImageBuffer image;
            ASSERT_EQ(Image::Decode(e.bytes.data(), e.bytes.size(), image), ImageStatus::Ok) << e.file;
            ASSERT_EQ(image.type, e.type);
            ASSERT_EQ(image.width, uint32_t(w));
            ASSERT_EQ(image.height, uint32_t(h));
            EXPECT_FALSE(image.hasAlpha) << e.file;  // grey PNGs and JPEGs: no alpha of their own
            if (e.type == ImageFileType::PNG) {
                ++png;
                EXPECT_EQ(std::memcmp(image.pixels.get(), expected.data(), expected.size()), 0) << e.file;
            } else {
                // Two JPEG decoders may round their IDCT and upsampling differently.
                ++jpeg;
                int worst = 0;
                double total = 0;
                for (size_t i = 0; i < expected.size(); ++i) {
                    const int d = std::abs(int(image.pixels[i]) - int(expected[i]));
                    worst = std::max(worst, d);
                    total += d;
                }
                EXPECT_LE(worst, 8) << e.file;
                EXPECT_LE(total / double(expected.size()), 1.0) << e.file;
            }
        }
    }
    EXPECT_GE(png, 2u);
    EXPECT_GE(jpeg, 8u);
}

// shading_alpha carries a 256 x 16 colour JPEG and a 256 x 16 grey PNG: a texture with alpha.
TEST(ImageInterop, ColourAndGreyImagesOfAU3DSceneCombineIntoAlpha) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    std::vector<uint8_t> colorBytes, alphaBytes;
    for (const Embedded& e : FindImages("shading_alpha.u3d")) {
        int w = 0, h = 0, c = 0;
        if (!stbi_info_from_memory(e.bytes.data(), int(e.bytes.size()), &w, &h, &c) || w != 256 || h != 16) continue;
        (e.type == ImageFileType::PNG ? alphaBytes : colorBytes) = e.bytes;
    }
    ASSERT_FALSE(colorBytes.empty());
    ASSERT_FALSE(alphaBytes.empty());
    auto info = [](const std::vector<uint8_t>& bytes, int32_t format) {
        TextureCreationInfo i;
        i.generateMipmaps = false;
        i.format = format;
        i.data = TextureData::Create(256, 16, 256 * 4, uint32_t(bytes.size()), bytes.data());
        return i;
    };
    auto texture = Texture::CreateWithAlphaFrom(info(colorBytes, TextureFormat::JPEG), info(alphaBytes, TextureFormat::PNG));
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->HasAlpha());
    auto data = texture->GetTextureDataFromGPU();
    ASSERT_NE(data, nullptr);
    int w = 0, h = 0;
    const auto grey = OracleDecode(alphaBytes, w, h);
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 256; ++x)
            ASSERT_EQ(data->pixels[((15 - y) * 256 + x) * 4 + 3], grey[(y * 256 + x) * 4]) << x << "," << y;
    kestrum_test::TakeGLError();
}
