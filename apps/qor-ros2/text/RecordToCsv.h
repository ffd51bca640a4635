#pragma once

// A record as `ros2 topic echo --csv` prints it: every value of every nested field on one line,
// separated by commas, in definition order.

#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorCli {

/// How recordToCsv shortens values; the defaults write everything.
struct CsvOptions {
    /// Strings, bytes and arrays longer than this are cut to this many items, "..." after.
    std::optional<std::size_t> truncateLength;
    bool noArrays = false;   ///< arrays replaced by "<sequence type: double, length: 3>"
    bool noStrings = false;  ///< strings replaced by "<string length: <5>>"
};

/// The comma-separated values of `record`, without a newline.
std::string recordToCsv(const qorROS2::typesupport::ConstRecordView& record,
                        const CsvOptions& options = {});

/// The comma-separated values of a typed message record, without a newline.
template <typename Record, typename = std::enable_if_t<qorROS2::isMessageRecord<Record>>>
std::string recordToCsv(const Record& record, const CsvOptions& options = {}) {
    return recordToCsv(qorROS2::typesupport::viewOfRecord(record), options);
}

}  // namespace qorCli
