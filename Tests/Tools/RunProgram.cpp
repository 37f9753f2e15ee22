#include "RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>

namespace {

class Descriptor {
  public:
    ~Descriptor() { reset(); }
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = descriptor;
    }
    int get() const { return descriptor_; }

  private:
    int descriptor_ = -1;
};

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
        read.reset(ends[0]);
        write.reset(ends[1]);
    }

    Descriptor read;
    Descriptor write;
};

/// Moves what the pipe holds into `text`; closes it at its end.
void Drain(Descriptor& from, std::string& text) {
    char piece[65536];
    const ssize_t count = read(from.get(), piece, sizeof piece);
    if (count > 0) {
        text.append(piece, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        from.reset();
    }
}

/// Moves what the pipe takes out of `text` from `at` on; closes it when all is written or nobody reads.
void Feed(Descriptor& to, const std::string& text, std::size_t& at) {
    const ssize_t count = write(to.get(), text.data() + at, text.size() - at);
    if (count >= 0) at += static_cast<std::size_t>(count);
    if (at == text.size() || (count < 0 && errno != EINTR && errno != EAGAIN)) to.reset();
}

}  // namespace

void PrintTo(const ProgramOutcome& outcome, std::ostream* stream) {
    *stream << "status " << outcome.status << "\n--- standard output\n"
            << outcome.out << "--- standard error\n"
            << outcome.err << "---";
}

ProgramOutcome RunProgram(const std::vector<std::string>& arguments, const std::string& input) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    signal(SIGPIPE, SIG_IGN);  // a program may end before it has read all its input

    Pipe in, out, err;
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process");
    if (child == 0) {
        signal(SIGPIPE, SIG_DFL);
        dup2(in.read.get(), STDIN_FILENO);
        dup2(out.write.get(), STDOUT_FILENO);
        dup2(err.write.get(), STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    in.read.reset();
    out.write.reset();
    err.write.reset();
    fcntl(in.write.get(), F_SETFL, O_NONBLOCK);

    ProgramOutcome outcome;
    std::size_t fed = 0;
    if (input.empty()) in.write.reset();
    while (out.read.get() >= 0 || err.read.get() >= 0) {
        pollfd polled[] = {{in.write.get(), POLLOUT, 0}, {out.read.get(), POLLIN, 0}, {err.read.get(), POLLIN, 0}};
        if (poll(polled, 3, -1) < 0) continue;
        if (polled[0].revents != 0) Feed(in.write, input, fed);
        if (polled[1].revents != 0) Drain(out.read, outcome.out);
        if (polled[2].revents != 0) Drain(err.read, outcome.err);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome;
}
