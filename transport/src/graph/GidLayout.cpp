#include "graph/GidLayout.h"

#include <algorithm>
#include <string>

#include "cdr/CdrCodec.h"
#include "graph/GraphRecords.h"
#include "qorROS2/RosEnvironment.h"

namespace qorROS2::transport::graph {
namespace {

template <std::size_t N>
GidRecord<N> toGid(const Guid& guid) {
    GidRecord<N> gid{};
    std::copy_n(guid.begin(), std::min(N, guid.size()), gid.data.begin());
    return gid;
}

template <std::size_t N>
Guid fromGid(const GidRecord<N>& gid) {
    Guid guid{};
    std::copy_n(gid.data.begin(), std::min(N, guid.size()), guid.begin());
    return guid;
}

template <std::size_t N>
ParticipantEntitiesInfoRecord<N> toRecord(const ParticipantEntities& entities) {
    ParticipantEntitiesInfoRecord<N> record{};
    record.gid = toGid<N>(entities.participant);
    for (const NodeEntities& node : entities.nodes) {
        NodeEntitiesInfoRecord<N> info{};
        info.node_namespace = node.nodeNamespace;
        info.node_name = node.nodeName;
        for (const Guid& reader : node.readers) {
            info.reader_gid_seq.push_back(toGid<N>(reader));
        }
        for (const Guid& writer : node.writers) {
            info.writer_gid_seq.push_back(toGid<N>(writer));
        }
        record.node_entities_info_seq.push_back(std::move(info));
    }
    return record;
}

template <std::size_t N>
ParticipantEntities fromRecord(const ParticipantEntitiesInfoRecord<N>& record) {
    ParticipantEntities entities;
    entities.participant = fromGid(record.gid);
    for (const NodeEntitiesInfoRecord<N>& info : record.node_entities_info_seq) {
        NodeEntities node;
        node.nodeNamespace = info.node_namespace;
        node.nodeName = info.node_name;
        for (const GidRecord<N>& reader : info.reader_gid_seq) {
            node.readers.push_back(fromGid(reader));
        }
        for (const GidRecord<N>& writer : info.writer_gid_seq) {
            node.writers.push_back(fromGid(writer));
        }
        entities.nodes.push_back(std::move(node));
    }
    return entities;
}

// Decodes `data` as layout N. Returns an empty text when the payload decoded and its size is the
// encoded size of what was read, give or take the final padding a writer may add.
template <std::size_t N>
std::string tryLayout(const std::uint8_t* data, std::size_t size, ParticipantEntities& out) {
    ParticipantEntitiesInfoRecord<N> record{};
    const cdr::DecodeResult result = cdr::decode(data, size, record);
    if (!result.ok()) {
        return result.describe();
    }
    const std::size_t used = cdr::encodedSize(record);
    constexpr std::size_t kMaxPadding = 3;
    if (used > size) {
        return "the sample is shorter than what it holds";
    }
    if (size - used > kMaxPadding) {
        return std::to_string(size - used) + " bytes left over after the sample";
    }
    out = fromRecord(record);
    return {};
}

}  // namespace

GidLayout gidLayoutForDistro(const char* distro) {
    if (distro == nullptr) {
        return GidLayout::humble;
    }
    const std::string name(distro);
    const bool sixteen = name == "iron" || name == "jazzy" || name == "kilted" || name == "rolling";
    return sixteen ? GidLayout::iron : GidLayout::humble;
}

GidLayout processGidLayout() {
    return static_cast<GidLayout>(processRosEnvironment().gidSize);
}

std::size_t encodedParticipantEntitiesSize(const ParticipantEntities& entities, GidLayout layout) {
    return layout == GidLayout::humble ? cdr::encodedSize(toRecord<24>(entities))
                                       : cdr::encodedSize(toRecord<16>(entities));
}

void encodeParticipantEntitiesInto(const ParticipantEntities& entities, GidLayout layout,
                                   std::uint8_t* out, std::size_t size) {
    if (layout == GidLayout::humble) {
        cdr::encode(toRecord<24>(entities), out, size);
    } else {
        cdr::encode(toRecord<16>(entities), out, size);
    }
}

std::vector<std::uint8_t> encodeParticipantEntities(const ParticipantEntities& entities,
                                                    GidLayout layout) {
    std::vector<std::uint8_t> payload(encodedParticipantEntitiesSize(entities, layout));
    encodeParticipantEntitiesInto(entities, layout, payload.data(), payload.size());
    return payload;
}

std::string decodeParticipantEntities(const std::uint8_t* data, std::size_t size,
                                      ParticipantEntities& out) {
    // The layout this process writes is tried first: it is the one its peers most likely use.
    const bool humbleFirst = processGidLayout() == GidLayout::humble;
    std::string first =
        humbleFirst ? tryLayout<24>(data, size, out) : tryLayout<16>(data, size, out);
    if (first.empty()) {
        return {};
    }
    const std::string second =
        humbleFirst ? tryLayout<16>(data, size, out) : tryLayout<24>(data, size, out);
    return second.empty() ? std::string() : first;
}

}  // namespace qorROS2::transport::graph
