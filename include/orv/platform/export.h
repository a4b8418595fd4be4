#pragma once

/// `ORV_EXPORT` marks what the shared library exports: classes as a whole, and plain functions,
/// which have C linkage and undecorated names. Define `ORV_STATIC` when linking the static library.
/// `ORV_HIDDEN` excludes a private member of an exported class on Linux.

#if !defined(_WIN32)
/// Excludes a private member of an exported class.
#define ORV_HIDDEN __attribute__((visibility("hidden")))
/// Exports a class or function.
#define ORV_EXPORT __attribute__((visibility("default")))
#elif defined(ORV_BUILDING)
#define ORV_EXPORT __declspec(dllexport)
#elif defined(ORV_STATIC)
#define ORV_EXPORT
#else
#define ORV_EXPORT __declspec(dllimport)
#endif
