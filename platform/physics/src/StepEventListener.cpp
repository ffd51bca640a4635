#include "qorSDK/StepEventListener.h"

namespace qorSDK {

StepEventListener::StepEventListener(int mask) noexcept : m_mask(mask) {}

StepEventListener::~StepEventListener() = default;

void StepEventListener::setMask(int mask) noexcept {
    m_mask = mask;
}

int StepEventListener::getMask() const noexcept {
    return m_mask;
}

void StepEventListener::preCollide(const double& /*time*/) {}

void StepEventListener::pre(const double& /*time*/) {}

void StepEventListener::post(const double& /*time*/) {}

void StepEventListener::last(const double& /*time*/) {}

}  // namespace qorSDK
