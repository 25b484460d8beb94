#pragma once
#include "sdk/componentversion.h"

// What the player's list of components shows of this one.
class version_record : public componentversion {
public:
    using service_class = componentversion;
    using service_interface = componentversion;

    void get_component_name(string_out& out) const override { set_text(out, "VST 2.x/3.x Adapter"); }
    void get_component_version(string_out& out) const override { set_text(out, QVX_VERSION); }
    void get_about_message(string_out& out) const override
    {
        set_text(out, "Plays music through VST 2 and VST 3 effects, each in a process of its own.");
    }
};
