// Feeds arbitrary bytes to the MCAP reader as a file: opening it, its summary or its scan, and
// every message it then gives. Whatever the bytes, the reader either refuses the file with a
// BagError or reads it, naming what is damaged; every message it gives lies in memory it owns.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/McapReader.h"

namespace {

// One in-memory file for the whole run, rewritten for each input: the reader takes a path.
int inputFile() {
    static const int fd = ::memfd_create("mcap-fuzz-input", 0);
    if (fd < 0) {
        std::perror("memfd_create");
        std::abort();
    }
    return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int fd = inputFile();
    if (::ftruncate(fd, 0) != 0 ||
        (size > 0 && ::pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))) {
        std::perror("memfd");
        std::abort();
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    try {
        qorROS2::bag::McapReader reader(path);
        volatile std::uint8_t touched = 0;
        reader.readMessages([&](const qorROS2::bag::McapMessage& message) {
            if (message.size > 0) {  // the sanitizer checks both ends lie in a live buffer
                touched = static_cast<std::uint8_t>(touched ^ message.data[0] ^
                                                    message.data[message.size - 1]);
            }
            return true;
        });
        for (const auto& channel : reader.channels()) {
            touched = static_cast<std::uint8_t>(touched ^ channel.topic.size());
        }
        (void)reader.statistics().messageCount;
    } catch (const qorROS2::bag::BagError&) {
        // A file that is not MCAP at all: refused, as it should be.
    }
    return 0;
}
