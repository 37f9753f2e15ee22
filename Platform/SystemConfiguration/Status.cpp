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
    return error == EACCES || error == EPERM || error == EROFS ? kSCStatusAccessError : kSCStatusFailed;
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
