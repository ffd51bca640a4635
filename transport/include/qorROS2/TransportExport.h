#pragma once

// Marks the public symbols of the transport library. The library is built with hidden
// visibility, so only what carries this mark is part of its binary interface.
#if defined(_WIN32)
#if defined(QORNTROS2_BUILDING_LIBRARY)
#define QORNTROS2_EXPORT __declspec(dllexport)
#else
#define QORNTROS2_EXPORT __declspec(dllimport)
#endif
#else
#define QORNTROS2_EXPORT __attribute__((visibility("default")))
#endif
