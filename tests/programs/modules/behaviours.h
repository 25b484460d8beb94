#pragma once
// The effects that the test modules are made of; README.md says which name gets which.

#include "effects/bare/effect.h"

#include <string_view>

// Crashes or hangs, and does not return, when the module's name says so for this call, as in
// "module_that_crashes_in_process".
void misbehave_in(std::string_view module_name, std::string_view call);

// True while a thread of an effect's own is in this module's code.
bool own_thread_runs();

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

using maker = std::unique_ptr<bare::effect> (*)(const bare::description&);
template <class Effect, auto... arguments>
std::unique_ptr<bare::effect> make(const bare::description& about)
{
    return std::make_unique<Effect>(about, arguments...);
}

// By name, or by what comes before the call in it; each with what its description must say beyond the usual.
// Null for a name without one.
struct behaviour {
    std::string_view name;
    maker create;
    void (*describe)(bare::description& about) = nullptr;
};
const behaviour* find_behaviour(std::string_view name);
