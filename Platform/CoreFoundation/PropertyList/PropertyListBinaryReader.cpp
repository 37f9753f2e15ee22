// Reads binary property lists, version 00:
//
//     document = "bplist0" any | object* | offset table | trailer
//     trailer  = 6 unused bytes, size of an offset, size of a reference, count of objects (8), top object (8),
//                place of the offset table (8); numbers are big-endian
//     object   = marker byte (kind << 4 | info), then
//                0x08 false  0x09 true  0x1n integer of 2^n bytes  0x2n real of 2^n bytes  0x33 date
//                0x4n data  0x5n ASCII text  0x6n UTF-16 text  0x8n UID of n + 1 bytes
//                0xAn array of n references  0xDn dictionary of n references to keys, then n to values
//                where n is 15, an integer object with the count follows the marker
//
// Nothing in the document is believed: every offset, count and reference is checked before use. An object may be
// referred to from many places, which makes the list that a document means far larger than the document; what is shared
// is shared in memory too, and the whole, shared parts counted each time, is held to a multiple of the document.

#include "PropertyListTree.h"

#include <bit>
#include <cstring>

namespace KXPlatform {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

/// What a list may weigh whose document weighs `documentSize` bytes. A value weighs its own bytes and kValueWeight.
constexpr std::uint64_t kValueWeight = 16;
constexpr std::uint64_t maximumWeight(std::size_t documentSize) noexcept {
    return (std::uint64_t{16} << 20) + std::uint64_t{32} * documentSize;
}

class BinaryReader {
  public:
    BinaryReader(PropertyListBytes document, PropertyListTree& tree)
        : document_(document), tree_(tree), weightLimit_(maximumWeight(document.size())) {}

    void read() {
        readTrailer();
        const std::size_t count = static_cast<std::size_t>(objectCount_);
        std::memset(static_cast<void*>(objects_.room(count)), 0, count * sizeof(Known));
        objects_.extend(count);
        addValue(topObject_);
        while (!open_.empty()) {
            // The reference holds until a container is opened within this one.
            Container& container = open_.back();
            while (container.next < container.keys) addKey(reference(container.references, container.next++));
            bool entered = false;
            while (!entered && container.next < container.count) {
                entered = addValue(reference(container.references, container.next++));
            }
            if (!entered) finishContainer();
        }
    }

  private:
    /// What has been read of an object: nothing while both are zero.
    struct Known {
        static constexpr std::uint64_t kOpen = ~std::uint64_t{0};

        bool isOpen() const noexcept { return weight == kOpen; }

        CFTypeRef object;      ///< borrowed from the tree, which keeps everything until it ends
        std::uint64_t weight;  ///< of the object with everything in it; kOpen while its contents are being read
    };

    struct Container {
        std::uint64_t object;
        std::size_t references;  ///< where its references are
        std::uint64_t keys;      ///< how many of them are keys; they come first
        std::uint64_t count;
        std::uint64_t next;
        std::uint64_t weightBefore;
    };

    [[noreturn]] void fail(const std::string& reason) const { throwReadFault("Binary property list: " + reason); }

    [[noreturn]] void fail(std::uint64_t object, const char* reason) const {
        fail("object " + std::to_string(object) + " " + reason);
    }

    template <class T>
    std::uint64_t loadAt(std::size_t at) const noexcept {
        T value;
        std::memcpy(&value, document_.data() + at, sizeof value);
        if constexpr (std::endian::native == std::endian::big) return value;
        if constexpr (sizeof value == 2) return __builtin_bswap16(value);
        if constexpr (sizeof value == 4) return __builtin_bswap32(value);
        return __builtin_bswap64(value);
    }

    /// A big-endian integer of `size` bytes, at most eight, at a place that has been checked.
    std::uint64_t unsignedAt(std::size_t at, std::size_t size) const noexcept {
        switch (size) {
            case 1:
                return document_[at];
            case 2:
                return loadAt<std::uint16_t>(at);
            case 4:
                return loadAt<std::uint32_t>(at);
            case 8:
                return loadAt<std::uint64_t>(at);
            default:
                break;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | document_[at + i];
        return value;
    }

    void readTrailer() {
        const std::size_t size = document_.size();
        if (size < kHeaderSize + 1 + kTrailerSize + 1) fail("the document is too short");
        const std::size_t trailer = size - kTrailerSize;
        offsetSize_ = document_[trailer + 6];
        referenceSize_ = document_[trailer + 7];
        objectCount_ = unsignedAt(trailer + 8, 8);
        topObject_ = unsignedAt(trailer + 16, 8);
        const std::uint64_t table = unsignedAt(trailer + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8) fail("offsets of " + std::to_string(offsetSize_) + " bytes");
        if (referenceSize_ < 1 || referenceSize_ > 8)
            fail("references of " + std::to_string(referenceSize_) + " bytes");
        if (table <= kHeaderSize || table >= trailer) fail("the offset table lies outside of the document");
        table_ = static_cast<std::size_t>(table);
        if (objectCount_ == 0 || objectCount_ > (trailer - table_) / offsetSize_ ||
            objectCount_ > table_ - kHeaderSize) {
            fail("more objects than the document has room for (" + std::to_string(objectCount_) + ")");
        }
        if (topObject_ >= objectCount_) fail("the top object is not among the objects");
    }

    std::uint64_t reference(std::size_t references, std::uint64_t index) const noexcept {
        return unsignedAt(references + static_cast<std::size_t>(index) * referenceSize_, referenceSize_);
    }

    /// Where an object begins; checks the reference to it.
    std::size_t placeOf(std::uint64_t object) const {
        if (object >= objectCount_) fail("a reference to object " + std::to_string(object) + ", which is not there");
        const std::uint64_t offset = unsignedAt(table_ + static_cast<std::size_t>(object) * offsetSize_, offsetSize_);
        if (offset < kHeaderSize || offset >= table_) fail(object, "lies outside of the document's objects");
        return static_cast<std::size_t>(offset);
    }

    void addWeight(std::uint64_t weight) {
        // Both are far below 2^63: a single object is no larger than the document.
        weight_ += weight;
        if (weight_ > weightLimit_)
            fail("the list is too large for its document: objects shared or overlapping too often");
    }

    /// The bytes of an object's contents, from `at` on; checks that they end before the offset table.
    void needRoom(std::uint64_t object, std::size_t at, std::uint64_t count, std::size_t size) const {
        if (at > table_ || count > (table_ - at) / size) fail(object, "reaches beyond the document's objects");
    }

    /// The count of an object whose marker is at `at`, which moves behind the count.
    std::uint64_t readCount(std::uint64_t object, std::size_t& at) const {
        const unsigned info = document_[at] & 0x0Fu;
        ++at;
        if (info != 15) return info;
        needRoom(object, at, 1, 1);
        const unsigned marker = document_[at];
        if (marker >> 4 != 1 || (marker & 15) > 3) fail(object, "has a count that is no integer");
        const std::size_t size = std::size_t{1} << (marker & 15);
        ++at;
        needRoom(object, at, size, 1);
        const std::uint64_t count = unsignedAt(at, size);
        at += size;
        return count;
    }

    void addKey(std::uint64_t object) {
        const std::size_t place = placeOf(object);
        const Known& known = objects_[static_cast<std::size_t>(object)];
        if (known.object && isString(place)) {
            addWeight(known.weight);
            return tree_.addKey(static_cast<CFStringRef>(known.object));
        }
        if (!isString(place)) fail(object, "is a dictionary's key but no string");
        const std::uint64_t before = weight_;
        readString(object, place, true);
        if (!tree_.makesMutableLeaves()) remember(object, tree_.lastKey(), before);
    }

    bool isString(std::size_t place) const noexcept {
        const unsigned kind = document_[place] >> 4;
        return kind == 5 || kind == 6;
    }

    /// Whether the value is a container, whose contents are then to be read.
    bool addValue(std::uint64_t object) {
        const std::size_t place = placeOf(object);
        const Known& known = objects_[static_cast<std::size_t>(object)];
        if (known.isOpen()) fail(object, "contains itself");
        if (known.object) {
            addWeight(known.weight);
            tree_.addShared(known.object);
            return false;
        }
        const unsigned kind = document_[place] >> 4;
        if (kind == 0xA || kind == 0xD) {
            openContainer(object, place);
            return true;
        }
        const std::uint64_t before = weight_;
        readLeaf(object, place);
        const bool sharable = !tree_.makesMutableLeaves() || (kind != 4 && kind != 5 && kind != 6);
        // A UID is read as a dictionary, which is not shared when it can be changed.
        if (sharable && !(kind == 8 && tree_.makesMutableContainers())) remember(object, tree_.lastValue(), before);
        return false;
    }

    void remember(std::uint64_t object, CFTypeRef made, std::uint64_t weightBefore) noexcept {
        objects_[static_cast<std::size_t>(object)] = {.object = made, .weight = weight_ - weightBefore};
    }

    void openContainer(std::uint64_t object, std::size_t at) {
        const bool isDictionary = document_[at] >> 4 == 0xD;
        const std::uint64_t before = weight_;
        addWeight(kValueWeight);
        const std::uint64_t count = readCount(object, at);
        needRoom(object, at, count, referenceSize_ * (isDictionary ? 2 : 1));
        if (isDictionary) {
            tree_.openDictionary();
        } else {
            tree_.openArray();
        }
        objects_[static_cast<std::size_t>(object)].weight = Known::kOpen;
        open_.push_back({.object = object,
                         .references = at,
                         .keys = isDictionary ? count : 0,
                         .count = isDictionary ? 2 * count : count,
                         .next = 0,
                         .weightBefore = before});
    }

    void finishContainer() {
        const Container container = open_.back();
        open_.pop_back();
        tree_.close();
        // A container that can be changed is made anew wherever it is referred to.
        if (tree_.makesMutableContainers()) {
            objects_[static_cast<std::size_t>(container.object)] = {.object = nullptr, .weight = 0};
        } else {
            remember(container.object, tree_.lastValue(), container.weightBefore);
        }
    }

    void readLeaf(std::uint64_t object, std::size_t at) {
        const unsigned marker = document_[at];
        addWeight(kValueWeight);
        switch (marker >> 4) {
            case 0x0:
                if (marker == 0x08 || marker == 0x09) return tree_.addBoolean(marker == 0x09);
                break;
            case 0x1:
                return readInteger(object, at);
            case 0x2:
                if (marker == 0x22) {
                    needRoom(object, at + 1, 4, 1);
                    return tree_.addFloat(std::bit_cast<float>(static_cast<std::uint32_t>(unsignedAt(at + 1, 4))));
                }
                if (marker == 0x23) {
                    needRoom(object, at + 1, 8, 1);
                    return tree_.addReal(std::bit_cast<double>(unsignedAt(at + 1, 8)));
                }
                break;
            case 0x3:
                if (marker == 0x33) {
                    needRoom(object, at + 1, 8, 1);
                    return tree_.addDate(std::bit_cast<double>(unsignedAt(at + 1, 8)));
                }
                break;
            case 0x4: {
                const std::uint64_t count = readCount(object, at);
                needRoom(object, at, count, 1);
                addWeight(count);
                return tree_.addData(document_.subspan(at, static_cast<std::size_t>(count)));
            }
            case 0x5:
            case 0x6:
                return readString(object, at, false);
            case 0x8: {
                const std::size_t size = (marker & 0x0Fu) + 1;
                needRoom(object, at + 1, size, 1);
                if (size > 8) break;
                // The form that a UID has in XML.
                tree_.openDictionary();
                tree_.addKey("CF$UID");
                tree_.addUnsigned(unsignedAt(at + 1, size));
                return tree_.close();
            }
            default:
                break;
        }
        fail(object, "is of a kind that no property list has");
    }

    void readInteger(std::uint64_t object, std::size_t at) {
        const unsigned power = document_[at] & 0x0Fu;
        if (power > 4) fail(object, "is an integer of too many bytes");
        const std::size_t size = std::size_t{1} << power;
        needRoom(object, at + 1, size, 1);
        // Integers of less than eight bytes have no sign; those of sixteen may pass 2^63, up to 2^64 - 1.
        if (size < 8) return tree_.addUnsigned(unsignedAt(at + 1, size));
        if (size == 8) return tree_.addInteger(static_cast<std::int64_t>(unsignedAt(at + 1, 8)));
        const std::uint64_t high = unsignedAt(at + 1, 8);
        const std::uint64_t low = unsignedAt(at + 9, 8);
        if (high == 0) return tree_.addUnsigned(low);
        if (high == ~std::uint64_t{0} && low >> 63 != 0) return tree_.addInteger(static_cast<std::int64_t>(low));
        fail(object, "is an integer outside of -2^63 to 2^64-1");
    }

    void readString(std::uint64_t object, std::size_t at, bool asKey) {
        if (asKey) addWeight(kValueWeight);
        const bool isWide = document_[at] >> 4 == 6;
        const std::uint64_t count = readCount(object, at);
        needRoom(object, at, count, isWide ? 2 : 1);
        addWeight(isWide ? 2 * count : count);
        const std::size_t length = static_cast<std::size_t>(count);
        if (!isWide) {
            const std::string_view text(reinterpret_cast<const char*>(document_.data()) + at, length);
            if (isASCII(text)) return asKey ? tree_.addKey(text) : tree_.addString(text);
        }
        // Bytes above 0x7F stand for the code points of the same value.
        wide_.truncate(0);
        UniChar* const to = wide_.room(length);
        const std::size_t width = isWide ? 2 : 1;
        for (std::size_t i = 0; i < length; ++i) to[i] = static_cast<UniChar>(unsignedAt(at + i * width, width));
        const std::span<const UniChar> text(to, length);
        return asKey ? tree_.addKey(text) : tree_.addString(text);
    }

    static bool isASCII(std::string_view text) noexcept {
        const char* p = text.data();
        const char* const end = p + text.size();
        for (; end - p >= 8; p += 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            if (word & 0x8080808080808080) return false;
        }
        for (; p != end; ++p) {
            if (static_cast<std::uint8_t>(*p) >= 0x80) return false;
        }
        return true;
    }

    const PropertyListBytes document_;
    PropertyListTree& tree_;
    const std::uint64_t weightLimit_;
    std::uint64_t weight_ = 0;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t table_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    SmallVector<Known, 64> objects_;
    SmallVector<Container, 8> open_;
    SmallVector<UniChar, 256> wide_;
};

}  // namespace

void readPropertyListBinary(PropertyListBytes document, PropertyListTree& tree) {
    if (document.size() < 8 || document[6] != '0') {
        throw PropertyListFault{"Binary property list: a version other than 0", kCFPropertyListReadUnknownVersionError};
    }
    BinaryReader(document, tree).read();
}

}  // namespace KXPlatform
