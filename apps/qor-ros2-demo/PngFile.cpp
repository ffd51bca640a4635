#include "PngFile.h"

#include <png.h>

#include <cstdint>
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

}  // namespace qorDemo
