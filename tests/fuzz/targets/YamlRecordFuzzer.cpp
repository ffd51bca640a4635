// Feeds arbitrary text to the path that `qor-ros2 topic pub` takes from its YAML argument to a
// record, for all message records. Text that is not acceptable must be refused with the type
// support's error, which the command prints, never anything else; a record that comes out is
// encoded, decoded and encoded again, and the two encodings must be the same bytes.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzedRecords.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/typesupport/Yaml.h"

namespace {

template <typename T>
void fuzzRecord(const char* text, std::size_t size) {
    T record{};
    try {
        qorROS2::typesupport::fromYaml(std::string(text, size),
                                       qorROS2::typesupport::viewOfRecord(record));
    } catch (const qorROS2::typesupport::TypeSupportError&) {
        return;
    }
    std::vector<std::uint8_t> first(qorROS2::cdr::encodedSize(record));
    qorROS2::cdr::encode(record, first.data(), first.size());
    T decoded{};
    if (!qorROS2::cdr::decode(first.data(), first.size(), decoded).ok()) {
        std::fprintf(stderr, "%s: a record read from YAML did not decode after encoding\n",
                     qorROS2::MessageDescription<T>::name);
        std::abort();
    }
    std::vector<std::uint8_t> second(qorROS2::cdr::encodedSize(decoded));
    qorROS2::cdr::encode(decoded, second.data(), second.size());
    if (first != second) {
        std::fprintf(stderr, "%s: encoding, decoding and encoding again changed the bytes\n",
                     qorROS2::MessageDescription<T>::name);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const char* text = reinterpret_cast<const char*>(data + 1);
    qorFuzz::visitRecordAt(data[0] % qorFuzz::kRecordCount, [&](auto* record) {
        using T = std::remove_pointer_t<decltype(record)>;
        fuzzRecord<T>(text, size - 1);
    });
    return 0;
}
