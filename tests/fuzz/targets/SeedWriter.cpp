// Writes the fuzzers' starting corpora, from our own encoder: for every record, its default value
// and a filled value, as the decoder fuzzer's payloads and as YAML for the other one.
//
//   qorFuzzSeeds <decoder seed folder> <yaml seed folder>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "FuzzedRecords.h"
#include "RecordWalk.h"
#include "cdr/CdrCodec.h"

namespace {

void writeFile(const std::string& path, std::uint8_t index, const void* bytes, std::size_t size) {
    std::ofstream out(path, std::ios::binary);
    out.put(static_cast<char>(index));
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    if (!out) {
        std::fprintf(stderr, "qorFuzzSeeds: cannot write %s\n", path.c_str());
        std::exit(1);
    }
}

template <typename T>
void writePayload(const std::string& path, std::uint8_t index, const T& record) {
    std::vector<std::uint8_t> payload(qorROS2::cdr::encodedSize(record));
    qorROS2::cdr::encode(record, payload.data(), payload.size());
    writeFile(path, index, payload.data(), payload.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: qorFuzzSeeds <decoder seed folder> <yaml seed folder>\n");
        return 2;
    }
    const std::string decoder = argv[1];
    const std::string yaml = argv[2];
    qorFuzz::visitEveryRecord(qorROS2::MessageRecords{}, [&](auto* type, std::size_t index) {
        using T = std::remove_pointer_t<decltype(type)>;
        const auto byte = static_cast<std::uint8_t>(index);
        const std::string name = std::to_string(index) + "_" + qorROS2::MessageDescription<T>::name;
        writePayload(decoder + "/" + name + "_default", byte, T{});
        T filled{};
        qorTest::FillOptions options;
        options.sequenceLength = 2;
        options.longStrings = false;
        qorTest::fillRecord(filled, options);
        writePayload(decoder + "/" + name + "_filled", byte, filled);
        const std::string empty = "{}";
        writeFile(yaml + "/" + name + "_empty", byte, empty.data(), empty.size());
    });
    // A few commands as users type them, for the record the demo listens to.
    std::size_t jointState = 0;
    qorFuzz::visitEveryRecord(qorROS2::MessageRecords{}, [&](auto* type, std::size_t index) {
        using T = std::remove_pointer_t<decltype(type)>;
        if (std::string(qorROS2::MessageDescription<T>::name) == "JointState") {
            jointState = index;
        }
    });
    const std::vector<std::string> commands = {
        "{name: [wrist_roll], velocity: [.nan]}",
        "{name: [elbow, rail], position: [1.0e+308, -.inf]}",
        "{header: {stamp: {sec: 1, nanosec: 2}, frame_id: base}, name: [a], effort: [0x10]}",
    };
    for (std::size_t i = 0; i < commands.size(); ++i) {
        writeFile(yaml + "/joint_command_" + std::to_string(i),
                  static_cast<std::uint8_t>(jointState), commands[i].data(), commands[i].size());
    }
    return 0;
}
