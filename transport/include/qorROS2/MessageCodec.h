#pragma once

// The payload that ROS 2 exchanges for a message record, for code that moves payloads itself
// (the typed service servers and clients over the raw ones).

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <type_traits>

#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"
#include "qorROS2/TransportExport.h"
#include "qorROS2/TransportRecords.h"

namespace qorROS2 {

namespace detail {

#define QORNTROS2_SERVICE_PARTS(Namespace, Name) \
    , Namespace::Name::Request, Namespace::Name::Response
template <typename... Parts>
struct ServicePartList {
    template <typename T>
    static constexpr bool contains = (std::is_same_v<T, Parts> || ...);
};
// The leading void keeps the list well formed before the first service's comma.
using ServiceParts = ServicePartList<void QORROS2_FOR_EACH_SERVICE(QORNTROS2_SERVICE_PARTS)>;
#undef QORNTROS2_SERVICE_PARTS

/// True for the request and response records of the services named by QORROS2_FOR_EACH_SERVICE.
template <typename T>
inline constexpr bool isServicePart = ServiceParts::contains<T>;

/// True for the records of the actions named by QORROS2_FOR_EACH_ACTION: goal, result, feedback,
/// the requests and responses of SendGoal and GetResult, and the feedback message.
template <typename T>
inline constexpr bool isActionPart = IsListedIn<T, ActionPartRecords>::value;

}  // namespace detail

/// Encodes and decodes records of type T as ROS 2 puts them on the wire. Provided for each
/// record named by QORROS2_FOR_EACH_MESSAGE and for the request and response of each service
/// named by QORROS2_FOR_EACH_SERVICE, and for the records of each action named by
/// QORROS2_FOR_EACH_ACTION.
template <typename T>
class QORNTROS2_EXPORT MessageCodec {
    static_assert(detail::isTransportRecord<T> || detail::isServicePart<T> ||
                      detail::isActionPart<T>,
                  "MessageCodec exists only for the records named by QORROS2_FOR_EACH_MESSAGE, "
                  "the requests and responses of QORROS2_FOR_EACH_SERVICE and the records of "
                  "QORROS2_FOR_EACH_ACTION");

  public:
    /// The payload of `message`: the encapsulation header `00 01 00 00`, then plain CDR.
    static std::vector<std::uint8_t> encode(const T& message);

    /// Decodes `size` bytes at `data`, little- or big-endian, into `message` and returns an empty
    /// text; returns what is wrong with the bytes, leaving `message` untouched, when they are no
    /// payload of T. Never reads outside the bytes or sizes anything beyond what they can hold.
    static std::string decode(const std::uint8_t* data, std::size_t size, T& message);
};

}  // namespace qorROS2
