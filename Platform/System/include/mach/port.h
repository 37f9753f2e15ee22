#pragma once

/// Names and rights of ports.

#include <stdint.h>

typedef unsigned int mach_port_t;
typedef mach_port_t mach_port_name_t;
