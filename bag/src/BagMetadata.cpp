#include "qorROS2/bag/BagMetadata.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include <yaml-cpp/yaml.h>

#include "QosProfileNodes.h"
#include "YamlField.h"
#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

namespace {

constexpr const char* kRootKey = "rosbag2_bagfile_information";
constexpr const char* kMetadataFileName = "metadata.yaml";
constexpr std::int64_t kMaxNanoseconds = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxCount = std::numeric_limits<std::uint64_t>::max();

// The first version whose file holds each key that not every version has.
constexpr int kFirstVersionRead = 4;  // offered_qos_profiles
constexpr int kFirstVersionWithFiles = 5;
constexpr int kFirstVersionWithCustomData = 6;
constexpr int kFirstVersionWithTypeHash = 7;
constexpr int kFirstVersionWithRosDistro = 8;
constexpr int kFirstVersionWithQosList = 9;

std::string metadataFile(const std::string& bagDirectory) {
    if (bagDirectory.empty() || bagDirectory.back() == '/') {
        return bagDirectory + kMetadataFileName;
    }
    return bagDirectory + "/" + kMetadataFileName;
}

std::int64_t checkedTime(std::int64_t nanoseconds, const char* what) {
    if (nanoseconds < 0) {
        throw BagError(std::string("cannot write metadata: ") + what + " " +
                       std::to_string(nanoseconds) + " ns is negative");
    }
    return nanoseconds;
}

YAML::Node durationNode(std::int64_t nanoseconds, const char* what) {
    YAML::Node node;
    node["nanoseconds"] = checkedTime(nanoseconds, what);
    return node;
}

YAML::Node timePointNode(std::int64_t nanoseconds, const char* what) {
    YAML::Node node;
    node["nanoseconds_since_epoch"] = checkedTime(nanoseconds, what);
    return node;
}

YAML::Node topicNode(const TopicInformation& topic, int version) {
    const TopicMetadata& metadata = topic.topicMetadata;
    YAML::Node node;
    node["name"] = metadata.name;
    node["type"] = metadata.type;
    node["serialization_format"] = metadata.serializationFormat;
    if (version >= kFirstVersionWithQosList) {
        node["offered_qos_profiles"] =
            detail::qosListNode(metadata.offeredQosProfiles, detail::PolicyForm::NAMES);
    } else {
        node["offered_qos_profiles"] = offeredQosToYamlString(metadata.offeredQosProfiles);
    }
    if (version >= kFirstVersionWithTypeHash) {
        node["type_description_hash"] = metadata.typeDescriptionHash;
    }
    YAML::Node information;
    information["topic_metadata"] = node;
    information["message_count"] = topic.messageCount;
    return information;
}

YAML::Node fileNode(const FileInformation& file) {
    YAML::Node node;
    node["path"] = file.path;
    node["starting_time"] = timePointNode(file.startingTimeNanoseconds, "file starting time");
    node["duration"] = durationNode(file.durationNanoseconds, "file duration");
    node["message_count"] = file.messageCount;
    return node;
}

template <typename Element, typename Encode>
YAML::Node sequenceNode(const std::vector<Element>& elements, Encode encode) {
    YAML::Node node(YAML::NodeType::Sequence);
    for (const Element& element : elements) {
        node.push_back(encode(element));
    }
    return node;
}

std::int64_t readNanoseconds(const detail::YamlField& field, const char* key) {
    return static_cast<std::int64_t>(
        field[key].unsignedInteger(static_cast<std::uint64_t>(kMaxNanoseconds)));
}

std::vector<std::string> readTexts(const detail::YamlField& field) {
    std::vector<std::string> texts;
    for (const detail::YamlField& element : field.sequence()) {
        texts.push_back(element.text());
    }
    return texts;
}

TopicInformation readTopic(const detail::YamlField& field, int version) {
    const detail::YamlField metadataField = field["topic_metadata"];
    TopicInformation topic;
    TopicMetadata& metadata = topic.topicMetadata;
    metadata.name = metadataField["name"].text();
    metadata.type = metadataField["type"].text();
    metadata.serializationFormat = metadataField["serialization_format"].text();
    const detail::YamlField qos = metadataField["offered_qos_profiles"];
    if (version >= kFirstVersionWithQosList) {
        metadata.offeredQosProfiles = detail::qosListFromField(qos);
    } else {
        // Up to version 8 the list is YAML inside a string, read as YAML of its own.
        metadata.offeredQosProfiles =
            detail::qosListFromField(detail::YamlField::parse(qos.text(), qos.file(), qos.path()));
    }
    if (version >= kFirstVersionWithTypeHash) {
        metadata.typeDescriptionHash = metadataField["type_description_hash"].text();
    }
    topic.messageCount = field["message_count"].unsignedInteger(kMaxCount);
    return topic;
}

FileInformation readFile(const detail::YamlField& field) {
    FileInformation file;
    file.path = field["path"].text();
    file.startingTimeNanoseconds =
        readNanoseconds(field["starting_time"], "nanoseconds_since_epoch");
    file.durationNanoseconds = readNanoseconds(field["duration"], "nanoseconds");
    file.messageCount = field["message_count"].unsignedInteger(kMaxCount);
    return file;
}

BagMetadata readMetadata(const detail::YamlField& field) {
    BagMetadata metadata;
    metadata.version = static_cast<int>(field["version"].integer(kFirstVersionRead, 9));
    const int version = metadata.version;
    metadata.storageIdentifier = field["storage_identifier"].text();
    metadata.durationNanoseconds = readNanoseconds(field["duration"], "nanoseconds");
    metadata.startingTimeNanoseconds =
        readNanoseconds(field["starting_time"], "nanoseconds_since_epoch");
    metadata.messageCount = field["message_count"].unsignedInteger(kMaxCount);
    for (const detail::YamlField& topic : field["topics_with_message_count"].sequence()) {
        metadata.topicsWithMessageCount.push_back(readTopic(topic, version));
    }
    metadata.compressionFormat = field["compression_format"].text();
    metadata.compressionMode = field["compression_mode"].text();
    metadata.relativeFilePaths = readTexts(field["relative_file_paths"]);
    if (version >= kFirstVersionWithFiles) {
        for (const detail::YamlField& file : field["files"].sequence()) {
            metadata.files.push_back(readFile(file));
        }
    }
    if (version >= kFirstVersionWithCustomData) {
        const detail::YamlField customData = field["custom_data"];
        // Written as null when there is none.
        if (!customData.isNull()) {
            for (const auto& [key, value] : customData.entries()) {
                metadata.customData[key] = value.text();
            }
        }
    }
    if (version >= kFirstVersionWithRosDistro) {
        metadata.rosDistro = field["ros_distro"].text();
    }
    return metadata;
}

}  // namespace

std::string bagMetadataToYaml(const BagMetadata& metadata) {
    const int version = metadata.version;
    if (version != kHumbleMetadataVersion && version != kJazzyMetadataVersion) {
        throw BagError("cannot write metadata version " + std::to_string(version) +
                       ": only versions 5 (as ROS 2 Humble) and 9 (as ROS 2 Jazzy) are written");
    }
    YAML::Node node;
    node["version"] = version;
    node["storage_identifier"] = metadata.storageIdentifier;
    node["duration"] = durationNode(metadata.durationNanoseconds, "duration");
    node["starting_time"] = timePointNode(metadata.startingTimeNanoseconds, "starting time");
    node["message_count"] = metadata.messageCount;
    node["topics_with_message_count"] = sequenceNode(
        metadata.topicsWithMessageCount,
        [version](const TopicInformation& topic) { return topicNode(topic, version); });
    node["compression_format"] = metadata.compressionFormat;
    node["compression_mode"] = metadata.compressionMode;
    node["relative_file_paths"] = sequenceNode(
        metadata.relativeFilePaths, [](const std::string& path) { return YAML::Node(path); });
    node["files"] = sequenceNode(metadata.files, fileNode);
    if (version >= kFirstVersionWithQosList) {
        // Jazzy writes the distribution's keys too; a map never assigned to is written as null.
        YAML::Node customData;
        for (const auto& [key, value] : metadata.customData) {
            customData[key] = value;
        }
        node["custom_data"] = customData;
        node["ros_distro"] = metadata.rosDistro;
    }
    YAML::Node root;
    root[kRootKey] = node;
    std::ostringstream out;
    out << root;
    return out.str();
}

BagMetadata bagMetadataFromYaml(const std::string& yaml, const std::string& file) {
    const detail::YamlField document = detail::YamlField::parse(yaml, file);
    return readMetadata(document[kRootKey]);
}

void writeBagMetadata(const std::string& bagDirectory, const BagMetadata& metadata) {
    const std::string text = bagMetadataToYaml(metadata);
    const std::string file = metadataFile(bagDirectory);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw BagError(file + ": cannot be written: " + std::strerror(errno));
    }
    out << text;
    out.close();
    if (!out) {
        throw BagError(file + ": cannot be written: " + std::strerror(errno));
    }
}

BagMetadata readBagMetadata(const std::string& bagDirectory) {
    const std::string file = metadataFile(bagDirectory);
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw BagError(file + ": cannot be read: " + std::strerror(errno));
    }
    // A directory opens as a stream on Linux and then reads as nothing.
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        throw BagError(file + ": cannot be read: " + std::strerror(EISDIR));
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        throw BagError(file + ": cannot be read: " + std::strerror(errno));
    }
    return bagMetadataFromYaml(text.str(), file);
}

}  // namespace qorROS2::bag
