#pragma once
// A sample effect of this program's bitness, loaded and called in this process: what a chunk and a start would
// cost without a worker. Throws std::runtime_error when the module does not do as it should. One thread.

#include <memory>
#include <string>

namespace bench {

class direct_effect {
public:
    virtual ~direct_effect() = default;

    // Two channels of 64-bit samples; once.
    virtual void start(double rate, int max_frames) = 0;
    virtual void process(const double** in, double** out, int frames) = 0;
};

// A file among the shipped sample effects: VST 3 with the extension .vst3, else VST 2.
std::unique_ptr<direct_effect> load_direct_effect(const std::string& file);

} // namespace bench
