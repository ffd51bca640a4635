#include "common/PngFile.h"

#include <fcntl.h>
#include <png.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qorApps {

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

const char* pngEncodings() {
    return "rgb8, bgr8, rgba8, bgra8, mono8, 8UC1";
}

bool writePng(const std::string& path, const qorROS2::sensorMsgs::Image& image,
              std::string& error) {
    PixelLayout layout;
    if (!layoutOf(image.encoding, layout)) {
        error = "cannot save an image of encoding '" + image.encoding +
                "' as PNG (known: " + pngEncodings() + ")";
        return false;
    }
    const std::size_t width = image.width;
    const std::size_t height = image.height;
    const std::size_t rowBytes = width * layout.channels;
    if (width == 0 || height == 0 || image.step < rowBytes ||
        image.data.size() < static_cast<std::size_t>(image.step) * (height - 1) + rowBytes) {
        error = "cannot save the image: " + std::to_string(width) + "x" + std::to_string(height) +
                " " + image.encoding + " with step " + std::to_string(image.step) +
                " does not fit its " + std::to_string(image.data.size()) + " bytes of data";
        return false;
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
        error = "cannot write '" + path + "': " + png.message;
        png_image_free(&png);
        return false;
    }
    return true;
}

bool canWritePng(const std::string& path, std::string& error) {
    const std::string extension = ".png";
    bool named = path.size() >= extension.size();
    for (std::size_t i = 0; named && i < extension.size(); ++i) {
        const char c = path[path.size() - extension.size() + i];
        named = std::tolower(static_cast<unsigned char>(c)) == extension[i];
    }
    if (!named) {
        error = "writes PNG only: '" + path + "' does not end in .png";
        return false;
    }
    // Non-blocking, so that a named pipe without a reader is refused rather than waited on.
    int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_CLOEXEC, 0666);
    if (file >= 0) {
        ::close(file);
        ::unlink(path.c_str());
        return true;
    }
    if (errno == EEXIST) {
        // Opened without truncation: what is there stays until the snapshot replaces it.
        file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (file >= 0) {
            ::close(file);
            return true;
        }
    }
    error = "cannot write '" + path + "': " + std::strerror(errno);
    return false;
}

}  // namespace qorApps
