#include "effects/panel/bare_panel.h"

#include <utility>

namespace panel {

namespace {

class bare_panel final : public bare::editor, private subject {
public:
    bare_panel(const bare::effect& what, level_feeds* levels, std::unique_ptr<picture> shown)
        : effect_(what)
        , controls_(list(what.about()))
        , picture_(std::move(shown))
        , window_(*this, levels, picture_.get(), scale_for(nullptr))
    {
    }

    bool open(void* parent, bare::editor_host& host) override
    {
        const HWND owner = static_cast<HWND>(parent);
        host_ = &host;
        if (!host_set_scale_)
            window_.set_scale(scale_for(owner));
        if (window_.open(owner))
            return true;
        host_ = nullptr;
        return false;
    }
    void close() override
    {
        window_.close();
        host_ = nullptr;
    }
    bare::view_size size() override { return {window_.current().width, window_.current().height}; }
    bool resizable() const override { return true; }
    bare::view_size nearest(bare::view_size wanted) const override
    {
        const panel::size least = window_.smallest();
        return {std::max(least.width, wanted.width), std::max(least.height, wanted.height)};
    }
    void resized(bare::view_size size) override { window_.resize({size.width, size.height}); }
    void set_scale(double scale) override
    {
        host_set_scale_ = true;
        const panel::size before = window_.current();
        window_.set_scale(scale);
        if (host_ && window_.current() != before)
            host_->resize(size());
    }
    void take_focus() override
    {
        if (window_.handle())
            SetFocus(window_.handle());
    }

private:
    static std::vector<control> list(const bare::description& about)
    {
        std::vector<control> made;
        for (const bare::parameter& p : about.parameters)
            made.push_back({p.name, p.unit, p.min, p.max, p.def, p.max - p.min < 10 ? 2 : 0});
        return made;
    }

    std::span<const control> controls() const override { return controls_; }
    double value(std::size_t index) const override { return effect_.value(index); }
    void begin_edit(std::size_t index) override
    {
        if (host_)
            host_->begin_edit(index);
    }
    void edit(std::size_t index, double plain) override
    {
        if (host_)
            host_->edit(index, controls_[index].to_normalised(plain));
    }
    void end_edit(std::size_t index) override
    {
        if (host_)
            host_->end_edit(index);
    }
    // A VST 2 host that agrees does not tell the new size, a VST 3 host does before it returns.
    void ask_for_size(panel::size wanted) override
    {
        if (host_ && host_->resize({wanted.width, wanted.height}))
            window_.resize(wanted);
    }

    const bare::effect& effect_;
    const std::vector<control> controls_;
    std::unique_ptr<picture> picture_;
    bare::editor_host* host_ = nullptr; // while open
    bool host_set_scale_ = false;
    window window_;
};

} // namespace

std::unique_ptr<bare::editor> make_bare_panel(const bare::effect& what, level_feeds* levels,
                                              std::unique_ptr<picture> shown)
{
    return std::make_unique<bare_panel>(what, levels, std::move(shown));
}

} // namespace panel
