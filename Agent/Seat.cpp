#include "Seat.h"

#include <systemd/sd-login.h>

namespace agent {

std::optional<uid_t> userAtSeat() {
    uid_t user = 0;
    if (sd_seat_get_active("seat0", nullptr, &user) < 0) return std::nullopt;
    return user;
}

}  // namespace agent
