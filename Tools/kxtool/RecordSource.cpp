#include "RecordSource.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "Errors.h"
#include "PropertyListText.h"
#include "RecordScanner.h"
#include "StreamReading.h"

namespace kxtool {
namespace {

using KXCore::AuditRecord;

// ---- A record file

/// A file that is read at any place, or from its beginning on where it is a pipe.
class RecordFile {
  public:
    explicit RecordFile(const std::string& path)
        : name_(path == "-" ? "standard input" : path),
          descriptor_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
        if (descriptor_ < 0) fail("open");
        canSeek_ = lseek(descriptor_, 0, SEEK_CUR) >= 0;
#ifdef POSIX_FADV_SEQUENTIAL
        posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    }
    ~RecordFile() { close(descriptor_); }
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    const std::string& name() const { return name_; }

    /// From where it stands, as far as the file goes.
    std::size_t read(std::span<unsigned char> bytes) const {
        return fully(bytes,
                     [this](void* to, std::size_t count, std::size_t) { return ::read(descriptor_, to, count); });
    }

    std::size_t readAt(std::span<unsigned char> bytes, unsigned long long offset) const {
        return fully(bytes, [this, offset](void* to, std::size_t count, std::size_t done) {
            return pread(descriptor_, to, count, static_cast<off_t>(offset + done));
        });
    }

    /// Makes it one that can be read at any place: what comes out of a pipe goes to a file without a name.
    void makeSeekable() {
        if (canSeek_) return;
        std::FILE* const spool = std::tmpfile();
        if (!spool) fail("make a temporary file for");
        std::vector<unsigned char> piece(kSpoolPiece);
        while (const std::size_t count = read(piece)) {
            if (std::fwrite(piece.data(), 1, count, spool) != count) fail("keep");
        }
        if (std::fflush(spool) != 0) fail("keep");
        const int kept = dup(fileno(spool));
        std::fclose(spool);
        if (kept < 0) fail("keep");
        close(std::exchange(descriptor_, kept));
        canSeek_ = true;
    }

    /// Where the first byte that is read stands.
    unsigned long long start() const {
        const off_t place = lseek(descriptor_, 0, SEEK_CUR);
        return place > 0 ? static_cast<unsigned long long>(place) : 0;
    }

  private:
    static constexpr std::size_t kSpoolPiece = std::size_t{1} << 20;

    template <class Read>
    std::size_t fully(std::span<unsigned char> bytes, Read read) const {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t count = read(bytes.data() + done, bytes.size() - done, done);
            if (count == 0) break;
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) fail("read");
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

    [[noreturn]] void fail(const char* what) const {
        throw BadInput(fmt::format("cannot {} {}: {}", what, name_, std::generic_category().message(errno)));
    }

    std::string name_;
    int descriptor_;
    bool canSeek_ = false;
};

/// Warns of what a scanner skips once a record was found; where none is, the first reason is all there is to say.
class SkipReport {
  public:
    explicit SkipReport(std::string where) : where_(std::move(where)) {}

    void skipped(const SkippedBytes& bytes) {
        if (any_) return warn(bytes);
        if (!first_) first_ = bytes;
    }

    void found() {
        if (std::exchange(any_, true)) return;
        if (first_) warn(*first_);
    }

    /// Why there was no record, if there was none and something else.
    std::optional<std::string> whyNone() const {
        if (any_ || !first_) return std::nullopt;
        return fmt::format("{}: no audit record in it: byte {}: {}", where_, first_->begin, first_->why);
    }

  private:
    void warn(const SkippedBytes& bytes) const { Warn(fmt::format("{}: {}", where_, TextOf(bytes))); }

    std::string where_;
    bool any_ = false;
    std::optional<SkippedBytes> first_;
};

/// The records of some bytes from the last to the first. The bytes are scanned once and each record read again.
bool VisitBackward(std::span<const unsigned char> bytes, unsigned long long base, std::optional<long long> item,
                   const RecordScanner::OnSkipped& onSkipped, const std::function<void()>& onFound,
                   const RecordSource::Visitor& visitor) {
    const std::vector<unsigned char> buffer(bytes.begin(), bytes.end());
    struct Found {
        unsigned long long offset;
        std::size_t texts;
        std::size_t length;
    };
    std::vector<Found> found;
    std::size_t given = 0;
    RecordScanner scanner(
        [&](std::span<unsigned char> to) {
            const std::size_t count = std::min(to.size(), buffer.size() - given);
            std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(given), count, to.begin());
            given += count;
            return count;
        },
        onSkipped, base, std::min(RecordScanner::kPiece, buffer.size() + 1));
    AuditRecord record;
    while (scanner.next(record)) {
        const std::size_t at = static_cast<std::size_t>(scanner.offset() - base);
        KXCore::AuditRecordHeader header{};
        header.read(std::span(buffer).subspan(at));
        found.push_back({scanner.offset(), at + header.headerLength, scanner.texts().size()});
        if (onFound) onFound();
    }
    for (auto one = found.rbegin(); one != found.rend(); ++one) {
        record.read_from_buffer(buffer, static_cast<unsigned long>(one->offset - base));
        const std::string_view texts(reinterpret_cast<const char*>(buffer.data()) + one->texts, one->length);
        if (!visitor(record, {.item = item, .offset = one->offset, .texts = texts})) return false;
    }
    return true;
}

class FileRecords : public RecordSource {
  public:
    explicit FileRecords(const std::string& path) : file_(path) {}

    void visit(Order order, const Visitor& visitor) override {
        SkipReport report(file_.name());
        if (order == Order::Forward) {
            forward(report, visitor);
        } else {
            backward(report, visitor);
        }
        if (const auto why = report.whyNone()) throw BadInput(*why);
    }

    bool isStream() const override { return false; }

  private:
    void forward(SkipReport& report, const Visitor& visitor) {
        RecordScanner scanner([this](std::span<unsigned char> bytes) { return file_.read(bytes); },
                              [&](const SkippedBytes& bytes) { report.skipped(bytes); });
        AuditRecord record;
        while (scanner.next(record)) {
            report.found();
            if (!visitor(record, {.item = {}, .offset = scanner.offset(), .texts = scanner.texts()})) return;
        }
    }

    /// Scans forward for places to begin at, one for each stretch, then visits the stretches from the last to the
    /// first.
    void backward(SkipReport& report, const Visitor& visitor) {
        constexpr unsigned long long kStretch = 1 << 20;
        file_.makeSeekable();
        std::vector<unsigned long long> starts;
        unsigned long long end = 0;
        RecordScanner scanner(
            [&](std::span<unsigned char> bytes) {
                const std::size_t count = file_.readAt(bytes, end);
                end += count;
                return count;
            },
            [&](const SkippedBytes& bytes) { report.skipped(bytes); });
        AuditRecord record;
        while (scanner.next(record)) {
            report.found();
            if (starts.empty() || scanner.offset() - starts.back() >= kStretch) starts.push_back(scanner.offset());
        }
        while (!starts.empty()) {
            const unsigned long long begin = starts.back();
            starts.pop_back();
            std::vector<unsigned char> stretch(static_cast<std::size_t>(end - begin));
            stretch.resize(file_.readAt(stretch, begin));
            if (!VisitBackward(stretch, begin, {}, {}, {}, visitor)) return;
            end = begin;
        }
    }

    RecordFile file_;
};

// ---- A stream

class StreamRecords : public RecordSource {
  public:
    explicit StreamRecords(const std::string& path) : path_(path) {}

    void visit(Order order, const Visitor& visitor) override {
        VisitStream(path_, order == Order::Forward, [&](KXCore::StreamItem&& item) {
            return VisitRecordsInItem(item.id, item.bytes, order, path_, visitor);
        });
    }

    bool isStream() const override { return true; }

  private:
    std::string path_;
};

}  // namespace

bool VisitRecordsIn(std::string_view bytes, std::optional<long long> item, RecordSource::Order order,
                    const std::string& where, const RecordSource::Visitor& visitor) {
    const auto onSkipped = [&](const SkippedBytes& skipped) { Warn(fmt::format("{}: {}", where, TextOf(skipped))); };
    const std::span all(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    if (order == RecordSource::Order::Reverse) return VisitBackward(all, 0, item, onSkipped, {}, visitor);
    std::size_t given = 0;
    RecordScanner scanner(
        [&](std::span<unsigned char> to) {
            const std::size_t count = std::min(to.size(), all.size() - given);
            std::copy_n(all.begin() + static_cast<std::ptrdiff_t>(given), count, to.begin());
            given += count;
            return count;
        },
        onSkipped, 0, std::min(RecordScanner::kPiece, all.size() + 1));
    AuditRecord record;
    while (scanner.next(record)) {
        if (!visitor(record, {.item = item, .offset = scanner.offset(), .texts = scanner.texts()})) return false;
    }
    return true;
}

bool VisitRecordsInItem(long long id, std::string_view propertyList, RecordSource::Order order, const std::string& path,
                        const RecordSource::Visitor& visitor) {
    const std::string where = fmt::format("{}: item {}", path, id);
    const Document document = ReadPropertyList(propertyList);
    if (!document.list) {
        Warn(fmt::format("{}: {}", where, document.fault));
        return true;
    }
    // Other items are no records, and none of our business.
    if (KindOf(document.list.get()) != Kind::Data) return true;
    const CFDataRef data = static_cast<CFDataRef>(document.list.get());
    const std::string_view bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                                 static_cast<std::size_t>(CFDataGetLength(data)));
    return VisitRecordsIn(bytes, id, order, where, visitor);
}

std::unique_ptr<RecordSource> OpenRecords(const std::string& path, Missing missing) {
    const bool isStream = path != "-" && (IsStreamFile(path) || (missing == Missing::IsStream && !Exists(path)));
    if (isStream) return std::make_unique<StreamRecords>(path);
    return std::make_unique<FileRecords>(path);
}

}  // namespace kxtool
