// The parameters `param load` reads from a parameter file, and its texts for a file it cannot
// use, pinned against what ros2 reads and prints for the same files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/CommandFailure.h"
#include "param/ParameterFile.h"
#include "qorROS2/ParameterTypes.h"

namespace {

namespace rcl = qorROS2::rclInterfaces;
using qorCli::parametersToLoad;

std::vector<std::string> namesOf(const std::vector<rcl::Parameter>& parameters) {
    std::vector<std::string> names;
    for (const rcl::Parameter& parameter : parameters) {
        names.push_back(parameter.name);
    }
    return names;
}

// The words of the CommandFailure that loading `text` for /talker throws; "" when none.
std::string refusalOf(const std::string& text, bool useWildcard = true) {
    try {
        parametersToLoad(text, "p.yaml", "/talker", useWildcard);
    } catch (const qorCli::CommandFailure& failure) {
        return failure.what();
    }
    return "";
}

const char* const kBothKeys =
    "/**:\n"
    "  ros__parameters:\n"
    "    use_sim_time: true\n"
    "    camera:\n"
    "      rate: 2.0\n"
    "      width: 64\n"
    "/talker:\n"
    "  ros__parameters:\n"
    "    camera:\n"
    "      rate: 5.0\n"
    "    frame: base\n";

TEST(ParameterFile, TheNodesEntryReplacesTheWildcardsTopLevelKeysAndNestedNamesJoinWithDots) {
    const std::vector<rcl::Parameter> loaded =
        parametersToLoad(kBothKeys, "p.yaml", "/talker", true);
    // ros2 updates a dict with the node's entry: its "camera" replaces the wildcard's whole, at
    // the wildcard's place.
    EXPECT_EQ(namesOf(loaded), (std::vector<std::string>{"use_sim_time", "camera.rate", "frame"}));
    ASSERT_EQ(loaded.size(), 3U);
    EXPECT_EQ(loaded[0].value.type, qorROS2::PARAMETER_BOOL);
    EXPECT_TRUE(loaded[0].value.bool_value);
    EXPECT_EQ(loaded[1].value.type, qorROS2::PARAMETER_DOUBLE);
    EXPECT_EQ(loaded[1].value.double_value, 5.0);
    EXPECT_EQ(loaded[2].value.string_value, "base");

    const std::vector<rcl::Parameter> own = parametersToLoad(kBothKeys, "p.yaml", "/talker", false);
    EXPECT_EQ(namesOf(own), (std::vector<std::string>{"camera.rate", "frame"}));
    const std::vector<rcl::Parameter> wildcard =
        parametersToLoad(kBothKeys, "p.yaml", "/listener", true);
    EXPECT_EQ(namesOf(wildcard),
              (std::vector<std::string>{"use_sim_time", "camera.rate", "camera.width"}));
}

TEST(ParameterFile, EachValueIsRetypedFromItsPythonTextAsParamSetTypesIt) {
    const std::vector<rcl::Parameter> loaded = parametersToLoad(
        "/talker:\n"
        "  ros__parameters:\n"
        "    quoted: '5'\n"
        "    small: 1.0e-05\n"
        "    nothing:\n"
        "    counts: [1, 2]\n"
        "    words:\n"
        "    - a\n"
        "    - 'yes'\n"
        "    mixed: [1, a]\n"
        "    flag: on\n"
        "    hex: 0x10\n",
        "p.yaml", "/talker", true);
    ASSERT_EQ(loaded.size(), 8U);
    // str('5') is 5, which param set reads as an integer.
    EXPECT_EQ(loaded[0].value.type, qorROS2::PARAMETER_INTEGER);
    EXPECT_EQ(loaded[0].value.integer_value, 5);
    // str(1e-05) has no dot, so PyYAML keeps it a string.
    EXPECT_EQ(loaded[1].value.type, qorROS2::PARAMETER_STRING);
    EXPECT_EQ(loaded[1].value.string_value, "1e-05");
    EXPECT_EQ(loaded[2].value.string_value, "None");
    EXPECT_EQ(loaded[3].value.type, qorROS2::PARAMETER_INTEGER_ARRAY);
    EXPECT_EQ(loaded[3].value.integer_array_value, (std::vector<std::int64_t>{1, 2}));
    EXPECT_EQ(loaded[4].value.type, qorROS2::PARAMETER_STRING_ARRAY);
    EXPECT_EQ(loaded[4].value.string_array_value, (std::vector<std::string>{"a", "yes"}));
    EXPECT_EQ(loaded[5].value.type, qorROS2::PARAMETER_STRING);
    EXPECT_EQ(loaded[5].value.string_value, "[1, 'a']");
    EXPECT_EQ(loaded[6].value.type, qorROS2::PARAMETER_BOOL);
    EXPECT_EQ(loaded[7].value.integer_value, 16);
}

TEST(ParameterFile, AFileWithoutTheNodeOrWithoutItsParametersIsRefusedInRos2sWords) {
    EXPECT_EQ(
        refusalOf("/other:\n  ros__parameters:\n    a: 1\n/**:\n  ros__parameters: {}\n", false),
        "Param file does not contain parameters for /talker,  only for nodes: "
        "dict_keys(['/other', '/**'])");
    EXPECT_EQ(refusalOf("/talker:\n  a: 1\n"),
              "Invalid structure of parameter file for node /talkerexpected same format as "
              "provided by ros2 param dump");
    EXPECT_EQ(refusalOf("/talker:\n  ros__parameters:\n"),
              "Invalid structure of parameter file for node /talkerexpected same format as "
              "provided by ros2 param dump");
    EXPECT_EQ(refusalOf("- /talker\n"),
              "Invalid structure of parameter file 'p.yaml': expected same format as provided "
              "by ros2 param dump");
    EXPECT_EQ(refusalOf("/talker:\n  ros__parameters:\n    1: x\n"),
              "Invalid parameter name 1 in parameter file: a name is a string");
    // An empty entry loads nothing, as ros2's call with no parameters sets nothing.
    EXPECT_TRUE(
        parametersToLoad("/talker:\n  ros__parameters: {}\n", "p.yaml", "/talker", true).empty());
}

TEST(ParameterFile, MalformedYamlIsRefusedWithItsPlace) {
    EXPECT_EQ(refusalOf("/talker:\n  ros__parameters:\n    a: [1, 2\n"),
              "yaml.YAMLError: end of sequence flow not found\n  in \"p.yaml\", line 4, column 1");
    EXPECT_EQ(refusalOf("a: 1\n---\nb: 2\n"),
              "yaml.YAMLError: expected a single document in the stream\n  in \"p.yaml\"");
}

TEST(ParameterFile, AbsurdFilesAreRefusedInWordsWithoutACrash) {
    const std::string deep =
        refusalOf("/talker:\n  ros__parameters:\n    a: " + std::string(100000, '[') + "\n");
    EXPECT_EQ(deep.rfind("yaml.YAMLError: ", 0), 0U) << deep;
    EXPECT_EQ(refusalOf("/talker:\n  ros__parameters:\n    a: 99999999999999999999\n"),
              "Integer value '99999999999999999999' does not fit a parameter's 64 bits");
    const std::string garbage = refusalOf(std::string("\0\xff\xfe:\t- [\n", 9));
    EXPECT_EQ(garbage.rfind("yaml.YAMLError: ", 0), 0U) << garbage;
}

TEST(ParameterFile, ManyParametersAreReadInOnePass) {
    // A repeated key is looked up, not searched for: a big file reads in moments.
    std::string text = "/talker:\n  ros__parameters:\n";
    constexpr int kCount = 20000;
    for (int i = 0; i < kCount; ++i) {
        text += "    p" + std::to_string(i) + ": " + std::to_string(i) + "\n";
    }
    text += "    p7: seven\n";
    const std::vector<rcl::Parameter> loaded = parametersToLoad(text, "p.yaml", "/talker", true);
    ASSERT_EQ(loaded.size(), static_cast<std::size_t>(kCount));
    EXPECT_EQ(loaded[7].name, "p7");
    EXPECT_EQ(loaded[7].value.string_value, "seven");
    EXPECT_EQ(loaded.back().value.integer_value, kCount - 1);
}

TEST(ParameterFile, AFileThatCannotBeOpenedEndsAsPythonsOpenEnds) {
    try {
        qorCli::parameterFileText("/nonexistent/params.yaml");
        ADD_FAILURE() << "no failure for a missing file";
    } catch (const qorCli::CommandFailure& failure) {
        EXPECT_STREQ(failure.what(),
                     "FileNotFoundError: [Errno 2] No such file or directory: "
                     "'/nonexistent/params.yaml'");
    }
    try {
        qorCli::parameterFileText("/");
        ADD_FAILURE() << "no failure for a folder";
    } catch (const qorCli::CommandFailure& failure) {
        EXPECT_STREQ(failure.what(), "IsADirectoryError: [Errno 21] Is a directory: '/'");
    }
}

TEST(ParameterFile, EachResultIsPrintedAsRos2PrintsIt) {
    bool toErrors = true;
    EXPECT_EQ(qorCli::loadResultText("rate", {true, ""}, toErrors),
              "Set parameter rate successful\n");
    EXPECT_FALSE(toErrors);
    EXPECT_EQ(qorCli::loadResultText("rate", {false, "it is read-only"}, toErrors),
              "Set parameter rate failed: it is read-only\n");
    EXPECT_TRUE(toErrors);
}

}  // namespace
