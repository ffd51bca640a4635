#pragma once

// The state a FoxgloveServer shares between the program's threads (channels, samples handed in)
// and its own I/O thread (connections, subscriptions, writing), under one mutex.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ProtocolMessages.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorROS2::web::detail {

class WebSession;

// Its handlers and sessions point at it without owning it: it outlives them, since the I/O
// context it holds destroys whatever handler is left when it goes. The replies to service calls,
// which the application keeps, hold it weakly.
class ServerCore : public std::enable_shared_from_this<ServerCore> {
  public:
    explicit ServerCore(ServerOptions options);
    ServerCore(const ServerCore&) = delete;
    ServerCore& operator=(const ServerCore&) = delete;

    /// Listens and starts the I/O thread.
    void start();
    /// Closes every connection and joins the I/O thread.
    void stop();

    // I/O thread: a WebSocket client joined or left.
    void connected(const std::shared_ptr<WebSession>& session);
    void disconnected(WebSession& session);
    // I/O thread: one complete message of a client.
    void received(WebSession& session, const std::string& message, bool text);
    /// I/O thread: tells the client what was wrong and disconnects it after too many errors.
    void reportError(WebSession& session, const std::string& message);

    const ServerOptions& options() const { return m_options; }
    boost::asio::io_context& context() { return m_context; }
    void warn(const std::string& line) const;

    // The program's side, any thread.
    ChannelId addChannel(const Channel& channel);
    void removeChannel(ChannelId id);
    bool publish(ChannelId id, const std::uint8_t* bytes, std::size_t size, std::int64_t logTimeNs);
    void setTime(std::int64_t timeNs);
    bool hasSubscribers(ChannelId id) const;
    std::vector<ClientStatistics> clients() const;
    std::uint64_t droppedSamples() const;
    std::uint16_t port() const { return m_port; }
    ServiceId addService(const Service& service);
    void removeService(ServiceId id);
    /// Any thread: answers the call `ticket` names with `response`, or when it is null with a
    /// failure saying `failure`. Returns whether the client was sent the answer.
    bool answer(std::uint64_t ticket, const std::vector<std::uint8_t>* response,
                const std::string& failure);

    void updateParameters(const std::vector<Parameter>& changed);
    /// Any thread: sends the client `clientId` a status warning saying `refusal` (when not
    /// empty), then `parameters` when `sendsValues`. Returns whether it was sent anything.
    bool sendParameters(std::uint64_t clientId, const std::optional<std::string>& requestId,
                        bool sendsValues, const std::vector<Parameter>& parameters,
                        const std::string& refusal);

    /// Guards the channels, the sessions' subscriptions and their outboxes.
    std::mutex& mutex() const { return m_mutex; }

  private:
    void accept();
    void subscribe(WebSession& session, std::uint32_t subscriptionId, ChannelId channel,
                   std::vector<std::pair<ChannelId, bool>>& changes);
    void unsubscribe(WebSession& session, std::uint32_t subscriptionId,
                     std::vector<std::pair<ChannelId, bool>>& changes);
    std::size_t subscriberCount(ChannelId id) const;
    /// Under the mutex: queues `text` for every connected client.
    void queueTextForEveryClient(const std::string& text);
    void notify(const std::vector<std::pair<ChannelId, bool>>& changes) const;
    void handleText(WebSession& session, const std::string& message);
    void handleBinary(WebSession& session, const std::string& message);
    void handleServiceCall(WebSession& session, const ClientServiceCall& request);
    /// Handles a request of the parameters capability; false for any other.
    bool handleParameterRequest(WebSession& session, const ClientRequest& request);
    void subscribeParameters(WebSession& session, const SubscribeParameterUpdates& request);
    void unsubscribeParameters(WebSession& session, const UnsubscribeParameterUpdates& request);

    ServerOptions m_options;
    std::string m_sessionId;
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::acceptor m_acceptor;
    std::uint16_t m_port = 0;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    std::map<ChannelId, Channel> m_channels;
    ChannelId m_nextChannel = 1;
    std::map<std::uint64_t, std::shared_ptr<WebSession>> m_sessions;
    std::uint64_t m_nextClient = 1;
    std::optional<std::int64_t> m_time;
    std::uint64_t m_droppedOfGoneClients = 0;

    struct PendingCall {
        std::uint64_t clientId = 0;
        ServiceId serviceId = 0;
        std::uint32_t callId = 0;
    };
    std::map<ServiceId, Service> m_services;
    ServiceId m_nextService = 1;
    std::map<std::uint64_t, PendingCall> m_pendingCalls;  // by ticket
    std::uint64_t m_nextTicket = 1;

    // I/O thread only; after the context, which they need when they go.
    std::map<std::uint64_t, std::unique_ptr<boost::asio::steady_timer>> m_callTimers;
};

}  // namespace qorROS2::web::detail
