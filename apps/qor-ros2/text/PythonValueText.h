#pragma once

// Field values as Python's str() and repr() show them in ROS 2's Python tools, where strings are
// str, sequences of numbers array.array, fixed-size float64 arrays numpy arrays and messages
// objects whose repr lists their fields; a definition's char is a uint8, an int.

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "text/FieldFilter.h"
#include "text/NumpyText.h"
#include "text/PythonText.h"

namespace qorCli {

namespace detail {

inline bool isByteField(const char* rosElement) {
    return rosElement != nullptr && std::string(rosElement) == "byte";
}

/// The type code of the array.array that holds a sequence of `Element`, or 0 when Python keeps
/// such a sequence in a list (strings, booleans, bytes, messages).
template <typename Element>
char arrayTypeCode(const char* rosElement) {
    if constexpr (std::is_same_v<Element, double>) {
        return 'd';
    } else if constexpr (std::is_same_v<Element, float>) {
        return 'f';
    } else if constexpr (std::is_same_v<Element, char>) {
        return 'B';  // ROS 2 maps a definition's char to uint8
    } else if constexpr (std::is_same_v<Element, bool> || !std::is_integral_v<Element>) {
        return 0;
    } else {
        if (isByteField(rosElement)) {
            return 0;
        }
        constexpr char kCodes[] = {'b', 'h', 'i', 'q'};
        constexpr std::size_t index = sizeof(Element) == 1   ? 0
                                      : sizeof(Element) == 2 ? 1
                                      : sizeof(Element) == 4 ? 2
                                                             : 3;
        const char code = kCodes[index];
        return std::is_signed_v<Element> ? code : static_cast<char>(code - 'a' + 'A');
    }
}

}  // namespace detail

template <typename Value>
std::string pythonRepr(const Value& value, const char* rosElement);

/// repr() of a message: "std_msgs.msg.Header(stamp=builtin_interfaces.msg.Time(sec=1,
/// nanosec=0), frame_id='map')".
template <typename Record>
std::string pythonMessageRepr(const Record& record) {
    std::string out = std::string(qorROS2::MessageDescription<Record>::package) + ".msg." +
                      qorROS2::MessageDescription<Record>::name + "(";
    bool first = true;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        using Member = std::decay_t<decltype(member)>;
        out += first ? "" : ", ";
        first = false;
        out += std::string(field.name) + "=";
        if constexpr (qorROS2::isSequence<Member>) {
            // A sequence kept in an array.array shows only its list of values.
            if (detail::arrayTypeCode<typename Member::value_type>(field.rosElement) != 0) {
                const std::string text = pythonRepr(member, field.rosElement);
                out += member.empty() ? "[]" : text.substr(11, text.size() - 12);
                return;
            }
        }
        out += pythonRepr(member, field.rosElement);
    });
    return out + ")";
}

/// repr() of a field value; `rosElement` tells a byte from a uint8.
template <typename Value>
std::string pythonRepr(const Value& value, const char* rosElement) {
    if constexpr (qorROS2::isMessageRecord<Value>) {
        return pythonMessageRepr(value);
    } else if constexpr (qorROS2::isFixedArray<Value>) {
        static_assert(std::is_same_v<typename Value::value_type, double>,
                      "fixed-size arrays of messages hold float64 only");
        return numpyArrayRepr(std::vector<double>(value.begin(), value.end()));
    } else if constexpr (qorROS2::isSequence<Value>) {
        const char code = detail::arrayTypeCode<typename Value::value_type>(rosElement);
        std::string items;
        for (std::size_t i = 0; i < value.size(); ++i) {
            items += (i > 0 ? ", " : "") + pythonRepr(value[i], rosElement);
        }
        if (code == 0) {
            return "[" + items + "]";
        }
        const std::string head = std::string("array('") + code + "'";
        return value.empty() ? head + ")" : head + ", [" + items + "])";
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return pythonStrRepr(value);
    } else if constexpr (std::is_same_v<Value, char>) {
        return std::to_string(static_cast<unsigned>(static_cast<std::uint8_t>(value)));
    } else if constexpr (std::is_same_v<Value, bool>) {
        return value ? "True" : "False";
    } else if constexpr (std::is_floating_point_v<Value>) {
        return pythonFloatRepr(static_cast<double>(value));
    } else {
        if (detail::isByteField(rosElement)) {
            return pythonByteRepr(static_cast<std::uint8_t>(value));
        }
        return std::to_string(value);
    }
}

/// str() of a field value: as repr() but strings unquoted and numpy arrays
/// without their "array(...)".
template <typename Value>
std::string pythonStr(const Value& value, const char* rosElement) {
    if constexpr (std::is_same_v<Value, std::string>) {
        return value;
    } else if constexpr (qorROS2::isFixedArray<Value>) {
        return numpyArrayStr(std::vector<double>(value.begin(), value.end()));
    } else {
        return pythonRepr(value, rosElement);
    }
}

/// The name Python gives the type of a field value in its errors: "str", "int", "float",
/// "bool", "bytes", "list", "array.array", "numpy.ndarray", or the message's name.
template <typename Value>
std::string pythonTypeName(const char* rosElement) {
    if constexpr (qorROS2::isMessageRecord<Value>) {
        return qorROS2::MessageDescription<Value>::name;
    } else if constexpr (qorROS2::isFixedArray<Value>) {
        return "numpy.ndarray";
    } else if constexpr (qorROS2::isSequence<Value>) {
        return detail::arrayTypeCode<typename Value::value_type>(rosElement) != 0 ? "array.array"
                                                                                  : "list";
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return "str";
    } else if constexpr (std::is_same_v<Value, bool>) {
        return "bool";
    } else if constexpr (std::is_floating_point_v<Value>) {
        return "float";
    } else {
        return detail::isByteField(rosElement) ? "bytes" : "int";
    }
}

}  // namespace qorCli
