#include "StoreDirectory.h"

#include "Status.h"
#include "StoreFile.h"
#include "StoreKey.h"
#include "Support/Descriptor.h"

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFPropertyList.h>
#include <SystemConfiguration/SCDynamicStore.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

namespace KXPlatform {
namespace {

constexpr const char* kSystemStore = "/run/kxplatform/dynamic-store";

/// The first line of a file that says its key was removed.
constexpr std::string_view kRemoved = "removed\n";

/// What a file may hold beyond the value itself.
constexpr std::size_t kLargestFile = kLargestValue + kRemoved.size();

// ---- Folders

/// Makes a folder with exactly these permissions. True when it is there, whoever made it.
bool makeFolder(const std::string& path, mode_t mode) noexcept {
    if (::mkdir(path.c_str(), mode) == 0) return ::chmod(path.c_str(), mode) == 0;  // whatever the umask left of them
    return errno == EEXIST;
}

/// Whether nobody but this user and the system's can put files there.
bool isTrusted(const std::string& path) noexcept {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    return (status.st_uid == 0 || status.st_uid == ::geteuid()) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool isFolder(const std::string& path) noexcept {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool isReady(const StoreDirectory& directory) {
    return isTrusted(directory.valuesFolder()) && isTrusted(directory.signalsFolder());
}

/// A folder for this user's own store, for want of the computer's.
std::string userStore() {
    const char* const runtime = secure_getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/' && isTrusted(runtime)) return std::string(runtime) + "/kxplatform/dynamic-store";
    return "/tmp/kxplatform-" + std::to_string(::geteuid()) + "/dynamic-store";
}

// ---- Files

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

/// Calls `visit` with the name of every entry but "." and "..".
template <class Visit>
void forEachEntry(const std::string& path, Visit visit) {
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(path.c_str()));
    if (!folder) return;
    while (const dirent* const entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") visit(name);
    }
}

/// Writes a whole new file that everybody who can enter its folder may read.
bool writeFile(const std::string& path, std::string_view bytes) noexcept {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!file || ::fchmod(file.get(), 0644) != 0) return false;
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return file.close();
}

/// The property list in `bytes`, if it is one in XML or binary form. The old text style does not count: nearly any text
/// is a list of that kind.
Retained<const Object> parseList(std::string_view bytes) {
    const auto data = Retained<const __CFData>::adopting(CFDataCreateWithBytesNoCopy(
        nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    if (!data) return {};
    CFPropertyListFormat format = kCFPropertyListOpenStepFormat;
    CFErrorRef error = nullptr;
    auto list = Retained<const Object>::adopting(
        object(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, &format, &error)));
    if (error) CFRelease(error);
    return format == kCFPropertyListOpenStepFormat ? Retained<const Object>() : list;
}

/// What a key's file says.
struct Entry {
    enum Kind { Absent, Value, Removed } kind = Absent;
    Retained<const Object> list;  ///< the value, or the published one that was removed
};

Entry readEntry(const std::string& path) {
    const auto bytes = readPlainFile(path, kLargestFile, Symlinks::Refused);
    if (!bytes) return {};
    std::string_view text = *bytes;
    const Entry::Kind kind = text.starts_with(kRemoved) ? Entry::Removed : Entry::Value;
    if (kind == Entry::Removed) text.remove_prefix(kRemoved.size());
    if (text.size() > kLargestValue) return {};
    auto list = parseList(text);
    return list ? Entry{kind, std::move(list)} : Entry{};
}

/// The file that hides `published`.
bool writeRemoved(CFDictionaryRef published, std::string& bytes) {
    const auto data = Retained<const __CFData>::adopting(
        CFPropertyListCreateData(nullptr, published, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!data) return false;
    bytes = kRemoved;
    bytes.append(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                 static_cast<std::size_t>(CFDataGetLength(data.get())));
    return true;
}

Retained<const Object> effectiveValue(Entry entry, Retained<const __CFDictionary> published) {
    if (entry.kind == Entry::Value) return std::move(entry.list);
    if (entry.kind == Entry::Removed && published && CFEqual(entry.list.get(), published.get())) return {};
    return Retained<const Object>::adopting(object(published.release()));
}

}  // namespace

// ---- Finding the store

std::optional<StoreDirectory> StoreDirectory::open() {
    const char* const set = secure_getenv("KXPLATFORM_DYNAMIC_STORE");
    if (set && *set) {
        StoreDirectory directory(set);
        if (directory.prepare() && isReady(directory)) return directory;
        setStatus(statusOfErrno(errno));
        return std::nullopt;
    }
    StoreDirectory system(kSystemStore);
    if (isReady(system)) return system;
    if (makeFolder(parentOf(kSystemStore), 0755) && system.prepare() && isReady(system)) return system;
    StoreDirectory own(userStore());
    const std::string above = parentOf(own.path_);
    if (makeFolder(above, 0700) && isTrusted(above) && own.prepare() && isReady(own)) return own;
    setStatus(statusOfErrno(errno));
    return std::nullopt;
}

bool StoreDirectory::prepare() const noexcept {
    try {
        return makeFolder(path_, 0755) && makeFolder(valuesFolder(), 0755) && makeFolder(signalsFolder(), 0755) &&
               makeFolder(path_ + "/staging", 0700);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

// ---- Reading

Retained<const Object> StoreDirectory::value(std::string_view key, const SystemNames& names) const {
    const auto name = fileNameOfKey(key);
    if (!name) return {};
    return effectiveValue(readEntry(valuesFolder() + "/" + *name), publishedValue(names, key));
}

bool StoreDirectory::hasFile(std::string_view key) const {
    const auto name = fileNameOfKey(key);
    struct stat status;
    return name && ::lstat((valuesFolder() + "/" + *name).c_str(), &status) == 0;
}

std::vector<std::string> StoreDirectory::keys(const SystemNames& names) const {
    std::vector<std::string> found;
    for (const PublishedKey& row : kPublishedKeys) {
        if (value(row.key, names)) found.emplace_back(row.key);
    }
    const auto isPublished = [](std::string_view key) {
        return std::any_of(kPublishedKeys.begin(), kPublishedKeys.end(),
                           [&](const auto& row) { return key == row.key; });
    };
    forEachEntry(valuesFolder(), [&](std::string_view name) {
        auto key = keyOfFileName(name);
        if (key && !isPublished(*key)) found.push_back(std::move(*key));
    });
    return found;
}

// ---- Changing

/// The lock of the store, held while the object lives. Only its holder writes to staging/, so what lies there when it
/// is taken was left by a writer that died.
class StoreDirectory::WriterLock {
  public:
    explicit WriterLock(const StoreDirectory& directory)
        // Not to be opened by others: who can open a file can lock it, and keep every writer waiting.
        : file_(::open((directory.path_ + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
        if (!file_) return;
        while (::flock(file_.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                file_ = Descriptor();
                return;
            }
        }
        directory.emptyStaging();
    }
    ~WriterLock() {
        // A process forked meanwhile has the same lock, which closing would leave to it.
        if (file_) ::flock(file_.get(), LOCK_UN);
    }
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

    explicit operator bool() const noexcept { return static_cast<bool>(file_); }

  private:
    Descriptor file_;
};

/// What is to be done for one change, once it is known that all can be done.
struct StoreDirectory::Step {
    enum Kind { None, Replace, Unlink, Signal } kind = None;
    std::string bytes = {};  ///< of the new file
    std::string staged = {};
    std::string target = {};
};

void StoreDirectory::emptyStaging() const noexcept {
    try {
        const std::string folder = path_ + "/staging/";
        forEachEntry(folder, [&](std::string_view name) { ::unlink((folder + std::string(name)).c_str()); });
    } catch (const std::bad_alloc&) {
        // They stay for the next writer; a name that is needed now is found taken, and the change fails.
    }
}

int StoreDirectory::plan(const Change& change, const SystemNames& names, Step& step) const {
    const auto name = fileNameOfKey(change.key);
    if (!name || change.bytes.size() > kLargestValue) return kSCStatusInvalidArgument;
    step.staged = path_ + "/staging/" + *name;
    step.target = valuesFolder() + "/" + *name;
    if (isFolder(step.target)) return kSCStatusFailed;
    if (change.operation == Operation::Notify) {
        step.kind = Step::Signal;
        step.target = signalsFolder() + "/" + *name;
        return kSCStatusOK;
    }
    if (change.operation != Operation::Set) {
        const auto published = publishedValue(names, change.key);
        const Entry entry = readEntry(step.target);
        const bool isThere = static_cast<bool>(effectiveValue(entry, published));
        if (change.operation == Operation::Add && isThere) return kSCStatusKeyExists;
        if (change.operation == Operation::Remove && !isThere) return kSCStatusNoKey;
        if (change.operation == Operation::RemoveIfThere && !isThere) return kSCStatusOK;
        if (change.operation != Operation::Add) {
            if (entry.kind == Entry::Value) {
                step.kind = Step::Unlink;
                return kSCStatusOK;
            }
            step.kind = Step::Replace;
            return writeRemoved(published.get(), step.bytes) ? kSCStatusOK : kSCStatusFailed;
        }
    }
    step.kind = Step::Replace;
    step.bytes = change.bytes;
    return kSCStatusOK;
}

int StoreDirectory::stage(const Step& step) const {
    if (step.kind != Step::Replace) return kSCStatusOK;
    return writeFile(step.staged, step.bytes) ? kSCStatusOK : statusOfErrno(errno);
}

bool StoreDirectory::perform(const Step& step) const noexcept {
    switch (step.kind) {
        case Step::None:
            return true;
        case Step::Replace:
            return ::rename(step.staged.c_str(), step.target.c_str()) == 0;
        case Step::Unlink:
            return ::unlink(step.target.c_str()) == 0;
        case Step::Signal: {
            // Watchers are told that a file that was open for writing has been closed.
            Descriptor file(
                ::open(step.target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
            return file && file.close() && ::unlink(step.target.c_str()) == 0;
        }
    }
    return false;
}

int StoreDirectory::applyLocked(std::span<const Change> changes) const {
    const SystemNames names = readSystemNames();
    std::vector<Step> steps(changes.size());
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const int status = plan(changes[i], names, steps[i]);
        if (status != kSCStatusOK) return status;
    }
    for (const Step& step : steps) {
        const int status = stage(step);
        if (status != kSCStatusOK) {
            const int error = errno;
            emptyStaging();
            errno = error;
            return status;
        }
    }
    Descriptor mark;
    if (steps.size() > 1) {
        const std::string path = signalsFolder() + "/" + kBatchMark;
        mark = Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_TRUNC, 0600));
        if (mark && ::write(mark.get(), "+", 1) != 1) mark = Descriptor();
    }
    // Nothing that could be foreseen stands in the way now.
    int status = kSCStatusOK;
    for (const Step& step : steps) {
        if (!perform(step) && status == kSCStatusOK) status = statusOfErrno(errno);
    }
    return status;
}

int StoreDirectory::apply(std::span<const Change> changes) const {
    for (bool again = false;; again = true) {
        int status = kSCStatusFailed;
        {
            const WriterLock lock(*this);
            if (lock) {
                errno = 0;
                status = applyLocked(changes);
            }
            if (!lock) status = statusOfErrno(errno);
        }
        // Somebody may have cleaned up the run-time folder: the store begins anew.
        if (status == kSCStatusFailed && errno == ENOENT && !again && prepare()) continue;
        return status;
    }
}

}  // namespace KXPlatform
