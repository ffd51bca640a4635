#include "qorROS2/ActionTypes.h"

#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2 {

const char* goalStatusName(std::int8_t status) {
    // Indexed by the status value, as action_msgs/msg/GoalStatus numbers them.
    static const char* const kNames[] = {"UNKNOWN",   "ACCEPTED", "EXECUTING", "CANCELING",
                                         "SUCCEEDED", "CANCELED", "ABORTED"};
    if (status < 0 || status > goalStatus::aborted) {
        return kNames[goalStatus::unknown];
    }
    return kNames[status];
}

std::string goalIdText(const GoalId& id) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * id.size());
    for (const std::uint8_t byte : id) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0f];
    }
    return text;
}

ActionEndpointNames actionEndpointNames(const std::string& action) {
    const std::string base = action + "/_action/";
    return ActionEndpointNames{base + "send_goal", base + "cancel_goal", base + "get_result",
                               base + "feedback", base + "status"};
}

ActionTypeHashes knownActionTypeHashes(const std::string& actionType) {
    const typesupport::ActionTypeSupport* known = typesupport::findActionTypeSupport(actionType);
    if (known == nullptr) {
        return ActionTypeHashes{};
    }
    const auto hashes = [](const typesupport::ServiceTypeSupport& service) {
        return ServiceTypeHashes{service.requestTypeHash(), service.responseTypeHash()};
    };
    return ActionTypeHashes{hashes(known->sendGoal()), hashes(known->getResult()),
                            known->feedbackMessage().typeHash()};
}

}  // namespace qorROS2
