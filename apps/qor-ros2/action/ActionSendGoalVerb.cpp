// `qor-ros2 action send_goal [-f|--feedback] NAME TYPE GOAL`: sends one goal to an action server
// and prints its feedback and result, as `ros2 action send_goal` does; Ctrl-C cancels the goal.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "cli/CommandFailure.h"
#include "cli/CommandOptions.h"
#include "cli/StopSignal.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "qorROS2/ActionTypes.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/RosNames.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/typesupport/RecordView.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"

namespace qorCli {
namespace {

namespace ts = qorROS2::typesupport;
using qorROS2::GoalId;

// How long each wait lasts before Ctrl-C is looked at again.
constexpr std::chrono::milliseconds kStopPoll{50};
// How long the cancel request that Ctrl-C sends may take: the tool must end.
constexpr std::chrono::seconds kCancelWait{10};

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// A random (version 4) UUID, as rclpy's client names each goal.
GoalId randomGoalId() {
    std::random_device device;
    std::uniform_int_distribution<unsigned> byte(0, 255);
    GoalId id{};
    for (std::uint8_t& value : id) {
        value = static_cast<std::uint8_t>(byte(device));
    }
    id[6] = static_cast<std::uint8_t>((id[6] & 0x0f) | 0x40);
    id[8] = static_cast<std::uint8_t>((id[8] & 0x3f) | 0x80);
    return id;
}

void writeGoalId(const ts::RecordView& record, const GoalId& id) {
    std::uint8_t* octets = record.field("goal_id").record().field("uuid").octets();
    std::copy(id.begin(), id.end(), octets);
}

GoalId readGoalId(const ts::ConstRecordView& record) {
    const std::uint8_t* octets = record.field("goal_id").record().field("uuid").octets();
    GoalId id{};
    std::copy(octets, octets + id.size(), id.begin());
    return id;
}

std::int8_t readStatus(const ts::ConstRecordView& record) {
    return static_cast<std::int8_t>(std::get<std::int64_t>(record.field("status").scalar()));
}

struct SendGoalArguments {
    std::string action;
    std::string type;
    std::string goal;
    bool feedback = false;
};

// One goal's life as the tool follows it: the action's three services, its feedback and its
// status, on the wire of the server found.
class GoalSender {
  public:
    GoalSender(const ts::ActionTypeSupport& type, const std::string& action, std::int8_t domain,
               qorROS2::ServiceWire wire)
        : m_type(type),
          m_names(qorROS2::actionEndpointNames(action)),
          m_sendGoal(serviceClient(m_names.sendGoal, type.sendGoal(), domain, wire)),
          m_getResult(serviceClient(m_names.getResult, type.getResult(), domain, wire)),
          m_cancelGoal(m_names.cancelGoal, domain, qorROS2::presetQos("services_default"), wire),
          m_feedback(m_names.feedback, type.feedbackMessage().rosName(),
                     qorROS2::kActionFeedbackQos, domain, type.feedbackMessage().typeHash()),
          m_status(m_names.status, qorROS2::presetQos("action_status_default"), domain) {}

    // As rclpy's wait_for_server: the three services have servers.
    void waitForServer() const {
        while (!(m_sendGoal.waitForService(kStopPoll) && m_getResult.waitForService(kStopPoll) &&
                 m_cancelGoal.serviceIsReady())) {
            throwIfStopRequested();
        }
    }

    std::vector<std::uint8_t> call(qorROS2::RawServiceClient& client,
                                   const std::vector<std::uint8_t>& request,
                                   const std::string& what, bool printFeedback) {
        const std::int64_t sequence = client.sendRequest(request);
        if (sequence < 0) {
            throw CommandFailure("Exception while " + what +
                                 ": the middleware refused the request");
        }
        std::vector<std::uint8_t> reply;
        while (!client.waitForReply(sequence, reply, kStopPoll)) {
            takeFeedbackAndStatus(printFeedback);
            throwIfStopRequested();
        }
        takeFeedbackAndStatus(printFeedback);
        return reply;
    }

    // Prints the feedback of this goal that waits, when asked, and keeps the newest status the
    // server published for it.
    void takeFeedbackAndStatus(bool printFeedback) {
        qorROS2::RawSample sample;
        while (m_feedback.takeSample(sample)) {
            if (!printFeedback || !m_accepted) {
                continue;
            }
            try {
                const ts::Sample message = m_type.feedbackMessage().decode(sample.bytes);
                if (readGoalId(ts::viewOf(message)) == m_id) {
                    print("Feedback:\n    " +
                          ts::toYaml(ts::viewOf(message).field("feedback").record()) + "\n");
                }
            } catch (const ts::TypeSupportError&) {
                // A sample that is no feedback of this type is no feedback of this goal.
            }
        }
        qorROS2::actionMsgs::GoalStatusArray array;
        while (m_status.receiveMessage(array)) {
            for (const qorROS2::actionMsgs::GoalStatus& status : array.status_list) {
                if (status.goal_info.goal_id.uuid == m_id) {
                    m_lastStatus = status.status;
                }
            }
        }
    }

    // Sends the goal `request` (its goal_id is set here) once the server's services match.
    int run(ts::Sample& request, bool printFeedback) {
        const ts::RecordView view = ts::viewOf(request);
        m_id = randomGoalId();
        writeGoalId(view, m_id);
        waitForServer();
        print("Sending goal:\n     " + ts::toYaml(view.field("goal").record()) + "\n");
        const ts::Sample response = decoded(
            m_type.sendGoal().response(),
            call(m_sendGoal, m_type.sendGoal().request().encode(request), "sending goal", false),
            "sending goal");
        if (!std::get<bool>(ts::viewOf(response).field("accepted").scalar())) {
            print("Goal was rejected.\n");
            return 0;
        }
        m_accepted = true;
        print("Goal accepted with ID: " + qorROS2::goalIdText(m_id) + "\n\n");

        ts::Sample resultRequest = m_type.getResult().request().createSample();
        writeGoalId(ts::viewOf(resultRequest), m_id);
        std::vector<std::uint8_t> reply;
        try {
            reply = call(m_getResult, m_type.getResult().request().encode(resultRequest),
                         "getting result", printFeedback);
        } catch (const StopRequested&) {
            cancelIfActive();
            throw;
        }
        const ts::Sample result = decoded(m_type.getResult().response(), reply, "getting result");
        print("Result:\n    " + ts::toYaml(ts::viewOf(result).field("result").record()) + "\n");
        print(std::string("Goal finished with status: ") +
              qorROS2::goalStatusName(readStatus(ts::viewOf(result))) + "\n");
        return 0;
    }

  private:
    static qorROS2::RawServiceClient serviceClient(const std::string& name,
                                                   const ts::ServiceTypeSupport& type,
                                                   std::int8_t domain, qorROS2::ServiceWire wire) {
        return qorROS2::RawServiceClient(name, type.rosName(), domain,
                                         qorROS2::presetQos("services_default"), wire,
                                         type.requestTypeHash(), type.responseTypeHash());
    }

    static ts::Sample decoded(const ts::TypeSupport& type, const std::vector<std::uint8_t>& reply,
                              const std::string& what) {
        try {
            return type.decode(reply);
        } catch (const ts::TypeSupportError& error) {
            throw CommandFailure("Exception while " + what + ": " + error.what());
        }
    }

    // As ros2 on Ctrl-C: a goal the server last told ACCEPTED or EXECUTING is cancelled, and
    // the answer must name that goal alone.
    void cancelIfActive() {
        takeFeedbackAndStatus(false);
        if (m_lastStatus != qorROS2::goalStatus::accepted &&
            m_lastStatus != qorROS2::goalStatus::executing) {
            return;
        }
        print("Canceling goal...\n");
        qorROS2::actionMsgs::CancelGoal::Request request{};
        request.goal_info.goal_id.uuid = m_id;
        qorROS2::actionMsgs::CancelGoal::Response response{};
        if (!m_cancelGoal.call(request, response, kCancelWait)) {
            throw CommandFailure("Exception while canceling goal: no answer within 10 s");
        }
        if (response.goals_canceling.empty()) {
            throw CommandFailure("Failed to cancel goal");
        }
        if (response.goals_canceling.size() > 1) {
            throw CommandFailure("More than one goal canceled");
        }
        if (response.goals_canceling[0].goal_id.uuid != m_id) {
            throw CommandFailure("Canceled goal with incorrect goal ID");
        }
        print("Goal canceled.\n");
    }

    const ts::ActionTypeSupport& m_type;
    qorROS2::ActionEndpointNames m_names;
    qorROS2::RawServiceClient m_sendGoal;
    qorROS2::RawServiceClient m_getResult;
    qorROS2::ServiceClient<qorROS2::actionMsgs::CancelGoal> m_cancelGoal;
    qorROS2::RawSubscriber m_feedback;
    qorROS2::Subscriber<qorROS2::actionMsgs::GoalStatusArray> m_status;
    GoalId m_id{};
    bool m_accepted = false;
    std::int8_t m_lastStatus = qorROS2::goalStatus::unknown;
};

// The goal request of `type` with the goal the YAML `values` describe; throws CommandFailure in
// ros2's words when they do not fill the goal.
ts::Sample goalRequest(const ts::ActionTypeSupport& type, const std::string& values) {
    ts::Sample request = type.sendGoal().request().createSample();
    try {
        ts::fromYaml(values, ts::viewOf(request).field("goal").record());
    } catch (const ts::TypeSupportError& error) {
        throw CommandFailure(std::string("Failed to populate message fields: ") + error.what());
    }
    return request;
}

// Waits until discovery shows a server of `service` and returns the wire it speaks, so that a
// server on rmw_cyclonedds is called in its own; Ctrl-C ends the wait.
qorROS2::ServiceWire serverWire(std::int8_t domain, const std::string& service) {
    const qorROS2::TopicDiscovery discovery(domain);
    for (;;) {
        for (const qorROS2::DiscoveredServiceEndpoint& endpoint : discovery.serviceEndpoints()) {
            if (endpoint.service == service && endpoint.isServer()) {
                return endpoint.cycloneDds ? qorROS2::ServiceWire::cycloneDds
                                           : qorROS2::ServiceWire::fastRtps;
            }
        }
        throwIfStopRequested();
        std::this_thread::sleep_for(kStopPoll);
    }
}

class ActionSendGoalVerb : public Verb {
  public:
    explicit ActionSendGoalVerb(CLI::App& app) {
        addPositional(app, "action_name", m_arguments.action, true,
                      "Name of the ROS action (e.g. '/fibonacci')");
        addPositional(app, "action_type", m_arguments.type, true,
                      "Type of the ROS action (e.g. 'example_interfaces/action/Fibonacci')");
        addPositional(app, "goal", m_arguments.goal, true,
                      "Goal request values in YAML format (e.g. '{order: 10}')");
        addFlag(app, "-f,--feedback", m_arguments.feedback, "Echo feedback messages for the goal");
    }

    int run() override {
        const ts::ActionTypeSupport* type = ts::findActionTypeSupport(m_arguments.type);
        if (type == nullptr) {
            throw CommandFailure("The passed action type is invalid");
        }
        std::string action;
        try {
            action = qorROS2::resolveTopicName(m_arguments.action);
        } catch (const std::invalid_argument& error) {
            throw CommandFailure(error.what());
        }
        ts::Sample request = goalRequest(*type, m_arguments.goal);
        const std::int8_t domain = domainFromEnvironment();
        print("Waiting for an action server to become available...\n");
        GoalSender sender(*type, action, domain,
                          serverWire(domain, qorROS2::actionEndpointNames(action).sendGoal));
        return sender.run(request, m_arguments.feedback);
    }

  private:
    SendGoalArguments m_arguments;
};

}  // namespace

std::unique_ptr<Verb> makeActionSendGoalVerb(CLI::App& app) {
    return std::make_unique<ActionSendGoalVerb>(app);
}

}  // namespace qorCli
