// The participant id a new participant takes: the lowest whose shared-memory ports no writer
// would go on sending to after the port was made anew.

#include "participant/ParticipantId.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <set>
#include <string>

#include <fastrtps/rtps/common/PortParameters.h>

namespace {

using qorROS2::transport::participant::chooseParticipantId;
using qorROS2::transport::participant::readSharedMemoryPortUse;
using qorROS2::transport::participant::removeSegmentsOfEndedProcesses;
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

// A data segment and its lock file as a participant leaves them in /dev/shm, under a name no
// participant will take; the lock is held while `locked`.
class FakeSegment {
  public:
    explicit FakeSegment(std::uint64_t seed) {
        std::mt19937_64 generator(seed ^ static_cast<std::uint64_t>(::getpid()));
        char hex[17];
        std::snprintf(hex, sizeof hex, "%016llx",
                      static_cast<unsigned long long>(generator()));  // NOLINT(runtime/int)
        m_name = std::string("fastrtps_") + hex;
        std::fclose(std::fopen(path().c_str(), "w"));
        m_lock = ::open(lockPath().c_str(), O_CREAT | O_RDONLY | O_CLOEXEC, 0644);
    }
    ~FakeSegment() {
        ::close(m_lock);
        std::remove(path().c_str());
        std::remove(lockPath().c_str());
    }
    FakeSegment(const FakeSegment&) = delete;
    FakeSegment& operator=(const FakeSegment&) = delete;

    void lock() { ASSERT_EQ(::flock(m_lock, LOCK_EX | LOCK_NB), 0); }
    /// Dates the segment a minute back, as one left by a process that ended a while ago.
    void age() {
        const timespec past[2] = {{std::time(nullptr) - 60, 0}, {std::time(nullptr) - 60, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path().c_str(), past, 0), 0);
    }
    const std::string& name() const { return m_name; }
    std::string path() const { return "/dev/shm/" + m_name; }
    std::string lockPath() const { return path() + "_el"; }
    bool exists() const { return ::access(path().c_str(), F_OK) == 0; }

  private:
    std::string m_name;
    int m_lock = -1;
};

TEST(EndedProcessSegments, AreRemovedWithTheirLockFiles) {
    FakeSegment left(1);
    left.age();
    EXPECT_GE(removeSegmentsOfEndedProcesses(readSharedMemoryPortUse()), 1U);
    EXPECT_FALSE(left.exists());
    EXPECT_NE(::access(left.lockPath().c_str(), F_OK), 0);
}

// Made by a process that has not locked or mapped it yet: removing it would strand that process.
TEST(EndedProcessSegments, KeepASegmentJustMade) {
    FakeSegment fresh(4);
    removeSegmentsOfEndedProcesses(readSharedMemoryPortUse());
    EXPECT_TRUE(fresh.exists());
}

TEST(EndedProcessSegments, KeepTheSegmentOfALiveProcess) {
    FakeSegment live(2);
    live.age();
    live.lock();
    removeSegmentsOfEndedProcesses(readSharedMemoryPortUse());
    EXPECT_TRUE(live.exists());
}

TEST(EndedProcessSegments, KeepASegmentSomeProcessStillMaps) {
    FakeSegment mapped(3);
    SharedMemoryPortUse use = readSharedMemoryPortUse();
    use.mappedSegments.insert(mapped.name());
    removeSegmentsOfEndedProcesses(use);
    EXPECT_TRUE(mapped.exists());
}

// A writer's shared history as an ended process leaves it in /dev/shm, under a name no writer
// will take; mapped into this process while `map()` holds it.
class FakeSharedHistory {
  public:
    explicit FakeSharedHistory(std::uint64_t seed) {
        std::mt19937_64 generator(seed ^ static_cast<std::uint64_t>(::getpid()));
        char guid[64];
        const auto bits = static_cast<unsigned long long>(generator());  // NOLINT(runtime/int)
        std::snprintf(guid, sizeof guid, "01.0f.%02llx.%02llx.%02llx.%02llx.00.00.00.00_0.0.2.3",
                      bits & 0xffU, (bits >> 8U) & 0xffU, (bits >> 16U) & 0xffU,
                      (bits >> 24U) & 0xffU);
        m_name = std::string("fast_datasharing_") + guid;
        m_fd = ::open(path().c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
        EXPECT_EQ(::ftruncate(m_fd, kSize), 0);
    }
    ~FakeSharedHistory() {
        if (m_mapped != MAP_FAILED) {
            ::munmap(m_mapped, kSize);
        }
        ::close(m_fd);
        std::remove(path().c_str());
    }
    FakeSharedHistory(const FakeSharedHistory&) = delete;
    FakeSharedHistory& operator=(const FakeSharedHistory&) = delete;

    void map() {
        m_mapped = ::mmap(nullptr, kSize, PROT_READ, MAP_SHARED, m_fd, 0);
        ASSERT_NE(m_mapped, MAP_FAILED);
    }
    void age() {
        const timespec past[2] = {{std::time(nullptr) - 60, 0}, {std::time(nullptr) - 60, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path().c_str(), past, 0), 0);
    }
    const std::string& name() const { return m_name; }
    std::string path() const { return "/dev/shm/" + m_name; }
    bool exists() const { return ::access(path().c_str(), F_OK) == 0; }

  private:
    static constexpr std::size_t kSize = 4096;
    std::string m_name;
    int m_fd = -1;
    void* m_mapped = MAP_FAILED;
};

TEST(EndedProcessSegments, SharedHistoriesNobodyMapsAreRemoved) {
    FakeSharedHistory left(5);
    left.age();
    EXPECT_GE(removeSegmentsOfEndedProcesses(readSharedMemoryPortUse()), 1U);
    EXPECT_FALSE(left.exists());
}

TEST(EndedProcessSegments, KeepASharedHistoryJustMade) {
    FakeSharedHistory fresh(6);
    removeSegmentsOfEndedProcesses(readSharedMemoryPortUse());
    EXPECT_TRUE(fresh.exists());
}

TEST(EndedProcessSegments, KeepASharedHistoryThisProcessMaps) {
    FakeSharedHistory mapped(7);
    mapped.age();
    mapped.map();
    const SharedMemoryPortUse use = readSharedMemoryPortUse();
    EXPECT_EQ(use.mappedSegments.count(mapped.name()), 1U) << mapped.name();
    removeSegmentsOfEndedProcesses(use);
    EXPECT_TRUE(mapped.exists());
}

}  // namespace
