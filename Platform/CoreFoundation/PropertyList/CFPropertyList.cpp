#include "CoreFoundation/String/CFStringObject.h"
#include "CoreFoundation/Values/CFNumberObject.h"
#include "PropertyListDocument.h"
#include "PropertyListTree.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>

using namespace KXPlatform;

namespace {

constinit const StringConstant kDebugDescriptionKey("NSDebugDescription");

struct Release {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};
template <class T>
using Held = std::unique_ptr<std::remove_pointer_t<T>, Release>;

CFStringRef createText(std::string_view ascii) noexcept { return createASCII(kCFAllocatorSystemDefault, ascii); }

/// The error that says `fault`. It is made in the system's memory: the caller's allocator may be what failed.
CFErrorRef createError(const PropertyListFault& fault) noexcept {
    const Held<CFStringRef> reason(createText(fault.reason));
    const void* const keys[] = {&kDebugDescriptionKey, kCFErrorDescriptionKey};
    const void* const values[] = {reason.get(), reason.get()};
    return CFErrorCreateWithUserInfoKeysAndValues(kCFAllocatorSystemDefault, kCFErrorDomainCocoa, fault.code, keys,
                                                  values, reason ? 2 : 0);
}

/// Does `work`, which throws. What it throws is left in `fault`, and a null result given.
template <class Work>
auto guarded(std::optional<PropertyListFault>& fault, CFIndex code, const Work& work) noexcept -> decltype(work()) {
    try {
        return work();
    } catch (PropertyListFault& thrown) {
        fault = std::move(thrown);
    } catch (const std::bad_alloc&) {
        fault = PropertyListFault{"Out of memory", code};
    } catch (const std::length_error&) {
        fault = PropertyListFault{"Out of memory", code};
    }
    return {};
}

void report(const std::optional<PropertyListFault>& fault, CFErrorRef* error) noexcept {
    if (fault && error) *error = createError(*fault);
}

void report(const std::optional<PropertyListFault>& fault, CFStringRef* errorString) noexcept {
    if (errorString) *errorString = fault ? createText(fault->reason) : nullptr;
}

// ---- Reading

constexpr std::string_view kBinaryMark = "bplist";

CFPropertyListFormat readInto(PropertyListTree& tree, PropertyListBytes bytes) {
    if (bytes.size() > kMaximumPropertyListSize) {
        throwReadFault("The document has more than " + std::to_string(kMaximumPropertyListSize) + " bytes");
    }
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (head.starts_with(kBinaryMark)) {
        readPropertyListBinary(bytes, tree);
        return kCFPropertyListBinaryFormat_v1_0;
    }
    std::string storage;
    const std::string_view document = decodeDocument(bytes, storage);
    if (looksLikePropertyListXML(document)) {
        readPropertyListXML(document, tree);
        return kCFPropertyListXMLFormat_v1_0;
    }
    readPropertyListText(document, tree);
    return kCFPropertyListOpenStepFormat;
}

CFPropertyListRef readData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                           CFPropertyListFormat* format) {
    if (!isOfType(data, TypeID::Data)) throwReadFault("There is no document to read");
    const CFIndex length = CFDataGetLength(data);
    if (length == 0) throwReadFault("The document is empty");
    PropertyListTree tree(allocator, options);
    const CFPropertyListFormat found = readInto(tree, {CFDataGetBytePtr(data), static_cast<std::size_t>(length)});
    if (format) *format = found;
    return tree.takeRoot();
}

/// There are no streams to read from or write to yet, so that none can be given.
template <class Error>
void reportNoStream(CFIndex code, Error* error) noexcept {
    std::optional<PropertyListFault> fault;
    guarded(fault, code, [&]() -> CFTypeRef { throw PropertyListFault{"There is no stream", code}; });
    report(fault, error);
}

// ---- Writing

CFDataRef writeData(CFAllocatorRef allocator, CFTypeRef list, CFPropertyListFormat format) {
    PropertyListOutput output;
    switch (format) {
        case kCFPropertyListXMLFormat_v1_0:
            writePropertyListXML(list, output);
            break;
        case kCFPropertyListBinaryFormat_v1_0:
            writePropertyListBinary(list, output);
            break;
        default:
            throwWriteFault("Only XML and binary property lists can be written");
    }
    if (!allocator) allocator = CFAllocatorGetDefault();
    const CFIndex size = static_cast<CFIndex>(output.size());
    if (allocator == kCFAllocatorSystemDefault && !output.isInline()) {
        UInt8* const bytes = reinterpret_cast<UInt8*>(output.release());
        const CFDataRef data = CFDataCreateWithBytesNoCopy(allocator, bytes, size, kCFAllocatorMalloc);
        if (data) return data;
        std::free(bytes);
        throw std::bad_alloc();
    }
    const CFDataRef data = CFDataCreate(allocator, reinterpret_cast<const UInt8*>(output.data()), size);
    if (!data) throw std::bad_alloc();
    return data;
}

// ---- Walking

bool isLeafOfFormat(TypeID type, CFPropertyListFormat format) noexcept {
    switch (type) {
        case TypeID::String:
        case TypeID::Data:
            return true;
        case TypeID::Number:
        case TypeID::Boolean:
        case TypeID::Date:
            return format != kCFPropertyListOpenStepFormat;
        default:
            return false;
    }
}

/// Whether a list may be written in a format, as far as the types of its objects go.
class Validator {
  public:
    explicit Validator(CFPropertyListFormat format) noexcept : format_(format) {}

    bool isValid(CFTypeRef value) noexcept {
        if (!value || ++values_ > kMaximumPropertyListValues) return false;
        const TypeID type = object(value)->cls->typeID;
        if (type != TypeID::Array && type != TypeID::Dictionary) return isLeafOfFormat(type, format_);
        if (depth_ == kMaximumPropertyListDepth) return false;
        ++depth_;
        const bool valid = type == TypeID::Array ? isValidArray(static_cast<CFArrayRef>(value))
                                                 : isValidDictionary(static_cast<CFDictionaryRef>(value));
        --depth_;
        return valid;
    }

  private:
    bool isValidArray(CFArrayRef array) noexcept {
        const CFIndex count = CFArrayGetCount(array);
        for (CFIndex i = 0; i < count; ++i) {
            if (!isValid(CFArrayGetValueAtIndex(array, i))) return false;
        }
        return true;
    }

    bool isValidDictionary(CFDictionaryRef dictionary) noexcept {
        struct Walk {
            Validator& validator;
            bool valid;
        } walk{*this, true};
        CFDictionaryApplyFunction(
            dictionary,
            [](const void* key, const void* value, void* context) {
                Walk& w = *static_cast<Walk*>(context);
                w.valid = w.valid && isOfType(key, TypeID::String) && w.validator.isValid(value);
            },
            &walk);
        return walk.valid;
    }

    const CFPropertyListFormat format_;
    std::size_t depth_ = 0;
    std::size_t values_ = 0;
};

/// Copies a list into a tree, which makes it of mutable or immutable parts.
class Copier {
  public:
    Copier(CFAllocatorRef allocator, PropertyListTree& tree) noexcept
        : allocator_(allocator ? allocator : CFAllocatorGetDefault()), tree_(tree) {}

    /// At most 512 deep: the tree takes no deeper nesting.
    void copy(CFTypeRef value) {
        if (!value || ++values_ > kMaximumPropertyListValues) throwNotAPropertyList(nullptr);
        switch (object(value)->cls->typeID) {
            case TypeID::Array:
                return copyArray(static_cast<CFArrayRef>(value));
            case TypeID::Dictionary:
                return copyDictionary(static_cast<CFDictionaryRef>(value));
            case TypeID::String:
                if (tree_.makesMutableLeaves()) {
                    return add(CFStringCreateMutableCopy(allocator_, 0, static_cast<CFStringRef>(value)));
                }
                return add(CFStringCreateCopy(allocator_, static_cast<CFStringRef>(value)));
            case TypeID::Data:
                if (tree_.makesMutableLeaves()) {
                    return add(CFDataCreateMutableCopy(allocator_, 0, static_cast<CFDataRef>(value)));
                }
                return add(CFDataCreateCopy(allocator_, static_cast<CFDataRef>(value)));
            case TypeID::Number:
            case TypeID::Date:
            case TypeID::Boolean:
                return tree_.addShared(value);
            default:
                throwNotAPropertyList(value);
        }
    }

  private:
    void add(CFTypeRef made) {
        const Held<CFTypeRef> held(made);
        if (!made) throw std::bad_alloc();
        tree_.addShared(made);
    }

    void copyArray(CFArrayRef array) {
        tree_.openArray();
        const CFIndex count = CFArrayGetCount(array);
        for (CFIndex i = 0; i < count; ++i) copy(CFArrayGetValueAtIndex(array, i));
        tree_.close();
    }

    void copyDictionary(CFDictionaryRef dictionary) {
        const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
        SmallVector<const void*, 32> pairs;
        const void** const keys = pairs.room(2 * count);
        const void** const values = keys + count;
        CFDictionaryGetKeysAndValues(dictionary, keys, values);
        tree_.openDictionary();
        for (std::size_t i = 0; i < count; ++i) {
            if (!isOfType(keys[i], TypeID::String)) throwNotAPropertyList(keys[i]);
            const Held<CFStringRef> key(CFStringCreateCopy(allocator_, static_cast<CFStringRef>(keys[i])));
            if (!key) throw std::bad_alloc();
            tree_.addKey(key.get());
            copy(values[i]);
        }
        tree_.close();
    }

    const CFAllocatorRef allocator_;
    PropertyListTree& tree_;
    std::size_t values_ = 0;
};

}  // namespace

// ---- Exported

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
    std::optional<PropertyListFault> fault;
    const CFPropertyListRef list =
        guarded(fault, kCFPropertyListReadCorruptError, [&] { return readData(allocator, data, options, format); });
    report(fault, error);
    return list;
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                  CFOptionFlags mutabilityOption, CFStringRef* errorString) {
    std::optional<PropertyListFault> fault;
    const CFPropertyListRef list = guarded(fault, kCFPropertyListReadCorruptError,
                                           [&] { return readData(allocator, xmlData, mutabilityOption, nullptr); });
    report(fault, errorString);
    return list;
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags /* options: none is defined */,
                                   CFErrorRef* error) {
    std::optional<PropertyListFault> fault;
    const CFDataRef data =
        guarded(fault, kCFPropertyListWriteStreamError, [&] { return writeData(allocator, propertyList, format); });
    report(fault, error);
    return data;
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList) {
    return CFPropertyListCreateData(allocator, propertyList, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption) {
    std::optional<PropertyListFault> fault;
    return guarded(fault, kCFPropertyListReadCorruptError, [&] {
        PropertyListTree tree(allocator, mutabilityOption);
        Copier(allocator, tree).copy(propertyList);
        return tree.takeRoot();
    });
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
    switch (format) {
        case kCFPropertyListOpenStepFormat:
        case kCFPropertyListXMLFormat_v1_0:
        case kCFPropertyListBinaryFormat_v1_0:
            return Validator(format).isValid(plist);
    }
    return false;
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef, CFIndex, CFOptionFlags,
                                                 CFPropertyListFormat*, CFErrorRef* error) {
    reportNoStream(kCFPropertyListReadStreamError, error);
    return nullptr;
}

CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef, CFReadStreamRef, CFIndex, CFOptionFlags,
                                                 CFPropertyListFormat*, CFStringRef* errorString) {
    reportNoStream(kCFPropertyListReadStreamError, errorString);
    return nullptr;
}

CFIndex CFPropertyListWrite(CFPropertyListRef, CFWriteStreamRef, CFPropertyListFormat, CFOptionFlags,
                            CFErrorRef* error) {
    reportNoStream(kCFPropertyListWriteStreamError, error);
    return 0;
}

CFIndex CFPropertyListWriteToStream(CFPropertyListRef, CFWriteStreamRef, CFPropertyListFormat,
                                    CFStringRef* errorString) {
    reportNoStream(kCFPropertyListWriteStreamError, errorString);
    return 0;
}
