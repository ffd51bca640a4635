#pragma once

// Renders a message record as the `path=value` lines that the Cyclone DDS peer prints for a
// sample it decoded, walking the record's own field list.

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "SampleText.h"
#include "qorROS2/MessageFields.h"

namespace qorInterop {

namespace detail {

// ROS 2 byte, char and uint8 all travel as one unsigned byte; their arrays print as hexadecimal.
template <typename T>
inline constexpr bool isByteLike = std::is_same_v<T, std::uint8_t> || std::is_same_v<T, char>;

template <typename T>
void appendLines(const T& value, std::string& path, std::vector<std::string>& lines);

template <typename Container>
void appendElements(const Container& values, bool isSequence, std::string& path,
                    std::vector<std::string>& lines) {
    using Element = typename Container::value_type;
    if constexpr (isByteLike<Element>) {
        lines.push_back(
            path + "=" +
            bytesText(reinterpret_cast<const std::uint8_t*>(values.data()), values.size()));
    } else {
        if (isSequence) {
            lines.push_back(lengthLine(path, values.size()));
        }
        const std::size_t mark = path.size();
        for (std::size_t i = 0; i < values.size(); ++i) {
            path += '[' + std::to_string(i) + ']';
            appendLines(values[i], path, lines);
            path.resize(mark);
        }
    }
}

template <typename T>
void appendLines(const T& value, std::string& path, std::vector<std::string>& lines) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        qorROS2::forEachField(value, [&](const auto& field, const auto& member) {
            const std::size_t mark = path.size();
            if (!path.empty()) {
                path += '.';
            }
            path += field.name;
            appendLines(member, path, lines);
            path.resize(mark);
        });
    } else if constexpr (qorROS2::isSequence<T>) {
        appendElements(value, true, path, lines);
    } else if constexpr (qorROS2::isFixedArray<T>) {
        appendElements(value, false, path, lines);
    } else if constexpr (std::is_same_v<T, std::string>) {
        lines.push_back(path + "=" + stringText(value.data(), value.size()));
    } else if constexpr (std::is_same_v<T, char>) {
        lines.push_back(path + "=" + valueText(static_cast<unsigned char>(value)));
    } else {
        lines.push_back(path + "=" + valueText(value));
    }
}

}  // namespace detail

/// One `path=value` line per value of `record`, in field order.
template <typename Record>
std::vector<std::string> recordLines(const Record& record) {
    std::vector<std::string> lines;
    std::string path;
    detail::appendLines(record, path, lines);
    return lines;
}

}  // namespace qorInterop
