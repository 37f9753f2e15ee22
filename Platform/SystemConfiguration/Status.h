#pragma once

// How operations on the store end: a status of SCDynamicStore.h, kept for each thread as what SCError() answers.

namespace KXPlatform {

/// Sets what SCError() answers on this thread, and returns whether it is success.
bool setStatus(int status) noexcept;

/// The status for a system call that failed with `error`: the number itself where the process or the system has run out
/// of something.
int statusOfErrno(int error) noexcept;

}  // namespace KXPlatform
