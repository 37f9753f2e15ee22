#include "Streams.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "Errors.h"
#include "Terminal.h"

namespace kxtool {
namespace {

/// What the system says of its error number `code`.
std::string Reason(int code) { return std::generic_category().message(code); }

}  // namespace

Input::Input(const std::string& name) : name_(name == "-" ? "standard input" : name), file_(stdin) {
    if (name == "-") return;
    owned_.reset(std::fopen(name.c_str(), "rb"));
    file_ = owned_.get();
    if (!file_) throw BadInput(fmt::format("cannot open {}: {}", name_, Reason(errno)));
}

std::size_t Input::read(std::span<std::byte> bytes) {
    const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file_);
    if (count < bytes.size() && std::ferror(file_)) {
        throw BadInput(fmt::format("cannot read {}: {}", name_, Reason(errno)));
    }
    return count;
}

std::string Input::readAll(std::size_t limit) {
    std::string all;
    std::array<std::byte, 16384> piece;
    for (;;) {
        const std::size_t count = read(piece);
        if (count > limit - all.size()) throw BadInput(fmt::format("{} is larger than {} bytes", name_, limit));
        all.append(reinterpret_cast<const char*>(piece.data()), count);
        if (count < piece.size()) return all;
    }
}

std::optional<std::string> Input::readLine(std::size_t limit) {
    std::string line;
    int c;
    while ((c = getc_unlocked(file_)) != EOF && c != '\n') {
        if (line.size() == limit) throw BadInput(fmt::format("{}: a line is longer than {} bytes", name_, limit));
        line += static_cast<char>(c);
    }
    if (std::ferror(file_)) throw BadInput(fmt::format("cannot read {}: {}", name_, Reason(errno)));
    if (c == EOF && line.empty()) return std::nullopt;
    return line;
}

void Write(std::span<const std::byte> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        throw OutputFailed(fmt::format("cannot write the output: {}", Reason(errno)));
    }
}

void Write(std::string_view text) { Write(std::as_bytes(std::span(text))); }

void Show(std::string_view text) {
    if (OutputIsTerminal()) return Write(EscapedLines(text));
    Write(text);
}

void Flush() {
    if (std::fflush(stdout) != 0) throw OutputFailed(fmt::format("cannot write the output: {}", Reason(errno)));
}

StandardErrorCapture::StandardErrorCapture() : file_(std::tmpfile(), std::fclose) {
    // Without a file to capture into, the words go where they always go.
    if (!file_) return;
    std::fflush(stderr);
    saved_ = dup(STDERR_FILENO);
    if (saved_ >= 0) dup2(fileno(file_.get()), STDERR_FILENO);
}

StandardErrorCapture::~StandardErrorCapture() { restore(); }

void StandardErrorCapture::restore() {
    if (saved_ < 0) return;
    std::fflush(stderr);
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    saved_ = -1;
}

std::string StandardErrorCapture::finish() {
    restore();
    std::string text;
    if (!file_) return text;
    std::rewind(file_.get());
    std::array<char, 4096> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file_.get())) {
        text.append(piece.data(), count);
    }
    return text;
}

}  // namespace kxtool
