#include "YamlScalars.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <regex>
#include <system_error>

namespace qorCli {

namespace {

// Places the shortest round-trip digits as Python's repr does: positional between 1e-4 and 1e16,
// otherwise scientific with a signed, two-digit-minimum exponent.
std::string pythonRepr(double value) {
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::scientific);
    const std::string text(buffer, result.ptr);
    const auto e = text.find('e');
    std::string mantissa = text.substr(0, e);
    const int exponent = std::stoi(text.substr(e + 1));
    std::string sign;
    if (mantissa[0] == '-') {
        sign = "-";
        mantissa.erase(0, 1);
    }
    std::string digits;
    for (char c : mantissa) {
        if (c != '.') {
            digits += c;
        }
    }
    if (exponent >= -4 && exponent < 16) {
        std::string out;
        if (exponent < 0) {
            out = "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
        } else {
            const auto point = static_cast<std::size_t>(exponent) + 1;
            if (digits.size() <= point) {
                out = digits + std::string(point - digits.size(), '0') + ".0";
            } else {
                out = digits.substr(0, point) + "." + digits.substr(point);
            }
        }
        return sign + out;
    }
    std::string out = digits.substr(0, 1);
    if (digits.size() > 1) {
        out += "." + digits.substr(1);
    }
    char exponentText[16];
    std::snprintf(exponentText, sizeof(exponentText), "e%c%02d", exponent < 0 ? '-' : '+',
                  std::abs(exponent));
    return sign + out + exponentText;
}

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

bool needsSingleQuotes(const std::string& value) {
    if (value.empty() || value.front() == ' ' || value.back() == ' ' || readsAsOtherType(value)) {
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

}  // namespace

std::string pythonFloatRepr(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    return pythonRepr(value);
}

std::string formatFloat(double value) {
    if (std::isnan(value)) {
        return ".nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? ".inf" : "-.inf";
    }
    std::string text = pythonRepr(value);
    const auto e = text.find('e');
    if (text.find('.') == std::string::npos && e != std::string::npos) {
        text.insert(e, ".0");
    }
    return text;
}

std::string formatString(const std::string& value) {
    for (char ch : value) {
        const auto c = static_cast<unsigned char>(ch);
        if (needsDoubleQuotes(c)) {
            return doubleQuoted(value);
        }
    }
    if (!needsSingleQuotes(value)) {
        return value;
    }
    std::string out = "'";
    for (char c : value) {
        out += c;
        if (c == '\'') {
            out += '\'';
        }
    }
    return out + "'";
}

std::string formatByte(std::uint8_t value) {
    if (value < 0x80) {
        return formatString(std::string(1, static_cast<char>(value)));
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

}  // namespace qorCli
