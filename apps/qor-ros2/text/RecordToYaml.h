#pragma once

// A record as `ros2 topic echo` prints it: YAML in block style (the default) or flow style, with
// the options that shorten long values.

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

#include "qorROS2/MessageFields.h"
#include "text/EchoValues.h"
#include "text/FieldFilter.h"
#include "text/YamlScalars.h"

namespace qorCli {

/// How recordToYaml writes a record; the defaults write everything in block style.
struct YamlOptions {
    /// Strings, bytes and arrays longer than this are cut to this many items, "..." after.
    std::optional<std::size_t> truncateLength;
    bool noArrays = false;   ///< arrays replaced by "<sequence type: double, length: 3>"
    bool noStrings = false;  ///< strings replaced by "<string length: <5>>"
    /// Arrays on one line, "[1.0, 2.0]", and so the messages in them, "[{x: 1.0}, {}]"; the
    /// message's own fields stay in block style, as PyYAML writes ros2's ordered mappings.
    bool flowStyle = false;
};

namespace detail {

template <typename Record>
bool hasVisibleFields() {
    bool any = false;
    qorROS2::forEachFieldOf<Record>(
        [&](const auto& field) { any = any || isVisibleField(field.name); });
    return any;
}

/// A byte is a one-character string to the tools: cut to nothing by a length of 0.
inline std::string byteText(std::uint8_t value, const YamlOptions& options, YamlPlace place,
                            std::size_t lineIndent) {
    if (options.truncateLength && *options.truncateLength == 0) {
        return formatString("...", place);
    }
    return formatByte(value, place, lineIndent);
}

// `value` as a YAML scalar; a string that spans lines continues them at `lineIndent`.
template <typename T>
std::string scalarText(const T& value, const char* rosElement, const YamlOptions& options,
                       YamlPlace place, std::size_t lineIndent = 2) {
    if constexpr (std::is_same_v<T, std::string>) {
        return formatString(shownString(value, options.noStrings, options.truncateLength), place,
                            lineIndent);
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, char>) {
        // ROS 2 maps a definition's char to uint8: the tools show its code.
        return std::to_string(static_cast<unsigned>(static_cast<std::uint8_t>(value)));
    } else if constexpr (std::is_floating_point_v<T>) {
        return formatFloat(static_cast<double>(value));
    } else {
        if (isByteElement(rosElement)) {
            return byteText(static_cast<std::uint8_t>(value), options, place, lineIndent);
        }
        return std::to_string(value);
    }
}

/// How many elements of `size` are written before the "..." that ends a cut array.
inline std::size_t shownElements(std::size_t size, const YamlOptions& options) {
    return options.truncateLength && size > *options.truncateLength ? *options.truncateLength
                                                                    : size;
}

// ---- flow style: arrays and what they hold ----

template <typename Record>
void appendFlowRecord(std::string& out, const Record& record, const YamlOptions& options);

template <typename Value>
void appendFlowValue(std::string& out, const Value& value, const char* rosElement,
                     const YamlOptions& options) {
    if constexpr (qorROS2::isMessageRecord<Value>) {
        appendFlowRecord(out, value, options);
    } else if constexpr (qorROS2::isSequence<Value> || qorROS2::isFixedArray<Value>) {
        if (options.noArrays) {
            out += formatString(arraySummary(value, rosElement), YamlPlace::flow);
            return;
        }
        const std::size_t shown = shownElements(value.size(), options);
        out += '[';
        for (std::size_t i = 0; i < shown; ++i) {
            if (i > 0) {
                out += ", ";
            }
            appendFlowValue(out, value[i], rosElement, options);
        }
        if (shown < value.size()) {
            out += shown > 0 ? ", " : "";
            out += formatString("...", YamlPlace::flow);
        }
        out += ']';
    } else {
        out += scalarText(value, rosElement, options, YamlPlace::flow);
    }
}

template <typename Record>
void appendFlowRecord(std::string& out, const Record& record, const YamlOptions& options) {
    out += '{';
    bool first = true;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        out += first ? "" : ", ";
        first = false;
        out += field.name;
        out += ": ";
        appendFlowValue(out, member, field.rosElement, options);
    });
    out += '}';
}

// ---- block style ----

template <typename Record>
void appendRecord(std::string& out, const Record& record, std::size_t indent,
                  const std::string& firstPrefix, const YamlOptions& options);

// One element of a sequence, at `indent`, after its "- ".
template <typename Element>
void appendElement(std::string& out, const Element& element, std::size_t indent,
                   const char* rosElement, const YamlOptions& options) {
    const std::string dash = std::string(indent, ' ') + "- ";
    if constexpr (qorROS2::isMessageRecord<Element>) {
        if (hasVisibleFields<Element>()) {
            appendRecord(out, element, indent + 2, dash, options);
        } else {
            out += dash + "{}\n";
        }
    } else {
        out += dash + scalarText(element, rosElement, options, YamlPlace::block, indent + 2) + "\n";
    }
}

template <typename Member>
void appendField(std::string& out, const std::string& prefix, const char* name, const Member& value,
                 std::size_t indent, const char* rosElement, const YamlOptions& options) {
    if constexpr (qorROS2::isMessageRecord<Member>) {
        if (!hasVisibleFields<Member>()) {
            out += prefix + name + ": {}\n";
            return;
        }
        out += prefix + name + ":\n";
        appendRecord(out, value, indent + 2, std::string(indent + 2, ' '), options);
    } else if constexpr (qorROS2::isSequence<Member> || qorROS2::isFixedArray<Member>) {
        if (options.noArrays) {
            out += prefix + name + ": " + formatString(arraySummary(value, rosElement)) + "\n";
            return;
        }
        if (value.empty()) {
            out += prefix + name + ": []\n";
            return;
        }
        if (options.flowStyle) {
            out += prefix + name + ": ";
            appendFlowValue(out, value, rosElement, options);
            out += "\n";
            return;
        }
        // PyYAML does not indent a sequence below the key that holds it.
        out += prefix + name + ":\n";
        const std::size_t shown = shownElements(value.size(), options);
        for (std::size_t i = 0; i < shown; ++i) {
            appendElement(out, value[i], indent, rosElement, options);
        }
        if (shown < value.size()) {
            out += std::string(indent, ' ') + "- " + formatString("...") + "\n";
        }
    } else {
        out += prefix + name + ": " +
               scalarText(value, rosElement, options, YamlPlace::block, indent + 2) + "\n";
    }
}

// The fields of `record`, each at `indent`; the first one's line starts with `firstPrefix`
// instead (a "- " when the record is a sequence element).
template <typename Record>
void appendRecord(std::string& out, const Record& record, std::size_t indent,
                  const std::string& firstPrefix, const YamlOptions& options) {
    bool first = true;
    qorROS2::forEachField(record, [&](const auto& field, const auto& member) {
        if (!isVisibleField(field.name)) {
            return;
        }
        const std::string prefix = first ? firstPrefix : std::string(indent, ' ');
        first = false;
        appendField(out, prefix, field.name, member, indent, field.rosElement, options);
    });
}

}  // namespace detail

/// The YAML text of `record`, ending with a newline; "{}\n" for a record without fields.
template <typename Record>
std::string recordToYaml(const Record& record, const YamlOptions& options = {}) {
    if (!detail::hasVisibleFields<Record>()) {
        return "{}\n";
    }
    std::string out;
    detail::appendRecord(out, record, 0, "", options);
    return out;
}

}  // namespace qorCli
