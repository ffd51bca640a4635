#pragma once

#include "qor/Interaction.h"
#include "qor/LockController.h"
#include "qor/TargetSpeedController.h"
#include "qor/ref_ptr.h"

namespace qor {

namespace detail {
struct PhysicsAccess;
}  // namespace detail

// A joint with one degree of freedom, a hinge or a prismatic joint, with a lock and a motor that
// act along it.
//
// A constraint is either bound to a joint of a simulation's model (made by
// qorSDK::Simulation::createHinge or createPrismatic) or unbound, created on its own with its
// coordinate and speed set by hand, so that code driving joints can be tested without physics.
// Its controllers act on the joint only once the constraint is added to its simulation. The lock
// and the motor normally take turns; with both enabled each acts within its force range, and
// where neither range gives way the motor's speed prevails.
class Constraint1DOF : public Interaction {
  public:
    // What kind of joint this is: the coordinate of a hinge is an angle in radians, that of a
    // prismatic joint a distance in metres.
    enum class Type { HINGE, PRISMATIC };

    // Creates an unbound constraint of the given type, at coordinate 0 and speed 0, with a new
    // disabled lock and motor.
    explicit Constraint1DOF(Type type = Type::HINGE);

    // Creates an unbound constraint with the given controllers, so that a test can put in
    // controllers that record what is done to them. Throws std::invalid_argument when either is
    // null.
    Constraint1DOF(Type type, ref_ptr<LockController> lock, ref_ptr<TargetSpeedController> motor);

    // A constraint stands for one joint: it is neither copied nor moved.
    Constraint1DOF(const Constraint1DOF&) = delete;
    Constraint1DOF& operator=(const Constraint1DOF&) = delete;
    Constraint1DOF(Constraint1DOF&&) = delete;
    Constraint1DOF& operator=(Constraint1DOF&&) = delete;

    // Returns whether this is a hinge or a prismatic joint.
    Type getType() const noexcept;

    // Returns true when the constraint reads and writes a joint of a simulation.
    bool isBound() const noexcept;

    // Returns the joint's coordinate: radians for a hinge, metres for a prismatic joint.
    double getAngle() const noexcept;

    // Returns the joint's speed: radians or metres per second.
    double getCurrentSpeed() const noexcept;

    // Sets the joint's coordinate. On a bound constraint this moves the joint in the simulation's
    // state, which the bodies follow at the next step.
    void setAngle(double angle) noexcept;

    // Sets the joint's speed; on a bound constraint, in the simulation's state.
    void setCurrentSpeed(double speed) noexcept;

    // Returns the lock acting along the joint; never null.
    LockController* getLock1D() const noexcept;

    // Returns the motor acting along the joint; never null.
    TargetSpeedController* getMotor1D() const noexcept;

  protected:
    ~Constraint1DOF() override;

  private:
    friend struct detail::PhysicsAccess;

    Type m_type;
    ref_ptr<LockController> m_lock;
    ref_ptr<TargetSpeedController> m_motor;
    // The coordinate and speed of an unbound constraint.
    double m_angle = 0.0;
    double m_speed = 0.0;
    // Set while bound: the owner of the simulation's state, kept alive by this reference so that
    // the constraint stays readable after its simulation is gone, and the joint's entries in it.
    ref_ptr<const Referenced> m_physics;
    double* m_boundAngle = nullptr;
    double* m_boundSpeed = nullptr;
    int m_dof = -1;
};

}  // namespace qor
