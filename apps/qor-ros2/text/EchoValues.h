#pragma once

// The shortened forms `ros2 topic echo` gives long or hidden values, shared by its YAML and CSV
// outputs: strings cut after N characters, strings and arrays replaced by a summary.

#include <cstddef>
#include <optional>
#include <string>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"
#include "text/FieldFilter.h"
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

/// The interface-definition name of an element kind, as the summaries of --no-arr spell it:
/// "double", "float", "boolean", "octet", "int32", "string"; a char is a uint8 there. A record's
/// is `recordName`, "std_msgs/msg/Header".
std::string definitionTypeName(qorROS2::FieldKind kind, const std::string& recordName);

/// What --no-arr shows instead of an array field: "<sequence type: double, length: 3>" for a
/// sequence, "<array type: double[9]>" for a fixed-size array.
std::string arraySummary(const qorROS2::typesupport::ConstFieldView& field);

namespace detail {

std::string arraySummaryText(const std::string& element, bool fixedArray, std::size_t size);

}  // namespace detail

/// As arraySummary of a field, for a typed member whose ROS 2 element type `rosElement` tells
/// a byte from a uint8.
template <typename Member>
std::string arraySummary(const Member& value, const char* rosElement) {
    using Element = typename Member::value_type;
    std::string recordName;
    if constexpr (qorROS2::isMessageRecord<Element>) {
        recordName = qorROS2::rosTypeName<Element>();
    }
    return detail::arraySummaryText(
        definitionTypeName(qorROS2::detail::kindOfElement<Element>(isByteElement(rosElement)),
                           recordName),
        qorROS2::isFixedArray<Member>, value.size());
}

}  // namespace qorCli
