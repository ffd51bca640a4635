// Writes the MCAP reader fuzzer's starting corpus with our own writer: each compression, small
// and large chunks, metadata, and the same files cut short (no summary, a partial record).
//
//   qorMcapSeeds <seed folder>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "qorROS2/bag/McapWriter.h"

namespace {

using qorROS2::bag::McapCompression;

void writeSeed(const std::string& path, McapCompression compression, std::uint64_t chunkSize) {
    qorROS2::bag::McapWriter writer(path, "ros2", {chunkSize, compression});
    const std::uint16_t schema =
        writer.addSchema("std_msgs/msg/String", "ros2msg", "string data\n");
    const std::uint16_t a = writer.addChannel("/a", schema, "cdr", {{"offered_qos_profiles", ""}});
    const std::uint16_t b = writer.addChannel("/b", 0, "cdr");
    writer.addMetadata("rosbag2", {{"ROS_DISTRO", "humble"}});
    std::vector<std::uint8_t> data;
    for (std::uint32_t i = 0; i < 12; ++i) {
        data.assign(i * 7 % 40, static_cast<std::uint8_t>(i));
        writer.addMessage(i % 3 == 0 ? b : a, i, 1000 + 10 * (i % 5), 1000, data.data(),
                          data.size());
    }
    writer.close();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qorMcapSeeds <seed folder>\n");
        return 2;
    }
    const std::string folder = argv[1];
    const struct {
        const char* name;
        McapCompression compression;
        std::uint64_t chunkSize;
    } seeds[] = {{"none", McapCompression::none, 1},
                 {"zstd", McapCompression::zstd, 200},
                 {"lz4", McapCompression::lz4, 1 << 20}};
    for (const auto& seed : seeds) {
        const std::string path = folder + "/" + seed.name + ".mcap";
        writeSeed(path, seed.compression, seed.chunkSize);
        std::ifstream in(path, std::ios::binary | std::ios::ate);
        std::vector<char> bytes(static_cast<std::size_t>(in.tellg()));
        in.seekg(0);
        in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        // Cut in the middle: a file as a recorder killed mid-chunk leaves it.
        std::ofstream(folder + "/" + seed.name + "-cut.mcap", std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size() / 2));
    }
    return 0;
}
