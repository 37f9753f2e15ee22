#include "Service.h"

#include <systemd/sd-daemon.h>
#include <time.h>

namespace agent {

void Service::waits(const std::string& why) const {
    sd_notify(0, ("STATUS=waiting: " + why + "\nEXTEND_TIMEOUT_USEC=30000000").c_str());
}

void Service::isReady() const { sd_notify(0, "READY=1\nSTATUS=watching"); }

void Service::reloads() const {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long time = now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
    sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(time)).c_str());
}

void Service::ends() const { sd_notify(0, "STOPPING=1"); }

void Service::lives() const { sd_notify(0, "WATCHDOG=1"); }

std::optional<std::chrono::microseconds> Service::watchdog() const {
    std::uint64_t time = 0;
    if (sd_watchdog_enabled(0, &time) <= 0) return std::nullopt;
    return std::chrono::microseconds(time);
}

}  // namespace agent
