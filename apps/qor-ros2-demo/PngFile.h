#pragma once

#include <string>

#include "qorROS2/sensorMsgs.h"

namespace qorDemo {

/// Writes an rgb8 or bgr8 image to `path` as an 8-bit RGB PNG. Returns false with `error` set when
/// the image has another encoding or the file cannot be written.
bool writeRgbPng(const std::string& path, const qorROS2::sensorMsgs::Image& image,
                 std::string& error);

/// Checks, before anything is rendered, that writeRgbPng can write to `path`: its name ends in
/// ".png" in any case, and the file can be opened for writing. A file that did not exist is
/// created and removed again, so nothing is left behind should the run fail; an existing one is
/// left as it is. Returns false with `error` set ("writes PNG only: ...", "cannot write ...")
/// otherwise.
bool canWritePng(const std::string& path, std::string& error);

}  // namespace qorDemo
