#include "Commands.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "CommandLine.h"
#include "MessageTypes.h"
#include "UsageError.h"

namespace qorCli {

namespace {

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
    const char* text = std::getenv("ROS_DOMAIN_ID");
    if (text == nullptr || *text == '\0') {
        return 0;
    }
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (*end != '\0' || value < 0 || value > std::numeric_limits<std::int8_t>::max()) {
        throw UsageError("ROS_DOMAIN_ID must be a whole number from 0 to 127, got '" +
                         std::string(text) + "'");
    }
    return static_cast<std::int8_t>(value);
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

int interfaceCommand(const std::string& verb, const std::vector<std::string>& arguments) {
    const CommandLine line(arguments, {}, {});
    if (verb == "list") {
        expectPositional(line, 0, 0, "interface list");
        std::printf("Messages:\n");
        for (const MessageType& type : messageTypes()) {
            std::printf("    %s\n", type.name.c_str());
        }
        return 0;
    }
    if (verb == "show") {
        expectPositional(line, 1, 1, "interface show TYPE");
        const std::string text = findMessageType(line.positional()[0]).definition();
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    throw UsageError("unknown command 'interface " + verb + "' (known: list, show)");
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
    if (verb == "echo" || verb == "hz") {
        const bool echo = verb == "echo";
        const CommandLine line(arguments,
                               echo ? std::set<std::string>{"--once"} : std::set<std::string>{},
                               echo ? std::set<std::string>{"--qos-reliability"}
                                    : std::set<std::string>{"--window", "--qos-reliability"});
        expectPositional(line, 1, 2,
                         echo ? "topic echo TOPIC [TYPE] [--once] "
                                "[--qos-reliability reliable|best_effort]"
                              : "topic hz TOPIC [TYPE] [--window N]");
        if (line.positional().size() == 1) {
            throw UsageError("the message type of '" + line.positional()[0] +
                             "' cannot be discovered yet: give it after the topic, as in "
                             "'qor-ros2 topic " +
                             verb + " /clock rosgraph_msgs/msg/Clock'");
        }
        const MessageType& type = findMessageType(line.positional()[1]);
        options.topic = line.positional()[0];
        options.once = line.has("--once");
        // Best effort matches reliable and best-effort publishers alike.
        options.reliability = reliability(line, "best_effort");
        if (line.has("--window")) {
            options.window = positiveCount(line.value("--window", ""), "--window");
        }
        options.domain = domainFromEnvironment();
        return echo ? type.echo(options) : type.hz(options);
    }
    throw UsageError("unknown command 'topic " + verb + "' (known: pub, echo, hz)");
}

}  // namespace

std::string usageText() {
    return "usage: qor-ros2 COMMAND ...\n"
           "  interface list\n"
           "  interface show TYPE\n"
           "  topic pub TOPIC TYPE [VALUES] [--rate HZ] [--once] [--times N]\n"
           "            [--qos-reliability reliable|best_effort]\n"
           "  topic echo TOPIC TYPE [--once] [--qos-reliability reliable|best_effort]\n"
           "  topic hz TOPIC TYPE [--window N]\n"
           "TYPE is pkg/msg/Name or pkg/Name; the domain comes from ROS_DOMAIN_ID (default 0).\n";
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
    throw UsageError("unknown command '" + arguments[0] + "' (known: interface, topic)");
}

}  // namespace qorCli
