#pragma once

// How a fuzz input names its record: its first byte, taken modulo the number of records, is the
// record's index in QORROS2_FOR_EACH_MESSAGE; the bytes after it are the payload or the text.

#include <cstddef>
#include <cstdint>

#include "qorROS2/Messages.h"

namespace qorFuzz {

constexpr std::size_t kRecordCount = qorROS2::MessageRecords::size;

// Calls visit with a null pointer of the record type at index (below kRecordCount).
template <typename Visit, typename... Records>
void visitRecordAt(qorROS2::TypeList<Records...>, std::size_t index, Visit&& visit) {
    std::size_t position = 0;
    static_cast<void>(
        ((position++ == index ? (visit(static_cast<Records*>(nullptr)), true) : false) || ...));
}

template <typename Visit>
void visitRecordAt(std::size_t index, Visit&& visit) {
    visitRecordAt(qorROS2::MessageRecords{}, index, visit);
}

// Calls visit with a null pointer of every record type, with its index.
template <typename Visit, typename... Records>
void visitEveryRecord(qorROS2::TypeList<Records...>, Visit&& visit) {
    std::size_t position = 0;
    (visit(static_cast<Records*>(nullptr), position++), ...);
}

}  // namespace qorFuzz
