#pragma once

// A record as `ros2 topic pub` prints it: the repr of the Python message, e.g.
// "std_msgs.msg.String(data='hi')".

#include <charconv>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "text/FieldFilter.h"
#include "text/PythonText.h"
#include "text/YamlScalars.h"

namespace qorCli {

namespace detail {

/// Python's repr of a str: single quotes unless the text holds one and no double quote.
std::string pythonStringRepr(const std::string& text);

/// Python's repr of a one-byte bytes object: b'A', b'\x01'.
std::string pythonBytesRepr(std::uint8_t value);

/// numpy's repr of a one-dimensional array whose elements are already formatted as numpy
/// formats them one by one; `dtype` is empty for the default dtypes (float64, int64).
std::string numpyArrayRepr(const std::vector<std::string>& elements, const std::string& dtype);

/// numpy's texts of float elements: shortest digits, at most 8 after the point, aligned.
std::vector<std::string> numpyFloatTexts(const std::vector<double>& values, bool singlePrecision);

template <typename T>
std::string numpyDtype() {
    if constexpr (std::is_same_v<T, double>) {
        return "";
    } else if constexpr (std::is_same_v<T, float>) {
        return "float32";
    } else if constexpr (std::is_same_v<T, bool>) {
        return "bool";
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return "";
    } else if constexpr (std::is_same_v<T, char>) {
        return "uint8";
    } else {
        return std::string(std::is_signed_v<T> ? "int" : "uint") + std::to_string(8 * sizeof(T));
    }
}

template <typename T>
std::string scalarRepr(const T& value, bool byte) {
    if constexpr (std::is_same_v<T, std::string>) {
        return pythonStringRepr(value);
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "True" : "False";
    } else if constexpr (std::is_same_v<T, char>) {
        // A message's char is a uint8 once it reaches Python.
        return std::to_string(static_cast<unsigned char>(value));
    } else if constexpr (std::is_floating_point_v<T>) {
        return pythonFloatRepr(static_cast<double>(value));
    } else {
        return byte ? pythonBytesRepr(static_cast<std::uint8_t>(value)) : std::to_string(value);
    }
}

template <typename Record>
std::string recordRepr(const Record& record);

template <typename Element>
std::string elementRepr(const Element& element, bool byte) {
    if constexpr (qorROS2::isMessageRecord<Element>) {
        return recordRepr(element);
    } else {
        return scalarRepr(element, byte);
    }
}

// Numbers that a Python message keeps in an array or a numpy array, rather than a list.
template <typename Element>
inline constexpr bool isNumber = std::is_arithmetic_v<Element> && !std::is_same_v<Element, bool>;

template <typename Member>
std::string memberRepr(const Member& value, bool byte) {
    if constexpr (qorROS2::isSequence<Member> || qorROS2::isFixedArray<Member>) {
        using Element = typename Member::value_type;
        if constexpr (qorROS2::isFixedArray<Member> && isNumber<Element>) {
            if (!byte) {
                std::vector<std::string> texts;
                if constexpr (std::is_floating_point_v<Element>) {
                    texts = numpyFloatTexts(std::vector<double>(value.begin(), value.end()),
                                            std::is_same_v<Element, float>);
                } else {
                    std::size_t width = 0;
                    for (const Element& element : value) {
                        texts.push_back(scalarRepr(element, false));
                        width = std::max(width, texts.back().size());
                    }
                    for (std::string& text : texts) {
                        text.insert(0, width - text.size(), ' ');
                    }
                }
                return numpyArrayRepr(texts, numpyDtype<Element>());
            }
        }
        std::string text = "[";
        bool first = true;
        for (const Element& element : value) {
            text += (first ? "" : ", ") + elementRepr(element, byte);
            first = false;
        }
        return text + "]";
    } else {
        return elementRepr(value, byte);
    }
}

template <typename Record>
std::string recordRepr(const Record& record) {
    using Description = qorROS2::MessageDescription<Record>;
    std::string text = std::string(Description::package) + ".msg." + Description::name + "(";
    bool first = true;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        const bool byte = field.rosElement != nullptr && std::string(field.rosElement) == "byte";
        text += std::string(first ? "" : ", ") + field.name + "=" + memberRepr(member, byte);
        first = false;
    });
    return text + ")";
}

}  // namespace detail

/// The repr of the Python message that `record` is, as `ros2 topic pub` prints it.
template <typename Record>
std::string recordToRepr(const Record& record) {
    return detail::recordRepr(record);
}

}  // namespace qorCli
