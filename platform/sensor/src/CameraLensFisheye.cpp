#include "qorSensor/CameraLensFisheye.h"

namespace qorSensor {

CameraLensFisheye::CameraLensFisheye(double focalLength, double fieldOfView) noexcept
    : m_focalLength(focalLength), m_fieldOfView(fieldOfView) {}

CameraLensFisheye::~CameraLensFisheye() = default;

double CameraLensFisheye::getFocalLength() const noexcept {
    return m_focalLength;
}

double CameraLensFisheye::getFieldOfView() const noexcept {
    return m_fieldOfView;
}

}  // namespace qorSensor
