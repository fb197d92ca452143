// Image codecs, hostile image bytes, textures on the GPU and the textures embedded in third-party files.

#include <gtest/gtest.h>

// An independent decoder as the oracle for the embedded pictures: stb_image, PNG and JPEG only.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#include <stb_image.h>
#pragma GCC diagnostic pop

#include <epoxy/gl.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "GLTestEnvironment.h"
#include "image_test_support.h"
#include "rendering/Image.h"
#include "rendering/Texture.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
using image_test::MakeBmp;
using image_test::MakeGif;
using image_test::MakePattern;
using image_test::MakeSmooth;

namespace {

std::vector<uint8_t> EncodeRgba(ImageFormat format, const std::vector<uint8_t>& rgba, uint32_t w, uint32_t h,
                                bool alpha) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(Image::Encode(format, rgba.data(), w, h, size_t(w) * 4, PixelLayout::RGBA, alpha, false, bytes),
              ImageStatus::Ok);
    return bytes;
}

std::vector<uint8_t> Pixels(const ImageBuffer& image) { return {image.pixels.get(), image.pixels.get() + image.size}; }

// Largest and mean channel difference of a lossy decode against what it should show.
void ExpectClose(const uint8_t* decoded, const std::vector<uint8_t>& expected, int worstLimit, double meanLimit) {
    int worst = 0;
    double total = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        const int d = std::abs(int(decoded[i]) - int(expected[i]));
        worst = std::max(worst, d);
        total += d;
    }
    EXPECT_LE(worst, worstLimit);
    EXPECT_LE(total / double(expected.size()), meanLimit);
}

// A PNG signature, an IHDR chunk claiming the given size and an empty IDAT, with correct CRCs:
// enough for a reader to learn the size and start on the pixels.
std::vector<uint8_t> MakePngHeader(uint32_t w, uint32_t h) {
    std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    auto be32 = [&](uint32_t v) {
        b.insert(b.end(), {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)});
    };
    be32(w), be32(h);
    b.insert(b.end(), {8, 6, 0, 0, 0});
    be32(uint32_t(crc32(0, b.data() + 12, 17)));
    const size_t idat = b.size();
    b.insert(b.end(), {0, 0, 0, 0, 'I', 'D', 'A', 'T'});
    be32(uint32_t(crc32(0, b.data() + idat + 4, 4)));
    return b;
}

}  // namespace

TEST(ImageCodec, PngRoundTripIsExactWithAndWithoutAlpha) {
    const uint32_t w = 37, h = 23;  // odd sizes catch stride mistakes
    const auto rgba = MakePattern(w, h, false);
    ImageBuffer image;
    auto bytes = EncodeRgba(ImageFormat::PNG, rgba, w, h, true);
    ASSERT_EQ(Image::Identify(bytes.data(), bytes.size()), ImageFileType::PNG);
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_EQ(image.width, w);
    EXPECT_EQ(image.height, h);
    EXPECT_EQ(image.stride, w * 4);
    EXPECT_TRUE(image.hasAlpha);
    EXPECT_EQ(image.type, ImageFileType::PNG);
    EXPECT_EQ(Pixels(image), rgba);
    bytes = EncodeRgba(ImageFormat::PNG, rgba, w, h, false);
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_FALSE(image.hasAlpha);
    auto opaque = rgba;
    for (size_t i = 3; i < opaque.size(); i += 4) opaque[i] = 255;
    EXPECT_EQ(Pixels(image), opaque);
}

TEST(ImageCodec, JpegRoundTripStaysWithinTolerance) {
    const uint32_t w = 64, h = 48;
    const auto rgba = MakeSmooth(w, h);
    const auto bytes = EncodeRgba(ImageFormat::JPEG, rgba, w, h, false);
    ASSERT_EQ(Image::Identify(bytes.data(), bytes.size()), ImageFileType::JPEG);
    ImageBuffer image;
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    ASSERT_EQ(image.width, w);
    ASSERT_EQ(image.height, h);
    EXPECT_FALSE(image.hasAlpha);
    ExpectClose(image.pixels.get(), rgba, 12, 2.0);
}

TEST(ImageCodec, ReadsBmpAndPaletteGifAsFourByteLayouts) {
    const uint32_t w = 7, h = 3;
    const auto rgba = MakePattern(w, h, true);
    const auto bmp = MakeBmp(rgba, w, h);
    ImageBuffer image;
    ASSERT_EQ(Image::Decode(bmp.data(), bmp.size(), image), ImageStatus::Ok);
    EXPECT_EQ(image.type, ImageFileType::BMP);
    EXPECT_FALSE(image.hasAlpha);
    EXPECT_EQ(Pixels(image), rgba);
    const uint8_t palette[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 250, 250, 10};
    const std::vector<uint8_t> indices = {0, 1, 2, 3, 3, 2, 1, 0, 2, 2, 0, 1};  // 4 x 3
    const auto gif = MakeGif(indices, 4, 3, palette);
    ASSERT_EQ(Image::Decode(gif.data(), gif.size(), image, PixelLayout::BGRA, true), ImageStatus::Ok);
    EXPECT_EQ(image.type, ImageFileType::GIF);
    EXPECT_FALSE(image.hasAlpha);
    ASSERT_EQ(image.width, 4u);
    ASSERT_EQ(image.height, 3u);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 4; ++x) {
            const uint8_t* c = &palette[indices[y * 4 + x] * 3];
            const uint8_t* p = &image.pixels[((2 - y) * 4 + x) * 4];  // bottom row first
            EXPECT_EQ(p[0], c[2]);
            EXPECT_EQ(p[1], c[1]);
            EXPECT_EQ(p[2], c[0]);
            EXPECT_EQ(p[3], 255);
        }
}

// Hostile input: every prefix, flipped bytes, absurd sizes and noise. A result must be a
// clean status, never a crash, hang or giant allocation (the sanitizer build checks leaks).
TEST(ImageCodecHostile, TruncatedFilesFailCleanly) {
    Velmora::Test::LogCapture quiet;  // the libraries' complaints go to the log only
    const uint32_t w = 16, h = 12;
    const auto rgba = MakePattern(w, h, false);
    for (ImageFormat format : {ImageFormat::PNG, ImageFormat::TIFF}) {
        const auto bytes = EncodeRgba(format, rgba, w, h, true);
        for (size_t n = 0; n < bytes.size(); ++n) {
            ImageBuffer image;
            const ImageStatus status = Image::Decode(bytes.data(), n, image);
            if (format == ImageFormat::PNG) {
                EXPECT_NE(status, ImageStatus::Ok) << n;
            }
            if (status != ImageStatus::Ok) {
                EXPECT_EQ(image.pixels, nullptr);
            }
        }
    }
    const auto jpeg = EncodeRgba(ImageFormat::JPEG, MakeSmooth(w, h), w, h, false);
    for (size_t n = 0; n < jpeg.size(); ++n) {
        ImageBuffer image;
        const ImageStatus status = Image::Decode(jpeg.data(), n, image);
        if (n < 100) {
            EXPECT_NE(status, ImageStatus::Ok) << n;
        }
        if (status == ImageStatus::Ok) {
            EXPECT_EQ(image.width, w);
        }
    }
}

TEST(ImageCodecHostile, CorruptedBytesNeverCrash) {
    Velmora::Test::LogCapture quiet;
    const uint32_t w = 16, h = 12;
    const auto rgba = MakePattern(w, h, false);
    std::mt19937 random(42);
    for (ImageFormat format : {ImageFormat::PNG, ImageFormat::JPEG, ImageFormat::TIFF}) {
        const auto clean = EncodeRgba(format, rgba, w, h, true);
        for (int round = 0; round < 300; ++round) {
            auto bytes = clean;
            const int flips = 1 + int(random() % 4);
            for (int f = 0; f < flips; ++f) bytes[random() % bytes.size()] ^= uint8_t(1 + random() % 255);
            ImageBuffer image;
            if (Image::Decode(bytes.data(), bytes.size(), image) == ImageStatus::Ok) {
                ASSERT_NE(image.pixels, nullptr);
                ASSERT_EQ(image.size, size_t(image.width) * image.height * 4);
                ASSERT_LE(uint64_t(image.width) * image.height, Image::kMaxPixels);
            }
        }
    }
    const uint8_t palette[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const auto cleanGif = MakeGif({0, 1, 2, 3, 0, 1, 2, 3}, 4, 2, palette);
    const auto cleanBmp = MakeBmp(rgba, w, h);
    for (const auto* clean : {&cleanGif, &cleanBmp}) {
        for (int round = 0; round < 300; ++round) {
            auto bytes = *clean;
            bytes[6 + random() % (bytes.size() - 6)] ^= uint8_t(1 + random() % 255);
            ImageBuffer image;
            Image::Decode(bytes.data(), bytes.size(), image);
        }
    }
}

TEST(ImageCodecHostile, AbsurdSizesAreRefusedBeforeAllocation) {
    Velmora::Test::LogCapture quiet;
    ImageBuffer image;
    auto png = MakePngHeader(30000, 30000);
    EXPECT_EQ(Image::Decode(png.data(), png.size(), image), ImageStatus::ValueOverflow);
    png = MakePngHeader(100000, 1);  // past the side limit
    EXPECT_NE(Image::Decode(png.data(), png.size(), image), ImageStatus::Ok);
    png = MakePngHeader(0, 5);
    EXPECT_NE(Image::Decode(png.data(), png.size(), image), ImageStatus::Ok);
    std::vector<uint8_t> bmp = MakeBmp(MakePattern(1, 1, true), 1, 1);
    bmp[18] = 0x30, bmp[19] = 0x75, bmp[22] = 0x30, bmp[23] = 0x75;
    EXPECT_NE(Image::Decode(bmp.data(), bmp.size(), image), ImageStatus::Ok);
    EXPECT_EQ(image.pixels, nullptr);
}

using image_test::ToTextureLayout;

namespace {

// Image file bytes in a creation info, as the U3D and PRC pools hand them over.
TextureCreationInfo BytesInfo(const std::vector<uint8_t>& bytes, uint32_t w, uint32_t h, int32_t format) {
    TextureCreationInfo info;
    info.generateMipmaps = false;
    info.format = format;
    info.data = TextureData::Create(w, h, w * 4, uint32_t(bytes.size()), bytes.data());
    return info;
}

class TextureTest : public kestrum_test::GLTest {
protected:
    static std::vector<uint8_t> Pixels(const TextureData& data) {
        return {data.pixels.get(), data.pixels.get() + data.size};
    }
};

}  // namespace

TEST_F(TextureTest, PngAndTiffRoundTripsThroughTheGpuArePixelExact) {
    const uint32_t w = 33, h = 17;
    const auto rgba = MakePattern(w, h, false, 3);
    for (auto [format, code] :
         {std::pair{ImageFormat::PNG, TextureFormat::PNG}, std::pair{ImageFormat::TIFF, TextureFormat::TIFF}}) {
        auto texture = Texture::CreateFromImageData(BytesInfo(EncodeRgba(format, rgba, w, h, true), w, h, code));
        ASSERT_NE(texture, nullptr);
        EXPECT_TRUE(texture->HasAlpha());
        auto data = texture->GetTextureDataFromGPU();
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(data->stride, w);  // the width in pixels, not bytes
        EXPECT_EQ(data->size, w * h * 4);
        EXPECT_EQ(Pixels(*data), ToTextureLayout(rgba, w, h)) << int(format);
    }
}

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
                ++jpeg;
                SCOPED_TRACE(e.file);
                ExpectClose(image.pixels.get(), expected, 8, 1.0);
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
    auto texture = Texture::CreateWithAlphaFrom(BytesInfo(colorBytes, 256, 16, TextureFormat::JPEG),
                                                BytesInfo(alphaBytes, 256, 16, TextureFormat::PNG));
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
