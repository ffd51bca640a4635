#pragma once

// What `topic echo` prints for one message, with its formatting options: a selected field,
// arrays or strings hidden, CSV instead of YAML, flow style, long values cut.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/CommandFailure.h"
#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"
#include "text/PythonValue.h"

namespace qorCli {

/// The formatting options of `topic echo`.
struct EchoFormat {
    std::string field;       ///< "pose.position": print only this field; empty prints the message
    bool noArrays = false;   ///< --no-arr: arrays replaced by a summary of their type and length
    bool noStrings = false;  ///< --no-str: strings replaced by a summary of their length
    bool csv = false;        ///< --csv: the values on one line, comma-separated
    bool flowStyle = false;  ///< --flow-style: YAML collections in flow style
    /// --truncate-length N: strings, bytes and arrays cut after N items, "..." after; none
    /// (--full-length) prints them whole.
    std::optional<std::size_t> truncateLength;
};

/// The names of the fields on the way to `field` ("pose.position" gives "pose", "position");
/// empty for an empty `field`. Throws CommandFailure "Invalid field value '.'" when `field` names
/// no field at all.
std::vector<std::string> echoFieldPath(const std::string& field);

namespace detail {

/// "Invalid field 'pose.x': 'Pose' object has no attribute 'x'".
std::string invalidFieldMessage(const std::vector<std::string>& path, std::size_t missing,
                                const std::string& typeName);

/// What echo prints for a selected field that is no single message: Python's str() of its
/// value, the options unused.
std::string echoFieldValue(const qorROS2::typesupport::ConstFieldView& field,
                           const EchoFormat& format);

/// The field of `record` that path[depth] names; CommandFailure in Python's words when it has none.
qorROS2::typesupport::ConstFieldView echoField(const qorROS2::typesupport::ConstRecordView& record,
                                               const std::vector<std::string>& path,
                                               std::size_t depth);

}  // namespace detail

/// What `ros2 topic echo --raw` prints for a sample of `bytes`: Python's repr of the bytes,
/// then "\n---\n", or only "\n" with --csv.
std::string rawEchoText(const std::string& bytes, const EchoFormat& format);

/// `message` as echo's --filter sees it: the field --field selects, or the whole message.
PythonValue echoFilterSubject(const PythonValue& message, const EchoFormat& format);

/// Exactly what `ros2 topic echo` prints for `message` with `format`: block YAML and a "---"
/// line by default, one CSV line with --csv; a selected field that is no message prints as
/// Python prints its value. Throws CommandFailure when `format.field` names a field `message` does
/// not have.
std::string formatEcho(const qorROS2::typesupport::ConstRecordView& message,
                       const EchoFormat& format);

template <typename Record>
std::string formatEcho(const Record& message, const EchoFormat& format) {
    return formatEcho(qorROS2::typesupport::viewOfRecord(message), format);
}

}  // namespace qorCli
