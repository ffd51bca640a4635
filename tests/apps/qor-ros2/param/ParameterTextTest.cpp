// The values `param set` reads and the texts `param get` and `param describe` print, pinned
// against what ros2 reads and prints for the same values.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "cli/CommandFailure.h"
#include "param/ParameterText.h"

namespace {

using qorROS2::rclInterfaces::ParameterDescriptor;
using qorROS2::rclInterfaces::ParameterValue;

TEST(ParameterText, SetGuessesTheTypeAsPyYamlReadsTheValue) {
    EXPECT_EQ(qorCli::parameterValueOf("true").type, 1);
    EXPECT_TRUE(qorCli::parameterValueOf("yes").bool_value);
    EXPECT_FALSE(qorCli::parameterValueOf("Off").bool_value);
    EXPECT_EQ(qorCli::parameterValueOf("Off").type, 1);
    EXPECT_EQ(qorCli::parameterValueOf("42").integer_value, 42);
    EXPECT_EQ(qorCli::parameterValueOf("-0x1f").integer_value, -31);
    EXPECT_EQ(qorCli::parameterValueOf("010").integer_value, 8);
    EXPECT_EQ(qorCli::parameterValueOf("1_000").integer_value, 1000);
    EXPECT_EQ(qorCli::parameterValueOf("1.5").type, 3);
    EXPECT_EQ(qorCli::parameterValueOf("1.5").double_value, 1.5);
    EXPECT_TRUE(std::isinf(qorCli::parameterValueOf("-.inf").double_value));
    // PyYAML's float needs a dot: "1e5" stays a string.
    EXPECT_EQ(qorCli::parameterValueOf("1e5").type, 4);
    EXPECT_EQ(qorCli::parameterValueOf("1e5").string_value, "1e5");
    EXPECT_EQ(qorCli::parameterValueOf("'42'").string_value, "42");
    EXPECT_EQ(qorCli::parameterValueOf("hello world").string_value, "hello world");

    const ParameterValue integers = qorCli::parameterValueOf("[1, 2, 3]");
    EXPECT_EQ(integers.type, 7);
    EXPECT_EQ(integers.integer_array_value, (std::vector<std::int64_t>{1, 2, 3}));
    EXPECT_EQ(qorCli::parameterValueOf("[true, false]").type, 6);
    EXPECT_EQ(qorCli::parameterValueOf("[1.0, 2.5]").type, 8);
    EXPECT_EQ(qorCli::parameterValueOf("[a, 'b']").string_array_value,
              (std::vector<std::string>{"a", "b"}));
    // Mixed kinds make one string of the whole text.
    const ParameterValue mixed = qorCli::parameterValueOf("[1, a]");
    EXPECT_EQ(mixed.type, 4);
    EXPECT_EQ(mixed.string_value, "[1, a]");
    // Text that is no YAML is a string too.
    EXPECT_EQ(qorCli::parameterValueOf("[1, 2").string_value, "[1, 2");
}

TEST(ParameterText, SetRefusesAnIntegerBeyondSixtyFourBits) {
    try {
        qorCli::parameterValueOf("9223372036854775808");
        FAIL() << "accepted";
    } catch (const qorCli::CommandFailure& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Integer value '9223372036854775808' does not fit a parameter's 64 bits");
    }
    EXPECT_EQ(qorCli::parameterValueOf("-9223372036854775808").integer_value, INT64_MIN);
}

TEST(ParameterText, GetPrintsEachTypeAsRos2Does) {
    ParameterValue value{};
    value.type = 2;
    value.integer_value = 7;
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Integer value is: 7\n");
    EXPECT_EQ(qorCli::parameterValueText(value, true), "7\n");
    value.type = 1;
    value.bool_value = true;
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Boolean value is: True\n");
    value.type = 3;
    value.double_value = 2.0;
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Double value is: 2.0\n");
    value.type = 4;
    value.string_value = "it's";
    EXPECT_EQ(qorCli::parameterValueText(value, false), "String value is: it's\n");
    value.type = 7;
    value.integer_array_value = {1, -2};
    EXPECT_EQ(qorCli::parameterValueText(value, false),
              "Integer values are: array('q', [1, -2])\n");
    value.type = 8;
    value.double_array_value = {0.5};
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Double values are: array('d', [0.5])\n");
    value.type = 9;
    value.string_array_value = {"a", "it's"};
    EXPECT_EQ(qorCli::parameterValueText(value, false), "String values are: ['a', \"it's\"]\n");
    value.type = 6;
    value.bool_array_value = {true, false};
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Boolean values are: [True, False]\n");
    value.type = 5;
    value.byte_array_value = {1, 'a'};
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Byte values are: [b'\\x01', b'a']\n");
    value.type = 0;
    EXPECT_EQ(qorCli::parameterValueText(value, false), "Parameter not set.\n");
    EXPECT_EQ(qorCli::parameterValueText(value, true), "None\n");
    value.type = 12;
    EXPECT_THROW(qorCli::parameterValueText(value, false), qorCli::CommandFailure);
}

TEST(ParameterText, DescribePrintsTheDescriptorAndItsFirstRange) {
    ParameterDescriptor descriptor{};
    descriptor.name = "gain";
    descriptor.type = 3;
    descriptor.description = "how hard";
    descriptor.read_only = true;
    descriptor.additional_constraints = "only on Sundays";
    descriptor.floating_point_range = {{0.0, 10.0, 0.5}};
    EXPECT_EQ(qorCli::parameterDescriptorText(descriptor),
              "Parameter name: gain\n"
              "  Type: double\n"
              "  Description: how hard\n"
              "  Constraints:\n"
              "    Read only: true\n"
              "    Min value: 0.0\n"
              "    Max value: 10.0\n"
              "    Step: 0.5\n"
              "    Additional constraints: only on Sundays\n");
    ParameterDescriptor plain{};
    plain.name = "count";
    plain.type = 2;
    plain.integer_range = {{-5, 5, 0}};
    EXPECT_EQ(qorCli::parameterDescriptorText(plain),
              "Parameter name: count\n  Type: integer\n  Constraints:\n    Min value: -5\n"
              "    Max value: 5\n");
}

TEST(ParameterText, DumpWritesNestedKeysSortedAndValuesAsPyYamlDoes) {
    ParameterValue ratio{};
    ratio.type = 3;
    ratio.double_value = 0.5;
    ParameterValue empty{};
    empty.type = 7;
    ParameterValue doubles{};
    doubles.type = 8;
    doubles.double_value = 0;
    doubles.double_array_value = {1.0, -2.5};
    ParameterValue flag{};
    flag.type = 1;
    flag.bool_value = true;
    EXPECT_EQ(qorCli::parameterDumpText("/robot/arm", {{"b.ratio", ratio},
                                                       {"a", empty},
                                                       {"b.c.on", flag},
                                                       {"d", doubles},
                                                       {"gone", std::nullopt}}),
              "/robot/arm:\n"
              "  ros__parameters:\n"
              "    a: []\n"
              "    b:\n"
              "      c:\n"
              "        'on': true\n"
              "      ratio: 0.5\n"
              "    d:\n"
              "    - 1.0\n"
              "    - -2.5\n"
              "    gone: '# Parameter not set'\n"
              "\n");
    ParameterValue bytes{};
    bytes.type = 5;
    EXPECT_THROW(qorCli::parameterDumpText("/n", {{"raw", bytes}}), qorCli::CommandFailure);
}

}  // namespace
