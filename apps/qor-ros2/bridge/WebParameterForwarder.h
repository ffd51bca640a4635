#pragma once

// The parameters of a ROS 2 domain's nodes offered to web clients, through each node's parameter
// services and /parameter_events.

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/ParameterRequestQueue.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/rclInterfaces.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorCli {

/// Offers the parameters of every node of the graph that serves them, named as ROS 2 web bridges
/// name them: the node's full name, a dot and the parameter ("/qor_ros2_demo.camera.rate").
/// A get or set goes to the node's get_parameters, list_parameters and set_parameters services,
/// on a thread of its own, so that a node slow to answer (each call waits a bounded time for the
/// service, then for its answer) holds up neither the server nor the graph's refresh; a refused set
/// comes back with the node's reason. Each change a node publishes on /parameter_events goes to
/// the clients subscribed to it.
class WebParameterForwarder {
  public:
    WebParameterForwarder(std::int8_t domain, const qorROS2::TopicDiscovery& discovery);
    /// Stops the thread (stop()).
    ~WebParameterForwarder();
    WebParameterForwarder(const WebParameterForwarder&) = delete;
    WebParameterForwarder& operator=(const WebParameterForwarder&) = delete;

    /// Has the server that `options` will make hand its parameter requests here.
    void takeRequestsOf(qorROS2::web::ServerOptions& options);
    /// Starts answering them, and sending parameter changes to `server`'s clients.
    void start(qorROS2::web::FoxgloveServer& server);
    /// Stops the thread, before the server goes; requests that still wait are not answered.
    void stop();

  private:
    struct NodeClients;

    void run();
    void answer(const qorApps::ParameterRequest& waiting);
    void forwardEvents();
    /// The clients of node `node`'s parameter services, made at its first use; null when the
    /// graph shows no parameter services of it.
    NodeClients* clientsOf(const std::string& node);
    std::vector<qorROS2::web::Parameter> valuesOf(const std::string& node,
                                                  const std::vector<std::string>& names);
    std::vector<qorROS2::web::Parameter> everyParameter();

    std::int8_t m_domain;
    const qorROS2::TopicDiscovery& m_discovery;
    qorROS2::web::FoxgloveServer* m_server = nullptr;

    qorApps::ParameterRequestQueue m_requests;
    std::mutex m_mutex;
    std::condition_variable m_woken;
    bool m_arrived = false;  // a request was queued since the thread last looked
    bool m_stop = false;

    // The thread's only.
    std::map<std::string, std::unique_ptr<NodeClients>> m_nodes;  // by full name
    std::unique_ptr<qorROS2::Subscriber<qorROS2::rclInterfaces::ParameterEvent>> m_events;
    std::thread m_thread;
};

}  // namespace qorCli
