// The event queue beside a map ordered by (time, sequence).

#include "core/kesp/event_queue.hpp"
#include "fuzz/input.hpp"
#include "fuzz/promise.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Velmora::Fuzz {

using namespace Core::Kesp;

namespace {

constexpr ModelTime ahead_limit = 16;

class QueueModel {
  public:
    explicit QueueModel(std::uint64_t first_sequence) : next_sequence_(first_sequence) {}

    std::uint64_t schedule(const Event& event) {
        refuseBefore(event.time < now_);
        const std::uint64_t sequence = reserve();
        store(event, sequence);
        return sequence;
    }

    std::uint64_t reserve() {
        if (next_sequence_ == none) {
            throw TimeOverflow("KESP event sequence exhausted");
        }
        return next_sequence_++;
    }

    void scheduleReserved(const Event& event) {
        refuseBefore(event.time <= now_);
        store(event, event.sequence);
    }

    bool cancel(std::uint64_t sequence) {
        return std::erase_if(
                   events_,
                   [sequence](const auto& entry) { return entry.first.second == sequence; })
               != 0;
    }

    Event popNext() {
        if (events_.empty()) {
            throw EmptyEventQueue("popNext on empty KESP event queue");
        }
        const Event event = events_.extract(events_.begin()).mapped();
        now_ = event.time;
        return event;
    }

    std::optional<Event> popBefore(ModelTime end) {
        if (events_.empty() || events_.begin()->second.time >= end) {
            return std::nullopt;
        }
        return popNext();
    }

    [[nodiscard]] std::size_t size() const { return events_.size(); }
    [[nodiscard]] ModelTime now() const { return now_; }
    [[nodiscard]] std::uint64_t nextSequence() const { return next_sequence_; }

  private:
    static void refuseBefore(bool too_early) {
        if (too_early) {
            throw CausalityViolation("KESP event scheduled before the current model time");
        }
    }

    void store(Event event, std::uint64_t sequence) {
        event.sequence = sequence;
        events_.emplace(std::pair(event.time, sequence), event);
    }

    std::map<std::pair<ModelTime, std::uint64_t>, Event> events_;
    std::uint64_t next_sequence_;
    ModelTime now_ = before_any_event;
};

bool areSame(const Event& a, const Event& b) {
    return a.time == b.time && a.sequence == b.sequence && a.kind == b.kind && a.source == b.source
           && a.target == b.target && a.edge == b.edge && a.value == b.value && a.tag == b.tag;
}

bool areSame(const std::optional<Event>& a, const std::optional<Event>& b) {
    return a.has_value() == b.has_value() && (!a || areSame(*a, *b));
}

class Comparison {
  public:
    explicit Comparison(Input input)
        : input_(input),
          first_sequence_(input_.flag() ? 0 : none - input_.below(64)),
          queue_(first_sequence_),
          model_(first_sequence_) {}

    void run() {
        while (!input_.isSpent()) {
            step();
            promise(queue_.size() == model_.size(), "the sizes agree");
            promise(queue_.empty() == (model_.size() == 0), "empty means no live event");
            promise(queue_.now() == model_.now(), "the current times agree");
        }
        while (model_.size() != 0) {
            promise(areSame(queue_.popNext(), model_.popNext()), "the last events agree");
        }
        promise(queue_.empty(), "nothing is left");
    }

  private:
    void step() {
        switch (input_.below(10)) {
        case 0:
        case 1:
        case 2:
            schedule();
            break;
        case 3:
            reserve();
            break;
        case 4:
            scheduleReserved();
            break;
        case 5:
        case 6:
            cancel();
            break;
        case 7:
            bothRefuseAlike([&] { popped_ = queue_.popNext(); },
                            [&] { expected_ = model_.popNext(); });
            break;
        case 8: {
            const ModelTime end = time();
            popped_ = queue_.popBefore(end);
            expected_ = model_.popBefore(end);
            break;
        }
        default:
            scheduleMany();
            break;
        }
        promise(areSame(popped_, expected_), "the events agree");
    }

    template <typename OnQueue, typename OnModel>
    bool bothRefuseAlike(const OnQueue& on_queue, const OnModel& on_model) {
        const auto refusal = refusalOf(on_queue);
        promise(refusal == refusalOf(on_model), "the refusals agree");
        return refusal.has_value();
    }

    /// Any time, or one near the current time: equal times are what order is about.
    ModelTime time() {
        if (input_.flag()) {
            return input_.time();
        }
        const auto ahead = static_cast<ModelTime>(input_.below(ahead_limit)) - 1;
        const bool has_room =
            queue_.now() != before_any_event && queue_.now() <= end_of_time - ahead_limit;
        return has_room ? queue_.now() + ahead : ahead;
    }

    Event event() {
        return {.time = time(),
                .sequence = 77,
                .kind = static_cast<EventKind>(input_.below(5)),
                .source = input_.byte(),
                .target = input_.byte(),
                .edge = input_.byte(),
                .value = static_cast<double>(input_.byte()),
                .tag = input_.byte()};
    }

    void schedule() { schedule(event()); }

    void schedule(const Event& added) {
        std::uint64_t issued = 0;
        std::uint64_t expected = 0;
        bothRefuseAlike([&] { issued = queue_.schedule(added); },
                        [&] { expected = model_.schedule(added); });
        promise(issued == expected, "the sequence numbers agree");
    }

    void scheduleMany() {
        Event added = event();
        for (std::uint64_t k = input_.below(200); k > 0; --k) {
            schedule(added);
            if (added.time < end_of_time - 1'000) {
                added.time += static_cast<ModelTime>(k % 3) * 7;
            }
        }
    }

    void reserve() {
        std::uint64_t issued = none;
        const bool refused = bothRefuseAlike(
            [&] { issued = queue_.reserveSequence(); },
            [&] { promise(model_.reserve() == issued, "the reserved numbers agree"); });
        if (!refused) {
            reserved_.push_back(issued);
        }
    }

    void scheduleReserved() {
        if (reserved_.empty()) {
            return;
        }
        const std::size_t chosen = input_.below(reserved_.size());
        Event added = event();
        added.sequence = reserved_[chosen];
        if (!bothRefuseAlike([&] { queue_.scheduleReserved(added); },
                             [&] { model_.scheduleReserved(added); })) {
            reserved_.erase(reserved_.begin() + static_cast<std::ptrdiff_t>(chosen));
        }
    }

    void cancel() {
        const std::uint64_t span =
            std::min<std::uint64_t>(model_.nextSequence() - first_sequence_, 200);
        std::uint64_t from = model_.nextSequence() - span;
        const std::uint64_t sequence =
            input_.below(8) == 0 ? input_.word() : from + input_.below(span + 2);
        promise(queue_.cancel(sequence) == model_.cancel(sequence), "both could withdraw or not");
        for (std::uint64_t more = input_.below(64); more > 0; --more, ++from) {
            promise(queue_.cancel(from) == model_.cancel(from), "both could withdraw or not");
        }
    }

    Input input_;
    std::uint64_t first_sequence_;
    EventQueue queue_;
    QueueModel model_;
    std::vector<std::uint64_t> reserved_;
    std::optional<Event> popped_;
    std::optional<Event> expected_;
};

} // namespace

} // namespace Velmora::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace Velmora::Fuzz;
    Comparison(Input(std::span(bytes, size))).run();
    return 0;
}
