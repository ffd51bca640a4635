#include "qorROS2/PublicationObserver.h"

#include <mutex>
#include <utility>

namespace qorROS2 {
namespace {

std::mutex& observerMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<PublicationObserver>& installedObserver() {
    static std::shared_ptr<PublicationObserver> observer;
    return observer;
}

}  // namespace

void observePublications(std::shared_ptr<PublicationObserver> observer) {
    std::lock_guard<std::mutex> lock(observerMutex());
    installedObserver() = std::move(observer);
}

std::shared_ptr<PublicationObserver> publicationObserver() {
    std::lock_guard<std::mutex> lock(observerMutex());
    return installedObserver();
}

}  // namespace qorROS2
