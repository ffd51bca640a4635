// The participant QoS that ROS 2's networking settings make.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <fastdds/rtps/attributes/ServerAttributes.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

#include "participant/NetworkSettings.h"
#include "participant/ParticipantQos.h"

namespace {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;
using qorROS2::DiscoveryRange;
using qorROS2::transport::participant::applyNetworkSettings;
using qorROS2::transport::participant::NetworkSettings;

dds::DomainParticipantQos applied(const NetworkSettings& settings) {
    dds::DomainParticipantQos qos;
    applyNetworkSettings(settings, qos);
    return qos;
}

bool hasInitialPeer(const dds::DomainParticipantQos& qos, const std::string& address) {
    for (const rtps::Locator_t& peer : qos.wire_protocol().builtin.initialPeersList) {
        if (rtps::IPLocator::toIPv4string(peer) == address) {
            return true;
        }
    }
    return false;
}

TEST(ParticipantQos, DefaultAnnouncementPeriodIsShortened) {
    dds::DomainParticipantQos qos;
    ASSERT_EQ(qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod,
              eprosima::fastrtps::Duration_t(3, 0));
    qorROS2::transport::participant::shortenAnnouncementPeriod(qos);
    EXPECT_EQ(qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod,
              eprosima::fastrtps::Duration_t(0, 250'000'000));
}

TEST(ParticipantQos, AnnouncementPeriodThatAProfileChoseIsKept) {
    dds::DomainParticipantQos qos;
    qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod =
        eprosima::fastrtps::Duration_t(5, 0);
    qorROS2::transport::participant::shortenAnnouncementPeriod(qos);
    EXPECT_EQ(qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod,
              eprosima::fastrtps::Duration_t(5, 0));
}

TEST(ParticipantQos, SubnetKeepsMulticastDiscoveryAndAddsThePeers) {
    NetworkSettings settings;
    settings.staticPeers = {"10.213.7.2"};
    const dds::DomainParticipantQos qos = applied(settings);
    EXPECT_EQ(qos.wire_protocol().builtin.discovery_config.discoveryProtocol,
              rtps::DiscoveryProtocol_t::SIMPLE);
    EXPECT_TRUE(hasInitialPeer(qos, "10.213.7.2"));
    EXPECT_EQ(qos.wire_protocol().builtin.initialPeersList.size(), 1U);
}

// The UDP transport of `qos` when shared memory and UDP replace the builtin transports, as for
// LOCALHOST; nullptr otherwise.
const eprosima::fastdds::rtps::UDPv4TransportDescriptor* hostUdpOf(
    const dds::DomainParticipantQos& qos) {
    const auto& transports = qos.transport().user_transports;
    if (qos.transport().use_builtin_transports || transports.size() != 2U ||
        std::none_of(transports.begin(), transports.end(), [](const auto& transport) {
            return dynamic_cast<const eprosima::fastdds::rtps::SharedMemTransportDescriptor*>(
                       transport.get()) != nullptr;
        })) {
        return nullptr;
    }
    for (const auto& transport : transports) {
        if (const auto* udp =
                dynamic_cast<const eprosima::fastdds::rtps::UDPv4TransportDescriptor*>(
                    transport.get())) {
            return udp;
        }
    }
    return nullptr;
}

// The shared-memory transport of `qos`; nullptr when it has none of its own.
const eprosima::fastdds::rtps::SharedMemTransportDescriptor* sharedMemoryOf(
    const dds::DomainParticipantQos& qos) {
    for (const auto& transport : qos.transport().user_transports) {
        if (const auto* shm =
                dynamic_cast<const eprosima::fastdds::rtps::SharedMemTransportDescriptor*>(
                    transport.get())) {
            return shm;
        }
    }
    return nullptr;
}

TEST(ParticipantQos, SubnetHasTheBuiltinTransportsWithASegmentForTwoFullHdImages) {
    const dds::DomainParticipantQos qos = applied(NetworkSettings{});
    const auto& transports = qos.transport().user_transports;
    EXPECT_FALSE(qos.transport().use_builtin_transports);
    ASSERT_EQ(transports.size(), 2U);
    const auto* udp =
        dynamic_cast<const eprosima::fastdds::rtps::UDPv4TransportDescriptor*>(transports[0].get());
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->maxInitialPeersRange, 4U);
    EXPECT_TRUE(udp->interfaceWhiteList.empty());
    const auto* shm = sharedMemoryOf(qos);
    ASSERT_NE(shm, nullptr);
    EXPECT_EQ(shm->segment_size(), 16U * 1024U * 1024U);
    EXPECT_GE(shm->segment_size(), 2U * 1920U * 1080U * 3U);
    EXPECT_EQ(shm->max_message_size(), udp->max_message_size());
}

TEST(ParticipantQos, UdpAsksForReceiveBuffersThatHoldAFullHdImage) {
    const dds::DomainParticipantQos qos = applied(NetworkSettings{});
    const auto* udp = dynamic_cast<const eprosima::fastdds::rtps::UDPv4TransportDescriptor*>(
        qos.transport().user_transports.at(0).get());
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->receiveBufferSize, 8U * 1024U * 1024U);
    EXPECT_GE(udp->receiveBufferSize, 1920U * 1080U * 3U);
    // Sending is left to the system's default.
    EXPECT_EQ(udp->sendBufferSize, 0U);
}

TEST(ParticipantQos, LocalhostUdpAsksForTheSameReceiveBuffers) {
    NetworkSettings settings;
    settings.range = DiscoveryRange::LOCALHOST;
    const dds::DomainParticipantQos qos = applied(settings);
    const auto* udp = hostUdpOf(qos);
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->receiveBufferSize, 8U * 1024U * 1024U);
}

TEST(ParticipantQos, ReceiveBufferOfAProfileIsKept) {
    dds::DomainParticipantQos qos;
    qos.transport().listen_socket_buffer_size = 1024U * 1024U;
    applyNetworkSettings(NetworkSettings{}, qos);
    const auto* udp = dynamic_cast<const eprosima::fastdds::rtps::UDPv4TransportDescriptor*>(
        qos.transport().user_transports.at(0).get());
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->receiveBufferSize, 1024U * 1024U);
}

TEST(ParticipantQos, LocalhostSharedMemoryHasTheSameSegment) {
    NetworkSettings settings;
    settings.range = DiscoveryRange::LOCALHOST;
    // Kept: the descriptor lives only as long as the settings that hold it.
    const dds::DomainParticipantQos qos = applied(settings);
    const auto* shm = sharedMemoryOf(qos);
    ASSERT_NE(shm, nullptr);
    EXPECT_EQ(shm->segment_size(), 16U * 1024U * 1024U);
}

TEST(ParticipantQos, SocketBuffersOfAProfileCanMakeTheSegmentLarger) {
    dds::DomainParticipantQos qos;
    qos.transport().listen_socket_buffer_size = 12U * 1024U * 1024U;
    applyNetworkSettings(NetworkSettings{}, qos);
    const auto* shm = sharedMemoryOf(qos);
    ASSERT_NE(shm, nullptr);
    EXPECT_EQ(shm->segment_size(), 24U * 1024U * 1024U);
}

TEST(ParticipantQos, TransportsOfAProfileWithoutTheBuiltinOnesAreKept) {
    dds::DomainParticipantQos qos;
    qos.transport().use_builtin_transports = false;
    qos.transport().user_transports.push_back(
        std::make_shared<eprosima::fastdds::rtps::UDPv4TransportDescriptor>());
    applyNetworkSettings(NetworkSettings{}, qos);
    EXPECT_EQ(qos.transport().user_transports.size(), 1U);
    EXPECT_EQ(sharedMemoryOf(qos), nullptr);
}

TEST(ParticipantQos, LocalhostListensToNoMulticastAndAnnouncesToThisMachine) {
    NetworkSettings settings;
    settings.range = DiscoveryRange::LOCALHOST;
    const dds::DomainParticipantQos qos = applied(settings);
    EXPECT_TRUE(qos.wire_protocol().builtin.metatrafficMulticastLocatorList.empty());
    EXPECT_EQ(qos.wire_protocol().builtin.metatrafficUnicastLocatorList.size(), 1U);
    EXPECT_TRUE(hasInitialPeer(qos, "127.0.0.1"));
}

TEST(ParticipantQos, LocalhostLooksForThirtyTwoParticipantsAtEachPeer) {
    // rmw_fastrtps's number: with Fast DDS's 4, the fifth participant of a host and those after
    // it never find each other.
    NetworkSettings settings;
    settings.range = DiscoveryRange::LOCALHOST;
    settings.staticPeers = {"10.213.7.2"};
    const dds::DomainParticipantQos qos = applied(settings);
    const auto* udp = hostUdpOf(qos);
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->maxInitialPeersRange, 32U);
    EXPECT_TRUE(udp->interfaceWhiteList.empty());
    EXPECT_TRUE(hasInitialPeer(qos, "10.213.7.2"));
}

TEST(ParticipantQos, LocalhostOnlyBindsUdpToLoopback) {
    NetworkSettings settings;
    settings.localhostOnly = true;
    settings.range = DiscoveryRange::LOCALHOST;
    const dds::DomainParticipantQos qos = applied(settings);
    const auto* udp = hostUdpOf(qos);
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->interfaceWhiteList, (std::vector<std::string>{"127.0.0.1"}));
    EXPECT_EQ(udp->maxInitialPeersRange, 32U);
}

TEST(ParticipantQos, OffKeepsDiscoveryInsideTheProcessEvenWithAServer) {
    NetworkSettings settings;
    settings.range = DiscoveryRange::OFF;
    settings.discoveryServers = "127.0.0.1";
    const dds::DomainParticipantQos qos = applied(settings);
    const auto& builtin = qos.wire_protocol().builtin;
    // Discovery runs, so that the endpoints of the process match; its own participant is the
    // only one it has room for, and it listens to and announces on no multicast address.
    EXPECT_EQ(builtin.discovery_config.discoveryProtocol, rtps::DiscoveryProtocol_t::SIMPLE);
    EXPECT_TRUE(builtin.discovery_config.m_DiscoveryServers.empty());
    EXPECT_EQ(qos.allocation().participants.maximum, 1U);
    EXPECT_EQ(qos.allocation().participants.initial, 1U);
    EXPECT_EQ(qos.allocation().participants.increment, 0U);
    EXPECT_TRUE(builtin.metatrafficMulticastLocatorList.empty());
    EXPECT_TRUE(builtin.initialPeersList.empty());
}

TEST(ParticipantQos, DiscoveryServersAreClientServersByPosition) {
    NetworkSettings settings;
    settings.discoveryServers = "127.0.0.1:11811;;10.0.0.3:11888";
    const dds::DomainParticipantQos qos = applied(settings);
    const auto& discovery = qos.wire_protocol().builtin.discovery_config;
    EXPECT_EQ(discovery.discoveryProtocol, rtps::DiscoveryProtocol_t::CLIENT);
    ASSERT_EQ(discovery.m_DiscoveryServers.size(), 2U);
    // The empty position is server id 1: the two given are ids 0 and 2.
    rtps::GuidPrefix_t id0;
    rtps::GuidPrefix_t id2;
    ASSERT_TRUE(eprosima::fastdds::rtps::get_server_client_default_guidPrefix(0, id0));
    ASSERT_TRUE(eprosima::fastdds::rtps::get_server_client_default_guidPrefix(2, id2));
    bool found0 = false;
    bool found2 = false;
    for (const auto& server : discovery.m_DiscoveryServers) {
        found0 = found0 || server.guidPrefix == id0;
        found2 = found2 || server.guidPrefix == id2;
    }
    EXPECT_TRUE(found0);
    EXPECT_TRUE(found2);
}

TEST(ParticipantQos, SuperClientSeesTheWholeGraphThroughTheServer) {
    NetworkSettings settings;
    settings.discoveryServers = "127.0.0.1";
    settings.superClient = true;
    EXPECT_EQ(applied(settings).wire_protocol().builtin.discovery_config.discoveryProtocol,
              rtps::DiscoveryProtocol_t::SUPER_CLIENT);
}

}  // namespace
