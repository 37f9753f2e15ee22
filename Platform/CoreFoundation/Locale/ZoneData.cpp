#include "ZoneData.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <utility>

namespace KXPlatform {
namespace {

constexpr std::size_t kHeaderSize = 44;
constexpr std::size_t kMostTypes = 256;
constexpr std::int32_t kLeastOffset = -25 * 3600 + 1;
constexpr std::int32_t kMostOffset = 26 * 3600 - 1;

/// What a saving is taken for where nothing tells it.
constexpr std::int32_t kUsualSaving = 3600;

}  // namespace

/// Reads from front to back; what is asked for beyond the end fails.
class ZoneData::Reader {
  public:
    explicit Reader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    struct Counts {
        std::uint8_t version = 0;
        std::uint32_t utIndicators = 0, standardIndicators = 0, leaps = 0, changes = 0, types = 0, characters = 0;

        /// How many bytes follow, with times of `timeSize` bytes. In 64 bits: counts of 32 cannot overflow it.
        std::uint64_t size(std::uint64_t timeSize) const noexcept {
            return changes * (timeSize + 1) + types * std::uint64_t{6} + characters + leaps * (timeSize + 4) +
                   standardIndicators + utIndicators;
        }
        bool areValid() const noexcept {
            return types >= 1 && types <= kMostTypes && characters >= 1 &&
                   (utIndicators == 0 || utIndicators == types) &&
                   (standardIndicators == 0 || standardIndicators == types);
        }
    };

    bool takeHeader(Counts& counts) noexcept {
        if (rest_.size() < kHeaderSize || std::memcmp(rest_.data(), "TZif", 4) != 0) return false;
        const std::uint8_t version = rest_[4];
        if (version != 0 && (version < '2' || version > '4')) return false;
        rest_ = rest_.subspan(20);
        counts.version = version;
        for (std::uint32_t* const count : {&counts.utIndicators, &counts.standardIndicators, &counts.leaps,
                                           &counts.changes, &counts.types, &counts.characters}) {
            *count = static_cast<std::uint32_t>(takeInteger(4));
        }
        return true;
    }

    std::size_t left() const noexcept { return rest_.size(); }
    void skip(std::size_t size) noexcept { rest_ = rest_.subspan(size); }

    /// Big-endian, with its sign; the caller has seen that it is there.
    std::int64_t takeInteger(std::size_t size) noexcept {
        std::uint64_t value = rest_[0] & 0x80 ? ~std::uint64_t{0} : 0;
        for (const std::uint8_t byte : rest_.first(size)) value = value << 8 | byte;
        skip(size);
        return static_cast<std::int64_t>(value);
    }
    std::uint8_t takeByte() noexcept {
        const std::uint8_t byte = rest_[0];
        skip(1);
        return byte;
    }
    std::string_view takeText(std::size_t size) noexcept {
        const std::string_view text(reinterpret_cast<const char*>(rest_.data()), size);
        skip(size);
        return text;
    }

    /// The block of data that `counts` describes, whose size the caller has checked, with times of `timeSize` bytes.
    bool takeBlock(const Counts& counts, std::size_t timeSize, ZoneData& data) {
        data.changes_.reserve(counts.changes);
        for (std::uint32_t i = 0; i < counts.changes; ++i) data.changes_.push_back(takeInteger(timeSize));
        data.ofChange_.reserve(counts.changes);
        for (std::uint32_t i = 0; i < counts.changes; ++i) data.ofChange_.push_back(takeByte());
        data.types_.reserve(counts.types);
        for (std::uint32_t i = 0; i < counts.types; ++i) {
            Type type{};
            type.offset = static_cast<std::int32_t>(takeInteger(4));
            const std::uint8_t isDaylight = takeByte();
            if (isDaylight > 1) return false;
            type.isDaylight = isDaylight != 0;
            type.abbreviation = takeByte();
            data.types_.push_back(type);
        }
        data.abbreviations_ = takeText(counts.characters);
        const bool areCorrected = takeLeapSeconds(counts.leaps, timeSize, data.changes_);
        skip(counts.standardIndicators + std::size_t{counts.utIndicators});
        return areCorrected;
    }

    /// The text between the line feeds at the end of the file.
    bool takeFooter(std::string_view& text) noexcept {
        if (rest_.empty() || takeByte() != '\n') return false;
        const std::string_view all(reinterpret_cast<const char*>(rest_.data()), rest_.size());
        const std::size_t end = all.find('\n');
        if (end == std::string_view::npos) return false;
        text = all.substr(0, end);
        return true;
    }

  private:
    /// Takes the leap seconds out of `changes`.
    bool takeLeapSeconds(std::uint32_t count, std::size_t timeSize, std::vector<std::int64_t>& changes) {
        std::vector<std::pair<std::int64_t, std::int64_t>> leaps;
        leaps.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::int64_t time = takeInteger(timeSize);
            if (i > 0 && time <= leaps.back().first) return false;
            leaps.emplace_back(time, takeInteger(4));
        }
        auto leap = leaps.begin();
        std::int64_t correction = 0;
        for (std::int64_t& change : changes) {
            for (; leap != leaps.end() && leap->first <= change; ++leap) correction = leap->second;
            if (__builtin_sub_overflow(change, correction, &change)) return false;
        }
        return true;
    }

    std::span<const std::uint8_t> rest_;
};

std::optional<ZoneData> ZoneData::read(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > kLargest) return {};
    Reader reader(bytes);
    Reader::Counts counts;
    if (!reader.takeHeader(counts)) return {};
    std::size_t timeSize = 4;
    if (counts.version != 0) {
        // The first block is for readers that know 32-bit times only, and may be empty.
        if (counts.size(timeSize) > reader.left()) return {};
        reader.skip(static_cast<std::size_t>(counts.size(timeSize)));
        if (!reader.takeHeader(counts) || counts.version == 0) return {};
        timeSize = 8;
    }
    if (!counts.areValid() || counts.size(timeSize) > reader.left()) return {};
    ZoneData data;
    if (!reader.takeBlock(counts, timeSize, data) || !data.isConsistent()) return {};
    if (timeSize == 8) {
        std::string_view footer;
        if (!reader.takeFooter(footer)) return {};
        if (!footer.empty()) {
            data.rule_ = ZoneRule::read(footer);
            if (!data.rule_) return {};
        }
    }
    data.findSavings();
    return data;
}

bool ZoneData::isConsistent() const noexcept {
    if (std::adjacent_find(changes_.begin(), changes_.end(), std::greater_equal<>()) != changes_.end()) return false;
    for (const std::uint16_t type : ofChange_)
        if (type >= types_.size()) return false;
    for (const Type& type : types_) {
        if (type.offset < kLeastOffset || type.offset > kMostOffset) return false;
        if (abbreviations_.find('\0', type.abbreviation) == std::string::npos) return false;
    }
    return true;
}

/// A file tells that a type is one of daylight saving and not how much of its offset that is: it is what the offset has
/// more than the standard time before it, or after it where that tells nothing. A type may so stand for two savings,
/// and is then split.
void ZoneData::findSavings() {
    std::optional<std::int32_t> standard;
    std::vector<std::optional<std::int32_t>> standardAfter(ofChange_.size());
    for (std::size_t i = ofChange_.size(); i-- > 0; standardAfter[i] = standard)
        if (!types_[ofChange_[i]].isDaylight) standard = types_[ofChange_[i]].offset;

    standard.reset();
    if (!types_[0].isDaylight) standard = types_[0].offset;
    std::map<std::pair<std::uint16_t, std::int32_t>, std::uint16_t> split;
    for (std::size_t i = 0; i < ofChange_.size(); ++i) {
        const std::uint16_t at = ofChange_[i];
        if (!types_[at].isDaylight) {
            standard = types_[at].offset;
            continue;
        }
        const std::int32_t offset = types_[at].offset;
        std::int32_t saving = standard ? offset - *standard : 0;
        if (saving == 0 && standardAfter[i]) saving = offset - *standardAfter[i];
        if (saving == 0) saving = kUsualSaving;
        const auto [found, isNew] = split.try_emplace({at, saving}, at);
        if (isNew && types_[at].saving != 0) {
            Type type = types_[at];
            type.saving = saving;
            found->second = static_cast<std::uint16_t>(types_.size());
            types_.push_back(type);
        } else if (isNew) {
            types_[at].saving = saving;
        }
        ofChange_[i] = found->second;
    }
    for (Type& type : types_)
        if (type.isDaylight && type.saving == 0) type.saving = kUsualSaving;
    hasNegativeSaving_ = (rule_ && rule_->saving() < 0) ||
                         std::any_of(types_.begin(), types_.end(), [](const Type& type) { return type.saving < 0; });
}

std::ptrdiff_t ZoneData::changeBefore(std::int64_t time) const noexcept {
    return std::upper_bound(changes_.begin(), changes_.end(), time) - changes_.begin() - 1;
}

std::int32_t ZoneData::offsetAt(std::int64_t time) const noexcept {
    const std::ptrdiff_t change = changeBefore(time);
    if (!followsRule(change)) return typeAfter(change).offset;
    return (rule_->at(time).isDaylight ? rule_->daylight() : rule_->standard()).offset;
}

ZoneData::Period ZoneData::at(std::int64_t time) const noexcept {
    const std::ptrdiff_t change = changeBefore(time);
    Period period;
    if (change >= 0) period.start = changes_[static_cast<std::size_t>(change)];
    if (followsRule(change)) return fromRule(time, period.start);
    if (change + 1 < static_cast<std::ptrdiff_t>(changes_.size()))
        period.end = changes_[static_cast<std::size_t>(change + 1)];
    const Type& type = typeAfter(change);
    period.offset = type.offset;
    period.saving = type.saving;
    period.isDaylight = type.isDaylight;
    period.abbreviation = abbreviations_.c_str() + type.abbreviation;
    return period;
}

ZoneData::Period ZoneData::fromRule(std::int64_t time, std::int64_t lastChange) const noexcept {
    const ZoneRule::Span span = rule_->at(time);
    const ZoneRule::Side& side = span.isDaylight ? rule_->daylight() : rule_->standard();
    return {.start = std::max(span.start, lastChange),
            .end = span.end,
            .offset = side.offset,
            .saving = span.isDaylight ? rule_->saving() : 0,
            .isDaylight = span.isDaylight,
            .abbreviation = side.abbreviation.c_str()};
}

bool ZoneData::hasDaylight() const noexcept {
    return (rule_ && rule_->hasDaylight()) ||
           std::any_of(types_.begin(), types_.end(), [](const Type& type) { return type.isDaylight; });
}

std::string makeZoneFile(std::string_view rule, std::string_view abbreviation, std::int32_t offset) {
    const auto header = [](char characters) {
        std::string bytes("TZif2");
        bytes.append(15 + 5 * 4 - 1, '\0');
        bytes += '\1';  // one type
        bytes.append(3, '\0');
        bytes += characters;
        return bytes;
    };
    const auto block = [offset](std::string_view name) {
        std::string bytes;
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes += static_cast<char>(static_cast<std::uint32_t>(offset) >> shift & 0xFF);
        bytes.append(2, '\0');
        bytes += name;
        bytes += '\0';
        return bytes;
    };
    // Both blocks are the same: no time stands in them.
    const std::string once = header(static_cast<char>(abbreviation.size() + 1)) + block(abbreviation);
    std::string file = once + once;
    file += '\n';
    file += rule;
    file += '\n';
    return file;
}

}  // namespace KXPlatform
