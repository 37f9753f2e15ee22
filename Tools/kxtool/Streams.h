#pragma once

// Files and the standard streams as commands read and write them: in pieces, so that size does not matter, and with
// every failure thrown as BadInput with the name of the file. One object serves one thread.

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kxtool {

/// A file opened for reading, or the standard input when the name is "-".
class Input {
  public:
    explicit Input(const std::string& name);

    /// Fills `bytes` as far as the input goes and returns how many were read; fewer than asked only at its end.
    std::size_t read(std::span<std::byte> bytes);

    /// All that is left. Refuses more than `limit` bytes.
    std::string readAll(std::size_t limit);

    /// The next line, without its newline; no value at the end. Refuses lines of more than `limit` bytes.
    std::optional<std::string> readLine(std::size_t limit);

    /// For messages: the file's name, or "standard input".
    const std::string& name() const { return name_; }

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string name_;
    std::unique_ptr<std::FILE, Close> owned_;
    std::FILE* file_;
};

/// Writes to the standard output.
void Write(std::span<const std::byte> bytes);
void Write(std::string_view text);

/// Writes text for people: on a terminal, the characters that it would obey are escaped. Lines stay lines.
void Show(std::string_view text);

/// Writes out what is still buffered. main does this before it reports success, so that a full disk is not taken for
/// it.
void Flush();

/// While it lives, what this process writes to the standard error goes to a file of its own instead: for library calls
/// that report there, so that a command can put their words into its own one line.
class StandardErrorCapture {
  public:
    StandardErrorCapture();
    ~StandardErrorCapture();
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    /// Ends the capture and returns what was written.
    std::string finish();

  private:
    void restore();

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
    int saved_ = -1;
};

}  // namespace kxtool
