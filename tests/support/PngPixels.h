#pragma once

// The pixels of a PNG file, read with libpng's simplified API, for tests that check what a
// program drew. The test target links PNG::PNG.

#include <png.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace qorTest {

struct PngPixels {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgb;  ///< three samples a pixel, row after row
    std::string error;              ///< libpng's message when the file could not be read
};

inline PngPixels readPngRgb(const std::string& path) {
    PngPixels out;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        out.error = image.message;
        return out;
    }
    image.format = PNG_FORMAT_RGB;
    out.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, out.rgb.data(), 0, nullptr) == 0) {
        out.error = image.message;
        out.rgb.clear();
        return out;
    }
    out.width = image.width;
    out.height = image.height;
    return out;
}

/// How many different colours the picture holds: a blank or flat picture has one or a few.
inline std::size_t distinctColours(const PngPixels& picture) {
    std::set<std::uint32_t> colours;
    for (std::size_t i = 0; i + 2 < picture.rgb.size(); i += 3) {
        colours.insert(static_cast<std::uint32_t>(picture.rgb[i]) << 16 |
                       static_cast<std::uint32_t>(picture.rgb[i + 1]) << 8 | picture.rgb[i + 2]);
    }
    return colours.size();
}

}  // namespace qorTest
