#pragma once

// What the programs know about each message type at run time: its names, its fields and
// constants, the texts ROS 2 tools show for it, its type hash, and how to make, encode and decode
// a sample of it chosen by name.
//
//   const TypeSupport& type = getTypeSupport("sensor_msgs/msg/JointState");
//   Sample sample = type.createSample();
//   sample.as<sensorMsgs::JointState>().name = {"elbow"};
//   const std::vector<std::uint8_t> bytes = type.encode(sample);

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/typesupport/Export.h"

namespace qorROS2::typesupport {

/// A wrong name, a sample of another type or bytes that are no sample of the type.
class QORTYPESUPPORT_EXPORT TypeSupportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The kind of one element of a field: bool, byte, char, the numbers, string or a nested record.
using qorROS2::FieldKind;

/// How many elements a field holds.
enum class Container : std::uint8_t {
    single,      ///< one element
    fixedArray,  ///< exactly FieldDescription::arrayLength elements: "float64[9]"
    sequence,    ///< any number of elements: "string[]"
    /// at most FieldDescription::arrayLength elements: "rcl_interfaces/FloatingPointRange[<=1]"
    boundedSequence,
};

class RecordDescription;

namespace detail {

/// How a field is reached inside a record, instantiated for its member's C++ type.
struct FieldAccess {
    /// The member that holds the field, inside `record`.
    const void* (*member)(const void* record) = nullptr;
    /// The number of elements the member holds: 1, an array's length or a sequence's size.
    std::size_t (*size)(const void* member) = nullptr;
    /// Sequences only: gives the member `size` elements, new ones value-initialised.
    void (*resize)(void* member, std::size_t size) = nullptr;
    /// The element at `index`; nullptr for bool elements, which a sequence packs in bits.
    const void* (*element)(const void* member, std::size_t index) = nullptr;
    /// Bool elements only.
    bool (*getBoolean)(const void* member, std::size_t index) = nullptr;
    void (*setBoolean)(void* member, std::size_t index, bool value) = nullptr;
};

}  // namespace detail

/// One field of a message record.
struct QORTYPESUPPORT_EXPORT FieldDescription {
    std::string name;                         ///< "position_covariance"
    FieldKind kind = FieldKind::boolean;      ///< the kind of each element
    Container container = Container::single;  ///< one element, a fixed array or a sequence
    /// The length of a fixed array or the bound of a bounded sequence, else 0.
    std::size_t arrayLength = 0;
    const RecordDescription* record = nullptr;  ///< the nested type when kind is record
    /// The default value the definition declares, as written ("false"); empty for none.
    std::string defaultValue;
    detail::FieldAccess access;  ///< how RecordView reaches the field's elements

    /// The type as a message definition spells it: "float64[9]", "std_msgs/Header".
    std::string typeText() const;
};

/// A constant of a message type, as its definition declares it.
struct ConstantDescription {
    std::string type;   ///< "uint8"
    std::string name;   ///< "FLOAT32"
    std::string value;  ///< "7", as written
    /// The declaration as ROS 2 writes it, spacing included: "uint8 INT8    = 1"
    std::string declaration;
    /// The index of the field the declaration comes before; the field count when after them all
    std::size_t beforeField = 0;
};

/// The description of one record type, standalone message or only nested in others.
class QORTYPESUPPORT_EXPORT RecordDescription {
  public:
    RecordDescription(std::string rosName, std::vector<FieldDescription> fields,
                      std::vector<ConstantDescription> constants);

    /// "std_msgs/msg/MultiArrayLayout"
    const std::string& rosName() const noexcept { return m_rosName; }
    /// "std_msgs/MultiArrayLayout": how definitions name the type in a field
    std::string shortName() const;
    /// The fields, in definition order. std_msgs/Empty has none: the placeholder member of its
    /// record is no field of ROS 2's definition.
    const std::vector<FieldDescription>& fields() const noexcept { return m_fields; }
    /// The constants, in definition order.
    const std::vector<ConstantDescription>& constants() const noexcept { return m_constants; }

  private:
    std::string m_rosName;
    std::vector<FieldDescription> m_fields;
    std::vector<ConstantDescription> m_constants;
};

class TypeSupport;

/// One sample of a type chosen at run time: it owns its record and hands it back typed, after
/// checking that the type asked for is the sample's.
class QORTYPESUPPORT_EXPORT Sample {
  public:
    Sample(Sample&& other) noexcept;
    Sample& operator=(Sample&& other) noexcept;
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;
    ~Sample();

    /// The type of the record held.
    const TypeSupport& type() const noexcept { return *m_type; }

    /// The record; a TypeSupportError when `Record` is not the sample's type.
    template <typename Record>
    Record& as() {
        check(rosTypeName<Record>());
        return *static_cast<Record*>(m_record);
    }
    template <typename Record>
    const Record& as() const {
        check(rosTypeName<Record>());
        return *static_cast<const Record*>(m_record);
    }

    /// The record, untyped, for code that goes through the TypeSupport only.
    void* data() noexcept { return m_record; }
    const void* data() const noexcept { return m_record; }

  private:
    friend class TypeSupport;
    Sample(const TypeSupport& type, void* record) noexcept : m_type(&type), m_record(record) {}
    void check(const std::string& rosName) const;

    const TypeSupport* m_type;
    void* m_record;
};

namespace detail {

/// The operations of one record type, instantiated in the library.
struct RecordOperations {
    void* (*create)();
    void (*destroy)(void* record) noexcept;
    std::vector<std::uint8_t> (*encode)(const void* record);
    /// Empty on success, else what was wrong with the bytes.
    std::string (*decode)(const std::uint8_t* data, std::size_t size, void* record);
};

}  // namespace detail

/// Everything known at run time about one message type, or a service's request or response.
class QORTYPESUPPORT_EXPORT TypeSupport {
  public:
    TypeSupport(const RecordDescription& description, const detail::RecordOperations& operations);
    TypeSupport(const TypeSupport&) = delete;
    TypeSupport& operator=(const TypeSupport&) = delete;

    /// "sensor_msgs/msg/JointState"
    const std::string& rosName() const noexcept { return m_description->rosName(); }
    /// "sensor_msgs::msg::dds_::JointState_": the type name on the DDS wire
    const std::string& ddsName() const noexcept { return m_ddsName; }
    /// The fields and constants.
    const RecordDescription& description() const noexcept { return *m_description; }
    const std::vector<FieldDescription>& fields() const noexcept { return m_description->fields(); }
    const std::vector<ConstantDescription>& constants() const noexcept {
        return m_description->constants();
    }

    /// What `ros2 interface show --no-comments` prints: constants and fields in definition order,
    /// each nested record's fields below its field with one more tab.
    const std::string& definitionText() const noexcept { return m_definitionText; }
    /// The `ros2msg` schema rosbag2 writes into MCAP files: this type's definition, then each
    /// type it depends on once, depth first, after a line of 80 '=' and "MSG: pkg/Name".
    const std::string& schemaText() const noexcept { return m_schemaText; }
    /// "RIHS01_" and 64 hex digits: the hash ROS 2 (Iron and later) gives the type.
    const std::string& typeHash() const noexcept { return m_typeHash; }

    /// A sample holding a value-initialised record.
    Sample createSample() const;
    /// The payload ROS 2 exchanges: the encapsulation header `00 01 00 00` and plain CDR. A
    /// TypeSupportError naming the field when a bounded sequence holds more than its bound.
    std::vector<std::uint8_t> encode(const Sample& sample) const;
    /// Decodes a payload into a new sample; a TypeSupportError naming the type and what is wrong
    /// when the bytes are no sample of this type.
    Sample decode(const std::uint8_t* data, std::size_t size) const;
    Sample decode(const std::vector<std::uint8_t>& payload) const {
        return decode(payload.data(), payload.size());
    }

  private:
    friend class Sample;
    void checkOwns(const Sample& sample) const;

    const RecordDescription* m_description;
    detail::RecordOperations m_operations;
    std::string m_ddsName;
    std::string m_definitionText;
    std::string m_schemaText;
    std::string m_typeHash;
    bool m_holdsBoundedSequence;
};

/// Everything known at run time about one service type: its names, the type support of its
/// request and response, the text ROS 2 tools show for it and its type hash.
class QORTYPESUPPORT_EXPORT ServiceTypeSupport {
  public:
    /// `serviceEventInfo` describes service_msgs/msg/ServiceEventInfo, which the event message
    /// that the type hash covers holds.
    ServiceTypeSupport(std::string rosName, std::unique_ptr<TypeSupport> request,
                       std::unique_ptr<TypeSupport> response,
                       const RecordDescription& serviceEventInfo);
    ServiceTypeSupport(const ServiceTypeSupport&) = delete;
    ServiceTypeSupport& operator=(const ServiceTypeSupport&) = delete;
    ~ServiceTypeSupport();

    /// "std_srvs/srv/SetBool"
    const std::string& rosName() const noexcept { return m_rosName; }
    /// The request, "std_srvs/srv/SetBool_Request" ("std_srvs::srv::dds_::SetBool_Request_").
    const TypeSupport& request() const noexcept { return *m_request; }
    /// The response, "std_srvs/srv/SetBool_Response".
    const TypeSupport& response() const noexcept { return *m_response; }

    /// What `ros2 interface show --no-comments` prints for the .srv: the request's lines, "---",
    /// the response's lines.
    const std::string& definitionText() const noexcept { return m_definitionText; }
    /// The hash ROS 2 (Iron and later) gives the service type: that of a description with the
    /// fields request_message, response_message and event_message.
    const std::string& typeHash() const noexcept { return m_typeHash; }
    /// The hash a server's request reader and a client's request writer announce: the request
    /// message's own, not the service's.
    const std::string& requestTypeHash() const noexcept { return m_request->typeHash(); }
    /// The hash a server's reply writer and a client's reply reader announce.
    const std::string& responseTypeHash() const noexcept { return m_response->typeHash(); }
    /// The service event message "std_srvs/srv/SetBool_Event" as the hash describes it.
    const RecordDescription& eventDescription() const noexcept { return *m_event; }
    /// The service as the hash describes it: request_message, response_message, event_message.
    const RecordDescription& description() const noexcept { return *m_service; }

  private:
    std::string m_rosName;
    std::unique_ptr<TypeSupport> m_request;
    std::unique_ptr<TypeSupport> m_response;
    std::unique_ptr<RecordDescription> m_event;
    std::unique_ptr<RecordDescription> m_service;
    std::string m_definitionText;
    std::string m_typeHash;
};

/// Everything known at run time about one action type: the type support of its goal, result and
/// feedback, of the services SendGoal and GetResult and of the feedback message rosidl derives
/// for it, the text ROS 2 tools show for it and its type hash.
class QORTYPESUPPORT_EXPORT ActionTypeSupport {
  public:
    /// The parts rosidl makes of an action "pkg/action/Act", each named "pkg/action/Act_<Part>".
    struct Parts {
        std::unique_ptr<TypeSupport> goal;
        std::unique_ptr<TypeSupport> result;
        std::unique_ptr<TypeSupport> feedback;
        std::unique_ptr<ServiceTypeSupport> sendGoal;
        std::unique_ptr<ServiceTypeSupport> getResult;
        std::unique_ptr<TypeSupport> feedbackMessage;
    };

    ActionTypeSupport(std::string rosName, Parts parts);
    ActionTypeSupport(const ActionTypeSupport&) = delete;
    ActionTypeSupport& operator=(const ActionTypeSupport&) = delete;
    ~ActionTypeSupport();

    /// "simulation_interfaces/action/SimulateSteps"
    const std::string& rosName() const noexcept { return m_rosName; }
    /// "simulation_interfaces/action/SimulateSteps_Goal"
    const TypeSupport& goal() const noexcept { return *m_parts.goal; }
    /// "simulation_interfaces/action/SimulateSteps_Result"
    const TypeSupport& result() const noexcept { return *m_parts.result; }
    /// "simulation_interfaces/action/SimulateSteps_Feedback"
    const TypeSupport& feedback() const noexcept { return *m_parts.feedback; }
    /// "simulation_interfaces/action/SimulateSteps_SendGoal", served on
    /// `<action>/_action/send_goal`: request goal_id and goal, response accepted and stamp.
    const ServiceTypeSupport& sendGoal() const noexcept { return *m_parts.sendGoal; }
    /// "simulation_interfaces/action/SimulateSteps_GetResult", served on
    /// `<action>/_action/get_result`: request goal_id, response status and result.
    const ServiceTypeSupport& getResult() const noexcept { return *m_parts.getResult; }
    /// "simulation_interfaces/action/SimulateSteps_FeedbackMessage", published on
    /// `<action>/_action/feedback`: goal_id and feedback.
    const TypeSupport& feedbackMessage() const noexcept { return *m_parts.feedbackMessage; }

    /// What `ros2 interface show --no-comments` prints for the .action: the goal's lines, "---",
    /// the result's lines, "---", the feedback's lines.
    const std::string& definitionText() const noexcept { return m_definitionText; }
    /// The hash ROS 2 (Iron and later) gives the action type: that of a description with the
    /// fields goal, result, feedback, send_goal_service, get_result_service and feedback_message.
    const std::string& typeHash() const noexcept { return m_typeHash; }

  private:
    std::string m_rosName;
    Parts m_parts;
    std::unique_ptr<RecordDescription> m_action;
    std::string m_definitionText;
    std::string m_typeHash;
};

/// All message types, sorted by ROS name: the design's 89 (QORROS2_FOR_EACH_MESSAGE) and the
/// further ones (QORROS2_FOR_EACH_INTERFACE_MESSAGE). Services' requests and responses are no
/// part of it.
QORTYPESUPPORT_EXPORT const std::vector<const TypeSupport*>& typeSupports();

/// The type named "pkg/msg/Name" or "pkg/Name", or a part of a service or action by its full
/// name ("pkg/srv/Name_Request", "pkg/action/Name_Goal"); nullptr for any other name, so that a
/// caller decides how an unknown name is reported.
QORTYPESUPPORT_EXPORT const TypeSupport* findTypeSupport(const std::string& name);

/// The description of any record type by its full name, "std_msgs/msg/MultiArrayLayout": one of
/// the message types or a record only nested in them. A TypeSupportError for any other name.
QORTYPESUPPORT_EXPORT const RecordDescription& getRecordDescription(const std::string& rosName);

/// As findTypeSupport, but a TypeSupportError for an unknown name.
QORTYPESUPPORT_EXPORT const TypeSupport& getTypeSupport(const std::string& name);

/// All service types, sorted by ROS name.
QORTYPESUPPORT_EXPORT const std::vector<const ServiceTypeSupport*>& serviceTypeSupports();

/// The service type named "pkg/srv/Name" or "pkg/Name"; nullptr for any other name.
QORTYPESUPPORT_EXPORT const ServiceTypeSupport* findServiceTypeSupport(const std::string& name);

/// As findServiceTypeSupport, but a TypeSupportError for an unknown name.
QORTYPESUPPORT_EXPORT const ServiceTypeSupport& getServiceTypeSupport(const std::string& name);

/// All action types, sorted by ROS name.
QORTYPESUPPORT_EXPORT const std::vector<const ActionTypeSupport*>& actionTypeSupports();

/// The action type named "pkg/action/Name" or "pkg/Name"; nullptr for any other name.
QORTYPESUPPORT_EXPORT const ActionTypeSupport* findActionTypeSupport(const std::string& name);

/// As findActionTypeSupport, but a TypeSupportError for an unknown name.
QORTYPESUPPORT_EXPORT const ActionTypeSupport& getActionTypeSupport(const std::string& name);

}  // namespace qorROS2::typesupport
