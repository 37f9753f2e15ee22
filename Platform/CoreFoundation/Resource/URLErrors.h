#pragma once

// The errors that functions on files report: codes of the Cocoa domain, with the system's own as the cause.

#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFURL.h>

namespace KXPlatform {

/// Codes of kCFErrorDomainCocoa.
enum FileErrorCode : CFIndex {
    NoSuchFile = 4,
    ReadUnknown = 256,
    ReadNoPermission = 257,
    ReadInvalidFileName = 258,
    ReadCorruptFile = 259,
    ReadNoSuchFile = 260,
    ReadUnsupportedScheme = 262,
    WriteUnknown = 512,
    WriteNoPermission = 513,
    WriteInvalidFileName = 514,
    WriteFileExists = 516,
    WriteUnsupportedScheme = 518,
    WriteOutOfSpace = 640,
    WriteVolumeReadOnly = 642,
    FeatureUnsupported = 3328,
};

/// Stores an error where the caller wants one; `error` and `url` may be null.
void reportFileError(CFErrorRef* error, FileErrorCode code, CFURLRef url, int cause = 0) noexcept;

/// The code for an errno of a call that read or wrote.
FileErrorCode readErrorOf(int cause) noexcept;
FileErrorCode writeErrorOf(int cause) noexcept;

}  // namespace KXPlatform
