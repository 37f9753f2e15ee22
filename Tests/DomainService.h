#pragma once

// A domain of a test's own: stands where SSSD's library and daemon stand on a computer that is joined to one.
//
// A program that links KXDomainService has loaded a library of the name that is looked for, libsss_nss_idmap.so.0, and
// its connections to the daemon's socket go to one of the test's. One test at a time, before it starts threads.

#include <cstdint>
#include <string>

namespace DomainService {

enum class Kind : int { NotSpecified, User, Group, Both };

/// Begins anew: a daemon that runs, and no accounts.
void reset();

void add(std::uint32_t id, Kind kind, const std::string& sid);

/// What every question to the library is answered with from now on, an error number; 0: as the accounts are.
void failWith(int error);

/// The socket is gone; it stays behind without a daemon; a daemon has it that accepts nobody and whose queue is full.
void removeSocket();
void stopDaemon();
void fillQueue();

/// How often the library was asked, and with what time-out it was asked last, in milliseconds.
unsigned questions();
unsigned lastTimeout();

}  // namespace DomainService
