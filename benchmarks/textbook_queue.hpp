#pragma once

#include "core/kesp/event.hpp"
#include "core/kesp/model_time.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Velmora::Benchmarks {

/// The event queue as textbooks have it, to hold the core's against: a binary heap of times and
/// sequence numbers beside a hash table of the events. The operations are those of
/// Core::Kesp::EventQueue and do the same.
///
/// Withdrawal is lazy: a withdrawn event leaves its entry in the heap behind, and the heap is
/// rebuilt once it holds more than twice as many entries as there are live events.
class TextbookQueue final : public Core::Kesp::IEventSink {
  public:
    std::uint64_t schedule(const Core::Kesp::Event& event) override;
    Core::Kesp::Event popNext();
    std::optional<Core::Kesp::Event> popBefore(Core::Kesp::ModelTime end);
    bool cancel(std::uint64_t sequence);

    [[nodiscard]] std::size_t size() const { return live_.size(); }
    [[nodiscard]] bool empty() const { return live_.empty(); }
    [[nodiscard]] Core::Kesp::ModelTime now() const { return now_; }

  private:
    struct Entry {
        Core::Kesp::ModelTime time;
        std::uint64_t sequence;
    };

    static bool later(const Entry& a, const Entry& b);
    void dropStaleTop();
    Core::Kesp::Event takeTop();
    void compact();

    std::unordered_map<std::uint64_t, Core::Kesp::Event> live_;
    std::vector<Entry> heap_;
    std::uint64_t next_sequence_ = 0;
    Core::Kesp::ModelTime now_ = Core::Kesp::before_any_event;
};

} // namespace Velmora::Benchmarks
