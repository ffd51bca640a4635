#include "qorSensor/CameraLensSingleElement.h"

namespace qorSensor {

CameraLensSingleElement::CameraLensSingleElement(double focalLength, LensDistortion* distortion)
    : m_focalLength(focalLength), m_distortion(distortion) {}

CameraLensSingleElement::~CameraLensSingleElement() = default;

double CameraLensSingleElement::getFocalLength() const noexcept {
    return m_focalLength;
}

LensDistortion* CameraLensSingleElement::getDistortion() const noexcept {
    return m_distortion.get();
}

void CameraLensSingleElement::setDistortion(LensDistortion* distortion) noexcept {
    m_distortion = distortion;
}

}  // namespace qorSensor
