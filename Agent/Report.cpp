#include "Report.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace agent {

void report(const std::string& text) {
    const std::string line = "kxagent: " + text + "\n";
    [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, line.data(), line.size());
}

std::string onOneLine(const char* text, const char* others) {
    std::string line;
    for (; *text != '\0'; ++text) {
        const auto c = static_cast<unsigned char>(*text);
        if (c >= 0x20 && c != 0x7F && !std::strchr(others, *text)) {
            line += *text;
            continue;
        }
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
        line += escaped;
    }
    return line;
}

}  // namespace agent
