#pragma once

// The parameter requests of a web server's clients, kept for the thread that answers them.

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "qorROS2/web/FoxgloveServer.h"

namespace qorApps {

/// A client's getParameters or setParameters, as the server handed it over.
struct ParameterRequest {
    std::vector<std::string> names;                   ///< of a get: none asks for all
    std::vector<qorROS2::web::Parameter> parameters;  ///< of a set
    bool set = false;
    qorROS2::web::ParameterReply reply;
};

/// Queues the parameter requests of a server on its thread, which must not wait for an answer,
/// until the thread that answers them takes them.
class ParameterRequestQueue {
  public:
    /// Has the server that `options` will make queue its parameter requests here; `arrived`
    /// (when set) is called after each is queued, on the server's thread.
    void takeRequestsOf(qorROS2::web::ServerOptions& options, std::function<void()> arrived = {});

    /// The requests that wait, in the order they came; none wait afterwards.
    std::deque<ParameterRequest> take();

  private:
    void add(ParameterRequest request);

    std::function<void()> m_arrived;
    std::mutex m_mutex;
    std::deque<ParameterRequest> m_waiting;
};

}  // namespace qorApps
