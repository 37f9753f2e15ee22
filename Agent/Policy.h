#pragma once

#include "Device.h"

#include <KXCoreLib/CustomACL.h>

#include <string>
#include <vector>

namespace agent {

/// The names of the bits in access masks.
inline constexpr KXCore::BitMaskConstant kAccessNames[] = {
    {"read", Read}, {"write", Write}, {"eject", Eject}, {nullptr, 0}};

struct Decision {
    bool granted = false;
    std::string reason;  ///< which entry decided, or that none matched
};

/// Who may do what, and why. Refuses everything as long as it holds nothing.
class Policy {
  public:
    Policy() = default;
    /// `texts` are the entries of `acl` as their author would know them, one each.
    Policy(KXCore::CustomACL acl, std::vector<std::string> texts);

    /// Grants everything: no list at all.
    static Policy unrestricted();

    /// Any thread; may block while the name service is asked.
    Decision decide(const KXCore::UUID& user, std::uint32_t access) const;

  private:
    struct Entry {
        std::size_t number;  ///< in the configuration, from 1
        std::string text;
        KXCore::CustomACE ace;
        KXCore::CustomACL probe;  ///< grants one bit exactly to whom the entry speaks of, or refuses it to them
    };
    static bool matches(const Entry& entry, const KXCore::UUID& user);
    std::string reasonOf(const KXCore::UUID& user, std::uint32_t access, bool granted) const;

    KXCore::CustomACL acl_;
    std::vector<Entry> entries_;
};

}  // namespace agent
