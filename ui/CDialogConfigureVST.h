#pragma once
// The configure run: an effect's own editor, shown by a worker program on top of one of our windows, and the
// state that the user makes in it.
//
// Run and worker share one temporary file, which holds the effect's state: written here before the worker
// starts, replaced by the worker after each edit, and looked at every 0.2 seconds as well as at the end. With
// the setting for live audio on, the worker also gets what the player's DSP of the same effect hears.

#include "catalogue/vstConfig.h"
#include "worker/thread.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

// Main thread only, construction and destruction included. At most one run at a time; one temporary file
// serves all runs of an object and goes with it. Never an object of static storage: its destructor joins.
class CDialogConfigureVST {
public:
    // Both are called on the main thread, may be empty, and may call everything here and destroy the object;
    // what they throw is dropped. They are copied before they are called.
    //
    // The effect with the state that was read back, when that is new. Called while a run goes on, and from
    // inside stop, Start and the destructor for the last state of the run that they end.
    std::function<void(const vstConfig_t&)> onStateChanged;
    // The editor was closed: the worker ended by itself. Not called for a run that was stopped or whose
    // worker could not be started.
    std::function<void()> onFinished;

    // Throws std::runtime_error when no file name can be made.
    CDialogConfigureVST();
    ~CDialogConfigureVST(); // stops
    CDialogConfigureVST(const CDialogConfigureVST&) = delete;
    CDialogConfigureVST& operator=(const CDialogConfigureVST&) = delete;

    // Ends the run before as stop does, then begins one; returns without waiting for the worker. `effect` is
    // copied first. Of a worker that cannot be started only the console tells: the run then stays "running"
    // until it is stopped. `parentWindow` (an HWND of this thread) owns the editor. A Start from inside
    // onStateChanged, which ending the old run may call, overrules this one. Throws Nv::bug_check when no
    // thread can be made.
    void Start(const vstConfig_t& effect, void* parentWindow);

    // Ends the run: the editor closes, its last state is read back and reported, the effect is forgotten.
    // Takes as long as the worker takes to save, 1 second at most and then it is ended by force. Messages
    // that other threads send to windows of this thread are answered meanwhile, posted ones are not
    // dispatched. Nothing happens when nothing runs.
    void stop() noexcept;

    // From Start until the editor was closed or the run stopped.
    bool isRunning() const noexcept { return running_; }

    const std::string& dataFile() const noexcept { return dataFile_; } // UTF-8

private:
    struct run_t;
    struct life_t;

    static void runEditor(const std::shared_ptr<run_t>& run, const vstConfig_t& effect);
    static void postReadBack(const std::shared_ptr<run_t>& run) noexcept;
    void writeState() noexcept;
    void readBack() noexcept;
    void endRun() noexcept;
    void editorClosed();

    const std::string dataFile_;
    const std::wstring nativeDataFile_;  // the same: it is deleted where nothing can be allocated any more
    const std::shared_ptr<life_t> life_; // tells what callbacks did to this object
    std::shared_ptr<run_t> run_;         // of the run begun last, empty after its end
    std::optional<vstConfig_t> effect_;  // with the state reported last
    bool running_ = false;
    Nv::thread thread_;
};
