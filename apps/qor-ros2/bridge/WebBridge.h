#pragma once

// Serves the topics of a ROS 2 domain to web clients: each topic of a known type becomes a
// channel while some endpoint uses it, is subscribed only while a client wants it, /clock
// gives the server its time, and what clients publish goes out on the topic they name. The
// domain's services are offered too, each call forwarded to the service's server, and the nodes'
// parameters.

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <regex>
#include <set>
#include <string>

#include "bridge/WebParameterForwarder.h"
#include "bridge/WebServiceForwarder.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorCli {

/// The QoS a subscriber of the bridge uses to receive from `publishers` (the topic's): reliable
/// and transient local only when every publisher offers it, otherwise what matches any
/// publisher; depth the sum of theirs between 1 and 25.
qorROS2::QOS adaptedQos(const std::vector<qorROS2::DiscoveredEndpoint>& publishers);

class WebBridge {
  public:
    /// Watches domain `domain` and starts the server that `options` describes; only topics whose
    /// whole name `topics` matches are served, and services whose whole name `services` matches
    /// offered. Throws what FoxgloveServer throws.
    WebBridge(std::int8_t domain, std::regex topics, std::regex services,
              qorROS2::web::ServerOptions options);
    ~WebBridge();
    WebBridge(const WebBridge&) = delete;
    WebBridge& operator=(const WebBridge&) = delete;

    std::uint16_t port() const { return m_server->port(); }

    /// Brings channels and subscriptions in line with the graph and the clients.
    void refresh();
    /// Waits up to `timeout` for a client to subscribe or unsubscribe.
    void waitForChange(std::chrono::milliseconds timeout);

  private:
    struct Served {
        std::string type;
        qorROS2::web::ChannelId channel = 0;
        qorROS2::QOS qos;
        std::unique_ptr<qorROS2::RawSubscriber> subscriber;
    };

    void publishFromClient(const qorROS2::web::ClientMessage& message);
    void serve(const std::string& topic, Served& served,
               const std::vector<qorROS2::DiscoveredEndpoint>& publishers);
    void followClock(const std::vector<qorROS2::DiscoveredTopic>& topics,
                     const std::vector<qorROS2::DiscoveredEndpoint>& endpoints);
    void warnOnce(const std::string& topic, const std::string& text);

    std::int8_t m_domain;
    std::regex m_topics;
    qorROS2::TopicDiscovery m_discovery;
    std::map<std::string, Served> m_served;  // by topic
    std::unique_ptr<qorROS2::RawSubscriber> m_clock;
    std::set<std::string> m_warned;

    std::mutex m_publishersMutex;
    std::map<std::string, std::unique_ptr<qorROS2::RawPublisher>> m_publishers;  // by topic

    WebServiceForwarder m_services;
    WebParameterForwarder m_parameters;

    std::mutex m_changeMutex;
    std::condition_variable m_changed;
    bool m_change = false;

    // Last: it stops calling back before what the callbacks use goes.
    std::unique_ptr<qorROS2::web::FoxgloveServer> m_server;
};

}  // namespace qorCli
