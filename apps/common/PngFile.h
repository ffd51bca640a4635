#pragma once

// Camera images written as PNG files, for both programs: the demo's --snapshot and the CLI's
// `topic echo --save`.

#include <string>

#include "qorROS2/sensorMsgs.h"

namespace qorApps {

/// The encodings writePng() writes, as sensor_msgs/msg/Image names them.
const char* pngEncodings();

/// Writes `image` to `path` as an 8-bit PNG of its channels (rows without their padding, blue
/// and red swapped back for bgr8 and bgra8). Returns false with `error` set when the image has
/// an encoding other than pngEncodings(), data shorter than its size says, or when the file
/// cannot be written.
bool writePng(const std::string& path, const qorROS2::sensorMsgs::Image& image, std::string& error);

/// Checks, before anything is rendered, that writePng can write to `path`: its name ends in
/// ".png" in any case, and the file can be opened for writing. A file that did not exist is
/// created and removed again, so nothing is left behind should the run fail; an existing one is
/// left as it is. Returns false with `error` set ("writes PNG only: ...", "cannot write ...")
/// otherwise.
bool canWritePng(const std::string& path, std::string& error);

}  // namespace qorApps
