#pragma once

// A high layer's header in its own namespace, and one of another library: both are allowed.

namespace qor::layered::high {
struct High {};
}  // namespace qor::layered::high

namespace other::library {
struct Outside {};
}  // namespace other::library
