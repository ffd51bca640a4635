#pragma once

// Serves a ROS 2 action with typed goals, feedback and results, as rcl_action and rclcpp_action
// serve one, from the thread that steps the application.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/ActionTypes.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/ServiceServer.h"

namespace qorROS2 {

/// What the application answers to a goal request, as rclcpp_action's GoalResponse.
enum class GoalResponse {
    reject,            ///< the goal is refused and never known to the server
    acceptAndExecute,  ///< accepted and executing at once
    acceptAndDefer,    ///< accepted; executing once the application calls execute()
};

/// What the application answers to the cancellation of one goal.
enum class CancelResponse {
    reject,  ///< the goal goes on
    accept,  ///< the goal is CANCELING; the application ends it, by canceled() as a rule
};

/// How long results are kept, and which clock stamps goals.
struct ActionServerOptions {
    /// How long a finished goal and its result stay known after the goal was accepted, as
    /// rcl_action counts it (from the acceptance stamp). Humble's rcl_action keeps them 15
    /// minutes.
    std::chrono::nanoseconds resultTimeout = std::chrono::minutes(15);
    /// The time that stamps goals and expires results, in nanoseconds since the epoch: the
    /// system clock unless given (a simulation passes its own clock, as ROS 2 nodes with
    /// use_sim_time do).
    std::function<std::int64_t()> clock;
};

/// Serves the ROS 2 action `action` of the action type `Action` (one with an
/// ActionDescription): the services <action>/_action/send_goal, cancel_goal and get_result and
/// the topics <action>/_action/feedback and status, with rcl_action's names, types and QoS.
///
/// It has no thread of its own: handleRequests() takes the requests that wait and answers
/// them, on the thread that calls it, and the application moves its goals through rcl_action's
/// states (ACCEPTED, EXECUTING, CANCELING, then SUCCEEDED, CANCELED or ABORTED) by execute(),
/// succeed(), abort() and canceled(), publishing feedback meanwhile. Every change of a goal's
/// state publishes the status of all goals. A get_result request is answered once its goal has
/// ended (at once when it already has); a goal's result is kept for resultTimeout after the
/// goal was accepted. Requests that do not decode are dropped with a warning, as
/// ServiceServer drops them.
///
/// Threads: one thread at a time; all callbacks run inside handleRequests(). Not copyable.
template <typename Action>
class ActionServer {
  public:
    using Goal = typename ActionDescription<Action>::Goal;
    using Result = typename ActionDescription<Action>::Result;
    using Feedback = typename ActionDescription<Action>::Feedback;
    using SendGoal = typename ActionDescription<Action>::SendGoal;
    using GetResult = typename ActionDescription<Action>::GetResult;
    using FeedbackMessage = typename ActionDescription<Action>::FeedbackMessage;
    using CancelGoal = actionMsgs::CancelGoal;

    /// Decides on a goal request. A goal whose UUID the server already knows is rejected
    /// without a call.
    using GoalCallback = std::function<GoalResponse(const GoalId&, const Goal&)>;
    /// Decides on the cancellation of one goal that is ACCEPTED or EXECUTING.
    using CancelCallback = std::function<CancelResponse(const GoalId&)>;

    /// Starts serving `action` in DDS domain `domainId`. `onGoal` decides on each goal;
    /// `onCancel` on each cancellation (every one is accepted when it is empty). Throws
    /// std::invalid_argument when the name or the domain is not valid (as ServiceServer does)
    /// or `onGoal` is empty, and std::runtime_error when the middleware refuses.
    ActionServer(const std::string& action, std::int8_t domainId, GoalCallback onGoal,
                 CancelCallback onCancel = CancelCallback(), ActionServerOptions options = {})
        : ActionServer(action, domainId, std::move(onGoal), std::move(onCancel), std::move(options),
                       actionEndpointNames(action),
                       knownActionTypeHashes(rosActionName<Action>())) {}

    ActionServer(const ActionServer&) = delete;
    ActionServer& operator=(const ActionServer&) = delete;

    /// Takes and answers every request that waits now (goals, cancellations, result requests)
    /// and forgets the finished goals whose results have expired. Returns how many requests
    /// were taken.
    std::size_t handleRequests() {
        expireGoals();
        std::size_t taken = 0;
        taken += m_sendGoal.handleRequests(
            [this](const typename SendGoal::Request& request, const ServiceRequestId&) {
                return std::optional<typename SendGoal::Response>(answerGoal(request));
            });
        taken += m_cancelGoal.handleRequests(
            [this](const CancelGoal::Request& request, const ServiceRequestId&) {
                return std::optional<CancelGoal::Response>(answerCancel(request));
            });
        taken += m_getResult.handleRequests(
            [this](const typename GetResult::Request& request, const ServiceRequestId& id) {
                return answerResultRequest(request, id);
            });
        return taken;
    }

    /// Moves the ACCEPTED goal `id` (accepted with acceptAndDefer) to EXECUTING. False, and
    /// nothing changes, for a goal in any other state or unknown.
    [[nodiscard]] bool execute(const GoalId& id) { return transition(id, goalStatus::executing); }

    /// Publishes `feedback` for the goal `id` on the feedback topic. False, and nothing is
    /// sent, unless the goal is ACCEPTED, EXECUTING or CANCELING, or when the middleware did
    /// not take the sample.
    [[nodiscard]] bool publishFeedback(const GoalId& id, const Feedback& feedback) {
        const GoalEntry* goal = find(id);
        if (goal == nullptr || !isActive(goal->status)) {
            return false;
        }
        FeedbackMessage message{};
        message.goal_id.uuid = id;
        message.feedback = feedback;
        return m_feedback.publish(MessageCodec<FeedbackMessage>::encode(message));
    }

    /// Ends the EXECUTING or CANCELING goal `id` with SUCCEEDED and `result`. False, and
    /// nothing changes, for a goal in any other state or unknown.
    [[nodiscard]] bool succeed(const GoalId& id, const Result& result) {
        return finish(id, goalStatus::succeeded, result);
    }
    /// Ends the EXECUTING or CANCELING goal `id` with ABORTED and `result`; false as succeed().
    [[nodiscard]] bool abort(const GoalId& id, const Result& result) {
        return finish(id, goalStatus::aborted, result);
    }
    /// Ends the CANCELING goal `id` with CANCELED and `result`. False, and nothing changes, for
    /// a goal in any other state or unknown.
    [[nodiscard]] bool canceled(const GoalId& id, const Result& result) {
        return finish(id, goalStatus::canceled, result);
    }

    /// The state of the goal `id` (goalStatus::executing, …); goalStatus::unknown for a goal the
    /// server does not know, or no longer (its result expired).
    std::int8_t status(const GoalId& id) const {
        const GoalEntry* goal = find(id);
        return goal == nullptr ? goalStatus::unknown : goal->status;
    }

    /// The goals that are ACCEPTED, EXECUTING or CANCELING, in the order they were accepted.
    std::vector<GoalId> activeGoals() const {
        std::vector<GoalId> ids;
        for (const GoalEntry& goal : m_goals) {
            if (isActive(goal.status)) {
                ids.push_back(goal.info.goal_id.uuid);
            }
        }
        return ids;
    }

    /// The goal `id` as the application was given it; nullptr for a goal the server does not
    /// know. Valid until the next call of handleRequests().
    const Goal* goal(const GoalId& id) const {
        const GoalEntry* entry = find(id);
        return entry == nullptr ? nullptr : &entry->goal;
    }

    /// Calls `callback` on the middleware's thread each time a request arrives on any of the
    /// action's services, so that a loop can wake and call handleRequests().
    void onRequest(const std::function<void()>& callback) {
        m_sendGoal.onRequest(callback);
        m_cancelGoal.onRequest(callback);
        m_getResult.onRequest(callback);
    }

    /// The subscriptions of the feedback topic matched right now: whether feedback published
    /// now can reach a client.
    std::size_t feedbackSubscriptions() const { return m_feedback.matchedSubscriptions(); }

    /// The requests dropped so far as malformed, over the three services.
    std::uint64_t droppedRequests() const {
        return m_sendGoal.droppedRequests() + m_cancelGoal.droppedRequests() +
               m_getResult.droppedRequests();
    }

  private:
    struct GoalEntry {
        actionMsgs::GoalInfo info;
        Goal goal;
        std::int8_t status;
        std::optional<typename GetResult::Response> result;
        std::vector<ServiceRequestId> waitingForResult;
    };

    ActionServer(const std::string& action, std::int8_t domainId, GoalCallback onGoal,
                 CancelCallback onCancel, ActionServerOptions options,
                 const ActionEndpointNames& names, const ActionTypeHashes& hashes)
        : m_onGoal(checkedCallback(std::move(onGoal), action)),
          m_onCancel(std::move(onCancel)),
          m_options(std::move(options)),
          m_sendGoal(names.sendGoal, domainId, presetQos("services_default"),
                     rosActionName<Action>() + "_SendGoal"),
          m_cancelGoal(names.cancelGoal, domainId),
          m_getResult(names.getResult, domainId, presetQos("services_default"),
                      rosActionName<Action>() + "_GetResult"),
          m_feedback(names.feedback, rosActionName<Action>() + "_FeedbackMessage",
                     kActionFeedbackQos, domainId, hashes.feedbackMessage),
          m_status(names.status, presetQos("action_status_default"), domainId) {}

    static GoalCallback checkedCallback(GoalCallback onGoal, const std::string& action) {
        if (!onGoal) {
            throw std::invalid_argument("action server \"" + action +
                                        "\": a goal callback is needed to decide on goals");
        }
        return onGoal;
    }

    static bool isActive(std::int8_t status) {
        return status == goalStatus::accepted || status == goalStatus::executing ||
               status == goalStatus::canceling;
    }

    static bool isZero(const GoalId& id) {
        return std::all_of(id.begin(), id.end(), [](std::uint8_t byte) { return byte == 0; });
    }

    static std::int64_t stampNs(const builtinInterfaces::Time& stamp) {
        return static_cast<std::int64_t>(stamp.sec) * 1000000000 +
               static_cast<std::int64_t>(stamp.nanosec);
    }

    std::int64_t nowNs() const {
        if (m_options.clock) {
            return m_options.clock();
        }
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    builtinInterfaces::Time now() const {
        const std::int64_t ns = nowNs();
        // A clock before the epoch stamps zero: builtin_interfaces/Time holds no negative time
        // a ROS 2 client would read as one.
        if (ns < 0) {
            return builtinInterfaces::Time{0, 0};
        }
        return builtinInterfaces::Time{static_cast<std::int32_t>(ns / 1000000000),
                                       static_cast<std::uint32_t>(ns % 1000000000)};
    }

    GoalEntry* find(const GoalId& id) {
        for (GoalEntry& goal : m_goals) {
            if (goal.info.goal_id.uuid == id) {
                return &goal;
            }
        }
        return nullptr;
    }
    const GoalEntry* find(const GoalId& id) const {
        return const_cast<ActionServer*>(this)->find(id);
    }

    typename SendGoal::Response answerGoal(const typename SendGoal::Request& request) {
        typename SendGoal::Response response{};
        if (find(request.goal_id.uuid) != nullptr) {
            return response;
        }
        const GoalResponse decision = m_onGoal(request.goal_id.uuid, request.goal);
        if (decision == GoalResponse::reject) {
            return response;
        }
        GoalEntry goal{};
        goal.info.goal_id = request.goal_id;
        goal.info.stamp = now();
        goal.goal = request.goal;
        goal.status = decision == GoalResponse::acceptAndExecute ? goalStatus::executing
                                                                 : goalStatus::accepted;
        m_goals.push_back(std::move(goal));
        publishStatus();
        response.accepted = true;
        response.stamp = m_goals.back().info.stamp;
        return response;
    }

    // As rcl_action_process_cancel_request: a goal id without a stamp names one goal; a stamp
    // names every goal accepted at or before it, and the goal of the id too; neither, all goals.
    // rclcpp_action then asks the application about each, and calls the request rejected when
    // it refused them all.
    CancelGoal::Response answerCancel(const CancelGoal::Request& request) {
        const GoalId& id = request.goal_info.goal_id.uuid;
        std::int64_t until = stampNs(request.goal_info.stamp);
        CancelGoal::Response response{};
        std::vector<GoalEntry*> candidates;
        if (!isZero(id) && until == 0) {
            GoalEntry* goal = find(id);
            response.return_code = cancelReturn::unknownGoalId;
            if (goal != nullptr) {
                response.return_code =
                    isCancelable(goal->status) ? cancelReturn::none : cancelReturn::goalTerminated;
                if (isCancelable(goal->status)) {
                    candidates.push_back(goal);
                }
            }
        } else {
            response.return_code = cancelReturn::none;
            if (isZero(id) && until == 0) {
                until = std::numeric_limits<std::int64_t>::max();
            }
            for (GoalEntry& goal : m_goals) {
                if (isCancelable(goal.status) &&
                    (stampNs(goal.info.stamp) <= until || goal.info.goal_id.uuid == id)) {
                    candidates.push_back(&goal);
                }
            }
        }
        for (GoalEntry* goal : candidates) {
            const bool accepted =
                !m_onCancel || m_onCancel(goal->info.goal_id.uuid) == CancelResponse::accept;
            if (accepted) {
                goal->status = goalStatus::canceling;
                response.goals_canceling.push_back(goal->info);
            }
        }
        if (!candidates.empty() && response.goals_canceling.empty()) {
            response.return_code = cancelReturn::rejected;
        }
        if (!response.goals_canceling.empty()) {
            publishStatus();
        }
        return response;
    }

    static bool isCancelable(std::int8_t status) {
        return status == goalStatus::accepted || status == goalStatus::executing;
    }

    std::optional<typename GetResult::Response> answerResultRequest(
        const typename GetResult::Request& request, const ServiceRequestId& id) {
        // Looked at again now: the clock may have passed a result's timeout since this call of
        // handleRequests() began.
        expireGoals();
        GoalEntry* goal = find(request.goal_id.uuid);
        if (goal == nullptr) {
            typename GetResult::Response unknown{};
            unknown.status = goalStatus::unknown;
            return unknown;
        }
        if (goal->result) {
            return goal->result;
        }
        goal->waitingForResult.push_back(id);
        return std::nullopt;
    }

    bool transition(const GoalId& id, std::int8_t to) {
        GoalEntry* goal = find(id);
        if (goal == nullptr || !allowed(goal->status, to)) {
            return false;
        }
        goal->status = to;
        publishStatus();
        return true;
    }

    // rcl_action's goal state machine: which event each state takes.
    static bool allowed(std::int8_t from, std::int8_t to) {
        switch (to) {
            case goalStatus::executing:
                return from == goalStatus::accepted;
            case goalStatus::succeeded:
            case goalStatus::aborted:
                return from == goalStatus::executing || from == goalStatus::canceling;
            case goalStatus::canceled:
                return from == goalStatus::canceling;
            default:
                return false;
        }
    }

    // As rclcpp_action ends a goal: the result goes to the clients waiting for it, then the
    // new status is published.
    bool finish(const GoalId& id, std::int8_t to, const Result& result) {
        GoalEntry* goal = find(id);
        if (goal == nullptr || !allowed(goal->status, to)) {
            return false;
        }
        goal->status = to;
        goal->result = typename GetResult::Response{};
        goal->result->status = to;
        goal->result->result = result;
        std::vector<ServiceRequestId> waiting;
        waiting.swap(goal->waitingForResult);
        const typename GetResult::Response response = *goal->result;
        for (const ServiceRequestId& request : waiting) {
            m_getResult.sendReply(request, response);
        }
        publishStatus();
        return true;
    }

    void expireGoals() {
        const std::int64_t now = nowNs();
        const std::int64_t timeout = m_options.resultTimeout.count();
        m_goals.erase(std::remove_if(m_goals.begin(), m_goals.end(),
                                     [&](const GoalEntry& goal) {
                                         return !isActive(goal.status) &&
                                                now - stampNs(goal.info.stamp) > timeout;
                                     }),
                      m_goals.end());
    }

    void publishStatus() {
        actionMsgs::GoalStatusArray array;
        array.status_list.reserve(m_goals.size());
        for (const GoalEntry& goal : m_goals) {
            array.status_list.push_back(actionMsgs::GoalStatus{goal.info, goal.status});
        }
        m_status.sendMessage(array);
    }

    GoalCallback m_onGoal;
    CancelCallback m_onCancel;
    ActionServerOptions m_options;
    ServiceServer<SendGoal> m_sendGoal;
    ServiceServer<CancelGoal> m_cancelGoal;
    ServiceServer<GetResult> m_getResult;
    RawPublisher m_feedback;
    Publisher<actionMsgs::GoalStatusArray> m_status;
    std::vector<GoalEntry> m_goals;  // in the order they were accepted, as rcl_action keeps them
};

}  // namespace qorROS2
