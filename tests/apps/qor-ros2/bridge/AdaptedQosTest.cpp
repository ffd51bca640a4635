// The QoS the web bridge subscribes with: what every publisher of the topic can serve.

#include <gtest/gtest.h>

#include <vector>

#include "bridge/WebBridge.h"

namespace {

using qorROS2::DiscoveredEndpoint;
using qorROS2::DiscoveredQos;
using qorROS2::QOS;

DiscoveredEndpoint publisher(std::uint32_t reliability, std::uint32_t durability,
                             std::uint32_t depth) {
    DiscoveredEndpoint endpoint;
    endpoint.topic = "/joint_states";
    endpoint.publisher = true;
    endpoint.qos.reliability = reliability;
    endpoint.qos.durability = durability;
    endpoint.qos.depth = depth;
    return endpoint;
}

void expectQos(const QOS& qos, std::uint32_t reliability, std::uint32_t durability,
               std::uint32_t depth) {
    EXPECT_EQ(qos.reliability, reliability);
    EXPECT_EQ(qos.durability, durability);
    EXPECT_EQ(qos.history, QOS::KEEP_LAST);
    EXPECT_EQ(qos.depth, depth);
}

TEST(WebBridgeQos, ReliableAndTransientLocalWhenEveryPublisherOffersThem) {
    expectQos(qorCli::adaptedQos({publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL, 1),
                                  publisher(QOS::RELIABLE, DiscoveredQos::TRANSIENT, 3)}),
              QOS::RELIABLE, QOS::TRANSIENT_LOCAL, 4);
}

TEST(WebBridgeQos, OneBestEffortOrVolatilePublisherDecidesForAll) {
    expectQos(qorCli::adaptedQos({publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL, 5),
                                  publisher(QOS::BEST_EFFORT, QOS::TRANSIENT_LOCAL, 5)}),
              QOS::BEST_EFFORT, QOS::TRANSIENT_LOCAL, 10);
    expectQos(qorCli::adaptedQos({publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL, 5),
                                  publisher(QOS::RELIABLE, QOS::VOLATILE, 5)}),
              QOS::RELIABLE, QOS::VOLATILE, 10);
}

TEST(WebBridgeQos, DepthStaysBetweenOneAndTwentyFive) {
    expectQos(qorCli::adaptedQos({publisher(QOS::RELIABLE, QOS::VOLATILE, 0)}), QOS::RELIABLE,
              QOS::VOLATILE, 1);
    expectQos(qorCli::adaptedQos({publisher(QOS::RELIABLE, QOS::VOLATILE, 20),
                                  publisher(QOS::RELIABLE, QOS::VOLATILE, 20)}),
              QOS::RELIABLE, QOS::VOLATILE, 25);
}

TEST(WebBridgeQos, WithoutPublishersWhatMatchesAnyLaterOne) {
    expectQos(qorCli::adaptedQos({}), QOS::BEST_EFFORT, QOS::VOLATILE, 1);
}

}  // namespace
