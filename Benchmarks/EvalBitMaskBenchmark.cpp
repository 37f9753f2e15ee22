#include <KXCoreLib/EvalBitMask.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "Peers.h"

namespace {

// No name is the beginning of another that the texts below use: messages are not what is measured here.
constexpr BitMaskConstant kNames[] = {{"read", 0x1}, {"write", 0x2}, {"execute", 0x4}, {nullptr, 0}};
constexpr BitMaskConstant kAttributes[] = {
    {"write", 0x2}, {"execute", 0x4}, {"readattr", 0x8}, {"append", 0x10}, {nullptr, 0}};

std::string Long(std::size_t size) {
    const std::string piece = "0x1F & ~execute | (readattr ^ 7), write & 0x22 | ";
    std::string text;
    while (text.size() + piece.size() < size) text += piece;
    text += "1";
    text.resize(size, ' ');
    return text;
}

struct Case {
    std::string text;
    const BitMaskConstant* names;
    std::uint64_t value;
};

int ByLibrary(std::uint64_t* result, const Case& given) { return EvalBitMask(result, given.text.c_str(), given.names); }
int ByFlexAndBison(std::uint64_t* result, const Case& given) {
    return EvalByFlexAndBison(result, given.text.c_str(), given.names);
}
int BySpirit(std::uint64_t* result, const Case& given) { return EvalBySpirit(result, given.text.c_str()); }
int ByBareDescent(std::uint64_t* result, const Case& given) { return EvalByBareDescent(result, given.text.c_str()); }

using Evaluate = int (*)(std::uint64_t*, const Case&);

void Measure(benchmark::State& state, Evaluate evaluate, const Case& given) {
    std::uint64_t value = 0;
    if (evaluate(&value, given) != 0 || value != given.value) {
        state.SkipWithError("evaluates to something else");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(evaluate(&value, given));
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(given.text.size()));
}

const bool registered = [] {
    const struct {
        const char* name;
        Case given;
    } cases[] = {
        {"two_names", {"read|write", kNames, 3}},
        {"operators", {"0x1F & ~execute | (readattr ^ 7)", kAttributes, 0x1f}},
        {"2KiB", {Long(2048), kAttributes, 0x1f}},
        {"16KiB", {Long(16384), kAttributes, 0x1f}},
    };
    const struct {
        const char* name;
        Evaluate evaluate;
    } evaluators[] = {{"KXCoreLib", ByLibrary},
                      {"flex+bison", ByFlexAndBison},
                      {"Boost.Spirit_X3", BySpirit},
                      {"bare_descent", ByBareDescent}};
    for (const auto& one : cases) {
        for (const auto& evaluator : evaluators) {
            const std::string name = std::string("BM_EvalBitMask/") + evaluator.name + "/" + one.name;
            benchmark::RegisterBenchmark(
                name.c_str(), [=](benchmark::State& state) { Measure(state, evaluator.evaluate, one.given); });
        }
    }
    return true;
}();

}  // namespace
