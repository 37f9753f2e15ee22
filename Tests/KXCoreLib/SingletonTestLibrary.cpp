#include "SingletonTestLibrary.h"

#include <KXCoreLib/Singleton.h>

SharedService* SharedServiceOfLibrary() { return &KXCore::GetSingletonInstance<SharedService, int>(); }
