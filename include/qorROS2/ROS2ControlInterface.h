#pragma once

// Lets ROS 2 nodes command joints of the simulation with sensor_msgs/JointState and reports the
// joints' state back after every step.

#include <cstdint>
#include <limits>
#include <map>
#include <string>

#include "qor/Constraint1DOF.h"
#include "qor/Range.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Export.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/sensorMsgs.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// A step listener that drives registered one-degree-of-freedom joints from `JointState`
/// commands and publishes their state after every step.
///
/// Before each step it takes at most one waiting command from the command topic and applies it:
/// a message carries exactly one of `position`, `velocity` or `effort`, and value k belongs to
/// name k. A position holds the joint with its lock, a velocity drives it with its motor, and an
/// effort makes the lock push with exactly that force (or torque) for the coming step only. After
/// each step it publishes `name`, `position` and `velocity` of every registered joint in ascending
/// order of names (`effort` stays empty), stamped with the simulation time.
///
///     qor::ref_ptr<qorROS2::ROS2ControlInterface> control =
///         new qorROS2::ROS2ControlInterface("joint_command", "joint_states", false, 0);
///     control->addJoint(simulation->createConstraint("elbow").get(),
///                       qorROS2::ROS2ControlInterface::POSITION);
///     simulation->add(control.get());
///
/// User errors (a null constraint, a duplicate or unknown name, a malformed command) are reported
/// as one warning line each through qor::Notify; nothing is thrown after construction. Callbacks,
/// `addJoint` and `removeJoint` belong to the thread that steps the simulation, or to the time
/// between steps. Counted like every SDK object: destroyed when its last reference goes.
class QORROS2_EXPORT ROS2ControlInterface : public qorSDK::StepEventListener {
  public:
    /// How a joint is commanded, and how addJoint prepares its constraint.
    enum ROS2ControlCommandInterface : std::int32_t {
        POSITION = 0,  ///< held by its lock at a commanded position
        VELOCITY = 1,  ///< driven by its motor at a commanded speed
        EFFORT = 2     ///< pushed with a commanded force or torque through its lock's force range
    };

    /// The registry's entry for one joint.
    struct Joint {
        /// The joint; the entry holds a reference on it while it exists.
        qor::ref_ptr<qor::Constraint1DOF> constraint;
        /// For an EFFORT joint, the bounds of commanded efforts (the lock's force range when it
        /// was added, lower bound first); (0, 0) for the others.
        qor::Range<double> forceRange{-std::numeric_limits<double>::infinity(),
                                      std::numeric_limits<double>::infinity()};
        /// How the joint is commanded, as given to addJoint (kept even when it is none of the
        /// three).
        ROS2ControlCommandInterface commandInterface = POSITION;
    };

    /// Subscribes to `commandTopic` (reliable, volatile, keep last 1: the newest command wins and
    /// no backlog builds up) and publishes on `jointStateTopic` (ROS 2's sensor-data profile),
    /// both in ROS 2 domain `domainId`. When `setTimeStampFromSystemClock` is true, the first
    /// step sets the simulation's time stamp to the wall clock's whole seconds since the epoch.
    /// Throws what the transport throws when it cannot create an endpoint.
    ROS2ControlInterface(const std::string& commandTopic, const std::string& jointStateTopic,
                         bool setTimeStampFromSystemClock, std::int8_t domainId);

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2ControlInterface(const ROS2ControlInterface&) = delete;
    ROS2ControlInterface& operator=(const ROS2ControlInterface&) = delete;
    ROS2ControlInterface(ROS2ControlInterface&&) = delete;
    ROS2ControlInterface& operator=(ROS2ControlInterface&&) = delete;

    /// Registers `constraint` under its current name and prepares it for `commandInterface`:
    /// POSITION switches the motor off and the lock on, at the current angle; VELOCITY switches
    /// the motor on and the lock off; EFFORT switches the motor off and the lock on at the
    /// current angle with a (0, 0) force range, keeping its previous range as the bounds of
    /// efforts. Any other value registers the joint and touches nothing. Returns false with a
    /// warning, changing nothing, for a null constraint or a name already registered.
    bool addJoint(qor::Constraint1DOF* constraint, ROS2ControlCommandInterface commandInterface);

    /// Forgets the joint registered as `name`, dropping the reference on its constraint and
    /// leaving its controllers as they are. Returns false with a warning when there is none.
    bool removeJoint(const std::string& name);

    /// Forgets the joint registered under the constraint's current name; see above. `constraint`
    /// must not be null.
    bool removeJoint(qor::Constraint1DOF* constraint);

    /// Before the step: if asked to at construction, sets the simulation's time stamp from the
    /// wall clock, once, at the first call made while the interface belongs to a simulation;
    /// then applies at most one waiting command. `time` is not used.
    void pre(const double& time) override;

    /// After the step: publishes the state of every registered joint stamped with `time` and
    /// ends the effort of every EFFORT joint, so that an effort acts for exactly one step.
    void post(const double& time) override;

    /// Applies one command message to the registered joints. A message without names does
    /// nothing; one whose values are not in exactly one of the three lists is refused whole, with
    /// a warning. Otherwise each name, in the message's order, takes the next value: an unknown
    /// name, a joint of another command interface or a list used up is skipped with a warning,
    /// and the others are applied. Values beyond the last name are ignored.
    void setCommandOnJoints(sensorMsgs::JointState& message);

    /// Refills the state message from the registry, in ascending order of names, and stamps it
    /// with `time`; resets the lock force range of EFFORT joints to (0, 0) on the way. Once its
    /// arrays have grown to the number of joints it allocates nothing, as long as the names fit
    /// the standard string's short buffer (15 characters with libstdc++): longer names are
    /// copied into new storage at every step.
    void populateJointStateMessage(const double& time);

    /// Sets `message.header.stamp` from `time` (floor seconds, nanoseconds rounded and never
    /// carried) and changes nothing else.
    static void setHeader(sensorMsgs::JointState& message, const double& time);

  protected:
    ~ROS2ControlInterface() override;

    // Protected, not private, so that a subclass can observe what the interface holds.

    /// The endpoint on the joint state topic.
    Publisher<sensorMsgs::JointState> m_jointStatePublisher;
    /// The last published state; refilled at every step, keeping its capacity.
    sensorMsgs::JointState m_jointStateMessage;
    /// The endpoint on the joint command topic.
    Subscriber<sensorMsgs::JointState> m_commandSubscriber;
    /// The last received command; kept until the next one overwrites it.
    sensorMsgs::JointState m_commandMessage;
    /// The registered joints, by the name they had when added, iterated in ascending order.
    std::map<std::string, Joint> m_joints;
    /// True until the first step has set the simulation's time stamp from the wall clock.
    bool m_setTimeStampFromSystemClock;
};

}  // namespace qorROS2
