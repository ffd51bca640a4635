#include "text/PythonText.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace qorCli {

namespace {

// The exponent of `value` in scientific notation once rounded to `digits` significant digits.
int roundedExponent(double value, int digits) {
    std::vector<char> buffer(64);
    std::snprintf(buffer.data(), buffer.size(), "%.*e", digits - 1, value);
    const std::string text(buffer.data());
    return std::atoi(text.c_str() + text.find('e') + 1);
}

std::string exponentSuffix(int exponent) {
    char text[16];
    std::snprintf(text, sizeof(text), "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    return text;
}

void dropTrailingZeros(std::string& digits) {
    if (digits.find('.') == std::string::npos) {
        return;
    }
    while (digits.back() == '0') {
        digits.pop_back();
    }
    if (digits.back() == '.') {
        digits.pop_back();
    }
}

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// The code point that starts at `text[i]`, and how many bytes it takes; a stray byte counts as
// one code point of its own value.
std::uint32_t codePointAt(const std::string& text, std::size_t i, std::size_t& length) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t expected = 1;
    std::uint32_t code = lead;
    if ((lead & 0xE0U) == 0xC0U) {
        expected = 2;
        code = lead & 0x1FU;
    } else if ((lead & 0xF0U) == 0xE0U) {
        expected = 3;
        code = lead & 0x0FU;
    } else if ((lead & 0xF8U) == 0xF0U) {
        expected = 4;
        code = lead & 0x07U;
    }
    if (expected == 1 || i + expected > text.size()) {
        length = 1;
        return lead;
    }
    for (std::size_t k = 1; k < expected; ++k) {
        if (!isContinuationByte(text[i + k])) {
            length = 1;
            return lead;
        }
        code = (code << 6U) | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
    }
    length = expected;
    return code;
}

std::string hexEscape(std::uint32_t code) {
    char text[8];
    std::snprintf(text, sizeof(text), "\\x%02x", code);
    return text;
}

}  // namespace

std::string pythonFloatRepr(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
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
    return sign + out + exponentSuffix(exponent);
}

std::string pythonFixed(double value, int decimals) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    const int length = std::snprintf(nullptr, 0, "%.*f", decimals, value);
    std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
    std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, value);
    return buffer.data();
}

std::string pythonShortFloat(double value, int precision) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    const int exponent = value == 0.0 ? 0 : roundedExponent(value, precision);
    std::vector<char> buffer(512);
    if (exponent >= -4 && exponent < precision) {
        std::snprintf(buffer.data(), buffer.size(), "%.*f", precision - 1 - exponent, value);
        std::string text(buffer.data());
        dropTrailingZeros(text);
        if (text.find('.') == std::string::npos) {
            text += ".0";
        }
        return text;
    }
    std::snprintf(buffer.data(), buffer.size(), "%.*e", precision - 1, value);
    const std::string text(buffer.data());
    std::string mantissa = text.substr(0, text.find('e'));
    dropTrailingZeros(mantissa);
    return mantissa + exponentSuffix(exponent);
}

std::string pythonStrRepr(const std::string& value) {
    const bool hasSingle = value.find('\'') != std::string::npos;
    const bool hasDouble = value.find('"') != std::string::npos;
    const char quote = hasSingle && !hasDouble ? '"' : '\'';
    std::string out(1, quote);
    for (std::size_t i = 0; i < value.size();) {
        std::size_t length = 1;
        const std::uint32_t code = codePointAt(value, i, length);
        if (code == static_cast<unsigned char>(quote) || code == '\\') {
            out += '\\';
            out += static_cast<char>(code);
        } else if (code == '\n') {
            out += "\\n";
        } else if (code == '\r') {
            out += "\\r";
        } else if (code == '\t') {
            out += "\\t";
        } else if (code < 0x20 || (code >= 0x7F && code <= 0xA0) || code == 0xAD) {
            out += hexEscape(code);
        } else {
            out += value.substr(i, length);
        }
        i += length;
    }
    return out + quote;
}

std::string pythonBytesRepr(const std::string& bytes) {
    // Single quotes, unless the bytes hold a single quote and no double one.
    const char quote =
        bytes.find('\'') != std::string::npos && bytes.find('"') == std::string::npos ? '"' : '\'';
    std::string out = std::string("b") + quote;
    for (const char c : bytes) {
        const auto value = static_cast<std::uint8_t>(c);
        if (c == quote || c == '\\') {
            out += std::string("\\") + c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (value < 0x20 || value >= 0x7F) {
            out += hexEscape(value);
        } else {
            out += c;
        }
    }
    return out + quote;
}

std::string pythonByteRepr(std::uint8_t value) {
    return pythonBytesRepr(std::string(1, static_cast<char>(value)));
}

std::string pythonCenter(const std::string& text, std::size_t width) {
    if (text.size() >= width) {
        return text;
    }
    const std::size_t margin = width - text.size();
    const std::size_t left = margin / 2 + (margin & width & 1U);
    return std::string(left, ' ') + text + std::string(margin - left, ' ');
}

std::size_t pythonLength(const std::string& value) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < value.size();) {
        std::size_t length = 1;
        codePointAt(value, i, length);
        i += length;
        ++count;
    }
    return count;
}

std::string pythonPrefix(const std::string& value, std::size_t count) {
    std::size_t i = 0;
    for (std::size_t taken = 0; taken < count && i < value.size(); ++taken) {
        std::size_t length = 1;
        codePointAt(value, i, length);
        i += length;
    }
    return value.substr(0, i);
}

}  // namespace qorCli
