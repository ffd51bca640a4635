#include "cli/ToolDomain.h"

#include <stdexcept>

#include "cli/UsageError.h"
#include "qorROS2/RosDomain.h"

namespace qorCli {

std::int8_t domainFromEnvironment() {
    try {
        return qorROS2::rosDomainIdFromEnvironment();
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

}  // namespace qorCli
