#include <KXCoreLib/PList.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

namespace KXCore {

using namespace CoreFoundation;

namespace {

/// How PListUnexpectedTypeError names a type.
template <class Ref>
constexpr std::int32_t kTypeCode = 0;
template <>
constexpr std::int32_t kTypeCode<StringRef> = 1;
template <>
constexpr std::int32_t kTypeCode<ArrayRef> = 2;
template <>
constexpr std::int32_t kTypeCode<DictionaryRef> = 3;
template <>
constexpr std::int32_t kTypeCode<DateRef> = 4;
template <>
constexpr std::int32_t kTypeCode<BooleanRef> = 5;
template <>
constexpr std::int32_t kTypeCode<NumberRef> = 6;
template <>
constexpr std::int32_t kTypeCode<DataRef> = 7;

/// `value` as the raw type of `Ref`; null when it is null or of another type.
template <class Ref>
typename Ref::RawType as(CFTypeRef value) noexcept {
    if (!value || CFGetTypeID(value) != Ref::typeID) return nullptr;
    return static_cast<typename Ref::RawType>(value);
}

void appendText(std::wstring& out, CFStringRef string) {
    std::vector<wchar_t> text;
    _GetStringData(text, string);
    out.append(text.begin(), text.end());
}

template <class... Arguments>
void appendFormatted(std::wstring& out, const char* format, Arguments... arguments) {
    // The longest is a double's largest value in plain decimal: 309 digits before the point and 6 after it.
    std::array<char, 352> text;
    const int length = std::snprintf(text.data(), text.size(), format, arguments...);
    out.append(text.begin(), text.begin() + length);
}

/// "{label=value}" for an element of an array that has such a label.
void appendLabel(std::wstring& out, CFStringRef labelKey, CFTypeRef element) {
    const CFDictionaryRef dictionary = as<DictionaryRef>(element);
    if (!labelKey || !dictionary) return;
    const void* const label = CFDictionaryGetValue(dictionary, labelKey);
    const CFStringRef text = as<StringRef>(label);
    const CFNumberRef number = as<NumberRef>(label);
    if (!text && !number) return;
    out += L'{';
    appendText(out, labelKey);
    out += L'=';
    if (text) {
        appendText(out, text);
    } else if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberDoubleType, &value);
        appendFormatted(out, "%lf", value);
    } else {
        long long value = 0;
        CFNumberGetValue(number, kCFNumberLongLongType, &value);
        appendFormatted(out, "%lld", value);
    }
    out += L'}';
}

}  // namespace

/// Memory for nodes: fixed-size blocks, given one after the other from chunks of growing size. Nothing is given back;
/// the nodes made in the blocks die with the pool.
class PListNavigator::NodePool {
  public:
    NodePool() noexcept = default;
    NodePool(const NodePool&) = delete;
    NodePool& operator=(const NodePool&) = delete;
    ~NodePool() {
        for (const Chunk& chunk : chunks_) {
            for (std::size_t i = 0; i < chunk.used; ++i) std::destroy_at(chunk.node(i));
        }
    }

    /// The next block, in which the caller makes a node at once.
    void* allocate() {
        if (chunks_.empty() || chunks_.back().used == chunks_.back().capacity) grow();
        Chunk& chunk = chunks_.back();
        return &chunk.blocks[chunk.used++];
    }

  private:
    static constexpr std::size_t kFirstCapacity = 16;
    static constexpr std::size_t kLargestCapacity = 1024;

    struct alignas(PListNode) Block {
        std::byte bytes[sizeof(PListNode)];
    };

    struct Chunk {
        std::unique_ptr<Block[]> blocks;
        std::size_t capacity = 0;
        std::size_t used = 0;

        PListNode* node(std::size_t i) const { return std::launder(reinterpret_cast<PListNode*>(&blocks[i])); }
    };

    void grow() {
        const std::size_t capacity =
            chunks_.empty() ? kFirstCapacity : std::min(2 * chunks_.back().capacity, kLargestCapacity);
        chunks_.push_back({.blocks = std::unique_ptr<Block[]>(new Block[capacity]), .capacity = capacity});
    }

    std::vector<Chunk> chunks_;
};

PListNavigator::PListNavigator(const PListAndInfo& list)
    : list_(list),
      pool_(std::make_unique<NodePool>()),
      root_(this, nullptr, -1, {}, list.plist),
      end_(this, nullptr, -1, {}, {}) {}

PListNavigator::~PListNavigator() = default;

const PListNode& PListNavigator::allocatePListNode(const PListNode* parent, std::int64_t index, StringRef key,
                                                   PropertyListRef value) const {
    return *new (pool_->allocate()) PListNode(this, parent, index, std::move(key), std::move(value));
}

PListArrayIter::PListArrayIter(const PListNode* array, CFStringRef labelKey)
    : array_(array), labelKey_(StringRef::retain(labelKey)) {
    if (const CFArrayRef elements = array ? as<ArrayRef>(array->value_.get()) : nullptr) {
        count_ = CFArrayGetCount(elements);
    }
}

const PListNode& PListArrayIter::next() {
    static const PListNode nowhere(nullptr, nullptr, -1, {}, {});
    if (!array_) return nowhere;
    // The array may have lost elements since, if its owner changes it.
    const CFArrayRef elements = as<ArrayRef>(array_->value_.get());
    if (position_ >= count_ || position_ >= CFArrayGetCount(elements)) {
        return array_->navigator_ ? array_->navigator_->end_ : nowhere;
    }
    const CFIndex index = position_++;
    return array_->navigator_->allocatePListNode(array_, index, labelKey_,
                                                 PropertyListRef::retain(CFArrayGetValueAtIndex(elements, index)));
}

PListNode::PListNode(const PListNavigator* navigator, const PListNode* parent, std::int64_t index, StringRef key,
                     PropertyListRef value) noexcept
    : navigator_(navigator), parent_(parent), index_(index), key_(std::move(key)), value_(std::move(value)) {}

const PListNode& PListNode::operator/(CFStringRef key) const {
    if (!navigator_) return *this;
    const CFDictionaryRef dictionary = as<DictionaryRef>(value_.get());
    const CFTypeRef found = dictionary && key ? CFDictionaryGetValue(dictionary, key) : nullptr;
    return navigator_->allocatePListNode(this, -1, StringRef::retain(key), PropertyListRef::retain(found));
}

const PListNode& PListNode::operator/(const char* key) const {
    const StringRef utf8 =
        StringRef::adopt(key ? CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8) : nullptr);
    if (utf8 || !key || !navigator_) return *this / utf8.get();
    StringRef shown = StringRef::createWithCString(kCFAllocatorDefault, key, kCFStringEncodingISOLatin1);
    return navigator_->allocatePListNode(this, -1, std::move(shown), {});
}

bool PListNode::getArrayIter(PListArrayIter& out, ItemKind kind, CFStringRef labelKey) const {
    if (!typedValue<ArrayRef>(kind)) return false;
    out = PListArrayIter(this, labelKey);
    return true;
}

void PListNode::reportMissing(ItemKind kind) const {
    if (kind != ItemKind::Required) return;
    const PListNode* missing = this;
    while (missing->parent_ && !missing->parent_->value_) missing = missing->parent_;
    const PListNode* const last = missing->parent_;
    if (last && !as<DictionaryRef>(last->value_.get())) {
        throw PListUnexpectedTypeError(*last, kTypeCode<DictionaryRef>);
    }
    throw PListItemMissingError(*missing);
}

bool PListNode::getValue(CFTypeRef& out, ItemKind kind) const {
    if (!value_) {
        reportMissing(kind);
        return false;
    }
    out = value_.get();
    return true;
}

bool PListNode::getValue(TypeRef& out, ItemKind kind) const {
    CFTypeRef value = nullptr;
    if (!getValue(value, kind)) return false;
    out.assign(value);
    return true;
}

bool PListNode::getValue(PropertyListRef& out, ItemKind kind) const {
    return getValue(static_cast<TypeRef&>(out), kind);
}

template <class Ref>
typename Ref::RawType PListNode::typedValue(ItemKind kind) const {
    if (!value_) {
        reportMissing(kind);
        return nullptr;
    }
    const typename Ref::RawType value = as<Ref>(value_.get());
    if (!value && kind == ItemKind::Required) throw PListUnexpectedTypeError(*this, kTypeCode<Ref>);
    return value;
}

template <class Ref>
bool PListNode::getRaw(typename Ref::RawType& out, ItemKind kind) const {
    const typename Ref::RawType value = typedValue<Ref>(kind);
    if (!value) return false;
    out = value;
    return true;
}

template <class Ref>
bool PListNode::getWrapped(Ref& out, ItemKind kind) const {
    const typename Ref::RawType value = typedValue<Ref>(kind);
    if (!value) return false;
    out = Ref::retain(value);
    return true;
}

template <class Number>
bool PListNode::getNumber(Number& out, CFNumberType type, ItemKind kind) const {
    const CFNumberRef number = typedValue<NumberRef>(kind);
    if (!number) return false;
    // Even a conversion that fails may write the nearest value.
    Number value{};
    if (CFNumberGetValue(number, type, &value)) {
        out = value;
        return true;
    }
    if (kind == ItemKind::Required) throw PListConversionError(*this);
    return false;
}

bool PListNode::getValue(CFStringRef& out, ItemKind kind) const { return getRaw<StringRef>(out, kind); }
bool PListNode::getValue(CFArrayRef& out, ItemKind kind) const { return getRaw<ArrayRef>(out, kind); }
bool PListNode::getValue(CFDictionaryRef& out, ItemKind kind) const { return getRaw<DictionaryRef>(out, kind); }
bool PListNode::getValue(CFDateRef& out, ItemKind kind) const { return getRaw<DateRef>(out, kind); }
bool PListNode::getValue(CFBooleanRef& out, ItemKind kind) const { return getRaw<BooleanRef>(out, kind); }
bool PListNode::getValue(CFNumberRef& out, ItemKind kind) const { return getRaw<NumberRef>(out, kind); }
bool PListNode::getValue(CFDataRef& out, ItemKind kind) const { return getRaw<DataRef>(out, kind); }

bool PListNode::getValue(StringRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(ArrayRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(DictionaryRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(DateRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(BooleanRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(NumberRef& out, ItemKind kind) const { return getWrapped(out, kind); }
bool PListNode::getValue(DataRef& out, ItemKind kind) const { return getWrapped(out, kind); }

bool PListNode::getValue(std::string& out, ItemKind kind) const {
    const CFStringRef string = typedValue<StringRef>(kind);
    if (!string) return false;
    const CFIndex length = CFStringGetLength(string);
    if (const char* const text = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
        // Kept as ASCII: a byte for each unit, a NUL within the text among them.
        out.assign(text, static_cast<std::size_t>(length));
        return true;
    }
    std::string text(static_cast<std::size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)), '\0');
    CFIndex used = 0;
    CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                     reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()), &used);
    text.resize(static_cast<std::size_t>(used));
    out = std::move(text);
    return true;
}

bool PListNode::getValue(std::wstring& out, ItemKind kind) const {
    const CFStringRef string = typedValue<StringRef>(kind);
    if (!string) return false;
    out.clear();
    appendText(out, string);
    return true;
}

bool PListNode::getValue(std::vector<unsigned char>& out, ItemKind kind) const {
    const CFDataRef data = typedValue<DataRef>(kind);
    if (!data) return false;
    DataRef::retain(data).copyStdVector(out);
    return true;
}

bool PListNode::getValue(bool& out, ItemKind kind) const {
    const CFBooleanRef boolean = typedValue<BooleanRef>(kind);
    if (!boolean) return false;
    out = CFBooleanGetValue(boolean) != 0;
    return true;
}

bool PListNode::getValue(int& out, ItemKind kind) const { return getNumber(out, kCFNumberIntType, kind); }
bool PListNode::getValue(float& out, ItemKind kind) const { return getNumber(out, kCFNumberFloatType, kind); }
bool PListNode::getValue(double& out, ItemKind kind) const { return getNumber(out, kCFNumberDoubleType, kind); }
bool PListNode::getLongValue(long& out, ItemKind kind) const { return getNumber(out, kCFNumberLongType, kind); }
bool PListNode::getLongLongValue(long long& out, ItemKind kind) const {
    return getNumber(out, kCFNumberLongLongType, kind);
}
bool PListNode::getInt32Value(int& out, ItemKind kind) const { return getNumber(out, kCFNumberSInt32Type, kind); }
bool PListNode::getInt64Value(long long& out, ItemKind kind) const { return getNumber(out, kCFNumberSInt64Type, kind); }

std::wstring PListNode::getLocationInfo() const {
    std::wstring location = navigator_ ? navigator_->list_.info : std::wstring();
    if (!parent_) return location;
    std::vector<const PListNode*> steps;
    for (const PListNode* node = this; node->parent_; node = node->parent_) steps.push_back(node);
    location += L" [";
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        const PListNode& node = **step;
        location += L'/';
        if (node.index_ != -1) {
            appendFormatted(location, "Item_%jd", static_cast<std::intmax_t>(node.index_));
            appendLabel(location, node.key_.get(), node.value_.get());
        } else {
            appendText(location, node.key_.get());
        }
    }
    location += L']';
    return location;
}

PListError::PListError(const PListNode& node) : std::runtime_error(""), location_(node.getLocationInfo()) {}
PListError::~PListError() = default;

const char* PListItemMissingError::what() const noexcept { return "PListItemMissingError"; }

const char* PListUnexpectedTypeError::what() const noexcept { return "PListUnexpectedTypeError"; }

const char* PListConversionError::what() const noexcept { return "PListConversionError"; }

PListValueError::PListValueError(const PListNode& node, std::wstring message)
    : PListError(node), value_(node.value()), message_(std::move(message)) {}

const char* PListValueError::what() const noexcept { return "PListValueError"; }

namespace {

std::string utf8Of(const std::wstring& text) {
    const CFIndex size = static_cast<CFIndex>(text.size() * sizeof(wchar_t));
    const StringRef string = StringRef::adopt(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()), size, kCFStringEncodingUTF32LE, false));
    return string ? string.copyStdString() : std::string();
}

const char* wordsFor(std::int32_t type) noexcept {
    constexpr const char* kWords[] = {"a string",  "an array", "a dictionary", "a date",
                                      "a boolean", "a number", "data"};
    return type >= 1 && type <= 7 ? kWords[type - 1] : "of the type asked for";
}

}  // namespace

std::string DescribePListError(const PListError& error) {
    std::string fault = error.what();
    if (dynamic_cast<const PListItemMissingError*>(&error)) {
        fault = "there is no such value";
    } else if (const auto* const type = dynamic_cast<const PListUnexpectedTypeError*>(&error)) {
        fault = std::string("the value is not ") + wordsFor(type->getExpectedType());
    } else if (dynamic_cast<const PListConversionError*>(&error)) {
        fault = "the number does not fit";
    } else if (const auto* const value = dynamic_cast<const PListValueError*>(&error)) {
        fault = utf8Of(value->getMessage());
    }
    return utf8Of(error.getLocationInfo()) + ": " + fault;
}

void _GetStringData(std::vector<wchar_t>& out, CFStringRef string) {
    static_assert(sizeof(wchar_t) == 4, "a wide character holds a code point");
    const CFIndex length = string ? CFStringGetLength(string) : 0;
    out.resize(static_cast<std::size_t>(length));  // a character takes one unit or two
    CFIndex used = 0;
    if (length > 0) {
        CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF32LE, 0, false,
                         reinterpret_cast<UInt8*>(out.data()), static_cast<CFIndex>(out.size() * sizeof(wchar_t)),
                         &used);
    }
    out.resize(static_cast<std::size_t>(used) / sizeof(wchar_t));
}

}  // namespace KXCore
