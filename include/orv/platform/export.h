#pragma once

/// `ORV_EXPORT` marks what callers of the shared library may use: classes as a whole, and plain
/// functions, which have C linkage and undecorated names. Define `ORV_STATIC` where the library's
/// objects are linked in directly.

#if !defined(_WIN32)
#define ORV_EXPORT __attribute__((visibility("default")))
#elif defined(ORV_BUILDING)
#define ORV_EXPORT __declspec(dllexport)
#elif defined(ORV_STATIC)
#define ORV_EXPORT
#else
#define ORV_EXPORT __declspec(dllimport)
#endif
