#pragma once

// Process-wide services that are built when they are first asked for.
//
// Nobody owns the instance: it lives from its first use until the process ends, and its destructor never runs. Any
// thread may ask at any time; no lock is taken.

#include <atomic>

#include <KXCoreLib/Export.h>

namespace KXCore {

/// The one instance of `T` in this process, built with its default constructor. `Tag` tells instances of one type
/// apart; everybody uses `int`: GetSingletonInstance<Service, int>().
///
/// Threads that ask for the first time at the same moment may each build one; all get the one that was published first,
/// and the others are destroyed at once. So the constructor must not have effects outside the object. An exception from
/// it passes on, and the next call tries again.
///
/// One per process also where several shared libraries ask: the instance is published under a symbol that they share,
/// as far as `T` is itself visible between them (KX_EXPORT). A type private to a library stays private to it. A library
/// that exports a service declares below it
///
///     extern template KX_EXPORT Service& GetSingletonInstance<Service, int>();
///
/// and instantiates it in one of its sources: then the instance is under the library's own symbol, and is the same for
/// libraries that are loaded later and share no symbols with each other.
template <class T, class Tag>
KX_EXPORT T& GetSingletonInstance() {
    static constinit std::atomic<T*> globalInstancePtr{nullptr};

    if (T* const published = globalInstancePtr.load(std::memory_order_acquire)) return *published;
    T* const made = new T;
    T* published = nullptr;
    if (globalInstancePtr.compare_exchange_strong(published, made, std::memory_order_seq_cst)) return *made;
    delete made;
    return *published;
}

}  // namespace KXCore
