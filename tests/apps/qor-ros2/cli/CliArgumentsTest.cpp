// The command line of qor-ros2 as a ros2 user expects it: help for every command and verb, and
// argparse's usage line and error for words it cannot take.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CliRuns.h"

namespace {

// No test of this file needs a peer; the domain only keeps the child away from other tests.
constexpr int kDomain = 40;

struct HelpCase {
    std::string path;                // "topic echo"
    std::vector<std::string> flags;  // what its help must name
};

const std::vector<HelpCase> kHelpCases = {
    {"", {"Commands:", "topic", "node", "interface", "security"}},
    {"topic", {"--include-hidden-topics", "echo", "find", "hz", "info", "list", "pub", "type"}},
    {"node", {"list", "info"}},
    {"interface", {"list", "show"}},
    {"security", {"create_keystore", "create_enclave"}},
    {"topic echo",
     {"topic_name", "[message_type]", "--once", "--save FILE.png", "--qos-profile", "--qos-depth N",
      "--qos-history", "--qos-reliability", "--qos-durability"}},
    {"topic hz", {"topic_name", "-w WINDOW, --window WINDOW", "--qos-profile"}},
    {"topic pub",
     {"topic_name message_type [values]", "-r N, --rate N", "-p N, --print N", "-1, --once",
      "-t TIMES, --times TIMES", "--wait-matching-subscriptions", "--keep-alive N",
      "--qos-profile {system_default,sensor_data,services_default,parameters,parameter_events,"
      "action_status_default}",
      "--qos-reliability {system_default,reliable,best_effort}",
      "--qos-durability {system_default,transient_local,volatile}",
      "--qos-history {system_default,keep_last,keep_all}"}},
    {"topic list", {"-t, --show-types", "-c, --count-topics", "--include-hidden-topics"}},
    {"topic info", {"topic_name", "-v, --verbose"}},
    {"topic type", {"topic_name", "--include-hidden-topics"}},
    {"topic find", {"topic_type", "-c, --count-topics", "--include-hidden-topics"}},
    {"node list", {"-a, --all", "-c, --count-nodes"}},
    {"node info", {"node_name", "--include-hidden"}},
    {"param list",
     {"[node_name]", "--filter FILTER", "--include-hidden-nodes",
      "--param-prefixes PARAM_PREFIXES [PARAM_PREFIXES ...]", "--param-type"}},
    {"param dump", {"node_name", "--output-dir OUTPUT_DIR", "--print"}},
    {"param load",
     {"node_name parameter_file", "--spin-time SPIN_TIME", "--no-daemon", "--include-hidden-nodes",
      "--no-use-wildcard"}},
    {"interface list", {"-h, --help"}},
    {"interface show", {"type"}},
    {"security create_keystore", {"ROOT"}},
    {"security create_enclave", {"ROOT", "NAME"}},
};

TEST(CliArguments, HelpOfEveryCommandAndVerbGoesToStdoutAndNamesItsFlags) {
    for (const HelpCase& help : kHelpCases) {
        for (const std::string& flag : {std::string("--help"), std::string("-h")}) {
            const auto result = qorCliTest::runCliSplit(help.path + " " + flag, kDomain);
            const std::string prog = "qor-ros2" + (help.path.empty() ? "" : " " + help.path);
            EXPECT_EQ(result.exitCode, 0) << help.path;
            EXPECT_EQ(result.errors, "") << help.path;
            EXPECT_EQ(result.output.rfind("usage: " + prog + " [-h]", 0), 0U) << result.output;
            EXPECT_NE(result.output.find("  -h, --help"), std::string::npos) << result.output;
            for (const std::string& named : help.flags) {
                EXPECT_NE(result.output.find(named), std::string::npos)
                    << help.path << " does not name " << named << ":\n"
                    << result.output;
            }
        }
    }
}

// Each verb with its required positionals, so that the flag alone is what is wrong.
const std::vector<std::string> kVerbLines = {
    "topic echo /x",
    "topic hz /x",
    "topic pub /x std_msgs/msg/String",
    "topic list",
    "topic info /x",
    "topic type /x",
    "topic find std_msgs/msg/String",
    "node list",
    "node info /x",
    "interface list",
    "interface show std_msgs/msg/String",
    "security create_keystore /tmp/ks",
    "security create_enclave /tmp/ks /e",
    "param list",
    "param load /x params.yaml",
    "param dump /x",
};

// The verb's path in a line like "topic pub /x std_msgs/msg/String".
std::string verbOf(const std::string& line) {
    const std::size_t second = line.find(' ', line.find(' ') + 1);
    return line.substr(0, second);
}

TEST(CliArguments, ParamListShowsItsOptionsInRos2sOrder) {
    const auto result = qorCliTest::runCliSplit("param list --help", kDomain);
    EXPECT_EQ(result.output.substr(0, result.output.find("\n\n") + 1),
              "usage: qor-ros2 param list [-h] [--spin-time SPIN_TIME] [-s] [--no-daemon]\n"
              "                           [--filter FILTER] [--include-hidden-nodes]\n"
              "                           [--param-prefixes PARAM_PREFIXES [PARAM_PREFIXES ...]]\n"
              "                           [--param-type]\n"
              "                           [node_name]\n");
}

TEST(CliArguments, UnknownFlagOfEveryVerbShowsItsUsageNamesTheFlagAndExitsWithTwo) {
    for (const std::string& line : kVerbLines) {
        const auto result = qorCliTest::runCliSplit(line + " --bogus", kDomain);
        const std::string prog = "qor-ros2 " + verbOf(line);
        EXPECT_EQ(result.exitCode, 2) << line;
        EXPECT_EQ(result.output, "") << line;
        EXPECT_EQ(result.errors.rfind("usage: " + prog + " [-h]", 0), 0U) << result.errors;
        const std::string error = prog + ": error: unrecognized arguments: --bogus\n";
        ASSERT_GE(result.errors.size(), error.size()) << line;
        EXPECT_EQ(result.errors.substr(result.errors.size() - error.size()), error) << line;
    }
}

struct RefusedLine {
    std::string arguments;
    std::string usage;  // the whole usage text, wrapped at 80 columns
    std::string error;  // the last line
};

TEST(CliArguments, MissingExtraAndMalformedArgumentsAreRefusedInArgparsesWords) {
    const std::string typeUsage =
        "usage: qor-ros2 topic type [-h] [--spin-time SPIN_TIME] [-s] [--no-daemon]\n"
        "                           [--include-hidden-topics]\n"
        "                           topic_name\n";
    const std::string enclaveUsage = "usage: qor-ros2 security create_enclave [-h] ROOT NAME\n";
    const std::vector<RefusedLine> cases = {
        {"topic type", typeUsage,
         "qor-ros2 topic type: error: the following arguments are required: topic_name\n"},
        {"security create_enclave", enclaveUsage,
         "qor-ros2 security create_enclave: error: the following arguments are required: ROOT, "
         "NAME\n"},
        {"param load /x",
         "usage: qor-ros2 param load [-h] [--spin-time SPIN_TIME] [-s] [--no-daemon]\n"
         "                           [--include-hidden-nodes] [--no-use-wildcard]\n"
         "                           node_name parameter_file\n",
         "qor-ros2 param load: error: the following arguments are required: parameter_file\n"},
        {"topic type /a /b", typeUsage, "qor-ros2 topic type: error: unrecognized arguments: /b\n"},
        {"node list -x",
         "usage: qor-ros2 node list [-h] [--spin-time SPIN_TIME] [-s] [--no-daemon] [-a]\n"
         "                          [-c]\n",
         "qor-ros2 node list: error: unrecognized arguments: -x\n"},
    };
    for (const RefusedLine& refused : cases) {
        const auto result = qorCliTest::runCliSplit(refused.arguments, kDomain);
        EXPECT_EQ(result.exitCode, 2) << refused.arguments;
        EXPECT_EQ(result.output, "") << refused.arguments;
        EXPECT_EQ(result.errors, refused.usage + refused.error) << refused.arguments;
    }
}

TEST(CliArguments, ValuesOfPubAreCheckedAsRos2ChecksThem) {
    const std::string pub = "topic pub /refused std_msgs/msg/String ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"--rate 0", "argument -r/--rate: invalid positive_float value: '0'"},
        {"-r fast", "argument -r/--rate: invalid positive_float value: 'fast'"},
        {"--rate", "argument -r/--rate: expected one argument"},
        {"-t -2", "argument -t/--times: invalid nonnegative_int value: '-2'"},
        {"-w x", "argument -w/--wait-matching-subscriptions: invalid nonnegative_int value: 'x'"},
        {"--keep-alive -1", "argument --keep-alive: invalid positive_float value: '-1'"},
        {"--qos-depth 1.5", "argument --qos-depth: invalid int value: '1.5'"},
        {"--qos-reliability sometimes",
         "argument --qos-reliability: invalid choice: 'sometimes' (choose from "
         "'system_default', 'reliable', 'best_effort')"},
        {"--qos-profile fast",
         "argument --qos-profile: invalid choice: 'fast' (choose from 'system_default', "
         "'sensor_data', 'services_default', 'parameters', 'parameter_events', "
         "'action_status_default')"},
        {"--once -t 3", "argument -t/--times: not allowed with argument -1/--once"},
    };
    for (const auto& [flags, message] : cases) {
        const auto result = qorCliTest::runCliSplit(pub + flags, kDomain);
        EXPECT_EQ(result.exitCode, 2) << flags;
        EXPECT_EQ(result.errors.rfind("usage: qor-ros2 topic pub [-h]", 0), 0U) << result.errors;
        const std::string error = "qor-ros2 topic pub: error: " + message + "\n";
        ASSERT_GE(result.errors.size(), error.size()) << flags;
        EXPECT_EQ(result.errors.substr(result.errors.size() - error.size()), error) << flags;
    }
}

TEST(CliArguments, UnknownVerbShowsTheCommandsUsageAndItsVerbs) {
    const auto result = qorCliTest::runCliSplit("topic bogus", kDomain);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "usage: qor-ros2 topic [-h] [--include-hidden-topics]\n"
              "                      Call `qor-ros2 topic <command> -h` for more detailed\n"
              "                      usage. ...\n"
              "qor-ros2 topic: error: argument Call `qor-ros2 topic <command> -h` for more "
              "detailed usage.: invalid choice: 'bogus' (choose from 'bw', 'delay', 'echo', "
              "'find', 'hz', 'info', 'list', 'pub', 'type')\n");
}

TEST(CliArguments, NoArgumentsPrintsTheHelpOnStdoutAndExitsWithZero) {
    const auto result = qorCliTest::runCliSplit("", kDomain);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    // As `qor-ros2 -h` prints it.
    EXPECT_EQ(result.output, qorCliTest::runCliSplit("-h", kDomain).output);
    EXPECT_EQ(result.output.rfind("usage: qor-ros2 [-h]", 0), 0U) << result.output;
    EXPECT_NE(result.output.find("  topic      Various topic related sub-commands\n"),
              std::string::npos)
        << result.output;
}

TEST(CliArguments, TopicWithoutItsVerbPrintsItsHelpOnStdoutAndExitsWithZero) {
    const auto result = qorCliTest::runCliSplit("topic", kDomain);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, qorCliTest::runCliSplit("topic -h", kDomain).output);
}

TEST(CliArguments, ACommandWithoutItsVerbPrintsItsHelp) {
    const auto result = qorCliTest::runCliSplit("node", kDomain);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "usage: qor-ros2 node [-h]\n"
              "                     Call `qor-ros2 node <command> -h` for more detailed\n"
              "                     usage. ...\n"
              "\n"
              "Various node related sub-commands\n"
              "\n"
              "options:\n"
              "  -h, --help  show this help message and exit\n"
              "\n"
              "Commands:\n"
              "  info  Output information about a node\n"
              "  list  Output a list of available nodes\n"
              "\n"
              "  Call `qor-ros2 node <command> -h` for more detailed usage.\n");
}

}  // namespace
