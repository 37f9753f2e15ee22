#pragma once

#ifdef __GNUC__
#pragma GCC system_header
#endif

/// The system's <pthread.h>, and beside it the call by which a thread names itself.

#include_next <pthread.h>

#ifdef __cplusplus
/// Names the calling thread. Of a name longer than the system keeps (15 bytes) the beginning is taken. Returns 0, or an
/// errno value: EINVAL when `name` is null.
extern "C++" __attribute__((visibility("default"))) int pthread_setname_np(const char* name) noexcept;
#endif
