#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "qorROS2/Publisher.h"

namespace {

constexpr int kDomain = 106;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line)) {
        lines.push_back(line);
    }
    return lines;
}

// What the completion offers, sorted, for the command line `words` (after the program's name)
// whose last word is the one being completed.
std::vector<std::string> completions(const std::vector<std::string>& words) {
    std::string command = "bash --norc --noprofile -c " +
                          qorCliTest::shellQuoted(
                              "source \"$0\"; COMP_WORDS=(\"$@\"); "
                              "COMP_CWORD=$(($# - 1)); _qor_ros2; "
                              "printf '%s\\n' \"${COMPREPLY[@]}\"") +
                          " " + QOR_ROS2_COMPLETION + " " + QOR_ROS2_CLI;
    for (const std::string& word : words) {
        command += " " + qorCliTest::shellQuoted(word);
    }
    const auto result = qorCliTest::runShell(command, kDomain);
    EXPECT_EQ(result.exitCode, 0) << command;
    std::vector<std::string> offered;
    for (const std::string& line : linesOf(result.output)) {
        if (!line.empty()) {
            offered.push_back(line);
        }
    }
    std::sort(offered.begin(), offered.end());
    return offered;
}

using Words = std::vector<std::string>;

TEST(CliCompletion, SourcingTheScriptRegistersItForTheProgram) {
    const auto result = qorCliTest::runShell(
        "bash --norc --noprofile -c " +
            qorCliTest::shellQuoted(std::string("source ") + QOR_ROS2_COMPLETION +
                                    "; complete -p qor-ros2"),
        kDomain);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "complete -F _qor_ros2 qor-ros2\n");
}

TEST(CliCompletion, FirstWordIsACommand) {
    EXPECT_EQ(completions({""}), (Words{"--help", "interface", "node", "security", "topic"}));
    EXPECT_EQ(completions({"to"}), (Words{"topic"}));
    EXPECT_EQ(completions({"x"}), (Words{}));
}

TEST(CliCompletion, SecondWordIsAVerbOfTheCommand) {
    EXPECT_EQ(completions({"interface", ""}),
              (Words{"list", "package", "packages", "proto", "show"}));
    EXPECT_EQ(completions({"topic", "h"}), (Words{"hz"}));
    EXPECT_EQ(completions({"security", ""}), (Words{"create_enclave", "create_keystore"}));
    EXPECT_EQ(completions({"nothing", ""}), (Words{}));
}

TEST(CliCompletion, DashCompletesTheOptionsOfTheVerb) {
    EXPECT_EQ(completions({"interface", "list", "--only"}),
              (Words{"--only-actions", "--only-msgs", "--only-srvs"}));
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", "--"}),
              (Words{"--once", "--qos-reliability", "--rate", "--times"}));
    EXPECT_EQ(completions({"topic", "hz", "-"}), (Words{"--window"}));
    EXPECT_EQ(completions({"topic", "frobnicate", "-"}), (Words{}));
}

TEST(CliCompletion, OptionValueIsCompletedForReliabilityOnly) {
    EXPECT_EQ(completions({"topic", "echo", "/x", "--qos-reliability", ""}),
              (Words{"best_effort", "reliable"}));
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", "--rate", ""}), (Words{}));
}

TEST(CliCompletion, TypeIsCompletedWhereATypeIsExpected) {
    EXPECT_EQ(completions({"topic", "pub", "--rate", "2", "/x", "sensor_msgs/msg/Joi"}),
              (Words{"sensor_msgs/msg/JointState"}));
    EXPECT_EQ(completions({"interface", "proto", "std_msgs/msg/Int8"}),
              (Words{"std_msgs/msg/Int8", "std_msgs/msg/Int8MultiArray"}));
    EXPECT_EQ(completions({"interface", "show", ""}).size(), 89U);
    // The values after the type are free text.
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", ""}), (Words{}));
}

TEST(CliCompletion, PackageIsCompletedWherePackageIsExpected) {
    EXPECT_EQ(completions({"interface", "package", "s"}), (Words{"sensor_msgs", "std_msgs"}));
}

TEST(CliCompletion, TopicOfALivePublisherIsCompletedWhereATopicIsExpected) {
    const qorROS2::QOS qos{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST,
                           10};
    const qorROS2::Publisher<qorROS2::stdMsgs::String> publisher("/completion/chatter", qos,
                                                                 kDomain);
    EXPECT_EQ(completions({"topic", "echo", "/completion/ch"}), (Words{"/completion/chatter"}));
    EXPECT_EQ(completions({"topic", "hz", "--window", "5", "/completion/"}),
              (Words{"/completion/chatter"}));
    EXPECT_EQ(completions({"topic", "info", "/nowhere"}), (Words{}));
}

// The verbs of the script's option table, each with its options, as the script itself holds it.
std::map<std::string, std::set<std::string>> optionsOfTheScript() {
    const auto result = qorCliTest::runShell(
        "bash --norc --noprofile -c " +
            qorCliTest::shellQuoted(
                std::string("source ") + QOR_ROS2_COMPLETION +
                "; for verb in \"${!_qor_ros2_options[@]}\"; do "
                "printf '%s:%s\\n' \"$verb\" \"${_qor_ros2_options[$verb]}\"; done"),
        kDomain);
    EXPECT_EQ(result.exitCode, 0);
    std::map<std::string, std::set<std::string>> table;
    for (const std::string& line : linesOf(result.output)) {
        const auto colon = line.find(':');
        std::istringstream options(line.substr(colon + 1));
        std::set<std::string>& verbOptions = table[line.substr(0, colon)];
        std::string option;
        while (options >> option) {
            verbOptions.insert(option);
        }
    }
    return table;
}

// The verbs of the program's usage text, each with the options its entry shows.
std::map<std::string, std::set<std::string>> optionsOfTheUsage() {
    const auto result = qorCliTest::runCli("--help", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    std::map<std::string, std::set<std::string>> table;
    std::set<std::string>* entry = nullptr;
    for (const std::string& line : linesOf(result.output)) {
        const bool starts = line.size() > 2 && line.compare(0, 2, "  ") == 0 && line[2] != ' ';
        const bool continues = line.size() > 2 && line.compare(0, 3, "   ") == 0;
        if (!starts && !continues) {
            entry = nullptr;
            continue;
        }
        std::string words = line;
        std::replace_if(
            words.begin(), words.end(), [](char c) { return c == '[' || c == ']' || c == '|'; },
            ' ');
        std::istringstream stream(words);
        if (starts) {
            std::string command;
            std::string verb;
            stream >> command >> verb;
            entry = &table[command + " " + verb];
        }
        std::string word;
        while (entry != nullptr && stream >> word) {
            if (word.size() > 1 && word[0] == '-') {
                entry->insert(word);
            }
        }
    }
    return table;
}

// The options of the script that take a value.
std::set<std::string> valuedOptionsOfTheScript() {
    const auto result = qorCliTest::runShell(
        "bash --norc --noprofile -c " +
            qorCliTest::shellQuoted(std::string("source ") + QOR_ROS2_COMPLETION +
                                    "; printf '%s' \"$_qor_ros2_valued_options\""),
        kDomain);
    std::istringstream words(result.output);
    std::set<std::string> valued;
    std::string word;
    while (words >> word) {
        valued.insert(word);
    }
    return valued;
}

TEST(CliCompletion, EveryOptionTheScriptOffersIsAcceptedByTheProgram) {
    // With too many arguments each verb stops at its usage, after the options are parsed and
    // before it touches the network: an option it does not know stops it earlier, differently.
    const std::set<std::string> valued = valuedOptionsOfTheScript();
    EXPECT_EQ(valued.size(), 5U);
    int checked = 0;
    for (const auto& [verb, options] : optionsOfTheScript()) {
        for (const std::string& option : options) {
            const std::string arguments =
                verb + " " + option + (valued.count(option) != 0 ? " 1" : "") + " a b c d e";
            const auto result = qorCliTest::runCli(arguments, kDomain, true);
            EXPECT_EQ(result.exitCode, 2) << arguments;
            EXPECT_EQ(result.output.rfind("qor-ros2: usage: qor-ros2 " + verb + " ", 0), 0U)
                << arguments << ": " << result.output;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 36);
}

TEST(CliCompletion, ScriptOffersExactlyTheVerbsAndOptionsOfTheProgram) {
    const auto script = optionsOfTheScript();
    const auto usage = optionsOfTheUsage();
    ASSERT_EQ(usage.size(), 14U);
    EXPECT_EQ(script, usage);
}

}  // namespace
