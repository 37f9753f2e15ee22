#pragma once

/// Trees of nodes, each with a context of the program's own.
///
/// A tree owns its children: it retains each as it takes it and releases it when it is removed or the tree ends. A child
/// does not retain its parent. What the functions return is borrowed and good for as long as the parent holds it. Any
/// number of threads may read trees that nobody changes; trees that are connected belong to one thread while one of
/// them changes. No function recurses, whatever the depth.
///
/// Nothing here fails loudly: a tree that is null or none has no effect, and null or 0 is returned.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

/// What a tree does with the `info` of its context. Each may be null. `retain` returns what the tree is to keep.
typedef const void* (*CFTreeRetainCallBack)(const void* info);
typedef void (*CFTreeReleaseCallBack)(const void* info);
typedef CFStringRef (*CFTreeCopyDescriptionCallBack)(const void* info);
/// `version` is 0.
typedef struct CFTreeContext {
    CFIndex version;
    void* info;
    CFTreeRetainCallBack retain;
    CFTreeReleaseCallBack release;
    CFTreeCopyDescriptionCallBack copyDescription;
} CFTreeContext;

typedef void (*CFTreeApplierFunction)(const void* value, void* context);
typedef struct __CFTree* CFTreeRef;

CF_EXPORT CFTypeID CFTreeGetTypeID(void);

/// A tree without parent and children, with its own copy of `context`, whose info it retains. Null when the context is
/// null or of another version, or there is no memory.
CF_EXPORT CFTreeRef CFTreeCreate(CFAllocatorRef allocator, const CFTreeContext* context);

// ---- Reading

CF_EXPORT CFTreeRef CFTreeGetParent(CFTreeRef tree);
CF_EXPORT CFTreeRef CFTreeGetNextSibling(CFTreeRef tree);
CF_EXPORT CFTreeRef CFTreeGetFirstChild(CFTreeRef tree);
/// Writes the context, whose version must be 0, to `context`; its info is not retained.
CF_EXPORT void CFTreeGetContext(CFTreeRef tree, CFTreeContext* context);
/// Constant time.
CF_EXPORT CFIndex CFTreeGetChildCount(CFTreeRef tree);
/// The child at `idx`, found by walking there from the nearer end; null when there is none.
CF_EXPORT CFTreeRef CFTreeGetChildAtIndex(CFTreeRef tree, CFIndex idx);
/// Writes all children, borrowed and in order, to `children`, which has room for them.
CF_EXPORT void CFTreeGetChildren(CFTreeRef tree, CFTreeRef* children);
/// Calls `applier` with each child that the tree has at the time of the call and `context`, in order. The applier may
/// change the tree. None is called when there is no memory to remember them all.
CF_EXPORT void CFTreeApplyFunctionToChildren(CFTreeRef tree, CFTreeApplierFunction applier, void* context);
/// The topmost ancestor of `tree`; the tree itself where it has no parent.
CF_EXPORT CFTreeRef CFTreeFindRoot(CFTreeRef tree);

// ---- Changing

/// Retains the new info, then releases the old one.
CF_EXPORT void CFTreeSetContext(CFTreeRef tree, const CFTreeContext* context);
/// Makes `newChild` the first, or the last, child. No effect when it has a parent already or is `tree` itself or an
/// ancestor of it.
CF_EXPORT void CFTreePrependChild(CFTreeRef tree, CFTreeRef newChild);
CF_EXPORT void CFTreeAppendChild(CFTreeRef tree, CFTreeRef newChild);
/// Puts `newSibling` right after `tree`, which must have a parent; otherwise as above.
CF_EXPORT void CFTreeInsertSibling(CFTreeRef tree, CFTreeRef newSibling);
/// Takes `tree`, with all that hangs on it, away from its parent, which releases it.
CF_EXPORT void CFTreeRemove(CFTreeRef tree);
CF_EXPORT void CFTreeRemoveAllChildren(CFTreeRef tree);
/// Sorts the children, not theirs, by `comparator`, which is passed two children and `context`. Stable, and without
/// taking memory. The comparator must not change the tree.
CF_EXPORT void CFTreeSortChildren(CFTreeRef tree, CFComparatorFunction comparator, void* context);

CF_EXTERN_C_END
