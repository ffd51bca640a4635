#include "qorSensor/CameraCMOSSensor.h"

#include <stdexcept>
#include <string>

namespace qorSensor {

CameraCMOSSensor::CameraCMOSSensor(Resolution resolution) : m_resolution(resolution) {
    if (resolution.width < 0 || resolution.height < 0) {
        throw std::invalid_argument("CameraCMOSSensor: the resolution " +
                                    std::to_string(resolution.width) + "x" +
                                    std::to_string(resolution.height) + " is negative");
    }
}

CameraCMOSSensor::~CameraCMOSSensor() = default;

Resolution CameraCMOSSensor::getResolution() const noexcept {
    return m_resolution;
}

}  // namespace qorSensor
