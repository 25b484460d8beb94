#pragma once
// A sample effect of this program's bitness, loaded and called in this process: what a chunk and a start
// would cost without a worker, and how it then sounds. Throws std::runtime_error when the module does not do
// as it should. One thread.

#include <memory>
#include <string>

namespace bench {

class direct_effect {
public:
    virtual ~direct_effect() = default;

    virtual bool takes_doubles() const = 0;
    // Two channels of samples of one size; a second start ends the first.
    virtual void start(double rate, int max_frames, bool doubles) = 0;
    virtual void process(const double** in, double** out, int frames) = 0; // after a start with doubles
    virtual void process(const float** in, float** out, int frames) = 0;   // after one without
};

// VST 3 with the extension .vst3, else VST 2.
std::unique_ptr<direct_effect> load_direct_effect(const std::wstring& path);

} // namespace bench
