#pragma once

// Records in which order the threads of this program take the mutexes of the two libraries.
//
// LockRecorder.cpp stands before the C library's functions that lock and unlock. A mutex has the name of what it is a
// part of: a place that was named, or an object of a known class. One that has no name and that one of the libraries
// locks is recorded as such. Mutexes of other libraries and of the test itself are passed over, but for SQLite's, whose
// connections are locked by the library.

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <utility>

namespace lock_order {

/// Held, and locked meanwhile.
using Pair = std::pair<std::string, std::string>;
using Pairs = std::set<Pair>;

/// Names the mutexes from `first` on, as long as the program runs.
void nameRange(const void* first, std::size_t size, const char* name);

/// Runs `work`, and names the one mutex of the libraries without a name that this thread locks meanwhile, which is
/// returned. Throws std::logic_error when there is not just one.
const void* nameLocked(const char* name, const std::function<void()>& work);

/// The same, and names the mutexes of all objects that have the same word as this one at the same distance before it:
/// the word at `object`, as the one by which the platform's objects know their class.
void nameMemberLocked(const char* name, const void* object, const std::function<void()>& work);

/// The same for an object whose place is not known, which has `word` in it before the mutex.
void nameBehindWordLocked(const char* name, const void* word, const std::function<void()>& work);

/// What has been recorded since the program began, or since forgetPairs().
Pairs recordedPairs();
void forgetPairs();

/// One that leads back to where it began, as names; empty when there is none.
std::string findCycle(const Pairs& pairs);

}  // namespace lock_order
