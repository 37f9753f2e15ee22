#pragma once

#include <mach/port.h>
