// A second opinion: what liburiparser takes for a URI, and resolves it to, against what this platform does, on texts
// made at random of what URLs are made of.

#include "URLTesting.h"

#include <gtest/gtest.h>
#include <uriparser/Uri.h>

#include <optional>
#include <random>
#include <string>

using namespace URLTesting;

namespace {

class Peer {
  public:
    explicit Peer(const std::string& text) : text_(text) {
        const char* error = nullptr;
        isOne_ = uriParseSingleUriA(&uri_, text_.c_str(), &error) == URI_SUCCESS;
    }
    ~Peer() {
        if (isOne_) uriFreeUriMembersA(&uri_);
    }
    Peer(const Peer&) = delete;

    bool isOne() const { return isOne_; }

    /// Null where the base is not absolute.
    std::optional<std::string> resolvedAgainst(const Peer& base) const {
        UriUriA whole;
        if (uriAddBaseUriA(&whole, &uri_, &base.uri_) != URI_SUCCESS) return std::nullopt;
        int length = 0;
        uriToStringCharsRequiredA(&whole, &length);
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        uriToStringA(text.data(), &whole, length + 1, nullptr);
        text.resize(static_cast<std::size_t>(length));
        uriFreeUriMembersA(&whole);
        return text;
    }

  private:
    const std::string text_;  // the parts point into it
    UriUriA uri_{};
    bool isOne_;
};

std::string randomURL(std::mt19937& random) {
    static const char* const kPieces[] = {"http:", "x:",  "//", "/", "a",  "b.c", ".",     "..", "./",  "../",   "?",
                                          "#",     "%20", "%z", "@", ":",  "80",  "[::1]", ";",  "=",   "&",     "u:p@",
                                          "host",  " ",   "~",  "!", "\\", "|",   "1",     "-",  "%41", "[v1.a]"};
    std::string text;
    for (std::size_t count = random() % 9 + 1; count > 0; --count) text += kPieces[random() % std::size(kPieces)];
    return text;
}

/// Where the two are known to go different ways.
bool isExcused(const std::string& text) {
    const std::size_t after = text.find_first_of("?#");
    // Brackets in queries and fragments (RFC 2732).
    return after != std::string::npos && text.find_first_of("[]", after) != std::string::npos;
}

TEST(CFURLPeer, TakesTheSameTextsForURLs) {
    std::mt19937 random(20260115);
    int good = 0;
    for (int i = 0; i < 30'000; ++i) {
        const std::string text = randomURL(random);
        if (isExcused(text)) continue;
        const bool isOurs = url(text).get() != nullptr;
        ASSERT_EQ(isOurs, Peer(text).isOne()) << text;
        good += isOurs;
    }
    EXPECT_GT(good, 3000);
}

TEST(CFURLPeer, ResolvesToTheSame) {
    std::mt19937 random(7);
    int compared = 0;
    for (int i = 0; i < 60'000; ++i) {
        const std::string relative = randomURL(random), baseText = "http://h/" + randomURL(random);
        if (isExcused(relative) || isExcused(baseText)) continue;
        // It writes addresses in full.
        if (relative.find("[::1]") != std::string::npos) continue;
        const auto base = url(baseText);
        const auto u = base.get() ? url(relative, base) : url("");
        if (!u.get() || !CFURLGetBaseURL(u)) continue;
        const auto expected = Peer(relative).resolvedAgainst(Peer(baseText));
        ASSERT_TRUE(expected) << relative << " against " << baseText;
        // It guards a path that begins with "//" also where a host stands before it.
        if (expected->find("/.//") != std::string::npos) continue;
        ASSERT_EQ(absolute(u), *expected) << relative << " against " << baseText;
        ++compared;
    }
    EXPECT_GT(compared, 3000);
}

}  // namespace
