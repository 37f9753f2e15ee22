#pragma once

// A folder of a test's own, removed with everything in it.

#include <stdlib.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class TemporaryFolder {
  public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}

    /// Where syncing costs nothing, if the system has such a place: for tests that sync thousands of times.
    static TemporaryFolder inMemory() {
        std::error_code ignored;
        const std::filesystem::path memory = "/dev/shm";
        return std::filesystem::is_directory(memory, ignored) ? TemporaryFolder(memory) : TemporaryFolder();
    }

    explicit TemporaryFolder(const std::filesystem::path& parent) {
        std::string name = (parent / "KXTest.XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    /// Writes a file into the folder and returns its path.
    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream(path_ / name, std::ios::binary) << content;
        return *this / name;
    }

  private:
    std::filesystem::path path_;
};
