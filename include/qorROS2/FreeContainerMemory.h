#pragma once

#include "qorROS2/Export.h"
#include "qorROS2/Messages.h"

namespace qorROS2 {

/// Empties `message` and gives back every heap buffer it holds, including those of the strings and
/// sequences inside its sequence elements and nested records: afterwards it equals a
/// default-constructed record (every number 0, every sequence at capacity 0) and can be filled
/// again. Provided by the library for each record named by QORROS2_FOR_EACH_MESSAGE and no other
/// type. It neither allocates nor throws.
template <typename T>
QORROS2_EXPORT void freeContainerMemory(T& message) noexcept;

}  // namespace qorROS2
