#include "qorROS2/MessageCodec.h"

#include <utility>

#include "cdr/CdrCodec.h"

namespace qorROS2 {

template <typename T>
std::vector<std::uint8_t> MessageCodec<T>::encode(const T& message) {
    std::vector<std::uint8_t> bytes(cdr::encodedSize(message));
    cdr::encode(message, bytes.data(), bytes.size());
    return bytes;
}

template <typename T>
std::string MessageCodec<T>::decode(const std::uint8_t* data, std::size_t size, T& message) {
    // Decoded aside, so a payload that fails half way leaves the caller's record as it was.
    T decoded{};
    const cdr::DecodeResult result = cdr::decode(data, size, decoded);
    if (!result.ok()) {
        return result.describe();
    }
    message = std::move(decoded);
    return std::string();
}

#define QORNTROS2_INSTANTIATE_MESSAGE_CODEC(Namespace, Name) \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name>;
QORROS2_FOR_EACH_MESSAGE(QORNTROS2_INSTANTIATE_MESSAGE_CODEC)
#undef QORNTROS2_INSTANTIATE_MESSAGE_CODEC

#define QORNTROS2_INSTANTIATE_SERVICE_CODECS(Namespace, Name)               \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::Request>; \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::Response>;
QORROS2_FOR_EACH_SERVICE(QORNTROS2_INSTANTIATE_SERVICE_CODECS)
#undef QORNTROS2_INSTANTIATE_SERVICE_CODECS

#define QORNTROS2_INSTANTIATE_ACTION_CODECS(Namespace, Name)                            \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::Goal>;                \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::Result>;              \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::Feedback>;            \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::SendGoal::Request>;   \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::SendGoal::Response>;  \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::GetResult::Request>;  \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::GetResult::Response>; \
    template class QORNTROS2_EXPORT MessageCodec<Namespace::Name::FeedbackMessage>;
QORROS2_FOR_EACH_ACTION(QORNTROS2_INSTANTIATE_ACTION_CODECS)
#undef QORNTROS2_INSTANTIATE_ACTION_CODECS

}  // namespace qorROS2
