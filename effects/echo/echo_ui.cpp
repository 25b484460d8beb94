// The echo's editor: the panel, embedded by the framework as an external window.

#include "effects/echo/echo_plugin.h"
#include "effects/panel/window.h"

#include <DistrhoUI.hpp>

START_NAMESPACE_DISTRHO

namespace {

std::vector<panel::control> list_controls()
{
    std::vector<panel::control> made;
    for (const parameter_text& text : parameter_texts)
        made.push_back({text.name, text.unit, static_cast<double>(text.min), static_cast<double>(text.max),
                        static_cast<double>(text.def), text.max > 10 ? 0 : 2});
    return made;
}

// What the host says, else Windows; called while the framework makes the window.
double next_scale()
{
    const double said = UI::getNextScaleFactor();
    return said > 0 ? said : panel::scale_for(reinterpret_cast<HWND>(UI::getNextWindowId()));
}

} // namespace

// The framework also makes one without a parent, to ask for its size.
class echo_ui final : public UI, private panel::subject {
public:
    explicit echo_ui(panel::size start = panel::usual_size(shape, next_scale()))
        : UI(static_cast<uint>(start.width), static_cast<uint>(start.height))
        , effect_(*static_cast<echo_plugin*>(static_cast<Plugin*>(getPluginInstancePointer())))
        , window_(*this, &effect_.levels(), nullptr, next_scale())
    {
        tell_smallest();
        if (getParentWindowHandle() != 0)
            window_.open(reinterpret_cast<HWND>(getParentWindowHandle()));
    }

protected:
    void parameterChanged(uint32_t, float) override {} // the panel looks at the effect itself
    void sizeChanged(uint width, uint height) override
    {
        window_.resize({static_cast<int>(width), static_cast<int>(height)});
        UI::sizeChanged(width, height); // asks the host, unless it was the host's wish
    }
    void uiScaleFactorChanged(double scale) override
    {
        window_.set_scale(scale);
        tell_smallest();
        setSize(static_cast<uint>(window_.current().width), static_cast<uint>(window_.current().height));
    }
    uintptr_t getNativeWindowHandle() const noexcept override
    {
        return reinterpret_cast<uintptr_t>(window_.handle());
    }
    void focus() override
    {
        if (window_.handle())
            SetFocus(window_.handle());
    }

private:
    static constexpr panel::parts shape{.picture = false, .sliders = param_count, .meters = true};

    void tell_smallest()
    {
        const panel::size least = window_.smallest();
        setGeometryConstraints(static_cast<uint>(least.width), static_cast<uint>(least.height));
    }

    std::span<const panel::control> controls() const override { return controls_; }
    double value(std::size_t index) const override
    {
        return static_cast<double>(effect_.value(static_cast<uint32_t>(index)));
    }
    void begin_edit(std::size_t index) override { editParameter(static_cast<uint32_t>(index), true); }
    void edit(std::size_t index, double plain) override
    {
        setParameterValue(static_cast<uint32_t>(index), static_cast<float>(plain));
    }
    void end_edit(std::size_t index) override { editParameter(static_cast<uint32_t>(index), false); }
    void ask_for_size(panel::size wanted) override
    {
        setSize(static_cast<uint>(wanted.width), static_cast<uint>(wanted.height));
    }

    const std::vector<panel::control> controls_ = list_controls();
    echo_plugin& effect_;
    panel::window window_;
};

UI* createUI()
{
    return new echo_ui;
}

END_NAMESPACE_DISTRHO
