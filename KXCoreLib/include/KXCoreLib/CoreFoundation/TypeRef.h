#pragma once

/// The base of the wrappers: who owns what, and how operations are named and fail.
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
/// ArrayRef::getCount; what collides with a word of the language has its second letter raised: dElete) and exists in
/// one form. Where the function's first argument is an object of the class, the operation is a member, the held object
/// stands for that argument and the others follow. Every other operation is static and takes the function's whole list:
///
///     name.getLength()                          // CFStringGetLength(name)
///     StringRef::createCopy(nullptr, raw)       // CFStringCreateCopy(nullptr, raw)
///
/// Arguments and what a plain forwarder returns are the platform's raw, borrowed types. Beyond that:
///
///  - create... and copy... return a wrapper that owns the new object. When the platform returns null they throw a
///    CFException ("failed to create object"): they never return an empty wrapper;
///  - get... that returns an object returns a wrapper that retains it, empty when there is none. (An element of a
///    collection is a `const void*` and no object to the platform: it comes out raw.)
///  - an object that the platform returns through a pointer and that is then the caller's fills a wrapper: the argument
///    is a pointer to one, or null when the object is not wanted. What the wrapper held before is released; it is empty
///    when the platform returned nothing;
///  - an operation that explains its failure takes, as its last argument, a pointer to a holder of the explanation, or
///    null: an ErrorRef, or a StringRef or a DictionaryRef where the platform has a text or a dictionary there. With a
///    holder the operation never throws: the holder releases what it held and afterwards holds this call's explanation,
///    or nothing when there was none, and a result that is null comes back as an empty wrapper. Without one a failure
///    throws a CFException: "unexpected error occured", or "failed to create object" with the text in the log line.
///
///        ErrorRef error;
///        auto list = PropertyListRef::createWithData(nullptr, data, kCFPropertyListImmutable, nullptr, &error);
///        if (!list) return error.copyDescription();
///
/// What an operation does beyond that is what the platform documents for its function.
///
/// How a class is added: docs/wrappers.md. What a header declares looks like this:
///
///     class KX_EXPORT UUIDRef : public TypedRef<UUIDRef, CFUUIDRef> {
///       public:
///         static constexpr const char* typeName = "CFUUIDRef";
///         static const CFTypeID typeID;
///         static CFTypeID getTypeID();
///
///         static UUIDRef create(CFAllocatorRef allocator);
///         CFUUIDBytes getUUIDBytes() const;
///     };
///
/// A mutable companion derives from its immutable class and adds the mutating operations only:
///
///     class KX_EXPORT MutableArrayRef : public HeldRef<MutableArrayRef, CFMutableArrayRef, ArrayRef> { ... };
///
/// The platform has one type for both: the inherited assign() checks that an object is an array, not that it is
/// mutable.

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
///
/// A TypeRef cannot be assigned with `=`: a typed wrapper is a TypeRef too, and would take an object of any type
/// through a reference to its base. assign() replaces the held object.
class KX_EXPORT TypeRef {
  public:
    using RawType = CFTypeRef;

    TypeRef() noexcept = default;
    TypeRef(const TypeRef& other) noexcept : object_(other.object_) {
        if (object_) CFRetain(object_);
    }
    TypeRef(TypeRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
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

    /// adopt() for what a creating function of the platform returned: null is reported as a failure of `function`.
    static TypeRef created(CFTypeRef raw, const char* function) {
        if (!raw) __FailedToCreateObject(function);
        return adopt(raw);
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
    // Assignment of the classes that know their type.
    TypeRef& operator=(const TypeRef& other) noexcept {
        assign(other.object_);
        return *this;
    }
    TypeRef& operator=(TypeRef&& other) noexcept {
        TypeRef taken(std::move(other));
        std::swap(object_, taken.object_);
        return *this;
    }

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

}  // namespace KXCore::CoreFoundation

/// CFHash, and 0 for an empty wrapper: equal wrappers have equal hashes.
template <KXCore::CoreFoundation::Wrapper Ref>
struct std::hash<Ref> {
    std::size_t operator()(const Ref& ref) const noexcept {
        const CFTypeRef object = ref.get();
        return object ? static_cast<std::size_t>(CFHash(object)) : 0;
    }
};
