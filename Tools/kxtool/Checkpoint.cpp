#include "Checkpoint.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Errors.h"
#include "ReplacedFile.h"
#include "StreamReading.h"
#include "Streams.h"

namespace kxtool {

std::optional<KXCore::StreamPosition> ReadCheckpoint(const std::string& path) {
    if (!Exists(path)) return std::nullopt;
    constexpr std::size_t kLargest = 4096;
    const std::string text = Input(path).readAll(kLargest);
    try {
        const nlohmann::json json = nlohmann::json::parse(text);
        return KXCore::StreamPosition{json.at("id").get<long long>(), json.at("hash").get<std::uint64_t>()};
    } catch (const nlohmann::json::exception&) {
        throw BadInput(fmt::format("{} is no checkpoint of a stream", path));
    }
}

void WriteCheckpoint(const std::string& path, const KXCore::StreamPosition& position) {
    ReplaceFile(path, fmt::format("{{\"id\":{},\"hash\":{}}}\n", position.id, position.hash));
}

}  // namespace kxtool
