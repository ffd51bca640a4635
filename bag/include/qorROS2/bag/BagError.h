#pragma once

// The one error that reading and writing bags throws: a file that cannot be opened, written or
// read, and content that is not what a bag holds.

#include <stdexcept>
#include <string>

#include "qorROS2/bag/Export.h"

namespace qorROS2::bag {

/// Thrown when a bag or one of its files cannot be opened, written or read, or holds what a bag
/// cannot hold. The message names the file and what is wrong with it, in words a user can act on.
class QORBAG_EXPORT BagError : public std::runtime_error {
  public:
    explicit BagError(const std::string& message);
};

}  // namespace qorROS2::bag
