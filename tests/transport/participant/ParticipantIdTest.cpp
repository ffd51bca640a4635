// The participant id a new participant takes: the lowest whose shared-memory ports no writer
// would go on sending to after the port was made anew.

#include "participant/ParticipantId.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include <fastrtps/rtps/common/PortParameters.h>

namespace {

using qorROS2::transport::participant::chooseParticipantId;
using qorROS2::transport::participant::SharedMemoryPortUse;

// Domain 117 with Fast DDS's port parameters: participant N has discovery port 36660 + 2N and
// user data port 36661 + 2N.
constexpr std::uint32_t kDomain = 117;
constexpr std::uint32_t kDiscoveryPortOfId0 = 36660;
constexpr std::uint32_t kDataPortOfId0 = 36661;

std::int32_t choose(const SharedMemoryPortUse& use, const std::set<std::uint32_t>& taken = {}) {
    return chooseParticipantId(kDomain, eprosima::fastrtps::rtps::PortParameters(), taken, use);
}

TEST(ParticipantId, IsZeroOnAHostWithoutSharedMemoryPorts) {
    EXPECT_EQ(choose({}), 0);
}

TEST(ParticipantId, SkipsTheIdsThisProcessHas) {
    EXPECT_EQ(choose({}, {0, 1}), 2);
}

TEST(ParticipantId, SkipsAPortALiveReaderHolds) {
    SharedMemoryPortUse use;
    use.exclusive = {kDiscoveryPortOfId0};
    use.mapped = {kDiscoveryPortOfId0};
    EXPECT_EQ(choose(use), 1);
}

TEST(ParticipantId, SkipsAKilledReadersPortThatAWriterStillMaps) {
    SharedMemoryPortUse use;
    use.exclusive = {kDiscoveryPortOfId0, kDataPortOfId0};
    use.mapped = {kDataPortOfId0};
    EXPECT_EQ(choose(use), 1);
}

TEST(ParticipantId, TakesAKilledReadersPortThatNobodyMaps) {
    SharedMemoryPortUse use;
    use.exclusive = {kDiscoveryPortOfId0, kDataPortOfId0};
    EXPECT_EQ(choose(use), 0);
}

TEST(ParticipantId, TakesAPortAReaderLeftCleanlyWhileWritersStillMapIt) {
    SharedMemoryPortUse use;
    use.mapped = {kDiscoveryPortOfId0, kDataPortOfId0};
    EXPECT_EQ(choose(use), 0);
}

TEST(ParticipantId, SkipsAPortAWriterStillSendsToThroughARemovedSegment) {
    SharedMemoryPortUse use;
    use.mappedRemoved = {kDataPortOfId0, kDataPortOfId0 + 2};
    EXPECT_EQ(choose(use), 2);
}

TEST(ParticipantId, IsMinusOneWhenNoIdBelowTheNextDomainsPortsIsSafe) {
    SharedMemoryPortUse use;
    // Ids 0 to 119 keep both ports below the next domain's first port, 36900.
    for (std::uint32_t id = 0; id < 120; ++id) {
        use.mappedRemoved.insert(kDiscoveryPortOfId0 + 2 * id);
    }
    EXPECT_EQ(choose(use), -1);
    use.mappedRemoved.erase(kDiscoveryPortOfId0 + 2 * 119);
    EXPECT_EQ(choose(use), 119);
}

}  // namespace
