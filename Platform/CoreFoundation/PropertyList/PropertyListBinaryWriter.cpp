// Writes binary property lists, version 00 (the form is in PropertyListBinaryReader.cpp). Objects are numbered in the
// order in which a walk from the root meets them, a container before its contents, keys before values, keys in their
// order. A string, number, date or data object that is met again is written once; booleans and containers are written
// each time they are met.

#include "CoreFoundation/Values/CFNumberObject.h"
#include "PropertyListAccess.h"

#include <CoreFoundation/CoreFoundation.h>

#include <bit>
#include <cstring>

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

/// The fewest bytes out of 1, 2, 4 and 8 that hold `value`.
std::size_t bytesFor(std::uint64_t value) noexcept {
    if (value <= 0xFF) return 1;
    if (value <= 0xFFFF) return 2;
    return value <= 0xFFFFFFFF ? 4 : 8;
}

class BinaryWriter {
  public:
    explicit BinaryWriter(PropertyListOutput& output) : out_(output) {
        std::memset(slots_.room(kFirstSlots), 0xFF, kFirstSlots * sizeof(std::uint32_t));
        slots_.extend(kFirstSlots);
    }

    void write(CFTypeRef list) {
        number(list);
        referenceSize_ = bytesFor(nodes_.size());
        out_.append("bplist00", 8);
        SmallVector<std::uint64_t, 128> offsets;
        for (const Node& node : nodes_) {
            if (out_.size() > kMaximumPropertyListSize) throwTooLarge();
            offsets.push_back(out_.size());
            writeObject(node);
        }
        const std::uint64_t table = out_.size();
        const std::size_t offsetSize = bytesFor(table);
        for (const std::uint64_t offset : offsets) putUnsigned(offset, offsetSize);
        const char sizes[8] = {0, 0, 0, 0, 0, 0, static_cast<char>(offsetSize), static_cast<char>(referenceSize_)};
        out_.append(sizes, sizeof sizes);
        putUnsigned(nodes_.size(), 8);
        putUnsigned(0, 8);
        putUnsigned(table, 8);
        if (out_.size() > kMaximumPropertyListSize) throwTooLarge();
    }

  private:
    struct Node {
        CFTypeRef object;
        std::uint32_t firstReference;
        bool isOpen;  ///< its contents are being numbered
    };

    static constexpr std::size_t kFirstSlots = 128;
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;

    [[noreturn]] static void throwTooLarge() { throwWriteFault("The list is too large for a binary property list"); }

    // ---- Numbering

    std::size_t slotOf(CFTypeRef object) const noexcept {
        const std::uint64_t mixed = reinterpret_cast<std::uintptr_t>(object) * 0x9E3779B97F4A7C15u;
        return static_cast<std::size_t>(mixed >> 32) & (slots_.size() - 1);
    }

    /// The slot that holds the object's latest number, or the free one where it goes.
    std::size_t findSlot(CFTypeRef object) const noexcept {
        std::size_t slot = slotOf(object);
        while (slots_[slot] != kFree && nodes_[slots_[slot]].object != object) slot = (slot + 1) & (slots_.size() - 1);
        return slot;
    }

    void growSlots() {
        const std::size_t count = slots_.size() * 2;
        slots_.room(count - slots_.size());
        slots_.extend(count - slots_.size());
        std::memset(slots_.data(), 0xFF, count * sizeof(std::uint32_t));
        for (std::size_t i = 0; i < nodes_.size(); ++i)
            slots_[findSlot(nodes_[i].object)] = static_cast<std::uint32_t>(i);
    }

    static bool isShared(CFTypeRef object) noexcept {
        const TypeID type = KXPlatform::object(object)->cls->typeID;
        return type != TypeID::Boolean && type != TypeID::Array && type != TypeID::Dictionary;
    }

    /// The number of `object`; a new one, for it and everything in it, unless it is shared and has one.
    std::uint32_t number(CFTypeRef object) {
        if (!object) throwNotAPropertyList(object);
        const std::size_t slot = findSlot(object);
        if (slots_[slot] != kFree) {
            if (nodes_[slots_[slot]].isOpen) throwWriteFault("A container in the list holds itself");
            if (isShared(object)) return slots_[slot];
        }
        if (nodes_.size() >= kMaximumPropertyListValues || references_.size() >= kMaximumPropertyListValues) {
            throwTooLarge();
        }
        const std::uint32_t index = static_cast<std::uint32_t>(nodes_.size());
        nodes_.push_back({.object = object, .firstReference = 0, .isOpen = false});
        slots_[slot] = index;
        if (nodes_.size() * 2 > slots_.size()) growSlots();
        switch (KXPlatform::object(object)->cls->typeID) {
            case TypeID::Dictionary:
                numberDictionary(static_cast<CFDictionaryRef>(object), index);
                break;
            case TypeID::Array:
                numberArray(static_cast<CFArrayRef>(object), index);
                break;
            case TypeID::String:
            case TypeID::Number:
            case TypeID::Boolean:
            case TypeID::Data:
            case TypeID::Date:
                break;
            default:
                throwNotAPropertyList(object);
        }
        return index;
    }

    /// Room for a container's references; those of its contents come behind.
    std::size_t open(std::uint32_t index, std::size_t count) {
        if (++depth_ > kMaximumPropertyListDepth) {
            throwWriteFault("The list nests more than " + std::to_string(kMaximumPropertyListDepth) + " deep");
        }
        const std::size_t first = references_.size();
        if (count > kMaximumPropertyListValues - first) throwTooLarge();
        references_.room(count);
        references_.extend(count);
        nodes_[index].firstReference = static_cast<std::uint32_t>(first);
        nodes_[index].isOpen = true;
        return first;
    }

    void close(std::uint32_t index) noexcept {
        nodes_[index].isOpen = false;
        --depth_;
    }

    void numberArray(CFArrayRef array, std::uint32_t index) {
        const std::size_t count = static_cast<std::size_t>(CFArrayGetCount(array));
        const std::size_t first = open(index, count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t member = number(CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i)));
            references_[first + i] = member;
        }
        close(index);
    }

    void numberDictionary(CFDictionaryRef dictionary, std::uint32_t index) {
        const std::size_t firstEntry = entries_.size();
        appendSortedEntries(dictionary, entries_);
        const std::size_t count = entries_.size() - firstEntry;
        const std::size_t first = open(index, 2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t key = number(entries_[firstEntry + i].key);
            references_[first + i] = key;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t value = number(entries_[firstEntry + i].value);
            references_[first + count + i] = value;
        }
        entries_.truncate(firstEntry);
        close(index);
    }

    // ---- Writing

    void putUnsigned(std::uint64_t value, std::size_t size) {
        char* const to = out_.room(size);
        for (std::size_t i = size; i != 0; value >>= 8) to[--i] = static_cast<char>(value);
        out_.extend(size);
    }

    void putByte(unsigned value) { out_.push_back(static_cast<char>(value)); }

    /// Integers of less than eight bytes have no sign.
    void putInteger(std::uint64_t value) {
        const std::size_t size = bytesFor(value);
        putByte(0x10u | static_cast<unsigned>(std::countr_zero(size)));
        putUnsigned(value, size);
    }

    void putMarker(unsigned kind, std::size_t count) {
        putByte(kind << 4 | (count < 15 ? static_cast<unsigned>(count) : 15u));
        if (count >= 15) putInteger(count);
    }

    void putReferences(const Node& node, std::size_t count) {
        char* to = out_.room(count * referenceSize_);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t reference = references_[node.firstReference + i];
            for (std::size_t byte = referenceSize_; byte != 0; --byte)
                *to++ = static_cast<char>(reference >> (8 * (byte - 1)));
        }
        out_.extend(count * referenceSize_);
    }

    void writeObject(const Node& node) {
        switch (object(node.object)->cls->typeID) {
            case TypeID::String:
                return writeString(static_cast<CFStringRef>(node.object));
            case TypeID::Number:
                return writeNumber(static_cast<CFNumberRef>(node.object));
            case TypeID::Boolean:
                return putByte(CFBooleanGetValue(static_cast<CFBooleanRef>(node.object)) ? 0x09 : 0x08);
            case TypeID::Date:
                putByte(0x33);
                return putUnsigned(
                    std::bit_cast<std::uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(node.object))), 8);
            case TypeID::Data: {
                const CFDataRef data = static_cast<CFDataRef>(node.object);
                const std::size_t size = static_cast<std::size_t>(CFDataGetLength(data));
                putMarker(0x4, size);
                return out_.append(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), size);
            }
            case TypeID::Array: {
                const std::size_t count =
                    static_cast<std::size_t>(CFArrayGetCount(static_cast<CFArrayRef>(node.object)));
                putMarker(0xA, count);
                return putReferences(node, count);
            }
            default: {
                const std::size_t count =
                    static_cast<std::size_t>(CFDictionaryGetCount(static_cast<CFDictionaryRef>(node.object)));
                putMarker(0xD, count);
                return putReferences(node, 2 * count);
            }
        }
    }

    void writeString(CFStringRef string) {
        const TextView text = view(string);
        const std::size_t size = static_cast<std::size_t>(text.length);
        if (size > kMaximumPropertyListSize) throwTooLarge();
        // Equal texts are written alike, however they are kept.
        const bool isASCII = !text.isWide() || KXPlatform::isASCII(text.wide, size);
        putMarker(isASCII ? 0x5 : 0x6, size);
        if (!text.isWide()) return out_.append(text.ascii, size);
        const std::size_t bytes = isASCII ? size : 2 * size;
        char* to = out_.room(bytes);
        for (const UniChar unit : text.wideView()) {
            if (!isASCII) *to++ = static_cast<char>(unit >> 8);
            *to++ = static_cast<char>(unit);
        }
        out_.extend(bytes);
    }

    void writeNumber(CFNumberRef number) {
        switch (number->type()) {
            case kCFNumberFloat32Type:
                putByte(0x22);
                return putUnsigned(std::bit_cast<std::uint32_t>(static_cast<float>(number->real)), 4);
            case kCFNumberFloat64Type:
                putByte(0x23);
                return putUnsigned(std::bit_cast<std::uint64_t>(number->real), 8);
            default:
                break;
        }
        if (!number->isBeyondSInt64()) return putInteger(number->unsignedValue());
        putByte(0x14);
        putUnsigned(0, 8);
        putUnsigned(number->unsignedValue(), 8);
    }

    PropertyListOutput& out_;
    SmallVector<Node, 64> nodes_;
    SmallVector<std::uint32_t, kFirstSlots> slots_;  ///< nodes by their object: a hash table
    SmallVector<std::uint32_t, 128> references_;
    PropertyListEntries entries_;
    std::size_t referenceSize_ = 0;
    std::size_t depth_ = 0;
};

}  // namespace

void writePropertyListBinary(CFTypeRef list, PropertyListOutput& output) { BinaryWriter(output).write(list); }

}  // namespace KXPlatform
