// metadata.yaml as ROS 2 Humble (version 5) and Jazzy (version 9) write it, and every version
// from 4 to 9 read back. The expected texts are written out by hand from how rosbag2 builds its
// YAML nodes (key order, number forms, the QoS list as a string or a list) and how yaml-cpp
// emits them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "BagErrorText.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagMetadata.h"

namespace {

using qorROS2::bag::BagError;
using qorROS2::bag::BagMetadata;
using qorROS2::bag::kInfiniteQosDuration;
using qorROS2::bag::OfferedQosProfile;

constexpr const char* kHash =
    "RIHS01_a2e5a4d2f8c6ef0ff4a0a9e3e8ab46ec1f7dbd6e8e3a8f9b0c7f9a3b7f6e5d4c";

// What discovery reports for a reliable, volatile publisher over DDS.
OfferedQosProfile discoveredReliableVolatile() {
    OfferedQosProfile profile;
    profile.history = qorROS2::bag::POLICY_UNKNOWN;
    profile.depth = 0;
    profile.deadline = kInfiniteQosDuration;
    profile.lifespan = kInfiniteQosDuration;
    profile.liveliness = qorROS2::bag::LIVELINESS_AUTOMATIC;
    profile.livelinessLeaseDuration = kInfiniteQosDuration;
    return profile;
}

BagMetadata sampleBag(int version) {
    BagMetadata metadata;
    metadata.version = version;
    metadata.storageIdentifier = "mcap";
    metadata.durationNanoseconds = 2500000000;
    metadata.startingTimeNanoseconds = 1700000000123456789;
    metadata.messageCount = 3;
    qorROS2::bag::TopicInformation topic;
    topic.topicMetadata.name = "/joint_states";
    topic.topicMetadata.type = "sensor_msgs/msg/JointState";
    topic.topicMetadata.offeredQosProfiles = {discoveredReliableVolatile()};
    topic.topicMetadata.typeDescriptionHash = version >= 7 ? kHash : "";
    topic.messageCount = 3;
    metadata.topicsWithMessageCount = {topic};
    metadata.relativeFilePaths = {"run_0.mcap"};
    metadata.files = {{"run_0.mcap", 1700000000123456789, 2500000000, 3}};
    metadata.rosDistro = version >= 8 ? "jazzy" : "";
    return metadata;
}

// The lines that both releases write alike: before the topic's QoS, and after its type hash.
std::string head(int version) {
    return "rosbag2_bagfile_information:\n"
           "  version: " +
           std::to_string(version) +
           "\n"
           "  storage_identifier: mcap\n"
           "  duration:\n"
           "    nanoseconds: 2500000000\n"
           "  starting_time:\n"
           "    nanoseconds_since_epoch: 1700000000123456789\n"
           "  message_count: 3\n"
           "  topics_with_message_count:\n"
           "    - topic_metadata:\n"
           "        name: /joint_states\n"
           "        type: sensor_msgs/msg/JointState\n"
           "        serialization_format: cdr\n";
}

const std::string kTail =
    "      message_count: 3\n"
    "  compression_format: \"\"\n"
    "  compression_mode: \"\"\n"
    "  relative_file_paths:\n"
    "    - run_0.mcap\n"
    "  files:\n"
    "    - path: run_0.mcap\n"
    "      starting_time:\n"
    "        nanoseconds_since_epoch: 1700000000123456789\n"
    "      duration:\n"
    "        nanoseconds: 2500000000\n"
    "      message_count: 3";

const std::string kHumbleText =
    head(5) +
    "        offered_qos_profiles: \"- history: 3\\n  depth: 0\\n  reliability: 1\\n  durability: "
    "2\\n  deadline:\\n    sec: 9223372036\\n    nsec: 854775807\\n  lifespan:\\n    sec: "
    "9223372036\\n    nsec: 854775807\\n  liveliness: 1\\n  liveliness_lease_duration:\\n    "
    "sec: 9223372036\\n    nsec: 854775807\\n  avoid_ros_namespace_conventions: false\"\n" +
    kTail;

const std::string kJazzyText = head(9) +
                               "        offered_qos_profiles:\n"
                               "          - history: unknown\n"
                               "            depth: 0\n"
                               "            reliability: reliable\n"
                               "            durability: volatile\n"
                               "            deadline:\n"
                               "              sec: 9223372036\n"
                               "              nsec: 854775807\n"
                               "            lifespan:\n"
                               "              sec: 9223372036\n"
                               "              nsec: 854775807\n"
                               "            liveliness: automatic\n"
                               "            liveliness_lease_duration:\n"
                               "              sec: 9223372036\n"
                               "              nsec: 854775807\n"
                               "            avoid_ros_namespace_conventions: false\n"
                               "        type_description_hash: " +
                               std::string(kHash) + "\n" + kTail +
                               "\n"
                               "  custom_data: ~\n"
                               "  ros_distro: jazzy";

void expectSameMetadata(const BagMetadata& expected, const BagMetadata& actual) {
    EXPECT_EQ(expected.version, actual.version);
    EXPECT_EQ(expected.storageIdentifier, actual.storageIdentifier);
    EXPECT_EQ(expected.durationNanoseconds, actual.durationNanoseconds);
    EXPECT_EQ(expected.startingTimeNanoseconds, actual.startingTimeNanoseconds);
    EXPECT_EQ(expected.messageCount, actual.messageCount);
    ASSERT_EQ(expected.topicsWithMessageCount.size(), actual.topicsWithMessageCount.size());
    for (std::size_t i = 0; i < expected.topicsWithMessageCount.size(); ++i) {
        const auto& want = expected.topicsWithMessageCount[i];
        const auto& got = actual.topicsWithMessageCount[i];
        EXPECT_EQ(want.topicMetadata.name, got.topicMetadata.name);
        EXPECT_EQ(want.topicMetadata.type, got.topicMetadata.type);
        EXPECT_EQ(want.topicMetadata.serializationFormat, got.topicMetadata.serializationFormat);
        EXPECT_TRUE(want.topicMetadata.offeredQosProfiles == got.topicMetadata.offeredQosProfiles);
        EXPECT_EQ(want.topicMetadata.typeDescriptionHash, got.topicMetadata.typeDescriptionHash);
        EXPECT_EQ(want.messageCount, got.messageCount);
    }
    EXPECT_EQ(expected.compressionFormat, actual.compressionFormat);
    EXPECT_EQ(expected.compressionMode, actual.compressionMode);
    EXPECT_EQ(expected.relativeFilePaths, actual.relativeFilePaths);
    ASSERT_EQ(expected.files.size(), actual.files.size());
    for (std::size_t i = 0; i < expected.files.size(); ++i) {
        EXPECT_EQ(expected.files[i].path, actual.files[i].path);
        EXPECT_EQ(expected.files[i].startingTimeNanoseconds,
                  actual.files[i].startingTimeNanoseconds);
        EXPECT_EQ(expected.files[i].durationNanoseconds, actual.files[i].durationNanoseconds);
        EXPECT_EQ(expected.files[i].messageCount, actual.files[i].messageCount);
    }
    EXPECT_EQ(expected.customData, actual.customData);
    EXPECT_EQ(expected.rosDistro, actual.rosDistro);
}

// A bag directory of its own under the temporary folder, removed with its content.
class BagDirectory {
  public:
    BagDirectory() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "qor_bag_metadata_XXXXXX").string();
        m_path = ::mkdtemp(pattern.data()) != nullptr ? pattern : "";
    }
    ~BagDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    BagDirectory(const BagDirectory&) = delete;
    BagDirectory& operator=(const BagDirectory&) = delete;
    BagDirectory(BagDirectory&&) = delete;
    BagDirectory& operator=(BagDirectory&&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

std::string errorOf(const std::string& yaml) {
    return qorTest::bagErrorOf(
        [&] { qorROS2::bag::bagMetadataFromYaml(yaml, "bag/metadata.yaml"); });
}

// kHumbleText with `from` replaced by `to` (which must be there).
std::string humbleWith(const std::string& from, const std::string& to) {
    std::string text = kHumbleText;
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

}  // namespace

TEST(BagMetadata, WritesVersion5AsHumbleDoes) {
    EXPECT_EQ(kHumbleText, qorROS2::bag::bagMetadataToYaml(sampleBag(5)));
}

TEST(BagMetadata, WritesVersion9AsJazzyDoes) {
    EXPECT_EQ(kJazzyText, qorROS2::bag::bagMetadataToYaml(sampleBag(9)));
}

TEST(BagMetadata, ReadsWhatHumbleWrites) {
    expectSameMetadata(sampleBag(5), qorROS2::bag::bagMetadataFromYaml(kHumbleText, "m.yaml"));
}

TEST(BagMetadata, ReadsWhatJazzyWrites) {
    expectSameMetadata(sampleBag(9), qorROS2::bag::bagMetadataFromYaml(kJazzyText, "m.yaml"));
}

TEST(BagMetadata, RoundTripsVersion5And9ThroughABagDirectory) {
    for (int version : {5, 9}) {
        BagDirectory directory;
        ASSERT_FALSE(directory.path().empty());
        BagMetadata metadata = sampleBag(version);
        metadata.compressionFormat = "zstd";
        metadata.compressionMode = "FILE";
        metadata.topicsWithMessageCount.push_back(metadata.topicsWithMessageCount[0]);
        metadata.topicsWithMessageCount[1].topicMetadata.name = "/clock";
        metadata.topicsWithMessageCount[1].topicMetadata.offeredQosProfiles = {};
        if (version == 9) {
            metadata.customData = {{"robot", "arm 2"}, {"run", "17"}};
        }
        qorROS2::bag::writeBagMetadata(directory.path(), metadata);
        expectSameMetadata(metadata, qorROS2::bag::readBagMetadata(directory.path()));
    }
}

TEST(BagMetadata, WritesCustomDataAsAMapAndNoProfilesAsJazzyDoes) {
    BagMetadata metadata = sampleBag(9);
    metadata.customData = {{"run", "17"}};
    metadata.topicsWithMessageCount[0].topicMetadata.offeredQosProfiles = {};
    const std::string text = qorROS2::bag::bagMetadataToYaml(metadata);
    EXPECT_NE(text.find("  custom_data:\n    run: 17\n  ros_distro: jazzy"), std::string::npos)
        << text;
    EXPECT_NE(text.find("        offered_qos_profiles:\n          []\n"), std::string::npos)
        << text;
}

// yaml-cpp, which rosbag2 writes with, puts an empty list on a line of its own.
TEST(BagMetadata, WritesAnEmptyBagAsHumbleDoes) {
    BagMetadata metadata;
    metadata.version = 5;
    metadata.storageIdentifier = "mcap";
    EXPECT_EQ(
        "rosbag2_bagfile_information:\n"
        "  version: 5\n"
        "  storage_identifier: mcap\n"
        "  duration:\n"
        "    nanoseconds: 0\n"
        "  starting_time:\n"
        "    nanoseconds_since_epoch: 0\n"
        "  message_count: 0\n"
        "  topics_with_message_count:\n"
        "    []\n"
        "  compression_format: \"\"\n"
        "  compression_mode: \"\"\n"
        "  relative_file_paths:\n"
        "    []\n"
        "  files:\n"
        "    []",
        qorROS2::bag::bagMetadataToYaml(metadata));
}

TEST(BagMetadata, ReadsVersion4WithoutFiles) {
    std::string text = humbleWith("version: 5", "version: 4");
    text = text.substr(0, text.find("\n  files:"));
    const BagMetadata metadata = qorROS2::bag::bagMetadataFromYaml(text, "m.yaml");
    EXPECT_EQ(4, metadata.version);
    EXPECT_TRUE(metadata.files.empty());
    EXPECT_EQ(std::vector<std::string>{"run_0.mcap"}, metadata.relativeFilePaths);
    EXPECT_TRUE(metadata.topicsWithMessageCount[0].topicMetadata.offeredQosProfiles ==
                std::vector<OfferedQosProfile>{discoveredReliableVolatile()});
}

TEST(BagMetadata, ReadsVersions6To8WithTheirKeys) {
    // Iron writes version 8 (and 6, 7 before it): the QoS still as a string with integers.
    const std::string text =
        humbleWith("version: 5", "version: 8")
            .replace(kHumbleText.find("      message_count: 3\n  compression"), 0,
                     "        type_description_hash: " + std::string(kHash) + "\n") +
        "\n  custom_data:\n    operator: ada\n  ros_distro: iron";
    const BagMetadata metadata = qorROS2::bag::bagMetadataFromYaml(text, "m.yaml");
    EXPECT_EQ(8, metadata.version);
    EXPECT_EQ(kHash, metadata.topicsWithMessageCount[0].topicMetadata.typeDescriptionHash);
    EXPECT_EQ((std::map<std::string, std::string>{{"operator", "ada"}}), metadata.customData);
    EXPECT_EQ("iron", metadata.rosDistro);

    // Version 6 has custom data (null when there is none) but neither type hash nor distro.
    const BagMetadata six = qorROS2::bag::bagMetadataFromYaml(
        humbleWith("version: 5", "version: 6") + "\n  custom_data: ~", "m.yaml");
    EXPECT_TRUE(six.customData.empty());
    EXPECT_EQ("", six.rosDistro);

    // Version 7 adds the type hash, which must then be there.
    const std::string seven = humbleWith("version: 5", "version: 7") + "\n  custom_data: ~";
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.topics_with_message_count[0]."
        "topic_metadata.type_description_hash: missing",
        errorOf(seven));
    const BagMetadata withHash = qorROS2::bag::bagMetadataFromYaml(
        std::string(seven).replace(seven.find("      message_count: 3\n  compression"), 0,
                                   "        type_description_hash: \"\"\n"),
        "m.yaml");
    EXPECT_EQ("", withHash.topicsWithMessageCount[0].topicMetadata.typeDescriptionHash);
}

TEST(BagMetadata, ReadsTheInfinityOfOldReleasesAsInfinite) {
    const std::string text = humbleWith("deadline:\\n    sec: 9223372036\\n    nsec: 854775807",
                                        "deadline:\\n    sec: 2147483647\\n    nsec: 4294967295");
    const BagMetadata metadata = qorROS2::bag::bagMetadataFromYaml(text, "m.yaml");
    EXPECT_TRUE(metadata.topicsWithMessageCount[0].topicMetadata.offeredQosProfiles[0].deadline ==
                kInfiniteQosDuration);
}

TEST(BagMetadata, NamesTheFileWhenItIsMissing) {
    BagDirectory directory;
    EXPECT_EQ(directory.path() + "/metadata.yaml: cannot be read: No such file or directory",
              qorTest::bagErrorOf([&] { qorROS2::bag::readBagMetadata(directory.path()); }));
}

TEST(BagMetadata, NamesTheFileWhenItIsADirectory) {
    BagDirectory directory;
    std::filesystem::create_directory(directory.path() + "/metadata.yaml");
    EXPECT_EQ(directory.path() + "/metadata.yaml: cannot be read: Is a directory",
              qorTest::bagErrorOf([&] { qorROS2::bag::readBagMetadata(directory.path()); }));
}

TEST(BagMetadata, NamesTheFileAndKeyOfWhatIsWrong) {
    EXPECT_EQ("bag/metadata.yaml: not YAML (line 1, column 1: end of map flow not found)",
              errorOf("{a: b"));
    EXPECT_EQ(
        "bag/metadata.yaml: the document: expected a map holding "
        "'rosbag2_bagfile_information'",
        errorOf(""));
    EXPECT_EQ("bag/metadata.yaml: rosbag2_bagfile_information.message_count: missing",
              errorOf(humbleWith("  message_count: 3\n  topics", "  topics")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.duration.nanoseconds: expected an "
        "integer from 0 to 9223372036854775807, got '-4'",
        errorOf(humbleWith("nanoseconds: 2500000000", "nanoseconds: -4")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.starting_time."
        "nanoseconds_since_epoch: expected an integer from 0 to 9223372036854775807, got "
        "'99999999999999999999'",
        errorOf(humbleWith("nanoseconds_since_epoch: 1700000000123456789",
                           "nanoseconds_since_epoch: 99999999999999999999")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.version: expected an integer from "
        "4 to 9, got '10'",
        errorOf(humbleWith("version: 5", "version: 10")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.relative_file_paths: expected a "
        "list",
        errorOf(humbleWith("relative_file_paths:\n    - run_0.mcap",
                           "relative_file_paths: run_0.mcap")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.topics_with_message_count[0]."
        "topic_metadata.offered_qos_profiles[0].reliability: expected one of 0, 1, 2, 3, "
        "4, got '7'",
        errorOf(humbleWith("reliability: 1", "reliability: 7")));
    EXPECT_EQ(
        "bag/metadata.yaml: rosbag2_bagfile_information.topics_with_message_count[0]."
        "topic_metadata.offered_qos_profiles: not YAML (line 2, column 8: end of map flow not "
        "found)",
        errorOf(humbleWith("\"- history: 3", "\"{history: 3")));
}

TEST(BagMetadata, RefusesToWriteWhatRosbag2CannotRead) {
    BagMetadata metadata = sampleBag(7);
    EXPECT_EQ(
        "cannot write metadata version 7: only versions 5 (as ROS 2 Humble) and 9 (as "
        "ROS 2 Jazzy) are written",
        qorTest::bagErrorOf([&] { qorROS2::bag::bagMetadataToYaml(metadata); }));
    metadata = sampleBag(5);
    metadata.durationNanoseconds = -1;
    EXPECT_THROW(qorROS2::bag::bagMetadataToYaml(metadata), BagError);
}
