#pragma once

/// What the system tells about itself by selector.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

CF_ANONYMOUS_ENUM(SInt32){
    noErr = 0,
    paramErr = -50,
    gestaltUndefSelectorErr = -5551,
};

/// Selectors: 'sys1', 'sys2' and 'sys3', the three numbers of the system's version.
CF_ANONYMOUS_ENUM(OSType){
    gestaltSystemVersionMajor = 0x73797331,
    gestaltSystemVersionMinor = 0x73797332,
    gestaltSystemVersionBugFix = 0x73797333,
};

/// Puts what the system returns for `selector` into `response`, which keeps its value on failure. Any thread.
///
/// Returns noErr, gestaltUndefSelectorErr for a selector other than the three above, or paramErr for a null response.
/// The version is fixed, 12.0.0, unless the environment variable KXPLATFORM_SYSTEM_VERSION names another when it is
/// asked for: one to three decimal numbers with dots between them ("10.15.7"), numbers left out being 0.
CF_EXPORT OSErr Gestalt(OSType selector, SInt32* response);

CF_EXTERN_C_END
