#pragma once

#include <utility>

#include "qor/Constraint1DOF.h"
#include "qor/ElementaryConstraint.h"
#include "qor/Referenced.h"
#include "qor/ref_ptr.h"

namespace qor::detail {

// The simulation's way into the parts of constraints and controllers that only it may change:
// binding a constraint to a joint and recording the force a controller applied.
struct PhysicsAccess {
    // Binds constraint to the joint whose coordinate and speed live at angle and speed, degree of
    // freedom dof of the state that physics owns.
    static void bind(Constraint1DOF& constraint, ref_ptr<const Referenced> physics, double* angle,
                     double* speed, int dof) noexcept {
        constraint.m_physics = std::move(physics);
        constraint.m_boundAngle = angle;
        constraint.m_boundSpeed = speed;
        constraint.m_dof = dof;
    }

    // Returns the owner of the state the constraint is bound to, or nullptr when unbound.
    static const Referenced* physics(const Constraint1DOF& constraint) noexcept {
        return constraint.m_physics.get();
    }

    // Returns the degree of freedom of the joint the constraint is bound to.
    static int dof(const Constraint1DOF& constraint) noexcept { return constraint.m_dof; }

    // Records the force the controller applied in the step just solved.
    static void setCurrentForce(ElementaryConstraint& controller, double force) noexcept {
        controller.m_currentForce = force;
    }

    // Returns the force the controller applied in the last step, without checks.
    static double currentForce(const ElementaryConstraint& controller) noexcept {
        return controller.m_currentForce;
    }

    // Records whether the solve leaves the controller out for a target or range it cannot use.
    static void setLeftOut(ElementaryConstraint& controller, bool leftOut) noexcept {
        controller.m_leftOut = leftOut;
    }

    // Returns true while the solve leaves the controller out (see setLeftOut).
    static bool isLeftOut(const ElementaryConstraint& controller) noexcept {
        return controller.m_leftOut;
    }
};

}  // namespace qor::detail
