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

#include "CliRuns.h"
#include "qorROS2/ActionServer.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/ServiceServer.h"

namespace {

using qorCliTest::linesOf;

constexpr int kDomain = 106;

// What the completion offers, sorted, for the command line `words` (after the program's name)
// whose last word is the one being completed, run in ROS domain `domain`.
std::vector<std::string> completions(const std::vector<std::string>& words, int domain = kDomain) {
    std::string command = "bash --norc --noprofile -c " +
                          qorCliTest::shellQuoted(
                              "source \"$0\"; COMP_WORDS=(\"$@\"); "
                              "COMP_CWORD=$(($# - 1)); _qor_ros2; "
                              "printf '%s\\n' \"${COMPREPLY[@]}\"") +
                          " " + QOR_ROS2_COMPLETION + " " + QOR_ROS2_CLI;
    for (const std::string& word : words) {
        command += " " + qorCliTest::shellQuoted(word);
    }
    const auto result = qorCliTest::runShell(command, domain);
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
    EXPECT_EQ(completions({""}), (Words{"--help", "action", "bag", "bridge", "interface", "node",
                                        "param", "security", "service", "topic"}));
    EXPECT_EQ(completions({"to"}), (Words{"topic"}));
    EXPECT_EQ(completions({"x"}), (Words{}));
}

TEST(CliCompletion, SecondWordIsAVerbOfTheCommand) {
    EXPECT_EQ(completions({"interface", ""}),
              (Words{"list", "package", "packages", "proto", "show"}));
    EXPECT_EQ(completions({"topic", "h"}), (Words{"hz"}));
    EXPECT_EQ(completions({"security", ""}), (Words{"create_enclave", "create_keystore"}));
    EXPECT_EQ(completions({"service", ""}), (Words{"call", "find", "list", "type"}));
    EXPECT_EQ(completions({"action", ""}), (Words{"info", "list", "send_goal"}));
    EXPECT_EQ(completions({"param", ""}),
              (Words{"delete", "describe", "dump", "get", "list", "load", "set"}));
    EXPECT_EQ(completions({"param", "l"}), (Words{"list", "load"}));
    EXPECT_EQ(completions({"nothing", ""}), (Words{}));
}

TEST(CliCompletion, DashCompletesTheOptionsOfTheVerb) {
    EXPECT_EQ(completions({"interface", "list", "--only"}),
              (Words{"--only-actions", "--only-msgs", "--only-srvs"}));
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", "--qos-"}),
              (Words{"--qos-depth", "--qos-durability", "--qos-history", "--qos-profile",
                     "--qos-reliability"}));
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", "--t"}),
              (Words{"--times"}));
    EXPECT_EQ(completions({"topic", "hz", "--w"}), (Words{"--wall-time", "--window"}));
    EXPECT_EQ(completions({"topic", "echo", "/x", "--n"}),
              (Words{"--no-arr", "--no-daemon", "--no-lost-messages", "--no-str"}));
    EXPECT_EQ(completions({"param", "list", "--param-"}),
              (Words{"--param-prefixes", "--param-type"}));
    EXPECT_EQ(completions({"param", "load", "/node", "--no-"}),
              (Words{"--no-daemon", "--no-use-wildcard"}));
    EXPECT_EQ(completions({"topic", "frobnicate", "-"}), (Words{}));
}

TEST(CliCompletion, OptionValueIsCompletedForQosChoicesOnly) {
    EXPECT_EQ(completions({"topic", "echo", "/x", "--qos-reliability", ""}),
              (Words{"best_effort", "reliable", "system_default"}));
    EXPECT_EQ(completions({"topic", "bw", "/x", "--qos-profile", "s"}),
              (Words{"sensor_data", "services_default", "system_default"}));
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", "--rate", ""}), (Words{}));
}

TEST(CliCompletion, TypeIsCompletedWhereATypeIsExpected) {
    EXPECT_EQ(completions({"topic", "pub", "--rate", "2", "/x", "sensor_msgs/msg/Joi"}),
              (Words{"sensor_msgs/msg/JointState"}));
    EXPECT_EQ(completions({"interface", "proto", "std_msgs/msg/Int8"}),
              (Words{"std_msgs/msg/Int8", "std_msgs/msg/Int8MultiArray"}));
    // Every message type: the 89 records and the 35 that tools, services and actions use beside
    // them.
    EXPECT_EQ(completions({"interface", "show", ""}).size(), 89U + 35U);
    // The values after the type are free text.
    EXPECT_EQ(completions({"topic", "pub", "/x", "std_msgs/msg/String", ""}), (Words{}));
    // Where a service type is expected, service types.
    EXPECT_EQ(completions({"service", "call", "-r", "2", "/x", "std_srvs/srv/Set"}),
              (Words{"std_srvs/srv/SetBool"}));
    EXPECT_EQ(completions({"service", "find", "rcl_interfaces/srv/Get"}),
              (Words{"rcl_interfaces/srv/GetParameterTypes", "rcl_interfaces/srv/GetParameters"}));
    // Where an action type is expected, action types; the goal after it is free text.
    EXPECT_EQ(completions({"action", "send_goal", "-f", "/x", "simulation_interfaces/"}),
              (Words{"simulation_interfaces/action/SimulateSteps"}));
    EXPECT_EQ(completions({"action", "send_goal", "/x", "simulation_interfaces/action/X", ""}),
              (Words{}));
}

TEST(CliCompletion, PackageIsCompletedWherePackageIsExpected) {
    EXPECT_EQ(
        completions({"interface", "package", "s"}),
        (Words{"sensor_msgs", "service_msgs", "simulation_interfaces", "std_msgs", "std_srvs"}));
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

TEST(CliCompletion, ServiceOfALiveServerIsCompletedWhereAServiceIsExpected) {
    constexpr int kServiceDomain = 26;
    const qorROS2::ServiceServer<qorROS2::stdSrvs::Trigger> server("/completion/reset",
                                                                   kServiceDomain);
    EXPECT_EQ(completions({"service", "call", "/completion/re"}, kServiceDomain),
              (Words{"/completion/reset"}));
    EXPECT_EQ(completions({"service", "type", "/completion/"}, kServiceDomain),
              (Words{"/completion/reset"}));
}

TEST(CliCompletion, ActionOfALiveServerIsCompletedWhereAnActionIsExpected) {
    constexpr int kActionDomain = 78;
    const qorROS2::ActionServer<qorROS2::simulationInterfaces::SimulateSteps> server(
        "/completion/steps", kActionDomain,
        [](const qorROS2::GoalId&, const qorROS2::simulationInterfaces::SimulateSteps::Goal&) {
            return qorROS2::GoalResponse::reject;
        });
    EXPECT_EQ(completions({"action", "info", "-t", "/completion/st"}, kActionDomain),
              (Words{"/completion/steps"}));
    EXPECT_EQ(completions({"action", "send_goal", "/completion/"}, kActionDomain),
              (Words{"/completion/steps"}));
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

// The lines of `text` after the line `heading`, up to the next empty line.
std::vector<std::string> sectionOf(const std::string& text, const std::string& heading) {
    std::vector<std::string> section;
    bool inside = false;
    for (const std::string& line : linesOf(text)) {
        if (inside && line.empty()) {
            break;
        }
        if (inside) {
            section.push_back(line);
        }
        inside = inside || line == heading;
    }
    return section;
}

// The verbs of each command as the program's help lists them, each with the options its own
// help lists ("-1, --once", "-w WINDOW, --window WINDOW"), -h and --help left out.
std::map<std::string, std::set<std::string>> optionsOfTheHelp() {
    std::map<std::string, std::set<std::string>> table;
    for (const std::string command : {"action", "bag", "bridge", "interface", "node", "param",
                                      "security", "service", "topic"}) {
        const auto commandHelp = qorCliTest::runCli(command + " --help", kDomain, false);
        EXPECT_EQ(commandHelp.exitCode, 0) << command;
        for (const std::string& entry : sectionOf(commandHelp.output, "Commands:")) {
            std::istringstream words(entry);
            std::string verb;
            words >> verb;
            const std::string name = command + " " + verb;
            std::set<std::string>& options = table[name];
            const auto verbHelp = qorCliTest::runCli(name + " --help", kDomain, false);
            EXPECT_EQ(verbHelp.exitCode, 0) << name;
            for (const std::string& line : sectionOf(verbHelp.output, "options:")) {
                if (line.rfind("  -", 0) != 0) {
                    continue;
                }
                // "  -w WINDOW, --window WINDOW   help": the invocations, up to the help.
                std::string invocations = line.substr(2, line.find("  ", 2) - 2);
                // Choices ("{reliable,best_effort}") hold commas of their own.
                for (auto open = invocations.find('{'); open != std::string::npos;
                     open = invocations.find('{')) {
                    invocations.erase(open, invocations.find('}', open) - open + 1);
                }
                std::istringstream forms(invocations);
                std::string form;
                while (std::getline(forms, form, ',')) {
                    std::istringstream formWords(form);
                    std::string option;
                    formWords >> option;
                    if (option != "-h" && option != "--help") {
                        options.insert(option);
                    }
                }
            }
        }
    }
    return table;
}

// The words an argparse error line calls unrecognized.
std::set<std::string> unrecognizedWords(const std::string& output) {
    const std::string marker = "unrecognized arguments: ";
    std::set<std::string> words;
    for (const std::string& line : linesOf(output)) {
        const auto at = line.find(marker);
        if (at != std::string::npos) {
            std::istringstream rest(line.substr(at + marker.size()));
            std::string word;
            while (rest >> word) {
                words.insert(word);
            }
        }
    }
    return words;
}

// The options of the script that take a value.
std::set<std::string> valuedOptionsOfTheScript() {
    const auto result = qorCliTest::runShell(
        "bash --norc --noprofile -c " +
            qorCliTest::shellQuoted(std::string("source ") + QOR_ROS2_COMPLETION +
                                    "; printf '%s ' \"${_qor_ros2_valued_options[@]}\""),
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
    // With a word no verb knows each stops at its usage before it touches the network: for an
    // argument missing or for that word, never for the option.
    const std::set<std::string> valued = valuedOptionsOfTheScript();
    EXPECT_EQ(valued.size(), 56U);
    int checked = 0;
    for (const auto& [verb, options] : optionsOfTheScript()) {
        for (const std::string& option : options) {
            const std::string arguments =
                verb + " " + option + (valued.count(option) != 0 ? " 1" : "") + " --zz-unknown";
            const auto result = qorCliTest::runCli(arguments, kDomain, true);
            EXPECT_EQ(result.exitCode, 2) << arguments;
            EXPECT_EQ(result.output.rfind("usage: qor-ros2 " + verb + " ", 0), 0U)
                << arguments << ": " << result.output;
            EXPECT_EQ(unrecognizedWords(result.output).count(option), 0U)
                << arguments << ": " << result.output;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 251);
}

TEST(CliCompletion, ScriptOffersExactlyTheVerbsAndOptionsOfTheProgram) {
    const auto script = optionsOfTheScript();
    const auto help = optionsOfTheHelp();
    ASSERT_EQ(help.size(), 36U);
    EXPECT_EQ(script, help);
}

}  // namespace
