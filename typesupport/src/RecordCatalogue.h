#pragma once

// Builds the runtime description of a record type from its one field list, and keeps every
// description (standalone messages and records only nested in others) once, by ROS name.

#include <array>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2::typesupport::detail {

/// The constants of a type, from the table of constants, placed among `fields`.
std::vector<ConstantDescription> constantsOf(const std::string& rosName,
                                             const std::vector<FieldDescription>& fields);

/// How the field at `Index` of `Record`'s list is reached, for RecordView.
template <typename Record, std::size_t Index>
FieldAccess fieldAccessOf() {
    using Member = typename std::tuple_element_t<
        Index, std::decay_t<decltype(MessageDescription<Record>::fields)>>::MemberType;
    using Element = typename qorROS2::detail::ElementOf<Member>::type;
    FieldAccess access;
    access.member = [](const void* record) -> const void* {
        return &(static_cast<const Record*>(record)
                     ->*(std::get<Index>(MessageDescription<Record>::fields).member));
    };
    if constexpr (isSequence<Member> || isFixedArray<Member>) {
        access.size = [](const void* member) { return static_cast<const Member*>(member)->size(); };
    } else {
        access.size = [](const void*) { return std::size_t{1}; };
    }
    if constexpr (isSequence<Member>) {
        access.resize = [](void* member, std::size_t size) {
            static_cast<Member*>(member)->resize(size);
        };
    }
    if constexpr (std::is_same_v<Element, bool>) {
        access.getBoolean = [](const void* member, std::size_t index) -> bool {
            if constexpr (std::is_same_v<Member, bool>) {
                return *static_cast<const bool*>(member);
            } else {
                return (*static_cast<const Member*>(member))[index];
            }
        };
        access.setBoolean = [](void* member, std::size_t index, bool value) {
            if constexpr (std::is_same_v<Member, bool>) {
                *static_cast<bool*>(member) = value;
            } else {
                (*static_cast<Member*>(member))[index] = value;
            }
        };
    } else {
        access.element = [](const void* member, std::size_t index) -> const void* {
            if constexpr (isSequence<Member> || isFixedArray<Member>) {
                return &(*static_cast<const Member*>(member))[index];
            } else {
                return member;
            }
        };
    }
    return access;
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
        addFields<Record>(fields, std::make_index_sequence<fieldCount<Record>>{});
        std::vector<ConstantDescription> constants = constantsOf(name, fields);
        auto record =
            std::make_unique<RecordDescription>(name, std::move(fields), std::move(constants));
        return *m_records.emplace(name, std::move(record)).first->second;
    }

    /// The description named `rosName`, standalone or nested only; nullptr for any other name.
    const RecordDescription* find(const std::string& rosName) const {
        const auto found = m_records.find(rosName);
        return found != m_records.end() ? found->second.get() : nullptr;
    }

  private:
    template <typename Record, std::size_t... Index>
    void addFields(std::vector<FieldDescription>& fields, std::index_sequence<Index...>) {
        (addField<Record, Index>(fields), ...);
    }

    template <typename Record, std::size_t Index>
    void addField(std::vector<FieldDescription>& fields) {
        const auto& field = std::get<Index>(MessageDescription<Record>::fields);
        using Member = typename std::decay_t<decltype(field)>::MemberType;
        using Element = typename std::decay_t<decltype(field)>::ElementType;
        // ROS 2's std_msgs/Empty has no field; its record needs this member only to exist.
        if (std::string(field.name) == "structure_needs_at_least_one_member") {
            return;
        }
        FieldDescription out;
        out.name = field.name;
        out.kind = field.elementKind;
        if constexpr (isSequence<Member>) {
            out.container = field.bound != 0 ? Container::boundedSequence : Container::sequence;
            out.arrayLength = field.bound;
        } else if constexpr (isFixedArray<Member>) {
            out.container = Container::fixedArray;
            out.arrayLength = std::tuple_size_v<Member>;
        }
        if constexpr (isMessageRecord<Element>) {
            out.record = &describe<Element>();
        }
        if (field.defaultValue != nullptr) {
            out.defaultValue = field.defaultValue;
        }
        out.access = fieldAccessOf<Record, Index>();
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
