#pragma once

#include "qor/Referenced.h"

namespace qorSDK {

class Simulation;

// Base of every object that a simulation calls back. It knows the simulation it belongs to.
class EventListener : public qor::Referenced {
  public:
    // A listener is one object in one simulation: it is neither copied nor moved.
    EventListener(const EventListener&) = delete;
    EventListener& operator=(const EventListener&) = delete;
    EventListener(EventListener&&) = delete;
    EventListener& operator=(EventListener&&) = delete;

    // Returns the simulation this listener has been added to, or nullptr while it belongs to
    // none. The simulation sets it when the listener is added and clears it when it is removed.
    Simulation* getSimulation() const noexcept;

  protected:
    // Creates a listener that belongs to no simulation.
    EventListener() noexcept;

    ~EventListener() override;

  private:
    friend class Simulation;

    Simulation* m_simulation = nullptr;
};

}  // namespace qorSDK
