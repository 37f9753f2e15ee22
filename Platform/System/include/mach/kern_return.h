#pragma once

/// Results of the kernel's calls.

typedef int kern_return_t;

#define KERN_SUCCESS 0
#define KERN_NO_SPACE 3
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_NAME_EXISTS 13
#define KERN_INVALID_NAME 15
#define KERN_INVALID_RIGHT 17
#define KERN_INVALID_VALUE 18
#define KERN_UREFS_OVERFLOW 19
#define KERN_RIGHT_EXISTS 21
