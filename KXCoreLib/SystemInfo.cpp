#include <KXCoreLib/SystemInfo.h>

#include <boost/algorithm/string/case_conv.hpp>

namespace KXCore {

NetBiosName::NetBiosName(const char* name) : name_(name) { boost::algorithm::to_upper(name_); }

boost::intrusive_ptr<NetBiosName> NetBiosName::create(const char* name) {
    // Born with the one reference that the caller now holds.
    return {new NetBiosName(name), /*add_ref=*/false};
}

void intrusive_ptr_add_ref(const NetBiosName* name) noexcept { name->count_.fetch_add(1, std::memory_order_relaxed); }

void intrusive_ptr_release(const NetBiosName* name) noexcept {
    // Acquire pairs with the other owners' releases: nobody is still reading what is deleted.
    if (name->count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete name;
}

}  // namespace KXCore
