#include "Status.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <cerrno>
#include <cstring>

namespace {

thread_local int lastStatus = kSCStatusOK;

}  // namespace

bool KXPlatform::setStatus(int status) noexcept {
    lastStatus = status;
    return status == kSCStatusOK;
}

int KXPlatform::statusOfErrno(int error) noexcept {
    switch (error) {
        case EACCES:
        case EPERM:
        case EROFS:
            return kSCStatusAccessError;
        // These say what to do about them.
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
        case EAGAIN:
            return error;
        default:
            return kSCStatusFailed;
    }
}

int SCError() { return lastStatus; }

const char* SCErrorString(int status) {
    switch (status) {
        case kSCStatusOK:
            return "Success!";
        case kSCStatusFailed:
            return "Failed!";
        case kSCStatusInvalidArgument:
            return "Invalid argument";
        case kSCStatusAccessError:
            return "Permission denied";
        case kSCStatusNoKey:
            return "No such key";
        case kSCStatusKeyExists:
            return "Key already defined";
        default:
            return std::strerror(status);
    }
}
