#pragma once

// Field values as Python's str() and repr() show them in ROS 2's Python tools, where strings are
// str, sequences of numbers array.array, fixed-size float64 arrays numpy arrays and messages
// objects whose repr lists their fields; a definition's char is a uint8, an int.

#include <cstddef>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorCli {

/// The type code of the array.array that holds a sequence of `kind`, or 0 when Python keeps
/// such a sequence in a list (strings, booleans, bytes, messages).
char pythonArrayTypeCode(qorROS2::FieldKind kind);

/// repr() of a message: "std_msgs.msg.Header(stamp=builtin_interfaces.msg.Time(sec=1,
/// nanosec=0), frame_id='map')".
std::string pythonMessageRepr(const qorROS2::typesupport::ConstRecordView& message);

/// repr() of a typed message record.
template <typename Record, typename = std::enable_if_t<qorROS2::isMessageRecord<Record>>>
std::string pythonMessageRepr(const Record& message) {
    return pythonMessageRepr(qorROS2::typesupport::viewOfRecord(message));
}

/// repr() of a field's value: its element, or its array or sequence.
std::string pythonRepr(const qorROS2::typesupport::ConstFieldView& field);

/// repr() of element `index` of a field.
std::string pythonElementRepr(const qorROS2::typesupport::ConstFieldView& field, std::size_t index);

/// str() of a field's value: as repr() but strings unquoted and numpy arrays without their
/// "array(...)".
std::string pythonStr(const qorROS2::typesupport::ConstFieldView& field);

/// The name Python gives the type of a field's value in its errors: "str", "int", "float",
/// "bool", "bytes", "list", "array.array", "numpy.ndarray", or the message's name.
std::string pythonTypeName(const qorROS2::typesupport::ConstFieldView& field);

/// The name Python gives a message's type: "Pose".
std::string pythonTypeName(const qorROS2::typesupport::ConstRecordView& message);

}  // namespace qorCli
