// Misuse of property-list navigation; see CMakeLists.txt.

#include <KXCoreLib/PList.h>

using namespace KXCore;

void use(const PListNavigator& list) {
    // What is right.
    int value = 0;
    (list.root() / "A").getValue(value, ItemKind::Optional);
    CoreFoundation::StringRef string;
    list.root().getValue(string);

#if defined AskingForATypeThatListsLack
    unsigned short small = 0;
    list.root().getValue(small);
#elif defined AskingForAMutableString
    CoreFoundation::MutableStringRef changing;
    list.root().getValue(changing);
#elif defined ANumberForAnItemKind
    list.root().getValue(value, 2);
#elif defined CopyingANode
    const PListNode copy = list.root();
#elif defined CopyingANavigator
    const PListNavigator copy = list;
#endif
}
