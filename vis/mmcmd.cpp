#include "vis/mmcmd.h"

#include "sdk/hasher_md5.h"
#include "sdk/host_api.h"
#include "vis/menuConfigureRun.h"

void mmcmd::get_display(string_out& text, uint32_t& flags) const
{
    set_text(text, effect_.name);
    flags = 0;
}

bool mmcmd::get_description(string_out& out) const
{
    set_text(out, "Configures VST effect.");
    return true;
}

guid_t mmcmd::get_guid() const
{
    service_ptr_t<md5_computation> hash;
    service_get_unique<hasher_md5>()->begin(hash);
    hash->process(effect_.path.data(), effect_.path.size());
    if (occurrence_ != 0) {
        const std::string suffix = "+" + std::to_string(occurrence_);
        hash->process(suffix.data(), suffix.size());
    }
    return hash->get_result_guid();
}

void mmcmd::execute()
{
    startMenuConfigureRun(effect_, occurrence_);
}
