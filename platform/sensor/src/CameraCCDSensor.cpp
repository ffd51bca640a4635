#include "qorSensor/CameraCCDSensor.h"

namespace qorSensor {

CameraCCDSensor::CameraCCDSensor(Resolution resolution, unsigned int binningX,
                                 unsigned int binningY) noexcept
    : m_resolution(resolution), m_binningX(binningX), m_binningY(binningY) {}

CameraCCDSensor::~CameraCCDSensor() = default;

Resolution CameraCCDSensor::getResolution() const noexcept {
    return m_resolution;
}

unsigned int CameraCCDSensor::getBinningX() const noexcept {
    return m_binningX;
}

unsigned int CameraCCDSensor::getBinningY() const noexcept {
    return m_binningY;
}

}  // namespace qorSensor
