#pragma once

/// The system's configuration as programs see it.

#include <CoreFoundation/CoreFoundation.h>

#include <SystemConfiguration/SCDynamicStore.h>
