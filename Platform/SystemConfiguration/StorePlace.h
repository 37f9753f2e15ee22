#pragma once

// Where the store is, and its folder.
//
//     $KXPLATFORM_DYNAMIC_STORE              when it is set
//     /run/kxplatform/dynamic-store          the computer's one store
//     $XDG_RUNTIME_DIR/kxplatform/dynamic-store, or /tmp/kxplatform-UID/dynamic-store
//                                            for a user other than root, while the computer's store is missing
//
// A folder counts when it is one, not a link, and nobody but root and this user can put files there. It is opened once
// and used through its descriptor; whatever happens to its path, nothing is ever read or written behind a link.
//
// One thread at a time may use an object.

#include "Support/Descriptor.h"

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace KXPlatform {

class StorePlace {
  public:
    /// The place for this process, as its environment has it now. Nothing is opened yet.
    static StorePlace ofProcess();

    /// Tells places apart.
    std::string name() const;

    /// Finds the folder as it is now; folder() is null where there is none. Fails, with a status, when what stands in
    /// its place cannot be trusted.
    int locate();

    /// The same, and makes the folder where there is none.
    int make();

    const std::shared_ptr<const Descriptor>& folder() const noexcept { return folder_; }

    /// Whether programs may begin with a store that nobody has made yet.
    bool mayBeMissing() const noexcept;

    /// The paths at which the folder may come or go.
    std::vector<std::string> paths() const;

  private:
    /// A folder, and how many of the last names of its path must be trusted.
    struct Candidate {
        std::string path;
        int trusted = 0;
    };

    int locate(const Candidate& candidate, bool& isThere);
    int make(const Candidate& candidate);

    Candidate preferred_;
    Candidate own_;          ///< for want of the preferred one; its path is empty when there is no other
    bool isChosen_ = false;  ///< by the environment
    std::shared_ptr<const Descriptor> folder_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace KXPlatform
