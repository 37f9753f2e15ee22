#pragma once

/// The base of the wrappers: who owns what, and what a class of the family is made of.
///
/// A wrapper is a value of the size of a pointer that owns one reference to a platform object, or is empty. A copy
/// retains, a move empties its source, the destructor releases. There are two named ways in and no implicit one:
///
///     auto name = StringRef::adopt(CFStringCreateCopy(nullptr, text));  // takes over a reference the caller owns
///     auto same = StringRef::retain(text);                              // adds a reference to a borrowed object
///     name.get()                                                        // borrows: valid while the wrapper lives
///
/// One wrapper is used by one thread at a time; two wrappers of one object may be used by two threads.
///
/// Every operation is named after its platform function without "CF" and the type ("CFArrayGetCount" is
/// ArrayRef::getCount; what collides with a word of the language has its second letter raised: dElete) and takes the
/// same arguments. Where the first of them is an object of the class, the operation is a member and the held object
/// stands for it; every other operation is static. What creates from an allocator and an object of the class has both
/// forms: StringRef::createCopy(nullptr, raw), name.createCopy(nullptr). Arguments and what a plain forwarder returns
/// are the platform's raw, borrowed types. Beyond that:
///
///  - create... and copy... return a wrapper that owns the new object. When the platform gives none they throw a
///    CFException ("failed to create object"): they never return an empty wrapper;
///  - get... that returns an object of a known type returns a wrapper that retains it, empty when there is none;
///  - an operation with an error out-argument takes an `ErrorRef*`: see ErrorOutlet.h.
///
/// What an operation does beyond that is what the platform documents for its function.
///
/// A class is added like this (and its typeID is filled in CoreFoundationWrappers.cpp):
///
///     class KX_EXPORT UUIDRef : public TypedRef<UUIDRef, CFUUIDRef> {
///     public:
///         static constexpr const char* typeName = "CFUUIDRef";
///         static const CFTypeID typeID;
///         static CFTypeID getTypeID() { return CFUUIDGetTypeID(); }
///
///         static UUIDRef create(CFAllocatorRef allocator) { return created(CFUUIDCreate(allocator), "CFUUIDCreate"); }
///         CFUUIDBytes getUUIDBytes() const { return CFUUIDGetUUIDBytes(get()); }
///     };
///
/// A mutable companion derives from its immutable class and adds the mutating operations only:
///
///     class KX_EXPORT MutableArrayRef : public HeldRef<MutableArrayRef, CFMutableArrayRef, ArrayRef> { ... };

#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/Export.h>

#include <CoreFoundation/CFBase.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace KXCore::CoreFoundation {

/// An owned reference to an object of any type.
class KX_EXPORT TypeRef {
  public:
    using RawType = CFTypeRef;

    TypeRef() noexcept = default;
    TypeRef(const TypeRef& other) noexcept : object_(other.object_) {
        if (object_) CFRetain(object_);
    }
    TypeRef(TypeRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    TypeRef& operator=(const TypeRef& other) noexcept {
        assign(other.object_);
        return *this;
    }
    TypeRef& operator=(TypeRef&& other) noexcept {
        TypeRef taken(std::move(other));
        std::swap(object_, taken.object_);
        return *this;
    }
    ~TypeRef() {
        if (object_) CFRelease(object_);
    }

    /// Replaces the held object by `p`, which is retained; null empties the wrapper. `p` may be the held object.
    void assign(CFTypeRef p) noexcept {
        if (p) CFRetain(p);
        if (object_) CFRelease(object_);
        object_ = p;
    }

    /// A wrapper that takes over the caller's reference to `raw`; empty when it is null.
    static TypeRef adopt(CFTypeRef raw) noexcept {
        TypeRef made;
        made.object_ = raw;
        return made;
    }

    /// A wrapper that adds a reference to `raw`; empty when it is null.
    static TypeRef retain(CFTypeRef raw) noexcept {
        TypeRef made;
        made.assign(raw);
        return made;
    }

    /// The held object, borrowed; null when the wrapper is empty.
    CFTypeRef get() const noexcept { return object_; }

    explicit operator bool() const noexcept { return object_ != nullptr; }

    /// CFEqual, and true for two empty wrappers.
    friend bool operator==(const TypeRef& a, const TypeRef& b) noexcept {
        return a.object_ == b.object_ || (a.object_ && b.object_ && CFEqual(a.object_, b.object_));
    }

    /// CFHash, and 0 for an empty wrapper: for Boost's hash containers.
    friend std::size_t hash_value(const TypeRef& ref) noexcept {
        return ref.object_ ? static_cast<std::size_t>(CFHash(ref.object_)) : 0;
    }

  protected:
    /// assign() for an object that must be of the type `typeID`; anything else, null included, is reported as an
    /// unexpected pointer, and the wrapper keeps what it held.
    void assignOfType(CFTypeID typeID, const char* typeName, CFTypeRef p);

  private:
    template <class, class, class>
    friend class HeldRef;

    CFTypeRef object_ = nullptr;
};

/// Gives `Derived` its ways in and out for the raw type `Raw`. `Base` is TypeRef, or for a mutable companion the class
/// whose operations it inherits.
template <class Derived, class Raw, class Base = TypeRef>
class HeldRef : public Base {
  public:
    using RawType = Raw;

    HeldRef() noexcept = default;

    /// A wrapper that takes over the caller's reference to `raw`; empty when it is null.
    static Derived adopt(Raw raw) noexcept {
        Derived made;
        made.TypeRef::object_ = raw;
        return made;
    }

    /// A wrapper that adds a reference to `raw`; empty when it is null.
    static Derived retain(Raw raw) noexcept {
        Derived made;
        made.TypeRef::assign(raw);
        return made;
    }

    /// adopt() for what a creating function of the platform returned: null is reported as a failure of `function`.
    static Derived created(Raw raw, const char* function) {
        if (!raw) __FailedToCreateObject(function);
        return adopt(raw);
    }

    /// The held object, borrowed; null when the wrapper is empty.
    Raw get() const noexcept { return static_cast<Raw>(const_cast<void*>(this->TypeRef::get())); }
};

/// The base of a class whose objects are all of one platform type: adds the assignment that checks it.
template <class Derived, class Raw>
class TypedRef : public HeldRef<Derived, Raw> {
  public:
    TypedRef() noexcept = default;

    /// Replaces the held object by `p`, which is retained. Throws "unexpected pointer type", and keeps the held object,
    /// when `p` is null or of another type.
    void assign(CFTypeRef p) { this->assignOfType(Derived::typeID, Derived::typeName, p); }
};

/// TypeRef and what derives from it.
template <class T>
concept Wrapper = requires {
    typename T::RawType;
}
&&std::derived_from<T, TypeRef>;

/// What every class of the family promises, for a static_assert beside it.
template <class Ref>
inline constexpr bool isPlainRef = Wrapper<Ref> && sizeof(Ref) == sizeof(CFTypeRef) &&
                                   !std::is_polymorphic_v<Ref> && std::is_nothrow_move_constructible_v<Ref> &&
                                   std::is_nothrow_move_assignable_v<Ref> && std::is_nothrow_copy_constructible_v<Ref>;
static_assert(isPlainRef<TypeRef>);

}  // namespace KXCore::CoreFoundation

/// CFHash, and 0 for an empty wrapper: equal wrappers have equal hashes.
template <KXCore::CoreFoundation::Wrapper Ref>
struct std::hash<Ref> {
    std::size_t operator()(const Ref& ref) const noexcept {
        const CFTypeRef object = ref.get();
        return object ? static_cast<std::size_t>(CFHash(object)) : 0;
    }
};
