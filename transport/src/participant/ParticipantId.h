#pragma once

// The participant id a new participant of this process takes. Fast DDS 2.9 gives each process's
// participants ids from 0 up, so a new process takes the ports of one that just ended. When that
// one was killed while it handled a sample, the next process to open its shared-memory port finds
// the port's lock file unlocked, removes the port's segment and makes a new one, while a writer
// elsewhere that still has the old segment mapped never notices and goes on sending there: the
// new reader matches it and receives nothing. The id chosen here avoids such ports.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace eprosima::fastdds::dds {
class DomainParticipant;
class DomainParticipantFactory;
class DomainParticipantListener;
class DomainParticipantQos;
class StatusMask;
}  // namespace eprosima::fastdds::dds

namespace eprosima::fastrtps::rtps {
class PortParameters;
}

namespace qorROS2::transport::participant {

/// How the processes of this host use Fast DDS's shared-memory ports, by port number.
struct SharedMemoryPortUse {
    std::set<std::uint32_t> exclusive;      ///< have a reader's lock file: a live reader holds the
                                            ///< port, or one was killed holding it
    std::set<std::uint32_t> mapped;         ///< some process has the port's segment mapped
    std::set<std::uint32_t> mappedRemoved;  ///< some process still has a segment of the port
                                            ///< mapped that was removed since
    std::set<std::string> mappedSegments;   ///< names of the data segments and shared
                                            ///< histories some process maps
};

/// Reads the shared-memory ports of this host from /dev/shm and from the memory maps of the
/// processes that can be read (those of other users are not seen).
SharedMemoryPortUse readSharedMemoryPortUse();

/// Removes the data segments (and their lock files) of participants whose process ended without
/// removing them, killed say, and that no process maps any more: Fast DDS 2.9 leaves them in
/// /dev/shm for good, each as large as a participant's segment. Removes likewise the shared
/// histories of writers and the notification segments of readers that no process maps, which
/// an ended process leaves with as many images as its history held. Returns how many it removed.
std::size_t removeSegmentsOfEndedProcesses(const SharedMemoryPortUse& use);

/// Whether a new reader may open `port`: no process sends to a removed segment of it, and it
/// is not both locked by a reader and mapped by someone (a live reader, or a killed reader's
/// port that a writer still sends to, which reopening would strand).
bool canTakeSharedMemoryPort(const SharedMemoryPortUse& use, std::uint32_t port);

/// The lowest participant id of `domain`, not in `taken`, whose two unicast ports (discovery and
/// user data, from `ports`) a new participant may take; -1 when every id that keeps its ports
/// below the next domain's is unsafe.
std::int32_t chooseParticipantId(std::uint32_t domain,
                                 const eprosima::fastrtps::rtps::PortParameters& ports,
                                 const std::set<std::uint32_t>& taken,
                                 const SharedMemoryPortUse& use);

/// Creates a participant of `domain` with `qos`, giving it the id chooseParticipantId picks
/// among those no participant of this process holds, unless `qos` names one (a profile may).
/// Returns nullptr when Fast DDS refuses, as create_participant does.
eprosima::fastdds::dds::DomainParticipant* createParticipantWithSafePorts(
    eprosima::fastdds::dds::DomainParticipantFactory& factory, std::uint32_t domain,
    eprosima::fastdds::dds::DomainParticipantQos qos,
    eprosima::fastdds::dds::DomainParticipantListener* listener,
    const eprosima::fastdds::dds::StatusMask& mask);

}  // namespace qorROS2::transport::participant
