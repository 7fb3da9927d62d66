// Symbol visibility for libkestal. The library is built with hidden visibility; every
// public class and function is marked KESTAL_API so that exactly the documented API is exported.
#pragma once

#if defined(KESTAL_STATIC)
#define KESTAL_API
#elif defined(KESTAL_BUILDING)
#define KESTAL_API __attribute__((visibility("default")))
#else
#define KESTAL_API __attribute__((visibility("default")))
#endif

/// For a member of an exported class that only the library calls: not exported, so the library's
/// own calls go direct instead of through the symbol table.
#if defined(__GNUC__)
#define KESTAL_INTERNAL __attribute__((visibility("hidden")))
#else
#define KESTAL_INTERNAL
#endif

/// C linkage for the allocation entry points, usable from C++ and C translation units.
#ifdef __cplusplus
#define KESTAL_EXTERN_C extern "C"
#else
#define KESTAL_EXTERN_C
#endif
