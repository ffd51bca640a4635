#include "qor/Constraint1DOF.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace qor {

Constraint1DOF::Constraint1DOF(Type type)
    : Constraint1DOF(type, new LockController(), new TargetSpeedController()) {}

Constraint1DOF::Constraint1DOF(Type type, ref_ptr<LockController> lock,
                               ref_ptr<TargetSpeedController> motor)
    : m_type(type), m_lock(std::move(lock)), m_motor(std::move(motor)) {
    if (!m_lock || !m_motor) {
        throw std::invalid_argument(
            "Constraint1DOF: a constraint needs both a lock and a motor; null was given for the " +
            std::string(!m_lock ? "lock" : "motor"));
    }
}

Constraint1DOF::~Constraint1DOF() = default;

Constraint1DOF::Type Constraint1DOF::getType() const noexcept {
    return m_type;
}

bool Constraint1DOF::isBound() const noexcept {
    return m_boundAngle != nullptr;
}

double Constraint1DOF::getAngle() const noexcept {
    return m_boundAngle != nullptr ? *m_boundAngle : m_angle;
}

double Constraint1DOF::getCurrentSpeed() const noexcept {
    return m_boundSpeed != nullptr ? *m_boundSpeed : m_speed;
}

void Constraint1DOF::setAngle(double angle) noexcept {
    (m_boundAngle != nullptr ? *m_boundAngle : m_angle) = angle;
}

void Constraint1DOF::setCurrentSpeed(double speed) noexcept {
    (m_boundSpeed != nullptr ? *m_boundSpeed : m_speed) = speed;
}

LockController* Constraint1DOF::getLock1D() const noexcept {
    return m_lock.get();
}

TargetSpeedController* Constraint1DOF::getMotor1D() const noexcept {
    return m_motor.get();
}

}  // namespace qor
