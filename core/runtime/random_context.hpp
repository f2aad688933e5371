#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// Named, independent random streams.
namespace Velmora::Core::Runtime {

/// A stream in replay has no recorded value left. The text is "RandomContext replay exhausted: "
/// and the stream's name.
class ReplayExhausted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Where a stream's values come from.
enum class StreamMode : std::uint8_t {
    /// From its generator.
    Live = 0,
    /// From its generator, and every value is logged.
    Record = 1,
    /// From its log; the generator rests.
    Replay = 2,
};

/// The state of one stream. The context owns it; handles point to it.
struct StreamRecord {
    /// Of the generator; streamSeed at first.
    std::uint64_t state = 0;
    /// Where the next value comes from.
    StreamMode mode = StreamMode::Live;
    /// The recorded values, or those to replay.
    std::vector<std::uint64_t> log = {};
    /// Position in `log` of the next value to replay.
    std::uint64_t cursor = 0;
};

/// A light handle to one stream. Valid as long as the context that gave it lives, also after the
/// context was moved.
struct RandomStream {
    /// Owned by the context.
    StreamRecord* record = nullptr;
    /// The stream's name, for errors.
    std::string_view name;
};

/// What one stream drew, or is to draw again.
struct StreamLog {
    /// The first half of what identifies the stream.
    std::string name;
    /// The second half.
    std::uint64_t index = 0;
    /// Raw values, as nextU64 returned them.
    std::vector<std::uint64_t> values;

    /// The same draws of the same stream.
    friend bool operator==(const StreamLog&, const StreamLog&) = default;
};

/// SplitMix64's increment (Steele, Lea and Flood 2014).
inline constexpr std::uint64_t golden_increment = 0x9e37'79b9'7f4a'7c15U;

/// SplitMix64's finalizer, a bijection of 64-bit words.
[[nodiscard]] constexpr std::uint64_t mix(std::uint64_t z) {
    z = (z ^ (z >> 30U)) * 0xbf58'476d'1ce4'e5b9U;
    z = (z ^ (z >> 27U)) * 0x94d0'49bb'1331'11ebU;
    return z ^ (z >> 31U);
}

/// FNV-1a over the bytes of `name`, with a start value of its own.
[[nodiscard]] constexpr std::uint64_t nameHash(std::string_view name) {
    std::uint64_t hash = 0x1465'0fb0'739d'0383U;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100'0000'01b3U;
    }
    return hash;
}

/// The state in which the stream (name, index) of a context with this root seed starts.
[[nodiscard]] constexpr std::uint64_t streamSeed(std::uint64_t root_seed, std::string_view name,
                                                 std::uint64_t index) {
    return mix(mix(nameHash(name) ^ mix(root_seed + golden_increment)) ^ index);
}

/// The stream's next raw value, by its mode, which is not Live. Throws as nextU64.
std::uint64_t nextLoggedU64(RandomStream stream);

/// The stream's next raw value, by its mode.
/// Throws ReplayExhausted when a stream in replay has no value left; its cursor stays at the end.
inline std::uint64_t nextU64(RandomStream stream) {
    if (stream.record->mode != StreamMode::Live) {
        return nextLoggedU64(stream);
    }
    return mix(stream.record->state += golden_increment);
}

/// The stream's next uniform number: the upper 53 bits of nextU64 times 2^-53, in [0, 1). Throws as
/// nextU64.
inline double uniform(RandomStream stream) {
    constexpr double two_to_minus_53 = 1.0 / 9007199254740992.0;
    return static_cast<double>(nextU64(stream) >> 11U) * two_to_minus_53;
}

/// All randomness of one run, drawn from one root seed.
///
/// A stream is identified by a name (compared byte for byte) and an index, and its values depend on
/// the root seed, the name and the index alone: a draw from one stream never shifts another.
/// Streams come into being when they are first asked for and live as long as the context.
///
/// A run can be recorded (record() before it, recorded() after it) and run again from its log
/// (replay()), whatever the root seed of the context that replays.
///
/// A context belongs to one run on one thread. It can be moved, which leaves handles valid, but not
/// copied.
class RandomContext {
  public:
    /// A context without streams as yet.
    explicit RandomContext(std::uint64_t root_seed);
    RandomContext(const RandomContext&) = delete;
    /// Takes the streams over; handles to them stay valid.
    RandomContext(RandomContext&&) = default;
    RandomContext& operator=(const RandomContext&) = delete;
    /// Takes the streams of another context over; this context's own are gone, and handles to those
    /// dangle.
    RandomContext& operator=(RandomContext&&) = default;
    ~RandomContext() = default;

    /// The stream (name, index), created on first use and afterwards as earlier draws left it.
    [[nodiscard]] RandomStream stream(std::string_view name, std::uint64_t index);

    /// The next uniform number of the stream (name, index). Throws as nextU64.
    double uniform(std::string_view name, std::uint64_t index);

    /// Switches one stream. `log` is installed for Replay, to be drawn from its start; for Live and
    /// Record the stream starts with an empty log and its generator goes on from where it stands.
    void setMode(std::string_view name, std::uint64_t index, StreamMode mode,
                 std::vector<std::uint64_t> log = {});

    /// Records every stream from now on, those of the future too. Earlier logs are dropped, and a
    /// replay ends.
    void record();

    /// The logs that are not empty, of streams being replayed too, ordered by name (bytewise), then
    /// index.
    [[nodiscard]] std::vector<StreamLog> recorded() const;

    /// Replays the given logs. A stream without a log, also one of the future, is exhausted from
    /// the start: a replay never falls back on a generator. Of two logs for one stream the later
    /// counts.
    void replay(std::vector<StreamLog> logs);

  private:
    struct StreamKey {
        std::string name;
        std::uint64_t index;
    };
    /// A key that does not own its name: what the table is searched with.
    struct StreamKeyView {
        std::string_view name;
        std::uint64_t index;
        StreamKeyView(std::string_view n, std::uint64_t i) : name(n), index(i) {}
        // One comparison serves stored keys and views alike.
        // NOLINTNEXTLINE(google-explicit-constructor)
        StreamKeyView(const StreamKey& key) : name(key.name), index(key.index) {}
    };
    struct StreamKeyHash {
        using is_transparent = void;
        std::size_t operator()(StreamKeyView key) const;
    };
    struct StreamKeyEqual {
        using is_transparent = void;
        bool operator()(StreamKeyView a, StreamKeyView b) const;
    };

    void setModeOfAll(StreamMode mode);
    StreamRecord& newRecord(StreamRecord record);

    std::uint64_t root_seed_;
    /// The mode in which new streams start.
    StreamMode initial_mode_ = StreamMode::Live;
    /// The records in the order in which they were created, in blocks that never grow beyond their
    /// first capacity: a record keeps its address, and the streams of neighbouring neurons lie
    /// together.
    std::vector<std::vector<StreamRecord>> blocks_;
    std::unordered_map<StreamKey, StreamRecord*, StreamKeyHash, StreamKeyEqual> streams_;
};

} // namespace Velmora::Core::Runtime
