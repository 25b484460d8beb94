#pragma once
// The least of a host: loads a module of this program's bitness and calls it as the formats ask, with no
// worker between. Calls that a sound module never fails are REQUIREd. One thread.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using bytes = std::vector<std::byte>;

class plugin_driver {
public:
    virtual ~plugin_driver() = default;

    virtual std::string name() = 0;
    virtual bool set_channels(int count) = 0; // in and out
    virtual int channels() = 0;               // as the module reports them, in and out alike
    virtual bool can_double() = 0;
    virtual void start(double rate, int max_frames, bool use_double) = 0;
    virtual void stop() = 0;
    virtual uint32_t latency() = 0;
    virtual void set_parameter(unsigned index, double normalised) = 0; // heard from the next block on
    virtual double parameter(unsigned index) = 0;
    virtual void process(std::vector<const float*>& in, std::vector<float*>& out, int frames) = 0;
    virtual void process(std::vector<const double*>& in, std::vector<double*>& out, int frames) = 0;
    virtual bytes save() = 0;
    virtual void load(const bytes& state) = 0;

    // An editor in this HWND: 0 by 0 without one.
    struct size {
        int width = 0, height = 0;
        bool operator==(const size&) const = default;
    };
    virtual size open_editor(void* parent) = 0;
    virtual void close_editor() = 0;
    virtual size editor_size() = 0;
    // By the host; false where the format or the editor does not know it.
    virtual bool resize_editor(size wanted) = 0;

    // What the editor asked of its host.
    struct edit {
        unsigned index;
        double normalised;
    };
    std::vector<edit> edits;
    int open_edits = 0; // begun and not ended
    std::vector<size> wanted_sizes;

    // Runs all of it, in blocks of the given size; every channel has the same length.
    template <class Sample>
    std::vector<std::vector<Sample>> run(const std::vector<std::vector<Sample>>& input, std::size_t block)
    {
        std::vector<std::vector<Sample>> output(input.size(), std::vector<Sample>(input.at(0).size()));
        for (std::size_t at = 0; at < input[0].size(); at += block) {
            std::vector<const Sample*> in;
            std::vector<Sample*> out;
            for (std::size_t c = 0; c < input.size(); ++c) {
                in.push_back(input[c].data() + at);
                out.push_back(output[c].data() + at);
            }
            process(in, out, static_cast<int>(std::min(block, input[0].size() - at)));
        }
        return output;
    }
};

// By the extension: .vst3 or .dll.
std::unique_ptr<plugin_driver> open_plugin(const std::wstring& path);

// Where the sample effect in a file of this name lies, in this program's bitness.
std::wstring effect_path(const std::wstring& name);

std::unique_ptr<plugin_driver> open_vst2(const std::wstring& path);
std::unique_ptr<plugin_driver> open_vst3(const std::wstring& path);
