// Proves the `ros2msg` schemas: their layout as rosbag2 writes it, and, for every type, that an
// independent .msg parser reads from the schema exactly the fields and constants of the type and
// of each type it depends on.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

TEST(SchemaText, FollowsEachDependencyOnceDepthFirstInNameOrder) {
    const std::string rule(80, '=');
    EXPECT_EQ(getTypeSupport("geometry_msgs/msg/PointStamped").schemaText(),
              "std_msgs/Header header\n"
              "Point point\n"
              "\n" +
                  rule +
                  "\n"
                  "MSG: geometry_msgs/Point\n"
                  "float64 x\n"
                  "float64 y\n"
                  "float64 z\n"
                  "\n" +
                  rule +
                  "\n"
                  "MSG: std_msgs/Header\n"
                  "builtin_interfaces/Time stamp\n"
                  "string frame_id\n"
                  "\n" +
                  rule +
                  "\n"
                  "MSG: builtin_interfaces/Time\n"
                  "int32 sec\n"
                  "uint32 nanosec\n");
}

TEST(SchemaText, NamesATypeReachedTwiceOnlyOnce) {
    const std::string text = getTypeSupport("sensor_msgs/msg/MultiDOFJointState").schemaText();
    std::size_t count = 0;
    for (std::size_t at = text.find("MSG: "); at != std::string::npos;
         at = text.find("MSG: ", at + 1)) {
        ++count;
    }
    // Header, Time, Transform, Twist, Wrench, and Vector3 and Quaternion, reached from three
    // and from one of them.
    EXPECT_EQ(count, 7U) << text;
}

TEST(SchemaText, OfEmptyIsEmpty) {
    EXPECT_EQ(getTypeSupport("std_msgs/msg/Empty").schemaText(), "");
}

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                out += c;
        }
    }
    return out + "\"";
}

// The peer spells byte and char as uint8 and the stamps as ROS 1's primitives.
std::string asPeerSpellsIt(const FieldDescription& field) {
    std::string type = field.typeText();
    const std::string element = type.substr(0, type.find('['));
    const std::string suffix = type.substr(element.size());
    if (element == "byte" || element == "char") {
        return "uint8" + suffix;
    }
    if (element == "builtin_interfaces/Time") {
        return "time" + suffix;
    }
    if (element == "builtin_interfaces/Duration") {
        return "duration" + suffix;
    }
    return type;
}

void appendExpected(std::vector<std::string>& lines, const std::string& schema,
                    const std::string& label, const RecordDescription& record) {
    if (record.fields().empty() && record.constants().empty()) {
        lines.push_back(schema + " " + label);
    }
    for (const ConstantDescription& constant : record.constants()) {
        const bool octet = constant.type == "byte" || constant.type == "char";
        lines.push_back(schema + " " + label + " " + constant.name + " = " + constant.value + " " +
                        (octet ? std::string("uint8") : constant.type));
    }
    for (const FieldDescription& field : record.fields()) {
        lines.push_back(schema + " " + label + " " + field.name + " " + asPeerSpellsIt(field));
    }
}

void appendDependencies(std::vector<std::string>& lines, const std::string& schema,
                        const RecordDescription& record, std::set<std::string>& seen) {
    for (const FieldDescription& field : record.fields()) {
        if (field.record != nullptr && seen.insert(field.record->shortName()).second) {
            appendExpected(lines, schema, field.record->shortName(), *field.record);
            appendDependencies(lines, schema, *field.record, seen);
        }
    }
}

// What the peer should read from a type's schema, sorted: the parser lists constants and fields
// in declaration order and the dependencies in its own order.
std::vector<std::string> expectedLines(const TypeSupport& type) {
    std::vector<std::string> lines;
    appendExpected(lines, type.rosName(), ".", type.description());
    std::set<std::string> seen;
    appendDependencies(lines, type.rosName(), type.description(), seen);
    return lines;
}

using ParsedLines = std::map<std::string, std::vector<std::string>>;  // by schema

ParsedLines parseAllSchemas() {
    char path[] = "/tmp/qor-typesupport-schemas-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) {
        return {};
    }
    close(fd);
    {
        std::ofstream file(path);
        file << "{";
        bool first = true;
        for (const TypeSupport* type : typeSupports()) {
            file << (first ? "" : ",") << jsonString(type->rosName()) << ":"
                 << jsonString(type->schemaText());
            first = false;
        }
        file << "}";
    }
    const std::string command = std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" +
                                QOR_TEST_PEERS_DIR + "/parse-schemas.js\" " + path;
    std::istringstream lines(qorTest::commandOutput(command));
    std::remove(path);
    ParsedLines parsed;
    std::string line;
    while (std::getline(lines, line)) {
        parsed[line.substr(0, line.find(' '))].push_back(line);
    }
    return parsed;
}

const ParsedLines& parsedSchemas() {
    static const ParsedLines parsed = parseAllSchemas();
    return parsed;
}

template <typename Record>
class SchemaTextOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(SchemaTextOfEveryType, qorTest::AllMessageTypeRecords, qorTest::RecordTestName);

TYPED_TEST(SchemaTextOfEveryType, ReadsBackAsItsFieldsAndDependenciesInAnIndependentParser) {
    const TypeSupport& type = getTypeSupport(rosTypeName<TypeParam>());
    const auto found = parsedSchemas().find(type.rosName());
    ASSERT_NE(found, parsedSchemas().end()) << "the parser printed nothing for\n"
                                            << type.schemaText();
    std::vector<std::string> parsed = found->second;
    std::vector<std::string> expected = expectedLines(type);
    std::sort(parsed.begin(), parsed.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(parsed, expected) << type.schemaText();
}

}  // namespace
