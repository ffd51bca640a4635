#pragma once

// The QoS every DDS participant of this process is created with.

#include <cstdint>

namespace eprosima::fastdds::dds {
class DomainParticipantFactory;
class DomainParticipantQos;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::participant {

struct NetworkSettings;

/// The period at which participants announce themselves after their first announcements, when
/// no profile chose one: Fast DDS's 3 s default made a participant that missed the answers to its
/// first announcements (one start in three or four here, on loopback) wait up to 3 s before it
/// knew the others, and with them the topic a command was asked for.
inline constexpr std::int64_t kAnnouncementPeriodNanoseconds = 250'000'000;

/// The shared-memory segment of each participant: Fast DDS's 512 KB held a few fragments of a
/// 1080p image, and a best-effort image whose fragments the writer had to reuse before the reader
/// took them was lost. This holds two 1920x1080 rgb8 images (6.2 MB each); it is written through
/// once when the participant starts, so each participant of a process costs this much memory.
inline constexpr std::uint32_t kSharedMemorySegmentBytes = 16U * 1024U * 1024U;

/// The receive buffer of each UDP socket of a participant, when no profile chose one: Linux's
/// default of 208 KB holds three 64 KB fragments of an image, so a best-effort image from
/// another host or from a peer without shared memory was lost whenever the receiving thread fell
/// a few fragments behind. The kernel gives at most net.core.rmem_max (often 208 KB as well),
/// which a machine that receives images over UDP raises to this.
inline constexpr std::uint32_t kUdpReceiveBufferBytes = 8U * 1024U * 1024U;

/// Shortens `qos`'s announcement period to kAnnouncementPeriodNanoseconds when it is Fast DDS's
/// default; a period that a profile chose is kept.
void shortenAnnouncementPeriod(eprosima::fastdds::dds::DomainParticipantQos& qos);

/// Applies `settings` to `qos`: the transports and discovery that ROS 2's networking variables
/// ask for, with shared memory sized by kSharedMemorySegmentBytes and UDP receive buffers of
/// kUdpReceiveBufferBytes. Leaves everything else (a profile's buffer sizes, say) as it was.
void applyNetworkSettings(const NetworkSettings& settings,
                          eprosima::fastdds::dds::DomainParticipantQos& qos);

/// The QoS of a new participant of this process: the factory's default (from the XML profiles
/// file, when one is named) with this process's networking settings and its ROS 2 enclave in its
/// user data. Throws std::invalid_argument naming the variable when a setting cannot be used, or
/// the file when the profiles file cannot be loaded.
eprosima::fastdds::dds::DomainParticipantQos rosParticipantQos(
    eprosima::fastdds::dds::DomainParticipantFactory& factory);

}  // namespace qorROS2::transport::participant
