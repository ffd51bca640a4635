#include "text/EchoValues.h"

namespace qorCli {

using qorROS2::FieldKind;

std::string definitionTypeName(FieldKind kind, const std::string& recordName) {
    switch (kind) {
        case FieldKind::record:
            return recordName;
        case FieldKind::float64:
            return "double";
        case FieldKind::float32:
            return "float";
        case FieldKind::boolean:
            return "boolean";
        case FieldKind::byte:
            return "octet";
        case FieldKind::character:
            return "uint8";  // ROS 2 maps a definition's char to uint8
        default:
            return qorROS2::typesupport::kindName(kind);
    }
}

std::string arraySummary(const qorROS2::typesupport::ConstFieldView& field) {
    const qorROS2::typesupport::RecordDescription* record = field.description().record;
    return detail::arraySummaryText(
        definitionTypeName(field.kind(), record != nullptr ? record->rosName() : std::string()),
        field.container() == qorROS2::typesupport::Container::fixedArray, field.size());
}

namespace detail {

std::string arraySummaryText(const std::string& element, bool fixedArray, std::size_t size) {
    if (fixedArray) {
        return "<array type: " + element + "[" + std::to_string(size) + "]>";
    }
    return "<sequence type: " + element + ", length: " + std::to_string(size) + ">";
}

}  // namespace detail

}  // namespace qorCli
