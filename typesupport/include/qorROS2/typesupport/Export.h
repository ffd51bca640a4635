#pragma once

// Marks the public symbols of the type-support library. The library is built with hidden
// visibility, so only what carries this mark is part of its binary interface.
#if defined(_WIN32)
#if defined(QORTYPESUPPORT_BUILDING_LIBRARY)
#define QORTYPESUPPORT_EXPORT __declspec(dllexport)
#else
#define QORTYPESUPPORT_EXPORT __declspec(dllimport)
#endif
#else
#define QORTYPESUPPORT_EXPORT __attribute__((visibility("default")))
#endif
