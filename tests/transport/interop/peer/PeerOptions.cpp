#include "PeerOptions.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>

const char* const peerUsage =
    "usage: qor_cyclone_peer echo <type> <in-topic> <out-topic> <count> [options]\n"
    "       qor_cyclone_peer print <type> <topic> <count> [options]\n"
    "  <type>        ROS 2 type, sensor_msgs/msg/JointState\n"
    "  <topic>       ROS 2 topic; the DDS topic is rt/<topic>\n"
    "options:\n"
    "  --reliability reliable|best_effort   the reader's reliability (reliable)\n"
    "  --domain <id>                        DDS domain (0)\n"
    "  --timeout-ms <ms>                    give up after this long (20000)\n"
    "  --enclave <dir>                      secure the participant with an SROS2 enclave's files\n";

namespace {

std::uint32_t parseNumber(const std::string& text, const char* what) {
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || text[0] == '-' ||
        value > std::numeric_limits<std::uint32_t>::max()) {
        throw std::invalid_argument(std::string(what) + " is not a number: '" + text + "'");
    }
    return static_cast<std::uint32_t>(value);
}

}  // namespace

PeerOptions parsePeerOptions(const std::vector<std::string>& arguments) {
    PeerOptions options;
    if (arguments.empty()) {
        throw std::invalid_argument("no mode given");
    }
    std::size_t positional = 0;
    if (arguments[0] == "echo") {
        options.mode = PeerOptions::Mode::Echo;
        positional = 5;
    } else if (arguments[0] == "print") {
        options.mode = PeerOptions::Mode::Print;
        positional = 4;
    } else {
        throw std::invalid_argument("unknown mode '" + arguments[0] + "'");
    }
    if (arguments.size() < positional) {
        throw std::invalid_argument("too few arguments for " + arguments[0]);
    }
    options.type = arguments[1];
    options.inTopic = arguments[2];
    if (options.mode == PeerOptions::Mode::Echo) {
        options.outTopic = arguments[3];
    }
    options.count = parseNumber(arguments[positional - 1], "<count>");

    for (std::size_t i = positional; i < arguments.size(); i += 2) {
        const std::string& name = arguments[i];
        if (i + 1 >= arguments.size()) {
            throw std::invalid_argument(name + " needs a value");
        }
        const std::string& value = arguments[i + 1];
        if (name == "--reliability") {
            if (value != "reliable" && value != "best_effort") {
                throw std::invalid_argument("--reliability is reliable or best_effort, not '" +
                                            value + "'");
            }
            options.reliableReader = value == "reliable";
        } else if (name == "--domain") {
            options.domain = parseNumber(value, "--domain");
        } else if (name == "--timeout-ms") {
            options.timeoutMs = parseNumber(value, "--timeout-ms");
        } else if (name == "--enclave") {
            options.enclave = value;
        } else {
            throw std::invalid_argument("unknown option '" + name + "'");
        }
    }
    return options;
}
