#pragma once

// Writing to a stream through the library, with the care that a file somebody named on a command line needs: the
// library gives up a file that it cannot use and drops what it cannot store, both without asking. Here a foreign file
// is refused before the library sees it, and what was stored is looked at afterwards.
//
// Every failure is a BadInput or a StreamError that begins with the file's name. One object serves one thread.

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>
#include <StreamMaintenance.h>
#include <StreamOwner.h>

#include <cstddef>
#include <optional>
#include <string>

namespace kxtool {

/// The bytes that the library stores for `item`.
std::string StoredForm(CFPropertyListRef item);

/// Keeps agents and other tools from writing to the stream meanwhile. Throws a StreamError that names who owns it.
std::optional<KXCore::StreamOwner> OwnForAMoment(const std::string& path);

class StreamWriter {
  public:
    enum class Missing { Create, Refuse };

    /// Opens the stream at `path`; where there is none, makes one or refuses. A stream that an agent owns is refused.
    StreamWriter(const std::string& path, Missing missing);

    /// Appends an item that was made of about `size` bytes. It is stored after sync(), which comes by itself now and
    /// then: large transactions would lock readers out.
    void append(CFPropertyListRef item, std::size_t size);

    /// Stores what was appended, and makes sure that it is there.
    void sync();

    /// Discards the items up to `id`, and returns how many they were.
    long long discardThrough(long long id);

    long long stored() const { return stored_; }
    unsigned long long lastID() const { return lastID_; }

  private:
    bool holds(unsigned long long id, const KXCore::CoreFoundation::PropertyListRef& item) const;
    void forgetPending();

    std::string path_;
    std::optional<KXCore::StreamOwner> owner_;
    std::optional<KXCore::StreamMaintenance> file_;
    KXCore::StreamStorage storage_;

    // Since the last sync:
    unsigned long long lastBefore_ = 0;
    std::size_t pending_ = 0;
    std::size_t pendingBytes_ = 0;
    KXCore::CoreFoundation::PropertyListRef firstPending_;
    KXCore::CoreFoundation::PropertyListRef lastPending_;

    long long stored_ = 0;
    unsigned long long lastID_ = 0;
};

}  // namespace kxtool
