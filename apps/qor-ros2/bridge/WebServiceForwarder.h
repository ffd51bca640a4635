#pragma once

// The services of a ROS 2 domain offered to web clients: each call goes to the service's server
// in the graph, and its reply back to the client.

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "qorROS2/RawServiceClient.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorCli {

/// Offers every service of the graph whose type the type support knows (name, type and the
/// schemas of request and response) while some server of it is seen, and forwards each call
/// through a raw service client, on the wire of the service's server. The server's reply goes
/// back as it came; a call with no reply within the server's call timeout fails then, and the
/// client forgets it.
class WebServiceForwarder {
  public:
    /// Services of domain `domain` whose whole name `services` matches.
    WebServiceForwarder(std::int8_t domain, std::regex services);

    /// Has the server that `options` will make hand its service calls here.
    void takeCallsOf(qorROS2::web::ServerOptions& options);

    /// Offers on `server` the services `discovery` sees now and withdraws those gone; forgets
    /// the calls whose reply is overdue.
    void refresh(qorROS2::web::FoxgloveServer& server, const qorROS2::TopicDiscovery& discovery);

  private:
    struct Forwarded {
        std::string type;
        qorROS2::web::ServiceId id = 0;
        std::unique_ptr<qorROS2::RawServiceClient> client;
    };
    struct Waiting {
        std::string service;
        std::int64_t sequence = 0;
        std::chrono::steady_clock::time_point deadline;
    };

    void forward(const qorROS2::web::ServiceCall& call, const qorROS2::web::ServiceReply& reply);
    void forgetOverdue();

    std::int8_t m_domain;
    std::regex m_services;
    std::chrono::milliseconds m_timeout{0};
    std::set<std::string> m_warned;

    // The server's thread forwards calls while the bridge's refreshes.
    std::mutex m_mutex;
    std::map<std::string, Forwarded> m_forwarded;  // by service name
    std::vector<Waiting> m_waiting;
};

}  // namespace qorCli
