#pragma once

// Builds the runtime description of a record type from its one field list, and keeps every
// description (standalone messages and records only nested in others) once, by ROS name.

#include <array>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2::typesupport::detail {

/// The constants of a type, from the table of constants, placed among `fields`.
std::vector<ConstantDescription> constantsOf(const std::string& rosName,
                                             const std::vector<FieldDescription>& fields);

template <typename T>
struct ElementOf {
    using type = T;
};
template <typename T, typename A>
struct ElementOf<std::vector<T, A>> {
    using type = T;
};
template <typename T, std::size_t N>
struct ElementOf<std::array<T, N>> {
    using type = T;
};

/// The kind of a member's element type; `rosElement` tells byte from uint8.
template <typename Element>
constexpr FieldKind kindOf(bool isByte) {
    if constexpr (isMessageRecord<Element>) {
        return FieldKind::record;
    } else if constexpr (std::is_same_v<Element, bool>) {
        return FieldKind::boolean;
    } else if constexpr (std::is_same_v<Element, char>) {
        return FieldKind::character;
    } else if constexpr (std::is_same_v<Element, std::string>) {
        return FieldKind::string;
    } else if constexpr (std::is_same_v<Element, float>) {
        return FieldKind::float32;
    } else if constexpr (std::is_same_v<Element, double>) {
        return FieldKind::float64;
    } else {
        static_assert(std::is_integral_v<Element> && sizeof(Element) <= 8, "no ROS 2 kind");
        constexpr bool isSigned = std::is_signed_v<Element>;
        switch (sizeof(Element)) {
            case 1:
                return isSigned ? FieldKind::int8 : (isByte ? FieldKind::byte : FieldKind::uint8);
            case 2:
                return isSigned ? FieldKind::int16 : FieldKind::uint16;
            case 4:
                return isSigned ? FieldKind::int32 : FieldKind::uint32;
            default:
                return isSigned ? FieldKind::int64 : FieldKind::uint64;
        }
    }
}

/// Every record description, each made once.
class RecordCatalogue {
  public:
    /// The description of `Record`, made with those of its nested records the first time.
    template <typename Record>
    const RecordDescription& describe() {
        const std::string name = rosTypeName<Record>();
        const auto found = m_records.find(name);
        if (found != m_records.end()) {
            return *found->second;
        }
        std::vector<FieldDescription> fields;
        forEachFieldOf<Record>([&](const auto& field) { addField(fields, field); });
        std::vector<ConstantDescription> constants = constantsOf(name, fields);
        auto record =
            std::make_unique<RecordDescription>(name, std::move(fields), std::move(constants));
        return *m_records.emplace(name, std::move(record)).first->second;
    }

  private:
    template <typename Record, typename Member>
    void addField(std::vector<FieldDescription>& fields, const Field<Record, Member>& field) {
        // ROS 2's std_msgs/Empty has no field; its record needs this member only to exist.
        if (std::string(field.name) == "structure_needs_at_least_one_member") {
            return;
        }
        using Element = typename ElementOf<Member>::type;
        FieldDescription out;
        out.name = field.name;
        out.kind =
            kindOf<Element>(field.rosElement != nullptr && std::string(field.rosElement) == "byte");
        if constexpr (isSequence<Member>) {
            out.container = Container::sequence;
        } else if constexpr (isFixedArray<Member>) {
            out.container = Container::fixedArray;
            out.arrayLength = std::tuple_size_v<Member>;
        }
        if constexpr (isMessageRecord<Element>) {
            out.record = &describe<Element>();
        }
        fields.push_back(std::move(out));
    }

    std::map<std::string, std::unique_ptr<RecordDescription>> m_records;
};

/// The texts of a description.
std::string definitionTextOf(const RecordDescription& record);
std::string schemaTextOf(const RecordDescription& record);
/// The canonical JSON that the type hash is the SHA-256 of.
std::string typeHashJsonOf(const RecordDescription& record);
std::string typeHashOf(const RecordDescription& record);

}  // namespace qorROS2::typesupport::detail
