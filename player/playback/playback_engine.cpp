#include "player/playback/playback_engine.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "sdk/exceptions.h"

#include <process.h>

#include <algorithm>

namespace player {

namespace {

constexpr std::chrono::milliseconds unusually_long{700}; // for a chunk

unsigned __stdcall run_function(void* function)
{
    (*static_cast<std::function<void()>*>(function))();
    return 0;
}

} // namespace

playback_engine::playback_engine(const live_chain& chain, stream_capture& capture, chain_runner::maker_t make,
                                 std::function<void()> notify, const options& given)
    : chain_(chain)
    , capture_(capture)
    , notify_(std::move(notify))
    , options_(given)
    , ordered_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    , runner_(chain, std::move(make))
{
    if (!ordered_)
        throw exception_win32(GetLastError());
    if (!options_.capture_file.empty())
        capture_files_ = std::make_unique<output_files>(options_.capture_file, std::vector<std::string>(),
                                                        sample_type::float32);
    work_ = [this] { work(); };
    thread_.reset(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &run_function, &work_, 0, nullptr)));
    if (!thread_)
        throw exception_win32(ERROR_NOT_ENOUGH_MEMORY);
    SetThreadPriority(thread_.get(), THREAD_PRIORITY_HIGHEST);
}

playback_engine::~playback_engine()
{
    shut_down(std::chrono::milliseconds(INFINITE - 1));
}

void playback_engine::give(const std::function<void(orders&)>& change, bool break_off)
{
    const std::lock_guard lock(mutex_);
    change(orders_);
    if (break_off)
        token_.abort();
    SetEvent(ordered_.get());
}

void playback_engine::open(std::unique_ptr<wav_reader> file)
{
    if (file && !options_.capture_file.empty() && !status().capture_failed &&
        is_same_file(options_.capture_file, file->path()))
        throw player_error(file->path() +
                           ": takes what is heard when the window is closed; open another file");
    give(
        [&](orders& next) {
            next.file = std::move(file);
            next.state = play_state::stopped;
            next.seek = 0;
        },
        true);
}

void playback_engine::play()
{
    give([](orders& next) { next.state = play_state::playing; }, false);
}

void playback_engine::pause()
{
    give([](orders& next) { next.state = play_state::paused; }, false);
}

void playback_engine::stop()
{
    give(
        [](orders& next) {
            next.state = play_state::stopped;
            next.seek = 0;
        },
        true);
}

void playback_engine::seek(double seconds)
{
    give([=](orders& next) { next.seek = seconds; }, false);
}

play_status playback_engine::status() const
{
    const std::lock_guard lock(mutex_);
    play_status now = status_;
    now.starting = runner_.starting();
    now.waiting = runner_.running_longer_than(unusually_long);
    return now;
}

void playback_engine::give_up_unwanted()
{
    const uint64_t slot = runner_.running_longer_than(unusually_long);
    if (slot == 0)
        return;
    const auto slots = chain_.get();
    const chain_slot* wanted = find_slot(*slots, slot);
    if (!wanted || !wanted->enabled)
        give([](orders&) {}, true);
}

std::array<float, playback_engine::most_meters> playback_engine::take_peaks() noexcept
{
    std::array<float, most_meters> taken;
    for (size_t i = 0; i < most_meters; ++i)
        taken[i] = peaks_[i].exchange(0);
    return taken;
}

bool playback_engine::shut_down(std::chrono::milliseconds limit) noexcept
{
    if (!thread_)
        return true;
    {
        const std::lock_guard lock(mutex_);
        orders_.quit = true;
        token_.abort();
        SetEvent(ordered_.get());
    }
    if (WaitForSingleObject(thread_.get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0)
        return false;
    thread_.reset();
    return true;
}

} // namespace player
