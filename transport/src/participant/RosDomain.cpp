#include "qorROS2/RosDomain.h"

#include "qorROS2/RosEnvironment.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>

namespace qorROS2 {

std::int8_t rosDomainId(const char* text) {
    if (text == nullptr || *text == '\0') {
        return 0;
    }
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (errno != 0 || *end != '\0' || *text == '+' ||
        std::isspace(static_cast<unsigned char>(*text)) != 0 || value < 0 ||
        value > std::numeric_limits<std::int8_t>::max()) {
        throw std::invalid_argument("ROS_DOMAIN_ID must be a whole number from 0 to 127, got '" +
                                    std::string(text) + "'");
    }
    return static_cast<std::int8_t>(value);
}

std::int8_t rosDomainIdFromEnvironment() {
    return processRosEnvironment().domainId();
}

}  // namespace qorROS2
