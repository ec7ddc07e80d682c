/* Linkage and compile-time checks shared by all public headers; usable from C11 and C++20. */
#ifndef VCA_BASE_H
#define VCA_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define VCA_EXTERN_C_BEGIN extern "C" {
#define VCA_EXTERN_C_END }
#define VCA_STATIC_ASSERT(cond, text) static_assert(cond, text)
#define VCA_ALIGNED(bytes) alignas(bytes)
#define VCA_ALIGNOF(type) alignof(type)
#else
#define VCA_EXTERN_C_BEGIN
#define VCA_EXTERN_C_END
#define VCA_STATIC_ASSERT(cond, text) _Static_assert(cond, text)
#define VCA_ALIGNED(bytes) _Alignas(bytes)
#define VCA_ALIGNOF(type) _Alignof(type)
#endif

/* Marks a function that the shared library exports; everything else stays hidden. */
#define VCA_API __attribute__((visibility("default")))

#define VCA_CHECK_SIZE(type, bytes) VCA_STATIC_ASSERT(sizeof(type) == (bytes), #type " size")
#define VCA_CHECK_OFFSET(type, field, bytes) \
    VCA_STATIC_ASSERT(offsetof(type, field) == (bytes), #type "." #field " offset")

#endif
