#pragma once

// Records of the ROS 2 packages unique_identifier_msgs and action_msgs, and the types rosidl
// derives for every action `pkg/action/Act`: besides its Goal, Result and Feedback, the services
// Act_SendGoal and Act_GetResult and the message Act_FeedbackMessage, each of which carries the
// goal's UUID. An action is a type with the nested records Goal, Result and Feedback and the
// aliases SendGoal, GetResult and FeedbackMessage of the templates below.

#include <array>
#include <cstdint>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/builtinInterfaces.h"

namespace qorROS2::uniqueIdentifierMsgs {

/// A universally unique identifier: an action goal's name.
struct UUID {
    std::array<std::uint8_t, 16> uuid;  ///< the 128 bits, as RFC 4122 orders them
};

}  // namespace qorROS2::uniqueIdentifierMsgs

namespace qorROS2::actionMsgs {

/// Which goal, and when it was accepted.
struct GoalInfo {
    uniqueIdentifierMsgs::UUID goal_id;  ///< the goal's identifier
    builtinInterfaces::Time stamp;       ///< when the server accepted it
};

/// Where one goal is in its life.
struct GoalStatus {
    GoalInfo goal_info;  ///< the goal
    std::int8_t status;  ///< STATUS_UNKNOWN 0 … STATUS_ABORTED 6
};

/// The status of every goal a server knows, published on `<action>/_action/status`.
struct GoalStatusArray {
    std::vector<GoalStatus> status_list;  ///< one per goal
};

/// Cancels one goal, every goal, or every goal accepted up to a time.
struct CancelGoal {
    struct Request {
        /// A zero UUID cancels every goal accepted at or before `stamp`; a zero stamp too, all.
        GoalInfo goal_info;
    };
    struct Response {
        std::int8_t return_code;                ///< ERROR_NONE 0 … ERROR_GOAL_TERMINATED 3
        std::vector<GoalInfo> goals_canceling;  ///< the goals now being cancelled
    };
};

}  // namespace qorROS2::actionMsgs

namespace qorROS2 {

/// The service `Act_SendGoal` rosidl derives for the action `Action`: a goal under its UUID, and
/// whether the server took it.
template <typename Action>
struct ActionSendGoal {
    struct Request {
        uniqueIdentifierMsgs::UUID goal_id;  ///< the name the client gives the goal
        typename Action::Goal goal;          ///< the goal itself
    };
    struct Response {
        bool accepted;                  ///< whether the server took the goal
        builtinInterfaces::Time stamp;  ///< when it did
    };
};

/// The service `Act_GetResult`: asked for a goal, answered once the goal is done.
template <typename Action>
struct ActionGetResult {
    struct Request {
        uniqueIdentifierMsgs::UUID goal_id;  ///< the goal whose result is wanted
    };
    struct Response {
        std::int8_t status;              ///< the goal's final action_msgs/GoalStatus status
        typename Action::Result result;  ///< the result
    };
};

/// The message `Act_FeedbackMessage`, published on `<action>/_action/feedback`.
template <typename Action>
struct ActionFeedbackMessage {
    uniqueIdentifierMsgs::UUID goal_id;  ///< the goal the feedback is about
    typename Action::Feedback feedback;  ///< the feedback itself
};

// ActionDescription<Action> is specialised for every action with `package`, `name` and the
// records Goal, Result, Feedback, the services SendGoal and GetResult, and FeedbackMessage.
template <typename Action>
struct ActionDescription;

/// True for the action types: those with an ActionDescription.
template <typename T, typename = void>
struct IsActionType : std::false_type {};
template <typename T>
struct IsActionType<T, std::void_t<decltype(ActionDescription<T>::name)>> : std::true_type {};
template <typename T>
inline constexpr bool isActionType = IsActionType<T>::value;

/// "simulation_interfaces/action/SimulateSteps": the name by which ROS 2 tools know the action.
template <typename Action>
std::string rosActionName() {
    return std::string(ActionDescription<Action>::package) + "/action/" +
           ActionDescription<Action>::name;
}

}  // namespace qorROS2

/// Declares the field list of the record `Type` (a type of the action `Namespace::Action`, or of
/// one of its services) of the package `Package`, which ROS 2 names "Package/action/RosName".
/// Expands inside namespace qorROS2.
#define QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Type, Package, RosName, ...) \
    template <>                                                            \
    struct MessageDescription<Type> {                                      \
        using Record = Type;                                               \
        static constexpr const char* package = Package;                    \
        static constexpr const char* folder = "action";                    \
        static constexpr const char* name = RosName;                       \
        static constexpr auto fields = std::make_tuple(__VA_ARGS__);       \
    }

/// Declares the field list of `Namespace::Action::Part` (Part is Goal, Result or Feedback), which
/// ROS 2 names "Package/action/Action_Part". Expands inside namespace qorROS2.
#define QORROS2_DESCRIBE_ACTION_PART(Namespace, Action, Part, Package, ...)                    \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Action::Part, Package, #Action "_" #Part, \
                                          __VA_ARGS__)

/// Declares the action `Namespace::Name` of the package `Package`, whose Goal, Result and
/// Feedback have their field lists, with the field lists of the types rosidl derives for it.
/// Expands inside namespace qorROS2.
#define QORROS2_DESCRIBE_ACTION(Namespace, Name, Package)                                      \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Name::SendGoal::Request, Package,         \
                                          #Name "_SendGoal_Request", QORROS2_FIELD(goal_id),   \
                                          QORROS2_FIELD(goal));                                \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Name::SendGoal::Response, Package,        \
                                          #Name "_SendGoal_Response", QORROS2_FIELD(accepted), \
                                          QORROS2_FIELD(stamp));                               \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Name::GetResult::Request, Package,        \
                                          #Name "_GetResult_Request", QORROS2_FIELD(goal_id)); \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Name::GetResult::Response, Package,       \
                                          #Name "_GetResult_Response", QORROS2_FIELD(status),  \
                                          QORROS2_FIELD(result));                              \
    QORROS2_DETAIL_DESCRIBE_ACTION_RECORD(Namespace::Name::FeedbackMessage, Package,           \
                                          #Name "_FeedbackMessage", QORROS2_FIELD(goal_id),    \
                                          QORROS2_FIELD(feedback));                            \
    template <>                                                                                \
    struct ActionDescription<Namespace::Name> {                                                \
        using Goal = Namespace::Name::Goal;                                                    \
        using Result = Namespace::Name::Result;                                                \
        using Feedback = Namespace::Name::Feedback;                                            \
        using SendGoal = Namespace::Name::SendGoal;                                            \
        using GetResult = Namespace::Name::GetResult;                                          \
        using FeedbackMessage = Namespace::Name::FeedbackMessage;                              \
        static constexpr const char* package = Package;                                        \
        static constexpr const char* name = #Name;                                             \
    }

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(uniqueIdentifierMsgs, UUID, "unique_identifier_msgs", QORROS2_FIELD(uuid));

QORROS2_DESCRIBE_MESSAGE(actionMsgs, GoalInfo, "action_msgs", QORROS2_FIELD(goal_id),
                         QORROS2_FIELD(stamp));
QORROS2_DESCRIBE_MESSAGE(actionMsgs, GoalStatus, "action_msgs", QORROS2_FIELD(goal_info),
                         QORROS2_FIELD(status));
QORROS2_DESCRIBE_MESSAGE(actionMsgs, GoalStatusArray, "action_msgs", QORROS2_FIELD(status_list));

QORROS2_DESCRIBE_SERVICE_PART(actionMsgs, CancelGoal, Request, "action_msgs",
                              QORROS2_FIELD(goal_info));
QORROS2_DESCRIBE_SERVICE_PART(actionMsgs, CancelGoal, Response, "action_msgs",
                              QORROS2_FIELD(return_code), QORROS2_FIELD(goals_canceling));
QORROS2_DESCRIBE_SERVICE(actionMsgs, CancelGoal, "action_msgs");

}  // namespace qorROS2
