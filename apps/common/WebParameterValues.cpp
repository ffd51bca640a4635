#include "common/WebParameterValues.h"

#include <type_traits>
#include <variant>

#include "qorROS2/ParameterTypes.h"

namespace qorApps {

namespace rcl = qorROS2::rclInterfaces;
namespace web = qorROS2::web;

web::ParameterValue toWebValue(const rcl::ParameterValue& value) {
    switch (value.type) {
        case qorROS2::PARAMETER_BOOL:
            return value.bool_value;
        case qorROS2::PARAMETER_INTEGER:
            return value.integer_value;
        case qorROS2::PARAMETER_DOUBLE:
            return value.double_value;
        case qorROS2::PARAMETER_STRING:
            return value.string_value;
        case qorROS2::PARAMETER_BYTE_ARRAY:
            return value.byte_array_value;
        case qorROS2::PARAMETER_BOOL_ARRAY:
            return value.bool_array_value;
        case qorROS2::PARAMETER_INTEGER_ARRAY:
            return value.integer_array_value;
        case qorROS2::PARAMETER_DOUBLE_ARRAY:
            return value.double_array_value;
        case qorROS2::PARAMETER_STRING_ARRAY:
            return value.string_array_value;
        default:
            return std::monostate{};
    }
}

rcl::ParameterValue toRosValue(const web::ParameterValue& value) {
    rcl::ParameterValue made{};
    made.type = static_cast<std::uint8_t>(value.index());
    std::visit(
        [&made](const auto& held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, bool>) {
                made.bool_value = held;
            } else if constexpr (std::is_same_v<Held, std::int64_t>) {
                made.integer_value = held;
            } else if constexpr (std::is_same_v<Held, double>) {
                made.double_value = held;
            } else if constexpr (std::is_same_v<Held, std::string>) {
                made.string_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::uint8_t>>) {
                made.byte_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<bool>>) {
                made.bool_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::int64_t>>) {
                made.integer_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<double>>) {
                made.double_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::string>>) {
                made.string_array_value = held;
            }
        },
        value);
    return made;
}

rcl::ParameterValue asDeclared(rcl::ParameterValue value, std::uint8_t declared) {
    if (value.type == qorROS2::PARAMETER_INTEGER && declared == qorROS2::PARAMETER_DOUBLE) {
        value.type = qorROS2::PARAMETER_DOUBLE;
        value.double_value = static_cast<double>(value.integer_value);
    } else if (value.type == qorROS2::PARAMETER_INTEGER_ARRAY &&
               declared == qorROS2::PARAMETER_DOUBLE_ARRAY) {
        value.type = qorROS2::PARAMETER_DOUBLE_ARRAY;
        value.double_array_value.assign(value.integer_array_value.begin(),
                                        value.integer_array_value.end());
    } else if (value.type == qorROS2::PARAMETER_INTEGER_ARRAY &&
               value.integer_array_value.empty() && declared >= qorROS2::PARAMETER_BYTE_ARRAY &&
               declared <= qorROS2::PARAMETER_STRING_ARRAY) {
        value = rcl::ParameterValue{};
        value.type = declared;
    }
    return value;
}

}  // namespace qorApps
