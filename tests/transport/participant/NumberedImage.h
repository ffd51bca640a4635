#pragma once

// Numbered 1080p rgb8 images whose every byte says which image it belongs to, so that a reader
// can tell an image that arrived whole from one put together from fragments of several.

#include <cstddef>
#include <cstdint>

#include "qorROS2/Messages.h"

namespace qorTest {

inline constexpr std::uint32_t kNumberedImageWidth = 1920;
inline constexpr std::uint32_t kNumberedImageHeight = 1080;

/// Byte i of image n.
inline std::uint8_t numberedImageByte(std::size_t index, std::int32_t number) {
    return static_cast<std::uint8_t>(index * 31U + static_cast<std::uint32_t>(number));
}

/// Image `number`, its number in its stamp's seconds.
inline qorROS2::sensorMsgs::Image numberedImage(std::int32_t number) {
    qorROS2::sensorMsgs::Image image{};
    image.header.stamp.sec = number;
    image.width = kNumberedImageWidth;
    image.height = kNumberedImageHeight;
    image.encoding = "rgb8";
    image.step = 3 * kNumberedImageWidth;
    image.data.resize(std::size_t{image.step} * kNumberedImageHeight);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = numberedImageByte(i, number);
    }
    return image;
}

/// Whether `image` is numberedImage() of the number in its stamp, byte for byte.
inline bool isWholeNumberedImage(const qorROS2::sensorMsgs::Image& image) {
    const qorROS2::sensorMsgs::Image expected = numberedImage(image.header.stamp.sec);
    return image.width == expected.width && image.height == expected.height &&
           image.encoding == expected.encoding && image.step == expected.step &&
           image.data == expected.data;
}

}  // namespace qorTest
