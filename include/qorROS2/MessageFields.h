#pragma once

// The field lists of the message records.
//
// Every record has exactly one list of its fields, written next to the record as a specialisation
// of MessageDescription. The wire codec, the size computation, the memory release and the tests
// all walk that list; none of them names a record's members by hand.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace qorROS2 {

/// The kind of one element of a field, as a message definition spells it.
enum class FieldKind : std::uint8_t {
    boolean,    ///< bool
    byte,       ///< byte: an 8-bit value that is not a number
    character,  ///< char: an 8-bit character (ROS 2 hashes it as uint8, as its .msg reader does)
    int8,
    uint8,
    int16,
    uint16,
    int32,
    uint32,
    int64,
    uint64,
    float32,
    float64,
    string,  ///< an unbounded string
    record,  ///< another message record
};

template <typename Record>
struct MessageDescription;

namespace detail {

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

template <typename T>
struct IsStdVector : std::false_type {};
template <typename T, typename A>
struct IsStdVector<std::vector<T, A>> : std::true_type {};

template <typename T, typename = void>
struct HasFieldList : std::false_type {};
template <typename T>
struct HasFieldList<T, std::void_t<decltype(MessageDescription<T>::fields)>> : std::true_type {};

/// The kind of an element type; only the definition tells a byte from a uint8.
template <typename Element>
constexpr FieldKind kindOfElement(bool isByte) {
    if constexpr (HasFieldList<Element>::value) {
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

}  // namespace detail

/// One field of a message record: its ROS 2 name and the record member that holds it.
template <typename Record, typename Member>
struct Field {
    using RecordType = Record;
    using MemberType = Member;
    /// The type of one element: the member itself, or the item type of an array or sequence.
    using ElementType = typename detail::ElementOf<Member>::type;

    const char* name;        ///< the ROS 2 field name, as in the message definition
    Member Record::*member;  ///< where the field lives in the record
    FieldKind elementKind;   ///< the kind of each element; only this tells a byte from a uint8
    /// The most elements a bounded sequence holds ("[<=1]"); 0 for any other field. The record
    /// holds a bounded sequence as a std::vector like any sequence.
    std::size_t bound = 0;
    /// The default value the definition declares, as it writes it ("false"); nullptr for none.
    /// The record's member initialiser holds the same value.
    const char* defaultValue = nullptr;
};

/// Builds a Field whose element kind its C++ type tells.
template <typename Record, typename Member>
constexpr Field<Record, Member> makeField(const char* name, Member Record::*member) {
    return Field<Record, Member>{
        name, member, detail::kindOfElement<typename detail::ElementOf<Member>::type>(false)};
}

/// Builds the Field of a bounded sequence of at most `bound` elements.
template <typename Record, typename Member>
constexpr Field<Record, Member> makeBoundedField(const char* name, Member Record::*member,
                                                 std::size_t bound) {
    static_assert(detail::IsStdVector<Member>::value, "a bounded sequence is held as std::vector");
    Field<Record, Member> field = makeField(name, member);
    field.bound = bound;
    return field;
}

/// Builds the Field of a member whose definition declares a default value.
template <typename Record, typename Member>
constexpr Field<Record, Member> makeDefaultedField(const char* name, Member Record::*member,
                                                   const char* defaultValue) {
    Field<Record, Member> field = makeField(name, member);
    field.defaultValue = defaultValue;
    return field;
}

/// Builds the Field of a `byte` element, held as an unsigned 8-bit integer like `uint8`.
template <typename Record, typename Member>
constexpr Field<Record, Member> makeByteField(const char* name, Member Record::*member) {
    static_assert(std::is_same_v<typename detail::ElementOf<Member>::type, std::uint8_t>,
                  "a byte is held as std::uint8_t");
    return Field<Record, Member>{name, member, FieldKind::byte};
}

// MessageDescription<Record> is specialised for every record with `package` (the ROS 2 package,
// "sensor_msgs"), `name` (the ROS 2 message name, "JointState") and `fields` (a tuple of Field, in
// definition order).

/// True for the types that have a field list: the message records and the records nested in them.
template <typename T, typename = void>
struct IsMessageRecord : std::false_type {};
template <typename T>
struct IsMessageRecord<T, std::void_t<decltype(MessageDescription<T>::fields)>> : std::true_type {};
template <typename T>
inline constexpr bool isMessageRecord = IsMessageRecord<T>::value;

/// Calls `visit(field, member)` for every field of `record` in definition order. The member is
/// passed as a const reference when `record` is const.
template <typename Record, typename Visitor>
constexpr void forEachField(Record& record, Visitor&& visit) {
    std::apply([&](const auto&... field) { (visit(field, record.*(field.member)), ...); },
               MessageDescription<std::remove_const_t<Record>>::fields);
}

/// Calls `visit(field)` for every field of the record type, without an instance.
template <typename Record, typename Visitor>
constexpr void forEachFieldOf(Visitor&& visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); },
               MessageDescription<Record>::fields);
}

/// The number of fields in the record's list.
template <typename Record>
inline constexpr std::size_t fieldCount =
    std::tuple_size_v<std::decay_t<decltype(MessageDescription<Record>::fields)>>;

namespace detail {

template <typename T, typename = void>
struct HasFolder : std::false_type {};
template <typename T>
struct HasFolder<T, std::void_t<decltype(MessageDescription<T>::folder)>> : std::true_type {};

}  // namespace detail

/// "msg", or "srv" for the request and response of a service: the folder of the package that
/// defines the record, which ROS 2 puts in the type's full name.
template <typename Record>
constexpr const char* rosInterfaceFolder() {
    if constexpr (detail::HasFolder<Record>::value) {
        return MessageDescription<Record>::folder;
    } else {
        return "msg";
    }
}

/// "sensor_msgs/msg/JointState", "std_srvs/srv/SetBool_Request": the name by which ROS 2 tools
/// know the record's type.
template <typename Record>
std::string rosTypeName() {
    return std::string(MessageDescription<Record>::package) + "/" + rosInterfaceFolder<Record>() +
           "/" + MessageDescription<Record>::name;
}

// ServiceDescription<Service> is specialised for every service with `package` ("std_srvs"),
// `name` ("SetBool"), and the records `Request` and `Response`, each with its own field list.
template <typename Service>
struct ServiceDescription;

/// True for the service types: those with a ServiceDescription.
template <typename T, typename = void>
struct IsServiceType : std::false_type {};
template <typename T>
struct IsServiceType<T, std::void_t<decltype(ServiceDescription<T>::name)>> : std::true_type {};
template <typename T>
inline constexpr bool isServiceType = IsServiceType<T>::value;

/// "std_srvs/srv/SetBool": the name by which ROS 2 tools know the service's type.
template <typename Service>
std::string rosServiceName() {
    return std::string(ServiceDescription<Service>::package) + "/srv/" +
           ServiceDescription<Service>::name;
}

namespace detail {

template <typename T>
struct IsStdArray : std::false_type {};
template <typename T, std::size_t N>
struct IsStdArray<std::array<T, N>> : std::true_type {};

}  // namespace detail

template <typename T>
inline constexpr bool isSequence = detail::IsStdVector<T>::value;
template <typename T>
inline constexpr bool isFixedArray = detail::IsStdArray<T>::value;

/// The ROS 2 name of a member type that is neither a sequence nor a fixed array: "float64",
/// "string", "std_msgs/Header".
template <typename T>
std::string rosElementTypeName() {
    if constexpr (isMessageRecord<T>) {
        return std::string(MessageDescription<T>::package) + "/" + MessageDescription<T>::name;
    } else if constexpr (std::is_same_v<T, bool>) {
        return "bool";
    } else if constexpr (std::is_same_v<T, char>) {
        return "char";
    } else if constexpr (std::is_same_v<T, std::string>) {
        return "string";
    } else if constexpr (std::is_same_v<T, float>) {
        return "float32";
    } else if constexpr (std::is_same_v<T, double>) {
        return "float64";
    } else {
        static_assert(std::is_integral_v<T> && sizeof(T) <= 8, "no ROS 2 type for this member");
        return std::string(std::is_signed_v<T> ? "int" : "uint") + std::to_string(8 * sizeof(T));
    }
}

namespace detail {

template <typename Element, typename Record, typename Member>
std::string rosElementOfField(const Field<Record, Member>& field) {
    return field.elementKind == FieldKind::byte ? std::string("byte")
                                                : rosElementTypeName<Element>();
}

}  // namespace detail

/// The ROS 2 type of a field as a message definition spells it: "float64[9]", "string[]",
/// "byte[]", "std_msgs/Header", "rcl_interfaces/IntegerRange[<=1]".
template <typename Record, typename Member>
std::string rosFieldType(const Field<Record, Member>& field) {
    if constexpr (isSequence<Member>) {
        return detail::rosElementOfField<typename Member::value_type>(field) +
               (field.bound != 0 ? "[<=" + std::to_string(field.bound) + "]" : std::string("[]"));
    } else if constexpr (isFixedArray<Member>) {
        return detail::rosElementOfField<typename Member::value_type>(field) + "[" +
               std::to_string(std::tuple_size_v<Member>) + "]";
    } else {
        return detail::rosElementOfField<Member>(field);
    }
}

}  // namespace qorROS2

/// Names one field of `Record` (a type alias in the enclosing MessageDescription) for its list.
#define QORROS2_FIELD(member) ::qorROS2::makeField(#member, &Record::member)

/// As QORROS2_FIELD, for a field whose ROS 2 element type is `byte` (held as an unsigned 8-bit
/// integer, like `uint8`, from which only the definition tells it apart).
#define QORROS2_BYTE_FIELD(member) ::qorROS2::makeByteField(#member, &Record::member)

/// As QORROS2_FIELD, for a sequence of at most `bound` elements, held as std::vector.
#define QORROS2_BOUNDED_FIELD(member, bound) \
    ::qorROS2::makeBoundedField(#member, &Record::member, bound)

/// As QORROS2_FIELD, for a field whose definition declares the default value `text` ("false").
#define QORROS2_DEFAULTED_FIELD(member, text) \
    ::qorROS2::makeDefaultedField(#member, &Record::member, text)

/// Declares the field list of the record `Namespace::Name` of the ROS 2 package `Package`.
/// Expands inside namespace qorROS2.
#define QORROS2_DESCRIBE_MESSAGE(Namespace, Name, Package, ...)      \
    template <>                                                      \
    struct MessageDescription<Namespace::Name> {                     \
        using Record = Namespace::Name;                              \
        static constexpr const char* package = Package;              \
        static constexpr const char* name = #Name;                   \
        static constexpr auto fields = std::make_tuple(__VA_ARGS__); \
    }

/// Declares the field list of the request or response record `Namespace::Service::Part` (Part is
/// Request or Response) of a service of the package `Package`. ROS 2 names the record
/// "Package/srv/Service_Part". Expands inside namespace qorROS2.
#define QORROS2_DESCRIBE_SERVICE_PART(Namespace, Service, Part, Package, ...) \
    template <>                                                               \
    struct MessageDescription<Namespace::Service::Part> {                     \
        using Record = Namespace::Service::Part;                              \
        static constexpr const char* package = Package;                       \
        static constexpr const char* folder = "srv";                          \
        static constexpr const char* name = #Service "_" #Part;               \
        static constexpr auto fields = std::make_tuple(__VA_ARGS__);          \
    }

/// Declares the service `Namespace::Name` of the package `Package`, whose nested records Request
/// and Response have their field lists. Expands inside namespace qorROS2.
#define QORROS2_DESCRIBE_SERVICE(Namespace, Name, Package) \
    template <>                                            \
    struct ServiceDescription<Namespace::Name> {           \
        using Request = Namespace::Name::Request;          \
        using Response = Namespace::Name::Response;        \
        static constexpr const char* package = Package;    \
        static constexpr const char* name = #Name;         \
    }
