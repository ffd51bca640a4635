// Proves the definition text: its fields exactly as the command-line tool printed them before the
// type support existed, for every type, and its constants where ROS 2 declares them.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "MessageTypeTesting.h"
#include "RecordCatalogue.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

// The type of `field` as the .msg of `Record` writes it: a type of the same package without it.
template <typename Record, typename Field>
std::string typeAsWritten(const Field& field) {
    using Element = typename Field::ElementType;
    std::string type = rosFieldType(field);
    if constexpr (isMessageRecord<Element>) {
        const std::string ownPackage = std::string(MessageDescription<Record>::package) + "/";
        if (std::string(MessageDescription<Element>::package) + "/" == ownPackage) {
            type.erase(0, ownPackage.size());
        }
    }
    return type;
}

// The field lines straight from the records' field lists, nested records below their field with
// one more tab: the text `interface show` printed before constants were known.
template <typename Record>
void appendFieldLines(std::string& out, const std::string& indent) {
    forEachFieldOf<Record>([&](const auto& field) {
        if (std::string(field.name) == "structure_needs_at_least_one_member") {
            return;
        }
        out += indent + typeAsWritten<Record>(field) + " " + field.name +
               (field.defaultValue != nullptr ? std::string(" ") + field.defaultValue : "") + "\n";
        using Element = typename std::decay_t<decltype(field)>::ElementType;
        if constexpr (isMessageRecord<Element>) {
            appendFieldLines<Element>(out, indent + "\t");
        }
    });
}

std::string withoutConstantLines(const std::string& text) {
    std::istringstream lines(text);
    std::string out;
    std::string line;
    while (std::getline(lines, line)) {
        // "[<=1]" bounds a sequence; any other '=' declares a constant.
        if (line.find('=') == std::string::npos || line.find("[<=") != std::string::npos) {
            out += line + "\n";
        }
    }
    return out;
}

template <typename Record>
class DefinitionTextOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(DefinitionTextOfEveryType, qorTest::AllTypeSupportRecords,
                 qorTest::RecordTestName);

TYPED_TEST(DefinitionTextOfEveryType, ShowsEveryFieldWithNestedRecordsIndented) {
    std::string expected;
    appendFieldLines<TypeParam>(expected, "");
    const std::string& text = getTypeSupport(rosTypeName<TypeParam>()).definitionText();
    EXPECT_EQ(withoutConstantLines(text), expected);
}

TEST(DefinitionText, PointFieldDeclaresItsConstantsBeforeItsFields) {
    EXPECT_EQ(getTypeSupport("sensor_msgs/PointField").definitionText(),
              "uint8 INT8    = 1\n"
              "uint8 UINT8   = 2\n"
              "uint8 INT16   = 3\n"
              "uint8 UINT16  = 4\n"
              "uint8 INT32   = 5\n"
              "uint8 UINT32  = 6\n"
              "uint8 FLOAT32 = 7\n"
              "uint8 FLOAT64 = 8\n"
              "string name\n"
              "uint32 offset\n"
              "uint8 datatype\n"
              "uint32 count\n");
}

TEST(DefinitionText, NestedConstantsFollowTheirRecordsIndentation) {
    EXPECT_EQ(getTypeSupport("sensor_msgs/JoyFeedbackArray").definitionText(),
              "JoyFeedback[] array\n"
              "\tuint8 TYPE_LED    = 0\n"
              "\tuint8 TYPE_RUMBLE = 1\n"
              "\tuint8 TYPE_BUZZER = 2\n"
              "\tuint8 type\n"
              "\tuint8 id\n"
              "\tfloat32 intensity\n");
}

TEST(DefinitionText, RangeDeclaresItsConstantsBetweenFields) {
    EXPECT_EQ(getTypeSupport("sensor_msgs/Range").definitionText(),
              "std_msgs/Header header\n"
              "\tbuiltin_interfaces/Time stamp\n"
              "\t\tint32 sec\n"
              "\t\tuint32 nanosec\n"
              "\tstring frame_id\n"
              "uint8 ULTRASOUND=0\n"
              "uint8 INFRARED=1\n"
              "uint8 radiation_type\n"
              "float32 field_of_view\n"
              "float32 min_range\n"
              "float32 max_range\n"
              "float32 range\n");
}

TEST(DefinitionText, NamesTypesOfItsOwnPackageWithoutThePackageAsTheMsgFileDoes) {
    EXPECT_EQ(getTypeSupport("geometry_msgs/PointStamped").definitionText(),
              "std_msgs/Header header\n"
              "\tbuiltin_interfaces/Time stamp\n"
              "\t\tint32 sec\n"
              "\t\tuint32 nanosec\n"
              "\tstring frame_id\n"
              "Point point\n"
              "\tfloat64 x\n"
              "\tfloat64 y\n"
              "\tfloat64 z\n");
    EXPECT_EQ(getTypeSupport("geometry_msgs/PoseWithCovariance").definitionText().substr(0, 25),
              "Pose pose\n\tPoint position");
}

TEST(DefinitionText, EmptyHasNoLine) {
    EXPECT_EQ(getTypeSupport("std_msgs/Empty").definitionText(), "");
    EXPECT_TRUE(getTypeSupport("std_msgs/Empty").fields().empty());
}

}  // namespace
