#pragma once

// Lets a process see what its own publishers send, as the payloads they hand to the middleware:
// a run can then be recorded from inside, without a subscription, a DDS hop or a second encode.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// A topic that a publisher of this process publishes on.
struct PublishedTopic {
    std::string name;  ///< resolved as the graph shows it: "/joint_states"
    std::string type;  ///< "sensor_msgs/msg/JointState"
    QOS qos;           ///< what the publisher offers
};

/// Told of the publishers of this process and of every sample they send.
class PublicationObserver {
  public:
    virtual ~PublicationObserver() = default;

    /// A publisher on `topic` was made; called on the thread that made it.
    virtual void advertised(const PublishedTopic& topic) = 0;

    /// A publisher on `topic` hands the `size` bytes at `data` (the payload: encapsulation header,
    /// then CDR) to the middleware. Called on the publishing thread before the middleware takes
    /// them, so the publisher waits for as long as this takes; the bytes live only during the call.
    virtual void published(const PublishedTopic& topic, const std::uint8_t* data,
                           std::size_t size) = 0;
};

/// Shows the typed publishers made from now on in this process, and the samples they send, to
/// `observer`; null shows the ones made from now on to nobody. A publisher keeps the observer it
/// was made under (shared, as publishers outlive whoever installed it) and tells it only: those
/// made earlier are not seen, so an observer is installed before the publishers are made.
QORNTROS2_EXPORT void observePublications(std::shared_ptr<PublicationObserver> observer);

/// The observer that publishers made now are shown to; null when none.
QORNTROS2_EXPORT std::shared_ptr<PublicationObserver> publicationObserver();

}  // namespace qorROS2
