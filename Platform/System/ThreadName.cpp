#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

int pthread_setname_np(const char* name) noexcept {
    if (!name) return EINVAL;
    char kept[16];
    const std::size_t length = strnlen(name, sizeof kept - 1);
    std::copy_n(name, length, kept);
    kept[length] = 0;
    return pthread_setname_np(pthread_self(), kept);
}
