#pragma once

// The ROS 2 interfaces the library knows beyond its own message records (Messages.h): services,
// and the messages that tools and services exchange. They have field lists and type support like
// the message records, but are kept in lists of their own.

#include "qorROS2/Messages.h"
#include "qorROS2/serviceMsgs.h"
#include "qorROS2/stdSrvs.h"

/// Expands `X(namespace, Name)` once for each service, by package and then by name.
// clang-format off
#define QORROS2_FOR_EACH_SERVICE(X) \
    X(stdSrvs, Empty) \
    X(stdSrvs, SetBool) \
    X(stdSrvs, Trigger)
// clang-format on
