#include "LockRecorder.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace lock_order {
namespace {

// Nothing here may allocate or lock while a mutex is locked for the program: the tables are of fixed size, and a
// program that outgrows one ends.

using Address = std::uintptr_t;

struct Range {
    Address first;
    Address end;
    const char* name;
};

/// A mutex `offset` bytes behind a word that is `word` in all objects of its class.
struct Member {
    Address word;
    Address offset;
    const char* name;
};

struct NamedPair {
    const char* held;
    const char* locked;
};

/// Grows only, so it is read without a lock.
template <class Entry, std::size_t kSize>
class Table {
  public:
    /// Needs the tables' lock.
    void add(const Entry& entry) {
        const std::size_t count = count_.load(std::memory_order_relaxed);
        if (count == kSize) std::abort();
        entries_[count] = entry;
        count_.store(count + 1, std::memory_order_release);
    }
    void clear() { count_.store(0, std::memory_order_release); }
    const Entry* begin() const { return entries_.data(); }
    const Entry* end() const { return entries_.data() + count_.load(std::memory_order_acquire); }

  private:
    std::array<Entry, kSize> entries_{};
    std::atomic<std::size_t> count_{0};
};

constinit Table<Range, 256> ranges;
constinit Table<Member, 64> members;
constinit Table<NamedPair, 1024> pairs;

/// A lock that is none of the functions that are recorded.
class TablesLock {
  public:
    TablesLock() {
        while (isTaken_.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~TablesLock() { isTaken_.clear(std::memory_order_release); }
    TablesLock(const TablesLock&) = delete;
    TablesLock& operator=(const TablesLock&) = delete;

  private:
    static constinit std::atomic_flag isTaken_;
};
constinit std::atomic_flag TablesLock::isTaken_;

struct Held {
    Address mutex;
    const char* name;  ///< null for one that is passed over
};

constexpr std::size_t kDeepest = 64;

thread_local constinit Held held[kDeepest];
thread_local constinit std::size_t depth = 0;

/// The mutexes without a name that this thread locks while it looks for one.
thread_local constinit Address unnamed[kDeepest];
thread_local constinit std::size_t unnamedCount = 0;
thread_local constinit bool isLooking = false;

/// This thread locks an SQLite connection for the library.
thread_local constinit bool locksConnection = false;
thread_local constinit bool isOfSQLite = false;  ///< or for SQLite itself
constexpr char kConnection[] = "SQLite connection";

/// The word at `at`, or 0 where there is no memory.
Address wordAt(Address at) {
    constexpr Address kPage = 4096;
    Address word = 0;
    iovec to{&word, sizeof word};
    iovec from{reinterpret_cast<void*>(at), sizeof word};
    static_assert(kPage % sizeof word == 0);
    return process_vm_readv(getpid(), &to, 1, &from, 1, 0) == sizeof word ? word : 0;
}

const char* nameOf(Address mutex) {
    for (const Range& range : ranges) {
        if (mutex >= range.first && mutex < range.end) return range.name;
    }
    for (const Member& member : members) {
        if (wordAt(mutex - member.offset) == member.word) return member.name;
    }
    return nullptr;
}

/// What a mutex without a name counts as, by who locks it.
const char* nameByCaller(const void* caller) {
    Dl_info info;
    if (dladdr(caller, &info) == 0 || !info.dli_fname) return nullptr;
    if (std::strstr(info.dli_fname, "libKXPlatform")) return "(unnamed, of KXPlatform)";
    if (std::strstr(info.dli_fname, "libKXCoreLib")) return "(unnamed, of KXCoreLib)";
    return nullptr;
}

bool isUnnamed(const char* name) { return name && *name == '('; }

void record(const char* before, const char* locked) {
    const auto isKnown = [&] {
        for (const NamedPair& each : pairs) {
            if (each.held == before && each.locked == locked) return true;
        }
        return false;
    };
    if (isKnown()) return;
    const TablesLock lock;
    if (!isKnown()) pairs.add({before, locked});
}

/// `waits` is false for a mutex that was tried: it is held from now on, but nobody waited for it.
void noteLocked(const void* at, const void* caller, bool waits) {
    const int error = errno;
    const auto mutex = reinterpret_cast<Address>(at);
    bool isAgain = false;
    for (std::size_t i = 0; i < depth; ++i) isAgain = isAgain || held[i].mutex == mutex;
    const char* name = nameOf(mutex);
    if (locksConnection) name = kConnection;
    if (!name && !isOfSQLite) name = nameByCaller(caller);
    if (isLooking && isUnnamed(name) && unnamedCount < kDeepest) unnamed[unnamedCount++] = mutex;
    if (name && !isAgain && waits) {
        for (std::size_t i = 0; i < depth; ++i) {
            if (held[i].name) record(held[i].name, name);
        }
    }
    if (depth == kDeepest) std::abort();
    held[depth++] = {mutex, name};
    errno = error;
}

void noteUnlocked(const void* at) {
    const auto mutex = reinterpret_cast<Address>(at);
    for (std::size_t i = depth; i-- > 0;) {
        if (held[i].mutex != mutex) continue;
        std::memmove(&held[i], &held[i + 1], (depth - i - 1) * sizeof held[0]);
        --depth;
        return;
    }
}

/// The C library's function of a name.
template <class Function>
Function* systems(std::atomic<Function*>& known, const char* name) {
    if (Function* const found = known.load(std::memory_order_acquire)) return found;
    auto* const found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    known.store(found, std::memory_order_release);
    return found;
}

Address lookFor(const char* name, const std::function<void()>& work) {
    unnamedCount = 0;
    isLooking = true;
    work();
    isLooking = false;
    for (std::size_t i = 1; i < unnamedCount; ++i) {
        if (unnamed[i] != unnamed[0]) throw std::logic_error(std::string("more than one new mutex for ") + name);
    }
    if (unnamedCount == 0) throw std::logic_error(std::string("no new mutex for ") + name);
    return unnamed[0];
}

void nameMembers(const Member& member) {
    const TablesLock lock;
    members.add(member);
}

}  // namespace

void nameRange(const void* first, std::size_t size, const char* name) {
    const TablesLock lock;
    ranges.add({reinterpret_cast<Address>(first), reinterpret_cast<Address>(first) + size, name});
}

const void* nameLocked(const char* name, const std::function<void()>& work) {
    const auto* const mutex = reinterpret_cast<const void*>(lookFor(name, work));
    nameRange(mutex, 1, name);
    return mutex;
}

void nameMemberLocked(const char* name, const void* object, const std::function<void()>& work) {
    const auto at = reinterpret_cast<Address>(object);
    nameMembers({wordAt(at), lookFor(name, work) - at, name});
}

void nameBehindWordLocked(const char* name, const void* word, const std::function<void()>& work) {
    constexpr Address kFurthest = 2048;
    const auto wanted = reinterpret_cast<Address>(word);
    const Address mutex = lookFor(name, work);
    for (Address offset = sizeof wanted; offset < kFurthest; offset += sizeof wanted) {
        if (wordAt(mutex - offset) == wanted) return nameMembers({wanted, offset, name});
    }
    throw std::logic_error(std::string("nothing known stands before ") + name);
}

Pairs recordedPairs() {
    Pairs found;
    for (const NamedPair& each : pairs) found.emplace(each.held, each.locked);
    return found;
}

void forgetPairs() {
    const TablesLock lock;
    pairs.clear();
}

std::string findCycle(const Pairs& all) {
    // A name from which nothing leads on, or only to names that are done, is done; what is left at the end goes in
    // circles.
    Pairs left = all;
    for (bool isSmaller = true; isSmaller;) {
        isSmaller = std::erase_if(left, [&](const Pair& pair) {
                        const auto next = left.lower_bound({pair.second, std::string()});
                        return next == left.end() || next->first != pair.second;
                    }) > 0;
    }
    std::string told;
    for (const auto& [before, locked] : left) told += before + " -> " + locked + "; ";
    return told;
}

}  // namespace lock_order

// ---- Before the C library's

using namespace lock_order;

extern "C" {

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static constinit std::atomic<int (*)(pthread_mutex_t*)> known{nullptr};
    noteLocked(mutex, __builtin_return_address(0), true);
    const int result = systems(known, "pthread_mutex_lock")(mutex);
    if (result != 0) noteUnlocked(mutex);
    return result;
}

__attribute__((visibility("default"))) int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    static constinit std::atomic<int (*)(pthread_mutex_t*)> known{nullptr};
    const int result = systems(known, "pthread_mutex_trylock")(mutex);
    if (result == 0) noteLocked(mutex, __builtin_return_address(0), false);
    return result;
}

__attribute__((visibility("default"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static constinit std::atomic<int (*)(pthread_mutex_t*)> known{nullptr};
    noteUnlocked(mutex);
    return systems(known, "pthread_mutex_unlock")(mutex);
}

__attribute__((visibility("default"))) int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    static constinit std::atomic<int (*)(pthread_rwlock_t*)> known{nullptr};
    noteLocked(lock, __builtin_return_address(0), true);
    return systems(known, "pthread_rwlock_rdlock")(lock);
}

__attribute__((visibility("default"))) int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    static constinit std::atomic<int (*)(pthread_rwlock_t*)> known{nullptr};
    noteLocked(lock, __builtin_return_address(0), true);
    return systems(known, "pthread_rwlock_wrlock")(lock);
}

__attribute__((visibility("default"))) int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    static constinit std::atomic<int (*)(pthread_rwlock_t*)> known{nullptr};
    noteUnlocked(lock);
    return systems(known, "pthread_rwlock_unlock")(lock);
}

/// By this the library locks a connection; how SQLite uses its own mutexes is its own matter.
__attribute__((visibility("default"))) void sqlite3_mutex_enter(void* mutex) {
    static constinit std::atomic<void (*)(void*)> known{nullptr};
    const char* const caller = nameByCaller(__builtin_return_address(0));
    locksConnection = caller != nullptr;
    isOfSQLite = caller == nullptr;
    systems(known, "sqlite3_mutex_enter")(mutex);
    locksConnection = isOfSQLite = false;
}

}  // extern "C"
