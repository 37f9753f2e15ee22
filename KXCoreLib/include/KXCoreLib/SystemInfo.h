#pragma once

#include <KXCoreLib/Export.h>

#include <atomic>
#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <string>

namespace KXCore {

/// A NetBIOS name of the computer, in upper case. Immutable, counted, and shared by pointer; any thread.
class KX_EXPORT NetBiosName : boost::noncopyable {
  public:
    /// A new name: `name` (NUL-terminated, not null) in upper case by the process's global locale, character by
    /// character. Neither shortened to the 15 characters of NetBIOS nor filtered.
    static boost::intrusive_ptr<NetBiosName> create(const char* name);

    /// The text; it lives as long as the object.
    [[nodiscard]] const char* getName() const noexcept { return name_.c_str(); }

  private:
    explicit NetBiosName(const char* name);
    ~NetBiosName() = default;

    friend KX_EXPORT void intrusive_ptr_add_ref(const NetBiosName* name) noexcept;
    friend KX_EXPORT void intrusive_ptr_release(const NetBiosName* name) noexcept;

    mutable std::atomic<std::int32_t> count_{1};
    std::string name_;
};

KX_EXPORT void intrusive_ptr_add_ref(const NetBiosName* name) noexcept;
KX_EXPORT void intrusive_ptr_release(const NetBiosName* name) noexcept;

}  // namespace KXCore
