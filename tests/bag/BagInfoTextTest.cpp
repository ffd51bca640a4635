// What `ros2 bag info` prints, as ROS 2 Humble formats it: fields aligned at column 19, sizes
// in binary units, times in the local time zone with their seconds since the epoch. The
// expected texts are written out by hand from rosbag2's format code.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "BagErrorText.h"
#include "qorROS2/bag/BagInfoText.h"

namespace {

using qorROS2::bag::BagMetadata;

// Sets TZ for the life of the object, then restores what it was.
class TimeZone {
  public:
    explicit TimeZone(const char* zone) {
        const char* previous = ::getenv("TZ");
        m_had = previous != nullptr;
        m_previous = m_had ? previous : "";
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~TimeZone() {
        if (m_had) {
            ::setenv("TZ", m_previous.c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    TimeZone(TimeZone&&) = delete;
    TimeZone& operator=(TimeZone&&) = delete;

  private:
    bool m_had = false;
    std::string m_previous;
};

qorROS2::bag::TopicInformation topic(const std::string& name, const std::string& type,
                                     std::uint64_t count) {
    qorROS2::bag::TopicInformation information;
    information.topicMetadata.name = name;
    information.topicMetadata.type = type;
    information.messageCount = count;
    return information;
}

BagMetadata oneTopicBag() {
    BagMetadata metadata;
    metadata.storageIdentifier = "mcap";
    metadata.startingTimeNanoseconds = 1700000000123456789;
    metadata.durationNanoseconds = 2500000000;
    metadata.messageCount = 3;
    metadata.relativeFilePaths = {"run_0.mcap"};
    metadata.topicsWithMessageCount = {topic("/joint_states", "sensor_msgs/msg/JointState", 3)};
    return metadata;
}

}  // namespace

TEST(BagInfoText, PrintsOneTopicAsHumbleDoes) {
    TimeZone utc("UTC");
    EXPECT_EQ(
        "\n"
        "Files:             run_0.mcap\n"
        "Bag size:          1.5 KiB\n"
        "Storage id:        mcap\n"
        "Duration:          2.500000000s\n"
        "Start:             Nov 14 2023 22:13:20.123456789 (1700000000.123456789)\n"
        "End:               Nov 14 2023 22:13:22.623456789 (1700000002.623456789)\n"
        "Messages:          3\n"
        "Topic information: Topic: /joint_states | Type: sensor_msgs/msg/JointState | "
        "Count: 3 | Serialization Format: cdr\n"
        "\n",
        qorROS2::bag::bagInfoText(oneTopicBag(), 1536));
}

TEST(BagInfoText, ShowsTimesInTheLocalTimeZoneWithASpacePaddedDay) {
    BagMetadata metadata = oneTopicBag();
    {
        TimeZone tokyo("JST-9");
        const std::string text = qorROS2::bag::bagInfoText(metadata, 1536);
        EXPECT_NE(text.find("\nStart:             Nov 15 2023 07:13:20.123456789 "
                            "(1700000000.123456789)\n"),
                  std::string::npos)
            << text;
    }
    metadata.startingTimeNanoseconds = 1699000000000000001;
    metadata.durationNanoseconds = 61999999999;
    TimeZone behind("XST+11");
    const std::string text = qorROS2::bag::bagInfoText(metadata, 1536);
    EXPECT_NE(
        text.find("Duration:          61.999999999s\n"
                  "Start:             Nov  2 2023 21:26:40.000000001 (1699000000.000000001)\n"
                  "End:               Nov  2 2023 21:27:42.000000000 (1699000062.000000000)\n"),
        std::string::npos)
        << text;
}

TEST(BagInfoText, AlignsFurtherFilesAndTopicsUnderTheFirst) {
    TimeZone utc("UTC");
    BagMetadata metadata = oneTopicBag();
    metadata.relativeFilePaths = {"run_0.mcap", "run_1.mcap"};
    metadata.topicsWithMessageCount.push_back(topic("/clock", "rosgraph_msgs/msg/Clock", 0));
    const std::string text = qorROS2::bag::bagInfoText(metadata, 1536);
    EXPECT_NE(text.find("Files:             run_0.mcap\n"
                        "                   run_1.mcap\n"
                        "Bag size:"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Topic information: Topic: /joint_states | Type: "
                        "sensor_msgs/msg/JointState | Count: 3 | Serialization Format: cdr\n"
                        "                   Topic: /clock | Type: rosgraph_msgs/msg/Clock | "
                        "Count: 0 | Serialization Format: cdr\n\n"),
              std::string::npos)
        << text;
}

TEST(BagInfoText, LeavesEmptyListsBlankForAnEmptyBag) {
    TimeZone utc("UTC");
    BagMetadata empty;
    empty.storageIdentifier = "mcap";
    EXPECT_EQ(
        "\n"
        "Files:             \n"
        "Bag size:          0 B\n"
        "Storage id:        mcap\n"
        "Duration:          0.000000000s\n"
        "Start:             Jan  1 1970 00:00:00.000000000 (0.000000000)\n"
        "End:               Jan  1 1970 00:00:00.000000000 (0.000000000)\n"
        "Messages:          0\n"
        "Topic information: \n"
        "\n",
        qorROS2::bag::bagInfoText(empty, 0));
}

TEST(BagInfoText, WritesSizesInBinaryUnitsWithOneDecimal) {
    TimeZone utc("UTC");
    const std::pair<std::uint64_t, const char*> sizes[] = {
        {1023, "1023 B"},           {1024, "1.0 KiB"},
        {1048575, "1024.0 KiB"},  // rounded after the unit is chosen
        {5767168, "5.5 MiB"},       {3ULL << 30, "3.0 GiB"},
        {5ULL << 50, "5120.0 TiB"},  // no unit beyond TiB
    };
    for (const auto& [bytes, shown] : sizes) {
        const std::string text = qorROS2::bag::bagInfoText(oneTopicBag(), bytes);
        EXPECT_NE(text.find(std::string("\nBag size:          ") + shown + "\n"), std::string::npos)
            << text;
    }
}

TEST(BagInfoText, RefusesTimesItCannotShow) {
    BagMetadata metadata = oneTopicBag();
    metadata.durationNanoseconds = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(
        "cannot show a bag whose start (1700000000123456789 ns) or duration "
        "(9223372036854775807 ns) is negative or ends beyond the year 2262",
        qorTest::bagErrorOf([&] { qorROS2::bag::bagInfoText(metadata, 0); }));
}

TEST(BagInfoText, SizesABagAsTheFilesDirectlyInItsDirectory) {
    const auto directory =
        std::filesystem::temp_directory_path() / ("qor_bag_size_" + std::to_string(::getpid()));
    std::filesystem::create_directories(directory / "nested");
    std::ofstream(directory / "metadata.yaml") << std::string(100, 'm');
    std::ofstream(directory / "run_0.mcap") << std::string(1000, 'r');
    std::ofstream(directory / "nested" / "ignored") << std::string(5000, 'x');
    std::filesystem::create_symlink(directory / "gone", directory / "dangling");
    const std::uint64_t size = qorROS2::bag::bagDirectorySize(directory.string());
    const std::string missing =
        qorTest::bagErrorOf([&] { qorROS2::bag::bagDirectorySize((directory / "no").string()); });
    std::filesystem::remove_all(directory);
    EXPECT_EQ(1100U, size);
    EXPECT_EQ((directory / "no").string() +
                  ": cannot be read as a bag directory: No such file or directory",
              missing);
}
