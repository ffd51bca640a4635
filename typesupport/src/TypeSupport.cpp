#include "qorROS2/typesupport/TypeSupport.h"

#include <algorithm>
#include <utility>

#include "RecordCatalogue.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/typesupport/RecordView.h"

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

bool holdsBoundedSequence(const RecordDescription& record) {
    return std::any_of(record.fields().begin(), record.fields().end(),
                       [](const FieldDescription& field) {
                           return field.container == Container::boundedSequence ||
                                  (field.record != nullptr && holdsBoundedSequence(*field.record));
                       });
}

// ROS 2 refuses to send a bounded sequence longer than its bound; so does encode, naming it.
void checkBounds(const ConstRecordView& record, const std::string& path) {
    for (std::size_t index = 0; index < record.fieldCount(); ++index) {
        const ConstFieldView field = record.field(index);
        const std::string name = path.empty() ? field.name() : path + "." + field.name();
        if (field.container() == Container::boundedSequence &&
            field.size() > field.description().arrayLength) {
            throw TypeSupportError(name + " holds " + std::to_string(field.size()) +
                                   " elements, more than its bound of " +
                                   std::to_string(field.description().arrayLength));
        }
        if (field.kind() == FieldKind::record) {
            for (std::size_t item = 0; item < field.size(); ++item) {
                checkBounds(field.record(item), field.container() == Container::single
                                                    ? name
                                                    : name + "[" + std::to_string(item) + "]");
            }
        }
    }
}

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
    std::vector<std::unique_ptr<ServiceTypeSupport>> ownedServices;
    std::vector<const ServiceTypeSupport*> sortedServices;
    std::vector<std::unique_ptr<ActionTypeSupport>> ownedActions;
    std::vector<const ActionTypeSupport*> sortedActions;
};

template <typename Record>
std::unique_ptr<TypeSupport> makeTypeSupport(detail::RecordCatalogue& catalogue) {
    return std::make_unique<TypeSupport>(catalogue.describe<Record>(), operationsOf<Record>());
}

// `Service` has the nested records Request and Response.
template <typename Service>
std::unique_ptr<ServiceTypeSupport> makeServiceTypeSupport(std::string rosName,
                                                           detail::RecordCatalogue& catalogue) {
    return std::make_unique<ServiceTypeSupport>(
        std::move(rosName), makeTypeSupport<typename Service::Request>(catalogue),
        makeTypeSupport<typename Service::Response>(catalogue),
        catalogue.describe<serviceMsgs::ServiceEventInfo>());
}

template <typename Service>
std::unique_ptr<ServiceTypeSupport> makeServiceTypeSupport(detail::RecordCatalogue& catalogue) {
    return makeServiceTypeSupport<Service>(rosServiceName<Service>(), catalogue);
}

template <typename Action>
std::unique_ptr<ActionTypeSupport> makeActionTypeSupport(detail::RecordCatalogue& catalogue) {
    using Description = ActionDescription<Action>;
    const std::string name = rosActionName<Action>();
    ActionTypeSupport::Parts parts;
    parts.goal = makeTypeSupport<typename Description::Goal>(catalogue);
    parts.result = makeTypeSupport<typename Description::Result>(catalogue);
    parts.feedback = makeTypeSupport<typename Description::Feedback>(catalogue);
    parts.sendGoal =
        makeServiceTypeSupport<typename Description::SendGoal>(name + "_SendGoal", catalogue);
    parts.getResult =
        makeServiceTypeSupport<typename Description::GetResult>(name + "_GetResult", catalogue);
    parts.feedbackMessage = makeTypeSupport<typename Description::FeedbackMessage>(catalogue);
    return std::make_unique<ActionTypeSupport>(name, std::move(parts));
}

template <typename Type>
void sortByName(std::vector<const Type*>& types) {
    std::sort(types.begin(), types.end(),
              [](const Type* a, const Type* b) { return a->rosName() < b->rosName(); });
}

// Finds "pkg/Name" as "pkg/<folder>/Name", and a full name as it is.
template <typename Type>
const Type* findByName(const std::vector<const Type*>& types, const std::string& name,
                       const char* folder) {
    std::string full = name;
    const auto slash = name.find('/');
    if (slash != std::string::npos && name.find('/', slash + 1) == std::string::npos) {
        full = name.substr(0, slash) + "/" + folder + "/" + name.substr(slash + 1);
    }
    const auto found = std::lower_bound(
        types.begin(), types.end(), full,
        [](const Type* type, const std::string& key) { return type->rosName() < key; });
    return found != types.end() && (*found)->rosName() == full ? *found : nullptr;
}

#define QORTYPESUPPORT_ADD(Namespace, Name) \
    registry.owned.push_back(makeTypeSupport<::qorROS2::Namespace::Name>(registry.catalogue));
#define QORTYPESUPPORT_ADD_SERVICE(Namespace, Name) \
    registry.ownedServices.push_back(               \
        makeServiceTypeSupport<::qorROS2::Namespace::Name>(registry.catalogue));
#define QORTYPESUPPORT_ADD_ACTION(Namespace, Name) \
    registry.ownedActions.push_back(               \
        makeActionTypeSupport<::qorROS2::Namespace::Name>(registry.catalogue));

const Registry& registry() {
    static const Registry built = [] {
        Registry registry;
        QORROS2_FOR_EACH_MESSAGE(QORTYPESUPPORT_ADD)
        QORROS2_FOR_EACH_INTERFACE_MESSAGE(QORTYPESUPPORT_ADD)
        QORROS2_FOR_EACH_SERVICE(QORTYPESUPPORT_ADD_SERVICE)
        QORROS2_FOR_EACH_ACTION(QORTYPESUPPORT_ADD_ACTION)
        for (const auto& type : registry.owned) {
            registry.sorted.push_back(type.get());
        }
        for (const auto& service : registry.ownedServices) {
            registry.sortedServices.push_back(service.get());
        }
        for (const auto& action : registry.ownedActions) {
            registry.sortedActions.push_back(action.get());
        }
        sortByName(registry.sorted);
        sortByName(registry.sortedServices);
        sortByName(registry.sortedActions);
        return registry;
    }();
    return built;
}

#undef QORTYPESUPPORT_ADD
#undef QORTYPESUPPORT_ADD_SERVICE
#undef QORTYPESUPPORT_ADD_ACTION

FieldDescription nestedField(std::string name, const RecordDescription& record,
                             Container container = Container::single, std::size_t bound = 0) {
    FieldDescription field;
    field.name = std::move(name);
    field.kind = FieldKind::record;
    field.container = container;
    field.arrayLength = bound;
    field.record = &record;
    return field;
}

}  // namespace

TypeSupport::TypeSupport(const RecordDescription& description,
                         const detail::RecordOperations& operations)
    : m_description(&description),
      m_operations(operations),
      m_ddsName(ddsNameOf(description.rosName())),
      m_definitionText(detail::definitionTextOf(description)),
      m_schemaText(detail::schemaTextOf(description)),
      m_typeHash(detail::typeHashOf(description)),
      m_holdsBoundedSequence(holdsBoundedSequence(description)) {}

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
    if (m_holdsBoundedSequence) {
        try {
            checkBounds(ConstRecordView(*m_description, sample.m_record), "");
        } catch (const TypeSupportError& error) {
            throw TypeSupportError("cannot encode " + rosName() + ": " + error.what());
        }
    }
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
    if (const TypeSupport* type = findByName(typeSupports(), name, "msg")) {
        return type;
    }
    // A service's request and response are messages too, known by their full names only; so are
    // the messages of an action and of its services.
    for (const ServiceTypeSupport* service : serviceTypeSupports()) {
        for (const TypeSupport* part : {&service->request(), &service->response()}) {
            if (part->rosName() == name) {
                return part;
            }
        }
    }
    for (const ActionTypeSupport* action : actionTypeSupports()) {
        for (const TypeSupport* part :
             {&action->goal(), &action->result(), &action->feedback(),
              &action->sendGoal().request(), &action->sendGoal().response(),
              &action->getResult().request(), &action->getResult().response(),
              &action->feedbackMessage()}) {
            if (part->rosName() == name) {
                return part;
            }
        }
    }
    return nullptr;
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

// The event message and the service's own description exist only for the hash, as rosidl
// builds them: the event holds the call's info and at most one request and one response.
ServiceTypeSupport::ServiceTypeSupport(std::string rosName, std::unique_ptr<TypeSupport> request,
                                       std::unique_ptr<TypeSupport> response,
                                       const RecordDescription& serviceEventInfo)
    : m_rosName(std::move(rosName)),
      m_request(std::move(request)),
      m_response(std::move(response)) {
    m_event = std::make_unique<RecordDescription>(
        m_rosName + "_Event",
        std::vector<FieldDescription>{
            nestedField("info", serviceEventInfo),
            nestedField("request", m_request->description(), Container::boundedSequence, 1),
            nestedField("response", m_response->description(), Container::boundedSequence, 1)},
        std::vector<ConstantDescription>{});
    m_service = std::make_unique<RecordDescription>(
        m_rosName,
        std::vector<FieldDescription>{nestedField("request_message", m_request->description()),
                                      nestedField("response_message", m_response->description()),
                                      nestedField("event_message", *m_event)},
        std::vector<ConstantDescription>{});
    m_definitionText = m_request->definitionText() + "---\n" + m_response->definitionText();
    m_typeHash = detail::typeHashOf(*m_service);
}

ServiceTypeSupport::~ServiceTypeSupport() = default;

const std::vector<const ServiceTypeSupport*>& serviceTypeSupports() {
    return registry().sortedServices;
}

const ServiceTypeSupport* findServiceTypeSupport(const std::string& name) {
    return findByName(serviceTypeSupports(), name, "srv");
}

const ServiceTypeSupport& getServiceTypeSupport(const std::string& name) {
    const ServiceTypeSupport* service = findServiceTypeSupport(name);
    if (service == nullptr) {
        throw TypeSupportError("unknown service type '" + name + "'");
    }
    return *service;
}

// The action's own description exists only for the hash, as rosidl builds it.
ActionTypeSupport::ActionTypeSupport(std::string rosName, Parts parts)
    : m_rosName(std::move(rosName)), m_parts(std::move(parts)) {
    m_action = std::make_unique<RecordDescription>(
        m_rosName,
        std::vector<FieldDescription>{
            nestedField("goal", m_parts.goal->description()),
            nestedField("result", m_parts.result->description()),
            nestedField("feedback", m_parts.feedback->description()),
            nestedField("send_goal_service", m_parts.sendGoal->description()),
            nestedField("get_result_service", m_parts.getResult->description()),
            nestedField("feedback_message", m_parts.feedbackMessage->description())},
        std::vector<ConstantDescription>{});
    m_definitionText = m_parts.goal->definitionText() + "---\n" + m_parts.result->definitionText() +
                       "---\n" + m_parts.feedback->definitionText();
    m_typeHash = detail::typeHashOf(*m_action);
}

ActionTypeSupport::~ActionTypeSupport() = default;

const std::vector<const ActionTypeSupport*>& actionTypeSupports() {
    return registry().sortedActions;
}

const ActionTypeSupport* findActionTypeSupport(const std::string& name) {
    return findByName(actionTypeSupports(), name, "action");
}

const ActionTypeSupport& getActionTypeSupport(const std::string& name) {
    const ActionTypeSupport* action = findActionTypeSupport(name);
    if (action == nullptr) {
        throw TypeSupportError("unknown action type '" + name + "'");
    }
    return *action;
}

}  // namespace qorROS2::typesupport
