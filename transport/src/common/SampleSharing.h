#pragma once

// How the samples of images and clouds reach the other processes of this host: readers map the
// writer's history in shared memory (Fast DDS's data sharing) instead of receiving copies through
// a transport, in fragments of at most 64 KB.
//
// Fast DDS 2.9 fragments a sample for the smallest message of all of a participant's transports,
// UDP's, even on the shared-memory path, and shares a writer's history only for a data type that
// says it is bounded: it then gives each sample of the history one slot of the type's bound. A
// type is registered once per participant and name, so the bound belongs to the type, not to a
// topic: the types that carry large samples all get kSharedSampleBytes.

#include <cstdint>
#include <string>

#include "qorROS2/QOS.h"

namespace qorROS2::transport::common {

/// The largest sample of a type that carries large samples: the size of each slot of a shared
/// history (64 MiB: a 4K rgba8 image is 33 MB, a 4K 16-bit rgb one 50 MB). A slot is a sparse
/// page range of a file in /dev/shm, so only what samples fill costs memory.
inline constexpr std::uint32_t kSharedSampleBytes = 64U * 1024U * 1024U;

/// The deepest keep-last history a writer shares: Fast DDS keeps a shared history in one segment
/// of at most 4 GiB, and a shared history has two slots per sample of its depth.
inline constexpr std::uint32_t kDeepestSharedHistory = 30;

/// How an endpoint keeps the payloads of its samples.
enum class SampleMemory {
    /// Each sample of the history is reserved at the type's smallest size and grown in place;
    /// samples reach other processes through the transports. For types of small samples.
    grownInPlace,
    /// A writer's history lies in shared memory, kSharedSampleBytes a slot and as many spare
    /// slots as its depth, and the readers of other processes of this host that can (ours, Fast
    /// DDS readers of a bounded type) read it there; the others receive copies through the
    /// transports. Readers size each payload to its sample.
    sharedHistory,
    /// Payloads are sized to each sample and reused; samples reach other processes through the
    /// transports. For types of large samples whose writer cannot share its history.
    sizedPerSample,
};

/// Whether samples of the type named `ddsTypeName` ("sensor_msgs::msg::dds_::Image_") can be
/// large enough to need a shared history: images and clouds.
bool carriesLargeSamples(const std::string& ddsTypeName);

/// How an endpoint with `qos` keeps its payloads: sharedHistory for a type of large samples
/// (`largeSamples`) with a volatile keep-last history of at most kDeepestSharedHistory, unless the
/// participant is `secured` (Fast DDS shares no history of a protected topic, and a history it
/// does not share is not held to the bound); sizedPerSample for the other endpoints of such a
/// type; grownInPlace for every other type.
SampleMemory sampleMemoryFor(bool largeSamples, const QOS& qos, bool secured);

}  // namespace qorROS2::transport::common
