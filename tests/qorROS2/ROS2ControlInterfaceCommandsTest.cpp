// Commands applied to registered joints: which controllers are switched, in which order, how
// values pair with names, and the exact warning of every command that cannot be applied.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BridgeTesting.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/Notify.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::Publisher;
using qorROS2::QOS;
using qorROS2::ROS2ControlInterface;
using qorROS2::Subscriber;
using qorROS2::sensorMsgs::JointState;
using qorTest::CallLog;
using qorTest::command;
using qorTest::ControlInterfaceProbe;
using qorTest::warningLines;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kPositionsUsedUp =
    "The list of positions to set must equal the number of joints with the position command "
    "interface";
constexpr const char* kVelocitiesUsedUp =
    "The list of velocities to set must equal the number of joints with the velocity command "
    "interface.";
constexpr const char* kEffortsUsedUp =
    "The length of the list of efforts to set must equal the number of joints with the effort "
    "command interface";

// A control interface with recorded joints, each added with its command interface.
class ControlInterfaceCommands : public ::testing::Test {
  protected:
    ControlInterfaceCommands()
        : m_commandTopic(qorTest::uniqueTopic(currentTestName() + "/command")),
          m_control(new ControlInterfaceProbe(m_commandTopic,
                                              qorTest::uniqueTopic(currentTestName() + "/state"),
                                              false, qorTest::kControlTestDomain)) {}

    static std::string currentTestName() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    // Adds a recorded joint and forgets the calls its registration made.
    qor::ref_ptr<qor::Constraint1DOF> add(const std::string& name,
                                          ROS2ControlInterface::ROS2ControlCommandInterface type,
                                          double angle = 0.0) {
        qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint(name, m_log, angle);
        EXPECT_TRUE(m_control->addJoint(joint.get(), type));
        m_log.clear();
        return joint;
    }

    void apply(JointState message) { m_control->setCommandOnJoints(message); }

    std::string m_commandTopic;
    CallLog m_log;
    qor::ref_ptr<ControlInterfaceProbe> m_control;
};

TEST_F(ControlInterfaceCommands, MessageWithoutNamesDoesNothingAndLogsNothing) {
    add("a", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({}, {1.0, 2.0, 3.0}));

    EXPECT_THAT(m_log, IsEmpty());
    EXPECT_THAT(warnings.lines(), IsEmpty());
}

TEST_F(ControlInterfaceCommands, MessageWithoutValuesIsRefusedWithZeroCounts) {
    add("a", ROS2ControlInterface::POSITION);
    add("b", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"a", "b"}, {}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"It is only allowed to send commands with one command interface type "
                            "per message. Received message has 0 number of positions, 0 number of "
                            "velocities and 0 number of efforts sent."}));
    EXPECT_THAT(m_log, IsEmpty());
}

TEST_F(ControlInterfaceCommands, PositionAndEffortInOneMessageAreRefusedWhole) {
    add("a", ROS2ControlInterface::POSITION);
    add("e", ROS2ControlInterface::EFFORT);
    const qor::NotifyLineCollector warnings;

    apply(command({"a"}, {1.0}, {}, {2.0}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"It is only allowed to send commands with one command interface type "
                            "per message. Received message has 1 number of positions, 0 number of "
                            "velocities and 1 number of efforts sent."}));
    EXPECT_THAT(m_log, IsEmpty());
}

TEST_F(ControlInterfaceCommands, CountsInTheTypeWarningAreThoseOfTheMessage) {
    add("a", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"a", "b"}, {1.0, 2.0}, {3.0, 4.0}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"It is only allowed to send commands with one command interface type "
                            "per message. Received message has 2 number of positions, 2 number of "
                            "velocities and 0 number of efforts sent."}));
    EXPECT_THAT(m_log, IsEmpty());
}

TEST_F(ControlInterfaceCommands, PositionsUsedUpWarnForTheNextPositionJoint) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    add("b", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"a", "b"}, {1.0}));

    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(1)"));
    EXPECT_EQ(a->getLock1D()->getPosition(), 1.0);
    EXPECT_EQ(warnings.lines(), warningLines({kPositionsUsedUp}));
}

TEST_F(ControlInterfaceCommands, UnknownNameStillUsesUpItsValue) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"x", "a"}, {1.0, 2.0}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"Joint with name x is not added to the control interface"}));
    EXPECT_EQ(a->getLock1D()->getPosition(), 2.0);
    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(2)"));
}

TEST_F(ControlInterfaceCommands, JointOfAnotherCommandInterfaceStillUsesUpItsValue) {
    add("v", ROS2ControlInterface::VELOCITY);
    const auto a = add("a", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"v", "a"}, {1.0, 2.0}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"The joint with name: v do not have the same command interface as "
                            "the received command."}));
    EXPECT_EQ(a->getLock1D()->getPosition(), 2.0);
    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(2)"));
}

TEST_F(ControlInterfaceCommands, ValuesBeyondTheLastNameAreIgnoredSilently) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    const qor::NotifyLineCollector warnings;

    apply(command({"a"}, {1.0, 2.0, 3.0}));

    EXPECT_EQ(a->getLock1D()->getPosition(), 1.0);
    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(1)"));
    EXPECT_THAT(warnings.lines(), IsEmpty());
}

TEST_F(ControlInterfaceCommands, EveryNameBeyondTheValuesWarnsOnce) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    const auto b = add("b", ROS2ControlInterface::POSITION, 0.5);
    const auto c = add("c", ROS2ControlInterface::POSITION, 0.25);
    const qor::NotifyLineCollector warnings;

    apply(command({"a", "b", "c"}, {1.0}));

    EXPECT_EQ(a->getLock1D()->getPosition(), 1.0);
    EXPECT_EQ(b->getLock1D()->getPosition(), 0.5);
    EXPECT_EQ(c->getLock1D()->getPosition(), 0.25);
    EXPECT_EQ(warnings.lines(), warningLines({kPositionsUsedUp, kPositionsUsedUp}));
}

TEST_F(ControlInterfaceCommands, CursorPushedBeyondTheEndCountsAsUsedUp) {
    // a takes value 0, x uses up value 1 that does not exist: b must not read past the list.
    add("a", ROS2ControlInterface::VELOCITY);
    const auto b = add("b", ROS2ControlInterface::VELOCITY);
    const qor::NotifyLineCollector warnings;

    apply(command({"a", "x", "b"}, {}, {0.5}));

    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(false)", "motor.setEnabled(true)",
                                   "motor.setSpeed(0.5)"));
    EXPECT_EQ(b->getMotor1D()->getSpeed(), 0.0);
    EXPECT_EQ(warnings.lines(),
              warningLines(
                  {"Joint with name x is not added to the control interface", kVelocitiesUsedUp}));
}

TEST_F(ControlInterfaceCommands, UsedUpWarningsNameTheCommandType) {
    add("v", ROS2ControlInterface::VELOCITY);
    add("w", ROS2ControlInterface::VELOCITY);
    add("e", ROS2ControlInterface::EFFORT);
    add("f", ROS2ControlInterface::EFFORT);
    const qor::NotifyLineCollector warnings;

    apply(command({"v", "w"}, {}, {1.0}));
    apply(command({"e", "f"}, {}, {}, {1.0}));

    EXPECT_EQ(warnings.lines(), warningLines({kVelocitiesUsedUp, kEffortsUsedUp}));
}

TEST_F(ControlInterfaceCommands, EffortIsClampedIntoTheRangeTheLockHadWhenAdded) {
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("grip", m_log);
    joint->getLock1D()->setForceRange(qor::Range<double>(-5.0, 10.0), 0);
    ASSERT_TRUE(m_control->addJoint(joint.get(), ROS2ControlInterface::EFFORT));
    const qor::NotifyLineCollector warnings;

    // Each effort in a step of its own: post ends the previous one.
    apply(command({"grip"}, {}, {}, {20.0}));
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(10.0, 10.0));
    m_control->post(0.0);
    apply(command({"grip"}, {}, {}, {-8.0}));
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(-5.0, -5.0));
    m_control->post(0.0);
    apply(command({"grip"}, {}, {}, {3.0}));
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(3.0, 3.0));

    EXPECT_THAT(warnings.lines(), IsEmpty());
}

TEST_F(ControlInterfaceCommands, EffortsForOneJointInOneMessageAreSummed) {
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("grip", m_log);
    ASSERT_TRUE(m_control->addJoint(joint.get(), ROS2ControlInterface::EFFORT));
    m_log.clear();

    apply(command({"grip", "grip"}, {}, {}, {2.0, 3.0}));

    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(5.0, 5.0));
    // The range is read before each change: the second effort adds to the first.
    EXPECT_THAT(m_log,
                ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                            "lock.setForceRange(2, 2) over (0, 0)", "lock.setEnabled(true)",
                            "motor.setEnabled(false)", "lock.setForceRange(5, 5) over (2, 2)"));
}

TEST_F(ControlInterfaceCommands, EffortAddsToTheSmallerBoundOfTheLocksRange) {
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("grip", m_log);
    ASSERT_TRUE(m_control->addJoint(joint.get(), ROS2ControlInterface::EFFORT));
    // Something other than the interface left a reversed range on the lock.
    joint->getLock1D()->setForceRange(qor::Range<double>(4.0, 1.0), 0);

    apply(command({"grip"}, {}, {}, {2.0}));

    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(3.0, 3.0));
}

TEST_F(ControlInterfaceCommands, VelocityCommandRunsTheMotorAndAPositionCommandForItIsRefused) {
    const auto v = add("v", ROS2ControlInterface::VELOCITY);

    apply(command({"v"}, {}, {0.75}));

    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(false)", "motor.setEnabled(true)",
                                   "motor.setSpeed(0.75)"));
    EXPECT_FALSE(v->getLock1D()->getEnable());
    EXPECT_TRUE(v->getMotor1D()->getEnable());
    EXPECT_EQ(v->getMotor1D()->getSpeed(), 0.75);
    m_log.clear();
    const qor::NotifyLineCollector warnings;

    apply(command({"v"}, {1.0}));

    EXPECT_EQ(warnings.lines(),
              warningLines({"The joint with name: v do not have the same command interface as "
                            "the received command."}));
    EXPECT_THAT(m_log, IsEmpty());
    EXPECT_TRUE(v->getMotor1D()->getEnable());
    EXPECT_EQ(v->getMotor1D()->getSpeed(), 0.75);
}

TEST_F(ControlInterfaceCommands, EachCommandTypeSwitchesTheLockBeforeTheMotorAndSetsTheTargetLast) {
    add("p", ROS2ControlInterface::POSITION);
    add("v", ROS2ControlInterface::VELOCITY);
    add("e", ROS2ControlInterface::EFFORT);

    apply(command({"p"}, {0.5}));
    apply(command({"v"}, {}, {1.5}));
    apply(command({"e"}, {}, {}, {2.5}));

    EXPECT_THAT(
        m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                           "lock.setPosition(0.5)", "lock.setEnabled(false)",
                           "motor.setEnabled(true)", "motor.setSpeed(1.5)", "lock.setEnabled(true)",
                           "motor.setEnabled(false)", "lock.setForceRange(2.5, 2.5) over (0, 0)"));
}

TEST_F(ControlInterfaceCommands, WarningsComeOnePerNameInTheMessagesOrder) {
    add("p", ROS2ControlInterface::POSITION);
    const auto q = add("q", ROS2ControlInterface::POSITION);
    add("v", ROS2ControlInterface::VELOCITY);
    const qor::NotifyLineCollector warnings;

    apply(command({"v", "zz", "q", "p"}, {1.0, 2.0, 3.0}));

    EXPECT_EQ(q->getLock1D()->getPosition(), 3.0);
    EXPECT_EQ(warnings.lines(),
              warningLines({"The joint with name: v do not have the same command interface as "
                            "the received command.",
                            "Joint with name zz is not added to the control interface",
                            kPositionsUsedUp}));
}

// Commands that come through the command topic, from a publisher in this process.
class ControlInterfaceTopicCommands : public ControlInterfaceCommands {
  protected:
    ControlInterfaceTopicCommands()
        : m_publisher(m_commandTopic, QOS{}, qorTest::kControlTestDomain) {}

    bool matched() const {
        return qorTest::waitFor([this] {
            return m_publisher.matchedSubscriptions() > 0 && m_control->commandPublications() > 0;
        });
    }

    Publisher<JointState> m_publisher;
};

TEST_F(ControlInterfaceTopicCommands, CommandOnTheTopicIsAppliedAtTheNextPre) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    ASSERT_TRUE(matched());

    ASSERT_TRUE(m_publisher.sendMessage(command({"a"}, {0.625})));
    ASSERT_TRUE(qorTest::waitFor([&] {
        m_control->pre(0.0);
        return !m_log.empty();
    })) << "the command never reached the interface";

    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(0.625)"));
    EXPECT_THAT(m_control->commandMessage().name, ElementsAre("a"));
    EXPECT_THAT(m_control->commandMessage().position, ElementsAre(0.625));
}

TEST_F(ControlInterfaceTopicCommands, OnlyOneOfTwoWaitingCommandsIsAppliedInAStep) {
    const auto a = add("a", ROS2ControlInterface::POSITION);
    // A second reader of the command topic, with the interface's QOS, shows when both commands
    // have been delivered in this process.
    Subscriber<JointState> witness(m_commandTopic,
                                   QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 2},
                                   qorTest::kControlTestDomain);
    ASSERT_TRUE(matched());
    ASSERT_TRUE(qorTest::waitFor([&] {
        return m_publisher.matchedSubscriptions() == 2 && witness.matchedPublications() > 0;
    }));

    ASSERT_TRUE(m_publisher.sendMessage(command({"a"}, {1.0})));
    ASSERT_TRUE(m_publisher.sendMessage(command({"a"}, {2.0})));
    JointState seen{};
    ASSERT_TRUE(qorTest::receiveWithin(witness, seen));
    ASSERT_TRUE(qorTest::receiveWithin(witness, seen));
    ASSERT_THAT(seen.position, ElementsAre(2.0));

    m_control->pre(0.0);
    EXPECT_THAT(m_log, ElementsAre("lock.setEnabled(true)", "motor.setEnabled(false)",
                                   "lock.setPosition(2)"));
    m_log.clear();
    m_control->pre(0.002);
    EXPECT_THAT(m_log, IsEmpty());
    EXPECT_EQ(a->getLock1D()->getPosition(), 2.0);
}

TEST_F(ControlInterfaceTopicCommands, StepWithoutACommandLeavesTheJointsAlone) {
    add("a", ROS2ControlInterface::POSITION);
    ASSERT_TRUE(matched());

    m_control->pre(0.0);
    m_control->pre(0.002);

    EXPECT_THAT(m_log, IsEmpty());
}

}  // namespace
