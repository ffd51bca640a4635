#pragma once

// Camera images saved as PNG files, for `topic echo --save`.

#include <string>

#include "qorROS2/Messages.h"

namespace qorCli {

/// The encodings saveImagePng() writes, as the message names them.
const char* savableImageEncodings();

/// Writes `image` to `path` as a PNG file. Throws UsageError for an encoding it cannot write
/// (see savableImageEncodings()) or an image whose data is shorter than its size says, and
/// std::runtime_error when the file cannot be written.
void saveImagePng(const qorROS2::sensorMsgs::Image& image, const std::string& path);

}  // namespace qorCli
