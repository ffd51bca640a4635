#include "qor/LockController.h"

namespace qor {

LockController::LockController() = default;

LockController::~LockController() = default;

void LockController::setPosition(double position) {
    m_position = position;
}

double LockController::getPosition() const noexcept {
    return m_position;
}

}  // namespace qor
