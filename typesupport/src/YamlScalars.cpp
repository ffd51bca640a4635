// Scalars written the way ros2's tools write them: Python's repr of the value through PyYAML.

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>

#include "qorROS2/typesupport/Yaml.h"

namespace qorROS2::typesupport {

namespace {

bool readsAsOtherType(const std::string& value) {
    // PyYAML's implicit resolvers for bool, null, int and float.
    static const std::regex other(
        "yes|Yes|YES|no|No|NO|true|True|TRUE|false|False|FALSE|on|On|ON|off|Off|OFF"
        "|~|null|Null|NULL"
        "|[-+]?0b[0-1_]+|[-+]?0[0-7_]+|[-+]?(?:0|[1-9][0-9_]*)|[-+]?0x[0-9a-fA-F_]+"
        "|[-+]?[1-9][0-9_]*(?::[0-5]?[0-9])+"
        "|[-+]?(?:[0-9][0-9_]*)\\.[0-9_]*(?:[eE][-+][0-9]+)?|\\.[0-9_]+(?:[eE][-+][0-9]+)?"
        "|[-+]?[0-9][0-9_]*(?::[0-5]?[0-9])+\\.[0-9_]*"
        "|[-+]?\\.(?:inf|Inf|INF)|\\.(?:nan|NaN|NAN)"
        "|=|<<");
    return std::regex_match(value, other);
}

bool needsDoubleQuotes(unsigned char c) {
    return (c < 0x20 && c != '\n') || c == 0x7f;
}

std::string doubleQuoted(const std::string& value) {
    std::string out = "\"";
    for (char ch : value) {
        const auto c = static_cast<unsigned char>(ch);
        switch (c) {
            case '\0':
                out += "\\0";
                break;
            case '\a':
                out += "\\a";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\v':
                out += "\\v";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\r':
                out += "\\r";
                break;
            case 0x1b:
                out += "\\e";
                break;
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                if (c < 0x20 || c == 0x7f) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\x%02X", c);
                    out += escaped;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

bool startsWithDocumentMarker(const std::string& value) {
    return value.rfind("---", 0) == 0 || value.rfind("...", 0) == 0;
}

bool needsSingleQuotes(const std::string& value) {
    if (value.empty() || value.front() == ' ' || value.back() == ' ' || readsAsOtherType(value) ||
        startsWithDocumentMarker(value)) {
        return true;
    }
    const char first = value.front();
    const bool followedBySpace = value.size() == 1 || value[1] == ' ';
    if (std::string("#,[]{}&*!|>'\"%@`").find(first) != std::string::npos) {
        return true;
    }
    if ((first == '?' || first == ':' || first == '-') && followedBySpace) {
        return true;
    }
    return value.find(": ") != std::string::npos || value.find(" #") != std::string::npos ||
           value.back() == ':' || value.find('\n') != std::string::npos;
}

// Inside [...] or {...} a plain scalar must also avoid the flow indicators anywhere, and any
// colon or leading question mark.
bool needsQuotesInFlow(const std::string& value) {
    if (needsSingleQuotes(value)) {
        return true;
    }
    const char first = value.front();
    if (first == '?' || first == ':') {
        return true;
    }
    return value.find_first_of(",?[]{}:", 1) != std::string::npos;
}

}  // namespace

std::string yamlFloat(double value) {
    if (std::isnan(value)) {
        return ".nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? ".inf" : "-.inf";
    }
    // The shortest digits that read back as the same double, as Python's repr picks them.
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::scientific);
    const std::string text(buffer, result.ptr);
    const std::size_t e = text.find('e');
    const int exponent = std::stoi(text.substr(e + 1));
    const bool negative = text[0] == '-';
    std::string digits;
    for (std::size_t i = negative ? 1 : 0; i < e; ++i) {
        if (text[i] != '.') {
            digits += text[i];
        }
    }
    const std::string sign = negative ? "-" : "";
    if (exponent >= -4 && exponent < 16) {
        if (exponent < 0) {
            return sign + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
        }
        const auto point = static_cast<std::size_t>(exponent) + 1;
        if (digits.size() <= point) {
            return sign + digits + std::string(point - digits.size(), '0') + ".0";
        }
        return sign + digits.substr(0, point) + "." + digits.substr(point);
    }
    // Python writes "1e-05"; PyYAML adds the ".0" that makes YAML 1.1 read it as a float.
    char suffix[16];
    std::snprintf(suffix, sizeof(suffix), "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    return sign + digits.substr(0, 1) + "." + (digits.size() > 1 ? digits.substr(1) : "0") + suffix;
}

std::string yamlString(const std::string& value, YamlPlace place, std::size_t lineIndent) {
    char previous = '\0';
    for (char ch : value) {
        const auto c = static_cast<unsigned char>(ch);
        // A space that ends or starts a line would be lost when the line is folded.
        const bool spaceAtBreak =
            (ch == ' ' && previous == '\n') || (ch == '\n' && previous == ' ');
        if (needsDoubleQuotes(c) || spaceAtBreak) {
            return doubleQuoted(value);
        }
        previous = ch;
    }
    const bool quoted =
        place == YamlPlace::flow ? needsQuotesInFlow(value) : needsSingleQuotes(value);
    if (!quoted) {
        return value;
    }
    std::string out = "'";
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\n') {
            // A single line break inside quotes folds into a space: each run of them is written
            // with one more, which folds into the run itself.
            std::size_t run = 1;
            while (i + run < value.size() && value[i + run] == '\n') {
                ++run;
            }
            out += std::string(run + 1, '\n') + std::string(lineIndent, ' ');
            i += run - 1;
            continue;
        }
        out += value[i];
        if (value[i] == '\'') {
            out += '\'';
        }
    }
    return out + "'";
}

std::string yamlByte(std::uint8_t value, YamlPlace place, std::size_t lineIndent) {
    if (value < 0x80) {
        return yamlString(std::string(1, static_cast<char>(value)), place, lineIndent);
    }
    if (value < 0xA0) {
        char escaped[8];
        std::snprintf(escaped, sizeof(escaped), "\"\\x%02X\"", value);
        return value == 0x85 ? "\"\\N\"" : escaped;
    }
    // Python's chr of a code above 0x9F is a printable Latin-1 character: written as UTF-8.
    std::string utf8;
    utf8 += static_cast<char>(0xC0 | (value >> 6));
    utf8 += static_cast<char>(0x80 | (value & 0x3F));
    return utf8;
}

std::string yamlScalar(const Scalar& value) {
    if (const bool* boolean = std::get_if<bool>(&value)) {
        return *boolean ? "true" : "false";
    }
    if (const auto* signedValue = std::get_if<std::int64_t>(&value)) {
        return std::to_string(*signedValue);
    }
    if (const auto* unsignedValue = std::get_if<std::uint64_t>(&value)) {
        return std::to_string(*unsignedValue);
    }
    return yamlFloat(std::get<double>(value));
}

}  // namespace qorROS2::typesupport
