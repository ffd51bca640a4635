#pragma once

#include <string>

#include "qorROS2/sensorMsgs.h"

namespace qorDemo {

/// Writes an rgb8 or bgr8 image to `path` as an 8-bit RGB PNG. Returns false with `error` set when
/// the image has another encoding or the file cannot be written.
bool writeRgbPng(const std::string& path, const qorROS2::sensorMsgs::Image& image,
                 std::string& error);

}  // namespace qorDemo
