#include "qorROS2/typesupport/TypeSupport.h"

#include <algorithm>
#include <utility>

#include "RecordCatalogue.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/Messages.h"

namespace qorROS2::typesupport {

RecordDescription::RecordDescription(std::string rosName, std::vector<FieldDescription> fields,
                                     std::vector<ConstantDescription> constants)
    : m_rosName(std::move(rosName)),
      m_fields(std::move(fields)),
      m_constants(std::move(constants)) {}

std::string RecordDescription::shortName() const {
    const auto first = m_rosName.find('/');
    const auto last = m_rosName.rfind('/');
    return m_rosName.substr(0, first) + m_rosName.substr(last);
}

Sample::Sample(Sample&& other) noexcept
    : m_type(other.m_type), m_record(std::exchange(other.m_record, nullptr)) {}

Sample& Sample::operator=(Sample&& other) noexcept {
    if (this != &other) {
        if (m_record != nullptr) {
            m_type->m_operations.destroy(m_record);
        }
        m_type = other.m_type;
        m_record = std::exchange(other.m_record, nullptr);
    }
    return *this;
}

Sample::~Sample() {
    if (m_record != nullptr) {
        m_type->m_operations.destroy(m_record);
    }
}

void Sample::check(const std::string& rosName) const {
    if (m_record == nullptr) {
        throw TypeSupportError("a moved-from sample of " + m_type->rosName() + " holds no record");
    }
    if (rosName != m_type->rosName()) {
        throw TypeSupportError("a sample of " + m_type->rosName() + " is not a " + rosName);
    }
}

namespace {

std::string ddsNameOf(const std::string& rosName) {
    const auto first = rosName.find('/');
    const auto last = rosName.rfind('/');
    return rosName.substr(0, first) + "::" + rosName.substr(first + 1, last - first - 1) +
           "::dds_::" + rosName.substr(last + 1) + "_";
}

template <typename Record>
detail::RecordOperations operationsOf() {
    detail::RecordOperations operations{};
    operations.create = []() -> void* { return new Record{}; };
    operations.destroy = [](void* record) noexcept { delete static_cast<Record*>(record); };
    operations.encode = [](const void* record) {
        const Record& message = *static_cast<const Record*>(record);
        std::vector<std::uint8_t> payload(cdr::encodedSize(message));
        cdr::encode(message, payload.data(), payload.size());
        return payload;
    };
    operations.decode = [](const std::uint8_t* data, std::size_t size, void* record) {
        const cdr::DecodeResult result = cdr::decode(data, size, *static_cast<Record*>(record));
        return result.ok() ? std::string() : result.describe();
    };
    return operations;
}

struct Registry {
    detail::RecordCatalogue catalogue;
    std::vector<std::unique_ptr<TypeSupport>> owned;
    std::vector<const TypeSupport*> sorted;
};

#define QORTYPESUPPORT_ADD(Namespace, Name)                                                      \
    registry.owned.push_back(                                                                    \
        std::make_unique<TypeSupport>(registry.catalogue.describe<::qorROS2::Namespace::Name>(), \
                                      operationsOf<::qorROS2::Namespace::Name>()));

const Registry& registry() {
    static const Registry built = [] {
        Registry registry;
        QORROS2_FOR_EACH_MESSAGE(QORTYPESUPPORT_ADD)
        for (const auto& type : registry.owned) {
            registry.sorted.push_back(type.get());
        }
        std::sort(
            registry.sorted.begin(), registry.sorted.end(),
            [](const TypeSupport* a, const TypeSupport* b) { return a->rosName() < b->rosName(); });
        return registry;
    }();
    return built;
}

#undef QORTYPESUPPORT_ADD

}  // namespace

TypeSupport::TypeSupport(const RecordDescription& description,
                         const detail::RecordOperations& operations)
    : m_description(&description),
      m_operations(operations),
      m_ddsName(ddsNameOf(description.rosName())),
      m_definitionText(detail::definitionTextOf(description)),
      m_schemaText(detail::schemaTextOf(description)),
      m_typeHash(detail::typeHashOf(description)) {}

Sample TypeSupport::createSample() const {
    return Sample(*this, m_operations.create());
}

void TypeSupport::checkOwns(const Sample& sample) const {
    if (sample.m_type != this) {
        throw TypeSupportError("a sample of " + sample.m_type->rosName() +
                               " cannot be encoded as " + rosName());
    }
    if (sample.m_record == nullptr) {
        throw TypeSupportError("a moved-from sample of " + rosName() + " holds no record");
    }
}

std::vector<std::uint8_t> TypeSupport::encode(const Sample& sample) const {
    checkOwns(sample);
    return m_operations.encode(sample.m_record);
}

Sample TypeSupport::decode(const std::uint8_t* data, std::size_t size) const {
    Sample sample = createSample();
    const std::string problem = m_operations.decode(data, size, sample.m_record);
    if (!problem.empty()) {
        throw TypeSupportError("malformed " + rosName() + " payload: " + problem);
    }
    return sample;
}

const std::vector<const TypeSupport*>& typeSupports() {
    return registry().sorted;
}

const TypeSupport* findTypeSupport(const std::string& name) {
    std::string full = name;
    const auto slash = name.find('/');
    if (slash != std::string::npos && name.find('/', slash + 1) == std::string::npos) {
        full = name.substr(0, slash) + "/msg/" + name.substr(slash + 1);
    }
    const auto& types = typeSupports();
    const auto found = std::lower_bound(
        types.begin(), types.end(), full,
        [](const TypeSupport* type, const std::string& key) { return type->rosName() < key; });
    return found != types.end() && (*found)->rosName() == full ? *found : nullptr;
}

const RecordDescription& getRecordDescription(const std::string& rosName) {
    const RecordDescription* description = registry().catalogue.find(rosName);
    if (description == nullptr) {
        throw TypeSupportError("unknown record type '" + rosName + "'");
    }
    return *description;
}

const TypeSupport& getTypeSupport(const std::string& name) {
    const TypeSupport* type = findTypeSupport(name);
    if (type == nullptr) {
        throw TypeSupportError("unknown message type '" + name + "'");
    }
    return *type;
}

}  // namespace qorROS2::typesupport
