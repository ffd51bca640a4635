#pragma once

// A Foxglove WebSocket server (subprotocols foxglove.websocket.v1 and foxglove.sdk.v1) with
// static files over HTTP on the same port, running on a thread of its own.
//
//   qorROS2::web::FoxgloveServer server(qorROS2::web::ServerOptions{});
//   const auto id = server.addChannel({"/joint_states", "sensor_msgs/msg/JointState", schema});
//   server.publish(id, bytes.data(), bytes.size(), nowNs);
//
// Services are offered when ServerOptions::onServiceCall is set:
//
//   options.onServiceCall = [&](const ServiceCall& call, ServiceReply reply) {
//       queue.push({call, reply});  // answered later, from another thread: reply.respond(bytes)
//   };
//   server.addService({"/step_simulation", "simulation_interfaces/srv/StepSimulation", ...});
//
// Parameters are offered when ServerOptions::onGetParameters is set; the program answers each
// request through its ParameterReply and tells subscribed clients of changes:
//
//   options.onGetParameters = [&](const std::vector<std::string>& names, ParameterReply reply) {
//       reply.respond(valuesOf(names));  // empty names: every parameter
//   };
//   server.updateParameters({{"/node.rate", 30.0}});

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/web/Export.h"
#include "qorROS2/web/LiveFeed.h"
#include "qorROS2/web/Parameters.h"

namespace qorROS2::web {

namespace detail {
class ServerCore;
}

/// What identifies a service while the server offers it.
using ServiceId = std::uint32_t;

/// A service clients may call, described by the schemas of its request and response. Both are
/// exchanged as CDR with its encapsulation header, as ROS 2 sends them.
struct Service {
    std::string name;                ///< "/step_simulation"
    std::string type;                ///< "simulation_interfaces/srv/StepSimulation"
    std::string requestSchemaName;   ///< "simulation_interfaces/srv/StepSimulation_Request"
    std::string requestSchema;       ///< its ros2msg text
    std::string responseSchemaName;  ///< "simulation_interfaces/srv/StepSimulation_Response"
    std::string responseSchema;      ///< its ros2msg text
};

/// One call of a service by a client.
struct ServiceCall {
    std::uint64_t clientId = 0;  ///< the client, as ClientStatistics numbers it
    ServiceId serviceId = 0;
    std::uint32_t callId = 0;           ///< the client's own number of the call
    std::string name;                   ///< the service's name
    std::string type;                   ///< the service's type
    std::vector<std::uint8_t> request;  ///< the request's payload, "cdr" encoded
};

/// The way back to the client that made a call. Copyable, and usable from any thread, now or
/// later: the first answer is sent, and every later one ignored, as is one that comes after the
/// call timed out, after the client left or after the server stopped.
class QORWEB_EXPORT ServiceReply {
  public:
    /// Answers nothing: respond() and fail() return false.
    ServiceReply() = default;
    /// Made by the server for each call it hands over.
    ServiceReply(std::weak_ptr<detail::ServerCore> core, std::uint64_t ticket)
        : m_core(std::move(core)), m_ticket(ticket) {}

    /// Sends the response's payload, "cdr" encoded, to the caller. Returns whether it was sent.
    bool respond(const std::vector<std::uint8_t>& response) const;
    /// Tells the caller that the call failed, and why. Returns whether it was told.
    bool fail(const std::string& message) const;

  private:
    std::weak_ptr<detail::ServerCore> m_core;
    std::uint64_t m_ticket = 0;
};

/// One message a client published on a channel it advertised.
struct ClientMessage {
    std::uint64_t clientId = 0;           ///< the client, as ClientStatistics numbers it
    std::uint32_t channelId = 0;          ///< the client's own number of its channel
    std::string topic;                    ///< "/cmd_joint_states"
    std::string schemaName;               ///< "sensor_msgs/msg/JointState"
    std::string encoding;                 ///< "cdr", the only encoding accepted
    const std::uint8_t* bytes = nullptr;  ///< the payload, valid during the call only
    std::size_t size = 0;
};

/// How a server listens and what it offers.
struct ServerOptions {
    /// The address to listen on, as digits ("127.0.0.1", "::1", "0.0.0.0"). Anything but a
    /// loopback address is reachable from other machines, and a warning says so.
    std::string address = "127.0.0.1";
    std::uint16_t port = 8765;                    ///< 0: any free port (port() tells which)
    std::string name = "qorROS2";                 ///< the server's name in serverInfo
    std::map<std::string, std::string> metadata;  ///< serverInfo's metadata
    /// When not empty, every WebSocket upgrade and HTTP request must carry it, as the query
    /// parameter `token` or the header `Authorization: Bearer <token>`, or is refused with 401.
    std::string token;
    /// The directory whose files HTTP GET serves ("/" is its index.html); empty: none, every
    /// request is answered 404. No request reaches outside it.
    std::string staticDirectory;
    /// The largest message a client may send; a longer one is discarded and reported.
    std::size_t maxClientMessageBytes = 16u << 20;
    /// Reported protocol errors after which a client is disconnected.
    unsigned maxClientErrors = 10;
    /// Whether serverInfo announces the time capability from the start, before setTime().
    bool providesTime = false;
    /// Called on the server's thread with each message a client publishes; when empty, the
    /// server does not offer client publishing. An exception it throws is reported to the client
    /// as an error.
    std::function<void(const ClientMessage&)> onClientMessage;
    /// Called on the server's thread when a channel gets its first subscriber (true) or loses its
    /// last (false). It must return quickly and must not call back into the server.
    std::function<void(ChannelId, bool subscribed)> onSubscriptionChange;
    /// Called on the server's thread with each call of a service the server offers; when empty,
    /// the server offers no services. It must return quickly: the call is answered through
    /// `reply`, from any thread, possibly later. An exception it throws fails the call with its
    /// message.
    std::function<void(const ServiceCall&, ServiceReply reply)> onServiceCall;
    /// How long a call may wait for its answer before the client is told it failed.
    std::chrono::milliseconds serviceCallTimeout{30000};
    /// The calls a client may have waiting at once; a further one fails at once.
    unsigned maxPendingServiceCalls = 64;
    /// How many steps of Linux's nice scale (0 to 19) the server's thread runs below the thread
    /// that made the server. A simulation that serves its own web view gives it 10 or so, so that
    /// writing frames to many clients takes the CPU the simulation leaves, never the simulation's:
    /// clients of a machine that is short of CPU miss frames instead (they get the newest).
    int niceness = 0;
    /// Called on the server's thread with the names a client's getParameters asks for (none: it
    /// asks for every parameter); when empty, the server offers no parameters. It must return
    /// quickly: the values go back through `reply`, from any thread, possibly later. An exception
    /// it throws is reported to the client as an error.
    std::function<void(const std::vector<std::string>& names, ParameterReply reply)>
        onGetParameters;
    /// Called on the server's thread with the parameters a client's setParameters gives (a value
    /// not set asks to unset one); the reply carries the values they have afterwards. When empty,
    /// clients may read parameters but not set them.
    std::function<void(const std::vector<Parameter>& parameters, ParameterReply reply)>
        onSetParameters;
    /// The most parameters one request may name, and the most one client may subscribe to.
    std::size_t maxParameterNames = 1000;
    /// Where warnings go, one line each; empty: standard error.
    std::function<void(const std::string&)> log;
};

/// What one connected client has been sent and what it missed.
struct ClientStatistics {
    std::uint64_t clientId = 0;
    std::string remote;             ///< "127.0.0.1:43122"
    std::uint64_t sentSamples = 0;  ///< Message Data frames written to it
    /// Samples replaced by a newer one of the same subscription before it could take them.
    std::uint64_t droppedSamples = 0;
    std::uint64_t errors = 0;  ///< protocol errors reported to it
};

/// A Foxglove WebSocket server. Each client has, per subscription, room for the newest sample
/// only: a client that reads slowly misses samples (counted) and never holds up the program that
/// publishes or the other clients. Not copyable or movable.
class QORWEB_EXPORT FoxgloveServer final : public LiveFeed {
  public:
    /// Starts listening. Throws std::invalid_argument for an address that is no IP address and
    /// std::runtime_error naming the address and port when it cannot listen there.
    explicit FoxgloveServer(ServerOptions options);
    /// Disconnects every client and stops the server's thread.
    ~FoxgloveServer() override;
    FoxgloveServer(const FoxgloveServer&) = delete;
    FoxgloveServer& operator=(const FoxgloveServer&) = delete;

    /// The port listened on.
    std::uint16_t port() const;

    ChannelId addChannel(const Channel& channel) override;
    void removeChannel(ChannelId id) override;
    bool publish(ChannelId id, const std::uint8_t* bytes, std::size_t size,
                 std::int64_t logTimeNs) override;
    void setTime(std::int64_t timeNs) override;

    /// Offers `service` to every client, those that come later too. Throws std::logic_error when
    /// the options set no onServiceCall, std::invalid_argument for a service without a name or
    /// type.
    ServiceId addService(const Service& service);
    /// Withdraws a service; calls of it that wait are still answered.
    void removeService(ServiceId id);

    /// Any thread: sends each client subscribed to some of `changed` (subscribeParameterUpdates)
    /// their new values. The program calls it whenever a parameter changes, whoever changed it.
    /// A client that subscribed with no names follows every parameter, those that come later too.
    void updateParameters(const std::vector<Parameter>& changed);

    /// Whether some client is subscribed to channel `id`.
    bool hasSubscribers(ChannelId id) const;
    /// The clients connected over WebSocket right now.
    std::vector<ClientStatistics> clients() const;
    /// Samples dropped for slow clients so far, over all clients, gone ones included.
    std::uint64_t droppedSamples() const;
    /// How far below its maker the server's thread runs (ServerOptions::niceness).
    int niceness() const;

    class Impl;

  private:
    std::shared_ptr<Impl> m_impl;
};

/// Lowers the calling thread by `niceness` steps of Linux's nice scale (at most to 19), as a
/// server does its own thread: for the threads that feed a server and should yield as it does.
QORWEB_EXPORT void lowerCallingThread(int niceness);

}  // namespace qorROS2::web
