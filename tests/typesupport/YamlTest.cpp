// Proves YAML both ways for every message type: what toYaml writes, fromYaml reads back into the
// same record, and the texts and refusals are the ones ros2's tools give.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "MessageTypeTesting.h"
#include "RecordWalk.h"
#include "qorROS2/Messages.h"
#include "qorROS2/typesupport/Yaml.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

// The sample that `text` gives a default sample of `type`.
Sample readBack(const TypeSupport& type, const std::string& text) {
    Sample sample = type.createSample();
    fromYaml(text, viewOf(sample));
    return sample;
}

template <typename Record>
class YamlOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(YamlOfEveryType, qorTest::AllTypeSupportRecords, qorTest::RecordTestName);

TYPED_TEST(YamlOfEveryType, TheDefaultSampleReadsBackAsTheSameBytes) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    const Sample original = type.createSample();
    const std::string text = toYaml(viewOf(original));
    EXPECT_EQ(type.encode(readBack(type, text)), type.encode(original)) << text;
}

TYPED_TEST(YamlOfEveryType, AFilledSampleReadsBackAsTheSameBytesInBothStyles) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    Sample original = type.createSample();
    qorTest::fillRecord(original.as<TypeParam>());
    const Sample defaults = type.createSample();
    for (const bool flowStyle : {false, true}) {
        YamlOptions options;
        options.flowStyle = flowStyle;
        const std::string text = toYaml(viewOf(static_cast<const Sample&>(original)), options);
        // std_msgs/Empty: its placeholder member is no field, and what is read keeps its default.
        const Sample& expected = type.fields().empty() ? defaults : original;
        EXPECT_EQ(type.encode(readBack(type, text)), type.encode(expected)) << text;
    }
}

TYPED_TEST(YamlOfEveryType, ATypedRecordIsWrittenAsItsSample) {
    TypeParam record{};
    qorTest::fillRecord(record);
    Sample sample = getTypeSupport(rosTypeName<TypeParam>()).createSample();
    qorTest::fillRecord(sample.as<TypeParam>());
    EXPECT_EQ(toYaml(viewOfRecord(record)), toYaml(viewOf(static_cast<const Sample&>(sample))));
}

geometryMsgs::PoseStamped poseStamped() {
    geometryMsgs::PoseStamped pose{};
    pose.header.stamp.sec = 12;
    pose.header.frame_id = "map";
    pose.pose.position.x = 1.5;
    pose.pose.orientation.w = 1.0;
    return pose;
}

TEST(Yaml, WritesARecordInBlockStyleAsEchoDoes) {
    const auto pose = poseStamped();
    EXPECT_EQ(toYaml(viewOfRecord(pose)),
              "header:\n"
              "  stamp:\n"
              "    sec: 12\n"
              "    nanosec: 0\n"
              "  frame_id: map\n"
              "pose:\n"
              "  position:\n"
              "    x: 1.5\n"
              "    y: 0.0\n"
              "    z: 0.0\n"
              "  orientation:\n"
              "    x: 0.0\n"
              "    y: 0.0\n"
              "    z: 0.0\n"
              "    w: 1.0\n");
    const stdMsgs::Empty empty{};
    EXPECT_EQ(toYaml(viewOfRecord(empty)), "{}\n");
}

sensorMsgs::JointState jointState() {
    sensorMsgs::JointState state{};
    state.name = {"shoulder", "a, b"};
    state.position = {0.5, 1e-5, 3.0};
    return state;
}

TEST(Yaml, WritesArraysOnOneLineInFlowStyle) {
    const auto state = jointState();
    EXPECT_EQ(toYaml(viewOfRecord(state)),
              "header:\n"
              "  stamp:\n"
              "    sec: 0\n"
              "    nanosec: 0\n"
              "  frame_id: ''\n"
              "name:\n"
              "- shoulder\n"
              "- a, b\n"
              "position:\n"
              "- 0.5\n"
              "- 1.0e-05\n"
              "- 3.0\n"
              "velocity: []\n"
              "effort: []\n");
    YamlOptions flow;
    flow.flowStyle = true;
    EXPECT_EQ(toYaml(viewOfRecord(state), flow),
              "header:\n"
              "  stamp:\n"
              "    sec: 0\n"
              "    nanosec: 0\n"
              "  frame_id: ''\n"
              "name: [shoulder, 'a, b']\n"
              "position: [0.5, 1.0e-05, 3.0]\n"
              "velocity: []\n"
              "effort: []\n");

    // Records inside an array are flow mappings.
    stdMsgs::Float64MultiArray array{};
    array.layout.dim.resize(2);
    array.layout.dim[1].label = "x";
    array.layout.dim[1].size = 3;
    EXPECT_EQ(toYaml(viewOfRecord(array), flow),
              "layout:\n"
              "  dim: [{label: '', size: 0, stride: 0}, {label: x, size: 3, stride: 0}]\n"
              "  data_offset: 0\n"
              "data: []\n");
}

TEST(Yaml, CutsLongValuesAndSummarisesHiddenOnes) {
    const auto state = jointState();
    YamlOptions cut;
    cut.truncateLength = 2;
    EXPECT_EQ(toYaml(viewOfRecord(state), cut),
              "header:\n"
              "  stamp:\n"
              "    sec: 0\n"
              "    nanosec: 0\n"
              "  frame_id: ''\n"
              "name:\n"
              "- sh...\n"
              "- a,...\n"
              "position:\n"
              "- 0.5\n"
              "- 1.0e-05\n"
              "- '...'\n"
              "velocity: []\n"
              "effort: []\n");
    cut.flowStyle = true;
    EXPECT_NE(toYaml(viewOfRecord(state), cut).find("position: [0.5, 1.0e-05, '...']\n"),
              std::string::npos);

    YamlOptions hidden;
    hidden.noArrays = true;
    hidden.noStrings = true;
    EXPECT_EQ(toYaml(viewOfRecord(state), hidden),
              "header:\n"
              "  stamp:\n"
              "    sec: 0\n"
              "    nanosec: 0\n"
              "  frame_id: '<string length: <0>>'\n"
              "name: '<sequence type: string, length: 2>'\n"
              "position: '<sequence type: double, length: 3>'\n"
              "velocity: '<sequence type: double, length: 0>'\n"
              "effort: '<sequence type: double, length: 0>'\n");

    sensorMsgs::Imu imu{};
    const std::string imuText = toYaml(viewOfRecord(imu), hidden);
    EXPECT_NE(imuText.find("orientation_covariance: '<array type: double[9]>'\n"),
              std::string::npos)
        << imuText;
}

TEST(Yaml, WritesBytesAsCharactersAndCharsAsCodes) {
    stdMsgs::ByteMultiArray bytes{};
    bytes.data = {'A', 0, 0xE9};
    const std::string text = toYaml(viewOfRecord(bytes));
    EXPECT_NE(text.find("data:\n- A\n- \"\\0\"\n- \xC3\xA9\n"), std::string::npos) << text;
    stdMsgs::Char letter{};
    letter.data = 'A';
    EXPECT_EQ(toYaml(viewOfRecord(letter)), "data: 65\n");
}

// The words of the TypeSupportError that fromYaml throws for `text`, or "" when it throws none.
template <typename Record>
std::string refusal(const std::string& text) {
    Record record{};
    try {
        fromYaml(text, viewOfRecord(record));
    } catch (const TypeSupportError& error) {
        return error.what();
    }
    return "";
}

TEST(Yaml, RefusesWhatTopicPubRefusesInItsWords) {
    using geometryMsgs::PoseStamped;
    EXPECT_EQ(refusal<PoseStamped>("{pose: {position: {w: 1}}}"),
              "'Point' object has no attribute 'w'");
    EXPECT_EQ(refusal<PoseStamped>("{header: {frame_id: [a]}}"),
              "field 'header.frame_id': expected a string, got a sequence");
    EXPECT_EQ(refusal<PoseStamped>("{pose: {position: {x: abc}}}"),
              "field 'pose.position.x': expected a float64, got 'abc'");
    EXPECT_EQ(refusal<PoseStamped>("{header: 3}"),
              "field 'header': expected a mapping of the fields of std_msgs/Header, got '3'");
    EXPECT_EQ(refusal<PoseStamped>("{header: {stamp: {sec: 2147483648}}}"),
              "field 'header.stamp.sec': expected an int32 (an integer from -2147483648 to "
              "2147483647), got '2147483648'");
    EXPECT_EQ(refusal<PoseStamped>("[1, 2]"),
              "the values must be a YAML mapping of the fields of geometry_msgs/PoseStamped, like "
              "'{field: value}'");
    // The parser's own words follow.
    EXPECT_EQ(refusal<PoseStamped>("{a: [1"),
              "the values are not valid YAML: yaml-cpp: error at line 1, column 1: end of sequence "
              "flow not found");
    EXPECT_EQ(refusal<stdMsgs::UInt8>("{data: -1}"),
              "field 'data': expected a uint8 (an integer from 0 to 255), got '-1'");
    EXPECT_EQ(refusal<stdMsgs::Bool>("{data: 1}"),
              "field 'data': expected a bool (true or false), got '1'");
    EXPECT_EQ(refusal<stdMsgs::Float32>("{data: 1e39}"),
              "field 'data': expected a float32 (at most 340282346638528859811704183484516925440."
              "000000), got '1e39'");
    EXPECT_EQ(refusal<stdMsgs::Char>("{data: ab}"),
              "field 'data': expected a char (one character or a code from 0 to 255), got 'ab'");
    EXPECT_EQ(refusal<stdMsgs::ByteMultiArray>("{data: [300]}"),
              "field 'data[0]': expected a byte (an integer from 0 to 255), got '300'");
    EXPECT_EQ(refusal<sensorMsgs::Imu>("{orientation_covariance: [1, 2]}"),
              "field 'orientation_covariance': expected a sequence of exactly 9 values, got a "
              "sequence");
    EXPECT_EQ(refusal<stdMsgs::Empty>("{structure_needs_at_least_one_member: 0}"),
              "'Empty' object has no attribute 'structure_needs_at_least_one_member'");
    EXPECT_EQ(refusal<PoseStamped>(""), "");
}

TEST(Yaml, ReadsValuesAsTopicPubDoes) {
    stdMsgs::ByteMultiArray bytes{};
    fromYaml("{data: [7, '7', A, \"\\xE9\"]}", viewOfRecord(bytes));
    EXPECT_EQ(bytes.data, (std::vector<std::uint8_t>{7, '7', 'A', 0xE9}));
    stdMsgs::Char letter{};
    fromYaml("{data: '7'}", viewOfRecord(letter));
    EXPECT_EQ(letter.data, '7');
    fromYaml("{data: 7}", viewOfRecord(letter));
    EXPECT_EQ(letter.data, '\x07');

    // A sequence given replaces the one there; fields not named keep their value.
    sensorMsgs::JointState state = jointState();
    fromYaml("{position: [2.0], header: {frame_id: base}}", viewOfRecord(state));
    EXPECT_EQ(state.position, std::vector<double>{2.0});
    EXPECT_EQ(state.name, jointState().name);
    EXPECT_EQ(state.header.frame_id, "base");
}

TEST(Yaml, StampKeywordsGiveTheTimesToSetAtEachSend) {
    sensorMsgs::TimeReference reference{};
    const std::vector<RecordView> stamps = fromYaml("{header: auto, time_ref: now, source: gps}",
                                                    viewOfRecord(reference), YamlReadOptions{true});
    ASSERT_EQ(stamps.size(), 2U);
    EXPECT_EQ(stamps[0].data(), &reference.header.stamp);
    EXPECT_EQ(stamps[1].data(), &reference.time_ref);
    EXPECT_EQ(stamps[1].description().rosName(), "builtin_interfaces/msg/Time");
    EXPECT_EQ(reference.source, "gps");

    // Without the option they are ordinary values.
    EXPECT_EQ(refusal<sensorMsgs::TimeReference>("{header: auto}"),
              "field 'header': expected a mapping of the fields of std_msgs/Header, got 'auto'");
}

TEST(Yaml, SummarisesOnlyArraysAndSequences) {
    const auto pose = poseStamped();
    try {
        arraySummary(viewOfRecord(pose).field("header"));
        ADD_FAILURE() << "a single field was summarised";
    } catch (const TypeSupportError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "field 'header' is a std_msgs/Header, not an array or a sequence");
    }
}

TEST(Yaml, TellsAMappingFromOtherYaml) {
    EXPECT_TRUE(isYamlMapping("{data: 1}"));
    EXPECT_FALSE(isYamlMapping("[1]"));
    EXPECT_FALSE(isYamlMapping(""));
    EXPECT_THROW(isYamlMapping("{a: [1"), TypeSupportError);
}

// The writer puts a line break as PyYAML does, in single quotes with the break doubled and the
// next line indented; that form must read back as the break, in a string and as a byte.
TEST(Yaml, ReadsLineBreaksWrittenInSingleQuotesBack) {
    const TypeSupport& bytes = getTypeSupport("std_msgs/msg/ByteMultiArray");
    Sample sample = bytes.createSample();
    sample.as<stdMsgs::ByteMultiArray>().data = {8, 10, 11};
    for (const bool flowStyle : {false, true}) {
        YamlOptions options;
        options.flowStyle = flowStyle;
        const std::string text = toYaml(viewOf(static_cast<const Sample&>(sample)), options);
        EXPECT_EQ(readBack(bytes, text).as<stdMsgs::ByteMultiArray>().data,
                  (std::vector<std::uint8_t>{8, 10, 11}))
            << text;
    }
    const TypeSupport& string = getTypeSupport("std_msgs/msg/String");
    for (const std::string value : {"\n", "\n\n", "a\nb"}) {
        Sample written = string.createSample();
        written.as<stdMsgs::String>().data = value;
        const std::string text = toYaml(viewOf(static_cast<const Sample&>(written)));
        EXPECT_EQ(readBack(string, text).as<stdMsgs::String>().data, value) << text;
    }
    EXPECT_EQ(readBack(string, "data: '\n  '\n").as<stdMsgs::String>().data, " ");
}

}  // namespace
