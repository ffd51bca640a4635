// The state published after every step, heard on the state topic by a subscriber in this process,
// and the end of every effort with the step it was applied in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BridgeTesting.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::ROS2ControlInterface;
using qorROS2::Subscriber;
using qorROS2::sensorMsgs::JointState;
using qorTest::command;
using qorTest::ControlInterfaceProbe;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A control interface and a subscriber of its state topic, with the sensor-data QOS a ROS 2
// node would use.
class ControlInterfaceStates : public ::testing::Test {
  protected:
    ControlInterfaceStates()
        : m_stateTopic(qorTest::uniqueTopic(currentTestName() + "/state")),
          m_control(new ControlInterfaceProbe(qorTest::uniqueTopic(currentTestName() + "/command"),
                                              m_stateTopic, false, qorTest::kControlTestDomain)),
          m_states(m_stateTopic, qorROS2::createSensorDataQOS(), qorTest::kControlTestDomain) {}

    static std::string currentTestName() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    bool matched() const {
        return qorTest::waitFor([this] {
            return m_control->stateSubscriptions() > 0 && m_states.matchedPublications() > 0;
        });
    }

    // Runs `post(time)` and waits for the state it publishes.
    JointState publishedAfterPost(double time) {
        m_control->post(time);
        JointState received{};
        received.header.stamp.sec = -12345;
        EXPECT_TRUE(qorTest::receiveWithin(m_states, received)) << "no state after post " << time;
        return received;
    }

    void add(const qor::ref_ptr<qor::Constraint1DOF>& joint,
             ROS2ControlInterface::ROS2ControlCommandInterface type) {
        EXPECT_TRUE(m_control->addJoint(joint.get(), type));
    }

    std::string m_stateTopic;
    // Before the interface: the recorded joints it holds write to it until it goes.
    qorTest::CallLog m_log;
    qor::ref_ptr<ControlInterfaceProbe> m_control;
    Subscriber<JointState> m_states;
};

TEST_F(ControlInterfaceStates, EmptyRegistryPublishesAStampedEmptyMessageAtEveryStep) {
    ASSERT_TRUE(matched());

    for (const double time : {0.5, 1.0}) {
        const JointState state = publishedAfterPost(time);
        EXPECT_EQ(state.header.stamp.sec, static_cast<int>(time));
        EXPECT_EQ(state.header.stamp.nanosec, time == 0.5 ? 500000000U : 0U);
        EXPECT_THAT(state.name, IsEmpty());
        EXPECT_THAT(state.position, IsEmpty());
        EXPECT_THAT(state.velocity, IsEmpty());
        EXPECT_THAT(state.effort, IsEmpty());
    }
}

TEST_F(ControlInterfaceStates, JointsArePublishedInAscendingOrderOfNames) {
    add(qorTest::plainJoint("wrist", 0.3, -0.03), ROS2ControlInterface::POSITION);
    add(qorTest::plainJoint("elbow", 0.2, -0.02), ROS2ControlInterface::VELOCITY);
    add(qorTest::plainJoint("base", 0.1, -0.01), ROS2ControlInterface::EFFORT);
    ASSERT_TRUE(matched());

    const JointState state = publishedAfterPost(0.004);

    EXPECT_THAT(state.name, ElementsAre("base", "elbow", "wrist"));
    EXPECT_THAT(state.position, ElementsAre(0.1, 0.2, 0.3));
    EXPECT_THAT(state.velocity, ElementsAre(-0.01, -0.02, -0.03));
    EXPECT_EQ(state.header.stamp.sec, 0);
    EXPECT_EQ(state.header.stamp.nanosec, 4000000U);
}

TEST_F(ControlInterfaceStates, EffortStaysEmptyEvenWhenEveryJointIsAnEffortJoint) {
    for (const char* name : {"f1", "f2", "f3"}) {
        add(qorTest::plainJoint(name, 1.0, 2.0), ROS2ControlInterface::EFFORT);
    }
    ASSERT_TRUE(matched());
    JointState efforts = command({"f1", "f2", "f3"}, {}, {}, {1.0, 2.0, 3.0});
    m_control->setCommandOnJoints(efforts);

    const JointState state = publishedAfterPost(0.0);

    EXPECT_THAT(state.name, ElementsAre("f1", "f2", "f3"));
    EXPECT_THAT(state.effort, IsEmpty());
    EXPECT_THAT(m_control->jointStateMessage().effort, IsEmpty());
}

TEST_F(ControlInterfaceStates, EffortRangeLastsUntilPostAndTheNextStepAppliesNone) {
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("push", m_log);
    const qor::ref_ptr<qor::Constraint1DOF> held = qorTest::recordedJoint("hold", m_log);
    add(joint, ROS2ControlInterface::EFFORT);
    add(held, ROS2ControlInterface::POSITION);
    JointState effort = command({"push"}, {}, {}, {4.0});

    m_control->pre(0.0);
    m_control->setCommandOnJoints(effort);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(4.0, 4.0));
    m_log.clear();
    m_control->post(0.002);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
    // Only the effort joint's range is reset; the position joint's lock is left alone.
    EXPECT_THAT(m_log, ElementsAre("lock.setForceRange(0, 0) over (4, 4)"));
    m_log.clear();

    // No new command: the next step applies no effort.
    m_control->pre(0.002);
    EXPECT_THAT(m_log, IsEmpty());
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
    m_control->post(0.004);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
}

TEST_F(ControlInterfaceStates, PostStampsTheHeaderAndLeavesTheFrameIdEmpty) {
    add(qorTest::plainJoint("j"), ROS2ControlInterface::POSITION);
    ASSERT_TRUE(matched());

    const JointState state = publishedAfterPost(2.25);

    EXPECT_EQ(state.header.stamp.sec, 2);
    EXPECT_EQ(state.header.stamp.nanosec, 250000000U);
    EXPECT_EQ(state.header.frame_id, "");
    EXPECT_EQ(m_control->jointStateMessage().header.frame_id, "");
}

TEST_F(ControlInterfaceStates, ConsecutiveStepsRefillTheArraysRatherThanAppend) {
    add(qorTest::plainJoint("x", 1.0, 4.0), ROS2ControlInterface::POSITION);
    add(qorTest::plainJoint("y", 2.0, 5.0), ROS2ControlInterface::VELOCITY);
    add(qorTest::plainJoint("z", 3.0, 6.0), ROS2ControlInterface::EFFORT);
    ASSERT_TRUE(matched());

    publishedAfterPost(0.002);
    const JointState second = publishedAfterPost(0.004);

    EXPECT_THAT(second.name, ElementsAre("x", "y", "z"));
    EXPECT_THAT(second.position, ElementsAre(1.0, 2.0, 3.0));
    EXPECT_THAT(second.velocity, ElementsAre(4.0, 5.0, 6.0));
    EXPECT_EQ(m_control->jointStateMessage().name.size(), 3U);
    EXPECT_EQ(m_control->jointStateMessage().position.size(), 3U);
    EXPECT_EQ(m_control->jointStateMessage().velocity.size(), 3U);
}

TEST_F(ControlInterfaceStates, RegistryChangesShowInTheNextState) {
    const qor::ref_ptr<qor::Constraint1DOF> renamed = qorTest::plainJoint("first", 0.5);
    add(renamed, ROS2ControlInterface::POSITION);
    add(qorTest::plainJoint("second", 1.5), ROS2ControlInterface::POSITION);
    ASSERT_TRUE(matched());
    EXPECT_THAT(publishedAfterPost(0.0).name, ElementsAre("first", "second"));

    renamed->setName("zeroth");
    EXPECT_TRUE(m_control->removeJoint("second"));
    add(qorTest::plainJoint("third", 2.5), ROS2ControlInterface::VELOCITY);
    const JointState state = publishedAfterPost(0.002);

    // Listed under the name it was added with, whatever it is called now.
    EXPECT_THAT(state.name, ElementsAre("first", "third"));
    EXPECT_THAT(state.position, ElementsAre(0.5, 2.5));
}

TEST_F(ControlInterfaceStates, SetHeaderChangesTheStampAlone) {
    JointState message = command({"a"}, {1.0}, {2.0}, {3.0});
    message.header.frame_id = "map";

    ROS2ControlInterface::setHeader(message, 1.9999999999);

    EXPECT_EQ(message.header.stamp.sec, 1);
    EXPECT_EQ(message.header.stamp.nanosec, 1000000000U);
    EXPECT_EQ(message.header.frame_id, "map");
    EXPECT_THAT(message.name, ElementsAre("a"));
    EXPECT_THAT(message.position, ElementsAre(1.0));
    EXPECT_THAT(message.velocity, ElementsAre(2.0));
    EXPECT_THAT(message.effort, ElementsAre(3.0));
}

TEST_F(ControlInterfaceStates, NegativeTimesAreStampedFromTheFloor) {
    m_control->populateJointStateMessage(-0.25);
    EXPECT_EQ(m_control->jointStateMessage().header.stamp.sec, -1);
    EXPECT_EQ(m_control->jointStateMessage().header.stamp.nanosec, 750000000U);
}

}  // namespace
