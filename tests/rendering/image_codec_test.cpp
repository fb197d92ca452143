// The image codec without GL: round trips through every writable format, the read-only
// formats from hand-built files, and hostile bytes of every kind.

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "image_test_support.h"
#include "rendering/Image.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
using image_test::MakePattern;
using image_test::MakeSmooth;
using image_test::MakeBmp;
using image_test::MakeGif;

namespace {

std::vector<uint8_t> EncodeRgba(ImageFormat format, const std::vector<uint8_t>& rgba, uint32_t w, uint32_t h, bool alpha) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(Image::Encode(format, rgba.data(), w, h, size_t(w) * 4, PixelLayout::RGBA, alpha, false, bytes), ImageStatus::Ok);
    return bytes;
}

std::vector<uint8_t> Pixels(const ImageBuffer& image) { return {image.pixels.get(), image.pixels.get() + image.size}; }

// A PNG signature, an IHDR chunk claiming the given size and an empty IDAT, with correct CRCs:
// enough for a reader to learn the size and start on the pixels.
std::vector<uint8_t> MakePngHeader(uint32_t w, uint32_t h) {
    std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    auto be32 = [&](uint32_t v) { b.insert(b.end(), {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)}); };
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

    // Without alpha the fourth byte is dropped and comes back opaque.
    bytes = EncodeRgba(ImageFormat::PNG, rgba, w, h, false);
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_FALSE(image.hasAlpha);
    auto opaque = rgba;
    for (size_t i = 3; i < opaque.size(); i += 4) opaque[i] = 255;
    EXPECT_EQ(Pixels(image), opaque);
}

TEST(ImageCodec, LayoutAndRowOrderApplyOnBothSides) {
    const uint32_t w = 5, h = 4;
    const auto rgba = MakePattern(w, h, false);
    const auto texture = image_test::ToTextureLayout(rgba, w, h);  // BGRA, bottom row first
    for (ImageFormat format : {ImageFormat::PNG, ImageFormat::TIFF}) {
        // Encoding the texture layout as such gives the same file content as the RGBA image.
        std::vector<uint8_t> bytes;
        ASSERT_EQ(Image::Encode(format, texture.data(), w, h, w * 4, PixelLayout::BGRA, true, true, bytes), ImageStatus::Ok);
        ImageBuffer image;
        ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image, PixelLayout::RGBA, false), ImageStatus::Ok);
        EXPECT_EQ(Pixels(image), rgba) << int(format);
        ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image, PixelLayout::BGRA, true), ImageStatus::Ok);
        EXPECT_EQ(Pixels(image), texture) << int(format);
    }
}

TEST(ImageCodec, EncoderHonoursAPaddedStride) {
    const uint32_t w = 6, h = 3, stride = w * 4 + 8;
    const auto rgba = MakePattern(w, h, false);
    std::vector<uint8_t> padded(size_t(stride) * h, 0xEE);
    for (uint32_t y = 0; y < h; ++y) std::memcpy(&padded[size_t(y) * stride], &rgba[size_t(y) * w * 4], w * 4);
    std::vector<uint8_t> bytes;
    ASSERT_EQ(Image::Encode(ImageFormat::PNG, padded.data(), w, h, stride, PixelLayout::RGBA, true, false, bytes), ImageStatus::Ok);
    ImageBuffer image;
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_EQ(Pixels(image), rgba);
}

TEST(ImageCodec, TiffRoundTripIsExactWithAndWithoutAlpha) {
    const uint32_t w = 41, h = 19;
    const auto rgba = MakePattern(w, h, false, 7);
    ImageBuffer image;
    auto bytes = EncodeRgba(ImageFormat::TIFF, rgba, w, h, true);
    ASSERT_EQ(Image::Identify(bytes.data(), bytes.size()), ImageFileType::TIFF);
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_TRUE(image.hasAlpha);
    EXPECT_EQ(Pixels(image), rgba);

    bytes = EncodeRgba(ImageFormat::TIFF, rgba, w, h, false);
    ASSERT_EQ(Image::Decode(bytes.data(), bytes.size(), image), ImageStatus::Ok);
    EXPECT_FALSE(image.hasAlpha);
    for (size_t i = 0; i < rgba.size(); ++i) ASSERT_EQ(image.pixels[i], (i % 4 == 3) ? 255 : rgba[i]) << i;
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
    int worst = 0;
    double total = 0;
    for (size_t i = 0; i < rgba.size(); ++i) {
        const int d = std::abs(int(image.pixels[i]) - int(rgba[i]));
        worst = std::max(worst, d);
        total += d;
    }
    EXPECT_LE(worst, 12);
    EXPECT_LE(total / double(rgba.size()), 2.0);
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

TEST(ImageCodec, StatusTextsAndFormatTables) {
    EXPECT_STREQ(ImageStatusText(0), "Ok");
    EXPECT_STREQ(ImageStatusText(ImageStatus::FileNotFound), "File Not Found");
    EXPECT_STREQ(ImageStatusText(13), "Unknown ImageFormat");
    EXPECT_STREQ(ImageStatusText(20), "Property Not Supported");
    EXPECT_STREQ(ImageStatusText(21), "Unknown Error");
    EXPECT_STREQ(ImageStatusText(-1), "Unknown Error");
    EXPECT_STREQ(Image::MimeType(ImageFormat::JPEG), "image/jpeg");
    EXPECT_STREQ(Image::Extension(ImageFormat::TIFF), ".tiff");
    EXPECT_EQ(Image::MimeType(ImageFormat(4)), nullptr);
}

TEST(ImageCodec, RefusesBadArguments) {
    std::vector<uint8_t> out;
    const auto rgba = MakePattern(4, 4, true);
    EXPECT_EQ(Image::Encode(ImageFormat::PNG, nullptr, 4, 4, 16, PixelLayout::RGBA, false, false, out), ImageStatus::InvalidParameter);
    EXPECT_EQ(Image::Encode(ImageFormat::PNG, rgba.data(), 4, 4, 15, PixelLayout::RGBA, false, false, out), ImageStatus::InvalidParameter);
    EXPECT_EQ(Image::Encode(ImageFormat::PNG, rgba.data(), 0, 4, 16, PixelLayout::RGBA, false, false, out), ImageStatus::InvalidParameter);
    EXPECT_EQ(Image::Encode(ImageFormat(9), rgba.data(), 4, 4, 16, PixelLayout::RGBA, false, false, out), ImageStatus::UnknownImageFormat);
    ImageBuffer image;
    EXPECT_EQ(Image::Decode(nullptr, 10, image), ImageStatus::InvalidParameter);
    EXPECT_EQ(Image::DecodeFile("/nonexistent/picture.png", image), ImageStatus::FileNotFound);
    EXPECT_EQ(image.pixels, nullptr);
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
    // JPEG decodes a stream cut inside its scan with grey rows; cut inside its header it fails.
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
    // Within libpng's side limit but far past the pixel budget.
    auto png = MakePngHeader(30000, 30000);
    EXPECT_EQ(Image::Decode(png.data(), png.size(), image), ImageStatus::ValueOverflow);
    png = MakePngHeader(100000, 1);  // past the side limit
    EXPECT_NE(Image::Decode(png.data(), png.size(), image), ImageStatus::Ok);
    png = MakePngHeader(0, 5);
    EXPECT_NE(Image::Decode(png.data(), png.size(), image), ImageStatus::Ok);

    // A BMP header claiming 30000 x 30000 with no pixel data behind it.
    std::vector<uint8_t> bmp = MakeBmp(MakePattern(1, 1, true), 1, 1);
    bmp[18] = 0x30, bmp[19] = 0x75, bmp[22] = 0x30, bmp[23] = 0x75;
    EXPECT_NE(Image::Decode(bmp.data(), bmp.size(), image), ImageStatus::Ok);
    EXPECT_EQ(image.pixels, nullptr);
}

TEST(ImageCodecHostile, NoiseIsRejected) {
    Velmora::Test::LogCapture quiet;
    std::mt19937 random(7);
    const uint8_t heads[][4] = {{0x89, 'P', 'N', 'G'}, {0xFF, 0xD8, 0xFF, 0xE0}, {'I', 'I', 42, 0}, {'M', 'M', 0, 42},
                                {'B', 'M', 0, 0},      {'G', 'I', 'F', '8'},     {0, 0, 2, 0}};
    for (int round = 0; round < 400; ++round) {
        std::vector<uint8_t> bytes(1 + random() % 600);
        for (auto& b : bytes) b = uint8_t(random());
        const auto& head = heads[round % 7];
        std::memcpy(bytes.data(), head, std::min<size_t>(4, bytes.size()));
        ImageBuffer image;
        if (Image::Decode(bytes.data(), bytes.size(), image) == ImageStatus::Ok) {
            ASSERT_EQ(image.size, size_t(image.width) * image.height * 4);
        }
    }
}
