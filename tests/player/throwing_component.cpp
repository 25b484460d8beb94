// A component whose DSP throws what its preset asks for: byte 0 is an index into the exceptions below, byte 1
// 'c' throws while the DSP is made, 'r' while it runs, 'p' makes the player throw inside a call of the DSP's
// and says in its latency what it caught.

#include "sdk/component_client.h"
#include "sdk/dsp_entry_impl.h"
#include "sdk/dsp_impl_base.h"
#include "sdk/filesystem.h"
#include "sdk/initquit.h"

#include <new>

namespace {

constexpr guid_t owner = {0x3f8d1c55, 0x8e5f, 0x4c37, {0x9a, 0x11, 0x60, 0x52, 0xbd, 0x0e, 0x77, 0x31}};

void throw_number(unsigned number)
{
    switch (number) {
    case 0:
        throw exception_aborted();
    case 1:
        throw exception_io();
    case 2:
        throw exception_io_not_found();
    case 3:
        throw exception_io_denied();
    case 4:
        throw exception_io_data();
    case 5:
        throw exception_io_data_truncation();
    case 6:
        throw exception_overflow();
    case 7:
        throw exception_win32(5);
    case 8:
        throw exception_host_bug_check("forced cast failure");
    case 9:
        throw std::runtime_error("VST error");
    case 10:
        throw std::bad_alloc();
    default:
        break;
    }
}

class throwing_dsp : public dsp_impl_base_t<dsp_v3> {
public:
    using service_interface = dsp_v3;
    throwing_dsp(const dsp_preset& preset, uint32_t)
    {
        const auto* bytes = static_cast<const uint8_t*>(preset.get_data());
        number_ = bytes[0];
        where_ = static_cast<char>(bytes[1]);
        if (where_ == 'c')
            throw_number(number_);
    }
    void flush() override {}
    double get_latency() const override { return latency_; }
    bool need_track_change_mark() const override { return false; }
    bool apply_preset(const dsp_preset&) override { return false; }

    static void g_get_name(string_out& out) { set_text(out, "throwing"); }
    static bool g_get_default_preset(dsp_preset&) { return false; }
    static guid_t g_get_guid() noexcept { return owner; }
    static void g_get_display_name(const dsp_preset&, string_out&) {}
    static bool g_show_config_popup(dsp_preset&, void*) { return false; }
    static void g_show_config_popup_v2(const dsp_preset&, void*, dsp_preset_edit_callback&) {}
    static void g_show_config_popup_v3(service_ptr_t<service_base>&, void*, dsp_preset_edit_callback_v2&) {}

protected:
    void on_end_of_track(abort_callback&) override {}
    void on_end_of_playback(abort_callback& abort) override
    {
        if (where_ == 'r')
            throw_number(number_);
        try {
            service_ptr_t<file> none;
            filesystem_for_path("C:\\")->open(none, "C:\\there\\is\\nothing", filesystem::open_mode::read,
                                              abort);
        } catch (const exception_io_not_found&) {
            latency_ = 1;
        } catch (const std::exception&) {
            latency_ = 2;
        }
    }
    bool on_chunk(audio_chunk&, abort_callback&) override { return true; }

private:
    unsigned number_ = 0;
    char where_ = 0;
    double latency_ = 0;
};

class quiet_actions : public initquit {
public:
    using service_class = initquit;
    using service_interface = initquit;
    void on_init() override {}
    void on_quit() override {}
};

service_factory_single_t<quiet_actions> first;
service_factory_singleton_t<dsp_entry_v4_impl_t<throwing_dsp>> second;
service_factory_t<quiet_actions> third;

class client final : public component_client {
public:
    uint32_t get_version() const noexcept override { return current_version; }
    service_factory_base* get_service_list() const noexcept override
    {
        return service_factory_base::get_list();
    }
    void write_config(stream_writer&, abort_callback&) override {}
    void read_config(stream_reader&, size_t, abort_callback&) override {}
    void set_library_path(const char*, const char*) override {}
    void services_init(bool) override {}
    bool is_debug() const noexcept override { return false; }
};
client the_client;

} // namespace

extern "C" __declspec(dllexport) component_client* quavix_get_interface(host_api* host)
{
    core_api::set_host(host);
    return &the_client;
}
