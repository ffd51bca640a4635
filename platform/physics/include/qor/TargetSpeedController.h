#pragma once

#include "qor/ElementaryConstraint.h"

namespace qor {

// Drives a joint at a speed: at every step it applies the force, within its range, that gives
// the joint's coordinate the target speed by the end of the step.
class TargetSpeedController : public ElementaryConstraint {
  public:
    // Creates a disabled motor with target speed 0 and the force range (-infinity, +infinity).
    TargetSpeedController();

    // Sets the speed (radians or metres per second) to drive the joint at.
    virtual void setSpeed(double speed);

    // Returns the speed the motor drives the joint at.
    double getSpeed() const noexcept;

  protected:
    ~TargetSpeedController() override;

  private:
    double m_speed = 0.0;
};

}  // namespace qor
