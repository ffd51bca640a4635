#include "qorSDK/EventListener.h"

namespace qorSDK {

EventListener::EventListener() noexcept = default;

EventListener::~EventListener() = default;

Simulation* EventListener::getSimulation() const noexcept {
    return m_simulation;
}

}  // namespace qorSDK
