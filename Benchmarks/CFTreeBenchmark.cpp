// Trees beside GLib's GNode: made, walked over, taken down.

#include <CoreFoundation/CFTree.h>

#include <benchmark/benchmark.h>
#include <glib.h>

#include <cstdint>

namespace {

constexpr int kChildren = 100;

CFTreeRef node(std::intptr_t name) {
    const CFTreeContext context{0, reinterpret_cast<void*>(name), nullptr, nullptr, nullptr};
    return CFTreeCreate(nullptr, &context);
}

/// A hundred children of a hundred each.
CFTreeRef makeOurs() {
    const CFTreeRef root = node(0);
    for (int i = 0; i < kChildren; ++i) {
        const CFTreeRef child = node(i);
        CFTreeAppendChild(root, child);
        CFRelease(child);
        for (int j = 0; j < kChildren; ++j) {
            const CFTreeRef leaf = node(j);
            CFTreePrependChild(child, leaf);
            CFRelease(leaf);
        }
    }
    return root;
}

GNode* makeGLibs() {
    GNode* const root = g_node_new(nullptr);
    for (std::intptr_t i = 0; i < kChildren; ++i) {
        GNode* const child = g_node_append(root, g_node_new(reinterpret_cast<void*>(i)));
        for (std::intptr_t j = 0; j < kChildren; ++j) g_node_prepend(child, g_node_new(reinterpret_cast<void*>(j)));
    }
    return root;
}

void makeAndFreeOurs(benchmark::State& state) {
    for (auto _ : state) CFRelease(makeOurs());
}
BENCHMARK(makeAndFreeOurs)->Name("BM_MakeAndFree/KXPlatform");

void makeGNode(benchmark::State& state) {
    for (auto _ : state) g_node_destroy(makeGLibs());
}
BENCHMARK(makeGNode)->Name("BM_MakeAndFree/GNode");

void walkOurs(benchmark::State& state) {
    const CFTreeRef root = makeOurs();
    for (auto _ : state) {
        std::intptr_t sum = 0;
        for (CFTreeRef child = CFTreeGetFirstChild(root); child; child = CFTreeGetNextSibling(child)) {
            for (CFTreeRef leaf = CFTreeGetFirstChild(child); leaf; leaf = CFTreeGetNextSibling(leaf)) ++sum;
        }
        benchmark::DoNotOptimize(sum);
    }
    CFRelease(root);
}
BENCHMARK(walkOurs)->Name("BM_Walk/KXPlatform");

void walkGNode(benchmark::State& state) {
    GNode* const root = makeGLibs();
    for (auto _ : state) {
        std::intptr_t sum = 0;
        for (GNode* child = g_node_first_child(root); child; child = g_node_next_sibling(child)) {
            for (GNode* leaf = g_node_first_child(child); leaf; leaf = g_node_next_sibling(leaf)) ++sum;
        }
        benchmark::DoNotOptimize(sum);
    }
    g_node_destroy(root);
}
BENCHMARK(walkGNode)->Name("BM_Walk/GNode");

}  // namespace
