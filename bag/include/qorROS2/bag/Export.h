#pragma once

// Marks the public symbols of the bag library. The library is built with hidden visibility, so
// only what carries this mark is part of its binary interface.
#if defined(_WIN32)
#if defined(QORBAG_BUILDING_LIBRARY)
#define QORBAG_EXPORT __declspec(dllexport)
#else
#define QORBAG_EXPORT __declspec(dllimport)
#endif
#else
#define QORBAG_EXPORT __attribute__((visibility("default")))
#endif
