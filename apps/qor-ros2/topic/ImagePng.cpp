#include "topic/ImagePng.h"

#include "cli/UsageError.h"
#include "common/PngFile.h"

namespace qorCli {

const char* savableImageEncodings() {
    return qorApps::pngEncodings();
}

void saveImagePng(const qorROS2::sensorMsgs::Image& image, const std::string& path) {
    std::string error;
    if (!qorApps::writePng(path, image, error)) {
        throw UsageError(error);
    }
}

}  // namespace qorCli
