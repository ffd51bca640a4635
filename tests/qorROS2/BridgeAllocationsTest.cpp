// The step bridges allocate nothing of their own per step once warm: the only allocations left
// in a step are those of the transport's send, counted here on their own. This executable
// replaces the global operator new and delete (AllocationCounter.cpp) to count them.
//
// The counts are the whole process's, and the middleware's own threads allocate now and then
// (discovery, heartbeats). So every measurement is taken in several rounds and the fewest
// allocations of any round count: a round that another thread touched counts more, while an
// allocation of the bridge itself would show in every round, at least once per step.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "BridgeTesting.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2EntityStateServer.h"
#include "qorROS2/ROS2OdometryPublisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::Publisher;
using qorROS2::QOS;
using qorROS2::ROS2ControlInterface;
using qorROS2::Subscriber;
using qorROS2::rosgraphMsgs::Clock;
using qorROS2::sensorMsgs::JointState;
using qorTest::ClockPublisherProbe;
using qorTest::ControlInterfaceProbe;

// The clock topic's name is fixed: this test listens to it on a domain of its own.
constexpr std::int8_t kClockDomain = qorTest::kClockTestDomainFirst + 7;
constexpr int kWarmUpSteps = 200;
constexpr int kStepsPerRound = 500;
constexpr int kRounds = 5;
constexpr double kTimeStep = 0.002;

// The number of allocations that `work` makes.
template <typename Work>
std::uint64_t allocationsOf(Work work) {
    const std::uint64_t before = qorTest::allocationCounts().allocations;
    work();
    return qorTest::allocationCounts().allocations - before;
}

// The fewest allocations that `round` made in any of kRounds calls; it gets the round's number.
template <typename Round>
std::uint64_t fewestAllocationsOf(Round round) {
    std::vector<std::uint64_t> counts;
    for (int index = 0; index < kRounds; ++index) {
        counts.push_back(allocationsOf([&] { round(index); }));
    }
    return *std::min_element(counts.begin(), counts.end());
}

void report(const char* what, std::uint64_t sends, std::uint64_t steps) {
    std::printf("%s: fewest allocations in %d sends %llu, in %d steps %llu\n", what, kStepsPerRound,
                static_cast<unsigned long long>(sends), kStepsPerRound,
                static_cast<unsigned long long>(steps));
}

// 100 joint names that fit the short-string buffer, so that copying them allocates nothing.
std::vector<std::string> hundredJointNames() {
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        char name[8];
        std::snprintf(name, sizeof name, "j%03d", i);
        names.emplace_back(name);
    }
    return names;
}

// A control interface with 100 joints, a third of each command interface, and a subscriber of
// its state, as a ROS 2 node would have.
class BridgeAllocationsOfHundredJoints : public ::testing::Test {
  protected:
    BridgeAllocationsOfHundredJoints()
        : m_commandTopic(qorTest::uniqueTopic(currentTestName() + "/command")),
          m_stateTopic(qorTest::uniqueTopic(currentTestName() + "/state")),
          m_control(new ControlInterfaceProbe(m_commandTopic, m_stateTopic, false,
                                              qorTest::kControlTestDomain)),
          m_states(m_stateTopic, qorROS2::createSensorDataQOS(), qorTest::kControlTestDomain) {
        const std::vector<std::string> names = hundredJointNames();
        for (std::size_t i = 0; i < names.size(); ++i) {
            qor::ref_ptr<qor::Constraint1DOF> joint =
                qorTest::plainJoint(names[i], 0.01 * static_cast<double>(i));
            const auto type = static_cast<ROS2ControlInterface::ROS2ControlCommandInterface>(i % 3);
            EXPECT_TRUE(m_control->addJoint(joint.get(), type));
            (i % 3 == 0   ? m_positionJoints
             : i % 3 == 2 ? m_effortJoints
                          : m_velocityJoints)
                .push_back(names[i]);
        }
    }

    static std::string currentTestName() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    bool matched() const {
        return qorTest::waitFor([this] {
            return m_control->stateSubscriptions() > 0 && m_states.matchedPublications() > 0;
        });
    }

    // One step as a simulation makes it: pre at the start time, post at the end time.
    void step() {
        const double time = kTimeStep * m_steps++;
        m_control->pre(time);
        m_control->post(time + kTimeStep);
    }

    std::string m_commandTopic;
    std::string m_stateTopic;
    qor::ref_ptr<ControlInterfaceProbe> m_control;
    Subscriber<JointState> m_states;
    std::vector<std::string> m_positionJoints;
    std::vector<std::string> m_velocityJoints;
    std::vector<std::string> m_effortJoints;
    int m_steps = 0;
};

TEST(BridgeAllocations, ClockPublisherPreAllocatesNothingBeyondItsSend) {
    Subscriber<Clock> listener("clock", qorROS2::createClockQOS(), kClockDomain);
    const qor::ref_ptr<ClockPublisherProbe> clock = new ClockPublisherProbe(kClockDomain);
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return clock->clockSubscriptions() > 0 && listener.matchedPublications() > 0; }));
    int steps = 0;
    for (; steps < kWarmUpSteps; ++steps) {
        clock->pre(kTimeStep * steps);
    }

    const std::uint64_t sends = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            clock->sendClock();
        }
    });
    const std::uint64_t pres = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            clock->pre(kTimeStep * steps++);
        }
    });

    report("clock pre", sends, pres);
    RecordProperty("allocations_per_clock_send", std::to_string(sends / kStepsPerRound));
    EXPECT_EQ(pres, sends) << "pre allocates beyond its send";
    Clock last{};
    EXPECT_TRUE(qorTest::receiveWithin(listener, last));
}

TEST_F(BridgeAllocationsOfHundredJoints, StateOfAStepAllocatesNothing) {
    for (int i = 0; i < kWarmUpSteps; ++i) {
        m_control->populateJointStateMessage(kTimeStep * i);
    }

    const std::uint64_t allocations = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            m_control->populateJointStateMessage(kTimeStep * i);
        }
    });

    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(m_control->jointStateMessage().name.size(), 100U);
}

TEST(BridgeAllocations, StateOfAStepWithLongJointNamesAllocatesNothing) {
    const std::string name = qorTest::uniqueTopic("long_names");
    const qor::ref_ptr<ControlInterfaceProbe> control = new ControlInterfaceProbe(
        name + "/command", name + "/state", false, qorTest::kControlTestDomain);
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        names.push_back("left_arm_shoulder_pitch_joint_" + std::to_string(i));
        qor::ref_ptr<qor::Constraint1DOF> joint = qorTest::plainJoint(names.back(), 0.0);
        ASSERT_TRUE(control->addJoint(joint.get(), ROS2ControlInterface::POSITION));
    }
    control->populateJointStateMessage(0.0);

    const std::uint64_t allocations = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            control->populateJointStateMessage(kTimeStep * i);
        }
    });

    EXPECT_EQ(allocations, 0U);
    // Still refilled from the joints at every step, in the joints' order.
    std::vector<std::string> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(control->jointStateMessage().name, sorted);
}

TEST_F(BridgeAllocationsOfHundredJoints, ApplyingCommandsToEveryJointAllocatesNothing) {
    JointState positions =
        qorTest::command(m_positionJoints, std::vector<double>(m_positionJoints.size(), 0.5));
    JointState velocities =
        qorTest::command(m_velocityJoints, {}, std::vector<double>(m_velocityJoints.size(), 1.0));
    JointState efforts =
        qorTest::command(m_effortJoints, {}, {}, std::vector<double>(m_effortJoints.size(), 1.5));
    // The first state message grows its arrays to 100 elements; from then on nothing grows.
    m_control->populateJointStateMessage(0.0);

    const std::uint64_t allocations = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            m_control->setCommandOnJoints(positions);
            m_control->setCommandOnJoints(velocities);
            m_control->setCommandOnJoints(efforts);
            m_control->populateJointStateMessage(kTimeStep * i);
        }
    });

    EXPECT_EQ(allocations, 0U);
}

TEST_F(BridgeAllocationsOfHundredJoints, PreAndPostAllocateNothingBeyondTheSend) {
    ASSERT_TRUE(matched());
    for (int i = 0; i < kWarmUpSteps; ++i) {
        step();
    }

    const std::uint64_t sends = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            m_control->sendJointState();
        }
    });
    const std::uint64_t steps = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            step();
        }
    });

    report("100 joints, pre + post", sends, steps);
    RecordProperty("allocations_per_state_send", std::to_string(sends / kStepsPerRound));
    EXPECT_EQ(steps, sends) << "pre + post allocate beyond their send";
    JointState last{};
    ASSERT_TRUE(qorTest::receiveWithin(m_states, last));
    EXPECT_EQ(last.name.size(), 100U);
}

TEST_F(BridgeAllocationsOfHundredJoints, StepsThatTakeACommandAllocateNothingBeyondTheSend) {
    Publisher<JointState> commands(m_commandTopic, QOS{}, qorTest::kControlTestDomain);
    ASSERT_TRUE(matched());
    ASSERT_TRUE(qorTest::waitFor([&] {
        return commands.matchedSubscriptions() > 0 && m_control->commandPublications() > 0;
    }));
    JointState positions =
        qorTest::command(m_positionJoints, std::vector<double>(m_positionJoints.size(), 0.0));
    // Each command carries a number of its own, so that the step that took it is known. Only
    // the steps are counted, not the sending of the commands.
    double commandNumber = 0.0;
    std::vector<std::uint64_t> stepRounds;
    std::vector<int> stepsPerRound;
    const auto commandedSteps = [&](int count) {
        std::uint64_t allocations = 0;
        int steps = 0;
        for (int i = 0; i < count; ++i) {
            positions.position[0] = ++commandNumber;
            commands.sendMessage(positions);
            const bool taken = qorTest::waitFor([&] {
                allocations += allocationsOf([&] { step(); });
                ++steps;
                return m_control->commandMessage().position[0] == commandNumber;
            });
            if (!taken) {
                return false;
            }
        }
        stepRounds.push_back(allocations);
        stepsPerRound.push_back(steps);
        return true;
    };
    ASSERT_TRUE(commandedSteps(kWarmUpSteps));
    stepRounds.clear();
    stepsPerRound.clear();
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(commandedSteps(kStepsPerRound)) << "a command never reached the interface";
    }
    const std::uint64_t steps = *std::min_element(stepRounds.begin(), stepRounds.end());
    const std::uint64_t sends = fewestAllocationsOf([&](int round) {
        for (int i = 0; i < stepsPerRound[static_cast<std::size_t>(round)]; ++i) {
            m_control->sendJointState();
        }
    });

    report("100 joints, pre taking a command + post", sends, steps);
    EXPECT_EQ(steps, sends) << "taking and applying a command allocates";
}

// A free body, for the listeners that read bodies.
constexpr const char* kFreeBodyScene = R"(
<mujoco model="free_body">
  <worldbody>
    <body name="ball" pos="0 0 1"><freejoint/><geom type="sphere" size="0.1" mass="1"/></body>
  </worldbody>
</mujoco>)";

// Domains of the entity tests: topics and services of their own names there.
constexpr std::int8_t kEntityDomain = 51;
constexpr std::int8_t kOdometryDomain = 52;

TEST(BridgeAllocations, OdometryOfAStepAllocatesNothing) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kFreeBodyScene);
    const qor::ref_ptr<qorROS2::ROS2OdometryPublisher> odometry =
        new qorROS2::ROS2OdometryPublisher(*simulation, "ball", qorTest::uniqueTopic("odometry"),
                                           "world", "a_child_frame_longer_than_short_strings",
                                           kOdometryDomain);
    for (int i = 0; i < kWarmUpSteps; ++i) {
        odometry->odometry(kTimeStep * i);
    }
    const std::uint64_t allocations = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            odometry->odometry(kTimeStep * i);
        }
    });
    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(odometry->odometry(1.0).header.stamp.sec, 1);
}

TEST(BridgeAllocations, EntityServerPreWithoutRequestsAllocatesNothing) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kFreeBodyScene);
    const qor::ref_ptr<qorROS2::ROS2EntityStateServer> server = new qorROS2::ROS2EntityStateServer(
        *simulation, {{"ball", "ball", qorROS2::ROS2EntityStateServer::CATEGORY_OBJECT, "", {}}},
        kEntityDomain, qorTest::uniqueTopic("entities"));
    for (int i = 0; i < kWarmUpSteps; ++i) {
        server->pre(kTimeStep * i);
    }
    const std::uint64_t allocations = fewestAllocationsOf([&](int) {
        for (int i = 0; i < kStepsPerRound; ++i) {
            server->pre(kTimeStep * i);
        }
    });
    EXPECT_EQ(allocations, 0U);
}

}  // namespace
