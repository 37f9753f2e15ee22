#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFTree.h>

namespace KXCore::CoreFoundation {

/// A node of a tree and all that hangs on it. A tree retains its children, a child not its parent: whoever holds a part
/// holds what is below it. Trees are changed through any wrapper that holds one.
class KX_EXPORT TreeRef : public TypedRef<TreeRef, CFTreeRef> {
  public:
    static constexpr const char* typeName = "CFTreeRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// A tree alone; what its context says is done with the context's info.
    static TreeRef create(CFAllocatorRef allocator, const CFTreeContext* context);

    /// These three are empty where there is none.
    TreeRef getParent() const;
    TreeRef getNextSibling() const;
    TreeRef getFirstChild() const;
    void getContext(CFTreeContext* context) const;
    CFIndex getChildCount() const;
    /// Empty beyond the last; walks there from the nearer end.
    TreeRef getChildAtIndex(CFIndex idx) const;
    /// Fills a buffer of getChildCount() places with borrowed trees.
    void getChildren(CFTreeRef* children) const;
    /// With the children of the time of the call; the applier may change the tree.
    void applyFunctionToChildren(CFTreeApplierFunction applier, void* context) const;
    /// The tree itself where it has no parent.
    TreeRef findRoot() const;

    void setContext(const CFTreeContext* context) const;
    /// No effect for a tree that has a parent, or would be its own ancestor.
    void prependChild(CFTreeRef newChild) const;
    void appendChild(CFTreeRef newChild) const;
    /// Right after this one, which needs a parent.
    void insertSibling(CFTreeRef newSibling) const;
    /// Away from its parent.
    void remove() const;
    void removeAllChildren() const;
    void sortChildren(CFComparatorFunction comparator, void* context) const;
};
static_assert(isPlainRef<TreeRef>);

}  // namespace KXCore::CoreFoundation
