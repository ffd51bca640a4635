#pragma once

// What servers and clients of ROS 2 actions share: how a goal is named, the states a goal goes
// through, the names of an action's services and topics, and the hashes their endpoints announce.

#include <array>
#include <cstdint>
#include <string>

#include "qorROS2/QOS.h"
#include "qorROS2/ServiceTypes.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// A goal's UUID, the 16 bytes of unique_identifier_msgs/msg/UUID.
using GoalId = std::array<std::uint8_t, 16>;

/// The values of action_msgs/msg/GoalStatus's status.
namespace goalStatus {
inline constexpr std::int8_t unknown = 0;
inline constexpr std::int8_t accepted = 1;
inline constexpr std::int8_t executing = 2;
inline constexpr std::int8_t canceling = 3;
inline constexpr std::int8_t succeeded = 4;
inline constexpr std::int8_t canceled = 5;
inline constexpr std::int8_t aborted = 6;
}  // namespace goalStatus

/// The values of action_msgs/srv/CancelGoal's return_code.
namespace cancelReturn {
inline constexpr std::int8_t none = 0;
inline constexpr std::int8_t rejected = 1;
inline constexpr std::int8_t unknownGoalId = 2;
inline constexpr std::int8_t goalTerminated = 3;
}  // namespace cancelReturn

/// "SUCCEEDED": a status's name as ros2 action send_goal prints it; "UNKNOWN" for any value
/// outside action_msgs/msg/GoalStatus's.
QORNTROS2_EXPORT const char* goalStatusName(std::int8_t status);

/// The 32 lowercase hex digits of `id`, as ros2 action send_goal prints a goal's ID.
QORNTROS2_EXPORT std::string goalIdText(const GoalId& id);

/// The services and topics of the action `action` ("fibonacci", "/robot/move"), named as
/// rcl_action names them: the action's name followed by "/_action/...".
struct ActionEndpointNames {
    std::string sendGoal;    ///< "<action>/_action/send_goal"
    std::string cancelGoal;  ///< "<action>/_action/cancel_goal"
    std::string getResult;   ///< "<action>/_action/get_result"
    std::string feedback;    ///< "<action>/_action/feedback"
    std::string status;      ///< "<action>/_action/status"
};
QORNTROS2_EXPORT ActionEndpointNames actionEndpointNames(const std::string& action);

/// The QoS of an action's feedback topic: rcl_action takes rmw's default profile (reliable,
/// volatile, keep last 10). Its services take services_default, its status topic
/// action_status_default.
inline constexpr QOS kActionFeedbackQos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

/// The hashes the endpoints of an action type announce ("RIHS01_...", or empty when unknown).
struct ActionTypeHashes {
    ServiceTypeHashes sendGoal;   ///< of "<type>_SendGoal"'s request and response
    ServiceTypeHashes getResult;  ///< of "<type>_GetResult"'s request and response
    std::string feedbackMessage;  ///< of "<type>_FeedbackMessage"
};

/// The hashes of the action type `actionType` ("simulation_interfaces/action/SimulateSteps")
/// when this library knows the type; empty ones for any other, as ROS 2 announces an unknown
/// hash.
QORNTROS2_EXPORT ActionTypeHashes knownActionTypeHashes(const std::string& actionType);

}  // namespace qorROS2
