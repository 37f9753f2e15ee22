#include "SingletonTestLibrary.h"

template KX_EXPORT LibraryService& KXCore::GetSingletonInstance<LibraryService, int>();

SharedService* SharedServiceOfLibrary() { return &KXCore::GetSingletonInstance<SharedService, int>(); }
LibraryService* LibraryServiceOfLibrary() { return &KXCore::GetSingletonInstance<LibraryService, int>(); }
