#pragma once

// The shortened forms `ros2 topic echo` gives long or hidden values, shared by its YAML and CSV
// outputs: strings cut after N characters, strings and arrays replaced by a summary.

#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"
#include "text/PythonText.h"

namespace qorCli {

/// "<string length: <5>>": what --no-str shows instead of a string of 5 characters.
inline std::string stringSummary(const std::string& value) {
    return "<string length: <" + std::to_string(pythonLength(value)) + ">>";
}

/// `value` as echo shows it: its summary with --no-str, its first `truncateLength` characters
/// and "..." when longer, else unchanged.
inline std::string shownString(const std::string& value, bool noStrings,
                               const std::optional<std::size_t>& truncateLength) {
    if (noStrings) {
        return stringSummary(value);
    }
    if (truncateLength && pythonLength(value) > *truncateLength) {
        return pythonPrefix(value, *truncateLength) + "...";
    }
    return value;
}

/// The interface-definition name of an array's element type, as the summaries of --no-arr
/// spell it: "double", "float", "boolean", "octet", "int32", "string", "std_msgs/msg/Header";
/// a char is a uint8 there.
template <typename Element>
std::string definitionTypeName(const char* rosElement) {
    if constexpr (qorROS2::isMessageRecord<Element>) {
        return std::string(qorROS2::MessageDescription<Element>::package) + "/msg/" +
               qorROS2::MessageDescription<Element>::name;
    } else if constexpr (std::is_same_v<Element, std::string>) {
        return "string";
    } else if constexpr (std::is_same_v<Element, double>) {
        return "double";
    } else if constexpr (std::is_same_v<Element, float>) {
        return "float";
    } else if constexpr (std::is_same_v<Element, bool>) {
        return "boolean";
    } else if constexpr (std::is_same_v<Element, char>) {
        return "uint8";  // ROS 2 maps a definition's char to uint8
    } else {
        if (rosElement != nullptr && std::string(rosElement) == "byte") {
            return "octet";
        }
        return qorROS2::rosElementTypeName<Element>();
    }
}

/// What --no-arr shows instead of an array field: "<sequence type: double, length: 3>" for a
/// sequence, "<array type: double[9]>" for a fixed-size array.
template <typename Member>
std::string arraySummary(const Member& value, const char* rosElement) {
    const std::string element = definitionTypeName<typename Member::value_type>(rosElement);
    if constexpr (qorROS2::isFixedArray<Member>) {
        return "<array type: " + element + "[" + std::to_string(value.size()) + "]>";
    } else {
        return "<sequence type: " + element + ", length: " + std::to_string(value.size()) + ">";
    }
}

}  // namespace qorCli
