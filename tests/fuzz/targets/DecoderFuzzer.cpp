// Feeds arbitrary payloads to the subscriber's own decoding callback, the one Fast DDS calls for
// every received sample, for all message records. A payload that decodes is encoded again by the
// publisher's callback, decoded again and encoded once more: the two encodings must be the same
// bytes. Decoding one sample may allocate at most a fixed multiple of its size, so that no length
// read from the wire can make the decoder allocate more than the bytes that arrived can fill.

#include <sanitizer/allocator_interface.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <string>

#include "FuzzedRecords.h"
#include "common/WireType.h"
#include "endpoints/DecodeSlot.h"
#include "endpoints/RecordDataType.h"
#include "endpoints/WireSample.h"
#include "qor/Notify.h"

namespace {

using eprosima::fastrtps::rtps::SerializedPayload_t;

// The most bytes one decode may allocate: in memory a record can take several times the bytes
// of its shortest encoding (an empty string is 5 bytes on the wire, 32 in a std::string), so the
// bound leaves room for that and for a small fixed amount; an unchecked length goes far beyond.
constexpr std::size_t kBytesPerPayloadByte = 16;
constexpr std::size_t kFixedAllowance = 4096;

// Bytes allocated while counting is on, seen through the sanitizer's allocation hooks.
bool g_counting = false;
std::size_t g_allocated = 0;

void countAllocation(const volatile void*, std::size_t size) {
    if (g_counting) {
        g_allocated += size;
    }
}

void ignoreFree(const volatile void*) {}

[[noreturn]] void fail(const char* what, const char* type, std::size_t detail) {
    std::fprintf(stderr, "%s: %s (%zu)\n", type, what, detail);
    std::abort();
}

SerializedPayload_t payloadOf(const std::uint8_t* data, std::size_t size) {
    SerializedPayload_t payload(static_cast<std::uint32_t>(size));
    if (size > 0) {
        std::memcpy(payload.data, data, size);
    }
    payload.length = static_cast<std::uint32_t>(size);
    return payload;
}

// Encodes record the way a publisher does; returns an empty payload when that fails.
template <typename T>
SerializedPayload_t encodeAsPublisher(qorROS2::transport::endpoints::RecordDataType<T>& type,
                                      T& record) {
    qorROS2::transport::endpoints::WireSample sample =
        qorROS2::transport::endpoints::recordToWrite(&record);
    const std::uint32_t size = type.getSerializedSizeProvider(&sample)();
    SerializedPayload_t payload(size);
    if (!type.serialize(&sample, &payload)) {
        fail("a decoded record could not be encoded again", type.getName(), size);
    }
    return payload;
}

template <typename T>
void fuzzRecord(const std::uint8_t* data, std::size_t size) {
    // Made once per record, as a subscriber makes them once.
    static qorROS2::transport::endpoints::RecordDataType<T> type;
    static qorROS2::MalformedSampleReport report("fuzzed");
    qorROS2::transport::endpoints::DecodeSlot<T> slot;
    slot.malformed = &report;
    SerializedPayload_t received = payloadOf(data, size);

    g_allocated = 0;
    g_counting = true;
    qorROS2::transport::endpoints::WireSample into =
        qorROS2::transport::endpoints::recordToTake(&slot);
    const bool decoded = type.deserialize(&received, &into);
    g_counting = false;
    if (g_allocated > kBytesPerPayloadByte * size + kFixedAllowance) {
        fail("decoding one sample allocated more than its budget", type.getName(), g_allocated);
    }
    if (!decoded) {
        return;
    }

    SerializedPayload_t first = encodeAsPublisher(type, slot.record);
    qorROS2::transport::endpoints::DecodeSlot<T> again;
    again.malformed = &report;
    qorROS2::transport::endpoints::WireSample intoAgain =
        qorROS2::transport::endpoints::recordToTake(&again);
    if (!type.deserialize(&first, &intoAgain)) {
        fail("an encoded record did not decode", type.getName(), first.length);
    }
    SerializedPayload_t second = encodeAsPublisher(type, again.record);
    if (first.length != second.length || std::memcmp(first.data, second.data, first.length) != 0) {
        fail("encoding, decoding and encoding again changed the bytes", type.getName(),
             first.length);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreFree);
    // The reports of dropped samples are composed as always, and then not written anywhere.
    qor::Notify::setSink([](int, const std::string&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    qorFuzz::visitRecordAt(data[0] % qorFuzz::kRecordCount, [&](auto* record) {
        using T = std::remove_pointer_t<decltype(record)>;
        fuzzRecord<T>(data + 1, size - 1);
    });
    return 0;
}
