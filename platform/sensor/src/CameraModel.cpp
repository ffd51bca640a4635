#include "qorSensor/CameraModel.h"

#include <stdexcept>
#include <string>

namespace qorSensor {

CameraModel::CameraModel(CameraLens* lens, CameraPhotodetector* photodetector)
    : m_lens(lens), m_photodetector(photodetector) {
    if (lens == nullptr || photodetector == nullptr) {
        throw std::invalid_argument(std::string("CameraModel: the ") +
                                    (lens == nullptr ? "lens" : "photodetector") +
                                    " is null; a camera model needs a lens and a photodetector");
    }
}

CameraModel::~CameraModel() = default;

CameraLens* CameraModel::getLens() const noexcept {
    return m_lens.get();
}

CameraPhotodetector* CameraModel::getPhotodetector() const noexcept {
    return m_photodetector.get();
}

}  // namespace qorSensor
