#pragma once

#include <sys/types.h>
#include <optional>

namespace agent {

/// The user whose session is in the foreground of the computer's first seat, as the login manager knows; no value where
/// nobody is logged in there or no login manager runs.
std::optional<uid_t> userAtSeat();

}  // namespace agent
