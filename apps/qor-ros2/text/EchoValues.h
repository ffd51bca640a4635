#pragma once

// The shortened forms `ros2 topic echo` gives long or hidden values, shared by its YAML and CSV
// outputs: strings cut after N characters, strings and arrays replaced by a summary.

#include <cstddef>
#include <optional>
#include <string>

#include "qorROS2/typesupport/Yaml.h"
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

/// What --no-arr shows instead of an array field: "<sequence type: double, length: 3>".
using qorROS2::typesupport::arraySummary;

}  // namespace qorCli
