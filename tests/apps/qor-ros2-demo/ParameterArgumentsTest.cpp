// The parameter rules and files of the ROS arguments, read as rcl reads them: YAML typing of
// values, node keys with wildcards and namespaces, the order in which later values win, and
// rcl's words for what cannot be read.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ParameterArguments.h"
#include "ScratchFile.h"
#include "qorROS2/ROS2ParameterServer.h"

namespace {

using qorDemo::ParameterArguments;
using Arguments = std::vector<std::string>;

std::map<std::string, ParameterArguments::Value> overridesOf(Arguments arguments,
                                                             const std::string& node) {
    return ParameterArguments::take(arguments).overridesFor(node);
}

ParameterArguments::Value valueOf(const std::string& yaml) {
    const auto overrides = overridesOf({"--ros-args", "-p", "x:=" + yaml}, "/demo");
    EXPECT_EQ(overrides.size(), 1U) << yaml;
    return overrides.at("x");
}

std::string errorOf(Arguments arguments) {
    const Arguments before = arguments;
    try {
        ParameterArguments::take(arguments);
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(arguments, before) << "the arguments changed on an error";
        return error.what();
    }
    return "read";
}

// What is said of the rule `-p rule`, after rcl's words naming it.
std::string ruleErrorOf(const std::string& rule) {
    const std::string error = errorOf({"--ros-args", "-p", rule});
    const std::string named = "Couldn't parse parameter override rule: '-p " + rule + "'. Error: ";
    if (error.rfind(named, 0) != 0) {
        return "not named so: " + error;
    }
    return error.substr(named.size());
}

// What is said of a parameters file holding `text`, after rcl's words naming the flag and file.
std::string fileErrorOf(const std::string& text) {
    const qorTest::ScratchFile file("params.yaml", text);
    const std::string error = errorOf({"--ros-args", "--params-file", file.path()});
    const std::string named =
        "Couldn't parse params file: '--params-file " + file.path() + "'. Error: ";
    if (error.rfind(named, 0) != 0) {
        return "not named so: " + error;
    }
    return error.substr(named.size());
}

TEST(ParameterArguments, RulesAreTakenOutOfTheRosArgumentsOnly) {
    Arguments arguments{"--fast", "--ros-args", "-p", "a:=1",       "-r", "__node:=demo", "--param",
                        "b:=2",   "--",         "-p", "--ros-args", "-p", "c:=3"};
    const ParameterArguments read = ParameterArguments::take(arguments);
    EXPECT_EQ(arguments,
              (Arguments{"--fast", "--ros-args", "-r", "__node:=demo", "--", "-p", "--ros-args"}));
    const auto overrides = read.overridesFor("/demo");
    EXPECT_EQ(overrides.size(), 3U);
    EXPECT_EQ(overrides.at("c").integer_value, 3);
}

TEST(ParameterArguments, ValuesAreTypedAsRclTypesThem) {
    EXPECT_EQ(valueOf("true").type, qorROS2::PARAMETER_BOOL);
    EXPECT_TRUE(valueOf("On").bool_value);
    EXPECT_FALSE(valueOf("no").bool_value);
    EXPECT_EQ(valueOf("5").integer_value, 5);
    EXPECT_EQ(valueOf("0x10").integer_value, 16);
    EXPECT_EQ(valueOf("-7").integer_value, -7);
    EXPECT_EQ(valueOf("2.5").double_value, 2.5);
    EXPECT_EQ(valueOf("1e3").double_value, 1000.0);
    EXPECT_EQ(valueOf("-.inf").double_value, -INFINITY);
    EXPECT_TRUE(std::isnan(valueOf(".nan").double_value));
    EXPECT_EQ(valueOf("99999999999999999999").type, qorROS2::PARAMETER_DOUBLE);
    EXPECT_EQ(valueOf("fast").string_value, "fast");
    EXPECT_EQ(valueOf("'5'").string_value, "5");
    EXPECT_EQ(valueOf("\"true\"").type, qorROS2::PARAMETER_STRING);
    EXPECT_EQ(valueOf("[1, 2, 3]").integer_array_value, (std::vector<std::int64_t>{1, 2, 3}));
    EXPECT_EQ(valueOf("[a, 'b']").string_array_value, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(valueOf("[true, off]").bool_array_value, (std::vector<bool>{true, false}));
}

TEST(ParameterArguments, NodeKeysMatchAsRclcppMatchesThem) {
    const qorTest::ScratchFile file("params.yaml",
                                    "/**:\n"
                                    "  ros__parameters:\n"
                                    "    rate: 1.0\n"
                                    "    camera:\n"
                                    "      rate: 2.0\n"
                                    "/robot1:\n"
                                    "  demo:\n"
                                    "    ros__parameters:\n"
                                    "      rate: 3.0\n"
                                    "/robot2/demo:\n"
                                    "  ros__parameters:\n"
                                    "    rate: 4.0\n"
                                    "demo:\n"
                                    "  ros__parameters:\n"
                                    "    plain: yes\n"
                                    "/*/demo:\n"
                                    "  ros__parameters:\n"
                                    "    starred: 1\n");
    const Arguments arguments{"--ros-args", "--params-file", file.path()};
    auto overrides = overridesOf(arguments, "/robot1/demo");
    EXPECT_EQ(overrides.at("rate").double_value, 3.0);
    EXPECT_EQ(overrides.at("camera.rate").double_value, 2.0);
    EXPECT_EQ(overrides.at("starred").integer_value, 1);
    EXPECT_EQ(overrides.count("plain"), 0U);
    EXPECT_EQ(overridesOf(arguments, "/robot2/demo").at("rate").double_value, 4.0);
    overrides = overridesOf(arguments, "/demo");
    EXPECT_EQ(overrides.at("rate").double_value, 1.0);
    EXPECT_TRUE(overrides.at("plain").bool_value);
    EXPECT_EQ(overrides.count("starred"), 0U);
    EXPECT_EQ(overridesOf(arguments, "/other").count("plain"), 0U);
}

TEST(ParameterArguments, LaterValuesOfANodeKeyWin) {
    const qorTest::ScratchFile file("params.yaml", "/**:\n  ros__parameters:\n    rate: 7\n");
    EXPECT_EQ(overridesOf({"--ros-args", "-p", "rate:=1", "--params-file", file.path()}, "/demo")
                  .at("rate")
                  .integer_value,
              7);
    EXPECT_EQ(overridesOf({"--ros-args", "--params-file", file.path(), "-p", "rate:=1"}, "/demo")
                  .at("rate")
                  .integer_value,
              1);
    EXPECT_EQ(overridesOf({"--ros-args", "-p", "demo:rate:=2", "-p", "other:rate:=3"}, "/demo")
                  .at("rate")
                  .integer_value,
              2);
}

TEST(ParameterArguments, WhatCannotBeReadIsRefusedInRclsWords) {
    EXPECT_EQ(errorOf({"--ros-args", "-p"}),
              "Couldn't parse trailing -p flag. No parameter override rule found.");
    EXPECT_EQ(errorOf({"--ros-args", "--params-file"}),
              "Couldn't parse trailing --params-file flag. No file path provided.");
    EXPECT_EQ(errorOf({"--ros-args", "--params-file", "/nonexistent/params.yaml"}),
              "Couldn't parse params file: '--params-file /nonexistent/params.yaml'. Error: "
              "Error opening YAML file");
    EXPECT_EQ(ruleErrorOf("rate"), "Expected ':=' after the parameter name");
    EXPECT_EQ(ruleErrorOf("a*:=1"), "Wildcard '*' is not implemented");
    EXPECT_EQ(ruleErrorOf("x:=[1, a]"),
              "Sequence should be of same type. Value type 'string' do not belong at line_num 1");
    EXPECT_EQ(ruleErrorOf("x:={a: 1}"), "Unknown YAML event");
    EXPECT_EQ(fileErrorOf("ros__parameters:\n  rate: 1\n"),
              "There are no node names before ros__parameters at line 1");
    EXPECT_EQ(fileErrorOf("/demo:\n  rate: 1\n"),
              "Cannot have a value before ros__parameters at line 2");
    EXPECT_EQ(fileErrorOf("/demo: [\n"), "Error parsing a event near line 2");
    EXPECT_EQ(fileErrorOf("/9demo:\n  ros__parameters:\n    rate: 1\n"),
              "node name must not start with a number");
}

}  // namespace
