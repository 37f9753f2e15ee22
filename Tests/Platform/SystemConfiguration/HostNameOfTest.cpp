// Stands before the C library's gethostname for this whole program, the libraries it uses included.

#include "StoreTesting.h"

#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

extern "C" __attribute__((visibility("default"))) int gethostname(char* name, size_t size) noexcept {
    utsname system;
    const char* answer = hostNameOfTest;
    if (!answer && uname(&system) == 0) answer = system.nodename;
    if (answer && cutsHostNameOfTest && std::strlen(answer) >= size) {
        std::memcpy(name, answer, size);
        return 0;
    }
    if (!answer || !*answer || std::strlen(answer) >= size) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::strcpy(name, answer);
    return 0;
}
