// A record as `ros2 topic echo` and `ros2 interface proto` print it: YAML in block style (the
// default) or flow style, with the options that shorten long values.

#include <string>

#include "qorROS2/typesupport/Yaml.h"

namespace qorROS2::typesupport {

namespace {

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// How many bytes the character that starts at `text[i]` takes in UTF-8; a stray byte is a
// character of its own, as Python decodes the str ros2 holds.
std::size_t characterLength(const std::string& text, std::size_t i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t expected = 1;
    if ((lead & 0xE0U) == 0xC0U) {
        expected = 2;
    } else if ((lead & 0xF0U) == 0xE0U) {
        expected = 3;
    } else if ((lead & 0xF8U) == 0xF0U) {
        expected = 4;
    }
    if (i + expected > text.size()) {
        return 1;
    }
    for (std::size_t k = 1; k < expected; ++k) {
        if (!isContinuationByte(text[i + k])) {
            return 1;
        }
    }
    return expected;
}

// The number of bytes of the first `count` characters of `text`; all of them when it has fewer.
// Sets `more` when characters remain after them.
std::size_t prefixBytes(const std::string& text, std::size_t count, bool& more) {
    std::size_t i = 0;
    for (std::size_t taken = 0; taken < count && i < text.size(); ++taken) {
        i += characterLength(text, i);
    }
    more = i < text.size();
    return i;
}

std::size_t characterCount(const std::string& text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); i += characterLength(text, i)) {
        ++count;
    }
    return count;
}

// `value` as echo shows it: its summary with --no-str, its first truncateLength characters and
// "..." when longer, else unchanged.
std::string shownString(const std::string& value, const YamlOptions& options) {
    if (options.noStrings) {
        return "<string length: <" + std::to_string(characterCount(value)) + ">>";
    }
    if (options.truncateLength) {
        bool more = false;
        const std::size_t bytes = prefixBytes(value, *options.truncateLength, more);
        if (more) {
            return value.substr(0, bytes) + "...";
        }
    }
    return value;
}

// The interface-definition name of an element kind, as the summaries of --no-arr spell it: a
// char is a uint8 there.
std::string definitionElementName(const FieldDescription& field) {
    switch (field.kind) {
        case FieldKind::record:
            return field.record->rosName();
        case FieldKind::float64:
            return "double";
        case FieldKind::float32:
            return "float";
        case FieldKind::boolean:
            return "boolean";
        case FieldKind::character:
            return "uint8";
        case FieldKind::byte:
            return "octet";
        default:
            return kindName(field.kind);
    }
}

/// How many elements of `size` are written before the "..." that ends a cut array.
std::size_t shownElements(std::size_t size, const YamlOptions& options) {
    return options.truncateLength && size > *options.truncateLength ? *options.truncateLength
                                                                    : size;
}

class YamlWriter {
  public:
    explicit YamlWriter(const YamlOptions& options) : m_options(options) {}

    std::string text(const ConstRecordView& record) {
        if (record.fieldCount() == 0) {
            return "{}\n";
        }
        appendRecord(record, 0, "");
        return std::move(m_out);
    }

  private:
    // Element `index` of `field` as a YAML scalar; a string that spans lines continues them at
    // `lineIndent`.
    std::string scalarText(const ConstFieldView& field, std::size_t index, YamlPlace place,
                           std::size_t lineIndent = 2) const {
        switch (field.kind()) {
            case FieldKind::string:
                return yamlString(shownString(field.string(index), m_options), place, lineIndent);
            case FieldKind::byte:
                // A byte is a one-character string to the tools: cut to nothing by a length of 0.
                if (m_options.truncateLength && *m_options.truncateLength == 0) {
                    return yamlString("...", place);
                }
                return yamlByte(
                    static_cast<std::uint8_t>(std::get<std::uint64_t>(field.scalar(index))), place,
                    lineIndent);
            default:
                break;
        }
        // A char is read as its code: ROS 2 maps a definition's char to uint8, and the tools show
        // the number.
        return yamlScalar(field.scalar(index));
    }

    // ---- flow style: arrays and what they hold ----

    void appendFlowRecord(const ConstRecordView& record) {
        m_out += '{';
        for (std::size_t index = 0; index < record.fieldCount(); ++index) {
            const ConstFieldView field = record.field(index);
            m_out += index > 0 ? ", " : "";
            m_out += field.name();
            m_out += ": ";
            if (field.container() == Container::single) {
                appendFlowElement(field, 0);
            } else {
                appendFlowArray(field);
            }
        }
        m_out += '}';
    }

    void appendFlowElement(const ConstFieldView& field, std::size_t index) {
        if (field.kind() == FieldKind::record) {
            appendFlowRecord(field.record(index));
        } else {
            m_out += scalarText(field, index, YamlPlace::flow);
        }
    }

    void appendFlowArray(const ConstFieldView& field) {
        if (m_options.noArrays) {
            m_out += yamlString(arraySummary(field), YamlPlace::flow);
            return;
        }
        const std::size_t size = field.size();
        const std::size_t shown = shownElements(size, m_options);
        m_out += '[';
        for (std::size_t i = 0; i < shown; ++i) {
            m_out += i > 0 ? ", " : "";
            appendFlowElement(field, i);
        }
        if (shown < size) {
            m_out += shown > 0 ? ", " : "";
            m_out += yamlString("...", YamlPlace::flow);
        }
        m_out += ']';
    }

    // ---- block style ----

    // Element `index` of an array field, at `indent`, after its "- ".
    void appendElement(const ConstFieldView& field, std::size_t index, std::size_t indent) {
        const std::string dash = std::string(indent, ' ') + "- ";
        if (field.kind() != FieldKind::record) {
            m_out += dash + scalarText(field, index, YamlPlace::block, indent + 2) + "\n";
        } else if (field.description().record->fields().empty()) {
            m_out += dash + "{}\n";
        } else {
            appendRecord(field.record(index), indent + 2, dash);
        }
    }

    void appendArray(const ConstFieldView& field, const std::string& prefix, std::size_t indent) {
        const std::string key = prefix + field.name() + ":";
        if (m_options.noArrays) {
            m_out += key + " " + yamlString(arraySummary(field)) + "\n";
            return;
        }
        const std::size_t size = field.size();
        if (size == 0) {
            m_out += key + " []\n";
            return;
        }
        if (m_options.flowStyle) {
            m_out += key + " ";
            appendFlowArray(field);
            m_out += "\n";
            return;
        }
        // PyYAML does not indent a sequence below the key that holds it.
        m_out += key + "\n";
        const std::size_t shown = shownElements(size, m_options);
        for (std::size_t i = 0; i < shown; ++i) {
            appendElement(field, i, indent);
        }
        if (shown < size) {
            m_out += std::string(indent, ' ') + "- " + yamlString("...") + "\n";
        }
    }

    void appendField(const ConstFieldView& field, const std::string& prefix, std::size_t indent) {
        if (field.container() != Container::single) {
            appendArray(field, prefix, indent);
        } else if (field.kind() != FieldKind::record) {
            m_out += prefix + field.name() + ": " +
                     scalarText(field, 0, YamlPlace::block, indent + 2) + "\n";
        } else if (field.description().record->fields().empty()) {
            m_out += prefix + field.name() + ": {}\n";
        } else {
            m_out += prefix + field.name() + ":\n";
            appendRecord(field.record(), indent + 2, std::string(indent + 2, ' '));
        }
    }

    // The fields of `record`, each at `indent`; the first one's line starts with `firstPrefix`
    // instead (a "- " when the record is a sequence element).
    void appendRecord(const ConstRecordView& record, std::size_t indent,
                      const std::string& firstPrefix) {
        for (std::size_t index = 0; index < record.fieldCount(); ++index) {
            appendField(record.field(index), index == 0 ? firstPrefix : std::string(indent, ' '),
                        indent);
        }
    }

    const YamlOptions& m_options;
    std::string m_out;
};

}  // namespace

std::string arraySummary(const ConstFieldView& field) {
    const std::string element = definitionElementName(field.description());
    switch (field.container()) {
        case Container::fixedArray:
            return "<array type: " + element + "[" + std::to_string(field.size()) + "]>";
        case Container::sequence:
            return "<sequence type: " + element + ", length: " + std::to_string(field.size()) + ">";
        case Container::boundedSequence:
            return "<sequence type: " + element + "[" +
                   std::to_string(field.description().arrayLength) +
                   "], length: " + std::to_string(field.size()) + ">";
        case Container::single:
            break;
    }
    throw TypeSupportError("field '" + field.name() + "' is a " + field.description().typeText() +
                           ", not an array or a sequence");
}

std::string toYaml(const ConstRecordView& record, const YamlOptions& options) {
    return YamlWriter(options).text(record);
}

}  // namespace qorROS2::typesupport
