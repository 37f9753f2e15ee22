#pragma once

// Checks, by the compiler, that an operation offers its platform function as the rules of the family say: with the same
// arguments, as a member when the first of them is an object of the class and static otherwise, and with a wrapper for
// what it creates.
//
//     FORWARDS(ArrayRef, getCount, CFArrayGetCount);
//     FORWARDS_FORM(DictionaryRef(CFAllocatorRef, const void**, ...), DictionaryRef, create, CFDictionaryCreate);
//     OFFERS(CFStringCreateWithFormat, requires(CFStringRef format) { ... });
//
// The second is for one of several forms of an operation, the third for what has no one signature: it takes the test of
// the operation's own. Tests/EveryFunctionHasAnOperation.cmake looks for functions that no test checks so.

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <string_view>
#include <type_traits>

#define FORWARDS(Class, operation, function)                                                                    \
    static_assert(::KXCore::CoreFoundation::forwards<Class, decltype(&Class::operation), decltype(&function)>); \
    static_assert(::KXCore::CoreFoundation::owns<decltype(&Class::operation), decltype(&function)>(#function))
#define FORWARDS_FORM(Form, Class, operation, function)                                                               \
    static_assert(                                                                                                    \
        ::KXCore::CoreFoundation::forwards<Class, decltype(static_cast<std::add_pointer_t<Form>>(&Class::operation)), \
                                           decltype(&function)>)
#define OFFERS(function, ...) static_assert(std::is_pointer_v<decltype(&function)> && __VA_ARGS__)

namespace KXCore::CoreFoundation {

/// A result as a caller of the wrapper sees it: the same, or the wrapper of the raw type.
template <class Offered, class Raw>
constexpr bool sameResult = std::is_same_v<Offered, Raw>;
template <Wrapper Offered, class Raw>
constexpr bool sameResult<Offered, Raw> = std::is_same_v<typename Offered::RawType, Raw>;

/// An argument: the same, or a wrapper to be filled for what the platform writes through it. (An object of any type it
/// writes through a void*.)
template <class Offered, class Raw>
constexpr bool sameArgument = std::is_same_v<Offered, Raw>;
template <Wrapper Filled, class Raw>
constexpr bool sameArgument<Filled*, Raw*> = std::is_same_v<typename Filled::RawType, Raw>;
template <>
inline constexpr bool sameArgument<TypeRef*, void*> = true;

template <class... Arguments>
struct List {};

template <class Offered, class Raw>
constexpr bool sameArguments = false;
template <class... Offered, class... Raw>
requires(sizeof...(Offered) ==
         sizeof...(Raw)) constexpr bool sameArguments<List<Offered...>, List<Raw...>> = (sameArgument<Offered, Raw> &&
                                                                                         ...);

/// Whether a list of arguments begins with an object of the class. An allocator there says where a new object goes.
template <class Class, class Arguments>
constexpr bool beginsWithObject = false;
template <class Class, class First, class... Rest>
constexpr bool beginsWithObject<Class, List<First, Rest...>> =
    std::is_same_v<First, typename Class::RawType> && !std::is_same_v<First, CFAllocatorRef>;

template <class Class, class Operation, class Function>
constexpr bool forwards = false;
template <class Class, class R, class... A, class FR, class... FA>
constexpr bool forwards<Class, R (*)(A...), FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<A...>, List<FA...>> && !beginsWithObject<Class, List<FA...>>;
template <class Class, class R, class C, class... A, class FR, class... FA>
constexpr bool forwards<Class, R (C::*)(A...) const, FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<typename C::RawType, A...>, List<FA...>>;
template <class Class, class R, class C, class... A, class FR, class... FA>
constexpr bool forwards<Class, R (C::*)(A...), FR (*)(FA...)> =
    sameResult<R, FR>&& sameArguments<List<typename C::RawType, A...>, List<FA...>>;

template <class Function>
struct ResultOf;
template <class R, class... A>
struct ResultOf<R (*)(A...)> {
    using Type = R;
};
template <class R, class C, class... A>
struct ResultOf<R (C::*)(A...)> {
    using Type = R;
};
template <class R, class C, class... A>
struct ResultOf<R (C::*)(A...) const> {
    using Type = R;
};

/// Whether what a function creates or copies is handed out in a wrapper that owns it.
template <class Operation, class Function>
constexpr bool owns(std::string_view function) {
    const bool creates = function.find("Create") != function.npos || function.find("Copy") != function.npos;
    return !creates || !std::is_pointer_v<typename ResultOf<Function>::Type> ||
           Wrapper<typename ResultOf<Operation>::Type>;
}

}  // namespace KXCore::CoreFoundation
