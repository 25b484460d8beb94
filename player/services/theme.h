#pragma once
#include "sdk/config_store.h"
#include "sdk/user_interface.h"

#include <windows.h>

#include <vector>

namespace player {

enum class theme_choice { system, light, dark };

// Light or dark: what the user chose in the player, else what the system has for programs. The choice lies in
// the store. Main thread.
class theme : public user_interface {
public:
    using service_interface = user_interface;
    static constexpr const char* store_key = "player.theme"; // "light", "dark"; anything else: the system's

    explicit theme(service_ptr_t<config_store> store);
    ~theme();

    void get_look(service_ptr_t<user_interface_look>& out) override;
    bool is_dark() const noexcept override { return dark_; }

    theme_choice choice() const;
    void choose(theme_choice choice); // stored; windows hear of it before this returns
    // The system's setting may have changed (WM_SETTINGCHANGE).
    void refresh();

private:
    class look;

    service_ptr_t<config_store> store_;
    service_ptr_t<look> look_;
    bool dark_ = false;
};

} // namespace player
