#pragma once

// Asking the name service (getpwuid_r, getgrnam_r, ...) as it wants to be asked: again when a signal came between, and
// with more room where an entry is long.

#include <cerrno>
#include <cstddef>
#include <vector>

namespace KXCore {

/// The most room an entry gets: one that needs more cannot be had.
inline constexpr std::size_t kLargestNameEntry = std::size_t{1} << 26;

/// Calls `function` for `key`, and `use` with the entry that it finds, whose texts live as long as that call. False
/// when there is no entry; `error` is then why, or 0 where the name service knows of none.
template <class Key, class Entry, class Use>
bool LookUpName(int (*function)(Key, Entry*, char*, std::size_t, Entry**), Key key, Use use, int& error) {
    std::vector<char> room(1024);
    while (true) {
        Entry entry;
        Entry* found = nullptr;
        error = function(key, &entry, room.data(), room.size(), &found);
        if (error == ERANGE && room.size() < kLargestNameEntry) {
            room.resize(room.size() * 2);
        } else if (error != EINTR) {
            if (error != 0 || !found) return false;
            use(*found);
            return true;
        }
    }
}

}  // namespace KXCore
