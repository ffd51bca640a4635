#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qor/Constraint1DOF.h"
#include "qor/Referenced.h"
#include "qor/ref_ptr.h"
#include "qorSDK/StepEventListener.h"

namespace qorSDK {

namespace detail {
struct SimulationAccess;
}

// A rigid-body simulation of a scene described in MJCF, stepped with a fixed time step. Around
// each step it calls its step listeners; within it, it solves the locks and motors of the
// constraints added to it together with the physics.
//
// Time is kept as the time stamp plus the number of steps taken since it was set times the time
// step, so that it does not drift by rounding however long the simulation runs. Whatever MuJoCo
// reports during a step (bad accelerations and the reset of the state that follows them, full
// buffers) is logged through qor::Notify as a warning.
class Simulation : public qor::Referenced {
  public:
    // The objects of a scene that carry a frame of their own.
    enum class FrameKind { BODY, SITE, CAMERA };

    // A frame's pose in the world.
    struct Pose {
        std::array<double, 3> position;     // x, y, z in metres
        std::array<double, 4> orientation;  // unit quaternion w, x, y, z
    };

    // Loads and compiles the MJCF file at path. Throws std::runtime_error with MuJoCo's own
    // error text when the file cannot be read or compiled.
    static qor::ref_ptr<Simulation> createFromFile(const std::string& path);

    // Compiles a scene given as MJCF text; files it refers to are looked up from the working
    // directory. Throws std::runtime_error with MuJoCo's own error text when it does not compile.
    static qor::ref_ptr<Simulation> createFromString(const std::string& mjcf);

    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;
    Simulation(Simulation&&) = delete;
    Simulation& operator=(Simulation&&) = delete;

    // Returns the model's name, from the MJCF root's model attribute.
    const std::string& getModelName() const noexcept;

    // Advances the simulation by one time step, calling the listeners' callbacks around the
    // physics. Listeners added during the step are first called in the next step; a listener
    // removed during the step gets no further callback in it. A call from inside a callback is
    // ignored with a warning.
    void stepForward();

    // Returns the time step in seconds, as the model sets it.
    double getTimeStep() const noexcept;

    // Returns the simulation time in seconds: the time stamp plus the steps taken since it was
    // set times the time step.
    double getTime() const noexcept;

    // Makes timeStamp the current simulation time; the following steps count on from it.
    void setTimeStamp(double timeStamp) noexcept;

    // Returns the time stamp last set, 0 unless setTimeStamp was called.
    double getTimeStamp() const noexcept;

    // Puts the scene back as it was loaded: every body and joint where the scene places it,
    // every velocity zero, the time stamp 0 and the step count restarted, so that the steps that
    // follow repeat those of a fresh load bit for bit. The constraints and listeners stay added
    // with their settings; each controller forgets the force it applied last, as a new one has
    // none. A call from inside a step callback is ignored with a warning.
    void reset();

    // Adds a step listener after those already added and holds a reference to it. Returns false,
    // changing nothing, for null or a listener already added here. Throws std::invalid_argument
    // when the listener belongs to another simulation.
    bool add(StepEventListener* listener);

    // Removes a step listener and drops the reference to it (after the current step when called
    // during one). Returns false when the listener was not added here.
    bool remove(StepEventListener* listener);

    // Returns the names of the model's hinge and slide joints, in the model's order; unnamed
    // joints are left out.
    std::vector<std::string> getJointNames() const;

    // Returns the largest force (or torque) the drive of joint jointName may apply, the same in
    // both directions, as the scene gives it in the custom numeric "force_limit:<jointName>";
    // nullopt when the scene gives none. Throws std::invalid_argument when the model has no such
    // joint, and std::runtime_error when the numeric is not one positive number.
    std::optional<double> getJointForceLimit(const std::string& jointName) const;

    // Returns the pose in the world of the model's body, site or camera `name` (the body "world"
    // is the world itself), as the joint coordinates stand now: after a step, and after a
    // constraint's setAngle, alike. Throws std::invalid_argument when the model has no such
    // object.
    Pose getPose(FrameKind kind, const std::string& name) const;

    // A body's velocity or acceleration at its frame's origin, in the world's axes.
    struct Motion {
        std::array<double, 3> linear;   // m/s, or m/s^2
        std::array<double, 3> angular;  // rad/s, or rad/s^2
    };

    // Returns the names of the bodies that move freely (a free joint is their only joint), in the
    // model's order; unnamed bodies are left out.
    std::vector<std::string> getFreeBodyNames() const;

    // Returns the velocity of body `name` as the joints move now. Throws std::invalid_argument
    // when the model has no such body.
    Motion getVelocity(const std::string& name) const;

    // Returns the acceleration of body `name` in the last step, gravity included: a body in free
    // fall has the model's gravity. Throws std::invalid_argument when the
    // model has no such body.
    Motion getAcceleration(const std::string& name) const;

    // Places the free body `name` at `pose` in the world, moving at `velocity`, at once: getPose
    // and getVelocity return them, and the next step starts from them. The orientation must be a
    // quaternion whose squared norm is within 0.01 of 1 (it is normalised). Throws
    // std::invalid_argument, changing nothing, when the model has no such body, the body is not
    // free, or a value is not finite or the quaternion not a unit one.
    void setFreeBodyState(const std::string& name, const Pose& pose, const Motion& velocity);

    // Returns a new constraint named after the model's hinge joint jointName and bound to it.
    // Throws std::invalid_argument when the model has no joint of that name or it is no hinge.
    qor::ref_ptr<qor::Constraint1DOF> createHinge(const std::string& jointName);

    // Returns a new prismatic constraint named after the model's slide joint jointName and bound
    // to it. Throws std::invalid_argument when there is no such joint or it is no slide joint.
    qor::ref_ptr<qor::Constraint1DOF> createPrismatic(const std::string& jointName);

    // Returns a new hinge or prismatic constraint, after the type of joint jointName, bound to
    // it. Throws std::invalid_argument when there is no such joint or it is a ball or free joint.
    qor::ref_ptr<qor::Constraint1DOF> createConstraint(const std::string& jointName);

    // Lets the constraint's lock and motor take part in the solve from the next step on, and
    // holds a reference to it. Returns false, changing nothing, for null or a constraint already
    // added. Throws std::invalid_argument when it is unbound or bound to another simulation.
    bool add(qor::Constraint1DOF* constraint);

    // Takes the constraint's controllers out of the solve and drops the reference to it. Returns
    // false when the constraint was not added here.
    bool remove(qor::Constraint1DOF* constraint);

  protected:
    ~Simulation() override;

  private:
    // The platform's sensors render and cast rays in the simulation's own scene.
    friend struct detail::SimulationAccess;

    class Impl;

    explicit Simulation(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorSDK
