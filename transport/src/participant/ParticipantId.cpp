#include "participant/ParticipantId.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <fastrtps/rtps/common/PortParameters.h>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

namespace qorROS2::transport::participant {
namespace {

namespace dds = eprosima::fastdds::dds;

// Where Fast DDS 2.9 keeps shared memory: a port's segment is /dev/shm/fastrtps_port<N>, with
// the lock file of its one reader beside it (fastrtps_port<N>_el); a participant's data segment
// is /dev/shm/fastrtps_<16 hex digits>, with a lock file its process holds while it lives.
const std::string kSharedMemoryDirectory = "/dev/shm";
const std::string kPortPrefix = "fastrtps_port";
const std::string kDataPrefix = "fastrtps_";
constexpr std::size_t kDataSegmentNameLength = 9 + 16;  // "fastrtps_" and the digits
constexpr const char* kLockSuffix = "_el";
// A writer's shared history is /dev/shm/fast_datasharing_<GUID prefix>_<entity id>, and a
// reader's notification segment is named alike, with no lock file: each is mapped by its endpoint
// as long as the endpoint lives, and a history by its readers while they read it.
const std::string kDataSharingPrefix = "fast_datasharing_";
constexpr const char* kRemovedSuffix = " (deleted)";

// The highest domain whose ports Fast DDS can compute (above it they pass 65535).
constexpr std::uint32_t kHighestDomain = 232;

// The port number that `text` names from `at` on, up to `end`; nothing when other characters
// are there.
bool parsePort(const std::string& text, std::size_t at, std::size_t end, std::uint32_t& port) {
    if (at >= end || end - at > 5) {
        return false;
    }
    std::uint32_t value = 0;
    for (std::size_t i = at; i < end; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        value = value * 10 + static_cast<std::uint32_t>(text[i] - '0');
    }
    port = value;
    return true;
}

void readLockFiles(SharedMemoryPortUse& use) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(kSharedMemoryDirectory.c_str()),
                                                        ::closedir);
    if (!directory) {
        return;
    }
    const std::string suffix = kLockSuffix;
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        std::uint32_t port = 0;
        if (name.size() > kPortPrefix.size() + suffix.size() && name.rfind(kPortPrefix, 0) == 0 &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0 &&
            parsePort(name, kPortPrefix.size(), name.size() - suffix.size(), port)) {
            use.exclusive.insert(port);
        }
    }
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// Each line of /proc/<pid>/maps ends in the mapped file's path, with " (deleted)" once the file
// was removed.
void readMaps(const std::string& file, SharedMemoryPortUse& use) {
    std::ifstream maps(file);
    const std::string segment = kSharedMemoryDirectory + "/" + kPortPrefix;
    const std::string dataSegment = kSharedMemoryDirectory + "/" + kDataPrefix;
    const std::string sharing = kSharedMemoryDirectory + "/" + kDataSharingPrefix;
    const std::string removed = kRemovedSuffix;
    std::string line;
    while (std::getline(maps, line)) {
        const std::size_t at = line.find(segment);
        const std::size_t shared = line.find(sharing);
        if (shared != std::string::npos) {
            const bool isRemoved = endsWith(line, removed);
            const std::size_t name = shared + kSharedMemoryDirectory.size() + 1;
            use.mappedSegments.insert(
                line.substr(name, line.size() - name - (isRemoved ? removed.size() : 0)));
            continue;
        }
        if (at == std::string::npos) {
            const std::size_t data = line.find(dataSegment);
            if (data != std::string::npos) {
                use.mappedSegments.insert(
                    line.substr(data + kSharedMemoryDirectory.size() + 1, kDataSegmentNameLength));
            }
            continue;
        }
        const std::size_t number = at + segment.size();
        const bool isRemoved = endsWith(line, removed);
        const std::size_t end = isRemoved ? line.size() - removed.size() : line.size();
        std::uint32_t port = 0;
        if (parsePort(line, number, end, port)) {
            (isRemoved ? use.mappedRemoved : use.mapped).insert(port);
        }
    }
}

void readAllMaps(SharedMemoryPortUse& use) {
    const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), ::closedir);
    if (!proc) {
        return;
    }
    while (const dirent* entry = ::readdir(proc.get())) {
        const std::string name = entry->d_name;
        if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos) {
            readMaps("/proc/" + name + "/maps", use);
        }
    }
}

bool isDataSegmentName(const std::string& name) {
    return name.size() == kDataSegmentNameLength && name.rfind(kDataPrefix, 0) == 0 &&
           name.find_first_not_of("0123456789abcdef", kDataPrefix.size()) == std::string::npos;
}

// "fast_datasharing_", then the GUID as Fast DDS prints it: hex digits, dots and one underscore.
bool isDataSharingSegmentName(const std::string& name) {
    return name.size() > kDataSharingPrefix.size() && name.rfind(kDataSharingPrefix, 0) == 0 &&
           name.find_first_not_of("0123456789abcdef._", kDataSharingPrefix.size()) ==
               std::string::npos;
}

// Whether the process that made `lockFile` has ended: then nobody holds the lock. The lock is
// taken only to look and let go at once; a process that was just making the file meanwhile finds
// it taken and, as Fast DDS does then, picks another name.
// A segment made since the maps were read is neither mapped in them nor, for a moment, locked
// by its maker: it is left alone until it is older than that moment can be.
bool justMade(const std::string& segment) {
    struct stat status {};
    if (::stat(segment.c_str(), &status) != 0) {
        return false;
    }
    return std::time(nullptr) - status.st_mtime < 2;
}

bool ownerHasEnded(const std::string& lockFile) {
    const int fd = ::open(lockFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool ended = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    if (ended) {
        ::flock(fd, LOCK_UN);
    }
    ::close(fd);
    return ended;
}

// The ids of this process's participants, in every domain: Fast DDS refuses a second
// participant with an id the process already has, whatever its domain.
std::set<std::uint32_t> idsOfThisProcess(dds::DomainParticipantFactory& factory) {
    std::set<std::uint32_t> ids;
    for (std::uint32_t domain = 0; domain <= kHighestDomain; ++domain) {
        for (const dds::DomainParticipant* participant :
             factory.lookup_participants(static_cast<dds::DomainId_t>(domain))) {
            // Fast DDS writes the id into bytes 8 to 11 of the GUID prefix, little end first.
            const auto& prefix = participant->guid().guidPrefix.value;
            ids.insert(static_cast<std::uint32_t>(prefix[8]) |
                       static_cast<std::uint32_t>(prefix[9]) << 8U |
                       static_cast<std::uint32_t>(prefix[10]) << 16U |
                       static_cast<std::uint32_t>(prefix[11]) << 24U);
        }
    }
    return ids;
}

}  // namespace

SharedMemoryPortUse readSharedMemoryPortUse() {
    SharedMemoryPortUse use;
    readLockFiles(use);
    readAllMaps(use);
    return use;
}

std::size_t removeSegmentsOfEndedProcesses(const SharedMemoryPortUse& use) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(kSharedMemoryDirectory.c_str()),
                                                        ::closedir);
    if (!directory) {
        return 0;
    }
    std::vector<std::string> ended;
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        const std::string path = kSharedMemoryDirectory + "/" + name;
        if (!isDataSegmentName(name) && !isDataSharingSegmentName(name)) {
            continue;
        }
        // A shared history has no lock: that nobody maps it says its endpoints are gone.
        if (use.mappedSegments.count(name) == 0 && !justMade(path) &&
            (isDataSharingSegmentName(name) || ownerHasEnded(path + kLockSuffix))) {
            ended.push_back(name);
        }
    }
    for (const std::string& name : ended) {
        ::unlink((kSharedMemoryDirectory + "/" + name).c_str());
        ::unlink((kSharedMemoryDirectory + "/" + name + kLockSuffix).c_str());
    }
    return ended.size();
}

bool canTakeSharedMemoryPort(const SharedMemoryPortUse& use, std::uint32_t port) {
    if (use.mappedRemoved.count(port) != 0) {
        return false;
    }
    return use.exclusive.count(port) == 0 || use.mapped.count(port) == 0;
}

std::int32_t chooseParticipantId(std::uint32_t domain,
                                 const eprosima::fastrtps::rtps::PortParameters& ports,
                                 const std::set<std::uint32_t>& taken,
                                 const SharedMemoryPortUse& use) {
    const std::uint32_t base = std::uint32_t{ports.portBase} + ports.domainIDGain * domain;
    const std::uint32_t highestOffset = std::max(ports.offsetd1, ports.offsetd3);
    for (std::uint32_t id = 0;; ++id) {
        const std::uint32_t step = std::uint32_t{ports.participantIDGain} * id;
        // Beyond this the ports would be another domain's, or no port at all.
        if (highestOffset + step >= ports.domainIDGain || base + highestOffset + step > 65535U) {
            return -1;
        }
        if (taken.count(id) == 0 && canTakeSharedMemoryPort(use, base + ports.offsetd1 + step) &&
            canTakeSharedMemoryPort(use, base + ports.offsetd3 + step)) {
            return static_cast<std::int32_t>(id);
        }
    }
}

dds::DomainParticipant* createParticipantWithSafePorts(dds::DomainParticipantFactory& factory,
                                                       std::uint32_t domain,
                                                       dds::DomainParticipantQos qos,
                                                       dds::DomainParticipantListener* listener,
                                                       const dds::StatusMask& mask) {
    // Two participants of this process created at once would otherwise choose the same id.
    static std::mutex choosing;
    const std::lock_guard<std::mutex> lock(choosing);
    const SharedMemoryPortUse use = readSharedMemoryPortUse();
    removeSegmentsOfEndedProcesses(use);
    auto& wire = qos.wire_protocol();
    if (wire.participant_id < 0) {
        wire.participant_id =
            chooseParticipantId(domain, wire.port, idsOfThisProcess(factory), use);
    }
    return factory.create_participant(static_cast<dds::DomainId_t>(domain), qos, listener, mask);
}

}  // namespace qorROS2::transport::participant
