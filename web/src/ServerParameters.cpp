// The parameters capability of the server: requests handed to the program's callbacks, answers
// and updates sent back to the clients that asked for them.

#include <stdexcept>
#include <variant>

#include "ParameterJson.h"
#include "ProtocolMessages.h"
#include "ServerCore.h"
#include "WebSession.h"

namespace qorROS2::web {
namespace detail {

bool ServerCore::handleParameterRequest(WebSession& session, const ClientRequest& request) {
    const auto* get = std::get_if<GetParameters>(&request);
    const auto* set = std::get_if<SetParameters>(&request);
    const auto* subscribe = std::get_if<SubscribeParameterUpdates>(&request);
    const auto* unsubscribe = std::get_if<UnsubscribeParameterUpdates>(&request);
    if (!get && !set && !subscribe && !unsubscribe) {
        return false;
    }
    if (!m_options.onGetParameters) {
        const char* op = get         ? "getParameters"
                         : set       ? "setParameters"
                         : subscribe ? "subscribeParameterUpdates"
                                     : "unsubscribeParameterUpdates";
        throw std::invalid_argument(std::string(op) + ": this server offers no parameters");
    }
    std::uint64_t clientId = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        clientId = session.clientId;
    }
    if (get) {
        m_options.onGetParameters(get->names,
                                  ParameterReply(weak_from_this(), clientId, get->id, true));
    } else if (set) {
        if (!m_options.onSetParameters) {
            throw std::invalid_argument("setParameters: this server's parameters are read-only");
        }
        m_options.onSetParameters(set->parameters, ParameterReply(weak_from_this(), clientId,
                                                                  set->id, set->id.has_value()));
    } else if (subscribe) {
        subscribeParameters(session, *subscribe);
    } else {
        unsubscribeParameters(session, *unsubscribe);
    }
    return true;
}

void ServerCore::subscribeParameters(WebSession& session,
                                     const SubscribeParameterUpdates& request) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (request.names.empty()) {
        session.subscribedToEveryParameter = true;
        return;
    }
    std::size_t added = 0;
    for (const std::string& name : request.names) {
        added += session.parameterSubscriptions.count(name) == 0 ? 1u : 0u;
    }
    const std::size_t total = session.parameterSubscriptions.size() + added;
    if (total > m_options.maxParameterNames) {
        throw std::invalid_argument("subscribeParameterUpdates: " + std::to_string(total) +
                                    " subscribed parameters, more than the " +
                                    std::to_string(m_options.maxParameterNames) +
                                    " one client may have");
    }
    session.parameterSubscriptions.insert(request.names.begin(), request.names.end());
}

void ServerCore::unsubscribeParameters(WebSession& session,
                                       const UnsubscribeParameterUpdates& request) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (request.names.empty()) {
        session.subscribedToEveryParameter = false;
        session.parameterSubscriptions.clear();
        return;
    }
    for (const std::string& name : request.names) {
        session.parameterSubscriptions.erase(name);
    }
}

bool ServerCore::sendParameters(std::uint64_t clientId, const std::optional<std::string>& requestId,
                                bool sendsValues, const std::vector<Parameter>& parameters,
                                const std::string& refusal) {
    if (refusal.empty() && !sendsValues) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto session = m_sessions.find(clientId);
    if (session == m_sessions.end()) {
        return false;
    }
    if (!refusal.empty()) {
        session->second->queueText(statusJson(StatusLevel::warning, refusal));
    }
    if (sendsValues) {
        session->second->queueText(parameterValuesJson(parameters, requestId));
    }
    return true;
}

void ServerCore::updateParameters(const std::vector<Parameter>& changed) {
    if (changed.empty()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [clientId, session] : m_sessions) {
        if (session->subscribedToEveryParameter) {
            session->queueText(parameterValuesJson(changed, std::nullopt));
            continue;
        }
        std::vector<Parameter> subscribed;
        for (const Parameter& parameter : changed) {
            if (session->parameterSubscriptions.count(parameter.name) > 0) {
                subscribed.push_back(parameter);
            }
        }
        if (!subscribed.empty()) {
            session->queueText(parameterValuesJson(subscribed, std::nullopt));
        }
    }
}

}  // namespace detail

bool ParameterReply::respond(const std::vector<Parameter>& parameters,
                             const std::string& refusal) const {
    if (!m_answered || m_answered->exchange(true)) {
        return false;
    }
    const std::shared_ptr<detail::ServerCore> core = m_core.lock();
    return core &&
           core->sendParameters(m_clientId, m_requestId, m_sendsValues, parameters, refusal);
}

}  // namespace qorROS2::web
