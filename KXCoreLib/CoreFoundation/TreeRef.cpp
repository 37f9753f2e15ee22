#include <KXCoreLib/CoreFoundation/TreeRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID TreeRef::getTypeID() { return CFTreeGetTypeID(); }

TreeRef TreeRef::create(CFAllocatorRef allocator, const CFTreeContext* context) {
    return KX_CREATE(TreeRef, CFTreeCreate)(allocator, context);
}

TreeRef TreeRef::getParent() const { return retain(CFTreeGetParent(get())); }
TreeRef TreeRef::getNextSibling() const { return retain(CFTreeGetNextSibling(get())); }
TreeRef TreeRef::getFirstChild() const { return retain(CFTreeGetFirstChild(get())); }
void TreeRef::getContext(CFTreeContext* context) const { CFTreeGetContext(get(), context); }
CFIndex TreeRef::getChildCount() const { return CFTreeGetChildCount(get()); }
TreeRef TreeRef::getChildAtIndex(CFIndex idx) const { return retain(CFTreeGetChildAtIndex(get(), idx)); }
void TreeRef::getChildren(CFTreeRef* children) const { CFTreeGetChildren(get(), children); }

void TreeRef::applyFunctionToChildren(CFTreeApplierFunction applier, void* context) const {
    CFTreeApplyFunctionToChildren(get(), applier, context);
}

TreeRef TreeRef::findRoot() const { return retain(CFTreeFindRoot(get())); }

void TreeRef::setContext(const CFTreeContext* context) const { CFTreeSetContext(get(), context); }
void TreeRef::prependChild(CFTreeRef newChild) const { CFTreePrependChild(get(), newChild); }
void TreeRef::appendChild(CFTreeRef newChild) const { CFTreeAppendChild(get(), newChild); }
void TreeRef::insertSibling(CFTreeRef newSibling) const { CFTreeInsertSibling(get(), newSibling); }
void TreeRef::remove() const { CFTreeRemove(get()); }
void TreeRef::removeAllChildren() const { CFTreeRemoveAllChildren(get()); }

void TreeRef::sortChildren(CFComparatorFunction comparator, void* context) const {
    CFTreeSortChildren(get(), comparator, context);
}

}  // namespace KXCore::CoreFoundation
