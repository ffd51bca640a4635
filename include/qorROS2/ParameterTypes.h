#pragma once

// The numbers of the parameter types, apart from the parameter server so that a program that
// only reads and writes the records (a command-line client) can name them without the platform.

#include <cstdint>

namespace qorROS2 {

/// The parameter types, numbered as rcl_interfaces/msg/ParameterType numbers them.
enum ParameterTypeId : std::uint8_t {
    PARAMETER_NOT_SET = 0,
    PARAMETER_BOOL = 1,
    PARAMETER_INTEGER = 2,
    PARAMETER_DOUBLE = 3,
    PARAMETER_STRING = 4,
    PARAMETER_BYTE_ARRAY = 5,
    PARAMETER_BOOL_ARRAY = 6,
    PARAMETER_INTEGER_ARRAY = 7,
    PARAMETER_DOUBLE_ARRAY = 8,
    PARAMETER_STRING_ARRAY = 9,
};

}  // namespace qorROS2
