#include <iconv.h>

#include "IconvCoders.h"

#include <cerrno>
#include <new>
#include <span>
#include <string_view>
#include <utility>

namespace KXPlatform {
namespace {

/// "NAME//TRANSLIT//IGNORE", taken apart.
struct CodeName {
    explicit CodeName(std::string_view code) : name(code.substr(0, code.find("//"))) {
        for (std::string_view rest = code.substr(name.size()); !rest.empty();) {
            rest.remove_prefix(std::min(rest.find_first_not_of("/,"), rest.size()));
            const std::string_view suffix = rest.substr(0, rest.find_first_of("/,"));
            rest.remove_prefix(suffix.size());
            if (is(suffix, "IGNORE")) ignore = true;
            if (is(suffix, "TRANSLIT")) transliterate = true;
        }
    }

    static bool is(std::string_view suffix, std::string_view word) {
        return std::equal(suffix.begin(), suffix.end(), word.begin(), word.end(),
                          [](char a, char b) { return a == b || a == b - 'A' + 'a'; });
    }

    std::string_view name;
    bool ignore = false;
    bool transliterate = false;
};

/// What stands behind an iconv_t.
class Conversion {
  public:
    /// Null, with errno set, when a name is not known.
    static std::unique_ptr<Conversion> open(std::string_view to, std::string_view from);

    Stop run(Input& in, Output& out) noexcept;
    Stop endText(Output& out) noexcept;
    void reset() noexcept;

    bool isTrivial() const noexcept;
    bool isTransliterating() const noexcept { return transliterating_; }
    bool setTransliterating(bool transliterating);

    bool isDiscarding = false;
    std::size_t dropped = 0;  ///< in the current call

  private:
    Stop runDirect(Input& in, Output& out) noexcept;
    Stop runThroughCharacters(Input& in, Output& out) noexcept;
    Stop readAndWrite(Input& in, Output& out, std::size_t places) noexcept;
    std::size_t placesFor(std::size_t room) const noexcept;
    Stop fill(Input& in, std::size_t places) noexcept;
    Stop drain(Output& out) noexcept;
    Stop drain(std::size_t count, Output& out) noexcept;
    void pass(std::span<const char32_t> characters) noexcept;
    void dropUnit(Input& in) noexcept;

    /// Whether what was read can be read once more with the same result: the decoder keeps nothing between calls, and
    /// nothing is held back.
    bool canReadAgain() const noexcept {
        return from_.kind != Charset::Library && !normaliser_ && !encoder_->holdsBack();
    }

    Charset from_;
    Charset to_;
    bool transliterating_ = false;
    DirectConversion direct_ = nullptr;  ///< then there is nothing else to a conversion
    std::unique_ptr<Decoder> decoder_;
    std::unique_ptr<Encoder> encoder_;
    std::unique_ptr<Normaliser> normaliser_;
    CharacterQueue queue_;   ///< characters read and not yet written
    bool isEnding_ = false;  ///< the queue holds the last characters of a text that is over
};

std::unique_ptr<Conversion> Conversion::open(std::string_view to, std::string_view from) {
    const CodeName target(to);
    auto made = std::make_unique<Conversion>();
    made->from_ = Charset::named(CodeName(from).name);
    made->to_ = Charset::named(target.name);
    made->isDiscarding = target.ignore;
    made->transliterating_ = target.transliterate;

    const bool normalising = made->from_.decomposed != made->to_.decomposed;
    if (normalising) {
        made->normaliser_ = made->to_.decomposed ? Normaliser::decomposing() : Normaliser::composing();
        if (!made->normaliser_) return nullptr;
    } else if (made->from_.kind != Charset::Library && made->to_.kind != Charset::Library) {
        made->direct_ = directConversion(made->from_.kind, made->to_.kind);
    }
    made->decoder_ = makeDecoder(made->from_);
    if (!made->decoder_) return nullptr;
    made->encoder_ = makeEncoder(made->to_, target.transliterate);
    if (!made->encoder_) return nullptr;
    return made;
}

Stop Conversion::run(Input& in, Output& out) noexcept {
    dropped = 0;
    return direct_ ? runDirect(in, out) : runThroughCharacters(in, out);
}

void Conversion::dropUnit(Input& in) noexcept {
    in.at += std::min(decoder_->unit(), in.left());
    ++dropped;
}

Stop Conversion::runDirect(Input& in, Output& out) noexcept {
    for (;;) {
        const Stop stop = direct_(in, out);
        if (stop != Stop::Invalid || !isDiscarding) return stop;
        dropUnit(in);
    }
}

Stop Conversion::runThroughCharacters(Input& in, Output& out) noexcept {
    const unsigned char* const start = in.at;
    const unsigned char* const outStart = out.at;
    isEnding_ = isEnding_ && in.left() == 0;
    if (const Stop stop = drain(out); stop != Stop::UsedUp) return stop;
    if (in.left() == 0) return endText(out);
    while (in.left() != 0) {
        std::size_t places = placesFor(out.room());
        if (places == 0) {
            if (in.at != start || out.at != outStart) return Stop::Full;
            places = 1;
        }
        const Stop stop = readAndWrite(in, out, places);
        if (stop == Stop::Invalid && isDiscarding) {
            dropUnit(in);
        } else if (stop != Stop::UsedUp) {
            if (stop == Stop::Incomplete && in.at == start) endText(out);
            return stop;
        }
    }
    return Stop::UsedUp;
}

/// How many characters to read before they are written. Input counts as converted only when its output is written.
/// Where reading can be done over, the rest is read again later. Otherwise no more is read than the output surely
/// holds, and if that is nothing, one character, which may then wait in the queue.
std::size_t Conversion::placesFor(std::size_t room) const noexcept {
    constexpr std::size_t kMost = (CharacterQueue::kPlaces - Encoder::kMostHeld) / Normaliser::kMostFromOne -
                                  Normaliser::kMostHeld - Decoder::kMore;
    if (canReadAgain() && encoder_->mayBeCut()) return isDiscarding ? std::clamp<std::size_t>(room, 1, kMost) : 1;
    std::size_t places = room / encoder_->longest();
    if (normaliser_) {
        places /= Normaliser::kMostFromOne;
        places -= std::min(places, normaliser_->held());
    }
    return std::min(places, isDiscarding ? kMost : 1);
}

/// One turn: up to `places` characters. UsedUp says only that the turn is done.
Stop Conversion::readAndWrite(Input& in, Output& out, std::size_t places) noexcept {
    const unsigned char* const before = in.at;
    const Stop read = fill(in, places);
    const std::size_t count = queue_.size();
    const Stop written = drain(out);
    if (written == Stop::UsedUp) {
        if (read == Stop::Full && in.at == before && count == 0) return Stop::Full;
        return read == Stop::Full ? Stop::UsedUp : read;
    }
    if (canReadAgain()) {
        const std::size_t done = count - queue_.size();
        queue_.clear();
        in.at = before;
        fill(in, done);
        queue_.clear();
    } else if (written == Stop::Invalid) {
        queue_.clear();
        in.at = before;
    }
    return written;
}

/// Reads about `places` characters into the queue.
Stop Conversion::fill(Input& in, std::size_t places) noexcept {
    if (places == 0) return Stop::Full;
    std::array<char32_t, CharacterQueue::kPlaces> batch;
    char32_t* end = batch.data();
    const Stop stop = decoder_->decode(in, end, places);
    queue_.moveToFront();
    pass({batch.data(), end});
    return stop;
}

void Conversion::pass(std::span<const char32_t> characters) noexcept {
    if (normaliser_) {
        for (const char32_t c : characters) normaliser_->put(c, queue_);
    } else {
        for (const char32_t c : characters) queue_.push(c);
    }
}

/// Writes of the queue what does not depend on what follows. Invalid: its first character cannot be represented, and
/// may not be dropped.
Stop Conversion::drain(Output& out) noexcept { return drain(encoder_->ready(queue_.begin(), queue_.end()), out); }

Stop Conversion::drain(std::size_t count, Output& out) noexcept {
    while (count != 0) {
        const char32_t* at = queue_.begin();
        const Stop stop = encoder_->encode(at, at + count, out);
        count -= static_cast<std::size_t>(at - queue_.begin());
        queue_.popTo(at);
        if (stop == Stop::UsedUp) break;
        if (stop == Stop::Full || !isDiscarding) return stop;
        queue_.popTo(at + 1);
        --count;
        ++dropped;
    }
    return Stop::UsedUp;
}

Stop Conversion::endText(Output& out) noexcept {
    if (direct_) return Stop::UsedUp;
    if (!isEnding_) {
        if (const Stop stop = drain(out); stop != Stop::UsedUp) return stop;
        std::array<char32_t, Decoder::kMore> last;
        char32_t* end = last.data();
        decoder_->finish(end);
        pass({last.data(), end});
        if (normaliser_) normaliser_->finish(queue_);
        isEnding_ = true;
    }
    if (const Stop stop = drain(queue_.size(), out); stop != Stop::UsedUp) return stop;
    isEnding_ = false;
    return encoder_->finish(out);
}

void Conversion::reset() noexcept {
    decoder_->reset();
    encoder_->reset();
    if (normaliser_) normaliser_->reset();
    queue_.clear();
    isEnding_ = false;
}

bool Conversion::isTrivial() const noexcept {
    return from_.kind == to_.kind && from_.decomposed == to_.decomposed &&
           (from_.kind != Charset::Library || from_.nativeName == to_.nativeName);
}

bool Conversion::setTransliterating(bool transliterating) {
    auto encoder = makeEncoder(to_, transliterating);
    if (!encoder) return false;
    encoder_ = std::move(encoder);
    transliterating_ = transliterating;
    return true;
}

const iconv_t kNoConversion = reinterpret_cast<iconv_t>(-1);
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

/// What `handle` stands for; null with errno EBADF when that is nothing.
Conversion* conversionOf(iconv_t handle) noexcept {
    if (handle && handle != kNoConversion) return static_cast<Conversion*>(handle);
    errno = EBADF;
    return nullptr;
}

std::size_t answer(const Conversion& conversion, Stop stop) noexcept {
    switch (stop) {
        case Stop::UsedUp:
            return conversion.dropped;
        case Stop::Full:
            errno = E2BIG;
            break;
        case Stop::Incomplete:
            errno = EINVAL;
            break;
        case Stop::Invalid:
            errno = EILSEQ;
            break;
    }
    return kFailed;
}

std::size_t convert(Conversion& conversion, char** inbuf, std::size_t* inbytesleft, Output& out) noexcept {
    if (!inbuf || !*inbuf) {
        const Stop stop = out.at ? conversion.endText(out) : Stop::UsedUp;
        if (stop != Stop::Full) conversion.reset();
        return answer(conversion, stop);
    }
    const auto* const begin = reinterpret_cast<const unsigned char*>(*inbuf);
    Input in{begin, begin + *inbytesleft};
    const Stop stop = conversion.run(in, out);
    *inbuf += in.at - begin;
    *inbytesleft = in.left();
    return answer(conversion, stop);
}

}  // namespace
}  // namespace KXPlatform

using namespace KXPlatform;

iconv_t iconv_open(const char* tocode, const char* fromcode) {
    if (!tocode || !fromcode) {
        errno = EINVAL;
        return kNoConversion;
    }
    try {
        auto conversion = Conversion::open(tocode, fromcode);
        return conversion ? conversion.release() : kNoConversion;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return kNoConversion;
    }
}

size_t iconv(iconv_t cd, char** __restrict inbuf, size_t* __restrict inbytesleft, char** __restrict outbuf,
             size_t* __restrict outbytesleft) {
    Conversion* const conversion = conversionOf(cd);
    if (!conversion) return kFailed;
    auto* const begin = outbuf && outbytesleft ? reinterpret_cast<unsigned char*>(*outbuf) : nullptr;
    Output out{begin, begin ? begin + *outbytesleft : nullptr};
    const std::size_t result = convert(*conversion, inbuf, inbytesleft, out);
    if (begin) {
        *outbuf += out.at - begin;
        *outbytesleft = out.room();
    }
    return result;
}

int iconv_close(iconv_t cd) {
    Conversion* const conversion = conversionOf(cd);
    if (!conversion) return -1;
    delete conversion;
    return 0;
}

int iconvctl(iconv_t cd, int request, void* argument) {
    Conversion* const conversion = conversionOf(cd);
    if (!conversion) return -1;
    int* const value = static_cast<int*>(argument);
    if (!value) {
        errno = EINVAL;
        return -1;
    }
    switch (request) {
        case ICONV_TRIVIALP:
            *value = conversion->isTrivial();
            return 0;
        case ICONV_GET_TRANSLITERATE:
            *value = conversion->isTransliterating();
            return 0;
        case ICONV_GET_DISCARD_ILSEQ:
            *value = conversion->isDiscarding;
            return 0;
        case ICONV_SET_DISCARD_ILSEQ:
            conversion->isDiscarding = *value != 0;
            return 0;
        case ICONV_SET_TRANSLITERATE:
            try {
                return conversion->setTransliterating(*value != 0) ? 0 : -1;
            } catch (const std::bad_alloc&) {
                errno = ENOMEM;
                return -1;
            }
        default:
            errno = EINVAL;
            return -1;
    }
}
