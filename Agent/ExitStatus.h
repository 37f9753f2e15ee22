#pragma once

#include <sysexits.h>

namespace agent {

/// How the agent ends, in the numbers of sysexits.h.
enum ExitStatus : int {
    Ended = EX_OK,                  ///< a signal asked it to
    BadUsage = EX_USAGE,            ///< 64: the command line
    BadConfiguration = EX_DATAERR,  ///< 65: the configuration, or what it names
    BadStream = EX_NOINPUT,         ///< 66: the stream or its folder
    TryAgain = EX_TEMPFAIL,         ///< 75: another agent owns the stream, or the system lacks something just now
};

}  // namespace agent
