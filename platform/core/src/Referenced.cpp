#include "qor/Referenced.h"

namespace qor {

Referenced::Referenced() noexcept : m_refCount(0) {}

Referenced::Referenced(const Referenced& /*other*/) noexcept : m_refCount(0) {}

Referenced& Referenced::operator=(const Referenced& /*other*/) noexcept {
    return *this;
}

Referenced::~Referenced() = default;

void Referenced::reference() const noexcept {
    // Taking a reference needs no ordering: the caller already holds one, which keeps the
    // object alive and its construction visible.
    m_refCount.fetch_add(1, std::memory_order_relaxed);
}

void Referenced::unreference() const noexcept {
    // Release publishes this owner's writes; acquire on the last drop makes every owner's
    // writes visible to the destructor.
    if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

void Referenced::unreferenceNoDelete() const noexcept {
    m_refCount.fetch_sub(1, std::memory_order_acq_rel);
}

int Referenced::getReferenceCount() const noexcept {
    return m_refCount.load(std::memory_order_acquire);
}

}  // namespace qor
