#pragma once

// Which fields of a record the tool shows and accepts.

#include <cstring>

namespace qorCli {

/// False for the placeholder member of std_msgs/Empty, which ROS 2 tools never show: the record
/// needs it to exist, the message definition has no field at all.
inline bool isVisibleField(const char* name) {
    return std::strcmp(name, "structure_needs_at_least_one_member") != 0;
}

/// True for a field whose ROS 2 element type is `byte`, which the tool writes and reads as the
/// character of that code rather than as a number.
inline bool isByteElement(const char* rosElement) {
    return rosElement != nullptr && std::strcmp(rosElement, "byte") == 0;
}

}  // namespace qorCli
