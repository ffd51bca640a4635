#pragma once

// Camera images saved as PNG files, for `topic echo --save`, by the writer both programs share.

#include <string>

#include "qorROS2/Messages.h"

namespace qorCli {

/// The encodings saveImagePng() writes, as the message names them.
const char* savableImageEncodings();

/// Writes `image` to `path` as a PNG file. Throws UsageError, in the shared writer's words, for
/// an encoding it cannot write (see savableImageEncodings()), an image whose data is shorter than
/// its size says, or a file that cannot be written.
void saveImagePng(const qorROS2::sensorMsgs::Image& image, const std::string& path);

}  // namespace qorCli
