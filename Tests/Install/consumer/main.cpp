// The classes, from C++, with the exceptions that cross the library's boundary.

#include <KXCoreLib/CoreFoundationWrappers.h>

extern "C" int usePlainFunctions(void);

using namespace KXCore::CoreFoundation;

int main() {
    if (const int failed = usePlainFunctions()) return failed;
    const StringRef text = StringRef::createWithStdString(kCFAllocatorDefault, "gr\xC3\xBC\xC3\x9F", kCFStringEncodingUTF8);
    if (text.getLength() != 4 || text.copyStdString() != "gr\xC3\xBC\xC3\x9F") return 3;
    try {
        StringRef wrong;
        wrong.assign(kCFBooleanTrue);
        return 4;
    } catch (const CFException&) {
        return 0;
    }
}
