#include "text/NumpyText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string>

#include "text/PythonText.h"

namespace qorCli {

namespace {

// numpy's default print options.
constexpr std::size_t kLineWidth = 75;
constexpr int kPrecision = 8;

struct Parts {
    std::string integer;   // sign and digits before the point
    std::string fraction;  // digits after the point, none when all were zeros
    std::string exponent;  // "-05", only in scientific form
};

// The shortest digits that read back as `value`, as Python's repr gives them, in positional
// form with at most kPrecision decimals (rounded when more would be needed).
Parts positionalParts(double value) {
    std::string text = pythonFloatRepr(value);
    if (text.find('e') != std::string::npos || text.size() - text.find('.') - 1 > kPrecision) {
        char buffer[400];
        std::snprintf(buffer, sizeof(buffer), "%.*f", kPrecision, value);
        text = buffer;
    }
    const auto point = text.find('.');
    Parts parts{text.substr(0, point), text.substr(point + 1), ""};
    while (!parts.fraction.empty() && parts.fraction.back() == '0') {
        parts.fraction.pop_back();
    }
    return parts;
}

// The shortest digits of `value` in scientific form, at most kPrecision decimals.
Parts scientificParts(double value) {
    char buffer[64];
    auto result =
        std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::scientific);
    std::string text(buffer, result.ptr);
    auto e = text.find('e');
    const auto point = text.find('.');
    if (point != std::string::npos && e - point - 1 > static_cast<std::size_t>(kPrecision)) {
        std::snprintf(buffer, sizeof(buffer), "%.*e", kPrecision, value);
        text = buffer;
        e = text.find('e');
    }
    std::string mantissa = text.substr(0, e);
    std::string exponent = text.substr(e + 1);
    if (exponent.front() != '-' && exponent.front() != '+') {
        exponent.insert(0, "+");
    }
    while (exponent.size() > 3 && exponent[1] == '0') {
        exponent.erase(1, 1);
    }
    if (exponent.size() < 3) {
        exponent.insert(1, "0");
    }
    const auto mantissaPoint = mantissa.find('.');
    Parts parts{mantissa.substr(0, mantissaPoint),
                mantissaPoint == std::string::npos ? "" : mantissa.substr(mantissaPoint + 1),
                exponent};
    while (!parts.fraction.empty() && parts.fraction.back() == '0') {
        parts.fraction.pop_back();
    }
    return parts;
}

// Every element formatted to one common width, as numpy's FloatingFormat does.
std::vector<std::string> formatElements(const std::vector<double>& values) {
    std::vector<double> finite;
    double smallest = 0.0;
    double largest = 0.0;
    bool anyNonZero = false;
    bool negativeInfinity = false;
    for (double value : values) {
        if (!std::isfinite(value)) {
            negativeInfinity = negativeInfinity || (std::isinf(value) && value < 0);
            continue;
        }
        finite.push_back(value);
        if (value != 0.0) {
            const double magnitude = std::fabs(value);
            smallest = anyNonZero ? std::min(smallest, magnitude) : magnitude;
            largest = anyNonZero ? std::max(largest, magnitude) : magnitude;
            anyNonZero = true;
        }
    }
    const bool scientific =
        anyNonZero && (largest >= 1e8 || smallest < 0.0001 || largest / smallest > 1000.0);
    std::vector<Parts> parts;
    long padLeft = 0;
    std::size_t decimals = 0;
    std::size_t exponentDigits = 0;
    for (double value : finite) {
        parts.push_back(scientific ? scientificParts(value) : positionalParts(value));
        padLeft = std::max(padLeft, static_cast<long>(parts.back().integer.size()));
        decimals = std::max(decimals, parts.back().fraction.size());
        if (scientific) {
            exponentDigits = std::max(exponentDigits, parts.back().exponent.size() - 1);
        }
    }
    // Scientific columns also hold "e", the exponent's sign and its digits.
    const long padRight = static_cast<long>(scientific ? exponentDigits + 2 + decimals : decimals);
    if (finite.size() != values.size()) {
        const long offset = padRight + 1;
        padLeft = std::max({padLeft, 3 - offset, (negativeInfinity ? 4 : 3) - offset});
    }
    const auto width = static_cast<std::size_t>(padLeft + 1 + padRight);
    std::vector<std::string> out;
    std::size_t next = 0;
    for (double value : values) {
        if (!std::isfinite(value)) {
            const std::string text = std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
            out.push_back(std::string(width - text.size(), ' ') + text);
            continue;
        }
        const Parts& p = parts[next++];
        std::string text = std::string(static_cast<std::size_t>(padLeft) - p.integer.size(), ' ') +
                           p.integer + ".";
        if (scientific) {
            // Scientific columns keep their zeros: every mantissa has the same decimals.
            text += p.fraction + std::string(decimals - p.fraction.size(), '0');
            std::string exponent = p.exponent;
            while (exponent.size() - 1 < exponentDigits) {
                exponent.insert(1, "0");
            }
            text += "e" + exponent;
        } else {
            text += p.fraction + std::string(decimals - p.fraction.size(), ' ');
        }
        out.push_back(text);
    }
    return out;
}

// numpy's line wrapping of the last axis: elements joined by `separator` after `prefix`,
// continued lines indented to stand below the first element.
std::string wrapElements(const std::vector<std::string>& words, const std::string& separator,
                         std::size_t prefixLength, std::size_t lineWidth) {
    const std::string hanging(prefixLength, ' ');
    const std::size_t trimmedSeparator = separator.find_last_not_of(' ') + 1;
    const std::size_t elementWidth = lineWidth - std::max<std::size_t>(trimmedSeparator, 1);
    std::string body;
    std::string line = hanging;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (line.size() + words[i].size() > elementWidth && line.size() > hanging.size()) {
            body += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
            line = hanging;
        }
        line += words[i];
        if (i + 1 < words.size()) {
            line += separator;
        }
    }
    body += line;
    return "[" + body.substr(hanging.size()) + "]";
}

}  // namespace

std::string numpyArrayStr(const std::vector<double>& values) {
    return wrapElements(formatElements(values), " ", 1, kLineWidth);
}

std::string numpyArrayRepr(const std::vector<double>& values) {
    // The closing parenthesis counts against the line width.
    return "array(" + wrapElements(formatElements(values), ", ", 7, kLineWidth - 1) + ")";
}

}  // namespace qorCli
