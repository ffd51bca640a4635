#pragma once

// Values as a Python expression over a ROS 2 message sees them in ros2's tools: numbers, str,
// bytes, None, literal lists and tuples, and views of a message or of one of its arrays that read
// the record in place, so that looking at one field of a large image copies nothing.

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorCli {

/// Python's int, wide enough for every integer field of a message and their sums.
__extension__ typedef __int128 PythonInt;

struct PythonValue;

/// Python's None.
struct PythonNone {};

/// A bytes object: the raw bytes of a sample, or the value of a `byte` field.
struct PythonBytes {
    std::string bytes;
};

/// A list or tuple written in the expression, e.g. `('a', 'b')`.
struct PythonTuple {
    std::vector<PythonValue> items;
    bool list = false;  ///< written in brackets: a list, else a tuple
};

/// A message or one of its array fields, read in place: valid while the record it points at
/// lives.
class PythonView {
  public:
    explicit PythonView(const qorROS2::typesupport::ConstRecordView& message) : m_target(message) {}
    /// An array or sequence field; a single element is a value, never a view.
    explicit PythonView(const qorROS2::typesupport::ConstFieldView& array) : m_target(array) {}

    /// True for an array or a sequence, false for a message.
    bool isSequence() const noexcept {
        return std::holds_alternative<qorROS2::typesupport::ConstFieldView>(m_target);
    }
    /// The name Python gives the type: "Pose", "array.array", "list", "numpy.ndarray".
    std::string typeName() const;
    /// A message's field `name` into `out`; false when it has no such field or is no message.
    bool attribute(const std::string& name, PythonValue& out) const;
    /// A sequence's length, and its item at `index` (below the length).
    std::size_t length() const;
    PythonValue item(std::size_t index) const;

  private:
    std::variant<qorROS2::typesupport::ConstRecordView, qorROS2::typesupport::ConstFieldView>
        m_target;
};

/// One value of an expression.
struct PythonValue {
    std::variant<PythonNone, bool, PythonInt, double, std::string, PythonBytes, PythonTuple,
                 PythonView>
        value;
};

/// A message as Python sees it: a view of the record.
PythonValue pythonValueOf(const qorROS2::typesupport::ConstRecordView& message);

/// A field as Python sees it: an array or a sequence is a view of it, a message too; a char is
/// an int, a `byte` bytes, a string str.
PythonValue pythonValueOf(const qorROS2::typesupport::ConstFieldView& field);

/// Element `index` of `field` as Python sees it.
PythonValue pythonElementOf(const qorROS2::typesupport::ConstFieldView& field, std::size_t index);

/// A typed message record as Python sees it: a view of `message`.
template <typename Record, typename = std::enable_if_t<qorROS2::isMessageRecord<Record>>>
PythonValue pythonValueOf(const Record& message) {
    return pythonValueOf(qorROS2::typesupport::viewOfRecord(message));
}

/// The field `name` of `object` into `out`, when `object` is a message that has it.
inline bool pythonAttribute(const PythonValue& object, const std::string& name, PythonValue& out) {
    const auto* view = std::get_if<PythonView>(&object.value);
    return view != nullptr && view->attribute(name, out);
}

}  // namespace qorCli
