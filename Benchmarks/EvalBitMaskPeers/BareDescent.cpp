#include "Peers.h"

namespace {

struct Descent {
    const char* at;

    void skip() {
        while (*at == ' ' || *at == '\t' || *at == '\n') ++at;
    }

    std::uint64_t binary(int level) {
        if (level == 4) return operand();
        std::uint64_t left = binary(level + 1);
        for (skip(); *at == ",|^&"[level]; skip()) {
            ++at;
            const std::uint64_t right = binary(level + 1);
            left = level == 3 ? left & right : level == 2 ? left ^ right : left | right;
        }
        return left;
    }

    std::uint64_t operand() {
        skip();
        const char c = *at;
        if (c == '~') return ++at, ~operand();
        if (c == '-') return ++at, 0 - operand();
        if (c == '(') {
            ++at;
            const std::uint64_t value = binary(0);
            skip();
            ++at;
            return value;
        }
        if (c >= '0' && c <= '9') return number();
        const char* const name = at;
        while ((*at | 0x20) >= 'a' && (*at | 0x20) <= 'z') ++at;
        return *name == 'w' ? 2 : *name == 'e' ? 4 : at - name == 4 ? 1 : 8;
    }

    std::uint64_t number() {
        std::uint64_t value = 0;
        if (at[0] == '0' && at[1] == 'x') {
            for (at += 2;; ++at) {
                if (*at >= '0' && *at <= '9') {
                    value = value * 16 + static_cast<unsigned>(*at - '0');
                } else if ((*at | 0x20) >= 'a' && (*at | 0x20) <= 'f') {
                    value = value * 16 + static_cast<unsigned>((*at | 0x20) - 'a') + 10;
                } else {
                    return value;
                }
            }
        }
        for (; *at >= '0' && *at <= '9'; ++at) value = value * 10 + static_cast<unsigned>(*at - '0');
        return value;
    }
};

}  // namespace

int EvalByBareDescent(std::uint64_t* result, const char* text) {
    Descent descent{text};
    *result = descent.binary(0);
    return 0;
}
