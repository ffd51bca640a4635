#pragma once

// A record as `ros2 topic echo --csv` prints it: every value of every nested field on one line,
// separated by commas, in definition order.

#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"
#include "text/EchoValues.h"
#include "text/FieldFilter.h"
#include "text/PythonText.h"

namespace qorCli {

/// How recordToCsv shortens values; the defaults write everything.
struct CsvOptions {
    /// Strings, bytes and arrays longer than this are cut to this many items, "..." after.
    std::optional<std::size_t> truncateLength;
    bool noArrays = false;   ///< arrays replaced by "<sequence type: double, length: 3>"
    bool noStrings = false;  ///< strings replaced by "<string length: <5>>"
};

namespace detail {

template <typename Record>
std::string csvRecord(const Record& record, const CsvOptions& options);

// The tools join with a comma only after a text that is not empty, so an empty string or an
// empty array swallows the comma that would follow it.
inline void appendCsvItem(std::string& out, const std::string& item) {
    if (!out.empty()) {
        out += ',';
    }
    out += item;
}

template <typename Value>
std::string csvValue(const Value& value, const char* rosElement, bool isField,
                     const CsvOptions& options) {
    if constexpr (qorROS2::isMessageRecord<Value>) {
        return csvRecord(value, options);
    } else if constexpr (qorROS2::isSequence<Value> || qorROS2::isFixedArray<Value>) {
        if (options.noArrays && isField) {
            return arraySummary(value, rosElement);
        }
        std::string out;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (options.truncateLength && i >= *options.truncateLength) {
                appendCsvItem(out, "...");
                break;
            }
            appendCsvItem(out, csvValue(value[i], rosElement, false, options));
        }
        return out;
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return shownString(value, options.noStrings, options.truncateLength);
    } else if constexpr (std::is_same_v<Value, char>) {
        // ROS 2 maps a definition's char to uint8: the tools show its code.
        return std::to_string(static_cast<unsigned>(static_cast<std::uint8_t>(value)));
    } else if constexpr (std::is_same_v<Value, bool>) {
        return value ? "True" : "False";
    } else if constexpr (std::is_floating_point_v<Value>) {
        return pythonFloatRepr(static_cast<double>(value));
    } else {
        if (rosElement != nullptr && std::string(rosElement) == "byte") {
            // A bytes object of one byte; cut to none it prints as b'...'.
            if (options.truncateLength && *options.truncateLength == 0) {
                return "b'...'";
            }
            return pythonByteRepr(static_cast<std::uint8_t>(value));
        }
        return std::to_string(value);
    }
}

template <typename Record>
std::string csvRecord(const Record& record, const CsvOptions& options) {
    std::string out;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (isVisibleField(field.name)) {
            appendCsvItem(out, csvValue(member, field.rosElement, true, options));
        }
    });
    return out;
}

}  // namespace detail

/// The comma-separated values of `record`, without a newline.
template <typename Record>
std::string recordToCsv(const Record& record, const CsvOptions& options = {}) {
    return detail::csvRecord(record, options);
}

}  // namespace qorCli
