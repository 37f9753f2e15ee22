#pragma once

/// Walking a property list by key and by array index, without a check at every step, and taking typed values out.
///
///     PListNavigator list({plist, L"/etc/agent.plist"});
///     PListArrayIter devices;
///     (list.root() / "Devices").getArrayIter(devices, ItemKind::Required, CFSTR("Name"));
///     int permissions = 0;
///     (devices.next() / "Permissions").getValue(permissions);
///
/// A step that leads nowhere is no error: only asking for a value is. A required value that is missing, of another type
/// or not convertible throws an error that names the place, for example
/// "/etc/agent.plist [/Devices/Item_0{Name=USB}/Permissions]"; an optional one returns false and leaves the output as
/// it was.
///
/// A navigator owns a reference to the list and every node taken from it: nodes and iterators are valid while it lives,
/// and nodes are freed with it, not before. Taking a step makes a node, so a navigator with its nodes and iterators is
/// used by one thread at a time; errors stand on their own and may go anywhere. Raw references that come out are
/// borrowed and valid as long as the list holds them; wrappers own what they hold.

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/BooleanRef.h>
#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/DateRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/NumberRef.h>
#include <KXCoreLib/CoreFoundation/PropertyListRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/Export.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace KXCore {

class PListNavigator;
class PListNode;

/// A property list and where it came from: `info` begins every location.
struct PListAndInfo {
    CoreFoundation::PropertyListRef plist;
    std::wstring info;
};

/// What a request does when it cannot be met. Any value but Required stands for optional.
enum class ItemKind : int {
    Optional = 1,  ///< returns false
    Required = 2,  ///< throws
};

/// Walks the elements of an array.
class KX_EXPORT PListArrayIter {
  public:
    /// An iterator over nothing, to be filled by PListNode::getArrayIter.
    PListArrayIter() noexcept = default;
    /// Over the array at `array`, or over nothing when there is none. `labelKey`: see PListNode::getArrayIter.
    explicit PListArrayIter(const PListNode* array, CFStringRef labelKey = nullptr);

    /// The node of the next element; past the end, a node without a value, of index -1, which belongs to no place of
    /// the list: required values of it are missing.
    const PListNode& next();

  private:
    const PListNode* array_ = nullptr;
    CoreFoundation::StringRef labelKey_;
    CFIndex count_ = 0;
    CFIndex position_ = 0;
};

/// A place in the list: how it was reached, and the value found there, if any.
class KX_EXPORT PListNode {
  public:
    PListNode(const PListNode&) = delete;
    PListNode& operator=(const PListNode&) = delete;

    /// The entry of this node's dictionary for `key`. Where this node has no dictionary, or the dictionary no such key,
    /// a node without a value. A const char* is UTF-8; other bytes are the key of nothing, and stand as Latin-1 in
    /// locations.
    const PListNode& operator/(CFStringRef key) const;
    const PListNode& operator/(const char* key) const;

    /// Sets `out` to the start of this node's array. Where elements are dictionaries, their entry for `labelKey` (a
    /// string or a number) tells them apart in locations; null for no label.
    bool getArrayIter(PListArrayIter& out, ItemKind kind = ItemKind::Required, CFStringRef labelKey = nullptr) const;

    /// The value, of any type.
    bool getValue(CFTypeRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::TypeRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::PropertyListRef& out, ItemKind kind = ItemKind::Required) const;

    /// The value, if it is of the type asked for.
    bool getValue(CFStringRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFArrayRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFDictionaryRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFDateRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFBooleanRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFNumberRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CFDataRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::StringRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::ArrayRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::DictionaryRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::DateRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::BooleanRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::NumberRef& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(CoreFoundation::DataRef& out, ItemKind kind = ItemKind::Required) const;

    /// Not for other wrappers: a value of the list is not the caller's to change.
    template <CoreFoundation::Wrapper Ref>
    bool getValue(Ref& out, ItemKind kind = ItemKind::Required) const = delete;

    /// A string as UTF-8, and as code points.
    bool getValue(std::string& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(std::wstring& out, ItemKind kind = ItemKind::Required) const;
    /// The bytes of a data.
    bool getValue(std::vector<unsigned char>& out, ItemKind kind = ItemKind::Required) const;
    /// A boolean; a number is none.
    bool getValue(bool& out, ItemKind kind = ItemKind::Required) const;

    /// A number, if the C type holds its value exactly.
    bool getValue(int& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(float& out, ItemKind kind = ItemKind::Required) const;
    bool getValue(double& out, ItemKind kind = ItemKind::Required) const;
    bool getLongValue(long& out, ItemKind kind = ItemKind::Required) const;
    bool getLongLongValue(long long& out, ItemKind kind = ItemKind::Required) const;
    bool getInt32Value(int& out, ItemKind kind = ItemKind::Required) const;
    bool getInt64Value(long long& out, ItemKind kind = ItemKind::Required) const;

    /// Where this is, for a person: the list's info text alone for the root, else followed by the steps.
    std::wstring getLocationInfo() const;

    /// How the node was reached: its parent (null for the root), and the array index (-1 when it was not an array) or
    /// the key, which for an element of an array is the label key and may be empty.
    const PListNode* parent() const noexcept { return parent_; }
    std::int64_t index() const noexcept { return index_; }
    const CoreFoundation::StringRef& key() const noexcept { return key_; }
    /// What was found there; empty when nothing was.
    const CoreFoundation::PropertyListRef& value() const noexcept { return value_; }

  private:
    friend class PListArrayIter;
    friend class PListNavigator;

    PListNode(const PListNavigator* navigator, const PListNode* parent, std::int64_t index,
              CoreFoundation::StringRef key, CoreFoundation::PropertyListRef value) noexcept;

    template <class Ref>
    typename Ref::RawType typedValue(ItemKind kind) const;
    template <class Ref>
    bool getRaw(typename Ref::RawType& out, ItemKind kind) const;
    template <class Ref>
    bool getWrapped(Ref& out, ItemKind kind) const;
    template <class Number>
    bool getNumber(Number& out, CFNumberType type, ItemKind kind) const;
    void reportMissing(ItemKind kind) const;

    const PListNavigator* navigator_;
    const PListNode* parent_;
    std::int64_t index_;
    CoreFoundation::StringRef key_;
    CoreFoundation::PropertyListRef value_;
};

/// Owns the walk over one property list.
class KX_EXPORT PListNavigator {
  public:
    explicit PListNavigator(const PListAndInfo& list);
    ~PListNavigator();
    PListNavigator(const PListNavigator&) = delete;
    PListNavigator& operator=(const PListNavigator&) = delete;

    /// The place where every walk starts.
    const PListNode& root() const noexcept { return root_; }

  private:
    friend class PListArrayIter;
    friend class PListNode;
    class NodePool;

    const PListNode& allocatePListNode(const PListNode* parent, std::int64_t index, CoreFoundation::StringRef key,
                                       CoreFoundation::PropertyListRef value) const;

    const PListAndInfo list_;
    const std::unique_ptr<NodePool> pool_;
    const PListNode root_;
    const PListNode end_;  ///< what lies past the end of every array
};

/// A required value that could not be had. what() is the name of the class.
class KX_EXPORT PListError : public std::runtime_error {
  public:
    /// With the location of `node`, as it is now.
    explicit PListError(const PListNode& node);
    ~PListError() override;

    const std::wstring& getLocationInfo() const noexcept { return location_; }

  private:
    std::wstring location_;
};

/// The value is not there; the location is the first step that leads nowhere.
class KX_EXPORT PListItemMissingError : public PListError {
  public:
    using PListError::PListError;
    const char* what() const noexcept override;
};

/// The value is of another type than the one asked for, or was asked for a key and is no dictionary.
class KX_EXPORT PListUnexpectedTypeError : public PListError {
  public:
    PListUnexpectedTypeError(const PListNode& node, std::int32_t expectedType)
        : PListError(node), expectedType_(expectedType) {}
    const char* what() const noexcept override;

    /// 1 string, 2 array, 3 dictionary, 4 date, 5 boolean, 6 number, 7 data.
    std::int32_t getExpectedType() const noexcept { return expectedType_; }

  private:
    std::int32_t expectedType_;
};

/// The number does not fit the C type asked for.
class KX_EXPORT PListConversionError : public PListError {
  public:
    using PListError::PListError;
    const char* what() const noexcept override;
};

/// A value that its reader cannot accept, thrown by the reader.
class KX_EXPORT PListValueError : public PListError {
  public:
    PListValueError(const PListNode& node, std::wstring message);
    const char* what() const noexcept override;

    /// The value at the node; empty when there is none.
    const CoreFoundation::PropertyListRef& getValue() const noexcept { return value_; }
    const std::wstring& getMessage() const noexcept { return message_; }

  private:
    CoreFoundation::PropertyListRef value_;
    std::wstring message_;
};

/// What is wrong and where, in UTF-8, for a log or a person: "agent.plist [/Devices/Item_2/Name]: there is no such
/// value". what() only names the class.
KX_EXPORT std::string DescribePListError(const PListError& error);

/// Fills `out` with the code points of `string`. They end before a unit that is half of a surrogate pair.
KX_EXPORT void _GetStringData(std::vector<wchar_t>& out, CFStringRef string);

}  // namespace KXCore
