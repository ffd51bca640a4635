#include "types/MessageTypes.h"

#include <algorithm>

#include "cli/UsageError.h"
#include "qorROS2/Messages.h"
#include "topic/TopicEcho.h"
#include "topic/TopicPub.h"

namespace qorCli {

namespace {

template <typename Record>
MessageType makeMessageType() {
    return MessageType{qorROS2::rosTypeName<Record>(), &publishTopic<Record>, &echoTopic<Record>};
}

#define QORCLI_MESSAGE_TYPE(Namespace, Name) makeMessageType<qorROS2::Namespace::Name>(),

std::vector<MessageType> allTypes() {
    std::vector<MessageType> types{QORROS2_FOR_EACH_MESSAGE(QORCLI_MESSAGE_TYPE)};
    std::sort(types.begin(), types.end(),
              [](const MessageType& a, const MessageType& b) { return a.name < b.name; });
    return types;
}

#undef QORCLI_MESSAGE_TYPE

}  // namespace

const std::vector<MessageType>& messageTypes() {
    static const std::vector<MessageType> types = allTypes();
    return types;
}

const qorROS2::typesupport::TypeSupport& knownTypeSupport(const std::string& name) {
    const qorROS2::typesupport::TypeSupport* type = qorROS2::typesupport::findTypeSupport(name);
    if (type == nullptr) {
        throw UsageError("unknown message type '" + name +
                         "' (see 'qor-ros2 interface list' for the known ones)");
    }
    return *type;
}

const MessageType& findMessageType(const std::string& name) {
    const std::string& full = knownTypeSupport(name).rosName();
    const auto& types = messageTypes();
    const auto found = std::find_if(types.begin(), types.end(),
                                    [&](const MessageType& type) { return type.name == full; });
    // The type support knows more types (services' parts, rcl_interfaces, ...) than the topic
    // commands publish and echo.
    if (found == types.end()) {
        throw UsageError("the topic commands do not handle the message type '" + full + "'");
    }
    return *found;
}

}  // namespace qorCli
