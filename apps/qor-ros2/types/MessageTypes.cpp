#include "types/MessageTypes.h"

#include "cli/UsageError.h"

namespace qorCli {

const qorROS2::typesupport::TypeSupport& knownTypeSupport(const std::string& name) {
    const qorROS2::typesupport::TypeSupport* type = qorROS2::typesupport::findTypeSupport(name);
    if (type == nullptr) {
        throw UsageError("unknown message type '" + name +
                         "' (see 'qor-ros2 interface list' for the known ones)");
    }
    return *type;
}

}  // namespace qorCli
