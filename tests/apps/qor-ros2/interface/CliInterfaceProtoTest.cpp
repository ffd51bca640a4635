#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "WaitFor.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"
#include "topic/TopicPub.h"

namespace {

// The YAML of `record` as echo prints it.
template <typename Record>
std::string recordToYaml(const Record& record) {
    return qorROS2::typesupport::toYaml(qorROS2::typesupport::viewOfRecord(record));
}

// The domain of the subscribers that receive what `topic pub` sends; the proto runs get it too.
constexpr int kProtoDomain = 105;
constexpr int kPubDomain = kProtoDomain;

// The YAML that `interface proto TYPE` prints between its quotes; fails the test when the quotes
// or the exit code are not as ros2 gives them.
std::string protoYaml(const std::string& type) {
    const auto result = qorCliTest::runCli("interface proto " + type, kProtoDomain, true);
    EXPECT_EQ(result.exitCode, 0) << type << ": " << result.output;
    const std::string& out = result.output;
    if (out.size() < 3 || out.front() != '"' || out.compare(out.size() - 2, 2, "\"\n") != 0) {
        ADD_FAILURE() << type << ": not inside double quotes: " << out;
        return "";
    }
    return out.substr(1, out.size() - 3);
}

// The prototype of `Record`, read back by the reader of `topic pub`: accepted, with every field
// of the record written, and giving the default record.
template <typename Record>
void expectPrototypeReadsBackAsTheDefault() {
    const std::string type = qorROS2::rosTypeName<Record>();
    const std::string yaml = protoYaml(type);
    Record read{};
    try {
        read = qorCli::recordFromYaml<Record>(yaml);
    } catch (const std::exception& error) {
        ADD_FAILURE() << type << ": the prototype is refused: " << error.what() << "\n" << yaml;
        return;
    }
    EXPECT_EQ(recordToYaml(read), recordToYaml(Record{})) << type;
    const YAML::Node root = YAML::Load(yaml);
    for (const auto& field : qorROS2::typesupport::getTypeSupport(type).fields()) {
        EXPECT_TRUE(root[field.name].IsDefined()) << type << " lacks " << field.name;
    }
}

#define QORCLI_EXPECT_PROTOTYPE(Namespace, Name) \
    expectPrototypeReadsBackAsTheDefault<qorROS2::Namespace::Name>();

TEST(CliInterfaceProto, EveryPrototypeIsAcceptedByPubAndGivesTheDefaultRecord) {
    QORROS2_FOR_EACH_MESSAGE(QORCLI_EXPECT_PROTOTYPE)
}
#undef QORCLI_EXPECT_PROTOTYPE

// The simulator-control messages and those an action's goals are told by.
TEST(CliInterfaceProto, EverySimulationAndActionPrototypeIsAcceptedByPubAndGivesTheDefault) {
    namespace si = qorROS2::simulationInterfaces;
    expectPrototypeReadsBackAsTheDefault<si::Bounds>();
    expectPrototypeReadsBackAsTheDefault<si::EntityCategory>();
    expectPrototypeReadsBackAsTheDefault<si::EntityFilters>();
    expectPrototypeReadsBackAsTheDefault<si::EntityInfo>();
    expectPrototypeReadsBackAsTheDefault<si::EntityState>();
    expectPrototypeReadsBackAsTheDefault<si::NamedPose>();
    expectPrototypeReadsBackAsTheDefault<si::Resource>();
    expectPrototypeReadsBackAsTheDefault<si::Result>();
    expectPrototypeReadsBackAsTheDefault<si::SimulationState>();
    expectPrototypeReadsBackAsTheDefault<si::SimulatorFeatures>();
    expectPrototypeReadsBackAsTheDefault<si::SpawnEntity>();
    expectPrototypeReadsBackAsTheDefault<si::SpawnResult>();
    expectPrototypeReadsBackAsTheDefault<si::Spawnable>();
    expectPrototypeReadsBackAsTheDefault<si::TagsFilter>();
    expectPrototypeReadsBackAsTheDefault<si::WorldResource>();
    expectPrototypeReadsBackAsTheDefault<qorROS2::actionMsgs::GoalInfo>();
    expectPrototypeReadsBackAsTheDefault<qorROS2::actionMsgs::GoalStatus>();
    expectPrototypeReadsBackAsTheDefault<qorROS2::actionMsgs::GoalStatusArray>();
    expectPrototypeReadsBackAsTheDefault<qorROS2::uniqueIdentifierMsgs::UUID>();
}

TEST(CliInterfaceProto, BytesWrittenAsCharactersReadBackAsTheSameCodes) {
    qorROS2::stdMsgs::ByteMultiArray bytes{};
    // Every code, the line feed too: written as PyYAML writes it, '<break><break>  ', which the
    // reader takes as the break although yaml-cpp alone reads it as an empty string.
    for (int code = 0; code < 256; ++code) {
        bytes.data.push_back(static_cast<std::uint8_t>(code));
    }
    const std::string yaml = recordToYaml(bytes);
    EXPECT_EQ(qorCli::recordFromYaml<qorROS2::stdMsgs::ByteMultiArray>(yaml).data, bytes.data);
    // A plain number is still a number; a quoted digit is its character.
    const auto mixed =
        qorCli::recordFromYaml<qorROS2::stdMsgs::ByteMultiArray>("{data: [7, '7', A, \"\\xE9\"]}");
    EXPECT_EQ(mixed.data, (std::vector<std::uint8_t>{7, '7', 'A', 0xE9}));
    EXPECT_EQ(qorCli::recordFromYaml<qorROS2::stdMsgs::Char>("{data: \"\\xFF\"}").data,
              static_cast<char>(0xFF));
    // A char is echoed as its code, so a plain number is read as the code.
    EXPECT_EQ(qorCli::recordFromYaml<qorROS2::stdMsgs::Char>("{data: 7}").data, '\x07');
    EXPECT_EQ(qorCli::recordFromYaml<qorROS2::stdMsgs::Char>("{data: '7'}").data, '7');
}

TEST(CliInterfaceProto, StringsWithLineBreaksReadBackAsWritten) {
    qorROS2::sensorMsgs::JointState state{};
    state.header.frame_id = "\nbase\n\nlink\n";
    state.name = {"a\nb", "<robot>\n  <link/>\n</robot>", "it's\n"};
    const std::string yaml = recordToYaml(state);
    const auto read = qorCli::recordFromYaml<qorROS2::sensorMsgs::JointState>(yaml);
    EXPECT_EQ(read.header.frame_id, state.header.frame_id) << yaml;
    EXPECT_EQ(read.name, state.name) << yaml;
}

TEST(CliInterfaceProto, PrintsTheDefaultsInsideDoubleQuotesAsRos2Does) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto geometry_msgs/msg/PoseStamped", kProtoDomain, true), 0,
        "\"header:\n"
        "  stamp:\n"
        "    sec: 0\n"
        "    nanosec: 0\n"
        "  frame_id: ''\n"
        "pose:\n"
        "  position:\n"
        "    x: 0.0\n"
        "    y: 0.0\n"
        "    z: 0.0\n"
        "  orientation:\n"
        "    x: 0.0\n"
        "    y: 0.0\n"
        "    z: 0.0\n"
        "    w: 0.0\n"
        "\"\n"));
}

TEST(CliInterfaceProto, WritesFixedArraysElementByElementAndBytesAsCharacters) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto std_msgs/Byte --no-quotes", kProtoDomain, true), 0,
        "data: \"\\0\"\n\n"));
    const std::string imu = protoYaml("sensor_msgs/msg/Imu");
    EXPECT_NE(imu.find("orientation_covariance:\n- 0.0\n- 0.0\n- 0.0\n- 0.0\n- 0.0\n- 0.0\n- "
                       "0.0\n- 0.0\n- 0.0\nangular_velocity:\n"),
              std::string::npos)
        << imu;
}

TEST(CliInterfaceProto, NoQuotesLeavesTheQuotesOutAndKeepsTheEmptyLine) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto std_msgs/msg/Empty", kProtoDomain, true), 0,
        "\"{}\n\"\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto std_msgs/msg/String --no-quotes", kProtoDomain, true),
        0, "data: ''\n\n"));
}

TEST(CliInterfaceProto, UnknownTypeExitsWithOneAndAMissingTypeWithTwo) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto std_msgs/msg/Strin", kProtoDomain, true), 1,
        "qor-ros2: unknown message type 'std_msgs/msg/Strin' (see 'qor-ros2 interface list' "
        "for the known ones)\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto", kProtoDomain, true), 2,
        "usage: qor-ros2 interface proto [-h] [--no-quotes] type\n"
        "qor-ros2 interface proto: error: the following arguments are required: type\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface proto std_msgs/msg/String --quotes", kProtoDomain, true), 2,
        "usage: qor-ros2 interface proto [-h] [--no-quotes] type\n"
        "qor-ros2 interface proto: error: unrecognized arguments: --quotes\n"));
}

const qorROS2::QOS kLatched{qorROS2::QOS::TRANSIENT_LOCAL, qorROS2::QOS::RELIABLE,
                            qorROS2::QOS::KEEP_LAST, 1};

// Publishes `values` once on `topic` with a child `topic pub` and returns what a subscriber got.
template <typename Record>
Record publishedByPub(const std::string& topic, const std::string& values) {
    // Transient local, as the publisher of `topic pub` is, and the publisher stays a while: a
    // subscription that learns of the publisher only after the message went out still gets it.
    const qorROS2::Subscriber<Record> subscriber(topic, kLatched, kPubDomain);
    const std::string type = qorROS2::rosTypeName<Record>();
    const auto result = qorCliTest::runCli("topic pub --once --keep-alive 2 " + topic + " " + type +
                                               " " + qorCliTest::shellQuoted(values),
                                           kPubDomain, true);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    Record received{};
    EXPECT_TRUE(qorTest::receiveWithin(subscriber, received)) << type << " was not received";
    return received;
}

// Replaces the one occurrence of `from` in `text` by `to`.
std::string edited(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(CliInterfaceProto, EditedPrototypeOfJointStatePublishesThatValueAndDefaultsElsewhere) {
    using JointState = qorROS2::sensorMsgs::JointState;
    const std::string proto = protoYaml("sensor_msgs/msg/JointState");
    const JointState received = publishedByPub<JointState>(
        "/proto/joint_state", edited(proto, "frame_id: ''", "frame_id: base"));
    JointState expected{};
    expected.header.frame_id = "base";
    EXPECT_EQ(recordToYaml(received), recordToYaml(expected));
}

TEST(CliInterfaceProto, EditedPrototypeOfCameraInfoPublishesThoseValuesAndDefaultsElsewhere) {
    using CameraInfo = qorROS2::sensorMsgs::CameraInfo;
    const std::string proto = protoYaml("sensor_msgs/msg/CameraInfo");
    const std::string values = edited(edited(proto, "\nheight: 0\n", "\nheight: 480\n"),
                                      "do_rectify: false", "do_rectify: true");
    const CameraInfo received = publishedByPub<CameraInfo>("/proto/camera_info", values);
    CameraInfo expected{};
    expected.height = 480;
    expected.roi.do_rectify = true;
    EXPECT_EQ(recordToYaml(received), recordToYaml(expected));
}

TEST(CliInterfaceProto, PrototypesOfByteAndEmptyArePublishedAsTheDefault) {
    const auto byte =
        publishedByPub<qorROS2::stdMsgs::Byte>("/proto/byte", protoYaml("std_msgs/Byte"));
    EXPECT_EQ(byte.data, '\0');
    publishedByPub<qorROS2::stdMsgs::Empty>("/proto/empty", protoYaml("std_msgs/msg/Empty"));
}

}  // namespace

namespace {

// The round trip of every type runs alone in its domain: it starts a hundred processes.
constexpr int kRoundTripDomain = 79;
// The script's limit: eight rounds of twelve publishers, which take seconds each when they match.
constexpr int kRoundTripSeconds = 300;
// How long a subscription may still take to hand over a sample its publisher already sent.
constexpr std::chrono::seconds kArrivedDeadline{3};

// A subscription of one type's round-trip topic, and the check of what it received.
class RoundTrip {
  public:
    virtual ~RoundTrip() = default;
    virtual const std::string& type() const = 0;
    virtual const std::string& topic() const = 0;
    /// Whether the default record arrived; says what came otherwise.
    virtual void expectTheDefaultRecord() = 0;
};

template <typename Record>
class RecordRoundTrip final : public RoundTrip {
  public:
    RecordRoundTrip()
        : m_type(qorROS2::rosTypeName<Record>()),
          m_topic("/proto_all/" + std::string(qorROS2::MessageDescription<Record>::package) + "_" +
                  qorROS2::MessageDescription<Record>::name),
          // Latched, for the reason publishedByPub gives.
          m_subscriber(m_topic, kLatched, kRoundTripDomain) {}

    const std::string& type() const override { return m_type; }
    const std::string& topic() const override { return m_topic; }

    void expectTheDefaultRecord() override {
        Record received{};
        EXPECT_TRUE(qorTest::receiveWithin(m_subscriber, received, kArrivedDeadline))
            << m_type << " was not received";
        EXPECT_EQ(recordToYaml(received), recordToYaml(Record{})) << m_type;
    }

  private:
    std::string m_type;
    std::string m_topic;
    qorROS2::Subscriber<Record> m_subscriber;
};

#define QORCLI_ROUND_TRIP(Namespace, Name) \
    trips.push_back(std::make_unique<RecordRoundTrip<qorROS2::Namespace::Name>>());

TEST(CliInterfaceProto, EveryTypesPrototypeGoesThroughTopicPubToASubscriber) {
    std::vector<std::unique_ptr<RoundTrip>> trips;
    QORROS2_FOR_EACH_MESSAGE(QORCLI_ROUND_TRIP)
    ASSERT_EQ(trips.size(), 89U);
    // Each type's prototype, as the tool prints it, given to `topic pub` as a user would paste
    // it; twelve commands at a time. Each waits for its subscription (a minute at most, so that
    // a publisher that never matches says so instead of holding the others) and stays three
    // seconds after its message. Every command reports how it ended, so that a run stopped at
    // its deadline still shows which commands had not finished.
    std::string script = "cli=" + qorCliTest::shellQuoted(QOR_ROS2_CLI) + "\n";
    for (std::size_t i = 0; i < trips.size(); ++i) {
        const std::string& type = trips[i]->type();
        script +=
            "{ start=$(date +%s); out=$(\"$cli\" topic pub --once --keep-alive 3 "
            "--max-wait-time-secs 60 " +
            trips[i]->topic() + " " + type + " \"$(\"$cli\" interface proto --no-quotes " + type +
            ")\" 2>&1); code=$?; took=$(( $(date +%s) - start ));"
            " case \"$code $out\" in \"0 \"*\"publisher: beginning loop\"*)"
            " echo \"sent " +
            type + "\" ;; *) echo \"failed " + type +
            ": exit $code after ${took}s: ${out//$'\\n'/ | }\" ;; esac; } &\n";
        if (i % 12 == 11) {
            script += "wait\n";
        }
    }
    script += "wait\n";
    const auto result = qorCliTest::runShellWithin("bash -c " + qorCliTest::shellQuoted(script),
                                                   kRoundTripDomain, kRoundTripSeconds);
    std::vector<std::string> sent = qorCliTest::linesOf(result.output);
    std::sort(sent.begin(), sent.end());
    std::vector<std::string> expected;
    for (const auto& trip : trips) {
        expected.push_back("sent " + trip->type());
    }
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(sent, expected) << "exit code " << result.exitCode << ", printed:\n" << result.output;
    // Every publisher matched its subscription and stayed after sending to a reliable,
    // latched one: what was sent is there or arrives within moments.
    for (const auto& trip : trips) {
        trip->expectTheDefaultRecord();
    }
}

#undef QORCLI_ROUND_TRIP

}  // namespace
