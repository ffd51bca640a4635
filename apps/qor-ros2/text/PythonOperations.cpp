#include "text/PythonOperations.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <utility>

#include "text/PythonText.h"

namespace qorCli {
namespace {

// Raises Python's error `type` ("TypeError") with Python's `message`.
[[noreturn]] void raise(const std::string& type, const std::string& message) {
    throw PythonError{type, message};
}

using Value = PythonValue;

std::string intText(PythonInt value) {
    if (value == 0) {
        return "0";
    }
    const bool negative = value < 0;
    std::string digits;
    while (value != 0) {
        const int digit = static_cast<int>(value % 10);
        digits += static_cast<char>('0' + (negative ? -digit : digit));
        value /= 10;
    }
    if (negative) {
        digits += '-';
    }
    return std::string(digits.rbegin(), digits.rend());
}

std::string typeName(const Value& value) {
    return std::visit(
        [](const auto& v) -> std::string {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, PythonNone>) {
                return "NoneType";
            } else if constexpr (std::is_same_v<V, bool>) {
                return "bool";
            } else if constexpr (std::is_same_v<V, PythonInt>) {
                return "int";
            } else if constexpr (std::is_same_v<V, double>) {
                return "float";
            } else if constexpr (std::is_same_v<V, std::string>) {
                return "str";
            } else if constexpr (std::is_same_v<V, PythonBytes>) {
                return "bytes";
            } else if constexpr (std::is_same_v<V, PythonTuple>) {
                return v.list ? "list" : "tuple";
            } else {
                return v.typeName();
            }
        },
        value.value);
}

const PythonView* asView(const Value& value) {
    return std::get_if<PythonView>(&value.value);
}

bool isMessage(const Value& value) {
    const PythonView* view = asView(value);
    return view != nullptr && !view->isSequence();
}

bool isNumpy(const Value& value) {
    return typeName(value) == "numpy.ndarray";
}

// The number as Python's arithmetic sees it: a bool is an int.
bool asInt(const Value& value, PythonInt& out) {
    if (const auto* b = std::get_if<bool>(&value.value)) {
        out = *b ? 1 : 0;
        return true;
    }
    if (const auto* i = std::get_if<PythonInt>(&value.value)) {
        out = *i;
        return true;
    }
    return false;
}

bool isNumber(const Value& value) {
    PythonInt ignored = 0;
    return asInt(value, ignored) || std::holds_alternative<double>(value.value);
}

double asFloat(const Value& value) {
    PythonInt integer = 0;
    if (asInt(value, integer)) {
        return static_cast<double>(integer);
    }
    return std::get<double>(value.value);
}

// The code points of UTF-8 `text`, each as its own string.
std::vector<std::string> characters(const std::string& text) {
    std::vector<std::string> out;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t length = 1;
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead >= 0xF0) {
            length = 4;
        } else if (lead >= 0xE0) {
            length = 3;
        } else if (lead >= 0xC0) {
            length = 2;
        }
        length = std::min(length, text.size() - i);
        out.push_back(text.substr(i, length));
        i += length;
    }
    return out;
}

// Calls `visit` with each item of an iterable value, in order.
void forEachItem(const Value& value, const std::function<void(const Value&)>& visit) {
    if (const auto* text = std::get_if<std::string>(&value.value)) {
        for (std::string& character : characters(*text)) {
            visit(Value{std::move(character)});
        }
    } else if (const auto* bytes = std::get_if<PythonBytes>(&value.value)) {
        for (const char byte : bytes->bytes) {
            visit(Value{PythonInt{static_cast<unsigned char>(byte)}});
        }
    } else if (const auto* tuple = std::get_if<PythonTuple>(&value.value)) {
        for (const Value& item : tuple->items) {
            visit(item);
        }
    } else if (const PythonView* view = asView(value); view != nullptr && view->isSequence()) {
        const std::size_t length = view->length();
        for (std::size_t i = 0; i < length; ++i) {
            visit(view->item(i));
        }
    } else {
        raise("TypeError", "'" + typeName(value) + "' object is not iterable");
    }
}

std::size_t length(const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value.value)) {
        return pythonLength(*text);
    }
    if (const auto* bytes = std::get_if<PythonBytes>(&value.value)) {
        return bytes->bytes.size();
    }
    if (const auto* tuple = std::get_if<PythonTuple>(&value.value)) {
        return tuple->items.size();
    }
    if (const PythonView* view = asView(value); view != nullptr && view->isSequence()) {
        return view->length();
    }
    raise("TypeError", "object of type '" + typeName(value) + "' has no len()");
}

bool truth(const Value& value) {
    if (std::holds_alternative<PythonNone>(value.value)) {
        return false;
    }
    if (const auto* b = std::get_if<bool>(&value.value)) {
        return *b;
    }
    if (const auto* i = std::get_if<PythonInt>(&value.value)) {
        return *i != 0;
    }
    if (const auto* d = std::get_if<double>(&value.value)) {
        return *d != 0.0;
    }
    if (isMessage(value)) {
        return true;
    }
    if (isNumpy(value)) {
        const std::size_t size = length(value);
        if (size > 1) {
            raise("ValueError",
                  "The truth value of an array with more than one element is ambiguous. Use "
                  "a.any() or a.all()");
        }
        if (size == 1) {
            return truth(asView(value)->item(0));
        }
        return false;
    }
    return length(value) > 0;
}

// Python's == between a and b; the comparisons Python answers with an array or by comparing
// every field are refused.
bool equal(const Value& a, const Value& b) {
    if (isNumpy(a) || isNumpy(b)) {
        raise("TypeError",
              "comparing a numpy.ndarray with == gives an array in Python, which --filter does "
              "not support: compare its items");
    }
    if (isMessage(a) && isMessage(b)) {
        raise("TypeError",
              "comparing whole messages is not supported by --filter: compare "
              "their fields");
    }
    if (isNumber(a) && isNumber(b)) {
        PythonInt x = 0;
        PythonInt y = 0;
        if (asInt(a, x) && asInt(b, y)) {
            return x == y;
        }
        // Python compares an int and a float exactly; a long double holds every 64-bit int.
        const auto exact = [](const Value& v) {
            PythonInt i = 0;
            return asInt(v, i) ? static_cast<long double>(i)
                               : static_cast<long double>(std::get<double>(v.value));
        };
        return exact(a) == exact(b);
    }
    if (a.value.index() == b.value.index()) {
        if (std::holds_alternative<PythonNone>(a.value)) {
            return true;
        }
        if (const auto* text = std::get_if<std::string>(&a.value)) {
            return *text == std::get<std::string>(b.value);
        }
        if (const auto* bytes = std::get_if<PythonBytes>(&a.value)) {
            return bytes->bytes == std::get<PythonBytes>(b.value).bytes;
        }
    }
    // Sequences of one Python type compare item by item; a list never equals a tuple or an
    // array.array.
    const bool sequences = (std::holds_alternative<PythonTuple>(a.value) || asView(a) != nullptr) &&
                           (std::holds_alternative<PythonTuple>(b.value) || asView(b) != nullptr);
    if (sequences && typeName(a) == typeName(b)) {
        if (length(a) != length(b)) {
            return false;
        }
        std::vector<Value> left;
        forEachItem(a, [&](const Value& item) { left.push_back(item); });
        std::size_t i = 0;
        bool same = true;
        forEachItem(b, [&](const Value& item) { same = same && equal(left[i++], item); });
        return same;
    }
    return false;
}

// Python's <, <=, >, >= between a and b.
bool ordered(const std::string& op, const Value& a, const Value& b) {
    int order = 0;
    PythonInt x = 0;
    PythonInt y = 0;
    if (asInt(a, x) && asInt(b, y)) {
        order = x < y ? -1 : x > y ? 1 : 0;
    } else if (isNumber(a) && isNumber(b)) {
        const double p = asFloat(a);
        const double q = asFloat(b);
        if (std::isnan(p) || std::isnan(q)) {
            return false;
        }
        order = p < q ? -1 : p > q ? 1 : 0;
    } else if (std::holds_alternative<std::string>(a.value) &&
               std::holds_alternative<std::string>(b.value)) {
        // UTF-8 keeps the order of code points, which Python compares.
        const int compared = std::get<std::string>(a.value).compare(std::get<std::string>(b.value));
        order = compared < 0 ? -1 : compared > 0 ? 1 : 0;
    } else if (std::holds_alternative<PythonBytes>(a.value) &&
               std::holds_alternative<PythonBytes>(b.value)) {
        const int compared =
            std::get<PythonBytes>(a.value).bytes.compare(std::get<PythonBytes>(b.value).bytes);
        order = compared < 0 ? -1 : compared > 0 ? 1 : 0;
    } else {
        raise("TypeError", "'" + op + "' not supported between instances of '" + typeName(a) +
                               "' and '" + typeName(b) + "'");
    }
    if (op == "<") {
        return order < 0;
    }
    if (op == "<=") {
        return order <= 0;
    }
    if (op == ">") {
        return order > 0;
    }
    return order >= 0;
}

bool contains(const Value& container, const Value& item) {
    if (const auto* text = std::get_if<std::string>(&container.value)) {
        const auto* part = std::get_if<std::string>(&item.value);
        if (part == nullptr) {
            raise("TypeError",
                  "'in <string>' requires string as left operand, not " + typeName(item));
        }
        return text->find(*part) != std::string::npos;
    }
    if (const auto* bytes = std::get_if<PythonBytes>(&container.value)) {
        PythonInt code = 0;
        if (asInt(item, code)) {
            if (code < 0 || code > 255) {
                raise("ValueError", "byte must be in range(0, 256)");
            }
            return bytes->bytes.find(static_cast<char>(code)) != std::string::npos;
        }
        if (const auto* part = std::get_if<PythonBytes>(&item.value)) {
            return bytes->bytes.find(part->bytes) != std::string::npos;
        }
        raise("TypeError", "a bytes-like object is required, not '" + typeName(item) + "'");
    }
    if (isMessage(container)) {
        raise("TypeError", "argument of type '" + typeName(container) + "' is not iterable");
    }
    bool found = false;
    forEachItem(container, [&](const Value& candidate) {
        if (!found) {
            // A numpy array's items are numbers, which == answers without an array.
            found = equal(candidate, item);
        }
    });
    return found;
}

bool identical(const Value& a, const Value& b) {
    const auto singleton = [](const Value& v) {
        return std::holds_alternative<PythonNone>(v.value) || std::holds_alternative<bool>(v.value);
    };
    if (!singleton(a) && !singleton(b)) {
        raise("TypeError", "--filter supports 'is' only with None, True or False");
    }
    return a.value.index() == b.value.index() && equal(a, b);
}

bool compare(const std::string& op, const Value& a, const Value& b) {
    if (op == "==") {
        return equal(a, b);
    }
    if (op == "!=") {
        return !equal(a, b);
    }
    if (op == "in") {
        return contains(b, a);
    }
    if (op == "not in") {
        return !contains(b, a);
    }
    if (op == "is") {
        return identical(a, b);
    }
    if (op == "is not") {
        return !identical(a, b);
    }
    return ordered(op, a, b);
}

[[noreturn]] void unsupportedOperands(const std::string& op, const Value& a, const Value& b) {
    raise("TypeError", "unsupported operand type(s) for " + op + ": '" + typeName(a) + "' and '" +
                           typeName(b) + "'");
}

Value checkedInt(bool overflow, PythonInt value) {
    if (overflow) {
        raise("OverflowError", "the result is too large for --filter's integers");
    }
    return Value{value};
}

// Python's float divmod: the floor quotient and the remainder with the divisor's sign.
std::pair<double, double> floatDivmod(double x, double y) {
    double mod = std::fmod(x, y);
    double div = (x - mod) / y;
    if (mod != 0.0) {
        if ((y < 0) != (mod < 0)) {
            mod += y;
            div -= 1.0;
        }
    } else {
        mod = std::copysign(0.0, y);
    }
    double floorDiv = 0.0;
    if (div != 0.0) {
        floorDiv = std::floor(div);
        if (div - floorDiv > 0.5) {
            floorDiv += 1.0;
        }
    } else {
        floorDiv = std::copysign(0.0, x / y);
    }
    return {floorDiv, mod};
}

Value arithmetic(const std::string& op, const Value& a, const Value& b) {
    PythonInt x = 0;
    PythonInt y = 0;
    if (asInt(a, x) && asInt(b, y)) {
        PythonInt result = 0;
        if (op == "+" || op == "-" || op == "*") {
            const bool overflow = op == "+"   ? __builtin_add_overflow(x, y, &result)
                                  : op == "-" ? __builtin_sub_overflow(x, y, &result)
                                              : __builtin_mul_overflow(x, y, &result);
            return checkedInt(overflow, result);
        }
        if (op == "//" || op == "%") {
            if (y == 0) {
                raise("ZeroDivisionError", "integer division or modulo by zero");
            }
            PythonInt quotient = x / y;
            PythonInt remainder = x % y;
            if (remainder != 0 && ((remainder < 0) != (y < 0))) {
                quotient -= 1;
                remainder += y;
            }
            return Value{op == "//" ? quotient : remainder};
        }
        if (op == "/") {
            if (y == 0) {
                raise("ZeroDivisionError", "division by zero");
            }
            return Value{
                static_cast<double>(static_cast<long double>(x) / static_cast<long double>(y))};
        }
        if (op == "**" && y >= 0) {
            PythonInt power = 1;
            bool overflow = false;
            for (PythonInt i = 0; i < y && !overflow; ++i) {
                overflow = __builtin_mul_overflow(power, x, &power);
                if (power == 0 || power == 1 || (power == -1 && x == -1)) {
                    // 0, 1 and -1 stay bounded whatever the exponent.
                    if (x == -1) {
                        power = (y % 2 == 0) ? 1 : -1;
                    }
                    break;
                }
            }
            return checkedInt(overflow, power);
        }
    }
    if (isNumber(a) && isNumber(b)) {
        const double p = asFloat(a);
        const double q = asFloat(b);
        if (op == "+") {
            return Value{p + q};
        }
        if (op == "-") {
            return Value{p - q};
        }
        if (op == "*") {
            return Value{p * q};
        }
        if (op == "/") {
            if (q == 0.0) {
                raise("ZeroDivisionError", "float division by zero");
            }
            return Value{p / q};
        }
        if (op == "//" || op == "%") {
            if (q == 0.0) {
                raise("ZeroDivisionError",
                      op == "//" ? "float floor division by zero" : "float modulo");
            }
            const auto [quotient, remainder] = floatDivmod(p, q);
            return Value{op == "//" ? quotient : remainder};
        }
        // "**"
        if (p == 0.0 && q < 0.0) {
            raise("ZeroDivisionError", "0.0 cannot be raised to a negative power");
        }
        if (p < 0.0 && q != std::floor(q)) {
            raise("ValueError",
                  "a negative number to a fractional power is complex, which "
                  "--filter does not support");
        }
        return Value{std::pow(p, q)};
    }
    if (op == "+") {
        if (std::holds_alternative<std::string>(a.value) &&
            std::holds_alternative<std::string>(b.value)) {
            return Value{std::get<std::string>(a.value) + std::get<std::string>(b.value)};
        }
        if (std::holds_alternative<PythonBytes>(a.value) &&
            std::holds_alternative<PythonBytes>(b.value)) {
            return Value{PythonBytes{std::get<PythonBytes>(a.value).bytes +
                                     std::get<PythonBytes>(b.value).bytes}};
        }
    }
    unsupportedOperands(op, a, b);
}

Value negated(const std::string& op, const Value& value) {
    PythonInt integer = 0;
    if (asInt(value, integer)) {
        if (op == "+") {
            return Value{integer};
        }
        PythonInt result = 0;
        const bool overflow = __builtin_sub_overflow(PythonInt{0}, integer, &result);
        return checkedInt(overflow, result);
    }
    if (const auto* d = std::get_if<double>(&value.value)) {
        return Value{op == "-" ? -*d : *d};
    }
    raise("TypeError", "bad operand type for unary " + op + ": '" + typeName(value) + "'");
}

Value item(const Value& container, const Value& index) {
    PythonInt position = 0;
    if (!asInt(index, position)) {
        raise("TypeError",
              typeName(container) + " indices must be integers or slices, not " + typeName(index));
    }
    if (isMessage(container)) {
        raise("TypeError", "'" + typeName(container) + "' object is not subscriptable");
    }
    const std::string type = typeName(container);
    if (type == "int" || type == "float" || type == "bool" || type == "NoneType") {
        raise("TypeError", "'" + type + "' object is not subscriptable");
    }
    const auto size = static_cast<PythonInt>(length(container));
    const PythonInt at = position < 0 ? position + size : position;
    if (at < 0 || at >= size) {
        if (type == "numpy.ndarray") {
            raise("IndexError", "index " + intText(position) +
                                    " is out of bounds for axis 0 with size " + intText(size));
        }
        const std::string what = type == "str"           ? "string index"
                                 : type == "tuple"       ? "tuple index"
                                 : type == "array.array" ? "array index"
                                 : type == "bytes"       ? "index"
                                                         : "list index";
        raise("IndexError", what + " out of range");
    }
    const auto offset = static_cast<std::size_t>(at);
    if (const auto* text = std::get_if<std::string>(&container.value)) {
        return Value{characters(*text)[offset]};
    }
    if (const auto* bytes = std::get_if<PythonBytes>(&container.value)) {
        return Value{PythonInt{static_cast<unsigned char>(bytes->bytes[offset])}};
    }
    if (const auto* tuple = std::get_if<PythonTuple>(&container.value)) {
        return tuple->items[offset];
    }
    return asView(container)->item(offset);
}

Value attribute(const Value& object, const std::string& name) {
    Value out;
    if (!pythonAttribute(object, name, out)) {
        raise("AttributeError",
              "'" + typeName(object) + "' object has no attribute '" + name + "'");
    }
    return out;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\n\r\f\v");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\n\r\f\v") - first + 1);
}

Value toInt(const Value& value) {
    PythonInt integer = 0;
    if (asInt(value, integer)) {
        return Value{integer};
    }
    if (const auto* d = std::get_if<double>(&value.value)) {
        if (std::isnan(*d)) {
            raise("ValueError", "cannot convert float NaN to integer");
        }
        if (std::isinf(*d)) {
            raise("OverflowError", "cannot convert float infinity to integer");
        }
        if (std::fabs(*d) >= 1.7e38) {
            raise("OverflowError", "the result is too large for --filter's integers");
        }
        return Value{static_cast<PythonInt>(std::trunc(*d))};
    }
    if (const auto* text = std::get_if<std::string>(&value.value)) {
        const std::string digits = trimmed(*text);
        const std::size_t start = digits.empty() || (digits[0] != '-' && digits[0] != '+') ? 0 : 1;
        PythonInt parsed = 0;
        bool valid = start < digits.size();
        for (std::size_t at = start; valid && at < digits.size(); ++at) {
            const char c = digits[at];
            // One underscore between two digits, as Python reads "1_000".
            if (c == '_' && at > start && at + 1 < digits.size() &&
                std::isdigit(static_cast<unsigned char>(digits[at - 1])) != 0) {
                continue;
            }
            valid = std::isdigit(static_cast<unsigned char>(c)) != 0 &&
                    !__builtin_mul_overflow(parsed, 10, &parsed) &&
                    !__builtin_add_overflow(parsed, c - '0', &parsed);
        }
        if (!valid) {
            raise("ValueError", "invalid literal for int() with base 10: " + pythonStrRepr(*text));
        }
        return Value{!digits.empty() && digits[0] == '-' ? -parsed : parsed};
    }
    raise("TypeError",
          "int() argument must be a string, a bytes-like object or a real number, "
          "not '" +
              typeName(value) + "'");
}

Value toFloat(const Value& value) {
    if (isNumber(value)) {
        return Value{asFloat(value)};
    }
    if (const auto* text = std::get_if<std::string>(&value.value)) {
        std::string word = trimmed(*text);
        std::string lower;
        for (const char c : word) {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        const std::string unsigned_ =
            lower.empty() || (lower[0] != '-' && lower[0] != '+') ? lower : lower.substr(1);
        const double sign = !lower.empty() && lower[0] == '-' ? -1.0 : 1.0;
        if (unsigned_ == "inf" || unsigned_ == "infinity") {
            return Value{sign * std::numeric_limits<double>::infinity()};
        }
        if (unsigned_ == "nan") {
            return Value{std::numeric_limits<double>::quiet_NaN()};
        }
        word.erase(std::remove(word.begin(), word.end(), '_'), word.end());
        char* end = nullptr;
        const double parsed = std::strtod(word.c_str(), &end);
        if (word.empty() || end != word.c_str() + word.size() ||
            lower.find_first_of("xpn") != std::string::npos) {
            raise("ValueError", "could not convert string to float: " + pythonStrRepr(*text));
        }
        return Value{parsed};
    }
    raise("TypeError",
          "float() argument must be a string or a real number, not '" + typeName(value) + "'");
}

Value toStr(const Value& value) {
    if (std::holds_alternative<PythonNone>(value.value)) {
        return Value{std::string("None")};
    }
    if (const auto* b = std::get_if<bool>(&value.value)) {
        return Value{std::string(*b ? "True" : "False")};
    }
    if (const auto* i = std::get_if<PythonInt>(&value.value)) {
        return Value{intText(*i)};
    }
    if (const auto* d = std::get_if<double>(&value.value)) {
        return Value{pythonFloatRepr(*d)};
    }
    if (std::holds_alternative<std::string>(value.value)) {
        return value;
    }
    raise("TypeError",
          "--filter supports str() of numbers, strings, booleans and None only, not '" +
              typeName(value) + "'");
}

// min() and max(): of one iterable argument, or of several arguments.
Value extreme(const std::string& name, const std::vector<Value>& arguments) {
    std::vector<Value> items;
    if (arguments.size() == 1) {
        forEachItem(arguments[0], [&](const Value& item) { items.push_back(item); });
        if (items.empty()) {
            raise("ValueError", name + "() arg is an empty sequence");
        }
    } else {
        items = arguments;
    }
    Value best = items.front();
    for (std::size_t i = 1; i < items.size(); ++i) {
        if (ordered(name == "min" ? "<" : ">", items[i], best)) {
            best = items[i];
        }
    }
    return best;
}

Value callBuiltin(const std::string& name, const std::vector<Value>& arguments) {
    const auto expect = [&](std::size_t least, std::size_t most) {
        if (arguments.size() < least || arguments.size() > most) {
            raise("TypeError",
                  name + "() takes " +
                      (least == most ? "exactly " + std::to_string(least)
                                     : std::to_string(least) + " to " + std::to_string(most)) +
                      " argument(s) (" + std::to_string(arguments.size()) + " given)");
        }
    };
    if (name == "len") {
        expect(1, 1);
        return Value{static_cast<PythonInt>(length(arguments[0]))};
    }
    if (name == "abs") {
        expect(1, 1);
        PythonInt integer = 0;
        if (asInt(arguments[0], integer)) {
            return integer < 0 ? negated("-", Value{integer}) : Value{integer};
        }
        if (const auto* d = std::get_if<double>(&arguments[0].value)) {
            return Value{std::fabs(*d)};
        }
        raise("TypeError", "bad operand type for abs(): '" + typeName(arguments[0]) + "'");
    }
    if (name == "min" || name == "max") {
        expect(1, std::numeric_limits<std::size_t>::max());
        return extreme(name, arguments);
    }
    if (name == "sum") {
        expect(1, 2);
        Value total = arguments.size() == 2 ? arguments[1] : Value{PythonInt{0}};
        if (std::holds_alternative<std::string>(total.value)) {
            raise("TypeError", "sum() can't sum strings [use ''.join(seq) instead]");
        }
        forEachItem(arguments[0], [&](const Value& item) { total = arithmetic("+", total, item); });
        return total;
    }
    if (name == "any" || name == "all") {
        expect(1, 1);
        const bool any = name == "any";
        bool result = !any;
        forEachItem(arguments[0], [&](const Value& item) {
            if (truth(item) == any) {
                result = any;
            }
        });
        return Value{result};
    }
    if (name == "bool") {
        expect(0, 1);
        return Value{!arguments.empty() && truth(arguments[0])};
    }
    expect(0, 1);
    if (name == "int") {
        return arguments.empty() ? Value{PythonInt{0}} : toInt(arguments[0]);
    }
    if (name == "float") {
        return arguments.empty() ? Value{0.0} : toFloat(arguments[0]);
    }
    return arguments.empty() ? Value{std::string()} : toStr(arguments[0]);
}

Value callMethod(const std::string& name, const Value& object,
                 const std::vector<Value>& arguments) {
    const auto* text = std::get_if<std::string>(&object.value);
    if (text == nullptr) {
        raise("AttributeError",
              "'" + typeName(object) + "' object has no attribute '" + name + "'");
    }
    if (arguments.size() != 1) {
        raise("TypeError", name + "() takes exactly one argument in --filter (" +
                               std::to_string(arguments.size()) + " given)");
    }
    std::vector<std::string> candidates;
    if (const auto* one = std::get_if<std::string>(&arguments[0].value)) {
        candidates.push_back(*one);
    } else if (const auto* tuple = std::get_if<PythonTuple>(&arguments[0].value);
               tuple != nullptr && !tuple->list) {
        for (const Value& item : tuple->items) {
            const auto* candidate = std::get_if<std::string>(&item.value);
            if (candidate == nullptr) {
                raise("TypeError",
                      "tuple for " + name + " must only contain str, not " + typeName(item));
            }
            candidates.push_back(*candidate);
        }
    } else {
        raise("TypeError",
              name + " first arg must be str or a tuple of str, not " + typeName(arguments[0]));
    }
    for (const std::string& candidate : candidates) {
        const bool at = candidate.size() <= text->size() &&
                        (name == "startswith" ? text->compare(0, candidate.size(), candidate) == 0
                                              : text->compare(text->size() - candidate.size(),
                                                              candidate.size(), candidate) == 0);
        if (at) {
            return Value{true};
        }
    }
    return Value{false};
}

}  // namespace

const std::vector<std::string>& pythonBuiltins() {
    static const std::vector<std::string> names = {"len", "abs", "min",   "max", "sum", "any",
                                                   "all", "int", "float", "str", "bool"};
    return names;
}

bool isPythonBuiltin(const std::string& name) {
    return std::find(pythonBuiltins().begin(), pythonBuiltins().end(), name) !=
           pythonBuiltins().end();
}

bool isPythonMethod(const std::string& name) {
    return name == "startswith" || name == "endswith";
}

bool pythonTruth(const PythonValue& value) {
    return truth(value);
}

bool pythonCompare(const std::string& op, const PythonValue& a, const PythonValue& b) {
    return compare(op, a, b);
}

PythonValue pythonArithmetic(const std::string& op, const PythonValue& a, const PythonValue& b) {
    return arithmetic(op, a, b);
}

PythonValue pythonUnary(const std::string& op, const PythonValue& value) {
    return negated(op, value);
}

PythonValue pythonItem(const PythonValue& container, const PythonValue& index) {
    return item(container, index);
}

PythonValue pythonGetAttribute(const PythonValue& object, const std::string& name) {
    return attribute(object, name);
}

PythonValue pythonCallBuiltin(const std::string& name, const std::vector<PythonValue>& arguments) {
    return callBuiltin(name, arguments);
}

PythonValue pythonCallMethod(const std::string& name, const PythonValue& object,
                             const std::vector<PythonValue>& arguments) {
    return callMethod(name, object, arguments);
}

}  // namespace qorCli
