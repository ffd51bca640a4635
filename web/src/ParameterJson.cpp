#include "ParameterJson.h"

#include <array>
#include <limits>
#include <stdexcept>

namespace qorROS2::web::detail {
namespace {

using nlohmann::json;

constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// A name in an error, capped so that a client cannot make the reply as long as its message.
std::string quoted(const std::string& name) {
    return "\"" + name.substr(0, 64) + "\"";
}

std::invalid_argument valueError(const std::string& op, const std::string& name,
                                 const std::string& what) {
    return std::invalid_argument(op + ": parameter " + quoted(name) + " " + what);
}

std::int64_t integerOf(const json& number, const std::string& op, const std::string& name) {
    if (number.is_number_unsigned() &&
        number.get<std::uint64_t>() >
            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        throw valueError(op, name, "has an integer beyond the 64-bit range");
    }
    return number.get<std::int64_t>();
}

std::vector<double> doublesOf(const json& array, const std::string& op, const std::string& name) {
    std::vector<double> values;
    for (const json& element : array) {
        if (!element.is_number()) {
            throw valueError(op, name, "of type float64_array must hold numbers only");
        }
        values.push_back(element.get<double>());
    }
    return values;
}

template <typename Element, typename Check>
std::vector<Element> arrayOf(const json& array, Check isElement, const std::string& op,
                             const std::string& name) {
    std::vector<Element> values;
    for (const json& element : array) {
        if (!isElement(element)) {
            throw valueError(op, name, "has an array that mixes kinds of values");
        }
        if constexpr (std::is_same_v<Element, std::int64_t>) {
            values.push_back(integerOf(element, op, name));
        } else {
            values.push_back(element.get<Element>());
        }
    }
    return values;
}

// An array without a type hint, whose first element says what the others must be.
ParameterValue untypedArray(const json& array, const std::string& op, const std::string& name) {
    if (array.empty()) {
        return std::vector<std::int64_t>{};
    }
    const json& first = array.front();
    if (first.is_boolean()) {
        return arrayOf<bool>(
            array, [](const json& e) { return e.is_boolean(); }, op, name);
    }
    if (first.is_string()) {
        return arrayOf<std::string>(
            array, [](const json& e) { return e.is_string(); }, op, name);
    }
    if (first.is_number()) {
        bool fractional = false;
        for (const json& element : array) {
            if (!element.is_number()) {
                throw valueError(op, name, "has an array that mixes kinds of values");
            }
            fractional = fractional || element.is_number_float();
        }
        if (fractional) {
            return doublesOf(array, op, name);
        }
        return arrayOf<std::int64_t>(
            array, [](const json& e) { return e.is_number_integer(); }, op, name);
    }
    throw valueError(op, name, "has an array of values that are no parameter values");
}

ParameterValue typedValue(const std::string& type, const json& value, const std::string& op,
                          const std::string& name) {
    if (type == "byte_array") {
        std::optional<std::vector<std::uint8_t>> bytes;
        if (value.is_string()) {
            bytes = decodeBase64(value.get<std::string>());
        }
        if (!bytes) {
            throw valueError(op, name, "of type byte_array needs a base64 string");
        }
        return *bytes;
    }
    if (type == "float64") {
        if (!value.is_number()) {
            throw valueError(op, name, "of type float64 needs a number");
        }
        return value.get<double>();
    }
    if (type == "float64_array") {
        if (!value.is_array()) {
            throw valueError(op, name, "of type float64_array needs an array");
        }
        return doublesOf(value, op, name);
    }
    throw valueError(
        op, name,
        "has the type " + quoted(type) + "; the types are byte_array, float64 and float64_array");
}

ParameterValue valueFromJson(const json& value, const std::string& op, const std::string& name) {
    if (value.is_null()) {
        return std::monostate{};
    }
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    if (value.is_number_integer()) {
        return integerOf(value, op, name);
    }
    if (value.is_number_float()) {
        return value.get<double>();
    }
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_array()) {
        return untypedArray(value, op, name);
    }
    throw valueError(op, name, "has an object for a value; parameters hold no objects");
}

json valueToJson(const ParameterValue& value, json& entry) {
    return std::visit(
        [&entry](const auto& held) -> json {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>) {
                return nullptr;
            } else if constexpr (std::is_same_v<Held, double>) {
                entry["type"] = "float64";
                return held;
            } else if constexpr (std::is_same_v<Held, std::vector<double>>) {
                entry["type"] = "float64_array";
                return held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::uint8_t>>) {
                entry["type"] = "byte_array";
                return encodeBase64(held);
            } else {
                return held;
            }
        },
        value);
}

}  // namespace

std::string parameterNameFromJson(const json& name, const std::string& op) {
    if (!name.is_string() || name.get_ref<const std::string&>().empty()) {
        throw std::invalid_argument(op + ": a parameter name must be a non-empty string");
    }
    const std::string& text = name.get_ref<const std::string&>();
    if (text.size() > kMaxParameterNameBytes) {
        throw std::invalid_argument(op + ": a parameter name of " + std::to_string(text.size()) +
                                    " bytes is longer than " +
                                    std::to_string(kMaxParameterNameBytes));
    }
    return text;
}

Parameter parameterFromJson(const json& element, const std::string& op) {
    if (!element.is_object()) {
        throw std::invalid_argument(op + ": each parameter must be an object");
    }
    const auto name = element.find("name");
    if (name == element.end()) {
        throw std::invalid_argument(op + ": a parameter has no \"name\"");
    }
    Parameter parameter;
    parameter.name = parameterNameFromJson(*name, op);
    const auto value = element.find("value");
    const json unset;
    const json& given = value == element.end() ? unset : *value;
    const auto type = element.find("type");
    if (type == element.end() || type->is_null()) {
        parameter.value = valueFromJson(given, op, parameter.name);
    } else if (!type->is_string()) {
        throw valueError(op, parameter.name, "has a \"type\" that is not a string");
    } else {
        parameter.value = typedValue(type->get<std::string>(), given, op, parameter.name);
    }
    return parameter;
}

std::string parameterValuesJson(const std::vector<Parameter>& parameters,
                                const std::optional<std::string>& id) {
    json list = json::array();
    for (const Parameter& parameter : parameters) {
        json entry{{"name", parameter.name}};
        json value = valueToJson(parameter.value, entry);
        // A parameter that is not set has no value at all.
        if (!value.is_null()) {
            entry["value"] = std::move(value);
        }
        list.push_back(std::move(entry));
    }
    json message{{"op", "parameterValues"}, {"parameters", std::move(list)}};
    if (id) {
        message["id"] = *id;
    }
    return message.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string encodeBase64(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t left = bytes.size() - at;
        std::uint32_t group = static_cast<std::uint32_t>(bytes[at]) << 16;
        if (left > 1) {
            group |= static_cast<std::uint32_t>(bytes[at + 1]) << 8;
        }
        if (left > 2) {
            group |= bytes[at + 2];
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text.push_back(i <= left ? kBase64Alphabet[(group >> (18 - 6 * i)) & 0x3F] : '=');
        }
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> decodeBase64(const std::string& text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::array<int, 256> digits{};
    digits.fill(-1);
    for (int i = 0; i < 64; ++i) {
        digits[static_cast<unsigned char>(kBase64Alphabet[i])] = i;
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const bool last = at + 4 == text.size();
        std::size_t padding = 0;
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const char c = text[at + i];
            int digit = digits[static_cast<unsigned char>(c)];
            if (c == '=' && last && i >= 2 && (i == 3 || text[at + 3] == '=')) {
                ++padding;
                digit = 0;
            } else if (digit < 0 || padding > 0) {
                return std::nullopt;
            }
            group = (group << 6) | static_cast<std::uint32_t>(digit);
        }
        for (std::size_t i = 0; i < 3 - padding; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * i)));
        }
    }
    return bytes;
}

}  // namespace qorROS2::web::detail
