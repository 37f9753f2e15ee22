// The switches of Tests/MutantSwitch.h, linked into a test program by scripts/mutants.
//
//     KX_MUTANT=<number>      the change that is on; without it, none is
//     KX_MUTANTS_MAP=<file>   a file of zeros, mapped by the program and all that it starts: a header (struct Header),
//                             then one row of bytes a test, a byte for each change that it reached; row 0 is for what
//                             runs outside the tests
//     KX_MUTANTS_LOG=<file>   takes one line a test: row, milliseconds, passed or failed, name

#include "MutantSwitch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct Header {
    pid_t program;      // the one whose tests are counted; what it starts may be a test program too
    unsigned row;       // of the running test
    unsigned rows;      // that the file has room for
    unsigned capacity;  // of a row
};

unsigned active = ~0U;
Header* header = nullptr;

class Recorder : public testing::EmptyTestEventListener {
  public:
    explicit Recorder(std::FILE* log) : log_(log) {}

  private:
    void OnTestStart(const testing::TestInfo&) override {
        ++rows_;
        if (rows_ < header->rows) __atomic_store_n(&header->row, rows_, __ATOMIC_RELAXED);
    }

    void OnTestEnd(const testing::TestInfo& test) override {
        __atomic_store_n(&header->row, 0U, __ATOMIC_RELAXED);
        const char* outcome = test.result()->Passed() ? "passed" : test.result()->Skipped() ? "skipped" : "failed";
        std::fprintf(log_, "%u %lld %s %s.%s\n", rows_, static_cast<long long>(test.result()->elapsed_time()), outcome,
                     test.test_suite_name(), test.name());
        std::fflush(log_);
    }

    std::FILE* log_;
    unsigned rows_ = 0;
};

// Before the initialisers of the sources, which may hold changes too.
__attribute__((constructor(101))) void readEnvironment() {
    if (const char* number = std::getenv("KX_MUTANT")) active = static_cast<unsigned>(std::atoi(number));
    const char* map = std::getenv("KX_MUTANTS_MAP");
    if (map == nullptr) return;
    const int file = open(map, O_RDWR | O_CLOEXEC);
    struct stat size {};
    if (file < 0 || fstat(file, &size) != 0) std::abort();
    void* mapped = mmap(nullptr, static_cast<std::size_t>(size.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED) std::abort();
    close(file);
    header = static_cast<Header*>(mapped);
}

// After the initialisers of GoogleTest.
const bool recording = [] {
    if (header == nullptr) return false;
    if (header->program != 0 && header->program != getpid()) return false;
    header->program = getpid();
    std::FILE* log = std::fopen(std::getenv("KX_MUTANTS_LOG"), "we");
    if (log == nullptr) std::abort();
    testing::UnitTest::GetInstance()->listeners().Append(new Recorder(log));
    return true;
}();

}  // namespace

extern "C" bool kx_mutant_is_on(unsigned number) noexcept {
    if (header != nullptr && number < header->capacity) {
        const unsigned row = __atomic_load_n(&header->row, __ATOMIC_RELAXED);
        auto* rows = reinterpret_cast<unsigned char*>(header + 1);
        __atomic_store_n(&rows[static_cast<std::size_t>(row) * header->capacity + number], 1, __ATOMIC_RELAXED);
    }
    return number == active;
}
