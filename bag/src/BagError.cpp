#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

// Out of line, so that the class's type information lives in this library alone and a catch in
// a program matches what the library throws.
BagError::BagError(const std::string& message) : std::runtime_error(message) {}

}  // namespace qorROS2::bag
