#pragma once

#include "qor/ElementaryConstraint.h"

namespace qor {

// Holds a joint at a position: at every step it applies the force, within its range, that brings
// the joint's coordinate to the position by the end of the step.
class LockController : public ElementaryConstraint {
  public:
    // Creates a disabled lock at position 0 with the force range (-infinity, +infinity).
    LockController();

    // Sets the coordinate (radians for a hinge, metres for a prismatic joint) to hold the joint at.
    virtual void setPosition(double position);

    // Returns the coordinate the lock holds the joint at.
    double getPosition() const noexcept;

  protected:
    ~LockController() override;

  private:
    double m_position = 0.0;
};

}  // namespace qor
