#include "topic/ImagePng.h"

#include <png.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "cli/UsageError.h"

namespace qorCli {

namespace {

// How the bytes of one pixel of an encoding become PNG samples.
struct PixelLayout {
    std::size_t channels = 0;  // bytes per pixel
    png_uint_32 format = 0;    // the simplified libpng format written
    bool swapRedBlue = false;  // the pixel holds blue first
};

bool layoutOf(const std::string& encoding, PixelLayout& out) {
    if (encoding == "rgb8") {
        out = {3, PNG_FORMAT_RGB, false};
    } else if (encoding == "bgr8") {
        out = {3, PNG_FORMAT_RGB, true};
    } else if (encoding == "rgba8") {
        out = {4, PNG_FORMAT_RGBA, false};
    } else if (encoding == "bgra8") {
        out = {4, PNG_FORMAT_RGBA, true};
    } else if (encoding == "mono8" || encoding == "8UC1") {
        out = {1, PNG_FORMAT_GRAY, false};
    } else {
        return false;
    }
    return true;
}

}  // namespace

const char* savableImageEncodings() {
    return "rgb8, bgr8, rgba8, bgra8, mono8, 8UC1";
}

void saveImagePng(const qorROS2::sensorMsgs::Image& image, const std::string& path) {
    PixelLayout layout;
    if (!layoutOf(image.encoding, layout)) {
        throw UsageError("cannot save an image of encoding '" + image.encoding +
                         "' as PNG (known: " + savableImageEncodings() + ")");
    }
    const std::size_t width = image.width;
    const std::size_t height = image.height;
    const std::size_t rowBytes = width * layout.channels;
    if (width == 0 || height == 0 || image.step < rowBytes ||
        image.data.size() < static_cast<std::size_t>(image.step) * (height - 1) + rowBytes) {
        throw UsageError("cannot save the image: " + std::to_string(width) + "x" +
                         std::to_string(height) + " " + image.encoding + " with step " +
                         std::to_string(image.step) + " does not fit its " +
                         std::to_string(image.data.size()) + " bytes of data");
    }
    // Rows without their padding, in the order PNG wants the channels.
    std::vector<std::uint8_t> pixels(rowBytes * height);
    for (std::size_t row = 0; row < height; ++row) {
        const std::uint8_t* from = image.data.data() + row * image.step;
        std::uint8_t* to = pixels.data() + row * rowBytes;
        for (std::size_t i = 0; i < rowBytes; i += layout.channels) {
            for (std::size_t c = 0; c < layout.channels; ++c) {
                const std::size_t source = layout.swapRedBlue && c < 3 ? 2 - c : c;
                to[i + c] = from[i + source];
            }
        }
    }
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = image.width;
    png.height = image.height;
    png.format = layout.format;
    if (png_image_write_to_file(&png, path.c_str(), 0, pixels.data(),
                                static_cast<png_int_32>(rowBytes), nullptr) == 0) {
        const std::string reason = png.message;
        png_image_free(&png);
        throw std::runtime_error("cannot write '" + path + "': " + reason);
    }
}

}  // namespace qorCli
