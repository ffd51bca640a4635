// Camera images written as PNG by both programs, read back with libpng.

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "common/PngFile.h"

namespace {

struct ReadBack {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgba;  // every pixel as four samples
    std::string error;
};

ReadBack readPng(const std::string& path) {
    ReadBack out;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        out.error = image.message;
        return out;
    }
    image.format = PNG_FORMAT_RGBA;
    out.width = image.width;
    out.height = image.height;
    out.rgba.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, out.rgba.data(), 0, nullptr) == 0) {
        out.error = image.message;
    }
    return out;
}

std::string temporaryPath(const std::string& name) {
    return ::testing::TempDir() + "qor_png_" + std::to_string(::getpid()) + "_" + name;
}

qorROS2::sensorMsgs::Image imageOf(const std::string& encoding, std::uint32_t width,
                                   std::uint32_t height, std::uint32_t step,
                                   std::vector<std::uint8_t> data) {
    qorROS2::sensorMsgs::Image image{};
    image.encoding = encoding;
    image.width = width;
    image.height = height;
    image.step = step;
    image.data = std::move(data);
    return image;
}

TEST(PngFile, BgrRowsWithPaddingAreWrittenAsRgbWithoutIt) {
    const std::string path = temporaryPath("bgr.png");
    // Two pixels a row, then two bytes of padding.
    const auto image = imageOf("bgr8", 2, 2, 8,
                               {1, 2, 3, 4, 5, 6, 99, 99,  //
                                7, 8, 9, 10, 11, 12, 99, 99});
    std::string error;
    ASSERT_TRUE(qorApps::writePng(path, image, error)) << error;
    const ReadBack back = readPng(path);
    ::unlink(path.c_str());
    ASSERT_EQ(back.error, "");
    EXPECT_EQ(back.width, 2U);
    EXPECT_EQ(back.height, 2U);
    EXPECT_EQ(back.rgba, (std::vector<std::uint8_t>{3, 2, 1, 255, 6, 5, 4, 255,  //
                                                    9, 8, 7, 255, 12, 11, 10, 255}));
}

TEST(PngFile, MonoAndRgbaKeepTheirChannels) {
    const std::string path = temporaryPath("mono.png");
    std::string error;
    ASSERT_TRUE(qorApps::writePng(path, imageOf("mono8", 3, 1, 3, {0, 128, 255}), error)) << error;
    ReadBack back = readPng(path);
    EXPECT_EQ(back.rgba, (std::vector<std::uint8_t>{0, 0, 0, 255, 128, 128, 128, 255,  //
                                                    255, 255, 255, 255}));
    ASSERT_TRUE(qorApps::writePng(path, imageOf("rgba8", 1, 1, 4, {10, 20, 30, 40}), error))
        << error;
    back = readPng(path);
    ::unlink(path.c_str());
    EXPECT_EQ(back.rgba, (std::vector<std::uint8_t>{10, 20, 30, 40}));
}

TEST(PngFile, UnknownEncodingShortDataAndUnwritablePathAreRefusedWithTheirReason) {
    const std::string path = temporaryPath("refused.png");
    std::string error;
    EXPECT_FALSE(qorApps::writePng(path, imageOf("yuv422", 1, 1, 2, {0, 0}), error));
    EXPECT_EQ(error,
              "cannot save an image of encoding 'yuv422' as PNG (known: rgb8, bgr8, rgba8, "
              "bgra8, mono8, 8UC1)");
    EXPECT_FALSE(qorApps::writePng(path, imageOf("rgb8", 2, 2, 6, {1, 2, 3}), error));
    EXPECT_EQ(error,
              "cannot save the image: 2x2 rgb8 with step 6 does not fit its 3 bytes of data");
    EXPECT_FALSE(qorApps::writePng(path, imageOf("rgb8", 0, 0, 0, {}), error));
    EXPECT_EQ(error,
              "cannot save the image: 0x0 rgb8 with step 0 does not fit its 0 bytes of data");
    EXPECT_FALSE(std::ifstream(path).good()) << "a refused image left a file behind";
    const std::string missing = temporaryPath("no/such/dir.png");
    EXPECT_FALSE(qorApps::writePng(missing, imageOf("rgb8", 1, 1, 3, {1, 2, 3}), error));
    EXPECT_EQ(error.rfind("cannot write '" + missing + "': ", 0), 0U) << error;
}

TEST(PngFile, PathIsCheckedBeforeAnythingIsWrittenAndLeftAsItWas) {
    std::string error;
    EXPECT_FALSE(qorApps::canWritePng("shot.jpg", error));
    EXPECT_EQ(error, "writes PNG only: 'shot.jpg' does not end in .png");
    const std::string fresh = temporaryPath("fresh.PNG");
    EXPECT_TRUE(qorApps::canWritePng(fresh, error)) << error;
    EXPECT_FALSE(std::ifstream(fresh).good()) << "the check left a file behind";
    const std::string existing = temporaryPath("existing.png");
    std::ofstream(existing) << "kept";
    EXPECT_TRUE(qorApps::canWritePng(existing, error)) << error;
    std::string kept;
    std::ifstream(existing) >> kept;
    ::unlink(existing.c_str());
    EXPECT_EQ(kept, "kept");
    const std::string missing = temporaryPath("no/such/dir.png");
    EXPECT_FALSE(qorApps::canWritePng(missing, error));
    EXPECT_EQ(error, "cannot write '" + missing + "': No such file or directory");
}

}  // namespace
