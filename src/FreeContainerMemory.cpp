#include "qorROS2/FreeContainerMemory.h"

#include <utility>

namespace qorROS2 {
namespace {

// Exchanges two records field by field, so that every string and sequence trades its buffer
// instead of copying into it (a moved-into short string would keep its old heap buffer).
template <typename Record>
void exchangeFields(Record& a, Record& b) noexcept {
    forEachField(a, [&b](const auto& field, auto& member) {
        auto& other = b.*(field.member);
        using Member = std::remove_reference_t<decltype(member)>;
        if constexpr (isMessageRecord<Member>) {
            exchangeFields(member, other);
        } else {
            using std::swap;
            swap(member, other);
        }
    });
}

}  // namespace

template <typename T>
void freeContainerMemory(T& message) noexcept {
    // The old contents end up in `released`, whose destruction returns their buffers.
    T released{};
    exchangeFields(message, released);
}

#define QORROS2_INSTANTIATE_FREE_CONTAINER_MEMORY(Namespace, Name) \
    template QORROS2_EXPORT void freeContainerMemory<Namespace::Name>(Namespace::Name&) noexcept;
QORROS2_FOR_EACH_MESSAGE(QORROS2_INSTANTIATE_FREE_CONTAINER_MEMORY)
#undef QORROS2_INSTANTIATE_FREE_CONTAINER_MEMORY

}  // namespace qorROS2
