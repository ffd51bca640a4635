#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "text/RecordToRepr.h"

namespace qorCli::detail {
namespace {

// numpy wraps an array's repr at 75 columns, under the "array([" that starts it.
constexpr std::size_t kLineWidth = 75;
constexpr std::size_t kArrayIndent = 7;
// numpy writes at most 8 digits after the point.
constexpr int kMaxFractionDigits = 8;

std::string escapedCharacter(unsigned char c, char quote) {
    switch (c) {
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    if (c == static_cast<unsigned char>(quote)) {
        return std::string("\\") + quote;
    }
    if (c < 0x20 || c == 0x7f) {
        char buffer[8];
        std::snprintf(buffer, sizeof(buffer), "\\x%02x", c);
        return buffer;
    }
    return std::string(1, static_cast<char>(c));
}

char quoteFor(const std::string& text) {
    const bool single = text.find('\'') != std::string::npos;
    const bool twice = text.find('"') != std::string::npos;
    return single && !twice ? '"' : '\'';
}

template <typename T>
std::string shortestFixed(T value) {
    char buffer[512];
    const auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::fixed);
    std::string text(buffer, result.ptr);
    const std::size_t point = text.find('.');
    if (point != std::string::npos &&
        text.size() - point - 1 > static_cast<std::size_t>(kMaxFractionDigits)) {
        const auto rounded = std::to_chars(buffer, buffer + sizeof(buffer), value,
                                           std::chars_format::fixed, kMaxFractionDigits);
        text.assign(buffer, rounded.ptr);
        while (text.back() == '0') {
            text.pop_back();
        }
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text;
}

template <typename T>
std::string shortestScientific(T value) {
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::scientific);
    return std::string(buffer, result.ptr);
}

}  // namespace

std::string pythonStringRepr(const std::string& text) {
    const char quote = quoteFor(text);
    std::string out(1, quote);
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        // Bytes of UTF-8 sequences stay as they are: Python shows printable characters.
        out += byte >= 0x80 ? std::string(1, c) : escapedCharacter(byte, quote);
    }
    return out + quote;
}

std::string pythonBytesRepr(std::uint8_t value) {
    const std::string text(1, static_cast<char>(value));
    const char quote = quoteFor(text);
    std::string out = "b" + std::string(1, quote);
    if (value >= 0x80) {
        char buffer[8];
        std::snprintf(buffer, sizeof(buffer), "\\x%02x", value);
        out += buffer;
    } else {
        out += escapedCharacter(value, quote);
    }
    return out + quote;
}

std::vector<std::string> numpyFloatTexts(const std::vector<double>& values, bool singlePrecision) {
    double largest = 0.0;
    double smallest = 0.0;
    for (double value : values) {
        if (std::isfinite(value) && value != 0.0) {
            const double magnitude = std::fabs(value);
            largest = std::max(largest, magnitude);
            smallest = smallest == 0.0 ? magnitude : std::min(smallest, magnitude);
        }
    }
    // numpy switches the whole array to scientific notation for very large, very small or
    // widely spread magnitudes.
    const bool scientific =
        largest >= 1e8 || (smallest != 0.0 && (smallest < 1e-4 || largest / smallest > 1000.0));
    std::vector<std::string> whole;
    std::vector<std::string> fraction;
    std::vector<std::string> exponent;
    for (double value : values) {
        if (!std::isfinite(value)) {
            whole.push_back(std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf"));
            fraction.emplace_back();
            exponent.emplace_back();
            continue;
        }
        std::string text = scientific
                               ? (singlePrecision ? shortestScientific(static_cast<float>(value))
                                                  : shortestScientific(value))
                               : (singlePrecision ? shortestFixed(static_cast<float>(value))
                                                  : shortestFixed(value));
        std::string power;
        const std::size_t e = text.find('e');
        if (e != std::string::npos) {
            power = text.substr(e);
            text.erase(e);
        }
        const std::size_t point = text.find('.');
        whole.push_back(text.substr(0, point));
        fraction.push_back(point == std::string::npos ? "" : text.substr(point + 1));
        exponent.push_back(power);
    }
    std::size_t left = 0;
    std::size_t right = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        left = std::max(left, whole[i].size());
        right = std::max(right, fraction[i].size());
    }
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::string text(left - std::min(left, whole[i].size()), ' ');
        if (fraction[i].empty() && exponent[i].empty() && !std::isfinite(values[i])) {
            texts.push_back(text + whole[i] + std::string(right + 1, ' '));
            continue;
        }
        text += whole[i] + "." + fraction[i];
        // Scientific mantissas are filled with zeros, positional fractions with spaces.
        text += std::string(right - fraction[i].size(), scientific ? '0' : ' ');
        texts.push_back(text + exponent[i]);
    }
    return texts;
}

std::string numpyArrayRepr(const std::vector<std::string>& elements, const std::string& dtype) {
    std::string out;
    std::string line = "array([";
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const bool last = i + 1 == elements.size();
        // The last element leaves room for "])", the others for their ",".
        const std::size_t width = last ? kLineWidth - 2 : kLineWidth - 1;
        if (line.size() + elements[i].size() > width && line.size() > kArrayIndent) {
            while (!line.empty() && line.back() == ' ') {
                line.pop_back();
            }
            out += line + "\n";
            line = std::string(kArrayIndent, ' ');
        }
        line += elements[i];
        if (!last) {
            line += ", ";
        }
    }
    line += "]";
    if (!dtype.empty()) {
        const std::string type = "dtype=" + dtype + ")";
        if (line.size() + 2 + type.size() > kLineWidth) {
            line += ",\n" + std::string(kArrayIndent - 1, ' ') + type;
        } else {
            line += ", " + type;
        }
    } else {
        line += ")";
    }
    return out + line;
}

}  // namespace qorCli::detail
