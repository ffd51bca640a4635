#pragma once

// Uses a ROS 2 action with typed goals, feedback and results, as rcl_action's client does.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/ActionTypes.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"

namespace qorROS2 {

/// A client of the ROS 2 action `action` of the action type `Action`: a client of its three
/// services and a subscriber of its feedback and status topics, with rcl_action's names, types
/// and QoS. Calls block for at most the time given; feedback and status samples wait until
/// taken. Not copyable.
template <typename Action>
class ActionClient {
  public:
    using Parts = ActionDescription<Action>;
    using CancelGoal = actionMsgs::CancelGoal;

    /// Becomes a client of `action` in DDS domain `domainId`, speaking `wire` on its services;
    /// throws as ServiceClient and Subscriber do.
    ActionClient(const std::string& action, std::int8_t domainId,
                 ServiceWire wire = ServiceWire::fastRtps)
        : ActionClient(actionEndpointNames(action), domainId, wire,
                       knownActionTypeHashes(rosActionName<Action>())) {}

    ActionClient(const ActionClient&) = delete;
    ActionClient& operator=(const ActionClient&) = delete;

    /// True once the three services have matched servers, as rcl_action_server_is_available.
    bool serverIsReady() const {
        return m_sendGoal.serviceIsReady() && m_cancelGoal.serviceIsReady() &&
               m_getResult.serviceIsReady();
    }
    /// Blocks until serverIsReady() (true) or `timeout` has passed (false).
    bool waitForServer(std::chrono::nanoseconds timeout) const {
        const auto end = std::chrono::steady_clock::now() + timeout;
        const auto left = [&end] {
            return std::chrono::duration_cast<std::chrono::nanoseconds>(
                end - std::chrono::steady_clock::now());
        };
        return m_sendGoal.waitForService(left()) && m_cancelGoal.waitForService(left()) &&
               m_getResult.waitForService(left());
    }

    /// Sends the goal `goal` under `id` and waits up to `timeout` for the server's answer: true
    /// with it in `response`.
    bool sendGoal(const GoalId& id, const typename Parts::Goal& goal,
                  typename Parts::SendGoal::Response& response, std::chrono::nanoseconds timeout) {
        typename Parts::SendGoal::Request request{};
        request.goal_id.uuid = id;
        request.goal = goal;
        return m_sendGoal.call(request, response, timeout);
    }

    /// Asks for the result of the goal `id`; the answer, which the server sends once the goal
    /// has ended, goes to `onResult` on the middleware's thread. Returns the request's sequence
    /// number, or -1 when the middleware refused it.
    std::int64_t requestResult(
        const GoalId& id, std::function<void(typename Parts::GetResult::Response&&)> onResult) {
        typename Parts::GetResult::Request request{};
        request.goal_id.uuid = id;
        return m_getResult.sendRequest(request, std::move(onResult));
    }

    /// Asks for the result of the goal `id` and waits up to `timeout` for it.
    bool getResult(const GoalId& id, typename Parts::GetResult::Response& response,
                   std::chrono::nanoseconds timeout) {
        typename Parts::GetResult::Request request{};
        request.goal_id.uuid = id;
        return m_getResult.call(request, response, timeout);
    }

    /// Sends the cancel request `request` and waits up to `timeout` for the answer.
    bool cancelGoals(const CancelGoal::Request& request, CancelGoal::Response& response,
                     std::chrono::nanoseconds timeout) {
        return m_cancelGoal.call(request, response, timeout);
    }

    /// Takes the oldest feedback message that decodes into `message`; false when none waits.
    bool takeFeedback(typename Parts::FeedbackMessage& message) {
        while (m_feedback.takeSample(m_scratch)) {
            if (MessageCodec<typename Parts::FeedbackMessage>::decode(
                    m_scratch.bytes.data(), m_scratch.bytes.size(), message)
                    .empty()) {
                return true;
            }
        }
        return false;
    }
    /// Blocks until a feedback sample waits (true) or `timeout` has passed (false).
    bool waitForFeedback(std::chrono::nanoseconds timeout) const {
        return m_feedback.waitForSample(timeout);
    }

    /// Takes the oldest status array that waits into `status`; false when none waits.
    bool takeStatus(actionMsgs::GoalStatusArray& status) const {
        return m_status.receiveMessage(status);
    }
    /// Blocks until a status array waits (true) or `timeout` has passed (false).
    bool waitForStatus(std::chrono::nanoseconds timeout) const {
        return m_status.waitForSample(timeout);
    }

  private:
    ActionClient(const ActionEndpointNames& names, std::int8_t domainId, ServiceWire wire,
                 const ActionTypeHashes& hashes)
        : m_sendGoal(names.sendGoal, domainId, presetQos("services_default"), wire,
                     rosActionName<Action>() + "_SendGoal"),
          m_cancelGoal(names.cancelGoal, domainId, presetQos("services_default"), wire),
          m_getResult(names.getResult, domainId, presetQos("services_default"), wire,
                      rosActionName<Action>() + "_GetResult"),
          m_feedback(names.feedback, rosActionName<Action>() + "_FeedbackMessage",
                     kActionFeedbackQos, domainId, hashes.feedbackMessage),
          m_status(names.status, presetQos("action_status_default"), domainId) {}

    ServiceClient<typename Parts::SendGoal> m_sendGoal;
    ServiceClient<CancelGoal> m_cancelGoal;
    ServiceClient<typename Parts::GetResult> m_getResult;
    RawSubscriber m_feedback;
    Subscriber<actionMsgs::GoalStatusArray> m_status;
    RawSample m_scratch;
};

}  // namespace qorROS2
