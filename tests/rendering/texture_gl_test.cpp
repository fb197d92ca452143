// Textures on the GPU: image bytes in, pixels read back, files and memory out; and the
// texture manager. Runs on the shared test context (Mesa's software rasteriser here).

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#include "GLTestEnvironment.h"
#include "image_test_support.h"
#include "rendering/Texture.h"
#include "rendering/TextureManager.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
using image_test::MakePattern;
using image_test::ToTextureLayout;

namespace {

class TextureTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        kestrum_test::TakeGLError();
    }
    void TearDown() override { EXPECT_EQ(kestrum_test::TakeGLError(), ""); }

    // Image file bytes in a creation info, as the U3D and PRC pools hand them over.
    static TextureCreationInfo BytesInfo(const std::vector<uint8_t>& bytes, uint32_t w, uint32_t h, int32_t format) {
        TextureCreationInfo info;
        info.generateMipmaps = false;
        info.format = format;
        info.data = TextureData::Create(w, h, w * 4, uint32_t(bytes.size()), bytes.data());
        return info;
    }

    static std::vector<uint8_t> Encode(ImageFormat format, const std::vector<uint8_t>& rgba, uint32_t w, uint32_t h, bool alpha) {
        std::vector<uint8_t> bytes;
        EXPECT_EQ(Image::Encode(format, rgba.data(), w, h, w * 4, PixelLayout::RGBA, alpha, false, bytes), ImageStatus::Ok);
        return bytes;
    }

    static std::vector<uint8_t> Pixels(const TextureData& data) { return {data.pixels.get(), data.pixels.get() + data.size}; }

    std::string TempPath(const std::string& name) {
        return (std::filesystem::temp_directory_path() / ("kestrum_tex_" + std::to_string(getpid()) + "_" + name)).string();
    }
};

}  // namespace

TEST_F(TextureTest, PngAndTiffRoundTripsThroughTheGpuArePixelExact) {
    const uint32_t w = 33, h = 17;
    const auto rgba = MakePattern(w, h, false, 3);
    for (auto [format, code] : {std::pair{ImageFormat::PNG, TextureFormat::PNG}, std::pair{ImageFormat::TIFF, TextureFormat::TIFF}}) {
        auto texture = Texture::CreateFromImageData(BytesInfo(Encode(format, rgba, w, h, true), w, h, code));
        ASSERT_NE(texture, nullptr);
        EXPECT_NE(texture->GetId(), 0u);
        EXPECT_EQ(texture->GetWidth(), w);
        EXPECT_EQ(texture->GetHeight(), h);
        EXPECT_TRUE(texture->HasAlpha());
        auto data = texture->GetTextureDataFromGPU();
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(data->width, w);
        EXPECT_EQ(data->height, h);
        EXPECT_EQ(data->stride, w);  // the width in pixels, not bytes
        EXPECT_EQ(data->size, w * h * 4);
        EXPECT_EQ(Pixels(*data), ToTextureLayout(rgba, w, h)) << int(format);
    }
}

TEST_F(TextureTest, JpegThroughTheGpuStaysWithinTolerance) {
    const uint32_t w = 40, h = 24;
    const auto rgba = image_test::MakeSmooth(w, h);
    auto texture = Texture::CreateFromImageData(BytesInfo(Encode(ImageFormat::JPEG, rgba, w, h, false), w, h, TextureFormat::JPEG));
    ASSERT_NE(texture, nullptr);
    EXPECT_FALSE(texture->HasAlpha());
    auto data = texture->GetTextureDataFromGPU();
    ASSERT_NE(data, nullptr);
    const auto expected = ToTextureLayout(rgba, w, h);
    ASSERT_EQ(data->size, expected.size());
    for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(int(data->pixels[i]), int(expected[i]), 12) << i;
}

TEST_F(TextureTest, OpaqueImageReportsNoAlphaUnlessTheCallerSaysSo) {
    const uint32_t w = 8, h = 8;
    const auto bytes = Encode(ImageFormat::PNG, MakePattern(w, h, true), w, h, false);
    auto info = BytesInfo(bytes, w, h, TextureFormat::PNG);
    auto texture = Texture::CreateFromImageData(info);
    ASSERT_NE(texture, nullptr);
    EXPECT_FALSE(texture->HasAlpha());
    info.hasAlpha = true;
    texture = Texture::CreateFromImageData(info);
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->HasAlpha());
}

TEST_F(TextureTest, AlphaComesFromTheFirstByteOfTheSecondImage) {
    const uint32_t w = 12, h = 9;
    const auto color = MakePattern(w, h, true, 5);
    std::vector<uint8_t> grey(color.size());
    for (size_t i = 0; i < grey.size(); i += 4) grey[i] = grey[i + 1] = grey[i + 2] = uint8_t(i * 7 / 4), grey[i + 3] = 255;
    // Colour as JPEG would blur; PNG keeps the check exact. The alpha image is a TIFF.
    auto texture = Texture::CreateWithAlphaFrom(BytesInfo(Encode(ImageFormat::PNG, color, w, h, false), w, h, TextureFormat::PNG),
                                                BytesInfo(Encode(ImageFormat::TIFF, grey, w, h, false), w, h, TextureFormat::TIFF));
    ASSERT_NE(texture, nullptr);
    EXPECT_TRUE(texture->HasAlpha());
    auto expected = color;
    for (size_t i = 0; i < expected.size(); i += 4) expected[i + 3] = grey[i + 2];  // blue of the grey image
    auto data = texture->GetTextureDataFromGPU();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(Pixels(*data), ToTextureLayout(expected, w, h));
}

TEST_F(TextureTest, AlphaFromImagesOfDifferentSizeIsRefused) {
    const auto a = Encode(ImageFormat::PNG, MakePattern(8, 8, true), 8, 8, false);
    const auto b = Encode(ImageFormat::PNG, MakePattern(8, 4, true), 8, 4, false);
    // Declared sizes differ.
    EXPECT_EQ(Texture::CreateWithAlphaFrom(BytesInfo(a, 8, 8, 1), BytesInfo(b, 8, 4, 1)), nullptr);
    // Declared alike, but the files disagree: what the files hold decides.
    EXPECT_EQ(Texture::CreateWithAlphaFrom(BytesInfo(a, 8, 8, 1), BytesInfo(b, 8, 8, 1)), nullptr);
    // A format outside PNG, JPEG, TIFF, or no data.
    EXPECT_EQ(Texture::CreateWithAlphaFrom(BytesInfo(a, 8, 8, 4), BytesInfo(a, 8, 8, 1)), nullptr);
    EXPECT_EQ(Texture::CreateWithAlphaFrom(TextureCreationInfo{}, BytesInfo(a, 8, 8, 1)), nullptr);
}

TEST_F(TextureTest, DefaultTextureIsAWhiteAndOrangeChecker) {
    auto texture = Texture::CreateDefaultTexture(Texture::DefaultTextureCreationInfo());
    ASSERT_NE(texture, nullptr);
    EXPECT_FALSE(texture->HasAlpha());
    auto data = texture->GetTextureDataFromGPU();
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(data->size, 8u * 8 * 4);
    const uint32_t orange = 0xFFFF6633u, white = 0xFFFFFFFFu;
    for (uint32_t y = 0; y < 8; ++y)
        for (uint32_t x = 0; x < 8; ++x) {
            uint32_t argb;
            std::memcpy(&argb, &data->pixels[(y * 8 + x) * 4], 4);  // B G R A in memory
            EXPECT_EQ(argb, ((x < 4) == (y < 4)) ? white : orange) << x << "," << y;
        }
    GLint minFilter = 0;
    glBindTexture(GL_TEXTURE_2D, texture->GetId());
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(minFilter, GL_LINEAR);
}

TEST_F(TextureTest, FilesAreReadByContentAndMissingOnesAreLogged) {
    const uint32_t w = 10, h = 6;
    const auto rgba = MakePattern(w, h, false);
    const std::string path = TempPath("content.img");  // the name says nothing of the type
    {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        const auto bytes = Encode(ImageFormat::TIFF, rgba, w, h, true);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    auto texture = Texture::CreateFromFile(path, TextureCreationInfo{});
    std::remove(path.c_str());
    ASSERT_NE(texture, nullptr);
    auto data = texture->GetTextureDataFromGPU();
    EXPECT_EQ(Pixels(*data), ToTextureLayout(rgba, w, h));

    Velmora::Test::LogCapture log;
    EXPECT_EQ(Texture::CreateFromFile("", TextureCreationInfo{}), nullptr);
    EXPECT_EQ(Texture::CreateFromFile("/nonexistent/a.png", TextureCreationInfo{}), nullptr);
    EXPECT_TRUE(log.Has("Texture::CreateFromFile() - failed to load '/nonexistent/a.png' (Error: 'File Not Found')", 1));
}

TEST_F(TextureTest, WrittenFilesGetTheFormatExtensionAndStandUpright) {
    EXPECT_EQ(Texture::FinalPath("/tmp/shot.png", ImageFormat::PNG), "/tmp/shot.png");
    EXPECT_EQ(Texture::FinalPath("/tmp/shot", ImageFormat::PNG), "/tmp/shot.png");
    EXPECT_EQ(Texture::FinalPath("/tmp/shot.jpg", ImageFormat::JPEG), "/tmp/shot.jpg.jpeg");
    EXPECT_EQ(Texture::FinalPath("/tmp/shot.PNG", ImageFormat::PNG), "/tmp/shot.PNG.png");
    EXPECT_EQ(Texture::FinalPath("/tmp/dir.v2/shot", ImageFormat::TIFF), "/tmp/dir.v2/shot.tiff");

    // Texture data is bottom row first; the file must show the top row first.
    const uint32_t w = 9, h = 5;
    const auto rgba = MakePattern(w, h, true);
    const auto layout = ToTextureLayout(rgba, w, h);
    auto data = TextureData::Create(w, h, w * 4, uint32_t(layout.size()), layout.data());
    for (ImageFormat format : {ImageFormat::PNG, ImageFormat::TIFF}) {
        const std::string path = TempPath("written");
        ASSERT_TRUE(Texture::WriteToFile(data, format, path));
        const std::string written = Texture::FinalPath(path, format);
        ImageBuffer image;
        ASSERT_EQ(Image::DecodeFile(written, image), ImageStatus::Ok);
        std::remove(written.c_str());
        EXPECT_FALSE(image.hasAlpha);
        EXPECT_EQ(std::vector<uint8_t>(image.pixels.get(), image.pixels.get() + image.size), rgba);
    }
}

TEST_F(TextureTest, MemoryEncodingMatchesTheGpuPixels) {
    const uint32_t w = 16, h = 16;
    const auto rgba = MakePattern(w, h, true, 9);
    auto texture = Texture::CreateFromImageData(BytesInfo(Encode(ImageFormat::PNG, rgba, w, h, false), w, h, TextureFormat::PNG));
    ASSERT_NE(texture, nullptr);
    auto data = texture->GetTextureDataFromGPU();  // stride reported in pixels: still encodable
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(Texture::WriteToMemory(data, ImageFormat::PNG, bytes));
    ImageBuffer image;
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_EQ(std::vector<uint8_t>(image.pixels.get(), image.pixels.get() + image.size), rgba);
    ASSERT_TRUE(Texture::WriteToMemory(data, ImageFormat::JPEG, bytes));
    EXPECT_EQ(Image::Identify(bytes.data(), bytes.size()), ImageFileType::JPEG);
}

TEST_F(TextureTest, WritingWithoutPixelsFailsWithItsMessage) {
    Velmora::Test::LogCapture log;
    auto empty = TextureData::Create(4, 4, 16, 0);
    std::vector<uint8_t> bytes;
    EXPECT_FALSE(Texture::WriteToMemory(empty, ImageFormat::PNG, bytes));
    EXPECT_FALSE(Texture::WriteToFile(nullptr, ImageFormat::PNG, TempPath("none")));
    EXPECT_EQ(log.Count("Failed to create bitmap from byte data!"), 2u);
    // Too few bytes for the claimed size is the same fault, caught before any pixel is read.
    auto shortData = TextureData::Create(4, 4, 16, 60);
    EXPECT_FALSE(Texture::WriteToMemory(shortData, ImageFormat::PNG, bytes));
    auto good = TextureData::Create(4, 4, 16, 64);
    EXPECT_FALSE(Texture::WriteToMemory(good, ImageFormat(7), bytes));  // no encoder
    EXPECT_FALSE(Texture::WriteToFile(good, ImageFormat::PNG, "/nonexistent/dir/shot"));
    EXPECT_TRUE(log.Has("Failed to write image!", 1));
}

TEST_F(TextureTest, HostileImageBytesFailCleanly) {
    Velmora::Test::LogCapture log;
    const auto png = Encode(ImageFormat::PNG, MakePattern(8, 8, false), 8, 8, true);
    for (size_t n : {size_t(1), size_t(8), size_t(30), png.size() / 2, png.size() - 1}) {
        std::vector<uint8_t> cut(png.begin(), png.begin() + long(n));
        EXPECT_EQ(Texture::CreateFromImageData(BytesInfo(cut, 8, 8, TextureFormat::PNG)), nullptr) << n;
    }
    std::vector<uint8_t> junk(300, 0x5A);
    EXPECT_EQ(Texture::CreateFromImageData(BytesInfo(junk, 8, 8, TextureFormat::TIFF)), nullptr);
    EXPECT_EQ(Texture::CreateFromImageData(TextureCreationInfo{}), nullptr);
    // Ready pixels fewer than the claimed size are never read past their end.
    TextureCreationInfo shortPixels;
    shortPixels.data = TextureData::Create(8, 8, 32, 8 * 8 * 4 - 1);
    EXPECT_EQ(Texture::CreateFromTextureData(shortPixels), nullptr);
    EXPECT_TRUE(log.Has("Texture::CreateFromTextureData() - INVALID INPUT DATA!", 1));
    EXPECT_TRUE(log.Has("Texture::CreateFromImageData() - failed to decode image"));
}

TEST_F(TextureTest, ManagerKeepsNamesAndIdsUniqueAndOwnsTheDefault) {
    TextureManager manager(1);
    ASSERT_TRUE(manager.Init());
    const uint32_t defaultId = manager.GetDefaultTextureId();
    EXPECT_NE(defaultId, 0u);
    EXPECT_EQ(manager.GetTextureId("___DefaultTexture"), defaultId);
    ASSERT_NE(manager.GetTexture(defaultId), nullptr);

    auto texture = Texture::CreateDefaultTexture(Texture::DefaultTextureCreationInfo());
    EXPECT_FALSE(manager.AddTexture("", texture));
    EXPECT_FALSE(manager.AddTexture("x", nullptr));
    EXPECT_FALSE(manager.AddTexture("___DefaultTexture", texture));            // name taken
    EXPECT_FALSE(manager.AddTexture("other", manager.GetTexture(defaultId)));  // GL name taken
    EXPECT_TRUE(manager.AddTexture("checker", texture));
    EXPECT_EQ(manager.GetTextureId("checker"), texture->GetId());
    EXPECT_EQ(manager.GetTextureId("unknown"), 0u);
    EXPECT_EQ(manager.GetTexture(123456), nullptr);
    manager.Shutdown();
}

TEST_F(TextureTest, AnisotropyTakesPowersOfTwoUpToTheGpuLimit) {
    GLfloat max = 0;
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &max);
    ASSERT_GE(max, 4.0f) << "the test needs a GPU with at least 4x anisotropy";
    TextureManager manager(1);
    ASSERT_TRUE(manager.Init());
    Velmora::Test::LogCapture log;
    manager.SetAnisotropy(3);
    EXPECT_EQ(manager.GetAnisotropy(), 1u);
    manager.SetAnisotropy(uint32_t(max) * 2);
    EXPECT_EQ(manager.GetAnisotropy(), 1u);
    manager.SetAnisotropy(4);
    EXPECT_EQ(manager.GetAnisotropy(), 4u);
    EXPECT_TRUE(log.Has("TextureManager: Anisotropic filtering set to 4", 3));

    auto readAnisotropy = [](uint32_t id) {
        GLfloat value = 0;
        glBindTexture(GL_TEXTURE_2D, id);
        glGetTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, &value);
        glBindTexture(GL_TEXTURE_2D, 0);
        return value;
    };
    EXPECT_EQ(readAnisotropy(manager.GetDefaultTextureId()), 4.0f);
    // A texture added later gets the setting too.
    auto texture = Texture::CreateDefaultTexture(Texture::DefaultTextureCreationInfo());
    ASSERT_TRUE(manager.AddTexture("late", texture));
    EXPECT_EQ(readAnisotropy(texture->GetId()), 4.0f);
    GLint bound = -1;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
    manager.Shutdown();
}

TEST_F(TextureTest, ManagerLeftWithTexturesSaysSo) {
    Velmora::Test::LogCapture log;
    {
        TextureManager manager(1);
        ASSERT_TRUE(manager.Init());
    }
    EXPECT_TRUE(log.Has("TextureManager instance was not shut down!", 1));
}

TEST_F(TextureTest, PaletteGifAndBmpFilesLoadAsBgraTextures) {
    // The material maps of OBJ scenes: 8-bit GIF and 24-bit BMP through the file path.
    const uint8_t palette[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 250, 250, 10};
    const std::vector<uint8_t> indices = {0, 1, 2, 3, 3, 2, 1, 0};  // 4 x 2
    const auto rgba = MakePattern(5, 3, true);
    const std::pair<std::string, std::vector<uint8_t>> files[] = {
        {TempPath("map.gif"), image_test::MakeGif(indices, 4, 2, palette)},
        {TempPath("map.bmp"), image_test::MakeBmp(rgba, 5, 3)}};
    for (const auto& [path, bytes] : files) {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    auto gif = Texture::CreateFromFile(files[0].first, TextureCreationInfo{});
    auto bmp = Texture::CreateFromFile(files[1].first, TextureCreationInfo{});
    std::remove(files[0].first.c_str());
    std::remove(files[1].first.c_str());
    ASSERT_NE(gif, nullptr);
    ASSERT_NE(bmp, nullptr);
    EXPECT_FALSE(gif->HasAlpha());
    EXPECT_EQ(Pixels(*bmp->GetTextureDataFromGPU()), ToTextureLayout(rgba, 5, 3));
    std::vector<uint8_t> expected;
    for (uint8_t i : indices) expected.insert(expected.end(), {palette[i * 3], palette[i * 3 + 1], palette[i * 3 + 2], 255});
    EXPECT_EQ(Pixels(*gif->GetTextureDataFromGPU()), ToTextureLayout(expected, 4, 2));
}
