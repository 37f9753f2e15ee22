#pragma once

#include <KXCoreLib/Export.h>

/// A service that a program and a shared library both ask for.
struct KX_EXPORT SharedService {
    int uses = 0;
};

/// The address of the instance as code inside the shared library sees it.
KX_EXPORT SharedService* SharedServiceOfLibrary();
