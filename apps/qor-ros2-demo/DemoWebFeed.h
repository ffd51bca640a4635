#pragma once

// The demo's topics served live to web clients (Foxglove, or any client of its WebSocket
// protocol) from inside the demo.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "DemoBridge.h"
#include "DemoParameters.h"
#include "DemoWebParameters.h"
#include "DemoWebServices.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorDemo {

/// How far below the step loop the web view's threads run (nice steps): on a machine short of
/// CPU, clients miss frames rather than the simulation missing steps.
inline constexpr int kWebViewNiceness = 10;

/// Feeds a FoxgloveServer with the demo's topics. Each topic the demo publishes is a channel,
/// described by its type's schema. While some client is subscribed to a channel, a raw subscriber
/// in this process takes the very bytes the demo's publisher sent and hands them on, each sample
/// once whatever the number of clients; without a subscribed client nothing is taken (and a
/// sensor nobody else reads is not rendered). The simulation time is the server's time. What a
/// client publishes on a topic the demo reads (its joint commands) goes out on that topic, as a
/// ROS 2 node's message would. The simulation services are offered too (DemoWebServices), and
/// answered by the step loop through answerServiceCalls(), and so are the node's parameters
/// (DemoWebParameters), through answerParameterRequests().
///
/// Everything but setTime() happens on threads of its own: the step loop is never held up by
/// clients, however slow they read.
class DemoWebFeed {
  public:
    /// Starts the server that `options` describes (its time, client publishing and subscription
    /// callbacks are the feed's) and offers `topics`, those of domain `domainId`. The feed's own
    /// thread runs at the server's niceness. Throws what FoxgloveServer throws.
    DemoWebFeed(const std::vector<DemoTopic>& topics, std::int8_t domainId,
                qorROS2::web::ServerOptions options);
    ~DemoWebFeed();
    DemoWebFeed(const DemoWebFeed&) = delete;
    DemoWebFeed& operator=(const DemoWebFeed&) = delete;

    /// The port the server listens on.
    std::uint16_t port() const { return m_server->port(); }

    /// The simulation time, in seconds. Only stored: clients hear it within a fiftieth of a
    /// second.
    void setTime(double seconds);

    /// Whether the server has a folder of static files to serve over HTTP.
    bool servesPage() const { return m_servesPage; }

    /// The server, for its clients' statistics.
    const qorROS2::web::FoxgloveServer& server() const { return *m_server; }

    /// Between steps, on the step loop's thread: answers the service calls of clients that wait.
    std::size_t answerServiceCalls(qorROS2::ROS2SimulationControlServer& control) {
        return m_services.handleCalls(control);
    }

    /// Between steps, on the step loop's thread: answers the parameter requests of clients that
    /// wait, then sends subscribed clients the parameters that changed since the last call,
    /// whoever changed them.
    void answerParameterRequests(DemoParameters& parameters) {
        m_parameters.handleRequests(parameters.server());
        const std::vector<std::string> changed = parameters.takeChanged();
        if (!changed.empty()) {
            DemoWebParameters::pushChanges(parameters.server(), changed, *m_server);
        }
    }

    /// Samples handed to the server so far, over all channels.
    std::uint64_t samplesServed() const { return m_samplesServed.load(); }

  private:
    struct Served {
        DemoTopic topic;
        qorROS2::web::ChannelId channel = 0;
        std::unique_ptr<qorROS2::RawSubscriber> subscriber;
    };

    void run();
    void subscribeWanted();
    void forwardSamples();
    void publishFromClient(const qorROS2::web::ClientMessage& message);
    void wake(bool subscriptionsChanged);

    std::int8_t m_domainId;
    bool m_servesPage;
    std::vector<DemoTopic> m_read;  ///< the topics the demo reads, which clients may publish on
    std::vector<Served> m_served;   ///< used by the feed's thread only, once it runs
    std::atomic<std::int64_t> m_timeNs{-1};
    std::atomic<std::uint64_t> m_samplesServed{0};

    std::mutex m_wakeMutex;
    std::condition_variable m_woken;
    bool m_dataArrived = false;
    bool m_subscriptionsChanged = false;
    bool m_stop = false;

    std::mutex m_publishersMutex;
    std::map<std::string, std::unique_ptr<qorROS2::RawPublisher>> m_publishers;  // by topic

    DemoWebServices m_services;
    DemoWebParameters m_parameters;

    // Last but the thread: it stops calling back before what the callbacks use goes.
    std::unique_ptr<qorROS2::web::FoxgloveServer> m_server;
    std::thread m_thread;
};

}  // namespace qorDemo
