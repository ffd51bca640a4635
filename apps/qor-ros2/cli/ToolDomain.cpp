#include "cli/ToolDomain.h"

#include <stdexcept>

#include "cli/UsageError.h"
#include "qorROS2/RosEnvironment.h"

namespace qorCli {

std::int8_t domainFromEnvironment() {
    try {
        return qorROS2::processRosEnvironment().domainId();
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace qorCli
