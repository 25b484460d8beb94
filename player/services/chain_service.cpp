#include "player/services/chain_service.h"

#include "sdk/host_api.h"

namespace player {

namespace {

class hold : public service_base {
public:
    using service_interface = service_base;
    explicit hold(std::shared_ptr<std::atomic<int>> count)
        : count_(std::move(count))
    {
        ++*count_;
    }
    ~hold() { --*count_; }
    hold(const hold&) = delete;
    hold& operator=(const hold&) = delete;

private:
    std::shared_ptr<std::atomic<int>> count_;
};

} // namespace

void chain_service::get_chain(dsp_chain_config& out)
{
    core_api::ensure_main_thread();
    while (out.get_count() != 0)
        out.remove_item(out.get_count() - 1);
    for (const auto& slot : *chain_.get())
        out.insert_item(slot->preset, out.get_count());
}

void chain_service::set_chain(const dsp_chain_config& chain)
{
    core_api::ensure_main_thread();
    chain_.set_all(chain);
}

void chain_service::hold_instances(service_ptr_t<service_base>& out)
{
    out = service_new<hold>(chain_.holders());
}

} // namespace player
