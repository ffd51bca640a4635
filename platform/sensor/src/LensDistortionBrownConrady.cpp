#include "qorSensor/LensDistortionBrownConrady.h"

namespace qorSensor {

LensDistortionBrownConrady::LensDistortionBrownConrady(double k1, double k2, double k3, double p1,
                                                       double p2) noexcept
    : m_k1(k1), m_k2(k2), m_k3(k3), m_p1(p1), m_p2(p2) {}

LensDistortionBrownConrady::~LensDistortionBrownConrady() = default;

double LensDistortionBrownConrady::getK1() const noexcept {
    return m_k1;
}

double LensDistortionBrownConrady::getK2() const noexcept {
    return m_k2;
}

double LensDistortionBrownConrady::getK3() const noexcept {
    return m_k3;
}

double LensDistortionBrownConrady::getP1() const noexcept {
    return m_p1;
}

double LensDistortionBrownConrady::getP2() const noexcept {
    return m_p2;
}

}  // namespace qorSensor
