#pragma once
// The effects that the test modules are made of; README.md says which name gets which.

#include "effects/bare/effect.h"

#include <optional>
#include <string_view>

// Where an effect can be made to misbehave. `entry` is before any effect exists.
enum class call {
    entry,
    create,
    open,
    layout,
    prepare,
    start,
    process,
    stop,
    save,
    restore,
    latency,
    tail,
    close
};
std::optional<call> call_by_name(std::string_view name);

enum class misbehaviour { crash, hang };
// Does not return.
[[noreturn]] void misbehave(misbehaviour how);

// Output channel n is "Level" times input channel n modulo the inputs; 0 without inputs. Bases itself on
// samples of either size through `double`, so that a derived effect writes its arithmetic once.
class passing : public bare::effect {
public:
    using effect::effect;
    bool process(const bare::block<float>& audio) override { return run(audio); }
    bool process(const bare::block<double>& audio) override { return run(audio); }

protected:
    // One sample of one output channel. Called in order of time for each channel, one channel after the
    // other.
    virtual double sample(std::size_t channel, double input);
    // After a block.
    virtual bool block_done(std::size_t /*frames*/) { return true; }

private:
    template <class Sample>
    bool run(const bare::block<Sample>& audio);
};

// A ring of past samples for each channel.
class delay_line {
public:
    explicit delay_line(std::size_t samples)
        : past_(samples)
    {
    }
    // What was pushed `samples` pushes ago, 0 at first.
    double oldest() const { return past_.empty() ? 0 : past_[at_]; }
    void push(double value)
    {
        if (past_.empty())
            return;
        past_[at_] = value;
        at_ = (at_ + 1) % past_.size();
    }

private:
    std::vector<double> past_;
    std::size_t at_ = 0;
};

using maker = std::unique_ptr<bare::effect> (*)(const bare::description&);
template <class Effect>
std::unique_ptr<bare::effect> make(const bare::description& about)
{
    return std::make_unique<Effect>(about);
}

// By the last word of a name, such as "process": effects that misbehave there.
maker crashing_in(call where);
maker hanging_in(call where);

// The others, each with what its description must say beyond the usual.
struct behaviour {
    std::string_view name;
    maker create;
    void (*describe)(bare::description& about) = nullptr;
};
const behaviour* find_behaviour(std::string_view name);
