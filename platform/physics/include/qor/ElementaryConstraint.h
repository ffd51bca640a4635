#pragma once

#include <cstddef>

#include "qor/Range.h"
#include "qor/Referenced.h"

namespace qor {

namespace detail {
struct PhysicsAccess;
}  // namespace detail

// A controller acting along one degree of freedom of a joint, such as a lock or a motor, with a
// force range that bounds what it may apply. The simulation solves all enabled controllers
// together at every step, each within its own range.
//
// A new controller is disabled and its force range is (-infinity, +infinity): once enabled it
// applies whatever force its target needs, unless a range is set. A disabled controller applies
// nothing. A range whose bounds are equal, (f, f), makes the controller apply exactly f whatever
// its target; (0, 0) makes it apply nothing. An enabled controller whose target is NaN or
// infinite, or whose range has a NaN bound or is an infinite (f, f), applies nothing either: the
// simulation leaves it out of the solve, with a warning, until it is usable again.
//
// The setters are virtual so that a test can record the calls made on a controller; an override
// must call the base class for the setting to take effect.
class ElementaryConstraint : public Referenced {
  public:
    // Switches the controller on or off. A disabled controller applies no force from the next
    // step on.
    virtual void setEnabled(bool enabled);

    // Returns true while the controller is switched on.
    bool getEnable() const noexcept;

    // Returns the force range of degree of freedom index exactly as it was last set, even when
    // its lower bound is above the upper one. Throws std::out_of_range unless index is 0.
    Range<double> getForceRange(std::size_t index = 0) const;

    // Stores the force range of degree of freedom index unchanged. When it is applied, the smaller
    // bound is taken as the lower one; a range with a NaN bound, or (+inf, +inf) or (-inf, -inf),
    // makes the controller apply nothing. Throws std::out_of_range unless index is 0.
    virtual void setForceRange(Range<double> range, std::size_t index = 0);

    // Returns the force (or torque) this controller applied along degree of freedom index during
    // the last step of its simulation; 0 before the first step and while disabled. Throws
    // std::out_of_range unless index is 0.
    double getCurrentForce(std::size_t index = 0) const;

    // Returns the number of degrees of freedom the controller acts along: 1.
    std::size_t getNumDOF() const noexcept { return 1; }

  protected:
    // Creates a disabled controller with the force range (-infinity, +infinity).
    ElementaryConstraint();

    ~ElementaryConstraint() override;

  private:
    friend struct detail::PhysicsAccess;

    // Throws std::out_of_range naming the function unless index is a valid degree of freedom.
    void checkIndex(std::size_t index, const char* function) const;

    bool m_enabled = false;
    Range<double> m_forceRange;
    double m_currentForce = 0.0;
    // Set while the simulation leaves this enabled controller out of its solve for a target or a
    // range it cannot use, so that it warns once when that starts and once when it ends.
    bool m_leftOut = false;
};

}  // namespace qor
