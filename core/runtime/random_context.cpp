#include "core/runtime/random_context.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Velmora::Core::Runtime {

std::uint64_t nextLoggedU64(RandomStream stream) {
    StreamRecord& record = *stream.record;
    if (record.mode == StreamMode::Replay) {
        if (record.cursor >= record.log.size()) {
            throw ReplayExhausted("RandomContext replay exhausted: " + std::string(stream.name));
        }
        return record.log[record.cursor++];
    }
    const std::uint64_t value = mix(record.state + golden_increment);
    if (record.mode == StreamMode::Record) {
        record.log.push_back(value);
    }
    record.state += golden_increment;
    return value;
}

RandomContext::RandomContext(std::uint64_t root_seed) : root_seed_(root_seed) {}

RandomStream RandomContext::stream(std::string_view name, std::uint64_t index) {
    auto found = streams_.find(StreamKeyView(name, index));
    if (found == streams_.end()) {
        StreamRecord& record =
            newRecord({.state = streamSeed(root_seed_, name, index), .mode = initial_mode_});
        found =
            streams_.emplace(StreamKey{.name = std::string(name), .index = index}, &record).first;
    }
    return {.record = found->second, .name = found->first.name};
}

StreamRecord& RandomContext::newRecord(StreamRecord record) {
    constexpr std::size_t smallest_block = 16;
    if (blocks_.empty() || blocks_.back().size() == blocks_.back().capacity()) {
        const std::size_t size = blocks_.empty() ? smallest_block : 2 * blocks_.back().capacity();
        blocks_.emplace_back().reserve(size);
    }
    return blocks_.back().emplace_back(std::move(record));
}

double RandomContext::uniform(std::string_view name, std::uint64_t index) {
    return Runtime::uniform(stream(name, index));
}

void RandomContext::setMode(std::string_view name, std::uint64_t index, StreamMode mode,
                            std::vector<std::uint64_t> log) {
    StreamRecord& record = *stream(name, index).record;
    if (mode != StreamMode::Replay) {
        log.clear();
    }
    record.mode = mode;
    record.log = std::move(log);
    record.cursor = 0;
}

void RandomContext::record() {
    setModeOfAll(StreamMode::Record);
}

std::vector<StreamLog> RandomContext::recorded() const {
    std::vector<StreamLog> logs;
    for (const auto& [key, record] : streams_) {
        if (!record->log.empty()) {
            logs.push_back({.name = key.name, .index = key.index, .values = record->log});
        }
    }
    std::sort(logs.begin(), logs.end(), [](const StreamLog& a, const StreamLog& b) {
        return std::tie(a.name, a.index) < std::tie(b.name, b.index);
    });
    return logs;
}

void RandomContext::replay(std::vector<StreamLog> logs) {
    setModeOfAll(StreamMode::Replay);
    for (StreamLog& log : logs) {
        setMode(log.name, log.index, StreamMode::Replay, std::move(log.values));
    }
}

void RandomContext::setModeOfAll(StreamMode mode) {
    initial_mode_ = mode;
    for (std::vector<StreamRecord>& block : blocks_) {
        for (StreamRecord& record : block) {
            record.mode = mode;
            record.log.clear();
            record.cursor = 0;
        }
    }
}

std::size_t RandomContext::StreamKeyHash::operator()(StreamKeyView key) const {
    return static_cast<std::size_t>(mix(mix(nameHash(key.name)) ^ key.index));
}

bool RandomContext::StreamKeyEqual::operator()(StreamKeyView a, StreamKeyView b) const {
    return a.index == b.index && a.name == b.name;
}

} // namespace Velmora::Core::Runtime
