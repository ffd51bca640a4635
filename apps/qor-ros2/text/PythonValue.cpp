#include "text/PythonValue.h"

#include "text/PythonValueText.h"

namespace qorCli {

using qorROS2::FieldKind;
using qorROS2::typesupport::ConstFieldView;
using qorROS2::typesupport::ConstRecordView;
using qorROS2::typesupport::Container;

std::string PythonView::typeName() const {
    if (const auto* array = std::get_if<ConstFieldView>(&m_target)) {
        return pythonTypeName(*array);
    }
    return pythonTypeName(std::get<ConstRecordView>(m_target));
}

bool PythonView::attribute(const std::string& name, PythonValue& out) const {
    const auto* message = std::get_if<ConstRecordView>(&m_target);
    if (message == nullptr) {
        return false;
    }
    const std::optional<ConstFieldView> field = message->findField(name);
    if (!field) {
        return false;
    }
    out = pythonValueOf(*field);
    return true;
}

std::size_t PythonView::length() const {
    return std::get<ConstFieldView>(m_target).size();
}

PythonValue PythonView::item(std::size_t index) const {
    return pythonElementOf(std::get<ConstFieldView>(m_target), index);
}

PythonValue pythonValueOf(const ConstRecordView& message) {
    return PythonValue{PythonView(message)};
}

PythonValue pythonValueOf(const ConstFieldView& field) {
    if (field.container() != Container::single) {
        return PythonValue{PythonView(field)};
    }
    return pythonElementOf(field, 0);
}

PythonValue pythonElementOf(const ConstFieldView& field, std::size_t index) {
    switch (field.kind()) {
        case FieldKind::record:
            return PythonValue{PythonView(field.record(index))};
        case FieldKind::string:
            return PythonValue{field.string(index)};
        case FieldKind::byte:
            return PythonValue{PythonBytes{
                std::string(1, static_cast<char>(std::get<std::uint64_t>(field.scalar(index))))}};
        default:
            break;
    }
    // A char is an int, as ROS 2 maps a definition's char to uint8.
    return std::visit(
        [](auto value) -> PythonValue {
            using Value = decltype(value);
            if constexpr (std::is_same_v<Value, bool> || std::is_same_v<Value, double>) {
                return PythonValue{value};
            } else {
                return PythonValue{PythonInt{value}};
            }
        },
        field.scalar(index));
}

}  // namespace qorCli
