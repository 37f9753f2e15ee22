#pragma once

#include <KXCoreLib/EvalBitMask.h>
#include <KXCoreLib/Export.h>
#include <KXCoreLib/UUID.h>

#include <cstdint>
#include <vector>

namespace KXCore {

class PListNode;

/// What an entry does to the bits of its mask.
enum CustomACEType : std::uint32_t {
    CustomACETypeDeny = 1,
    CustomACETypeAllow = 2,
};

/// One entry of a list.
struct CustomACE {
    std::uint32_t type = CustomACETypeDeny;  ///< a CustomACEType; no other value may occur
    std::int32_t status = 0;                 ///< why a SID could not be resolved, an error number, or 0
    std::uint32_t mask = 0;
    UUID uuid{};  ///< the user or group; null when a name could not be resolved
};

/// What reading does with a user, group or SID that cannot be resolved. Any value but tolerant is strict.
enum InitMode : int {
    InitModeStrict = 1,    ///< reading fails
    InitModeTolerant = 2,  ///< the entry is kept with a null identity, and reading goes on
};

/// Who may do what: an ordered list of entries that allow or deny bits to users and groups.
///
/// Written as a text, entries are separated by "/" and read "id:type:mask". The id is a UUID, a SID ("S-1-5-..."), "%"
/// and a group's name, or a user's name; the type is "allow" (also when left empty) or "deny"; the mask is an
/// expression of EvalBitMask.h over the caller's table of names:
///
///     bob:deny:write/%staff:allow:read|write
///
/// As a property list it is such a text, or an array of dictionaries with "Type" ("allow" or "deny"), one of
/// "UserName", "GroupName" and "SID", and "AccessMask" (a number, or an expression).
///
/// **Threads.** Any number of threads may check against one list; reading and cleanup() need it to themselves. Names
/// and memberships are asked of the name service, which may block.
///
/// **Errors** in a text are reported on the standard error stream, one line each.
class KX_EXPORT CustomACL {
  public:
    /// A list without entries: it grants nothing.
    CustomACL() = default;
    /// A list of ready-made entries.
    explicit CustomACL(std::vector<CustomACE> entries) : entries_(std::move(entries)) {}

    /// Reads the list with parse() or read(), and ends the process where that fails: for lists that are known to be
    /// good. A PListValueError passes on.
    CustomACL(const char* text, const BitMaskConstant* table, InitMode mode);
    CustomACL(const PListNode& node, const BitMaskConstant* table, InitMode mode);

    /// Reads `text` into `acl`, whose entries are replaced. A null text makes an unrestricted list, which grants
    /// everything; an empty one a list without entries. `table` may be null: then masks have no names.
    ///
    /// Returns false, after a line on the standard error stream, at the first entry that is wrong; the entries before
    /// it stay in the list.
    static bool parse(CustomACL& acl, const char* text, const BitMaskConstant* table, InitMode mode);

    /// Reads the value at `node` into `acl`, whose entries are replaced. No value makes an unrestricted list.
    ///
    /// Throws PListValueError with the place of what is malformed, PListUnexpectedTypeError where a name is no text. A
    /// text with a NUL or half of a surrogate pair is malformed, as a name it is nobody's.
    /// Returns false where an identity cannot be resolved in strict mode, or a text is wrong.
    static bool read(CustomACL& acl, const PListNode& node, const BitMaskConstant* table, InitMode mode);

    /// Whether `user` holds every bit of `requested`. Entries are visited in order: one that allows grants its bits for
    /// good, one that denies refuses the request when it holds a bit that was not granted before it. An entry matches
    /// its user, the members of its group, or everybody (ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C); where membership cannot
    /// be found out, an entry that denies matches and one that allows does not.
    bool checkAccess(const UUID& user, std::uint32_t requested) const;

    /// Removes the entries with a null identity, which tolerant reading leaves behind.
    void cleanup();

    /// Whether there was no list at all, so that everything is granted.
    bool isUnrestricted() const noexcept { return unrestricted_; }
    /// How many entries of a property list name a SID that could not be resolved.
    std::uint32_t getUnresolvedCount() const noexcept { return unresolved_; }
    const std::vector<CustomACE>& getEntries() const noexcept { return entries_; }

  private:
    bool unrestricted_ = false;
    std::uint32_t unresolved_ = 0;
    std::vector<CustomACE> entries_;
};

}  // namespace KXCore
