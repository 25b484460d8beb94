#pragma once
// An oscilloscope above a spectrum, of what was heard last. Changes only when something new was heard or the
// time span was changed.

#include "effects/panel/window.h"
#include "effects/scope/samples_feed.h"

#include <memory>

namespace scope {

// What the effect tells its picture. Outlives it.
class sound {
public:
    virtual samples_feed& samples() = 0;
    virtual double rate() const = 0;
    virtual double span_ms() const = 0; // from the left to the right edge

protected:
    ~sound() = default;
};

std::unique_ptr<panel::picture> make_picture(sound& heard);

} // namespace scope
