#pragma once

// What the tests of the step bridges share: controllers that record what is done to them, views
// into the listeners' state, the exact warning lines, and the names and domains that keep tests
// running side by side apart.

#include <cstddef>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qor/Constraint1DOF.h"
#include "qor/LockController.h"
#include "qor/Range.h"
#include "qor/TargetSpeedController.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/sensorMsgs.h"

namespace qorTest {

/// The DDS domain of the control interface tests: their topics carry the process id, so they
/// share it. Fixed here rather than read from the environment, so that a ROS 2 setup on the host
/// (ROS_DOMAIN_ID) neither decides nor disturbs it.
inline constexpr std::int8_t kControlTestDomain = 61;

/// The clock topic's name is fixed, so every test that listens to it has a domain of its own.
inline constexpr std::int8_t kClockTestDomainFirst = 101;

/// Writes a double so that it reads back exactly.
inline std::string exact(double value) {
    std::ostringstream out;
    out.precision(17);
    out << value;
    return out.str();
}

/// "(lower, upper)".
inline std::string rangeText(const qor::Range<double>& range) {
    return "(" + exact(range.lower) + ", " + exact(range.upper) + ")";
}

/// The calls made on recording controllers, oldest first, shared by a joint's lock and motor.
using CallLog = std::vector<std::string>;

/// A lock that logs every setter call ("lock.setPosition(0.5)") before doing what the SDK does.
/// A force range change also logs the range it replaces: "lock.setForceRange(0, 0) over (-5, 10)".
class RecordingLock : public qor::LockController {
  public:
    explicit RecordingLock(CallLog& log) : m_log(log) {}

    void setEnabled(bool enabled) override {
        m_log.push_back(std::string("lock.setEnabled(") + (enabled ? "true" : "false") + ")");
        qor::LockController::setEnabled(enabled);
    }

    void setForceRange(qor::Range<double> range, std::size_t index = 0) override {
        m_log.push_back("lock.setForceRange(" + exact(range.lower) + ", " + exact(range.upper) +
                        ") over " + rangeText(getForceRange(index)));
        qor::LockController::setForceRange(range, index);
    }

    void setPosition(double position) override {
        m_log.push_back("lock.setPosition(" + exact(position) + ")");
        qor::LockController::setPosition(position);
    }

  protected:
    ~RecordingLock() override = default;

  private:
    CallLog& m_log;
};

/// A motor that logs every setter call ("motor.setSpeed(0.5)") before doing what the SDK does.
class RecordingMotor : public qor::TargetSpeedController {
  public:
    explicit RecordingMotor(CallLog& log) : m_log(log) {}

    void setEnabled(bool enabled) override {
        m_log.push_back(std::string("motor.setEnabled(") + (enabled ? "true" : "false") + ")");
        qor::TargetSpeedController::setEnabled(enabled);
    }

    void setForceRange(qor::Range<double> range, std::size_t index = 0) override {
        m_log.push_back("motor.setForceRange(" + exact(range.lower) + ", " + exact(range.upper) +
                        ")");
        qor::TargetSpeedController::setForceRange(range, index);
    }

    void setSpeed(double speed) override {
        m_log.push_back("motor.setSpeed(" + exact(speed) + ")");
        qor::TargetSpeedController::setSpeed(speed);
    }

  protected:
    ~RecordingMotor() override = default;

  private:
    CallLog& m_log;
};

/// An unbound hinge named `name`, at `angle` and `speed`, whose lock and motor record into `log`.
inline qor::ref_ptr<qor::Constraint1DOF> recordedJoint(const std::string& name, CallLog& log,
                                                       double angle = 0.0, double speed = 0.0) {
    qor::ref_ptr<qor::Constraint1DOF> joint = new qor::Constraint1DOF(
        qor::Constraint1DOF::Type::HINGE, new RecordingLock(log), new RecordingMotor(log));
    joint->setName(name);
    joint->setAngle(angle);
    joint->setCurrentSpeed(speed);
    return joint;
}

/// An unbound hinge named `name` with the SDK's own controllers.
inline qor::ref_ptr<qor::Constraint1DOF> plainJoint(const std::string& name, double angle = 0.0,
                                                    double speed = 0.0) {
    qor::ref_ptr<qor::Constraint1DOF> joint = new qor::Constraint1DOF();
    joint->setName(name);
    joint->setAngle(angle);
    joint->setCurrentSpeed(speed);
    return joint;
}

/// A control interface that lets a test see what it holds and whether its endpoints matched.
class ControlInterfaceProbe : public qorROS2::ROS2ControlInterface {
  public:
    using qorROS2::ROS2ControlInterface::ROS2ControlInterface;

    const std::map<std::string, Joint>& joints() const { return m_joints; }
    const qorROS2::sensorMsgs::JointState& jointStateMessage() const { return m_jointStateMessage; }
    const qorROS2::sensorMsgs::JointState& commandMessage() const { return m_commandMessage; }
    bool setsTimeStampFromSystemClock() const { return m_setTimeStampFromSystemClock; }
    std::size_t stateSubscriptions() const { return m_jointStatePublisher.matchedSubscriptions(); }
    std::size_t commandPublications() const { return m_commandSubscriber.matchedPublications(); }

    /// Sends the state message as `post` does, so that a test can tell the send from the rest.
    bool sendJointState() { return m_jointStatePublisher.sendMessage(m_jointStateMessage); }

  protected:
    ~ControlInterfaceProbe() override = default;
};

/// A clock publisher that lets a test see its message and whether its endpoint matched.
class ClockPublisherProbe : public qorROS2::ROS2ClockPublisher {
  public:
    using qorROS2::ROS2ClockPublisher::ROS2ClockPublisher;

    const qorROS2::rosgraphMsgs::Clock& clockMessage() const { return m_clockMessage; }
    std::size_t clockSubscriptions() const { return m_clockPublisher.matchedSubscriptions(); }

    /// Sends the clock message as `pre` does, so that a test can tell the send from the rest.
    bool sendClock() { return m_clockPublisher.sendMessage(m_clockMessage); }

  protected:
    ~ClockPublisherProbe() override = default;
};

/// The lines that the logger emits for these warnings, prefix included.
inline std::vector<std::string> warningLines(const std::vector<std::string>& messages) {
    std::vector<std::string> lines;
    for (const std::string& message : messages) {
        lines.push_back("Warning: " + message);
    }
    return lines;
}

/// A command message naming `names` with the given values; the other lists empty.
inline qorROS2::sensorMsgs::JointState command(std::vector<std::string> names,
                                               std::vector<double> positions,
                                               std::vector<double> velocities = {},
                                               std::vector<double> efforts = {}) {
    qorROS2::sensorMsgs::JointState message{};
    message.name = std::move(names);
    message.position = std::move(positions);
    message.velocity = std::move(velocities);
    message.effort = std::move(efforts);
    return message;
}

}  // namespace qorTest
