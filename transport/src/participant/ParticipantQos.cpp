#include "participant/ParticipantQos.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <fastdds/rtps/attributes/ServerAttributes.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

#include "participant/EnclaveFiles.h"
#include "participant/NetworkSettings.h"

namespace qorROS2::transport::participant {
namespace {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

// How many participants an announcement to a peer without a port reaches on that host (about
// the number of ROS 2 processes there): rmw_fastrtps's 32 for LOCALHOST. Fast DDS's default of 4
// leaves the fifth participant of a host and those after it unable to find each other, since each
// announces to the first four only.
constexpr std::uint32_t kHostPeersRange = 32;

// Shared memory whose segment holds kSharedMemorySegmentBytes, or what Fast DDS would give it
// from the socket buffer sizes a profile chose (twice the larger), if that is more.
std::shared_ptr<eprosima::fastdds::rtps::SharedMemTransportDescriptor> sizedSharedMemory(
    const dds::DomainParticipantQos& qos) {
    auto shm = std::make_shared<eprosima::fastdds::rtps::SharedMemTransportDescriptor>();
    const std::uint32_t fromSockets = 2 * std::max(qos.transport().send_socket_buffer_size,
                                                   qos.transport().listen_socket_buffer_size);
    shm->segment_size(std::max(kSharedMemorySegmentBytes, fromSockets));
    return shm;
}

// The receive buffer a profile chose for the participant's sockets, or kUdpReceiveBufferBytes.
std::uint32_t receiveBufferSize(const dds::DomainParticipantQos& qos) {
    const std::uint32_t chosen = qos.transport().listen_socket_buffer_size;
    return chosen != 0 ? chosen : kUdpReceiveBufferBytes;
}

// Fast DDS's builtin transports as it makes them (UDPv4 with the participant's socket buffer
// sizes, then shared memory with messages as large as UDP's), but with a sized segment, ahead of
// any transport a profile added. A profile that turned the builtin ones off keeps its own.
void useSizedBuiltinTransports(dds::DomainParticipantQos& qos) {
    auto& transport = qos.transport();
    if (!transport.use_builtin_transports) {
        return;
    }
    transport.use_builtin_transports = false;
    auto udp = std::make_shared<eprosima::fastdds::rtps::UDPv4TransportDescriptor>();
    udp->sendBufferSize = transport.send_socket_buffer_size;
    udp->receiveBufferSize = receiveBufferSize(qos);
    auto shm = sizedSharedMemory(qos);
    shm->max_message_size(udp->max_message_size());
    transport.user_transports.insert(transport.user_transports.begin(), {udp, shm});
}

// Shared memory and a UDP transport that looks for kHostPeersRange participants at each peer, as
// rmw_fastrtps sets them up for LOCALHOST; ROS_LOCALHOST_ONLY=1 also binds UDP to 127.0.0.1, as
// Humble's rmw_fastrtps did.
void useHostTransports(const NetworkSettings& settings, dds::DomainParticipantQos& qos) {
    qos.transport().use_builtin_transports = false;
    qos.transport().user_transports.push_back(sizedSharedMemory(qos));
    auto udp = std::make_shared<eprosima::fastdds::rtps::UDPv4TransportDescriptor>();
    udp->receiveBufferSize = receiveBufferSize(qos);
    udp->maxInitialPeersRange = kHostPeersRange;
    if (settings.localhostOnly) {
        udp->interfaceWhiteList.emplace_back("127.0.0.1");
    }
    qos.transport().user_transports.push_back(udp);
}

// No multicast listener, so multicast announcements are never heard; an unset unicast locator
// keeps Fast DDS from adding its default multicast one back. With no multicast locator, Fast DDS
// announces only to the initial peers.
void listenToNoMulticast(dds::DomainParticipantQos& qos) {
    auto& builtin = qos.wire_protocol().builtin;
    builtin.metatrafficMulticastLocatorList.clear();
    builtin.metatrafficUnicastLocatorList.push_back(rtps::Locator_t());
}

void addInitialPeer(dds::DomainParticipantQos& qos, const std::string& address) {
    // Without a port Fast DDS tries every participant port of the domain on that host, up to the
    // transport's maxInitialPeersRange.
    rtps::Locator_t peer;
    rtps::IPLocator::setIPv4(peer, address);
    qos.wire_protocol().builtin.initialPeersList.push_back(peer);
}

void applyRange(const NetworkSettings& settings, dds::DomainParticipantQos& qos) {
    switch (settings.range) {
        case DiscoveryRange::OFF: {
            // Discovery stays on, so that the endpoints of this process match each other, but
            // there is room for no participant besides its own, and it announces to nobody.
            auto& participants = qos.allocation().participants;
            participants.initial = 1;
            participants.maximum = 1;
            participants.increment = 0;
            listenToNoMulticast(qos);
            return;
        }
        case DiscoveryRange::LOCALHOST:
            listenToNoMulticast(qos);
            break;
        case DiscoveryRange::SUBNET:
            break;
        case DiscoveryRange::SYSTEM_DEFAULT:
            return;
    }
    for (const std::string& peer : settings.staticPeers) {
        addInitialPeer(qos, peer);
    }
    if (settings.range == DiscoveryRange::LOCALHOST) {
        addInitialPeer(qos, "127.0.0.1");
    }
}

void applyDiscoveryServers(const NetworkSettings& settings, dds::DomainParticipantQos& qos) {
    auto& discovery = qos.wire_protocol().builtin.discovery_config;
    if (settings.discoveryServers.empty() || settings.range == DiscoveryRange::OFF) {
        return;
    }
    eprosima::fastdds::rtps::RemoteServerList_t servers;
    eprosima::fastdds::rtps::load_environment_server_info(settings.discoveryServers, servers);
    discovery.discoveryProtocol = settings.superClient ? rtps::DiscoveryProtocol_t::SUPER_CLIENT
                                                       : rtps::DiscoveryProtocol_t::CLIENT;
    discovery.m_DiscoveryServers = servers;
}

// Loads the XML profiles file once per process; a file that does not load is an error each time.
void loadProfilesFile(dds::DomainParticipantFactory& factory, const std::string& file) {
    static std::once_flag loaded;
    static std::string error;
    std::call_once(loaded, [&factory, &file] {
        // The default profiles are read first, so that the named file's default participant
        // profile is the one the factory's default QoS is then reset from.
        factory.load_profiles();
        if (factory.load_XML_profiles_file(file) == ReturnCode_t::RETCODE_OK) {
            factory.set_default_participant_qos(dds::PARTICIPANT_QOS_DEFAULT);
        } else {
            error = "the Fast DDS XML profiles file \"" + file +
                    "\" cannot be loaded: it is missing, unreadable or not a valid profiles "
                    "document";
        }
    });
    if (!error.empty()) {
        throw std::invalid_argument(error);
    }
}

// The builtin authentication, access control and cryptography plugins, configured from the
// enclave's files exactly as the ROS 2 middleware does.
void applySecurity(const SecuritySettings& security, dds::DomainParticipantQos& qos) {
    if (security.directory.empty()) {
        return;
    }
    const std::string folder = "file://" + security.directory + "/";
    auto& properties = qos.properties().properties();
    properties.emplace_back("dds.sec.auth.plugin", "builtin.PKI-DH");
    properties.emplace_back("dds.sec.auth.builtin.PKI-DH.identity_ca",
                            folder + "identity_ca.cert.pem");
    properties.emplace_back("dds.sec.auth.builtin.PKI-DH.identity_certificate",
                            folder + "cert.pem");
    properties.emplace_back("dds.sec.auth.builtin.PKI-DH.private_key", folder + "key.pem");
    properties.emplace_back("dds.sec.crypto.plugin", "builtin.AES-GCM-GMAC");
    properties.emplace_back("dds.sec.access.plugin", "builtin.Access-Permissions");
    properties.emplace_back("dds.sec.access.builtin.Access-Permissions.permissions_ca",
                            folder + "permissions_ca.cert.pem");
    properties.emplace_back("dds.sec.access.builtin.Access-Permissions.governance",
                            folder + "governance.p7s");
    properties.emplace_back("dds.sec.access.builtin.Access-Permissions.permissions",
                            folder + "permissions.p7s");
    if (security.hasCrl) {
        properties.emplace_back("dds.sec.auth.builtin.PKI-DH.identity_crl", folder + "crl.pem");
    }
}

// Checks the enclave's files once per process: a changed or foreign file is named here, where
// Fast DDS would only refuse the participant.
void checkEnclaveFiles(const std::string& directory) {
    static std::once_flag checked;
    static std::string problem;
    std::call_once(checked, [&directory] { problem = enclaveFilesProblem(directory); });
    if (!problem.empty()) {
        throw std::invalid_argument(problem);
    }
}

}  // namespace

void applyNetworkSettings(const NetworkSettings& settings, dds::DomainParticipantQos& qos) {
    if (settings.localhostOnly || settings.range == DiscoveryRange::LOCALHOST) {
        useHostTransports(settings, qos);
    } else {
        useSizedBuiltinTransports(qos);
    }
    applyRange(settings, qos);
    applyDiscoveryServers(settings, qos);
    applySecurity(settings.security, qos);
}

void shortenAnnouncementPeriod(dds::DomainParticipantQos& qos) {
    auto& period = qos.wire_protocol().builtin.discovery_config.leaseDuration_announcementperiod;
    if (period == eprosima::fastrtps::Duration_t(3, 0)) {
        period = eprosima::fastrtps::Duration_t(
            0, static_cast<std::uint32_t>(kAnnouncementPeriodNanoseconds));
    }
}

dds::DomainParticipantQos rosParticipantQos(dds::DomainParticipantFactory& factory) {
    const NetworkSettings& settings = processNetworkSettings();
    if (!settings.profilesFile.empty()) {
        loadProfilesFile(factory, settings.profilesFile);
    }
    if (!settings.security.directory.empty()) {
        checkEnclaveFiles(settings.security.directory);
    }
    dds::DomainParticipantQos qos = factory.get_default_participant_qos();
    applyNetworkSettings(settings, qos);
    shortenAnnouncementPeriod(qos);
    // ROS 2 tells the enclave of a participant in its user data: the process's own, which
    // ROS_SECURITY_ENCLAVE_OVERRIDE does not change, as in rcl.
    const std::string userData = "enclave=" + settings.enclave + ";";
    qos.user_data().data_vec(
        std::vector<eprosima::fastrtps::rtps::octet>(userData.begin(), userData.end()));
    return qos;
}

}  // namespace qorROS2::transport::participant
