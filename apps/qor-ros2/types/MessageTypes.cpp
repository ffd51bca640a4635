#include "types/MessageTypes.h"

#include <algorithm>

#include "cli/UsageError.h"
#include "interface/InterfacePrototype.h"
#include "qorROS2/Messages.h"
#include "topic/TopicEcho.h"
#include "topic/TopicPub.h"

namespace qorCli {

namespace {

template <typename Record>
MessageType makeMessageType() {
    return MessageType{qorROS2::rosTypeName<Record>(), &interfacePrototype<Record>,
                       &publishTopic<Record>, &echoTopic<Record>};
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

const MessageType& findMessageType(const std::string& name) {
    std::string full = name;
    const auto slash = name.find('/');
    if (slash != std::string::npos && name.find('/', slash + 1) == std::string::npos) {
        full = name.substr(0, slash) + "/msg/" + name.substr(slash + 1);
    }
    for (const MessageType& type : messageTypes()) {
        if (type.name == full) {
            return type;
        }
    }
    throw UsageError("unknown message type '" + name +
                     "' (see 'qor-ros2 interface list' for the known ones)");
}

}  // namespace qorCli
