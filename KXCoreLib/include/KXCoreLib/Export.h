#pragma once

/// Marks what the library exports; everything else stays inside it. C may include this header.
#define KX_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#if __cplusplus < 202002L
#error "KXCoreLib needs C++20: compile with -std=c++20 or later."
#endif
#define KX_EXTERN_C_BEGIN extern "C" {
#define KX_EXTERN_C_END }
#define KX_NOEXCEPT noexcept
#else
#define KX_EXTERN_C_BEGIN
#define KX_EXTERN_C_END
#define KX_NOEXCEPT
#endif
