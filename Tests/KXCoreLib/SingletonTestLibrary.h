#pragma once

#include <KXCoreLib/Export.h>
#include <KXCoreLib/Singleton.h>

/// A service that a program and a shared library both ask for.
struct KX_EXPORT SharedService {
    int uses = 0;
};

/// A service whose instance the library keeps.
struct KX_EXPORT LibraryService {
    int uses = 0;
};
extern template KX_EXPORT LibraryService& KXCore::GetSingletonInstance<LibraryService, int>();

/// The addresses of the instances as code inside the shared library sees them.
KX_EXPORT SharedService* SharedServiceOfLibrary();
KX_EXPORT LibraryService* LibraryServiceOfLibrary();
