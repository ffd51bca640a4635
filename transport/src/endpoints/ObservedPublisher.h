#pragma once

// A typed publisher's tie to the PublicationObserver it was made under.

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "qorROS2/PublicationObserver.h"

namespace qorROS2::transport::endpoints {

struct ObservedPublisher {
    std::shared_ptr<PublicationObserver> observer;
    PublishedTopic topic;
    /// One publisher may be used from several threads; its reused payload may not.
    std::mutex mutex;
    std::vector<std::uint8_t> payload;
};

}  // namespace qorROS2::transport::endpoints
