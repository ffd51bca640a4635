#pragma once

// Bags as rosbag2 leaves them: MCAP files written by @mcap/core's writer (mcap-write.js) with the
// channels and metadata records rosbag2's MCAP plugin writes, and a metadata.yaml written here by
// hand in the layout ROS 2 Humble (version 5) or Jazzy (version 9) writes. Nothing of our own
// bag writer is involved, so what the reader gets right is not our writer's echo.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "McapTesting.h"

namespace qorTest {

constexpr std::uint64_t kBagStart = 1'700'000'000'000'000'000ULL;

// rmw's "infinite" duration as ROS 2 writes it into metadata.yaml.
inline const char* kInfiniteYaml = "sec: 9223372036\n  nsec: 854775807";

/// A topic of a sample bag and its one recorded publisher.
struct BagTopic {
    std::string name;
    std::string type;
    bool reliable = true;
    bool transientLocal = false;
};

/// A message's bytes for std_msgs/msg/String as a recorder receives them: the CDR little-endian
/// header, the length with its terminating NUL, the characters, the NUL, and the zeros that pad
/// a serialized sample to a multiple of four bytes on the wire.
inline Bytes stringMessage(const std::string& text) {
    Bytes bytes = {0, 1, 0, 0};
    const std::uint32_t length = static_cast<std::uint32_t>(text.size() + 1);
    for (int i = 0; i < 4; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
    bytes.resize((bytes.size() + 3) / 4 * 4, 0);
    return bytes;
}

/// The Humble form of a topic's offered_qos_profiles: one string holding YAML with rmw's
/// integers.
inline std::string humbleOffer(const BagTopic& topic) {
    const std::string infinite = "\n    sec: 9223372036\n    nsec: 854775807";
    return std::string("- history: 3\n  depth: 0\n  reliability: ") + (topic.reliable ? "1" : "2") +
           "\n  durability: " + (topic.transientLocal ? "1" : "2") + "\n  deadline:" + infinite +
           "\n  lifespan:" + infinite +
           "\n  liveliness: 1\n  liveliness_lease_duration:" + infinite +
           "\n  avoid_ros_namespace_conventions: false";
}

/// The sample bag's three topics: a transient local string topic, a best effort one of a type
/// no one here knows, and a reliable volatile string topic.
inline std::vector<BagTopic> sampleTopics() {
    return {{"/chatter", "std_msgs/msg/String", true, true},
            {"/blob", "acme_msgs/msg/Blob", false, false},
            {"/status", "std_msgs/msg/String", true, false}};
}

/// `count` messages 100 ms apart from kBagStart, round robin over the topics, each with bytes
/// of its own; for the channel metadata, the Humble form of each topic's offer.
inline Sample sampleBagContent(std::size_t count, std::uint64_t spacing = 100'000'000) {
    Sample sample;
    const auto topics = sampleTopics();
    sample.schemas.push_back({1, "std_msgs/msg/String", "ros2msg", "string data\n"});
    sample.schemas.push_back({2, "acme_msgs/msg/Blob", "ros2msg", "uint8[] bytes\n"});
    for (const BagTopic& topic : topics) {
        sample.channels.push_back({topic.name,
                                   topic.type == "std_msgs/msg/String" ? std::size_t{1} : 2,
                                   "cdr",
                                   {{"offered_qos_profiles", humbleOffer(topic)}}});
    }
    sample.metadata.push_back({"rosbag2", {{"ROS_DISTRO", "humble"}}});
    for (std::size_t i = 0; i < count; ++i) {
        SampleMessage message;
        message.channel = i % topics.size();
        message.sequence = static_cast<std::uint32_t>(i);
        message.logTime = kBagStart + i * spacing;
        message.publishTime = message.logTime - 1000;
        if (message.channel == 1) {
            message.data = {0, 1, 0, 0, 3, 0, 0, 0, static_cast<std::uint8_t>(i), 0xfe, 0x7f, 0};
        } else {
            message.data = stringMessage("message " + std::to_string(i));
        }
        sample.messages.push_back(std::move(message));
    }
    return sample;
}

/// The messages of `sample` on each topic, counted.
inline std::vector<std::uint64_t> countsByChannel(const Sample& sample) {
    std::vector<std::uint64_t> counts(sample.channels.size());
    for (const auto& message : sample.messages) {
        ++counts[message.channel];
    }
    return counts;
}

/// One storage file of a sample bag: its name and the messages it holds.
struct BagFilePart {
    std::string name;
    Sample content;
};

inline std::uint64_t firstTime(const Sample& s) {
    return s.messages.empty() ? 0 : s.messages.front().logTime;
}
inline std::uint64_t lastTime(const Sample& s) {
    return s.messages.empty() ? 0 : s.messages.back().logTime;
}

/// metadata.yaml as ROS 2 Humble (version 5) or Jazzy (version 9) writes it for the files of
/// `parts`, whose messages are in log-time order within each file.
inline std::string rosbag2MetadataYaml(int version, const std::vector<BagFilePart>& parts) {
    const auto topics = sampleTopics();
    std::vector<std::uint64_t> counts(topics.size());
    std::uint64_t total = 0;
    std::uint64_t start = UINT64_MAX;
    std::uint64_t end = 0;
    for (const auto& part : parts) {
        for (const auto& message : part.content.messages) {
            ++counts[message.channel];
            ++total;
            start = std::min(start, message.logTime);
            end = std::max(end, message.logTime);
        }
    }
    std::string y = "rosbag2_bagfile_information:\n  version: " + std::to_string(version) +
                    "\n  storage_identifier: mcap\n  duration:\n    nanoseconds: " +
                    std::to_string(end - start) +
                    "\n  starting_time:\n    nanoseconds_since_epoch: " + std::to_string(start) +
                    "\n  message_count: " + std::to_string(total) +
                    "\n  topics_with_message_count:\n";
    for (std::size_t t = 0; t < topics.size(); ++t) {
        const BagTopic& topic = topics[t];
        y += "    - topic_metadata:\n        name: " + topic.name +
             "\n        type: " + topic.type + "\n        serialization_format: cdr\n";
        if (version < 9) {
            std::string quoted;
            for (char c : humbleOffer(topic)) {
                quoted += c == '\n' ? std::string("\\n") : std::string(1, c);
            }
            y += "        offered_qos_profiles: \"" + quoted + "\"\n";
        } else {
            const std::string inf =
                "\n              sec: 9223372036\n              nsec: 854775807";
            y += std::string("        offered_qos_profiles:\n          - history: keep_last\n") +
                 "            depth: 10\n            reliability: " +
                 (topic.reliable ? "reliable" : "best_effort") + "\n            durability: " +
                 (topic.transientLocal ? "transient_local" : "volatile") +
                 "\n            deadline:" + inf + "\n            lifespan:" + inf +
                 "\n            liveliness: automatic\n            liveliness_lease_duration:" +
                 inf + "\n            avoid_ros_namespace_conventions: false\n" +
                 "        type_description_hash: RIHS01_" + std::string(64, 'a') + "\n";
        }
        y += "      message_count: " + std::to_string(counts[t]) + "\n";
    }
    y += "  compression_format: \"\"\n  compression_mode: \"\"\n  relative_file_paths:\n";
    for (const auto& part : parts) {
        y += "    - " + part.name + "\n";
    }
    y += "  files:\n";
    for (const auto& part : parts) {
        y += "    - path: " + part.name + "\n      starting_time:\n        " +
             "nanoseconds_since_epoch: " + std::to_string(firstTime(part.content)) +
             "\n      duration:\n        nanoseconds: " +
             std::to_string(lastTime(part.content) - firstTime(part.content)) +
             "\n      message_count: " + std::to_string(part.content.messages.size()) + "\n";
    }
    if (version >= 9) {
        y += "  custom_data: ~\n  ros_distro: jazzy\n";
    }
    return y;
}

struct BagWriting {
    int metadataVersion = 5;  // 0: no metadata.yaml, as a recorder killed with kill -9
    std::string compression;  // "", "zstd" or "lz4"
    bool summary = true;      // false: files without summary, as a recorder killed leaves them
};

/// Writes `parts` into `bag` with mcap-write.js, and metadata.yaml unless told not to.
inline void writeRosbag(const ScratchBag& bag, const std::vector<BagFilePart>& parts,
                        const BagWriting& writing) {
    for (const auto& part : parts) {
        peerWrite(bag.file(part.name), part.content, true, writing.compression, writing.summary);
    }
    if (writing.metadataVersion != 0) {
        std::ofstream(bag.file("metadata.yaml"))
            << rosbag2MetadataYaml(writing.metadataVersion, parts);
    }
}

/// `sample`'s messages split into files of `perFile` messages, named as a recorder names them.
inline std::vector<BagFilePart> splitInto(const Sample& sample, std::size_t perFile,
                                          const std::string& bagName) {
    std::vector<BagFilePart> parts;
    for (std::size_t i = 0; i < sample.messages.size(); i += perFile) {
        BagFilePart part{bagName + "_" + std::to_string(parts.size()) + ".mcap", sample};
        part.content.messages.assign(
            sample.messages.begin() + static_cast<std::ptrdiff_t>(i),
            sample.messages.begin() +
                static_cast<std::ptrdiff_t>(std::min(sample.messages.size(), i + perFile)));
        parts.push_back(std::move(part));
    }
    return parts;
}

/// Flips a bit near the end of chunk `index` of the MCAP file at `path` (inside its records, so
/// that its CRC or its decompression fails) and returns the chunks as they were, for their
/// offsets; fewer chunks than `index + 1` leaves the file as it was.
inline std::vector<TopRecord> flipByteInChunk(const std::string& path, std::size_t index) {
    Bytes bytes = fileBytes(path);
    std::vector<TopRecord> chunks;
    for (const TopRecord& record : topRecords(bytes)) {
        if (record.opcode == 0x06) {
            chunks.push_back(record);
        }
    }
    if (index < chunks.size()) {
        bytes[chunks[index].offset + chunks[index].length - 5] ^= 0x40;
        writeBytes(path, bytes, bytes.size());
    }
    return chunks;
}

}  // namespace qorTest
