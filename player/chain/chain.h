#pragma once
// A DSP chain: from the options of the command line to running DSP instances.

#include "player/chain/chain_item.h"
#include "sdk/dsp.h"
#include "sdk/dsp_chunk_list.h"
#include "sdk/dsp_preset_impl.h"

#include <string>
#include <vector>

namespace player {

struct chain_entry {
    std::string file; // what messages name: the module, or the file of preset bytes
    dsp_preset_impl preset;
    std::string state_file; // where the effect's state comes from; empty: it begins with its defaults
};

// The preset of an effect: the module is resolved to an absolute path and inspected, the state is read.
// Throws player_error when the module is missing or cannot be used. Nothing is loaded.
chain_entry make_effect_entry(const effect_options& effect);
// A file of preset bytes, unread beyond its size. Throws player_error.
chain_entry load_preset_entry(const std::string& file);
// Before a preset is written: throws player_error when there is a file of that name, not empty, that is no
// preset, or it cannot be read. An empty name is none.
void check_preset_target(const std::string& file);
std::vector<chain_entry> make_chain(const std::vector<chain_item>& items);

// A DSP made of a preset by the component's entry that owns it. Any thread. Throws player_error without a
// name in front, or what the entry throws.
service_ptr_t<dsp_v2> make_processor(const dsp_preset& preset, uint32_t instantiate_flags);
// The entry that owns presets of this owner; empty when there is none.
service_ptr_t<dsp_entry> find_dsp_entry(const guid_t& owner);

// What to do about a failure of a DSP, told from its text; empty when only the console's lines can tell.
std::string failure_advice(std::string_view failure);

// For a state that an effect did not take (see state_refusals): names the files that it may have come from.
// At least one entry has one.
[[noreturn]] void throw_refused_state(const std::vector<chain_entry>& entries, const std::string& reason);

// The instances of a chain, made by the DSP entries of the component and destroyed with this object. One
// thread.
class dsp_chain {
public:
    // Throws player_error that names the entry's file.
    dsp_chain(const std::vector<chain_entry>& entries, uint32_t instantiate_flags);

    // Hands the chunks through all DSPs. Throws exception_aborted, or player_error that names the file of the
    // DSP that failed.
    void run(dsp_chunk_list& chunks, uint32_t flags, abort_callback& abort);
    void flush();
    double latency() const; // seconds, of all together

private:
    struct instance {
        std::string file;
        service_ptr_t<dsp_v2> processor;
    };
    std::vector<instance> instances_;
};

} // namespace player
