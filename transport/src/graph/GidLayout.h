#pragma once

// The two layouts of the graph topic's samples, and how our view of a participant becomes one and
// is read back from either.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "graph/GraphModel.h"

namespace qorROS2::transport::graph {

/// How many bytes a gid takes on the wire: 24 up to ROS 2 Humble, 16 from Iron on.
enum class GidLayout : std::uint8_t { humble = 24, iron = 16 };

/// The layout that the ROS 2 release named by `distro` (the value of ROS_DISTRO, or null when it
/// is not set) uses: Iron, Jazzy, Kilted and Rolling use 16-byte gids; Humble, the releases
/// before it, an unset and an unknown value use 24.
GidLayout gidLayoutForDistro(const char* distro);

/// The layout this process writes: the one of its ROS_DISTRO (processRosEnvironment()).
GidLayout processGidLayout();

/// `entities` as a complete CDR payload (encapsulation header included) in `layout`.
std::vector<std::uint8_t> encodeParticipantEntities(const ParticipantEntities& entities,
                                                    GidLayout layout);

/// The bytes encodeParticipantEntities() writes for `entities`.
std::size_t encodedParticipantEntitiesSize(const ParticipantEntities& entities, GidLayout layout);

/// Writes `entities` into `out`, which holds exactly encodedParticipantEntitiesSize() bytes.
void encodeParticipantEntitiesInto(const ParticipantEntities& entities, GidLayout layout,
                                   std::uint8_t* out, std::size_t size);

/// Reads a graph sample of either layout into `out` and returns an empty text. A payload is taken
/// in the layout that accounts for all of its bytes (up to three bytes of final padding); when
/// neither does, `out` is unchanged and the text says what was wrong with it.
std::string decodeParticipantEntities(const std::uint8_t* data, std::size_t size,
                                      ParticipantEntities& out);

}  // namespace qorROS2::transport::graph
