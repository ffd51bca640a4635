// The transform publisher's step allocates nothing of its own once warm: what is left of a
// post() are the allocations of its send, counted apart by sending a message of the same size.
// This executable replaces the global operator new and delete (AllocationCounter.cpp), and
// remaps /tf and /tf_static, which also shows that their names resolve as every topic's do.
// Only the calling thread's allocations count: the middleware's threads allocate on their own.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "ArmFrames.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/ROS2TransformPublisher.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"

namespace {

using qorROS2::QOS;
using qorROS2::tf2Msgs::TFMessage;

// The arm's chain test listens to /tf on this domain too; the remap keeps the two apart.
constexpr std::int8_t kDomain = 88;
constexpr int kWarmUpSteps = 200;
constexpr int kStepsPerRound = 500;
constexpr double kTimeStep = 0.002;

// The allocations that `work` makes on the calling thread.
template <typename Work>
std::uint64_t allocationsOf(Work work) {
    const std::uint64_t before = qorTest::threadAllocations();
    work();
    return qorTest::threadAllocations() - before;
}

TEST(ArmTransformsAllocations, PostAllocatesNothingBeyondItsSendAndTfIsRemapped) {
    std::vector<std::string> arguments{"--ros-args", "-r", "/tf:=/tf_allocations", "-r",
                                       "/tf_static:=/tf_static_allocations"};
    qorROS2::applyRosArguments(arguments);
    const QOS qos = qorROS2::ROS2TransformPublisher::kTfQos;
    const qorROS2::Subscriber<TFMessage> remapped("/tf_allocations", qos, kDomain);
    const qorROS2::Subscriber<TFMessage> probed("/tf_allocations_probe", qos, kDomain);
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromFile(QOR_DEMO_SCENE);
    const qor::ref_ptr<qorROS2::ROS2TransformPublisher> tf =
        new qorROS2::ROS2TransformPublisher(*simulation, kDomain);
    qorDemo::addArmFrames(*tf);
    qorROS2::Publisher<TFMessage> probe("/tf_allocations_probe", qos, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return remapped.matchedPublications() > 0 && probed.matchedPublications() > 0 &&
               probe.matchedSubscriptions() > 0;
    })) << "/tf remapped to /tf_allocations did not match";

    int steps = 0;
    for (; steps < kWarmUpSteps; ++steps) {
        tf->post(kTimeStep * steps);
    }
    TFMessage sample{};
    ASSERT_TRUE(qorTest::receiveWithin(remapped, sample)) << "nothing on /tf_allocations";
    ASSERT_EQ(sample.transforms.size(), 6U);
    for (int i = 0; i < kWarmUpSteps; ++i) {
        probe.sendMessage(sample);
    }

    const std::uint64_t sends = allocationsOf([&] {
        for (int i = 0; i < kStepsPerRound; ++i) {
            probe.sendMessage(sample);
        }
    });
    const std::uint64_t posts = allocationsOf([&] {
        for (int i = 0; i < kStepsPerRound; ++i) {
            tf->post(kTimeStep * steps++);
        }
    });
    std::printf("transform post: allocations in %d sends %llu, in %d posts %llu\n", kStepsPerRound,
                static_cast<unsigned long long>(sends), kStepsPerRound,
                static_cast<unsigned long long>(posts));
    EXPECT_EQ(posts, sends) << "post allocates beyond its send";
}

}  // namespace
