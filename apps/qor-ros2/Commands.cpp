#include "Commands.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "CommandLine.h"
#include "GraphVerbs.h"
#include "ImagePng.h"
#include "InterfaceVerbs.h"
#include "MessageTypes.h"
#include "SecurityCommand.h"
#include "StopSignal.h"
#include "UsageError.h"
#include "qorROS2/RosDomain.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

namespace {

// How long echo and hz wait for an endpoint of a topic given without its type.
constexpr std::chrono::seconds kTypeDiscoveryTimeout{5};

std::vector<std::string> rest(const std::vector<std::string>& arguments) {
    return std::vector<std::string>(arguments.begin() + 2, arguments.end());
}

double positiveNumber(const std::string& text, const std::string& option) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || !(value > 0.0) ||
        value > std::numeric_limits<double>::max()) {
        throw UsageError("option " + option + " needs a positive number, got '" + text + "'");
    }
    return value;
}

std::size_t positiveCount(const std::string& text, const std::string& option) {
    const double value = positiveNumber(text, option);
    if (value != static_cast<double>(static_cast<std::size_t>(value))) {
        throw UsageError("option " + option + " needs a positive whole number, got '" + text + "'");
    }
    return static_cast<std::size_t>(value);
}

// ROS_DOMAIN_ID, as ROS 2 reads it; 0 when unset or empty.
std::int8_t domainFromEnvironment() {
    try {
        return qorROS2::rosDomainIdFromEnvironment();
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

std::uint32_t reliability(const CommandLine& line, const std::string& fallback) {
    const std::string value = line.value("--qos-reliability", fallback);
    if (value == "reliable") {
        return qorROS2::QOS::RELIABLE;
    }
    if (value == "best_effort") {
        return qorROS2::QOS::BEST_EFFORT;
    }
    throw UsageError("option --qos-reliability takes reliable or best_effort, got '" + value + "'");
}

void expectPositional(const CommandLine& line, std::size_t least, std::size_t most,
                      const std::string& usage) {
    const std::size_t count = line.positional().size();
    if (count < least || count > most) {
        throw UsageError("usage: qor-ros2 " + usage);
    }
}

// Prints the topics of `domain`, sorted, each with its types when `showTypes`.
int listTopics(bool showTypes, std::int8_t domain) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitUntilSettled([&] {
        std::vector<std::string> summary;
        for (const qorROS2::DiscoveredTopic& topic : discovery.topics()) {
            summary.push_back(topic.name);
            summary.insert(summary.end(), topic.types.begin(), topic.types.end());
        }
        return summary;
    });
    const std::vector<qorROS2::DiscoveredTopic> topics = discovery.topics();
    std::string text;
    for (const qorROS2::DiscoveredTopic& topic : topics) {
        text += topic.name;
        if (showTypes) {
            text += " [";
            for (std::size_t i = 0; i < topic.types.size(); ++i) {
                text += (i == 0 ? "" : ", ") + topic.types[i];
            }
            text += "]";
        }
        text += "\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

// The type of the messages on `topic`, as its endpoints in `domain` announce it. Throws
// UsageError when no endpoint appears in time, when they use several types, or when the type is
// not one of the known ones.
const MessageType& discoveredType(const std::string& topic,
                                  const qorROS2::TopicDiscovery& discovery, std::int8_t domain,
                                  const std::string& verb) {
    const std::string name = !topic.empty() && topic[0] == '/' ? topic : "/" + topic;
    std::vector<std::string> types;
    if (discovery.waitForTopic(name, kTypeDiscoveryTimeout)) {
        for (const qorROS2::DiscoveredTopic& found : discovery.topics()) {
            if (found.name == name) {
                types = found.types;
            }
        }
    }
    const std::string giveType = "give its type after the topic, as in 'qor-ros2 topic " + verb +
                                 " /clock rosgraph_msgs/msg/Clock'";
    if (types.empty()) {
        throw UsageError("topic '" + topic + "' was not found in domain " + std::to_string(domain) +
                         " within " + std::to_string(kTypeDiscoveryTimeout.count()) +
                         " s: start its publisher first, or " + giveType);
    }
    if (types.size() > 1) {
        std::string all;
        for (const std::string& type : types) {
            all += (all.empty() ? "" : ", ") + type;
        }
        throw UsageError("topic '" + topic + "' carries more than one type (" + all +
                         "): " + giveType);
    }
    for (const MessageType& type : messageTypes()) {
        if (type.name == types[0]) {
            return type;
        }
    }
    throw UsageError("topic '" + topic + "' carries " + types[0] +
                     ", which qor-ros2 does not know (see 'qor-ros2 interface list')");
}

int topicCommand(const std::string& verb, const std::vector<std::string>& arguments) {
    TopicOptions options;
    if (verb == "pub") {
        const CommandLine line(arguments, {"--once"},
                               {"--rate", "-r", "--times", "--qos-reliability"});
        expectPositional(line, 2, 3,
                         "topic pub TOPIC TYPE [VALUES] [--rate HZ] [--once] [--times N] "
                         "[--qos-reliability reliable|best_effort]");
        const MessageType& type = findMessageType(line.positional()[1]);
        options.topic = line.positional()[0];
        if (line.positional().size() == 3) {
            options.values = line.positional()[2];
        }
        options.once = line.has("--once");
        options.rate = positiveNumber(line.value("--rate", "1"), "--rate");
        if (line.has("--times")) {
            options.times = positiveCount(line.value("--times", ""), "--times");
        }
        options.reliability = reliability(line, "reliable");
        options.domain = domainFromEnvironment();
        return type.publish(options);
    }
    if (verb == "info") {
        return topicInfoCommand(arguments, domainFromEnvironment());
    }
    if (verb == "list") {
        const CommandLine line(arguments, {"-t", "--show-types"}, {});
        expectPositional(line, 0, 0, "topic list [-t]");
        return listTopics(line.has("-t") || line.has("--show-types"), domainFromEnvironment());
    }
    if (verb == "echo" || verb == "hz") {
        const bool echo = verb == "echo";
        const CommandLine line(arguments,
                               echo ? std::set<std::string>{"--once"} : std::set<std::string>{},
                               echo ? std::set<std::string>{"--qos-reliability", "--save"}
                                    : std::set<std::string>{"--window", "--qos-reliability"});
        expectPositional(line, 1, 2,
                         echo ? "topic echo TOPIC [TYPE] [--once] [--save FILE.png] "
                                "[--qos-reliability reliable|best_effort]"
                              : "topic hz TOPIC [TYPE] [--window N]");
        options.topic = line.positional()[0];
        options.domain = domainFromEnvironment();
        // The discovery lives on while the command runs: its participant is the one the
        // subscription then uses, already acquainted with the publishers.
        const qorROS2::TopicDiscovery discovery(options.domain);
        const MessageType& type =
            line.positional().size() == 2
                ? findMessageType(line.positional()[1])
                : discoveredType(options.topic, discovery, options.domain, verb);
        options.once = line.has("--once");
        if (line.has("--save")) {
            if (type.name != "sensor_msgs/msg/Image") {
                throw UsageError("option --save works for sensor_msgs/msg/Image only, not " +
                                 type.name);
            }
            options.savePath = line.value("--save", "");
        }
        // Best effort matches reliable and best-effort publishers alike.
        options.reliability = reliability(line, "best_effort");
        if (line.has("--window")) {
            options.window = positiveCount(line.value("--window", ""), "--window");
        }
        return echo ? type.echo(options) : type.hz(options);
    }
    throw UsageError("unknown command 'topic " + verb + "' (known: list, info, pub, echo, hz)");
}

int nodeCommand(const std::string& verb, const std::vector<std::string>& arguments) {
    if (verb == "list") {
        return nodeListCommand(arguments, domainFromEnvironment());
    }
    if (verb == "info") {
        return nodeInfoCommand(arguments, domainFromEnvironment());
    }
    throw UsageError("unknown command 'node " + verb + "' (known: list, info)");
}

}  // namespace

std::string usageText() {
    return "usage: qor-ros2 COMMAND ...\n"
           "  interface list [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]\n"
           "  interface packages [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]\n"
           "  interface package PACKAGE [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]\n"
           "  interface proto TYPE [--no-quotes]\n"
           "  interface show TYPE\n"
           "  node list [-a|--all] [-c|--count-nodes]\n"
           "  node info NAME [--include-hidden]\n"
           "  topic pub TOPIC TYPE [VALUES] [--rate HZ] [--once] [--times N]\n"
           "            [--qos-reliability reliable|best_effort]\n"
           "  topic list [-t|--show-types]\n"
           "  topic info TOPIC [-v|--verbose]\n"
           "  topic echo TOPIC [TYPE] [--once] [--save FILE.png]\n"
           "             [--qos-reliability reliable|best_effort]\n"
           "  topic hz TOPIC [TYPE] [--window N]\n"
           "  security create_keystore DIR\n"
           "  security create_enclave DIR /NAME\n"
           "TYPE is pkg/msg/Name or pkg/Name; without it, echo and hz use the type that the\n"
           "topic's endpoints announce. --save writes each sensor_msgs/msg/Image received as PNG\n"
           "(encodings " +
           std::string(savableImageEncodings()) +
           "). The domain comes from ROS_DOMAIN_ID (default 0). ROS 2 arguments after\n"
           "--ros-args name the tool's node: -r __node:=NAME, -r __ns:=/NAMESPACE.\n";
}

int runCommand(const std::vector<std::string>& arguments) {
    if (arguments.size() < 2) {
        throw UsageError(arguments.empty() ? "no command given"
                                           : "'" + arguments[0] + "' needs a command");
    }
    if (arguments[0] == "interface") {
        return interfaceCommand(arguments[1], rest(arguments));
    }
    if (arguments[0] == "topic") {
        return topicCommand(arguments[1], rest(arguments));
    }
    if (arguments[0] == "node") {
        return nodeCommand(arguments[1], rest(arguments));
    }
    if (arguments[0] == "security") {
        return securityCommand(arguments[1], rest(arguments));
    }
    throw UsageError("unknown command '" + arguments[0] +
                     "' (known: interface, node, topic, security)");
}

}  // namespace qorCli
