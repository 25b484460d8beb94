#include "player/chain/chain_runner.h"

#include "sdk/exceptions.h"

#include <algorithm>

namespace player {

chain_runner::chain_runner(const live_chain& chain, maker_t make)
    : chain_(chain)
    , make_(std::move(make))
{
}

chain_runner::instance chain_runner::make_instance(const std::shared_ptr<const chain_slot>& slot)
{
    return {slot, make_(slot->preset)};
}

void chain_runner::take_over()
{
    auto wanted = chain_.get();
    if (wanted == taken_)
        return;
    taken_.reset(); // until it is done
    std::vector<instance> next;
    for (const auto& slot : *wanted) {
        if (!slot->enabled)
            continue;
        const auto known = std::find_if(instances_.begin(), instances_.end(), [&](const instance& each) {
            return each.processor && each.slot->id == slot->id;
        });
        try {
            if (known == instances_.end()) {
                next.push_back(make_instance(slot));
                continue;
            }
            bool takes_it = known->slot->preset == slot->preset;
            if (!takes_it) {
                const auto third = service_query_as<dsp_v3>(*known->processor);
                takes_it = third && third->apply_preset(slot->preset);
            }
            if (takes_it) {
                known->slot = slot;
                next.push_back(std::move(*known));
            } else {
                known->processor.release(); // not two of them side by side
                next.push_back(make_instance(slot));
            }
        } catch (const std::exception& error) {
            // The others stay as they play; the next run tries again.
            std::move(instances_.begin(), instances_.end(), std::back_inserter(next));
            std::erase_if(next,
                          [&](const instance& each) { return !each.processor || each.slot->id == slot->id; });
            instances_ = std::move(next);
            throw dsp_failure(slot->id, error.what());
        }
    }
    instances_ = std::move(next);
    taken_ = std::move(wanted);
}

void chain_runner::run_one(instance& each, dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort)
{
    had_fresh_ = had_fresh_ || each.fresh;
    starting_ = each.fresh ? each.slot->id : 0;
    since_ = std::chrono::steady_clock::now();
    running_ = each.slot->id;
    struct reset {
        std::atomic<uint64_t>& value;
        ~reset() { value = 0; }
    } const no_longer_starting{starting_}, no_longer_running{running_};
    each.processor->run_abortable(chunks, nullptr, flags, abort);
    each.fresh = false;
}

void chain_runner::run(dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort)
{
    had_fresh_ = false;
    take_over();
    for (auto each = instances_.begin(); each != instances_.end(); ++each) {
        try {
            run_one(*each, chunks, flags, abort);
        } catch (const exception_aborted&) {
            throw;
        } catch (const std::exception& error) {
            // A wait that was broken by the token may carry a text of its own.
            if (abort.is_aborting())
                throw exception_aborted();
            const uint64_t slot = each->slot->id;
            instances_.erase(each);
            taken_.reset();
            throw dsp_failure(slot, error.what());
        }
    }
}

uint64_t chain_runner::running_longer_than(std::chrono::milliseconds limit) const noexcept
{
    const uint64_t slot = running_;
    const std::chrono::steady_clock::time_point since = since_;
    // Another run may have begun in between; it has not taken long then.
    return slot == running_ && std::chrono::steady_clock::now() - since > limit ? slot : 0;
}

void chain_runner::flush()
{
    for (instance& each : instances_)
        each.processor->flush();
}

double chain_runner::latency() const
{
    double seconds = 0;
    for (const instance& each : instances_)
        seconds += each.processor->get_latency();
    return seconds;
}

void chain_runner::release() noexcept
{
    taken_.reset();
    instances_.clear();
}

} // namespace player
