#include "ServicePeerArguments.h"

#include <cstdio>
#include <limits>
#include <stdexcept>

namespace qorTest {
namespace {

// The highest domain ID whose ports fit in the UDP range with the default port mapping.
constexpr unsigned long long kHighestDomain = 232;

// `text` as a whole number from `lowest` to `highest`; throws std::invalid_argument naming
// `what` otherwise.
unsigned long long wholeNumber(const std::string& text, const std::string& what,
                               unsigned long long lowest, unsigned long long highest) {
    const std::string range = "from " + std::to_string(lowest) + " to " + std::to_string(highest);
    const std::string refusal = what + " must be a whole number " + range + ", not '" + text + "'";
    if (text.empty() || text.size() > 19 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        throw std::invalid_argument(refusal);
    }
    const unsigned long long value = std::stoull(text);
    if (value < lowest || value > highest) {
        throw std::invalid_argument(refusal);
    }
    return value;
}

}  // namespace

std::optional<ServicePeerArguments> parseServicePeerArguments(int argc, const char* const* argv) {
    const std::string program = argc > 0 ? argv[0] : "service_peer";
    try {
        if (argc != 6) {
            throw std::invalid_argument("expected 5 arguments, got " +
                                        std::to_string(argc > 0 ? argc - 1 : 0));
        }
        ServicePeerArguments arguments;
        const std::string role = argv[1];
        if (role != "client" && role != "server") {
            throw std::invalid_argument("the role must be 'client' or 'server', not '" + role +
                                        "'");
        }
        arguments.client = role == "client";
        arguments.domain =
            static_cast<std::uint32_t>(wholeNumber(argv[2], "<domain>", 0, kHighestDomain));
        arguments.service = argv[3];
        if (arguments.service.empty() || arguments.service.front() == '/') {
            throw std::invalid_argument("<service> must be given without its leading '/', not '" +
                                        arguments.service + "'");
        }
        arguments.count =
            static_cast<int>(wholeNumber(argv[4], "<count>", 1, std::numeric_limits<int>::max()));
        arguments.timeout = std::chrono::milliseconds(
            wholeNumber(argv[5], "<timeout ms>", 1, std::numeric_limits<std::int32_t>::max()));
        return arguments;
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr,
                     "%s: %s\nusage: %s client|server <domain> <service> <count> <timeout ms>\n",
                     program.c_str(), error.what(), program.c_str());
        return std::nullopt;
    }
}

}  // namespace qorTest
