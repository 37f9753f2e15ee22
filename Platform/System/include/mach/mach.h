#pragma once

/// Ports and messages, under the names, types and values of macOS.

#include <mach/kern_return.h>
#include <mach/mach_port.h>
#include <mach/message.h>
#include <mach/port.h>
