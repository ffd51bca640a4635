#include "PngFile.h"

#include <fcntl.h>
#include <png.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qorDemo {

bool writeRgbPng(const std::string& path, const qorROS2::sensorMsgs::Image& image,
                 std::string& error) {
    if (image.encoding != "rgb8" && image.encoding != "bgr8") {
        error = "cannot write an image of encoding '" + image.encoding + "' as PNG";
        return false;
    }
    std::vector<std::uint8_t> rgb(image.data);
    if (image.encoding == "bgr8") {
        for (std::size_t pixel = 0; pixel + 2 < rgb.size(); pixel += 3) {
            std::swap(rgb[pixel], rgb[pixel + 2]);
        }
    }
    png_image description{};
    description.version = PNG_IMAGE_VERSION;
    description.width = image.width;
    description.height = image.height;
    description.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&description, path.c_str(), 0, rgb.data(),
                                static_cast<png_int_32>(image.step), nullptr) == 0) {
        error = "cannot write '" + path + "': " + description.message;
        png_image_free(&description);
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

}  // namespace qorDemo
