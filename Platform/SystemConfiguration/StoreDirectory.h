#pragma once

// The files of the store.
//
//     lock             locked by whoever changes the store, for as long as that takes (flock: it dies with its holder)
//     values/NAME      one file a key: a property list, or what was removed
//     staging/NAME     files being written by the holder of the lock; renamed into values/ when complete
//     signals/NAME     opened, closed and removed at once to give notice of a key
//     signals/.batch   written to before, and closed after several keys are changed as one
//
// Files in values/ come and go by rename and unlink only, so that a reader, who takes no lock, sees a value as it was
// or as it is and never a part. A key has the value of its file; where the file is missing, or not a property list, the
// value that is published for the key. Removing a key removes its value's file; where only a published value is there,
// a file is made that begins with the line "removed" and hides the published value that follows the line, and no other:
// once the origin publishes something else, that is the key's value.
//
// Any thread may use one object.

#include "SystemNames.h"

#include "CoreFoundation/Object/Retained.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

/// Bytes of a value in binary form.
inline constexpr std::size_t kLargestValue = std::size_t{1} << 20;

class StoreDirectory {
  public:
    enum class Operation { Set, Add, Remove, RemoveIfThere, Notify };

    struct Change {
        Operation operation;
        std::string key;
        std::string bytes = {};  ///< the value's, for Set and Add
    };

    /// The store that this process uses, made when it is not there. Nothing, with the status set, when there can be
    /// none.
    static std::optional<StoreDirectory> open();

    /// Makes what is missing of the store's folders; false when that fails.
    bool prepare() const noexcept;

    /// The value of a key; null when it has none.
    Retained<const Object> value(std::string_view key, const SystemNames& names) const;

    /// Whether there is a file for the key, whatever it says.
    bool hasFile(std::string_view key) const;

    /// The keys that may have a value: of those whose file is damaged that is not said.
    std::vector<std::string> keys(const SystemNames& names) const;

    /// Makes all of the changes or, when one cannot be made, none. Returns a status.
    int apply(std::span<const Change> changes) const;

    std::string valuesFolder() const { return path_ + "/values"; }
    std::string signalsFolder() const { return path_ + "/signals"; }

    /// The name in signals/ that marks the changes of a batch.
    static constexpr const char* kBatchMark = ".batch";

  private:
    class WriterLock;
    struct Step;

    explicit StoreDirectory(std::string path) : path_(std::move(path)) {}

    int applyLocked(std::span<const Change> changes) const;
    int plan(const Change& change, const SystemNames& names, Step& step) const;
    int stage(const Step& step) const;
    bool perform(const Step& step) const noexcept;
    void emptyStaging() const noexcept;

    std::string path_;
};

}  // namespace KXPlatform
