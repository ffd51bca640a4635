// The control interface's joint registry: registration prepares the controllers, removal forgets
// the joint and restores nothing, and every refusal says why in one exact warning line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "BridgeTesting.h"
#include "TestTopics.h"
#include "qor/Notify.h"
#include "qor/ref_ptr.h"

namespace {

using qorROS2::ROS2ControlInterface;
using qorTest::CallLog;
using qorTest::ControlInterfaceProbe;
using qorTest::warningLines;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

qor::ref_ptr<ControlInterfaceProbe> makeInterface(const std::string& name) {
    return new ControlInterfaceProbe(qorTest::uniqueTopic(name + "/command"),
                                     qorTest::uniqueTopic(name + "/state"), false,
                                     qorTest::kControlTestDomain);
}

std::vector<std::string> keysOf(const ControlInterfaceProbe& control) {
    std::vector<std::string> keys;
    for (const auto& entry : control.joints()) {
        keys.push_back(entry.first);
    }
    return keys;
}

TEST(ControlInterfaceJoints, ConstructionSelectsPreAndPostAndTheFlag) {
    const qor::ref_ptr<ControlInterfaceProbe> plain = makeInterface("mask");
    EXPECT_EQ(plain->getMask(), 6);
    EXPECT_FALSE(plain->setsTimeStampFromSystemClock());
    EXPECT_THAT(plain->joints(), IsEmpty());

    const qor::ref_ptr<ControlInterfaceProbe> stamping = new ControlInterfaceProbe(
        qorTest::uniqueTopic("mask2/command"), qorTest::uniqueTopic("mask2/state"), true,
        qorTest::kControlTestDomain);
    EXPECT_TRUE(stamping->setsTimeStampFromSystemClock());
}

TEST(ControlInterfaceJoints, ANewEntryIsUnboundedAndPositionCommanded) {
    const ROS2ControlInterface::Joint joint;
    EXPECT_EQ(joint.constraint, nullptr);
    EXPECT_EQ(joint.forceRange.lower, -kInfinity);
    EXPECT_EQ(joint.forceRange.upper, kInfinity);
    EXPECT_EQ(joint.commandInterface, ROS2ControlInterface::POSITION);
    EXPECT_EQ(static_cast<int>(ROS2ControlInterface::POSITION), 0);
    EXPECT_EQ(static_cast<int>(ROS2ControlInterface::VELOCITY), 1);
    EXPECT_EQ(static_cast<int>(ROS2ControlInterface::EFFORT), 2);
    EXPECT_EQ(sizeof(ROS2ControlInterface::ROS2ControlCommandInterface), 4U);
}

TEST(ControlInterfaceJoints, NullConstraintIsRefusedWithAWarning) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("null");
    const qor::NotifyLineCollector warnings;

    EXPECT_FALSE(control->addJoint(nullptr, ROS2ControlInterface::POSITION));

    EXPECT_EQ(warnings.lines(), warningLines({"No joint given"}));
    EXPECT_EQ(warnings.levels(), std::vector<int>{qor::WARNING});
    EXPECT_THAT(control->joints(), IsEmpty());
}

TEST(ControlInterfaceJoints, SecondConstraintWithTheSameNameIsRefusedAndLeftUntouched) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("duplicate");
    CallLog firstLog;
    CallLog secondLog;
    const qor::ref_ptr<qor::Constraint1DOF> first = qorTest::recordedJoint("elbow", firstLog, 0.5);
    const qor::ref_ptr<qor::Constraint1DOF> second =
        qorTest::recordedJoint("elbow", secondLog, -0.5);
    ASSERT_TRUE(control->addJoint(first.get(), ROS2ControlInterface::POSITION));
    const qor::NotifyLineCollector warnings;

    EXPECT_FALSE(control->addJoint(second.get(), ROS2ControlInterface::VELOCITY));

    EXPECT_EQ(warnings.lines(),
              warningLines({"A joint with name: elbow is already added to the control interface. "
                            "Every joint name must be uniquee"}));
    EXPECT_THAT(secondLog, IsEmpty());
    EXPECT_FALSE(second->getLock1D()->getEnable());
    EXPECT_FALSE(second->getMotor1D()->getEnable());
    ASSERT_EQ(control->joints().size(), 1U);
    EXPECT_EQ(control->joints().at("elbow").constraint, first);
    EXPECT_EQ(control->joints().at("elbow").commandInterface, ROS2ControlInterface::POSITION);
    // Only the test holds the refused constraint; the registry holds the first one.
    EXPECT_EQ(second->getReferenceCount(), 1);
    EXPECT_EQ(first->getReferenceCount(), 2);
}

TEST(ControlInterfaceJoints, EffortJointKeepsItsLockRangeInAscendingOrderAndZeroesTheLock) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("effort");
    CallLog log;
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("gripper", log, 0.25);
    joint->getLock1D()->setForceRange(qor::Range<double>(5.0, -5.0), 0);
    log.clear();

    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::EFFORT));

    const ROS2ControlInterface::Joint& entry = control->joints().at("gripper");
    EXPECT_EQ(entry.forceRange.lower, -5.0);
    EXPECT_EQ(entry.forceRange.upper, 5.0);
    EXPECT_EQ(entry.commandInterface, ROS2ControlInterface::EFFORT);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
    // Motor first, then the lock, its position, and its range last, read before it is replaced.
    EXPECT_THAT(log,
                ElementsAre("motor.setEnabled(false)", "lock.setEnabled(true)",
                            "lock.setPosition(0.25)", "lock.setForceRange(0, 0) over (5, -5)"));
    EXPECT_TRUE(joint->getLock1D()->getEnable());
    EXPECT_FALSE(joint->getMotor1D()->getEnable());
}

TEST(ControlInterfaceJoints, PositionJointIsHeldWhereItStandsWithTheMotorOff) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("position");
    CallLog log;
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("shoulder", log, 0.75);

    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::POSITION));

    EXPECT_THAT(log, ElementsAre("motor.setEnabled(false)", "lock.setEnabled(true)",
                                 "lock.setPosition(0.75)"));
    EXPECT_EQ(joint->getLock1D()->getPosition(), 0.75);
    EXPECT_TRUE(joint->getLock1D()->getEnable());
    EXPECT_FALSE(joint->getMotor1D()->getEnable());
    const ROS2ControlInterface::Joint& entry = control->joints().at("shoulder");
    EXPECT_EQ(entry.constraint, joint);
    EXPECT_EQ(entry.forceRange, qor::Range<double>(0.0, 0.0));
    EXPECT_EQ(entry.commandInterface, ROS2ControlInterface::POSITION);
}

TEST(ControlInterfaceJoints, VelocityJointRunsItsMotorWithTheLockOffAndNothingElseChanged) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("velocity");
    CallLog log;
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("wheel", log, 0.75);
    joint->getLock1D()->setForceRange(qor::Range<double>(-2.0, 3.0), 0);
    joint->getLock1D()->setPosition(0.125);
    joint->getMotor1D()->setSpeed(0.5);
    log.clear();

    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::VELOCITY));

    EXPECT_THAT(log, ElementsAre("motor.setEnabled(true)", "lock.setEnabled(false)"));
    EXPECT_TRUE(joint->getMotor1D()->getEnable());
    EXPECT_FALSE(joint->getLock1D()->getEnable());
    EXPECT_EQ(joint->getMotor1D()->getSpeed(), 0.5);
    EXPECT_EQ(joint->getLock1D()->getPosition(), 0.125);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(-2.0, 3.0));
    const ROS2ControlInterface::Joint& entry = control->joints().at("wheel");
    EXPECT_EQ(entry.forceRange, qor::Range<double>(0.0, 0.0));
    EXPECT_EQ(entry.commandInterface, ROS2ControlInterface::VELOCITY);
}

TEST(ControlInterfaceJoints, UnknownCommandInterfaceIsRecordedAndTouchesNothing) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("seven");
    CallLog log;
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("odd", log, 0.75);
    const qor::NotifyLineCollector warnings;

    EXPECT_TRUE(control->addJoint(
        joint.get(), static_cast<ROS2ControlInterface::ROS2ControlCommandInterface>(7)));

    EXPECT_THAT(log, IsEmpty());
    EXPECT_THAT(warnings.lines(), IsEmpty());
    const ROS2ControlInterface::Joint& entry = control->joints().at("odd");
    EXPECT_EQ(static_cast<int>(entry.commandInterface), 7);
    EXPECT_EQ(entry.forceRange, qor::Range<double>(0.0, 0.0));
    EXPECT_EQ(entry.constraint, joint);
}

TEST(ControlInterfaceJoints, RemovingAJointNeverAddedWarnsAndFails) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("remove_unknown");
    const qor::NotifyLineCollector warnings;

    EXPECT_FALSE(control->removeJoint("ghost"));

    EXPECT_EQ(warnings.lines(), warningLines({"Joint with name 'ghost' could not be removed"}));
}

TEST(ControlInterfaceJoints, RemovingAnAddedJointTwiceWarnsOnTheSecondCallOnly) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("remove_twice");
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::plainJoint("knee");
    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::POSITION));
    const qor::NotifyLineCollector warnings;

    EXPECT_TRUE(control->removeJoint("knee"));
    EXPECT_THAT(warnings.lines(), IsEmpty());
    EXPECT_FALSE(control->removeJoint("knee"));

    EXPECT_EQ(warnings.lines(), warningLines({"Joint with name 'knee' could not be removed"}));
    EXPECT_THAT(control->joints(), IsEmpty());
    EXPECT_EQ(joint->getReferenceCount(), 1);
}

TEST(ControlInterfaceJoints, RemovedJointKeepsItsControllerSettings) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("remove_keeps");
    CallLog log;
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::recordedJoint("hip", log, 0.5);
    joint->getLock1D()->setForceRange(qor::Range<double>(-4.0, 4.0), 0);
    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::EFFORT));
    log.clear();

    EXPECT_TRUE(control->removeJoint(joint.get()));

    EXPECT_THAT(log, IsEmpty());
    EXPECT_TRUE(joint->getLock1D()->getEnable());
    EXPECT_FALSE(joint->getMotor1D()->getEnable());
    EXPECT_EQ(joint->getLock1D()->getPosition(), 0.5);
    EXPECT_EQ(joint->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
}

TEST(ControlInterfaceJoints, RefusedConstraintThatNothingElseHoldsIsDestroyed) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("refused_destroyed");
    ASSERT_TRUE(
        control->addJoint(qorTest::plainJoint("ankle").get(), ROS2ControlInterface::POSITION));

    // Watches the second constraint through its lock, which outlives it.
    qor::Constraint1DOF* orphan = new qor::Constraint1DOF();
    orphan->setName("ankle");
    const qor::ref_ptr<qor::LockController> lock = orphan->getLock1D();
    ASSERT_EQ(lock->getReferenceCount(), 2);
    const qor::NotifyLineCollector warnings;

    EXPECT_FALSE(control->addJoint(orphan, ROS2ControlInterface::POSITION));

    // The call's own reference was the only one: releasing it deleted the constraint, and with
    // it the constraint's reference on its lock.
    EXPECT_EQ(lock->getReferenceCount(), 1);
    EXPECT_EQ(warnings.lines().size(), 1U);
}

TEST(ControlInterfaceJoints, RegistryIsOrderedByteWiseWithAPrefixFirst) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("order");
    for (const char* name : {"b", "a", "ab"}) {
        ASSERT_TRUE(
            control->addJoint(qorTest::plainJoint(name).get(), ROS2ControlInterface::POSITION));
    }

    EXPECT_THAT(keysOf(*control), ElementsAre("a", "ab", "b"));
    control->populateJointStateMessage(0.0);
    EXPECT_THAT(control->jointStateMessage().name, ElementsAre("a", "ab", "b"));
}

TEST(ControlInterfaceJoints, EntriesHoldOneReferenceUntilRemovedOrDestroyed) {
    const qor::ref_ptr<qor::Constraint1DOF> kept = qorTest::plainJoint("kept");
    const qor::ref_ptr<qor::Constraint1DOF> removed = qorTest::plainJoint("removed");
    {
        const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("references");
        ASSERT_TRUE(control->addJoint(kept.get(), ROS2ControlInterface::VELOCITY));
        ASSERT_TRUE(control->addJoint(removed.get(), ROS2ControlInterface::EFFORT));
        EXPECT_EQ(kept->getReferenceCount(), 2);
        EXPECT_EQ(removed->getReferenceCount(), 2);
        EXPECT_TRUE(control->removeJoint(removed.get()));
        EXPECT_EQ(removed->getReferenceCount(), 1);
        EXPECT_EQ(kept->getReferenceCount(), 2);
    }
    EXPECT_EQ(kept->getReferenceCount(), 1);
    EXPECT_TRUE(kept->getMotor1D()->getEnable());
}

TEST(ControlInterfaceJoints, RenamedJointIsKeptUnderTheNameItWasAddedWith) {
    const qor::ref_ptr<ControlInterfaceProbe> control = makeInterface("renamed");
    const qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::plainJoint("old");
    ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::POSITION));
    joint->setName("new");
    const qor::NotifyLineCollector warnings;

    EXPECT_FALSE(control->removeJoint(joint.get()));
    EXPECT_EQ(warnings.lines(), warningLines({"Joint with name 'new' could not be removed"}));
    EXPECT_TRUE(control->removeJoint("old"));
    EXPECT_THAT(control->joints(), IsEmpty());
}

}  // namespace
