// `qor-ros2 bridge web`: serves every topic of the domain to Foxglove (and any client of the
// Foxglove WebSocket protocol) until Ctrl-C.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>

#include "bridge/WebBridge.h"
#include "cli/CommandOptions.h"
#include "cli/StopSignal.h"
#include "cli/ToolDomain.h"
#include "cli/UsageError.h"
#include "cli/Verb.h"
#include "qorROS2/web/BundledPage.h"

namespace qorCli {
namespace {

constexpr std::uint16_t kDefaultPort = 8765;
// How often the graph is looked at for topics that came or went.
constexpr std::chrono::milliseconds kGraphPeriod{250};
// A day: longer is no timeout at all, and would overflow the server's clock.
constexpr double kLongestServiceTimeout = 86400.0;

std::regex regexOption(const std::string& option, const std::string& text) {
    try {
        return std::regex(text, std::regex::ECMAScript);
    } catch (const std::regex_error& error) {
        throw UsageError(option + ": '" + text + "' is not a regular expression: " + error.what());
    }
}

class BridgeWebVerb : public Verb {
  public:
    explicit BridgeWebVerb(CLI::App& app) {
        addNonNegativeInt(app, "--port", m_port, "PORT",
                          "TCP port to serve on (default: 8765; 0: any free port, printed)");
        addText(app, "--address", m_address, "ADDRESS",
                "IP address to listen on (default: 127.0.0.1, this machine only; 0.0.0.0 serves "
                "every network, with a warning)");
        addText(app, "--topic-whitelist", m_whitelist, "REGEX",
                "serve only the topics whose whole name matches this regular expression "
                "(default: all)");
        addText(app, "--service-whitelist", m_serviceWhitelist, "REGEX",
                "offer only the services whose whole name matches this regular expression "
                "(default: all)");
        addPositiveFloat(app, "--service-timeout", m_serviceTimeout, "SECONDS",
                         "how long a client's service call waits for the graph's answer before "
                         "it fails (default: 30)");
        addText(app, "--web-token", m_token, "TOKEN",
                "require this token from every client: as ?token=TOKEN in the address or the "
                "header \"Authorization: Bearer TOKEN\"; others are refused with 401");
    }

    int run() override {
        if (m_port && *m_port > 65535) {
            throw UsageError("--port must be between 0 and 65535, not " + std::to_string(*m_port));
        }
        const std::regex whitelist = regexOption("--topic-whitelist", m_whitelist);
        const std::regex serviceWhitelist = regexOption("--service-whitelist", m_serviceWhitelist);
        if (m_serviceTimeout > kLongestServiceTimeout) {
            std::ostringstream given;
            given << m_serviceTimeout;
            throw UsageError("--service-timeout must be at most " +
                             std::to_string(static_cast<int>(kLongestServiceTimeout)) +
                             " seconds, not " + given.str());
        }
        const std::int8_t domain = domainFromEnvironment();
        qorROS2::web::ServerOptions options;
        options.address = m_address;
        options.port = static_cast<std::uint16_t>(m_port.value_or(kDefaultPort));
        options.name = "qor-ros2 bridge web";
        options.metadata = {{"ROS_DOMAIN_ID", std::to_string(domain)}};
        options.token = m_token;
        options.serviceCallTimeout = std::chrono::milliseconds(
            std::max<long long>(1, std::llround(m_serviceTimeout * 1000.0)));
        options.staticDirectory = qorROS2::web::bundledPageDirectory();
        WebBridge bridge(domain, whitelist, serviceWhitelist, options);
        const bool v6 = m_address.find(':') != std::string::npos;
        std::printf("Serving the ROS 2 graph of domain %d to Foxglove on ws://%s%s%s:%u%s\n",
                    static_cast<int>(domain), v6 ? "[" : "", m_address.c_str(), v6 ? "]" : "",
                    static_cast<unsigned>(bridge.port()),
                    m_token.empty() ? "" : " (with ?token=...)");
        if (options.staticDirectory.empty()) {
            std::fflush(stdout);  // the warning comes after the address it is about
            std::fprintf(stderr,
                         "warning: the web bridge finds no page of its own (share/qorROS2/web "
                         "above this program): browsers get 404, Foxglove still connects\n");
        } else {
            std::printf("Live view in a browser: http://%s%s%s:%u/%s\n", v6 ? "[" : "",
                        m_address.c_str(), v6 ? "]" : "", static_cast<unsigned>(bridge.port()),
                        m_token.empty() ? "" : "?token=...");
        }
        std::fflush(stdout);
        while (!stopRequested()) {
            bridge.refresh();
            bridge.waitForChange(kGraphPeriod);
        }
        return 0;
    }

  private:
    std::optional<std::uint64_t> m_port;
    std::string m_address = "127.0.0.1";
    std::string m_whitelist = ".*";
    std::string m_serviceWhitelist = ".*";
    double m_serviceTimeout = 30.0;
    std::string m_token;
};

}  // namespace

std::unique_ptr<Verb> makeBridgeWebVerb(CLI::App& app) {
    return std::make_unique<BridgeWebVerb>(app);
}

}  // namespace qorCli
