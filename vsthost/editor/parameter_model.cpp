#include "vsthost/editor/parameter_model.h"

#include <algorithm>
#include <cmath>

namespace {

// Only the letters that have the same form in every code page are compared without their size.
std::string lower(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

bool holds_all(const std::string& name, std::string_view words)
{
    for (size_t begin = 0; begin < words.size();) {
        const size_t end = std::min(words.find(' ', begin), words.size());
        if (name.find(words.substr(begin, end - begin)) == std::string::npos)
            return false;
        begin = end + 1;
    }
    return true;
}

} // namespace

vsthost::parameter_model::parameter_model(parameter_source& source)
    : source_(source)
{
    reload();
}

void vsthost::parameter_model::reload()
{
    all_.clear();
    for (parameter_info& each : source_.parameters())
        if (!each.hidden)
            all_.push_back({std::move(each), {}});
    for (row& each : all_)
        each.text = source_.parameter_text(each.about.id);
    search(words_);
}

void vsthost::parameter_model::search(std::string_view words)
{
    words_ = lower(words);
    shown_.clear();
    for (size_t i = 0; i < all_.size(); ++i)
        if (holds_all(lower(all_[i].about.name), words_))
            shown_.push_back(i);
}

bool vsthost::parameter_model::refresh(size_t first, size_t last)
{
    bool changed = false;
    for (size_t i = first; i < std::min(last, shown_.size()); ++i) {
        row& each = all_[shown_[i]];
        const double value = each.about.value;
        const std::string text = each.text;
        update(each);
        changed |= each.about.value != value || each.text != text;
    }
    return changed;
}

void vsthost::parameter_model::update(row& of)
{
    of.about.value = source_.parameter(of.about.id);
    of.text = source_.parameter_text(of.about.id);
}

void vsthost::parameter_model::set(size_t position, double value)
{
    row& changed = all_[shown_[position]];
    if (changed.about.read_only)
        return;
    value = std::clamp(value, 0.0, 1.0);
    if (changed.about.steps != 0)
        value = std::round(value * changed.about.steps) / changed.about.steps;
    source_.set_parameter(changed.about.id, value);
    update(changed);
}

void vsthost::parameter_model::set_default(size_t position)
{
    set(position, at(position).about.default_value);
}

void vsthost::parameter_model::nudge(size_t position, double steps)
{
    const parameter_info& about = at(position).about;
    set(position, about.value + steps / (about.steps != 0 ? about.steps : 100.0));
}

bool vsthost::parameter_model::type(size_t position, const std::string& text)
{
    row& changed = all_[shown_[position]];
    if (changed.about.read_only || !source_.set_parameter_text(changed.about.id, text))
        return false;
    update(changed);
    return true;
}
