#pragma once

// Marks the library's public symbols. The library is built with hidden visibility, so only what
// carries this mark is part of its binary interface.
#if defined(_WIN32)
#if defined(QORROS2_BUILDING_LIBRARY)
#define QORROS2_EXPORT __declspec(dllexport)
#else
#define QORROS2_EXPORT __declspec(dllimport)
#endif
#else
#define QORROS2_EXPORT __attribute__((visibility("default")))
#endif
