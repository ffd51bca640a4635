#include "qorROS2/typesupport/RecordView.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "KindRanges.h"
#include "qorROS2/typesupport/Yaml.h"

namespace qorROS2::typesupport {

namespace {

bool isOctetKind(FieldKind kind) {
    return kind == FieldKind::byte || kind == FieldKind::character || kind == FieldKind::int8 ||
           kind == FieldKind::uint8;
}

template <typename Number>
Scalar readNumber(const void* element) {
    Number value;
    std::memcpy(&value, element, sizeof value);
    if constexpr (std::is_floating_point_v<Number>) {
        return Scalar{static_cast<double>(value)};
    } else if constexpr (std::is_signed_v<Number>) {
        return Scalar{static_cast<std::int64_t>(value)};
    } else {
        return Scalar{static_cast<std::uint64_t>(value)};
    }
}

template <typename Number>
void writeNumber(void* element, Number value) {
    std::memcpy(element, &value, sizeof value);
}

}  // namespace

bool isScalarKind(FieldKind kind) noexcept {
    return kind != FieldKind::string && kind != FieldKind::record;
}

const char* kindName(FieldKind kind) noexcept {
    switch (kind) {
        case FieldKind::boolean:
            return "bool";
        case FieldKind::byte:
            return "byte";
        case FieldKind::character:
            return "char";
        case FieldKind::int8:
            return "int8";
        case FieldKind::uint8:
            return "uint8";
        case FieldKind::int16:
            return "int16";
        case FieldKind::uint16:
            return "uint16";
        case FieldKind::int32:
            return "int32";
        case FieldKind::uint32:
            return "uint32";
        case FieldKind::int64:
            return "int64";
        case FieldKind::uint64:
            return "uint64";
        case FieldKind::float32:
            return "float32";
        case FieldKind::float64:
            return "float64";
        case FieldKind::string:
            return "string";
        case FieldKind::record:
            return "record";
    }
    return "record";
}

std::size_t ConstFieldView::size() const {
    return m_description->access.size(m_member);
}

void ConstFieldView::checkIndex(std::size_t index) const {
    const std::size_t count = size();
    if (index >= count) {
        throw TypeSupportError("field '" + name() + "' has " + std::to_string(count) + " element" +
                               (count == 1 ? "" : "s") + ", no element " + std::to_string(index));
    }
}

void ConstFieldView::checkKind(bool wanted, const char* what) const {
    if (!wanted) {
        throw TypeSupportError("field '" + name() + "' is a " + m_description->typeText() +
                               ", not " + what);
    }
}

Scalar ConstFieldView::scalar(std::size_t index) const {
    checkKind(isScalarKind(kind()), "a bool or a number");
    checkIndex(index);
    if (kind() == FieldKind::boolean) {
        return Scalar{m_description->access.getBoolean(m_member, index)};
    }
    const void* element = m_description->access.element(m_member, index);
    switch (kind()) {
        case FieldKind::int8:
            return readNumber<std::int8_t>(element);
        case FieldKind::int16:
            return readNumber<std::int16_t>(element);
        case FieldKind::int32:
            return readNumber<std::int32_t>(element);
        case FieldKind::int64:
            return readNumber<std::int64_t>(element);
        case FieldKind::byte:
        case FieldKind::character:
        case FieldKind::uint8:
            return readNumber<std::uint8_t>(element);
        case FieldKind::uint16:
            return readNumber<std::uint16_t>(element);
        case FieldKind::uint32:
            return readNumber<std::uint32_t>(element);
        case FieldKind::uint64:
            return readNumber<std::uint64_t>(element);
        case FieldKind::float32:
            return readNumber<float>(element);
        default:
            return readNumber<double>(element);
    }
}

const std::string& ConstFieldView::string(std::size_t index) const {
    checkKind(kind() == FieldKind::string, "a string");
    checkIndex(index);
    return *static_cast<const std::string*>(m_description->access.element(m_member, index));
}

ConstRecordView ConstFieldView::record(std::size_t index) const {
    checkKind(kind() == FieldKind::record, "a record");
    checkIndex(index);
    return ConstRecordView(*m_description->record, m_description->access.element(m_member, index));
}

const std::uint8_t* ConstFieldView::octets() const {
    checkKind(isOctetKind(kind()) && container() != Container::single,
              "an array or sequence of 8-bit elements");
    return size() == 0
               ? nullptr
               : static_cast<const std::uint8_t*>(m_description->access.element(m_member, 0));
}

void FieldView::resize(std::size_t newSize) const {
    if (container() == Container::sequence ||
        (container() == Container::boundedSequence && newSize <= m_description->arrayLength)) {
        m_description->access.resize(member(), newSize);
        return;
    }
    // An array or a single element keeps its size, which a caller may restate.
    if (newSize == size()) {
        return;
    }
    throw TypeSupportError("field '" + name() + "' is a " + m_description->typeText() +
                           ": it cannot hold " + std::to_string(newSize) + " element" +
                           (newSize == 1 ? "" : "s"));
}

void FieldView::setScalar(std::size_t index, const Scalar& value) const {
    checkKind(isScalarKind(kind()), "a bool or a number");
    checkIndex(index);
    const auto refuse = [&](const char* why) {
        throw TypeSupportError("field '" + name() + "' (" + kindName(kind()) + ") cannot take " +
                               yamlScalar(value) + ": " + why);
    };
    if (kind() == FieldKind::boolean) {
        if (!std::holds_alternative<bool>(value)) {
            refuse("it takes true or false");
        }
        m_description->access.setBoolean(member(), index, std::get<bool>(value));
        return;
    }
    if (std::holds_alternative<bool>(value)) {
        refuse("it takes a number");
    }
    void* element = const_cast<void*>(m_description->access.element(m_member, index));
    if (kind() == FieldKind::float32 || kind() == FieldKind::float64) {
        double number = 0.0;
        if (const auto* s = std::get_if<std::int64_t>(&value)) {
            number = static_cast<double>(*s);
        } else if (const auto* u = std::get_if<std::uint64_t>(&value)) {
            number = static_cast<double>(*u);
        } else {
            number = std::get<double>(value);
        }
        if (kind() == FieldKind::float64) {
            writeNumber(element, number);
            return;
        }
        if (std::isfinite(number) &&
            std::fabs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
            refuse("it is out of float32's range");
        }
        writeNumber(element, static_cast<float>(number));
        return;
    }
    if (std::holds_alternative<double>(value)) {
        refuse("it takes an integer");
    }
    const detail::IntegerRange range = detail::rangeOf(kind());
    bool fits = false;
    if (const auto* s = std::get_if<std::int64_t>(&value)) {
        fits = *s >= range.lowest && (*s < 0 || static_cast<std::uint64_t>(*s) <= range.highest);
    } else {
        fits = std::get<std::uint64_t>(value) <= range.highest;
    }
    if (!fits) {
        refuse("it is out of range");
    }
    // Within range, the two's-complement bits of either alternative are the value's.
    const std::uint64_t bits = std::holds_alternative<std::int64_t>(value)
                                   ? static_cast<std::uint64_t>(std::get<std::int64_t>(value))
                                   : std::get<std::uint64_t>(value);
    switch (kind()) {
        case FieldKind::int8:
        case FieldKind::byte:
        case FieldKind::character:
        case FieldKind::uint8:
            writeNumber(element, static_cast<std::uint8_t>(bits));
            return;
        case FieldKind::int16:
        case FieldKind::uint16:
            writeNumber(element, static_cast<std::uint16_t>(bits));
            return;
        case FieldKind::int32:
        case FieldKind::uint32:
            writeNumber(element, static_cast<std::uint32_t>(bits));
            return;
        default:
            writeNumber(element, bits);
            return;
    }
}

void FieldView::setString(std::size_t index, std::string value) const {
    checkKind(kind() == FieldKind::string, "a string");
    checkIndex(index);
    *static_cast<std::string*>(const_cast<void*>(m_description->access.element(m_member, index))) =
        std::move(value);
}

RecordView FieldView::record(std::size_t index) const {
    const ConstRecordView view = ConstFieldView::record(index);
    return RecordView(view.description(), const_cast<void*>(view.data()));
}

std::uint8_t* FieldView::octets() const {
    return const_cast<std::uint8_t*>(ConstFieldView::octets());
}

ConstFieldView ConstRecordView::field(std::size_t index) const {
    const auto& fields = m_description->fields();
    if (index >= fields.size()) {
        throw TypeSupportError(m_description->rosName() + " has " + std::to_string(fields.size()) +
                               " fields, no field " + std::to_string(index));
    }
    return ConstFieldView(fields[index], fields[index].access.member(m_record));
}

std::size_t ConstRecordView::indexOf(std::string_view name) const {
    const auto& fields = m_description->fields();
    for (std::size_t index = 0; index < fields.size(); ++index) {
        if (fields[index].name == name) {
            return index;
        }
    }
    return fields.size();
}

ConstFieldView ConstRecordView::field(std::string_view name) const {
    const std::size_t index = indexOf(name);
    if (index == fieldCount()) {
        throw TypeSupportError(m_description->rosName() + " has no field '" + std::string(name) +
                               "'");
    }
    return field(index);
}

std::optional<ConstFieldView> ConstRecordView::findField(std::string_view name) const {
    const std::size_t index = indexOf(name);
    if (index == fieldCount()) {
        return std::nullopt;
    }
    return field(index);
}

FieldView RecordView::field(std::size_t index) const {
    const ConstFieldView view = ConstRecordView::field(index);
    return FieldView(view.description(),
                     const_cast<void*>(view.description().access.member(m_record)));
}

FieldView RecordView::field(std::string_view name) const {
    const ConstFieldView view = ConstRecordView::field(name);
    return FieldView(view.description(),
                     const_cast<void*>(view.description().access.member(m_record)));
}

std::optional<FieldView> RecordView::findField(std::string_view name) const {
    const std::size_t index = indexOf(name);
    if (index == fieldCount()) {
        return std::nullopt;
    }
    return field(index);
}

ConstRecordView viewOf(const Sample& sample) {
    if (sample.data() == nullptr) {
        throw TypeSupportError("a moved-from sample of " + sample.type().rosName() +
                               " holds no record");
    }
    return ConstRecordView(sample.type().description(), sample.data());
}

RecordView viewOf(Sample& sample) {
    const ConstRecordView view = viewOf(static_cast<const Sample&>(sample));
    return RecordView(view.description(), sample.data());
}

}  // namespace qorROS2::typesupport
