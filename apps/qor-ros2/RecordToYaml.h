#pragma once

// A record as `ros2 topic echo` prints it: block-style YAML, sequences fully written.

#include <cstring>
#include <string>

#include "FieldFilter.h"
#include "YamlScalars.h"
#include "qorROS2/MessageFields.h"

namespace qorCli {

namespace detail {

template <typename Record>
bool hasVisibleFields() {
    bool any = false;
    qorROS2::forEachFieldOf<Record>(
        [&](const auto& field) { any = any || isVisibleField(field.name); });
    return any;
}

// `value` as a YAML scalar; a string that spans lines continues them at `lineIndent`.
template <typename T>
std::string scalarText(const T& value, const char* rosElement, std::size_t lineIndent) {
    if constexpr (std::is_same_v<T, std::string>) {
        return formatString(value, lineIndent);
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char>) {
        return formatByte(static_cast<std::uint8_t>(value), lineIndent);
    } else if constexpr (std::is_floating_point_v<T>) {
        return formatFloat(static_cast<double>(value));
    } else {
        if (isByteElement(rosElement)) {
            return formatByte(static_cast<std::uint8_t>(value), lineIndent);
        }
        return std::to_string(value);
    }
}

template <typename Record>
void appendRecord(std::string& out, const Record& record, std::size_t indent,
                  const std::string& firstPrefix);

// One element of a sequence, at `indent`, after its "- ".
template <typename Element>
void appendElement(std::string& out, const Element& element, std::size_t indent,
                   const char* rosElement) {
    const std::string dash = std::string(indent, ' ') + "- ";
    if constexpr (qorROS2::isMessageRecord<Element>) {
        if (hasVisibleFields<Element>()) {
            appendRecord(out, element, indent + 2, dash);
        } else {
            out += dash + "{}\n";
        }
    } else {
        out += dash + scalarText(element, rosElement, indent + 2) + "\n";
    }
}

template <typename Member>
void appendField(std::string& out, const std::string& prefix, const char* name, const Member& value,
                 std::size_t indent, const char* rosElement) {
    if constexpr (qorROS2::isMessageRecord<Member>) {
        if (!hasVisibleFields<Member>()) {
            out += prefix + name + ": {}\n";
            return;
        }
        out += prefix + name + ":\n";
        appendRecord(out, value, indent + 2, std::string(indent + 2, ' '));
    } else if constexpr (qorROS2::isSequence<Member> || qorROS2::isFixedArray<Member>) {
        if (value.empty()) {
            out += prefix + name + ": []\n";
            return;
        }
        // PyYAML does not indent a sequence below the key that holds it.
        out += prefix + name + ":\n";
        for (const auto& element : value) {
            appendElement(out, element, indent, rosElement);
        }
    } else {
        out += prefix + name + ": " + scalarText(value, rosElement, indent + 2) + "\n";
    }
}

// The fields of `record`, each at `indent`; the first one's line starts with `firstPrefix`
// instead (a "- " when the record is a sequence element).
template <typename Record>
void appendRecord(std::string& out, const Record& record, std::size_t indent,
                  const std::string& firstPrefix) {
    bool first = true;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        const std::string prefix = first ? firstPrefix : std::string(indent, ' ');
        first = false;
        appendField(out, prefix, field.name, member, indent, field.rosElement);
    });
}

}  // namespace detail

/// The YAML text of `record`, ending with a newline; "{}\n" for a record without fields.
template <typename Record>
std::string recordToYaml(const Record& record) {
    if (!detail::hasVisibleFields<Record>()) {
        return "{}\n";
    }
    std::string out;
    detail::appendRecord(out, record, 0, "");
    return out;
}

}  // namespace qorCli
