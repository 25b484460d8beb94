#pragma once
// An effect's parameters as a list of them needs them. Pure; everything on the GUI thread, also beside
// processing. Values are 0 to 1.

#include <cstdint>
#include <string>
#include <vector>

namespace vsthost {

struct parameter_info {
    uint32_t id = 0;
    std::string name;
    std::string unit;
    double value = 0.0;
    double default_value = 0.0;
    uint32_t steps = 0; // between the values that it can have, 1 for a switch; 0: continuous
    bool read_only = false;
    bool hidden = false;
};

class parameter_source {
public:
    // At most 65536.
    virtual std::vector<parameter_info> parameters() = 0;

    virtual double parameter(uint32_t id) = 0;
    // The current value for people, with its unit where the effect gives one.
    virtual std::string parameter_text(uint32_t id) = 0;
    // As if the effect's own editor had set it.
    virtual void set_parameter(uint32_t id, double value) = 0;
    // False when the effect can make nothing of the text.
    virtual bool set_parameter_text(uint32_t id, const std::string& text) = 0;

protected:
    ~parameter_source() = default;
};

} // namespace vsthost
