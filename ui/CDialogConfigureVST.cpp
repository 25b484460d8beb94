#include "ui/CDialogConfigureVST.h"

#include "catalogue/settings.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp_config_manager.h"
#include "sdk/filesystem.h"
#include "sdk/host_api.h"
#include "sdk/main_thread.h"
#include "ui/listenerImpl.h"
#include "ui/openFile.h"
#include "ui/sentMessages.h"
#include "win/utf.h"
#include "worker/pipeName.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <atomic>

namespace {

constexpr double pollSeconds = 0.2;
constexpr double endSeconds = 1.0;
constexpr uint64_t stateLimit = 0x1000000; // bytes; a file of this size is ignored already

std::string makeDataFileName()
{
    wchar_t folder[512];
    const DWORD length = GetTempPathW(512, folder);
    if (length == 0 || length >= 512)
        throw exception_win32(length == 0 ? GetLastError() : ERROR_BUFFER_OVERFLOW);
    std::string path = win::to_utf8({folder, length});
    if (path.back() != '/' && path.back() != '\\')
        path += '\\';
    return path + Nv::makeGuidText();
}

// Empty when the file is too large to be a state. The worker may replace it meanwhile: what was opened then
// still reads as it was.
std::optional<std::vector<uint8_t>> readState(const std::string& path)
{
    const auto source = openFile(path, filesystem::open_mode::read);
    const uint64_t size = source->get_size(abort_callback_never());
    if (size == file::size_unknown)
        throw exception_io();
    if (size >= stateLimit)
        return std::nullopt;
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (source->read(bytes.data(), bytes.size(), abort_callback_never()) != bytes.size())
        throw exception_io_data_truncation(); // cut short while it was read
    return bytes;
}

// Keeps the player's DSP instances, which feed the editor, while playback is paused. A player may do without.
service_ptr_t<service_base> holdInstances()
{
    service_ptr_t<service_base> hold;
    try {
        const auto manager = service_get_unique<dsp_config_manager>();
        if (const auto second = service_query_as<dsp_config_manager_v2>(*manager))
            second->hold_instances(hold);
    } catch (...) {
    }
    return hold;
}

// The conversation after the launch; returns when the worker has ended by itself, with its pipe still open.
void untilEditorCloses(Nv::winPipeServerLite& pipe, bool live, const std::string& path,
                       const std::function<void()>& poll)
{
    // In this order: the feed's thread is joined first, then the listener leaves, then the caller closes the
    // pipe.
    std::optional<listenerImpl> listener;
    Nv::thread feed("VST live feed", Nv::thread::ownAborter | Nv::thread::abortOnDestruct);
    if (live) {
        listener.emplace(path);
        feed.start([&listener, &pipe] { feedLive(listener->queue, pipe, nullptr); },
                   GetThreadPriority(GetCurrentThread()));
    }
    while (!pipe.worker->waitForExitSeconds(pollSeconds))
        poll();
}

} // namespace

// What a run's thread and the callbacks that it posts have in common; outlives the run and the object.
struct CDialogConfigureVST::run_t {
    run_t(CDialogConfigureVST& owning, std::string file, void* window)
        : owner(owning)
        , dataFile(std::move(file))
        , parentWindow(reinterpret_cast<uintptr_t>(window))
        , threadEnded(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        if (!threadEnded)
            throw Nv::bug_check();
    }

    CDialogConfigureVST& owner; // main thread only, while not `aborted`
    const std::string dataFile;
    const uintptr_t parentWindow;
    const win::kernel_handle threadEnded;
    std::atomic<bool> aborted{false};
    std::atomic<bool> readBackPosted{false}; // at most one waits: the main thread may be busy for long
};

struct CDialogConfigureVST::life_t {
    bool destroyed = false;
    unsigned starts = 0;

    friend bool operator==(const life_t&, const life_t&) = default;
};

CDialogConfigureVST::CDialogConfigureVST()
    : dataFile_(makeDataFileName())
    , nativeDataFile_(win::to_utf16(dataFile_))
    , life_(std::make_shared<life_t>())
    , thread_("VST configure run", Nv::thread::ownAborter)
{
}

CDialogConfigureVST::~CDialogConfigureVST()
{
    life_->destroyed = true;
    stop();
    DeleteFileW(nativeDataFile_.c_str());
}

void CDialogConfigureVST::Start(const vstConfig_t& effect, void* parentWindow)
{
    vstConfig_t copy = effect; // the old run's last callback may change or free what was given
    const auto life = life_;
    const life_t before = *life;
    stop();
    if (life->destroyed || !(*life == before))
        return;
    ++life_->starts;
    effect_ = std::move(copy);
    writeState();
    try {
        run_ = std::make_shared<run_t>(*this, dataFile_, parentWindow);
        // Goes with the thread's function: one that is stopped before it has begun never calls that.
        std::shared_ptr<void> end(nullptr, [run = run_](void*) { SetEvent(run->threadEnded.get()); });
        thread_.start([run = run_, effect = *effect_, end = std::move(end)] { runEditor(run, effect); },
                      GetThreadPriority(GetCurrentThread()));
    } catch (...) {
        run_.reset();
        effect_.reset();
        throw;
    }
    running_ = true;
}

void CDialogConfigureVST::stop() noexcept
{
    endRun();
    if (effect_) {
        const auto life = life_;
        const life_t before = *life;
        readBack();
        if (!(*life == before))
            return;
        effect_.reset();
    }
    running_ = false;
}

void CDialogConfigureVST::endRun() noexcept
{
    const auto run = std::exchange(run_, nullptr);
    if (!run)
        return;
    run->aborted = true;
    thread_.abort();
    waitAnsweringSentMessages(run->threadEnded.get());
    thread_.join();
}

// On the run's thread. Nothing here waits for the main thread, which may be joining this one.
void CDialogConfigureVST::runEditor(const std::shared_ptr<run_t>& run, const vstConfig_t& effect)
{
    const auto hold = holdInstances();
    bool closed = false;
    bool started = false;
    Nv::winPipeServerLite pipe;
    try {
        Nv::throwIfAborted(); // who walks through a list of effects stops runs that have not begun
        const bool live = cfg_feed_live.get();
        Nv::startWorker(pipe, effect, live ? Nv::modeConfigureLive : Nv::modeConfigure,
                        Nv::configureOptions(cfg_dpi_aware.get(), run->dataFile, run->parentWindow));
        started = true;
        untilEditorCloses(pipe, live, effect.path, [&run] { postReadBack(run); });
        closed = true;
    } catch (const std::exception& failure) {
        // What a worker has to say comes on the console by itself; without one nobody else tells.
        if (!started && !run->aborted)
            Nv::tellFailedStart("VST: no configuration window: ", effect, failure);
    } catch (...) {
    }
    Nv::stopWorker(pipe, endSeconds);
    if (!closed || run->aborted)
        return;
    post_to_main_thread([run] {
        if (!run->aborted)
            run->owner.editorClosed();
    });
}

void CDialogConfigureVST::postReadBack(const std::shared_ptr<run_t>& run) noexcept
{
    if (run->readBackPosted.exchange(true))
        return;
    try {
        post_to_main_thread([run] {
            if (!run->aborted && run->owner.running_)
                run->owner.readBack();
            run->readBackPosted = false;
        });
    } catch (...) {
        run->readBackPosted = false;
    }
}

void CDialogConfigureVST::editorClosed()
{
    const auto life = life_;
    const life_t before = *life;
    running_ = false;
    readBack();
    if (!(*life == before))
        return;
    if (const auto finished = onFinished)
        finished();
}

// Not fatal: the editor then opens with the effect's own beginnings. It must not find another effect's state.
void CDialogConfigureVST::writeState() noexcept
{
    try {
        const auto target = openFile(dataFile_, filesystem::open_mode::write);
        if (!effect_->state.empty())
            target->write(effect_->state.data(), effect_->state.size(), abort_callback_never());
    } catch (...) {
        DeleteFileW(nativeDataFile_.c_str());
    }
}

// The object may be gone afterwards.
void CDialogConfigureVST::readBack() noexcept
{
    if (!effect_)
        return;
    try {
        auto bytes = readState(dataFile_);
        if (!bytes || *bytes == effect_->state)
            return;
        effect_->state = std::move(*bytes);
        if (const auto report = onStateChanged)
            report(vstConfig_t(*effect_));
    } catch (...) {
        // Not there, or just being replaced: looked at again next time.
    }
}
