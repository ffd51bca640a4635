#include "text/PythonValueText.h"

#include <cstdint>
#include <stdexcept>
#include <variant>
#include <vector>

#include "text/NumpyText.h"
#include "text/PythonText.h"

namespace qorCli {

using qorROS2::FieldKind;
using qorROS2::typesupport::ConstFieldView;
using qorROS2::typesupport::ConstRecordView;
using qorROS2::typesupport::Container;

namespace {

// Python's module path of a message type: "sensor_msgs/msg/JointState" gives
// "sensor_msgs.msg.JointState".
std::string pythonModulePath(const std::string& rosName) {
    std::string path = rosName;
    for (char& character : path) {
        character = character == '/' ? '.' : character;
    }
    return path;
}

// The float64 elements of a fixed-size array, which Python holds in a numpy array.
std::vector<double> numpyElements(const ConstFieldView& field) {
    if (field.kind() != FieldKind::float64) {
        // Every fixed-size array of the known messages holds float64; numpy prints other
        // element kinds in its own ways.
        throw std::runtime_error("field '" + field.name() + "': no numpy text for an array of " +
                                 qorROS2::typesupport::kindName(field.kind()));
    }
    std::vector<double> values(field.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = std::get<double>(field.scalar(i));
    }
    return values;
}

// The items of a sequence as its list shows them, comma-separated.
std::string sequenceItems(const ConstFieldView& field) {
    std::string items;
    for (std::size_t i = 0; i < field.size(); ++i) {
        items += (i > 0 ? ", " : "") + pythonElementRepr(field, i);
    }
    return items;
}

}  // namespace

char pythonArrayTypeCode(FieldKind kind) {
    switch (kind) {
        case FieldKind::float64:
            return 'd';
        case FieldKind::float32:
            return 'f';
        case FieldKind::character:  // ROS 2 maps a definition's char to uint8
        case FieldKind::uint8:
            return 'B';
        case FieldKind::int8:
            return 'b';
        case FieldKind::int16:
            return 'h';
        case FieldKind::uint16:
            return 'H';
        case FieldKind::int32:
            return 'i';
        case FieldKind::uint32:
            return 'I';
        case FieldKind::int64:
            return 'q';
        case FieldKind::uint64:
            return 'Q';
        case FieldKind::boolean:
        case FieldKind::byte:
        case FieldKind::string:
        case FieldKind::record:
            break;
    }
    return 0;
}

std::string pythonMessageRepr(const ConstRecordView& message) {
    std::string out = pythonModulePath(message.description().rosName()) + "(";
    for (std::size_t index = 0; index < message.fieldCount(); ++index) {
        const ConstFieldView field = message.field(index);
        out += (index > 0 ? ", " : "") + field.name() + "=";
        // A sequence kept in an array.array shows only its list of values.
        const bool sequence = field.container() == Container::sequence ||
                              field.container() == Container::boundedSequence;
        out += sequence ? "[" + sequenceItems(field) + "]" : pythonRepr(field);
    }
    return out + ")";
}

std::string pythonRepr(const ConstFieldView& field) {
    switch (field.container()) {
        case Container::single:
            return pythonElementRepr(field, 0);
        case Container::fixedArray:
            return numpyArrayRepr(numpyElements(field));
        case Container::sequence:
        case Container::boundedSequence:
            break;
    }
    const char code = pythonArrayTypeCode(field.kind());
    if (code == 0) {
        return "[" + sequenceItems(field) + "]";
    }
    const std::string head = std::string("array('") + code + "'";
    return field.size() == 0 ? head + ")" : head + ", [" + sequenceItems(field) + "])";
}

std::string pythonElementRepr(const ConstFieldView& field, std::size_t index) {
    switch (field.kind()) {
        case FieldKind::record:
            return pythonMessageRepr(field.record(index));
        case FieldKind::string:
            return pythonStrRepr(field.string(index));
        case FieldKind::byte:
            return pythonByteRepr(
                static_cast<std::uint8_t>(std::get<std::uint64_t>(field.scalar(index))));
        default:
            break;
    }
    // A char reads as its code, as ROS 2 maps a definition's char to uint8.
    return std::visit(
        [](auto value) -> std::string {
            using Value = decltype(value);
            if constexpr (std::is_same_v<Value, bool>) {
                return value ? "True" : "False";
            } else if constexpr (std::is_same_v<Value, double>) {
                return pythonFloatRepr(value);
            } else {
                return std::to_string(value);
            }
        },
        field.scalar(index));
}

std::string pythonStr(const ConstFieldView& field) {
    if (field.container() == Container::single && field.kind() == FieldKind::string) {
        return field.string(0);
    }
    if (field.container() == Container::fixedArray) {
        return numpyArrayStr(numpyElements(field));
    }
    return pythonRepr(field);
}

std::string pythonTypeName(const ConstFieldView& field) {
    switch (field.container()) {
        case Container::fixedArray:
            return "numpy.ndarray";
        case Container::sequence:
        case Container::boundedSequence:
            return pythonArrayTypeCode(field.kind()) != 0 ? "array.array" : "list";
        case Container::single:
            break;
    }
    switch (field.kind()) {
        case FieldKind::record:
            return pythonTypeName(field.record(0));
        case FieldKind::string:
            return "str";
        case FieldKind::boolean:
            return "bool";
        case FieldKind::float32:
        case FieldKind::float64:
            return "float";
        case FieldKind::byte:
            return "bytes";
        default:
            return "int";
    }
}

std::string pythonTypeName(const ConstRecordView& message) {
    const std::string& rosName = message.description().rosName();
    return rosName.substr(rosName.rfind('/') + 1);
}

}  // namespace qorCli
