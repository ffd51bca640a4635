// The texts ROS 2 derives from a message definition: what `ros2 interface show` prints, the
// schema rosbag2 stores in MCAP files, and the type hash.

#include <openssl/evp.h>

#include <functional>
#include <set>

#include "RecordCatalogue.h"
#include "qorROS2/typesupport/RecordView.h"

namespace qorROS2::typesupport {

namespace {

// Calls `constant` and `field` in definition order: each field after the constants declared
// before it, and the constants declared after the last field at the end.
void forEachLine(const RecordDescription& record,
                 const std::function<void(const ConstantDescription&)>& constant,
                 const std::function<void(const FieldDescription&)>& field) {
    const auto& fields = record.fields();
    for (std::size_t index = 0; index <= fields.size(); ++index) {
        for (const ConstantDescription& declared : record.constants()) {
            if (declared.beforeField == index) {
                constant(declared);
            }
        }
        if (index < fields.size()) {
            field(fields[index]);
        }
    }
}

std::string packageOf(const RecordDescription& record) {
    return record.rosName().substr(0, record.rosName().find('/'));
}

// "bool read_only false", "Point position": a field's line as the definition of `owner` writes
// it, with the default value it declares. A .msg names a type of its own package without the
// package, and ROS 2 prints and records the lines as written.
std::string fieldLine(const FieldDescription& field, const RecordDescription& owner) {
    std::string type = field.typeText();
    if (field.record != nullptr && packageOf(*field.record) == packageOf(owner)) {
        type.erase(0, packageOf(owner).size() + 1);
    }
    std::string line = type + " " + field.name;
    if (!field.defaultValue.empty()) {
        line += " " + field.defaultValue;
    }
    return line;
}

void appendDefinition(std::string& out, const RecordDescription& record,
                      const std::string& indent) {
    forEachLine(
        record,
        [&](const ConstantDescription& constant) { out += indent + constant.declaration + "\n"; },
        [&](const FieldDescription& field) {
            out += indent + fieldLine(field, record) + "\n";
            if (field.record != nullptr) {
                appendDefinition(out, *field.record, indent + "\t");
            }
        });
}

std::string ownDefinition(const RecordDescription& record) {
    std::string out;
    forEachLine(
        record, [&](const ConstantDescription& constant) { out += constant.declaration + "\n"; },
        [&](const FieldDescription& field) { out += fieldLine(field, record) + "\n"; });
    return out;
}

// rosbag2 names each dependency with its package ("std_msgs/Header", "geometry_msgs/Point"), and
// takes a type's dependencies in the order of those names.
void appendDependencies(std::string& out, const RecordDescription& record,
                        std::set<std::string>& seen) {
    std::map<std::string, const RecordDescription*> dependencies;
    for (const FieldDescription& field : record.fields()) {
        if (field.record != nullptr) {
            dependencies.emplace(field.record->shortName(), field.record);
        }
    }
    for (const auto& [name, dependency] : dependencies) {
        if (seen.insert(name).second) {
            out +=
                "\n" + std::string(80, '=') + "\nMSG: " + name + "\n" + ownDefinition(*dependency);
            appendDependencies(out, *dependency, seen);
        }
    }
}

// rosidl's type ids: the element's id, plus 48 for a fixed array, 96 for a bounded sequence and
// 144 for an unbounded one. A .msg `char` is read as uint8 before the hash is taken.
int typeId(const FieldDescription& field) {
    int id = 0;
    switch (field.kind) {
        case FieldKind::record:
            id = 1;
            break;
        case FieldKind::int8:
            id = 2;
            break;
        case FieldKind::uint8:
        case FieldKind::character:
            id = 3;
            break;
        case FieldKind::int16:
            id = 4;
            break;
        case FieldKind::uint16:
            id = 5;
            break;
        case FieldKind::int32:
            id = 6;
            break;
        case FieldKind::uint32:
            id = 7;
            break;
        case FieldKind::int64:
            id = 8;
            break;
        case FieldKind::uint64:
            id = 9;
            break;
        case FieldKind::float32:
            id = 10;
            break;
        case FieldKind::float64:
            id = 11;
            break;
        case FieldKind::boolean:
            id = 15;
            break;
        case FieldKind::byte:
            id = 16;
            break;
        case FieldKind::string:
            id = 17;
            break;
    }
    switch (field.container) {
        case Container::single:
            return id;
        case Container::fixedArray:
            return id + 48;
        case Container::boundedSequence:
            return id + 96;
        case Container::sequence:
            return id + 144;
    }
    return id;
}

std::string fieldJson(const std::string& name, int typeId, std::size_t capacity,
                      const std::string& nestedTypeName) {
    return "{\"name\": \"" + name + "\", \"type\": {\"type_id\": " + std::to_string(typeId) +
           ", \"capacity\": " + std::to_string(capacity) +
           ", \"string_capacity\": 0, \"nested_type_name\": \"" + nestedTypeName + "\"}}";
}

// One type's description as rosidl writes it for the hash (default values removed).
std::string typeDescriptionJson(const RecordDescription& record) {
    std::string fields;
    for (const FieldDescription& field : record.fields()) {
        fields += (fields.empty() ? "" : ", ") +
                  fieldJson(field.name, typeId(field), field.arrayLength,
                            field.record != nullptr ? field.record->rosName() : std::string());
    }
    // rosidl gives an empty message the member its generated structures need, and hashes it.
    if (record.fields().empty()) {
        fields = fieldJson("structure_needs_at_least_one_member", 3, 0, "");
    }
    return "{\"type_name\": \"" + record.rosName() + "\", \"fields\": [" + fields + "]}";
}

void collectReferenced(const RecordDescription& record,
                       std::map<std::string, const RecordDescription*>& referenced) {
    for (const FieldDescription& field : record.fields()) {
        if (field.record != nullptr &&
            referenced.emplace(field.record->rosName(), field.record).second) {
            collectReferenced(*field.record, referenced);
        }
    }
}

std::string sha256Hex(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        throw TypeSupportError("SHA-256 of a type description failed in OpenSSL");
    }
    constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 0xfU];
    }
    return hex;
}

}  // namespace

std::string FieldDescription::typeText() const {
    std::string text = kind == FieldKind::record ? record->shortName() : kindName(kind);
    if (container == Container::fixedArray) {
        text += "[" + std::to_string(arrayLength) + "]";
    } else if (container == Container::sequence) {
        text += "[]";
    } else if (container == Container::boundedSequence) {
        text += "[<=" + std::to_string(arrayLength) + "]";
    }
    return text;
}

namespace detail {

std::string definitionTextOf(const RecordDescription& record) {
    std::string out;
    appendDefinition(out, record, "");
    return out;
}

std::string schemaTextOf(const RecordDescription& record) {
    std::string out = ownDefinition(record);
    std::set<std::string> seen;
    appendDependencies(out, record, seen);
    return out;
}

std::string typeHashJsonOf(const RecordDescription& record) {
    std::map<std::string, const RecordDescription*> referenced;
    collectReferenced(record, referenced);
    std::string references;
    for (const auto& [name, description] : referenced) {
        references += (references.empty() ? "" : ", ") + typeDescriptionJson(*description);
    }
    return "{\"type_description\": " + typeDescriptionJson(record) +
           ", \"referenced_type_descriptions\": [" + references + "]}";
}

std::string typeHashOf(const RecordDescription& record) {
    return "RIHS01_" + sha256Hex(typeHashJsonOf(record));
}

}  // namespace detail

}  // namespace qorROS2::typesupport
