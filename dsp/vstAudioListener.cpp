#include "dsp/vstAudioListener.h"

#include "win/srw_lock.h"

#include <functional>
#include <set>

namespace {

struct listener_set {
    win::srw_lock lock;
    std::set<vstAudioListener*, std::less<>> listeners;
};

listener_set& all_listeners()
{
    static listener_set listeners;
    return listeners;
}

} // namespace

vstAudioListener::registration::registration(vstAudioListener& listener)
    : listener_(listener)
{
    listener_set& all = all_listeners();
    const win::exclusive_lock lock(all.lock);
    all.listeners.insert(&listener_);
}

vstAudioListener::registration::~registration()
{
    listener_set& all = all_listeners();
    const win::exclusive_lock lock(all.lock);
    all.listeners.erase(&listener_);
}

bool feedAudioListener(const std::string& path, const audio_chunk& chunk, uint64_t serial) noexcept
{
    listener_set& all = all_listeners();
    const win::shared_lock lock(all.lock);
    for (vstAudioListener* const listener : all.listeners) {
        if (listener->path() == path) {
            listener->onAudio(chunk, serial);
            return true;
        }
    }
    return false;
}
