// The properties of the volume that a file lies on: from the mount table, the file system and the kernel's devices.

#include "FileProperties.h"

#include "Support/Descriptor.h"
#include "Support/Folder.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace KXPlatform {

namespace {

template <std::size_t N>
bool isOneOf(const Mount* mount, const std::string_view (&types)[N]) noexcept {
    return mount && std::ranges::find(types, std::string_view(mount->type)) != std::end(types);
}

constexpr std::string_view kOfDOS[] = {"vfat", "msdos", "exfat", "fat"};
constexpr std::string_view kWithoutCase[] = {"vfat", "msdos", "exfat", "fat", "ntfs", "ntfs3", "cifs", "smb3"};
constexpr std::string_view kJournaling[] = {"ext3", "ext4", "xfs", "jfs", "reiserfs", "ntfs", "ntfs3", "f2fs"};
constexpr std::string_view kCompressing[] = {"btrfs", "zfs", "squashfs", "erofs", "f2fs", "ntfs", "ntfs3", "bcachefs"};
constexpr std::string_view kCloning[] = {"btrfs", "bcachefs", "ocfs2"};
constexpr std::string_view kOfLinux[] = {"ext2", "ext3", "ext4", "xfs", "btrfs", "f2fs", "bcachefs"};
constexpr std::string_view kSwapping[] = {"ext2", "ext3",     "ext4",  "xfs",    "btrfs",
                                          "f2fs", "bcachefs", "tmpfs", "overlay"};

template <const auto& kTypes>
CFTypeRef isOf(FileFacts& file) {
    return newBoolean(isOneOf(file.mount(), kTypes));
}
template <const auto& kTypes>
CFTypeRef isNotOf(FileFacts& file) {
    return newBoolean(!isOneOf(file.mount(), kTypes));
}
CFTypeRef isTrue(FileFacts&) { return newBoolean(true); }
CFTypeRef isFalse(FileFacts&) { return newBoolean(false); }

CFTypeRef readCapacity(FileFacts& file) {
    const struct statvfs* const volume = file.volume();
    return volume ? newNumber(std::uint64_t{volume->f_blocks} * volume->f_frsize) : nullptr;
}
CFTypeRef readAvailable(FileFacts& file) {
    const struct statvfs* const volume = file.volume();
    return volume ? newNumber(std::uint64_t{volume->f_bavail} * volume->f_frsize) : nullptr;
}
CFTypeRef readCount(FileFacts& file) {
    const struct statvfs* const volume = file.volume();
    return volume ? newNumber(volume->f_files - volume->f_ffree) : nullptr;
}

CFTypeRef readMaximumSize(FileFacts& file) {
    const long bits = ::pathconf(file.path().c_str(), _PC_FILESIZEBITS);
    if (bits <= 1) return nullptr;
    const auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return newNumber(bits >= 64 ? most : (std::uint64_t{1} << (bits - 1)) - 1);
}

CFTypeRef readName(FileFacts& file) {
    const Mount* const mount = file.mount();
    if (!mount) return nullptr;
    const std::string_view point = mount->point;
    return newText(point.size() <= 1 ? point : point.substr(point.rfind('/') + 1));
}

CFTypeRef readType(FileFacts& file) { return file.mount() ? newText(file.mount()->type) : nullptr; }
CFTypeRef readSource(FileFacts& file) { return file.mount() ? newText(file.mount()->source) : nullptr; }

/// The first bytes of a file of the kernel's about the volume's device; empty where there is none.
std::string readOfDevice(FileFacts& file, const char* name) {
    const Mount* const mount = file.mount();
    if (!mount) return {};
    char path[96];
    std::snprintf(path, sizeof path, "/sys/dev/block/%u:%u/%s", major(mount->device), minor(mount->device), name);
    const Descriptor descriptor(::open(path, O_RDONLY | O_CLOEXEC));
    char text[64];
    const ssize_t size = descriptor ? ::read(descriptor.get(), text, sizeof text) : 0;
    return {text, size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// Of the disk itself, or of the one that the partition lies on.
bool isRemovable(FileFacts& file) {
    return readOfDevice(file, "removable").starts_with('1') || readOfDevice(file, "../removable").starts_with('1');
}

CFTypeRef readRemovable(FileFacts& file) { return newBoolean(isRemovable(file)); }

CFTypeRef readInternal(FileFacts& file) {
    // Nobody knows where a volume without a device of its own lies.
    return file.mount() && major(file.mount()->device) != 0 ? newBoolean(!isRemovable(file)) : nullptr;
}

CFTypeRef readEncrypted(FileFacts& file) { return newBoolean(readOfDevice(file, "dm/uuid").starts_with("CRYPT-")); }

CFTypeRef readUUID(FileFacts& file) {
    const Mount* const mount = file.mount();
    const Folder folder = openFolder("/dev/disk/by-uuid");
    if (!mount || !folder) return nullptr;
    while (const dirent* const entry = nextEntry(folder)) {
        struct stat status;
        if (::fstatat(::dirfd(folder.get()), entry->d_name, &status, 0) != 0 || !S_ISBLK(status.st_mode) ||
            status.st_rdev != mount->device)
            continue;
        std::string name = entry->d_name;
        std::ranges::transform(name, name.begin(),
                               [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
        return newText(name);
    }
    return nullptr;
}

const PropertyRow kRows[] = {
    {kCFURLVolumeLocalizedFormatDescriptionKey, readType},
    {kCFURLVolumeTotalCapacityKey, readCapacity},
    {kCFURLVolumeAvailableCapacityKey, readAvailable},
    {kCFURLVolumeAvailableCapacityForImportantUsageKey, readAvailable},
    {kCFURLVolumeAvailableCapacityForOpportunisticUsageKey, readAvailable},
    {kCFURLVolumeResourceCountKey, readCount},
    {kCFURLVolumeSupportsPersistentIDsKey, isFalse},
    {kCFURLVolumeSupportsSymbolicLinksKey, isNotOf<kOfDOS>},
    {kCFURLVolumeSupportsHardLinksKey, isNotOf<kOfDOS>},
    {kCFURLVolumeSupportsJournalingKey, isOf<kJournaling>},
    {kCFURLVolumeIsJournalingKey, isOf<kJournaling>},
    {kCFURLVolumeSupportsSparseFilesKey, isNotOf<kOfDOS>},
    {kCFURLVolumeSupportsZeroRunsKey, isNotOf<kOfDOS>},
    {kCFURLVolumeSupportsCaseSensitiveNamesKey, isNotOf<kWithoutCase>},
    {kCFURLVolumeSupportsCasePreservedNamesKey, isTrue},
    {kCFURLVolumeSupportsRootDirectoryDatesKey, isTrue},
    {kCFURLVolumeSupportsVolumeSizesKey, isTrue},
    {kCFURLVolumeSupportsRenamingKey, isFalse},
    {kCFURLVolumeSupportsAdvisoryFileLockingKey, isTrue},
    {kCFURLVolumeSupportsExtendedSecurityKey, isOf<kOfLinux>},
    {kCFURLVolumeIsBrowsableKey,
     [](FileFacts& file) { return newBoolean(file.mount() && file.mount()->isBrowsable()); }},
    {kCFURLVolumeMaximumFileSizeKey, readMaximumSize},
    {kCFURLVolumeIsEjectableKey, readRemovable},
    {kCFURLVolumeIsRemovableKey, readRemovable},
    {kCFURLVolumeIsInternalKey, readInternal},
    {kCFURLVolumeIsAutomountedKey, isFalse},
    {kCFURLVolumeIsLocalKey, [](FileFacts& file) { return newBoolean(file.mount() && !file.mount()->isNetwork()); }},
    {kCFURLVolumeIsReadOnlyKey, [](FileFacts& file) { return newBoolean(file.mount() && file.mount()->isReadOnly()); }},
    {kCFURLVolumeUUIDStringKey, readUUID},
    {kCFURLVolumeNameKey, readName},
    {kCFURLVolumeLocalizedNameKey, readName},
    {kCFURLVolumeIsEncryptedKey, readEncrypted},
    {kCFURLVolumeIsRootFileSystemKey,
     [](FileFacts& file) { return newBoolean(file.mount() && file.mount()->point == "/"); }},
    {kCFURLVolumeSupportsCompressionKey, isOf<kCompressing>},
    {kCFURLVolumeSupportsFileCloningKey, isOf<kCloning>},
    {kCFURLVolumeSupportsSwapRenamingKey, isOf<kSwapping>},
    {kCFURLVolumeSupportsExclusiveRenamingKey, isOf<kSwapping>},
    {kCFURLVolumeSupportsImmutableFilesKey, isOf<kOfLinux>},
    {kCFURLVolumeSupportsAccessPermissionsKey, isNotOf<kOfDOS>},
    {kCFURLVolumeTypeNameKey, readType},
    {kCFURLVolumeMountFromLocationKey, readSource},
};

}  // namespace

ReadProperty readerOfVolume(CFStringRef key) noexcept { return findReader(kRows, key); }

}  // namespace KXPlatform
