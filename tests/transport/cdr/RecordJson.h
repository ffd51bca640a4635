#pragma once

// A record as JSON, written from its field list, for a peer that cannot read C++: 64-bit integers
// as decimal strings (JSON numbers lose their low bits), NaN and the infinities as the strings
// "NaN", "Infinity" and "-Infinity", every other number exactly (17 significant digits name one
// double, and a float widened to double is that double), chars as their unsigned byte value.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

#include "qorROS2/MessageFields.h"

namespace qorTest {
namespace detail {

inline void appendJsonString(std::string& out, const std::string& text) {
    out += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
            out += escaped;
        } else {
            out += c;
        }
    }
    out += '"';
}

template <typename T>
void appendJsonNumber(std::string& out, T value) {
    if constexpr (std::is_same_v<T, bool>) {
        out += value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char>) {
        out += std::to_string(static_cast<unsigned char>(value));
    } else if constexpr (std::is_floating_point_v<T>) {
        const double wide = static_cast<double>(value);
        if (std::isnan(wide)) {
            out += "\"NaN\"";
        } else if (std::isinf(wide)) {
            out += wide > 0 ? "\"Infinity\"" : "\"-Infinity\"";
        } else {
            char text[32];
            std::snprintf(text, sizeof(text), "%.17g", wide);
            out += text;
        }
    } else if constexpr (sizeof(T) == 8) {
        out += '"' + std::to_string(value) + '"';
    } else {
        out += std::to_string(static_cast<std::int64_t>(value));
    }
}

template <typename T>
void appendJson(std::string& out, const T& value) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        out += '{';
        bool first = true;
        qorROS2::forEachField(value, [&](const auto& field, const auto& member) {
            out += first ? "\"" : ",\"";
            out += field.name;
            out += "\":";
            appendJson(out, member);
            first = false;
        });
        out += '}';
    } else if constexpr (qorROS2::isSequence<T> || qorROS2::isFixedArray<T>) {
        out += '[';
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (i > 0) {
                out += ',';
            }
            const typename T::value_type& element = value[i];
            appendJson(out, element);
        }
        out += ']';
    } else if constexpr (std::is_same_v<T, std::string>) {
        appendJsonString(out, value);
    } else {
        appendJsonNumber(out, value);
    }
}

}  // namespace detail

/// `record` as one line of JSON, its fields in the order of its field list.
template <typename Record>
std::string toJson(const Record& record) {
    std::string out;
    detail::appendJson(out, record);
    return out;
}

}  // namespace qorTest
