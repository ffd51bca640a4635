#pragma once

// What the MCAP tests write and compare: a description of a file's content (schemas, channels,
// metadata, messages), written by our writer or by @mcap/core's (tests/peers/mcap-write.js),
// read back by our reader or by @mcap/core's (tests/peers/mcap-check.js).

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ChildProcess.h"
#include "qorROS2/bag/McapReader.h"
#include "qorROS2/bag/McapWriter.h"

namespace qorTest {

using Bytes = std::vector<std::uint8_t>;

struct SampleMessage {
    std::size_t channel = 0;  // index into channels
    std::uint32_t sequence = 0;
    std::uint64_t logTime = 0;
    std::uint64_t publishTime = 0;
    Bytes data;

    bool operator==(const SampleMessage& o) const {
        return std::tie(channel, sequence, logTime, publishTime, data) ==
               std::tie(o.channel, o.sequence, o.logTime, o.publishTime, o.data);
    }
};

struct SampleChannel {
    std::string topic;
    std::size_t schema = 0;  // 1-based index into schemas, 0: none
    std::string encoding;
    std::map<std::string, std::string> metadata;
};

struct Sample {
    std::vector<qorROS2::bag::McapSchema> schemas;  // ids are 1, 2, ... in order
    std::vector<SampleChannel> channels;
    std::vector<qorROS2::bag::McapMetadata> metadata;
    std::vector<SampleMessage> messages;  // in the order written
};

inline std::string hexOf(const std::uint8_t* data, std::size_t size) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[data[i] >> 4];
        text += digits[data[i] & 15];
    }
    return text;
}

inline Bytes bytesOfHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// A file name in the test's temporary folder, removed when it goes.
class ScratchPath {
  public:
    explicit ScratchPath(const std::string& name)
        : m_path(::testing::TempDir() + std::to_string(::getpid()) + "_" + name) {}
    ~ScratchPath() { std::remove(m_path.c_str()); }
    ScratchPath(const ScratchPath&) = delete;
    ScratchPath& operator=(const ScratchPath&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

/// Makes this process's files stop growing at `bytes`, as a full disk stops them: a write beyond
/// fails with EFBIG, since SIGXFSZ is ignored instead of killing the process. For a child.
inline void limitFileSize(rlim_t bytes) {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

/// A bag directory in the test's temporary folder, removed with what it holds. A recorder is
/// given it absent, as it refuses a directory that exists; a test that writes a bag's files
/// itself asks for it created.
class ScratchBag {
  public:
    enum Directory { ABSENT, CREATED };

    explicit ScratchBag(const std::string& name, Directory directory = ABSENT)
        : m_path(::testing::TempDir() + std::to_string(::getpid()) + "_bag_" + name) {
        std::filesystem::remove_all(m_path);
        if (directory == CREATED) {
            std::filesystem::create_directories(m_path);
        }
    }
    ~ScratchBag() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchBag(const ScratchBag&) = delete;
    ScratchBag& operator=(const ScratchBag&) = delete;
    const std::string& path() const { return m_path; }
    /// The bag's name, which its storage files take: the directory's own.
    std::string name() const { return std::filesystem::path(m_path).filename().string(); }
    std::string file(const std::string& relative) const { return m_path + "/" + relative; }
    /// The first storage file, as rosbag2 names it.
    std::string firstFile() const { return file(name() + "_0.mcap"); }

  private:
    std::string m_path;
};

inline Bytes fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    Bytes bytes(in ? static_cast<std::size_t>(in.tellg()) : 0);
    in.seekg(0);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

inline void writeBytes(const std::string& path, const Bytes& bytes, std::size_t count) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(count));
}

/// Several chunks' worth on many channels: empty messages, one larger than a chunk, equal log
/// times, metadata records; log times never decrease, so that file order is log-time order.
inline Sample richSample(std::size_t channelCount = 24, std::size_t messageCount = 400) {
    std::mt19937 random(7);
    Sample sample;
    sample.schemas.push_back(
        {1, "sensor_msgs/msg/JointState", "ros2msg", "string[] name\nfloat64[] position\n"});
    sample.schemas.push_back({2, "std_msgs/msg/String", "ros2msg", "string data\n"});
    for (std::size_t c = 0; c < channelCount; ++c) {
        sample.channels.push_back(
            {"/topic_" + std::to_string(c),
             c % 3 == 2 ? 0 : c % 2 + 1,
             "cdr",
             {{"offered_qos_profiles", "- history: 3\n  depth: " + std::to_string(c)}}});
    }
    sample.metadata.push_back({"rosbag2", {{"ROS_DISTRO", "humble"}}});
    sample.metadata.push_back({"empty", {}});
    std::uint64_t time = 1'700'000'000'000'000'000ULL;
    for (std::size_t i = 0; i < messageCount; ++i) {
        SampleMessage message;
        message.channel = random() % channelCount;
        message.sequence = static_cast<std::uint32_t>(i);
        time += random() % 3 == 0 ? 0 : random() % 5'000'000;
        message.logTime = time;
        message.publishTime = time - random() % 1000;
        const std::size_t size = i % 17 == 0 ? 0 : i == messageCount / 2 ? 100'000 : random() % 300;
        for (std::size_t b = 0; b < size; ++b) {
            message.data.push_back(static_cast<std::uint8_t>(i % 7 == 0 ? 0 : random()));
        }
        sample.messages.push_back(std::move(message));
    }
    return sample;
}

/// Writes `sample` with our writer.
inline void writeOurs(const std::string& path, const Sample& sample,
                      qorROS2::bag::McapWriterOptions options) {
    qorROS2::bag::McapWriter writer(path, "ros2", options);
    for (const auto& schema : sample.schemas) {
        writer.addSchema(schema.name, schema.encoding, schema.data);
    }
    std::vector<std::uint16_t> ids;
    for (const auto& channel : sample.channels) {
        ids.push_back(writer.addChannel(channel.topic, static_cast<std::uint16_t>(channel.schema),
                                        channel.encoding, channel.metadata));
    }
    for (const auto& metadata : sample.metadata) {
        writer.addMetadata(metadata.name, metadata.entries);
    }
    for (const auto& message : sample.messages) {
        writer.addMessage(ids[message.channel], message.sequence, message.logTime,
                          message.publishTime, message.data.data(), message.data.size());
    }
    writer.close();
}

/// Runs a peer script in node and returns its output.
inline std::string runPeer(const std::string& arguments) {
    return commandOutput(std::string("NODE_NO_WARNINGS=1 '") + QOR_NODE_EXECUTABLE + "' '" +
                         QOR_TEST_PEERS_DIR + "/" + arguments);
}

/// What @mcap/core reads from `path` (its stream reader when `stream`).
inline nlohmann::json peerRead(const std::string& path, bool stream = false) {
    const std::string output =
        runPeer(std::string("mcap-check.js' '") + path + "'" + (stream ? " --stream" : ""));
    return nlohmann::json::parse(output, nullptr, false);
}

/// Expects that the peer decoded, with the schema stored in the file, every message of every
/// channel that has a ros2msg schema, and returns how many it decoded.
inline std::size_t expectAllDecoded(const nlohmann::json& read) {
    EXPECT_EQ(read.value("decodeFailureCount", -1), 0)
        << read.value("decodeFailures", nlohmann::json()).dump();
    const nlohmann::json channels = read.value("decoded", nlohmann::json::object());
    EXPECT_FALSE(channels.empty()) << "nothing decoded: " << read.dump();
    std::size_t decoded = 0;
    for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
        const std::size_t count = channel->value("decoded", std::size_t{0});
        if (!channel->contains("skipped")) {
            EXPECT_EQ(count, channel->value("messages", std::size_t{0}))
                << "channel " << channel.key() << ": " << channel->dump();
        }
        decoded += count;
    }
    return decoded;
}

/// Plain CDR after the little-endian encapsulation header, aligned as ROS 2 aligns it: from the
/// end of the header.
class CdrBytes {
  public:
    CdrBytes& u32(std::uint32_t value) { return put(&value, sizeof value); }
    CdrBytes& i32(std::int32_t value) { return put(&value, sizeof value); }
    CdrBytes& f64(double value) { return put(&value, sizeof value); }
    CdrBytes& text(const std::string& value) {
        u32(static_cast<std::uint32_t>(value.size() + 1));
        m_bytes.insert(m_bytes.end(), value.begin(), value.end());
        m_bytes.push_back(0);
        return *this;
    }
    const Bytes& bytes() const { return m_bytes; }

  private:
    CdrBytes& put(const void* value, std::size_t size) {
        while ((m_bytes.size() - 4) % size != 0) {
            m_bytes.push_back(0);
        }
        const auto* bytes = static_cast<const std::uint8_t*>(value);
        m_bytes.insert(m_bytes.end(), bytes, bytes + size);
        return *this;
    }
    Bytes m_bytes{0x00, 0x01, 0x00, 0x00};
};

/// Has @mcap/core's writer write `sample` to `path`.
inline void peerWrite(const std::string& path, const Sample& sample, bool chunked,
                      const std::string& compression, bool summary, bool statistics = true) {
    nlohmann::json description;
    description["statistics"] = summary && statistics;
    description["chunked"] = chunked;
    description["compression"] = compression;
    description["summary"] = summary;
    description["chunkSize"] = 2048;
    description["schemas"] = nlohmann::json::array();
    for (const auto& s : sample.schemas) {
        description["schemas"].push_back(
            {{"name", s.name}, {"encoding", s.encoding}, {"data", s.data}});
    }
    description["channels"] = nlohmann::json::array();
    for (const auto& c : sample.channels) {
        description["channels"].push_back({{"topic", c.topic},
                                           {"schema", c.schema},
                                           {"encoding", c.encoding},
                                           {"metadata", c.metadata}});
    }
    description["metadata"] = nlohmann::json::array();
    for (const auto& m : sample.metadata) {
        description["metadata"].push_back({{"name", m.name}, {"entries", m.entries}});
    }
    description["messages"] = nlohmann::json::array();
    for (const auto& m : sample.messages) {
        description["messages"].push_back({{"channel", m.channel},
                                           {"sequence", m.sequence},
                                           {"logTime", std::to_string(m.logTime)},
                                           {"publishTime", std::to_string(m.publishTime)},
                                           {"data", hexOf(m.data.data(), m.data.size())}});
    }
    const std::string descriptionPath = path + ".json";
    std::ofstream(descriptionPath) << description.dump();
    runPeer("mcap-write.js' '" + descriptionPath + "' '" + path + "'");
    std::remove(descriptionPath.c_str());
}

/// Messages as the peer printed them, with channels named by their index in the sample (found
/// by topic, as the peer's writer numbers channels its own way).
inline std::vector<SampleMessage> peerMessages(const nlohmann::json& read, const Sample& sample) {
    std::map<int, std::size_t> indexById;
    for (const auto& channel : read["channels"]) {
        for (std::size_t i = 0; i < sample.channels.size(); ++i) {
            if (sample.channels[i].topic == channel["topic"].get<std::string>()) {
                indexById[channel["id"].get<int>()] = i;
            }
        }
    }
    std::vector<SampleMessage> messages;
    for (const auto& m : read["messages"]) {
        messages.push_back({indexById.at(m["channel"].get<int>()),
                            m["sequence"].get<std::uint32_t>(),
                            std::stoull(m["logTime"].get<std::string>()),
                            std::stoull(m["publishTime"].get<std::string>()),
                            bytesOfHex(m["data"].get<std::string>())});
    }
    return messages;
}

/// What our reader reads, channels named by their index in the sample (found by topic).
struct OurRead {
    std::vector<SampleMessage> messages;
    std::vector<std::string> problems;
    bool indexed = false;
};

inline OurRead readOurs(const std::string& path, const Sample& sample) {
    qorROS2::bag::McapReader reader(path);
    std::map<std::uint16_t, std::size_t> indexById;
    for (const auto& channel : reader.channels()) {
        for (std::size_t i = 0; i < sample.channels.size(); ++i) {
            if (sample.channels[i].topic == channel.topic) {
                indexById[channel.id] = i;
            }
        }
    }
    OurRead read;
    reader.readMessages([&](const qorROS2::bag::McapMessage& m) {
        read.messages.push_back({indexById.at(m.channelId), m.sequence, m.logTime, m.publishTime,
                                 Bytes(m.data, m.data + m.size)});
        return true;
    });
    read.problems = reader.problems();
    read.indexed = reader.indexed();
    return read;
}

/// The top-level records of an MCAP file: offset, opcode and whole length of each.
struct TopRecord {
    std::size_t offset;
    std::uint8_t opcode;
    std::size_t length;
};

inline std::vector<TopRecord> topRecords(const Bytes& file) {
    std::vector<TopRecord> records;
    for (std::size_t at = 8; at + 9 <= file.size() - 8;) {
        std::uint64_t length = 0;
        for (std::size_t i = 0; i < 8; ++i) {
            length |= static_cast<std::uint64_t>(file[at + 1 + i]) << (8 * i);
        }
        records.push_back({at, file[at], 9 + static_cast<std::size_t>(length)});
        at += 9 + static_cast<std::size_t>(length);
    }
    return records;
}

}  // namespace qorTest
