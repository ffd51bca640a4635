#include "qor/TargetSpeedController.h"

namespace qor {

TargetSpeedController::TargetSpeedController() = default;

TargetSpeedController::~TargetSpeedController() = default;

void TargetSpeedController::setSpeed(double speed) {
    m_speed = speed;
}

double TargetSpeedController::getSpeed() const noexcept {
    return m_speed;
}

}  // namespace qor
