#include "qorROS2/RosNames.h"

#include <algorithm>

#include "common/TopicName.h"
#include "participant/RemapRules.h"
#include "qorROS2/NodeIdentity.h"

namespace qorROS2 {
namespace {

using transport::common::NameKind;
using transport::participant::RemapRule;

std::string resolveName(const std::string& name, NameKind kind) {
    const NodeIdentity node = nodeIdentity();
    const std::string expanded =
        transport::common::expandTopicName(name, node.name, node.nameSpace, kind);
    const std::string resolved =
        transport::participant::remapName(
            transport::participant::processRemapRules(),
            kind == NameKind::Topic ? RemapRule::Topic : RemapRule::Service, expanded, node.name,
            node.nameSpace)
            .value_or(expanded);
    transport::common::checkFullTopicName(resolved, name, kind);
    return resolved;
}

}  // namespace

std::string resolveTopicName(const std::string& name) {
    return resolveName(name, NameKind::Topic);
}

std::string resolveServiceName(const std::string& name) {
    return resolveName(name, NameKind::Service);
}

bool isHiddenTopicName(const std::string& name) {
    std::size_t start = 0;
    while (start < name.size()) {
        const std::size_t end = std::min(name.find('/', start), name.size());
        if (end > start && name[start] == '_') {
            return true;
        }
        start = end + 1;
    }
    return false;
}

}  // namespace qorROS2
