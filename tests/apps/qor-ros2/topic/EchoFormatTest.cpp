// What `topic echo` prints for one message with each of its formatting options.

#include <gtest/gtest.h>

#include <string>

#include "qorROS2/Messages.h"
#include "topic/EchoFormat.h"

namespace {

using namespace qorROS2;
using qorCli::EchoFormat;
using qorCli::formatEcho;

sensorMsgs::JointState sampleJointState() {
    sensorMsgs::JointState state{};
    state.header.stamp.sec = 1;
    state.header.stamp.nanosec = 500;
    state.header.frame_id = "base";
    state.name = {"a", "bc"};
    state.position = {1.0, 2.5};
    state.effort = {0.25};
    return state;
}

const std::string kJointStateYaml =
    "header:\n"
    "  stamp:\n"
    "    sec: 1\n"
    "    nanosec: 500\n"
    "  frame_id: base\n"
    "name:\n"
    "- a\n"
    "- bc\n"
    "position:\n"
    "- 1.0\n"
    "- 2.5\n"
    "velocity: []\n"
    "effort:\n"
    "- 0.25\n";

EchoFormat withField(const std::string& field) {
    EchoFormat format;
    format.field = field;
    return format;
}

TEST(EchoFormat, ByDefaultPrintsBlockYamlAndTheSeparatorLine) {
    EXPECT_EQ(formatEcho(sampleJointState(), EchoFormat{}), kJointStateYaml + "---\n");
}

TEST(EchoFormat, FlowStyleWritesArraysOnOneLineAndKeepsMessagesInBlocks) {
    EchoFormat format;
    format.flowStyle = true;
    EXPECT_EQ(formatEcho(sampleJointState(), format),
              "header:\n"
              "  stamp:\n"
              "    sec: 1\n"
              "    nanosec: 500\n"
              "  frame_id: base\n"
              "name: [a, bc]\n"
              "position: [1.0, 2.5]\n"
              "velocity: []\n"
              "effort: [0.25]\n"
              "---\n");
}

TEST(EchoFormat, FlowStyleWritesTheMessagesOfAnArrayInFlowStyle) {
    geometryMsgs::Polygon polygon{};
    polygon.points = {geometryMsgs::Point32{0.5F, 2.0F, -1.5F}, geometryMsgs::Point32{}};
    EchoFormat format;
    format.flowStyle = true;
    EXPECT_EQ(formatEcho(polygon, format),
              "points: [{x: 0.5, y: 2.0, z: -1.5}, {x: 0.0, y: 0.0, z: 0.0}]\n---\n");
}

TEST(EchoFormat, FlowStyleQuotesStringsThatHoldFlowIndicators) {
    sensorMsgs::JointState state{};
    state.name = {"a, b", "c:d", "plain text", "x[0]"};
    EchoFormat format;
    format.flowStyle = true;
    format.noArrays = false;
    const std::string text = formatEcho(state, format);
    EXPECT_NE(text.find("name: ['a, b', 'c:d', plain text, 'x[0]']\n"), std::string::npos) << text;
}

TEST(EchoFormat, TruncateLengthCutsStringsAndArraysAndMarksTheCut) {
    EchoFormat format;
    format.truncateLength = 1;
    EXPECT_EQ(formatEcho(sampleJointState(), format),
              "header:\n"
              "  stamp:\n"
              "    sec: 1\n"
              "    nanosec: 500\n"
              "  frame_id: b...\n"
              "name:\n"
              "- a\n"
              "- '...'\n"
              "position:\n"
              "- 1.0\n"
              "- '...'\n"
              "velocity: []\n"
              "effort:\n"
              "- 0.25\n"
              "---\n");
}

TEST(EchoFormat, TruncateLengthZeroLeavesOnlyTheMarks) {
    EchoFormat format;
    format.truncateLength = 0;
    format.flowStyle = true;
    const std::string text = formatEcho(sampleJointState(), format);
    EXPECT_NE(text.find("  frame_id: '...'\n"), std::string::npos) << text;
    EXPECT_NE(text.find("name: ['...']\n"), std::string::npos) << text;
    EXPECT_NE(text.find("velocity: []\n"), std::string::npos) << text;
}

TEST(EchoFormat, NoArraysShowsTheTypeAndLengthOfEachArray) {
    EchoFormat format;
    format.noArrays = true;
    EXPECT_EQ(formatEcho(sampleJointState(), format),
              "header:\n"
              "  stamp:\n"
              "    sec: 1\n"
              "    nanosec: 500\n"
              "  frame_id: base\n"
              "name: '<sequence type: string, length: 2>'\n"
              "position: '<sequence type: double, length: 2>'\n"
              "velocity: '<sequence type: double, length: 0>'\n"
              "effort: '<sequence type: double, length: 1>'\n"
              "---\n");
}

TEST(EchoFormat, NoArraysNamesFixedSizeArraysAndMessageElementsByTheirDefinitionTypes) {
    sensorMsgs::CameraInfo info{};
    EchoFormat format;
    format.noArrays = true;
    const std::string text = formatEcho(info, format);
    EXPECT_NE(text.find("\nk: '<array type: double[9]>'\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\np: '<array type: double[12]>'\n"), std::string::npos) << text;
    geometryMsgs::Polygon polygon{};
    polygon.points.resize(3);
    EXPECT_EQ(formatEcho(polygon, format),
              "points: '<sequence type: geometry_msgs/msg/Point32, length: 3>'\n---\n");
    stdMsgs::ByteMultiArray bytes{};
    bytes.data = {1, 2};
    EXPECT_EQ(formatEcho(bytes, format),
              "layout:\n"
              "  dim: '<sequence type: std_msgs/msg/MultiArrayDimension, length: 0>'\n"
              "  data_offset: 0\n"
              "data: '<sequence type: octet, length: 2>'\n"
              "---\n");
}

TEST(EchoFormat, NoStringsShowsTheLengthOfEachString) {
    EchoFormat format;
    format.noStrings = true;
    const std::string text = formatEcho(sampleJointState(), format);
    EXPECT_NE(text.find("  frame_id: '<string length: <4>>'\n"), std::string::npos) << text;
    EXPECT_NE(text.find("name:\n- '<string length: <1>>'\n- '<string length: <2>>'\n"),
              std::string::npos)
        << text;
}

TEST(EchoFormat, NoStringsCountsCharactersNotBytes) {
    stdMsgs::String text{};
    text.data = "\xC3\xA9t\xC3\xA9";  // three characters in five bytes
    EchoFormat format;
    format.noStrings = true;
    EXPECT_EQ(formatEcho(text, format), "data: '<string length: <3>>'\n---\n");
    format.noStrings = false;
    format.truncateLength = 1;
    EXPECT_EQ(formatEcho(text, format), "data: \xC3\xA9...\n---\n");
}

TEST(EchoFormat, CsvPrintsEveryValueOnOneLineWithoutSeparatorLine) {
    EchoFormat format;
    format.csv = true;
    // The empty velocity adds an empty item between its commas.
    EXPECT_EQ(formatEcho(sampleJointState(), format), "1,500,base,a,bc,1.0,2.5,,0.25\n");
}

TEST(EchoFormat, CsvTakesTheTruncateAndNoArraysOptions) {
    EchoFormat format;
    format.csv = true;
    format.truncateLength = 1;
    EXPECT_EQ(formatEcho(sampleJointState(), format), "1,500,b...,a,...,1.0,...,,0.25\n");
    format.truncateLength.reset();
    format.noArrays = true;
    format.noStrings = true;
    EXPECT_EQ(formatEcho(sampleJointState(), format),
              "1,500,<string length: <4>>,<sequence type: string, length: 2>,"
              "<sequence type: double, length: 2>,<sequence type: double, length: 0>,"
              "<sequence type: double, length: 1>\n");
}

TEST(EchoFormat, FieldSelectsANestedMessage) {
    EXPECT_EQ(formatEcho(sampleJointState(), withField("header.stamp")),
              "sec: 1\nnanosec: 500\n---\n");
    EchoFormat csv = withField("header.stamp");
    csv.csv = true;
    EXPECT_EQ(formatEcho(sampleJointState(), csv), "1,500\n");
}

TEST(EchoFormat, FieldIgnoresEmptyNamesBetweenDots) {
    EXPECT_EQ(formatEcho(sampleJointState(), withField(".header..stamp.")),
              "sec: 1\nnanosec: 500\n---\n");
}

TEST(EchoFormat, FieldThatIsNoMessagePrintsAsPythonPrintsTheValue) {
    const auto state = sampleJointState();
    EXPECT_EQ(formatEcho(state, withField("header.stamp.sec")), "1\n---\n");
    EXPECT_EQ(formatEcho(state, withField("header.frame_id")), "base\n---\n");
    EXPECT_EQ(formatEcho(state, withField("name")), "['a', 'bc']\n---\n");
    EXPECT_EQ(formatEcho(state, withField("position")), "array('d', [1.0, 2.5])\n---\n");
    EXPECT_EQ(formatEcho(state, withField("velocity")), "array('d')\n---\n");
    EchoFormat csv = withField("position");
    csv.csv = true;
    EXPECT_EQ(formatEcho(state, csv), "array('d', [1.0, 2.5])\n");
}

TEST(EchoFormat, FieldOfMessagesInAListPrintsTheirRepr) {
    geometryMsgs::Polygon polygon{};
    polygon.points = {geometryMsgs::Point32{0.1F, 2.0F, -1.5F}};
    EXPECT_EQ(formatEcho(polygon, withField("points")),
              "[geometry_msgs.msg.Point32(x=0.10000000149011612, y=2.0, z=-1.5)]\n---\n");
    stdMsgs::UInt8MultiArray array{};
    array.layout.dim = {stdMsgs::MultiArrayDimension{"rows", 2, 4}};
    array.data = {7, 255};
    EXPECT_EQ(formatEcho(array, withField("layout")),
              "dim:\n- label: rows\n  size: 2\n  stride: 4\ndata_offset: 0\n---\n");
    EXPECT_EQ(formatEcho(array, withField("layout.dim")),
              "[std_msgs.msg.MultiArrayDimension(label='rows', size=2, stride=4)]\n---\n");
    EXPECT_EQ(formatEcho(array, withField("data")), "array('B', [7, 255])\n---\n");
}

TEST(EchoFormat, FieldOfBytesPrintsPythonBytes) {
    stdMsgs::ByteMultiArray bytes{};
    bytes.data = {0, 'a', '\''};
    EXPECT_EQ(formatEcho(bytes, withField("data")), "[b'\\x00', b'a', b\"'\"]\n---\n");
}

TEST(EchoFormat, FieldOfAFixedSizeArrayPrintsTheNumpyArray) {
    sensorMsgs::CameraInfo info{};
    info.k = {525.0, 0.0, 320.0, 0.0, 525.0, 240.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(formatEcho(info, withField("k")),
              "[525.   0. 320.   0. 525. 240.   0.   0.   1.]\n---\n");
}

TEST(EchoFormat, FieldThatDoesNotExistFailsWithPythonsWording) {
    const auto state = sampleJointState();
    const auto expectError = [&](const std::string& field, const std::string& message) {
        try {
            formatEcho(state, withField(field));
            ADD_FAILURE() << field << " was accepted";
        } catch (const qorCli::CommandFailure& error) {
            EXPECT_EQ(std::string(error.what()), message);
        }
    };
    expectError("header.nope",
                "Invalid field 'header.nope': 'Header' object has no attribute 'nope'");
    expectError("nope", "Invalid field 'nope': 'JointState' object has no attribute 'nope'");
    expectError("name.first", "Invalid field 'name.first': 'list' object has no attribute 'first'");
    expectError("position.0",
                "Invalid field 'position.0': 'array.array' object has no attribute '0'");
    expectError("header.frame_id.x",
                "Invalid field 'header.frame_id.x': 'str' object has no attribute 'x'");
    expectError("header.stamp.sec.y",
                "Invalid field 'header.stamp.sec.y': 'int' object has no attribute 'y'");
    expectError(".", "Invalid field value '.'");
    sensorMsgs::CameraInfo info{};
    EXPECT_THROW(formatEcho(info, withField("k.x")), qorCli::CommandFailure);
}

TEST(EchoFormat, ACharIsTheNumberOfItsCodeAsForAUint8) {
    const stdMsgs::Char letter{'A'};
    EXPECT_EQ(formatEcho(letter, EchoFormat{}), "data: 65\n---\n");
    EchoFormat hidden;
    hidden.noStrings = true;
    hidden.truncateLength = 0;
    EXPECT_EQ(formatEcho(letter, hidden), "data: 65\n---\n");
    EchoFormat csv;
    csv.csv = true;
    EXPECT_EQ(formatEcho(letter, csv), "65\n");
    EXPECT_EQ(formatEcho(letter, withField("data")), "65\n---\n");
}

TEST(EchoFormat, AMessageWithoutFieldsPrintsAnEmptyMapping) {
    EXPECT_EQ(formatEcho(stdMsgs::Empty{}, EchoFormat{}), "{}\n---\n");
    EchoFormat csv;
    csv.csv = true;
    EXPECT_EQ(formatEcho(stdMsgs::Empty{}, csv), "\n");
}

}  // namespace
