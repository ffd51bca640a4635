#pragma once

// A low layer's header opening the namespace of a layer above it: the layer check must refuse it.

namespace qor::layered::low {
struct Low {};
}  // namespace qor::layered::low

namespace qor::layered::high {
struct Borrowed {};
}  // namespace qor::layered::high
