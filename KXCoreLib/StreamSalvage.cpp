// The pages of a stream file, as https://www.sqlite.org/fileformat2.html describes them: the file is made of pages of
// one size, numbered from 1; the table's rows stand in leaf pages below interior pages, which hold the largest id below
// each child; what of a row does not fit into its leaf goes on in a chain of overflow pages.

#include "StreamSalvage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

namespace KXCore {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t kFileHeader = 100;
constexpr unsigned char kInteriorTable = 0x05;
constexpr unsigned char kLeafTable = 0x0D;
constexpr std::uint64_t kLargestPayload = std::uint64_t{1} << 30;

std::uint32_t number16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}
std::uint32_t number32(Bytes bytes, std::size_t at) { return number16(bytes, at) << 16 | number16(bytes, at + 2); }

/// Takes a number of one to nine bytes from `at` on; no value at the end of the bytes.
std::optional<std::uint64_t> takeVarint(Bytes bytes, std::size_t& at) {
    std::uint64_t value = 0;
    for (int i = 0; i < 9; ++i) {
        if (at >= bytes.size()) return std::nullopt;
        const unsigned char byte = bytes[at++];
        if (i == 8) return value << 8 | byte;
        value = value << 7 | (byte & 0x7F);
        if (byte < 0x80) return value;
    }
    return std::nullopt;
}

/// A row where it begins in its leaf.
struct Cell {
    std::uint64_t payload;  ///< its size
    long long id;
    std::size_t local;       ///< how much of the payload is in the leaf
    std::size_t localBegin;  ///< and where
};

std::optional<Cell> cellAt(Bytes page, std::size_t at) {
    const auto payload = takeVarint(page, at);
    const auto id = payload ? takeVarint(page, at) : std::nullopt;
    if (!id || *payload < 2 || *payload > kLargestPayload) return std::nullopt;
    const std::uint64_t usable = page.size();
    const std::uint64_t most = usable - 35;
    const std::uint64_t least = (usable - 12) * 32 / 255 - 23;
    std::uint64_t local = *payload;
    if (local > most) {
        local = least + (*payload - least) % (usable - 4);
        if (local > most) local = least;
    }
    const std::uint64_t taken = local + (local < *payload ? 4 : 0);
    if (at + taken > page.size()) return std::nullopt;
    return Cell{*payload, static_cast<long long>(*id), static_cast<std::size_t>(local), at};
}

/// Where the item's bytes stand in a row's payload: after a header that gives the types of the id, which is nothing as
/// it is the row's own, and of the bytes.
struct Column {
    std::size_t begin;
    std::size_t length;
};

std::optional<Column> columnOf(Bytes payload, std::uint64_t whole) {
    std::size_t at = 0;
    const auto header = takeVarint(payload, at);
    const auto first = header ? takeVarint(payload, at) : std::nullopt;
    const auto second = first ? takeVarint(payload, at) : std::nullopt;
    if (!second || *first != 0 || *header != at) return std::nullopt;
    if (*second != 0 && *second < 12) return std::nullopt;
    const std::uint64_t length = *second == 0 ? 0 : (*second - 12) / 2;
    if (*header + length != whole) return std::nullopt;
    return Column{static_cast<std::size_t>(*header), static_cast<std::size_t>(length)};
}

/// What the header of a page of a table says.
struct PageHeader {
    bool isLeaf;
    std::size_t begin;  ///< of the header
    std::uint32_t cells;
    std::uint32_t rightmost;  ///< the last child of an interior page

    std::size_t pointers() const { return begin + (isLeaf ? 8 : 12); }
};

std::optional<PageHeader> headerOf(Bytes page, std::uint32_t number) {
    const std::size_t begin = number == 1 ? kFileHeader : 0;
    const unsigned char type = page[begin];
    if (type != kInteriorTable && type != kLeafTable) return std::nullopt;
    PageHeader header{type == kLeafTable, begin, number16(page, begin + 3), 0};
    if (!header.isLeaf) header.rightmost = number32(page, begin + 8);
    if (header.pointers() + 2 * std::size_t{header.cells} > page.size()) return std::nullopt;
    return header;
}

std::size_t pointerAt(Bytes page, const PageHeader& header, std::uint32_t i) {
    return number16(page, header.pointers() + 2 * std::size_t{i});
}

[[noreturn]] void failRead(const std::string& path, int code) {
    throw StreamError(code == ENOENT ? StreamError::Kind::Missing : StreamError::Kind::Failed, path,
                      std::generic_category().message(code));
}

}  // namespace

// ---- The file

class StreamSalvage::Pages {
  public:
    explicit Pages(const std::string& path) : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0) failRead(path, errno);
        struct stat status;
        if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
            close(descriptor_);
            throw StreamError(StreamError::Kind::NotAFile, path, "is not a regular file");
        }
        size_ = static_cast<std::uint64_t>(status.st_size);
    }
    ~Pages() { close(descriptor_); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    const std::string& path() const { return path_; }

    void setPageSize(std::size_t bytes) { pageSize_ = bytes; }
    std::size_t pageSize() const { return pageSize_; }
    std::uint32_t count() const {
        const std::uint64_t whole = size_ / pageSize_;
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(whole, std::numeric_limits<std::uint32_t>::max()));
    }

    /// The file's first bytes, as many as there are.
    std::vector<unsigned char> begin(std::size_t count) const {
        std::vector<unsigned char> bytes(count);
        bytes.resize(read(bytes, 0));
        return bytes;
    }

    /// The page, which is empty where there is none. Valid until the next call.
    Bytes page(std::uint32_t number) const {
        if (number == 0 || number > count()) return {};
        page_.resize(pageSize_);
        const std::uint64_t at = std::uint64_t{number - 1} * pageSize_;
        if (read(page_, at) != pageSize_) return {};
        return page_;
    }

  private:
    std::size_t read(std::span<unsigned char> bytes, std::uint64_t at) const {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t count =
                pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(at + done));
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) break;  // a part of the disk that cannot be read is damage too
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

    std::string path_;
    int descriptor_;
    std::uint64_t size_ = 0;
    std::size_t pageSize_ = 4096;
    mutable std::vector<unsigned char> page_;
};

// ---- Finding the items

class StreamSalvage::Walk {
  public:
    Walk(const Pages& pages, std::vector<Place>& places) : pages_(pages), places_(places) {}

    void run() {
        findPageSize();
        visited_.assign(std::size_t{pages_.count()} + 1, false);
        const auto root = findRoot();
        if (root) {
            descend(*root, kLowest, kHighest, 0);
        } else {
            gaps_.push_back({kLowest, kHighest, std::nullopt});
        }
        if (!gaps_.empty()) scanOrphans();
        std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) { return a.id < b.id; });
        const auto sameID = [](const Place& a, const Place& b) { return a.id == b.id; };
        places_.erase(std::unique(places_.begin(), places_.end(), sameID), places_.end());
        if (places_.empty() && !root) {
            throw StreamError(StreamError::Kind::NotAStream, pages_.path(), "holds no page of a stream");
        }
    }

    Loss loss() {
        mergeGaps();
        Loss loss;
        for (const Gap& gap : gaps_) add(loss, gap);
        return loss;
    }

  private:
    static constexpr long long kLowest = std::numeric_limits<long long>::min();
    static constexpr long long kHighest = std::numeric_limits<long long>::max();
    static constexpr int kDeepest = 40;

    /// Ids from above `low` to `high` may be missing: below a page that cannot be read.
    struct Gap {
        long long low;
        long long high;
        std::optional<std::uint32_t> cells;  ///< how many a leaf's header says there were
    };

    // ---- The file's form

    static bool isPageSize(std::size_t size) { return size >= 512 && size <= 65536 && (size & (size - 1)) == 0; }

    /// From the file's header, or the size with which the most items are found.
    void findPageSize() {
        const std::vector<unsigned char> header = pages_.begin(kFileHeader);
        constexpr std::string_view kMagic("SQLite format 3\0", 16);
        const bool hasMagic = header.size() == kFileHeader &&
                              std::equal(kMagic.begin(), kMagic.end(), header.begin(),
                                         [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
        if (hasMagic) {
            const std::uint32_t size = number16(header, 16) == 1 ? 65536 : number16(header, 16);
            if (isPageSize(size)) return const_cast<Pages&>(pages_).setPageSize(size);
        }
        std::size_t best = 4096;
        std::size_t most = 0;
        for (std::size_t size = 65536; size >= 512; size /= 2) {
            const_cast<Pages&>(pages_).setPageSize(size);
            std::size_t items = 0;
            for (std::uint32_t i = 1; i <= pages_.count(); ++i) items += readableCells(i);
            if (items > most) {
                most = items;
                best = size;
            }
        }
        const_cast<Pages&>(pages_).setPageSize(best);
    }

    /// The page at the top of the table, which the schema on page 1 names.
    std::optional<std::uint32_t> findRoot() {
        const Bytes page = pages_.page(1);
        if (page.empty()) return std::nullopt;
        const auto header = headerOf(page, 1);
        if (!header || !header->isLeaf) return std::nullopt;
        for (std::uint32_t i = 0; i < header->cells; ++i) {
            const auto cell = cellAt(page, pointerAt(page, *header, i));
            const auto root = cell ? rootIn(page.subspan(cell->localBegin, cell->local)) : std::nullopt;
            if (root) return root;
        }
        return std::nullopt;
    }

    /// The root page in a row of the schema: type, name, tbl_name, rootpage, sql.
    static std::optional<std::uint32_t> rootIn(Bytes payload) {
        std::size_t at = 0;
        const auto header = takeVarint(payload, at);
        std::array<std::uint64_t, 4> types{};
        for (std::uint64_t& type : types) {
            const auto value = takeVarint(payload, at);
            if (!value) return std::nullopt;
            type = *value;
        }
        if (!header || *header > payload.size() || types[0] < 13 || types[1] < 13 || types[2] < 13) return std::nullopt;
        const auto length = [&](std::size_t i) { return static_cast<std::size_t>((types[i] - 13) / 2); };
        const std::size_t name = static_cast<std::size_t>(*header) + length(0);
        const std::size_t number = name + length(1) + length(2);
        const std::size_t bytes = types[3] >= 1 && types[3] <= 4 ? static_cast<std::size_t>(types[3]) : 0;
        constexpr std::string_view kTable = "stream01";
        if (bytes == 0 || length(1) != kTable.size() || number > payload.size() || payload.size() - number < bytes ||
            name > payload.size()) {
            return std::nullopt;
        }
        if (!std::equal(kTable.begin(), kTable.end(), payload.begin() + static_cast<std::ptrdiff_t>(name))) {
            return std::nullopt;
        }
        std::uint32_t root = 0;
        for (std::size_t i = 0; i < bytes; ++i) root = root << 8 | payload[number + i];
        return root;
    }

    // ---- The table

    void descend(std::uint32_t number, long long low, long long high, int depth) {
        const Bytes page = pages_.page(number);
        const auto header = page.empty() ? std::nullopt : headerOf(page, number);
        if (!header || visited_[number] || depth > kDeepest) {
            gaps_.push_back({low, high, std::nullopt});
            return;
        }
        visited_[number] = true;
        if (header->isLeaf) return takeLeaf(page, *header, number, low, high);
        std::vector<std::pair<std::uint32_t, long long>> children;
        long long last = low;
        bool isSound = true;
        for (std::uint32_t i = 0; i < header->cells; ++i) {
            std::size_t at = pointerAt(page, *header, i);
            if (at + 4 > page.size()) {
                isSound = false;
                continue;
            }
            const std::uint32_t child = number32(page, at);
            at += 4;
            const auto key = takeVarint(page, at);
            const long long id = key ? static_cast<long long>(*key) : last;
            if (!key || id <= last || id > high) {
                isSound = false;
                continue;
            }
            children.emplace_back(child, id);
            last = id;
        }
        const std::uint32_t rightmost = header->rightmost;  // `page` is gone with the next one
        long long from = low;
        for (const auto& [child, key] : children) {
            descend(child, from, key, depth + 1);
            from = key;
        }
        descend(rightmost, from, high, depth + 1);
        if (!isSound) gaps_.push_back({low, high, std::nullopt});
    }

    void takeLeaf(Bytes page, const PageHeader& header, std::uint32_t number, long long low, long long high) {
        const std::size_t before = places_.size();
        for (std::uint32_t i = 0; i < header.cells; ++i) {
            const std::size_t at = pointerAt(page, header, i);
            const auto cell = isItem(page, at);
            if (cell && cell->id > low && cell->id <= high) {
                places_.push_back({cell->id, number, static_cast<std::uint32_t>(at)});
            }
        }
        if (places_.size() - before < header.cells) gaps_.push_back({low, high, header.cells});
    }

    static std::optional<Cell> isItem(Bytes page, std::size_t at) {
        if (at < 8 || at >= page.size()) return std::nullopt;
        const auto cell = cellAt(page, at);
        if (!cell || !columnOf(page.subspan(cell->localBegin, cell->local), cell->payload)) return std::nullopt;
        return cell;
    }

    /// How many items a page has if it is a leaf of which every row is one.
    std::uint32_t readableCells(std::uint32_t number) const {
        const Bytes page = pages_.page(number);
        const auto header = page.empty() ? std::nullopt : headerOf(page, number);
        if (!header || !header->isLeaf) return 0;
        std::uint32_t count = 0;
        for (std::uint32_t i = 0; i < header->cells; ++i) count += isItem(page, pointerAt(page, *header, i)) ? 1 : 0;
        return count;
    }

    /// Leaves below an interior page that cannot be read: pages that nothing leads to. Only ids that are missing are
    /// taken from them: a page that is free may still show items that were discarded.
    void scanOrphans() {
        for (std::uint32_t number = 2; number <= pages_.count(); ++number) {
            if (visited_[number]) continue;
            const Bytes page = pages_.page(number);
            const auto header = page.empty() ? std::nullopt : headerOf(page, number);
            if (!header || !header->isLeaf) continue;
            for (std::uint32_t i = 0; i < header->cells; ++i) {
                const std::size_t at = pointerAt(page, *header, i);
                const auto cell = isItem(page, at);
                if (cell && isMissing(cell->id)) {
                    places_.push_back({cell->id, number, static_cast<std::uint32_t>(at)});
                }
            }
        }
    }

    bool isMissing(long long id) const {
        return std::any_of(gaps_.begin(), gaps_.end(), [=](const Gap& gap) { return id > gap.low && id <= gap.high; });
    }

    // ---- What is lost

    /// How many items a leaf has on average.
    long long perLeaf() const {
        std::vector<std::uint32_t> leaves;
        for (const Place& place : places_) leaves.push_back(place.page);
        std::sort(leaves.begin(), leaves.end());
        const auto end = std::unique(leaves.begin(), leaves.end());
        const auto count = static_cast<long long>(end - leaves.begin());
        return count == 0 ? 1 : std::max<long long>(1, static_cast<long long>(places_.size()) / count);
    }

    /// Places with ids from above `low` to `high`.
    std::span<const Place> placesWithin(long long low, long long high) const {
        const auto above = [](long long id, const Place& place) { return id < place.id; };
        const auto begin = std::upper_bound(places_.begin(), places_.end(), low, above);
        return {begin, std::upper_bound(begin, places_.end(), high, above)};
    }

    /// Gaps that overlap, as below an interior page that is damaged in part, become one.
    void mergeGaps() {
        std::sort(gaps_.begin(), gaps_.end(), [](const Gap& a, const Gap& b) { return a.low < b.low; });
        std::vector<Gap> merged;
        for (const Gap& gap : gaps_) {
            if (merged.empty() || gap.low >= merged.back().high) {
                merged.push_back(gap);
            } else {
                merged.back() = {merged.back().low, std::max(merged.back().high, gap.high), std::nullopt};
            }
        }
        gaps_ = std::move(merged);
    }

    void add(Loss& loss, const Gap& gap) const {
        const std::span<const Place> found = placesWithin(gap.low, gap.high);
        const auto count = static_cast<long long>(found.size());
        const bool isFirst = gap.low == kLowest;
        const bool isLast = gap.high == kHighest;
        if (!isFirst && !isLast) {
            loss.items += gap.high - gap.low - count;
            return;
        }
        if (gap.cells) {  // what a leaf at either end says of itself
            loss.items += std::max(0LL, static_cast<long long>(*gap.cells) - count);
            return;
        }
        loss.isExact = false;
        if (!found.empty()) {
            // What was there before the first and after the last that was found, nobody knows.
            const long long low = isFirst ? found.front().id - 1 : gap.low;
            const long long high = isLast ? found.back().id : gap.high;
            loss.items += high - low - count;
        } else if (isFirst && !isLast && gap.high > 0 && gap.high <= static_cast<long long>(pages_.pageSize()) / 4) {
            loss.items += gap.high;  // so few that they began with 1
            loss.isExact = true;
        } else {
            loss.items += perLeaf();
        }
    }

    const Pages& pages_;
    std::vector<Place>& places_;
    std::vector<bool> visited_;
    std::vector<Gap> gaps_;
};

// ---- StreamSalvage

StreamSalvage::StreamSalvage(const std::string& path) : pages_(std::make_unique<Pages>(path)) {
    Walk walk(*pages_, places_);
    walk.run();
    loss_ = walk.loss();
}

StreamSalvage::~StreamSalvage() = default;

std::optional<std::string> StreamSalvage::read(const Place& place) const {
    Bytes page = pages_->page(place.page);
    const auto cell = page.empty() ? std::nullopt : cellAt(page, place.cell);
    if (!cell) return std::nullopt;
    const auto column = columnOf(page.subspan(cell->localBegin, cell->local), cell->payload);
    if (!column) return std::nullopt;
    std::string payload(reinterpret_cast<const char*>(page.data()) + cell->localBegin, cell->local);
    std::uint32_t next = cell->local < cell->payload ? number32(page, cell->localBegin + cell->local) : 0;
    // A chain that turns back on itself ends too: every page adds to what is bounded.
    while (payload.size() < cell->payload) {
        page = pages_->page(next);
        if (page.empty()) return std::nullopt;
        next = number32(page, 0);
        const std::size_t count = std::min<std::size_t>(page.size() - 4, cell->payload - payload.size());
        payload.append(reinterpret_cast<const char*>(page.data()) + 4, count);
    }
    if (next != 0) return std::nullopt;
    return payload.substr(column->begin, column->length);
}

}  // namespace KXCore
