#include "FileProperties.h"

#include "CFURLObject.h"

#include "Support/Folder.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace KXPlatform {

CFTypeRef newNumber(std::uint64_t value) noexcept {
    const auto signedValue = static_cast<SInt64>(value);
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &signedValue);
}

CFTypeRef newBoolean(bool value) noexcept { return value ? kCFBooleanTrue : kCFBooleanFalse; }

CFTypeRef newText(std::string_view bytes) noexcept {
    return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                   static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
}

CFTypeRef newFileURL(std::string_view path, bool isDirectory) noexcept {
    return createFileURL(nullptr, path, isDirectory, nullptr);
}

namespace {

// ---- Reading

CFTypeRef newDate(const statx_timestamp& time) noexcept {
    return CFDateCreate(nullptr, static_cast<double>(time.tv_sec) - kCFAbsoluteTimeIntervalSince1970 +
                                     1e-9 * static_cast<double>(time.tv_nsec));
}

template <mode_t kType>
CFTypeRef isType(FileFacts& file) {
    return newBoolean(file.isOfType(kType));
}

template <int kMode>
CFTypeRef isAccessible(FileFacts& file) {
    return newBoolean(::faccessat(AT_FDCWD, file.path().c_str(), kMode, AT_EACCESS) == 0);
}

template <std::uint64_t kAttribute>
CFTypeRef hasAttribute(FileFacts& file) {
    return newBoolean((file.status()->stx_attributes & kAttribute) != 0);
}

CFTypeRef isFalse(FileFacts&) { return kCFBooleanFalse; }

CFTypeRef readName(FileFacts& file) { return newText(file.name()); }

CFTypeRef isVolume(FileFacts& file) {
    const Mount* const mount = file.mount();
    return newBoolean(file.isOfType(S_IFDIR) && mount && mount->point == file.path());
}

CFTypeRef isSparse(FileFacts& file) {
    return newBoolean(file.isOfType(S_IFREG) && file.status()->stx_blocks * 512 < file.status()->stx_size);
}

CFTypeRef readParent(FileFacts& file) {
    if (file.path().size() <= 1) return nullptr;
    return newFileURL(std::string_view(file.path()).substr(0, std::max<std::size_t>(file.path().rfind('/'), 1)), true);
}

CFTypeRef readVolumeURL(FileFacts& file) {
    const Mount* const mount = file.mount();
    return mount ? newFileURL(mount->point, true) : nullptr;
}

CFTypeRef readType(FileFacts& file) {
    switch (file.status()->stx_mode & S_IFMT) {
        case S_IFREG:
            return kCFURLFileResourceTypeRegular;
        case S_IFDIR:
            return kCFURLFileResourceTypeDirectory;
        case S_IFLNK:
            return kCFURLFileResourceTypeSymbolicLink;
        case S_IFIFO:
            return kCFURLFileResourceTypeNamedPipe;
        case S_IFSOCK:
            return kCFURLFileResourceTypeSocket;
        case S_IFCHR:
            return kCFURLFileResourceTypeCharacterSpecial;
        case S_IFBLK:
            return kCFURLFileResourceTypeBlockSpecial;
        default:
            return kCFURLFileResourceTypeUnknown;
    }
}

/// Objects that compare equal for one file, or one volume, and mean nothing besides.
template <class... Numbers>
CFTypeRef newIdentifier(Numbers... numbers) {
    const std::uint64_t values[] = {static_cast<std::uint64_t>(numbers)...};
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(values), sizeof values);
}
CFTypeRef readFileIdentity(FileFacts& file) {
    const struct statx& status = *file.status();
    return newIdentifier(status.stx_dev_major, status.stx_dev_minor, status.stx_ino);
}
CFTypeRef readVolumeIdentity(FileFacts& file) {
    return newIdentifier(file.status()->stx_dev_major, file.status()->stx_dev_minor);
}

CFTypeRef readCreationDate(FileFacts& file) {
    return file.status()->stx_mask & STATX_BTIME ? newDate(file.status()->stx_btime) : nullptr;
}

CFTypeRef readSize(FileFacts& file) { return file.isOfType(S_IFREG) ? newNumber(file.status()->stx_size) : nullptr; }
CFTypeRef readAllocatedSize(FileFacts& file) {
    return file.isOfType(S_IFREG) ? newNumber(file.status()->stx_blocks * 512) : nullptr;
}

CFTypeRef readCanonicalPath(FileFacts& file) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(file.path().c_str(), nullptr), &std::free);
    return real ? newText(real.get()) : nullptr;
}

CFTypeRef readEntryCount(FileFacts& file) {
    if (!file.isOfType(S_IFDIR)) return nullptr;
    const Folder folder = openFolder(file.path().c_str());
    if (!folder) return nullptr;
    std::uint64_t count = 0;
    while (nextEntry(folder)) ++count;
    return newNumber(count);
}

const PropertyRow kRows[] = {
    {kCFURLNameKey, readName},
    {kCFURLLocalizedNameKey, readName},
    {kCFURLIsRegularFileKey, isType<S_IFREG>},
    {kCFURLIsDirectoryKey, isType<S_IFDIR>},
    {kCFURLIsSymbolicLinkKey, isType<S_IFLNK>},
    {kCFURLIsAliasFileKey, isType<S_IFLNK>},
    {kCFURLIsVolumeKey, isVolume},
    {kCFURLIsPackageKey, [](FileFacts& file) { return newBoolean(file.isPackage()); }},
    {kCFURLIsApplicationKey, [](FileFacts& file) { return newBoolean(file.extension() == "app" && file.isPackage()); }},
    {kCFURLIsSystemImmutableKey, hasAttribute<STATX_ATTR_IMMUTABLE>},
    {kCFURLIsUserImmutableKey, isFalse},
    {kCFURLIsHiddenKey, [](FileFacts& file) { return newBoolean(file.name().starts_with('.')); }},
    {kCFURLHasHiddenExtensionKey, isFalse},
    {kCFURLIsPurgeableKey, isFalse},
    {kCFURLCreationDateKey, readCreationDate},
    {kCFURLContentAccessDateKey, [](FileFacts& file) { return newDate(file.status()->stx_atime); }},
    {kCFURLContentModificationDateKey, [](FileFacts& file) { return newDate(file.status()->stx_mtime); }},
    {kCFURLAttributeModificationDateKey, [](FileFacts& file) { return newDate(file.status()->stx_ctime); }},
    {kCFURLFileIdentifierKey, [](FileFacts& file) { return newNumber(file.status()->stx_ino); }},
    {kCFURLMayHaveExtendedAttributesKey,
     [](FileFacts& file) { return newBoolean(::llistxattr(file.path().c_str(), nullptr, 0) > 0); }},
    {kCFURLIsSparseKey, isSparse},
    {kCFURLLinkCountKey, [](FileFacts& file) { return newNumber(file.status()->stx_nlink); }},
    {kCFURLParentDirectoryURLKey, readParent},
    {kCFURLVolumeURLKey, readVolumeURL},
    {kCFURLFileResourceIdentifierKey, readFileIdentity},
    {kCFURLVolumeIdentifierKey, readVolumeIdentity},
    {kCFURLPreferredIOBlockSizeKey, [](FileFacts& file) { return newNumber(file.status()->stx_blksize); }},
    {kCFURLIsReadableKey, isAccessible<R_OK>},
    {kCFURLIsWritableKey, isAccessible<W_OK>},
    {kCFURLIsExecutableKey, isAccessible<X_OK>},
    {kCFURLPathKey, [](FileFacts& file) { return newText(file.path()); }},
    {kCFURLCanonicalPathKey, readCanonicalPath},
    {kCFURLIsMountTriggerKey, hasAttribute<STATX_ATTR_AUTOMOUNT>},
    {kCFURLFileResourceTypeKey, readType},
    {kCFURLFileSizeKey, readSize},
    {kCFURLFileAllocatedSizeKey, readAllocatedSize},
    {kCFURLTotalFileSizeKey, readSize},
    {kCFURLTotalFileAllocatedSizeKey, readAllocatedSize},
    {kCFURLDirectoryEntryCountKey, readEntryCount},
};

// ---- Writing

/// Sets one of the two dates that can be set.
int writeDate(FileFacts& file, CFTypeRef value, std::size_t which) noexcept {
    if (!isOfType(value, TypeID::Date)) return EINVAL;
    const double seconds = CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) + kCFAbsoluteTimeIntervalSince1970;
    const double whole = std::floor(seconds);
    if (!(std::fabs(whole) < 1e15)) return EINVAL;
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    times[which] = {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
    return ::utimensat(AT_FDCWD, file.path().c_str(), times, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

/// Renames the file within its folder; another file of that name stays.
int writeName(FileFacts& file, CFTypeRef value) {
    std::string name;
    if (!isOfType(value, TypeID::String) ||
        !encodedBytes(static_cast<CFStringRef>(value), kCFStringEncodingUTF8, name) || name.empty() || name == "." ||
        name == ".." || name.find('/') != std::string::npos || name.find('\0') != std::string::npos ||
        file.path().size() <= 1)
        return EINVAL;
    if (name == file.name()) return 0;
    const std::string to = file.path().substr(0, file.path().rfind('/') + 1) + name;
    return ::renameat2(AT_FDCWD, file.path().c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

struct WriterRow {
    const CFStringRef& key;
    WriteProperty write;
};

const WriterRow kWriters[] = {
    {kCFURLNameKey, writeName},
    {kCFURLContentAccessDateKey, [](FileFacts& file, CFTypeRef value) { return writeDate(file, value, 0); }},
    {kCFURLContentModificationDateKey, [](FileFacts& file, CFTypeRef value) { return writeDate(file, value, 1); }},
};

}  // namespace

ReadProperty readerOf(CFStringRef key) noexcept {
    const ReadProperty found = findReader(kRows, key);
    return found ? found : readerOfVolume(key);
}

WriteProperty writerOf(CFStringRef key) noexcept {
    for (const WriterRow& row : kWriters)
        if (CFEqual(row.key, key)) return row.write;
    return nullptr;
}

}  // namespace KXPlatform
