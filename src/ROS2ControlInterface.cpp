#include "qorROS2/ROS2ControlInterface.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ostream>
#include <vector>

#include "qor/LockController.h"
#include "qor/Notify.h"
#include "qor/TargetSpeedController.h"
#include "qorROS2/QOS.h"
#include "qorROS2/TimeConversion.h"
#include "qorSDK/Simulation.h"

namespace qorROS2 {

namespace detail {
namespace {

// The SDK's callback masks: pre (2) and post (4).
constexpr int kPreAndPost = 6;

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

// Writes one warning line through the SDK's logger: the level's prefix, then the pieces as they
// stream (names as they are, counts in plain decimal).
template <typename... Pieces>
void warn(const Pieces&... pieces) {
    std::ostream& out = qor::Notify::getThreadStringStream();
    out << qor::Notify::setDebugStrings(qor::WARNING, "", -1, "");
    (out << ... << pieces);
    out << std::endl << qor::Notify::end();
}

// The texts differ in wording and only the velocity one ends with a full stop: users match on
// them as they are.
const char* valuesUsedUpText(ROS2ControlInterface::ROS2ControlCommandInterface type) {
    switch (type) {
        case ROS2ControlInterface::POSITION:
            return "The list of positions to set must equal the number of joints with the "
                   "position command interface";
        case ROS2ControlInterface::VELOCITY:
            return "The list of velocities to set must equal the number of joints with the "
                   "velocity command interface.";
        default:
            return "The length of the list of efforts to set must equal the number of joints "
                   "with the effort command interface";
    }
}

// Whole seconds of the wall clock since its epoch, truncated: fractions are dropped on purpose so
// that the simulation starts on a whole second.
double wholeSecondsOfSystemClock() {
    const std::int64_t nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                         std::chrono::system_clock::now().time_since_epoch())
                                         .count();
    return static_cast<double>(nanoseconds / kNanosecondsPerSecond);
}

// Applies value x of a command of the given type to one constraint, in the order the controllers
// expect: the switches first, then the target.
void applyCommand(qor::Constraint1DOF& constraint,
                  ROS2ControlInterface::ROS2ControlCommandInterface type, double x,
                  const qor::Range<double>& forceRange) {
    qor::LockController* lock = constraint.getLock1D();
    qor::TargetSpeedController* motor = constraint.getMotor1D();
    switch (type) {
        case ROS2ControlInterface::POSITION:
            lock->setEnabled(true);
            motor->setEnabled(false);
            lock->setPosition(x);
            break;
        case ROS2ControlInterface::VELOCITY:
            lock->setEnabled(false);
            motor->setEnabled(true);
            motor->setSpeed(x);
            break;
        case ROS2ControlInterface::EFFORT: {
            // The effort adds to what the range already holds: (0, 0) after registration and
            // after every step, so a joint named twice in one message gets the sum of its values.
            const qor::Range<double> range = lock->getForceRange(0);
            const double base = range.upper < range.lower ? range.upper : range.lower;
            lock->setEnabled(true);
            motor->setEnabled(false);
            double force = base + x;
            if (forceRange.lower > force) {
                force = forceRange.lower;
            } else if (forceRange.upper < force) {
                force = forceRange.upper;
            }
            // Equal bounds: the lock applies exactly this force, whatever its target.
            lock->setForceRange(qor::Range<double>(force, force), 0);
            break;
        }
    }
}

}  // namespace
}  // namespace detail

ROS2ControlInterface::ROS2ControlInterface(const std::string& commandTopic,
                                           const std::string& jointStateTopic,
                                           bool setTimeStampFromSystemClock, std::int8_t domainId)
    : qorSDK::StepEventListener(detail::kPreAndPost),
      m_jointStatePublisher(jointStateTopic, createSensorDataQOS(), domainId),
      m_jointStateMessage{},
      // Commands must not be lost the way a late sensor sample may be: reliable, and only the
      // newest kept.
      m_commandSubscriber(commandTopic, QOS{}, domainId),
      m_commandMessage{},
      m_joints{},
      m_setTimeStampFromSystemClock(setTimeStampFromSystemClock) {
    setMask(detail::kPreAndPost);
}

ROS2ControlInterface::~ROS2ControlInterface() = default;

bool ROS2ControlInterface::addJoint(qor::Constraint1DOF* constraint,
                                    ROS2ControlCommandInterface commandInterface) {
    if (constraint == nullptr) {
        detail::warn("No joint given");
        return false;
    }
    // Held for the call: a constraint that nobody else references is released, and deleted,
    // when it is refused.
    const qor::ref_ptr<qor::Constraint1DOF> held(constraint);
    const std::string name = held->getName();
    if (m_joints.find(name) != m_joints.end()) {
        detail::warn("A joint with name: ", name,
                     " is already added to the control interface. Every joint name must be "
                     "uniquee");
        return false;
    }

    qor::LockController* lock = held->getLock1D();
    qor::TargetSpeedController* motor = held->getMotor1D();
    qor::Range<double> forceRange(0.0, 0.0);
    switch (commandInterface) {
        case POSITION:
            // Held where it stands until its first command arrives.
            motor->setEnabled(false);
            lock->setEnabled(true);
            lock->setPosition(held->getAngle());
            break;
        case VELOCITY:
            motor->setEnabled(true);
            lock->setEnabled(false);
            break;
        case EFFORT: {
            motor->setEnabled(false);
            lock->setEnabled(true);
            lock->setPosition(held->getAngle());
            // The range the lock had becomes the bounds of commanded efforts; the lock itself
            // exerts nothing until a command comes.
            const qor::Range<double> previous = lock->getForceRange(0);
            lock->setForceRange(qor::Range<double>(0.0, 0.0), 0);
            forceRange = qor::Range<double>(std::min(previous.lower, previous.upper),
                                            std::max(previous.lower, previous.upper));
            break;
        }
        default:
            break;
    }

    Joint& joint = m_joints[name];
    joint.constraint = held;
    joint.forceRange = forceRange;
    joint.commandInterface = commandInterface;
    return true;
}

bool ROS2ControlInterface::removeJoint(const std::string& name) {
    // Nothing is restored on the constraint: it keeps what the interface last set.
    if (m_joints.erase(name) == 1) {
        return true;
    }
    detail::warn("Joint with name '", name, "' could not be removed");
    return false;
}

bool ROS2ControlInterface::removeJoint(qor::Constraint1DOF* constraint) {
    // A copy: erasing may delete the constraint, and its name with it.
    const std::string name = constraint->getName();
    return removeJoint(name);
}

void ROS2ControlInterface::pre(const double& /*time*/) {
    // Only a step of a simulation can take the stamp; a call by hand leaves it for the first one.
    if (m_setTimeStampFromSystemClock && getSimulation() != nullptr) {
        getSimulation()->setTimeStamp(detail::wholeSecondsOfSystemClock());
        m_setTimeStampFromSystemClock = false;
    }
    if (m_commandSubscriber.receiveMessage(m_commandMessage)) {
        setCommandOnJoints(m_commandMessage);
    }
}

void ROS2ControlInterface::setCommandOnJoints(sensorMsgs::JointState& message) {
    if (message.name.empty()) {
        return;
    }
    const bool hasPositions = !message.position.empty();
    const bool hasVelocities = !message.velocity.empty();
    const bool hasEfforts = !message.effort.empty();
    ROS2ControlCommandInterface type = POSITION;
    const std::vector<double>* values = nullptr;
    if (hasPositions && !hasVelocities && !hasEfforts) {
        type = POSITION;
        values = &message.position;
    } else if (!hasPositions && hasVelocities && !hasEfforts) {
        type = VELOCITY;
        values = &message.velocity;
    } else if (!hasPositions && !hasVelocities && hasEfforts) {
        type = EFFORT;
        values = &message.effort;
    } else {
        detail::warn(
            "It is only allowed to send commands with one command interface type per "
            "message. Received message has ",
            message.position.size(), " number of positions, ", message.velocity.size(),
            " number of velocities and ", message.effort.size(), " number of efforts sent.");
        return;
    }

    // Value k belongs to name k: a name that is skipped still uses up its value, except when the
    // values are used up already.
    std::size_t k = 0;
    for (const std::string& name : message.name) {
        const auto found = m_joints.find(name);
        if (found == m_joints.end()) {
            detail::warn("Joint with name ", name, " is not added to the control interface");
            ++k;
            continue;
        }
        const Joint& joint = found->second;
        if (joint.commandInterface != type) {
            detail::warn("The joint with name: ", name,
                         " do not have the same command interface as the received command.");
            ++k;
            continue;
        }
        // At or beyond the end: skipped names may have pushed the cursor past it.
        if (k >= values->size()) {
            detail::warn(detail::valuesUsedUpText(type));
            continue;
        }
        const qor::ref_ptr<qor::Constraint1DOF> constraint = joint.constraint;
        detail::applyCommand(*constraint, type, (*values)[k], joint.forceRange);
        ++k;
    }
}

void ROS2ControlInterface::post(const double& time) {
    populateJointStateMessage(time);
    // A lost state is superseded by the next step's: there is nothing to do about it here.
    m_jointStatePublisher.sendMessage(m_jointStateMessage);
}

void ROS2ControlInterface::populateJointStateMessage(const double& time) {
    // Emptied, not replaced: the arrays keep their capacity and a step allocates nothing for them.
    m_jointStateMessage.position.clear();
    m_jointStateMessage.velocity.clear();
    // Names are assigned over the last step's instead of cleared and pushed again: a name longer
    // than the short-string buffer keeps its heap buffer, so copying it allocates nothing.
    m_jointStateMessage.name.resize(m_joints.size());
    std::size_t index = 0;
    for (const auto& [name, joint] : m_joints) {
        const qor::ref_ptr<qor::Constraint1DOF> constraint = joint.constraint;
        if (joint.commandInterface == EFFORT) {
            // An effort lasts one step: it must be sent again for every further step.
            constraint->getLock1D()->setForceRange(qor::Range<double>(0.0, 0.0), 0);
        }
        m_jointStateMessage.position.push_back(constraint->getAngle());
        m_jointStateMessage.velocity.push_back(constraint->getCurrentSpeed());
        m_jointStateMessage.name[index++] = name;
    }
    setHeader(m_jointStateMessage, time);
}

void ROS2ControlInterface::setHeader(sensorMsgs::JointState& message, const double& time) {
    message.header.stamp = toRosTime(time);
}

}  // namespace qorROS2
