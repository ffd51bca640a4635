#include "qorROS2/web/FoxgloveServer.h"

// GCC sees a possible null dereference inside Asio's scheduler once its handlers are inlined here;
// Asio checks that pointer itself. Every other warning stays on.
#pragma GCC diagnostic ignored "-Wnull-dereference"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <utility>
#include <variant>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "ProtocolMessages.h"
#include "ServerCore.h"
#include "WebSession.h"

namespace qorROS2::web {
namespace detail {
namespace {

using boost::asio::ip::tcp;
using SubscriptionChanges = std::vector<std::pair<ChannelId, bool>>;

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

}  // namespace

ServerCore::ServerCore(ServerOptions options)
    : m_options(std::move(options)),
      m_sessionId(std::to_string(std::chrono::system_clock::now().time_since_epoch() /
                                 std::chrono::nanoseconds(1))),
      m_acceptor(m_context) {}

void ServerCore::warn(const std::string& line) const {
    if (m_options.log) {
        m_options.log(line);
    } else {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
}

void ServerCore::start() {
    if (m_options.niceness < 0 || m_options.niceness > 19) {
        throw std::invalid_argument("web server: a niceness of " +
                                    std::to_string(m_options.niceness) +
                                    " is not a step of the nice scale from 0 to 19");
    }
    boost::system::error_code error;
    const boost::asio::ip::address address =
        boost::asio::ip::make_address(m_options.address, error);
    if (error) {
        throw std::invalid_argument("web server: '" + m_options.address +
                                    "' is not an IP address (such as 127.0.0.1 or ::1)");
    }
    const tcp::endpoint endpoint(address, m_options.port);
    const std::string where = m_options.address + " port " + std::to_string(m_options.port);
    m_acceptor.open(endpoint.protocol(), error);
    if (!error) {
        m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        m_acceptor.bind(endpoint, error);
    }
    if (!error) {
        m_acceptor.listen(boost::asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw std::runtime_error("web server: cannot listen on " + where + ": " + error.message());
    }
    m_port = m_acceptor.local_endpoint().port();
    if (!address.is_loopback()) {
        warn("warning: the web server listens on " + m_options.address + " port " +
             std::to_string(m_port) +
             ", beyond this machine: whoever reaches it can read and publish every topic it "
             "serves" +
             (m_options.token.empty() ? "; a token would keep strangers out" : ""));
    }
    accept();
    // A new thread starts at its maker's nice value, so the server's lands below its maker's.
    m_thread = std::thread([this] {
        // Named, so that top -H and perf show which thread serves the web view.
        pthread_setname_np(pthread_self(), "qor-web");
        lowerCallingThread(m_options.niceness);
        m_context.run();
    });
}

void ServerCore::stop() {
    boost::asio::post(m_context, [this] {
        boost::system::error_code ignored;
        m_acceptor.close(ignored);
        std::map<std::uint64_t, std::shared_ptr<WebSession>> sessions;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            sessions = m_sessions;
        }
        for (const auto& [id, session] : sessions) {
            session->shutDown();
        }
        m_context.stop();
    });
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_callTimers.clear();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sessions.clear();
    m_pendingCalls.clear();
}

void ServerCore::accept() {
    m_acceptor.async_accept([self = this](boost::system::error_code error, tcp::socket socket) {
        if (error == boost::asio::error::operation_aborted || !self->m_acceptor.is_open()) {
            return;
        }
        if (!error) {
            boost::system::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            serveConnection(*self, std::move(socket));
        }
        self->accept();
    });
}

void ServerCore::connected(const std::shared_ptr<WebSession>& session) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    session->clientId = m_nextClient++;
    session->announcesTime = m_options.providesTime || m_time.has_value();
    std::vector<std::string> capabilities;
    if (m_options.onClientMessage) {
        capabilities.push_back("clientPublish");
    }
    if (m_options.onServiceCall) {
        capabilities.push_back("services");
    }
    if (session->announcesTime) {
        capabilities.push_back("time");
    }
    if (m_options.onGetParameters) {
        capabilities.push_back("parameters");
        capabilities.push_back("parametersSubscribe");
    }
    session->queueText(serverInfoJson(m_options.name, capabilities,
                                      std::vector<std::pair<std::string, std::string>>(
                                          m_options.metadata.begin(), m_options.metadata.end()),
                                      m_sessionId));
    if (!m_channels.empty()) {
        session->queueText(advertiseJson(
            std::vector<std::pair<ChannelId, Channel>>(m_channels.begin(), m_channels.end())));
    }
    if (!m_services.empty()) {
        session->queueText(advertiseServicesJson(
            std::vector<std::pair<ServiceId, Service>>(m_services.begin(), m_services.end())));
    }
    if (m_time) {
        session->queueTime(*m_time);
    }
    m_sessions.emplace(session->clientId, session);
}

void ServerCore::disconnected(WebSession& session) {
    SubscriptionChanges changes;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_sessions.find(session.clientId);
        if (found == m_sessions.end()) {
            return;
        }
        // Held until the lock is released: the session may be its last owner.
        const std::shared_ptr<WebSession> gone = found->second;
        m_sessions.erase(found);
        m_droppedOfGoneClients += session.droppedSamples;
        while (!session.subscriptions.empty()) {
            unsubscribe(session, session.subscriptions.begin()->first, changes);
        }
        // Their answers have nowhere to go.
        for (const auto& [callId, ticket] : session.pendingCalls) {
            m_pendingCalls.erase(ticket);
            m_callTimers.erase(ticket);
        }
        session.pendingCalls.clear();
    }
    notify(changes);
}

void ServerCore::received(WebSession& session, const std::string& message, bool text) {
    try {
        if (text) {
            handleText(session, message);
        } else {
            handleBinary(session, message);
        }
    } catch (const std::exception& error) {
        reportError(session, error.what());
    }
}

void ServerCore::reportError(WebSession& session, const std::string& message) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++session.errors;
    session.queueText(statusJson(StatusLevel::error, message));
    if (session.errors == m_options.maxClientErrors) {
        session.queueText(statusJson(
            StatusLevel::error,
            "disconnected after " + std::to_string(session.errors) + " protocol errors"));
        session.closeAfterQueued();
        // One line per client, however much it sent.
        warn("web server: disconnected client " + session.remote + " after " +
             std::to_string(session.errors) + " protocol errors; the last: " + message);
    }
}

void ServerCore::handleText(WebSession& session, const std::string& message) {
    const ClientRequest request = parseClientRequest(message, m_options.maxParameterNames);
    if (handleParameterRequest(session, request)) {
        return;
    }
    SubscriptionChanges changes;
    std::string refusal;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::visit(
            Overloaded{
                [&](const Subscribe& asked) {
                    for (const auto& [subscriptionId, channel] : asked.subscriptions) {
                        if (session.subscriptions.count(subscriptionId) > 0) {
                            refusal = "subscribe: subscription " + std::to_string(subscriptionId) +
                                      " is already in use";
                        } else if (m_channels.count(channel) == 0) {
                            refusal = "subscribe: there is no channel " + std::to_string(channel);
                        } else {
                            this->subscribe(session, subscriptionId, channel, changes);
                        }
                    }
                },
                [&](const Unsubscribe& asked) {
                    for (const std::uint32_t subscriptionId : asked.subscriptionIds) {
                        if (session.subscriptions.count(subscriptionId) == 0) {
                            refusal = "unsubscribe: there is no subscription " +
                                      std::to_string(subscriptionId);
                        } else {
                            this->unsubscribe(session, subscriptionId, changes);
                        }
                    }
                },
                [&](const ClientAdvertise& advertise) {
                    if (!m_options.onClientMessage) {
                        refusal = "advertise: this server does not accept client messages";
                        return;
                    }
                    for (const ClientChannel& channel : advertise.channels) {
                        if (channel.encoding != "cdr") {
                            refusal = "advertise: channel " + std::to_string(channel.id) +
                                      " has encoding \"" + channel.encoding.substr(0, 32) +
                                      "\"; only cdr is supported";
                        } else if (channel.topic.empty() || channel.schemaName.empty()) {
                            refusal = "advertise: channel " + std::to_string(channel.id) +
                                      " needs a topic and a schemaName";
                        } else if (!session.clientChannels.emplace(channel.id, channel).second) {
                            refusal = "advertise: channel " + std::to_string(channel.id) +
                                      " is already advertised";
                        }
                    }
                },
                [&](const ClientUnadvertise& unadvertise) {
                    for (const std::uint32_t channelId : unadvertise.channelIds) {
                        if (session.clientChannels.erase(channelId) == 0) {
                            refusal = "unadvertise: channel " + std::to_string(channelId) +
                                      " was not advertised";
                        }
                    }
                },
                // Parameter requests were handled above.
                [](const auto&) {},
            },
            request);
    }
    notify(changes);
    if (!refusal.empty()) {
        reportError(session, refusal);
    }
}

void ServerCore::handleBinary(WebSession& session, const std::string& message) {
    const ClientBinary binary =
        parseClientBinary(reinterpret_cast<const std::uint8_t*>(message.data()), message.size());
    if (const auto* call = std::get_if<ClientServiceCall>(&binary)) {
        handleServiceCall(session, *call);
        return;
    }
    const ClientData& data = std::get<ClientData>(binary);
    ClientMessage published;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto channel = session.clientChannels.find(data.channelId);
        if (channel == session.clientChannels.end()) {
            throw std::invalid_argument("message data for channel " +
                                        std::to_string(data.channelId) +
                                        ", which the client did not advertise");
        }
        published.clientId = session.clientId;
        published.channelId = data.channelId;
        published.topic = channel->second.topic;
        published.schemaName = channel->second.schemaName;
        published.encoding = channel->second.encoding;
    }
    published.bytes = data.payload;
    published.size = data.size;
    m_options.onClientMessage(published);
}

void ServerCore::handleServiceCall(WebSession& session, const ClientServiceCall& request) {
    if (!m_options.onServiceCall) {
        throw std::invalid_argument("service call request: this server offers no services");
    }
    ServiceCall call;
    std::uint64_t ticket = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto service = m_services.find(request.serviceId);
        std::string failure;
        if (service == m_services.end()) {
            failure = "there is no service " + std::to_string(request.serviceId);
        } else if (request.encoding != "cdr") {
            // Capped so that a client cannot make the reply as long as its message.
            failure = service->second.name + " takes the encoding cdr, not \"" +
                      request.encoding.substr(0, 32) + "\"";
        } else if (session.pendingCalls.count(request.callId) > 0) {
            failure = "call " + std::to_string(request.callId) + " still waits for its answer";
        } else if (session.pendingCalls.size() >= m_options.maxPendingServiceCalls) {
            failure = std::to_string(session.pendingCalls.size()) +
                      " calls of this client already wait for their answers";
        }
        if (!failure.empty()) {
            session.queueText(serviceCallFailureJson(request.serviceId, request.callId, failure));
            return;
        }
        ticket = m_nextTicket++;
        m_pendingCalls.emplace(ticket,
                               PendingCall{session.clientId, request.serviceId, request.callId});
        session.pendingCalls.emplace(request.callId, ticket);
        call.clientId = session.clientId;
        call.serviceId = request.serviceId;
        call.callId = request.callId;
        call.name = service->second.name;
        call.type = service->second.type;
    }
    call.request.assign(request.payload, request.payload + request.size);
    auto timer =
        std::make_unique<boost::asio::steady_timer>(m_context, m_options.serviceCallTimeout);
    timer->async_wait([this, ticket](boost::system::error_code error) {
        if (error) {
            return;
        }
        m_callTimers.erase(ticket);
        answer(ticket, nullptr,
               "no answer within " + std::to_string(m_options.serviceCallTimeout.count()) + " ms");
    });
    m_callTimers.emplace(ticket, std::move(timer));
    try {
        m_options.onServiceCall(call, ServiceReply(weak_from_this(), ticket));
    } catch (const std::exception& error) {
        answer(ticket, nullptr, error.what());
    }
}

bool ServerCore::answer(std::uint64_t ticket, const std::vector<std::uint8_t>* response,
                        const std::string& failure) {
    bool sent = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto pending = m_pendingCalls.find(ticket);
        if (pending == m_pendingCalls.end()) {
            return false;
        }
        const PendingCall call = pending->second;
        m_pendingCalls.erase(pending);
        const auto session = m_sessions.find(call.clientId);
        if (session != m_sessions.end()) {
            session->second->pendingCalls.erase(call.callId);
            if (response != nullptr) {
                session->second->queueBinary(
                    serviceCallResponseFrame(call.serviceId, call.callId, "cdr", *response));
            } else {
                session->second->queueText(
                    serviceCallFailureJson(call.serviceId, call.callId, failure));
            }
            sent = true;
        }
    }
    // The timer belongs to the I/O thread; a call answered in time has no use for it.
    boost::asio::post(m_context, [weak = weak_from_this(), ticket] {
        if (const auto self = weak.lock()) {
            self->m_callTimers.erase(ticket);
        }
    });
    return sent;
}

void ServerCore::queueTextForEveryClient(const std::string& text) {
    for (const auto& [clientId, session] : m_sessions) {
        session->queueText(text);
    }
}

ServiceId ServerCore::addService(const Service& service) {
    if (!m_options.onServiceCall) {
        throw std::logic_error("web server: services need ServerOptions::onServiceCall");
    }
    if (service.name.empty() || service.type.empty()) {
        throw std::invalid_argument("web server: a service needs a name and a type");
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const ServiceId id = m_nextService++;
    m_services.emplace(id, service);
    const std::string advertise = advertiseServicesJson({{id, service}});
    queueTextForEveryClient(advertise);
    return id;
}

void ServerCore::removeService(ServiceId id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_services.erase(id) == 0) {
        return;
    }
    const std::string unadvertise = unadvertiseServicesJson(id);
    queueTextForEveryClient(unadvertise);
}

void ServerCore::subscribe(WebSession& session, std::uint32_t subscriptionId, ChannelId channel,
                           SubscriptionChanges& changes) {
    const bool first = subscriberCount(channel) == 0;
    session.subscriptions.emplace(subscriptionId, channel);
    if (first) {
        changes.emplace_back(channel, true);
    }
}

void ServerCore::unsubscribe(WebSession& session, std::uint32_t subscriptionId,
                             SubscriptionChanges& changes) {
    const auto found = session.subscriptions.find(subscriptionId);
    const ChannelId channel = found->second;
    session.subscriptions.erase(found);
    session.forgetSubscription(subscriptionId);
    if (m_channels.count(channel) > 0 && subscriberCount(channel) == 0) {
        changes.emplace_back(channel, false);
    }
}

std::size_t ServerCore::subscriberCount(ChannelId id) const {
    std::size_t count = 0;
    for (const auto& [clientId, session] : m_sessions) {
        for (const auto& [subscriptionId, channel] : session->subscriptions) {
            count += channel == id ? 1 : 0;
        }
    }
    return count;
}

void ServerCore::notify(const SubscriptionChanges& changes) const {
    if (!m_options.onSubscriptionChange) {
        return;
    }
    for (const auto& [channel, subscribed] : changes) {
        m_options.onSubscriptionChange(channel, subscribed);
    }
}

ChannelId ServerCore::addChannel(const Channel& channel) {
    if (channel.topic.empty() || channel.schemaName.empty()) {
        throw std::invalid_argument("web server: a channel needs a topic and a schema name");
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const ChannelId id = m_nextChannel++;
    m_channels.emplace(id, channel);
    const std::string advertise = advertiseJson({{id, channel}});
    queueTextForEveryClient(advertise);
    return id;
}

void ServerCore::removeChannel(ChannelId id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_channels.erase(id) == 0) {
        return;
    }
    const std::string unadvertise = unadvertiseJson(id);
    for (const auto& [clientId, session] : m_sessions) {
        // The client's subscriptions of the channel end with it, as the client ends its own.
        for (auto subscription = session->subscriptions.begin();
             subscription != session->subscriptions.end();) {
            if (subscription->second == id) {
                session->forgetSubscription(subscription->first);
                subscription = session->subscriptions.erase(subscription);
            } else {
                ++subscription;
            }
        }
        session->queueText(unadvertise);
    }
}

bool ServerCore::publish(ChannelId id, const std::uint8_t* bytes, std::size_t size,
                         std::int64_t logTimeNs) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_channels.count(id) == 0) {
        return false;
    }
    PendingSample sample;
    for (const auto& [clientId, session] : m_sessions) {
        for (const auto& [subscriptionId, channel] : session->subscriptions) {
            if (channel != id) {
                continue;
            }
            if (!sample.payload) {
                // The one copy, shared by every client that is sent it.
                sample.payload =
                    std::make_shared<const std::vector<std::uint8_t>>(bytes, bytes + size);
                sample.logTimeNs = logTimeNs;
            }
            session->queueSample(subscriptionId, sample);
        }
    }
    return true;
}

void ServerCore::setTime(std::int64_t timeNs) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_time = timeNs;
    for (const auto& [clientId, session] : m_sessions) {
        if (session->announcesTime) {
            session->queueTime(timeNs);
        }
    }
}

bool ServerCore::hasSubscribers(ChannelId id) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return subscriberCount(id) > 0;
}

std::vector<ClientStatistics> ServerCore::clients() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<ClientStatistics> statistics;
    for (const auto& [clientId, session] : m_sessions) {
        statistics.push_back({clientId, session->remote, session->sentSamples,
                              session->droppedSamples, session->errors});
    }
    return statistics;
}

std::uint64_t ServerCore::droppedSamples() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::uint64_t dropped = m_droppedOfGoneClients;
    for (const auto& [clientId, session] : m_sessions) {
        dropped += session->droppedSamples;
    }
    return dropped;
}

}  // namespace detail

void lowerCallingThread(int niceness) {
    if (niceness <= 0) {
        return;
    }
    // Linux gives each thread its own nice value; raising it needs no privilege.
    const auto self = static_cast<id_t>(gettid());
    setpriority(PRIO_PROCESS, self, std::min(getpriority(PRIO_PROCESS, self) + niceness, 19));
}

bool ServiceReply::respond(const std::vector<std::uint8_t>& response) const {
    const std::shared_ptr<detail::ServerCore> core = m_core.lock();
    return core && core->answer(m_ticket, &response, {});
}

bool ServiceReply::fail(const std::string& message) const {
    const std::shared_ptr<detail::ServerCore> core = m_core.lock();
    return core && core->answer(m_ticket, nullptr, message);
}

class FoxgloveServer::Impl : public detail::ServerCore {
  public:
    using ServerCore::ServerCore;
};

FoxgloveServer::FoxgloveServer(ServerOptions options)
    : m_impl(std::make_shared<Impl>(std::move(options))) {
    m_impl->start();
}

FoxgloveServer::~FoxgloveServer() {
    m_impl->stop();
}

int FoxgloveServer::niceness() const {
    return m_impl->options().niceness;
}

std::uint16_t FoxgloveServer::port() const {
    return m_impl->port();
}

ChannelId FoxgloveServer::addChannel(const Channel& channel) {
    return m_impl->addChannel(channel);
}

void FoxgloveServer::removeChannel(ChannelId id) {
    m_impl->removeChannel(id);
}

bool FoxgloveServer::publish(ChannelId id, const std::uint8_t* bytes, std::size_t size,
                             std::int64_t logTimeNs) {
    return m_impl->publish(id, bytes, size, logTimeNs);
}

void FoxgloveServer::setTime(std::int64_t timeNs) {
    m_impl->setTime(timeNs);
}

ServiceId FoxgloveServer::addService(const Service& service) {
    return m_impl->addService(service);
}

void FoxgloveServer::removeService(ServiceId id) {
    m_impl->removeService(id);
}

void FoxgloveServer::updateParameters(const std::vector<Parameter>& changed) {
    m_impl->updateParameters(changed);
}

bool FoxgloveServer::hasSubscribers(ChannelId id) const {
    return m_impl->hasSubscribers(id);
}

std::vector<ClientStatistics> FoxgloveServer::clients() const {
    return m_impl->clients();
}

std::uint64_t FoxgloveServer::droppedSamples() const {
    return m_impl->droppedSamples();
}

}  // namespace qorROS2::web
