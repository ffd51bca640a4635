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
#include "text/FieldFilter.h"
#include "text/PythonValueText.h"

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

/// What a view reads of the record it points at.
struct ViewOps {
    /// The name Python gives the type: "Pose", "array.array", "list", "numpy.ndarray".
    std::string (*typeName)(const char* rosElement);
    bool sequence;  ///< a sequence of values rather than a message
    /// A message's field `name` into `out`; false when it has no such field.
    bool (*attribute)(const void* data, const std::string& name, PythonValue& out);
    /// A sequence's length and its item at `index` (below the length).
    std::size_t (*length)(const void* data);
    void (*item)(const void* data, std::size_t index, const char* rosElement, PythonValue& out);
};

/// A message or one of its arrays, read in place: valid while the record it points at lives.
struct PythonView {
    const void* data;
    const ViewOps* ops;
    const char* rosElement;  ///< tells a sequence of bytes from one of uint8
};

/// One value of an expression.
struct PythonValue {
    std::variant<PythonNone, bool, PythonInt, double, std::string, PythonBytes, PythonTuple,
                 PythonView>
        value;
};

template <typename Value>
PythonValue pythonValueOf(const Value& value, const char* rosElement);

namespace detail {

template <typename Record>
bool recordAttribute(const void* data, const std::string& name, PythonValue& out) {
    bool found = false;
    qorROS2::forEachField(*static_cast<const Record*>(data),
                          [&](const auto& field, const auto& member) {
                              if (!found && isVisibleField(field.name) && name == field.name) {
                                  out = pythonValueOf(member, field.rosElement);
                                  found = true;
                              }
                          });
    return found;
}

template <typename Sequence>
std::size_t sequenceLength(const void* data) {
    return static_cast<const Sequence*>(data)->size();
}

template <typename Sequence>
void sequenceItem(const void* data, std::size_t index, const char* rosElement, PythonValue& out) {
    const Sequence& sequence = *static_cast<const Sequence*>(data);
    if constexpr (qorROS2::isMessageRecord<typename Sequence::value_type>) {
        out = pythonValueOf(sequence[index], rosElement);
    } else {
        // A copy: std::vector<bool> hands out no reference to its items.
        const typename Sequence::value_type item = sequence[index];
        out = pythonValueOf(item, rosElement);
    }
}

template <typename Value>
const ViewOps& viewOps() {
    if constexpr (qorROS2::isMessageRecord<Value>) {
        static const ViewOps ops{&pythonTypeName<Value>, false, &recordAttribute<Value>, nullptr,
                                 nullptr};
        return ops;
    } else {
        static const ViewOps ops{&pythonTypeName<Value>, true, nullptr, &sequenceLength<Value>,
                                 &sequenceItem<Value>};
        return ops;
    }
}

}  // namespace detail

/// `value`, a record, one of its fields or an item of an array field, as Python sees it: a message
/// or an array is a view of `value`; a char is an int, a `byte` (told by `rosElement`) bytes.
template <typename Value>
PythonValue pythonValueOf(const Value& value, const char* rosElement) {
    if constexpr (qorROS2::isMessageRecord<Value> || qorROS2::isSequence<Value> ||
                  qorROS2::isFixedArray<Value>) {
        return PythonValue{PythonView{&value, &detail::viewOps<Value>(), rosElement}};
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return PythonValue{value};
    } else if constexpr (std::is_same_v<Value, bool>) {
        return PythonValue{value};
    } else if constexpr (std::is_floating_point_v<Value>) {
        return PythonValue{static_cast<double>(value)};
    } else if constexpr (std::is_same_v<Value, char>) {
        return PythonValue{PythonInt{static_cast<std::uint8_t>(value)}};
    } else {
        static_assert(std::is_integral_v<Value>,
                      "a message field is a number, a string, a record "
                      "or an array");
        if (isByteElement(rosElement)) {
            return PythonValue{PythonBytes{std::string(1, static_cast<char>(value))}};
        }
        return PythonValue{PythonInt{value}};
    }
}

/// The field `name` of `object` into `out`, when `object` is a message that has it.
inline bool pythonAttribute(const PythonValue& object, const std::string& name, PythonValue& out) {
    const auto* view = std::get_if<PythonView>(&object.value);
    return view != nullptr && !view->ops->sequence && view->ops->attribute(view->data, name, out);
}

}  // namespace qorCli
