#pragma once

// Marks the public symbols of the web library. The library is built with hidden visibility, so
// only what carries this mark is part of its binary interface.
#if defined(_WIN32)
#if defined(QORWEB_BUILDING_LIBRARY)
#define QORWEB_EXPORT __declspec(dllexport)
#else
#define QORWEB_EXPORT __declspec(dllimport)
#endif
#else
#define QORWEB_EXPORT __attribute__((visibility("default")))
#endif
