#pragma once
// Runs WAV files through a DSP chain into WAV files.

#include "player/commands/command_line.h"
#include "player/host/player_host.h"
#include "player/wav/output_files.h"

#include <functional>

namespace player {

struct render_report {
    wav_format input;          // of the first file
    uint64_t input_frames = 0; // of all files, as they were played
    // The first is the named output. A chunk whose rate, channels or mask differ from the file's starts
    // another, NAME-2.wav and so on.
    std::vector<rendered_file> outputs;
    double latency_seconds = 0; // the chain's at the last processed chunk
    uint64_t tail_frames = 0;   // came out beyond what went in
    double seconds = 0;         // that the run took
    double speed = 0;           // seconds of sound in a second of run
    bool aborted = false;       // stopped by the token; the outputs hold what was done until then,
                                // none where the output was there before: that stays
};

// Called now and then with what is done, 0..1. On the calling thread.
using render_progress = std::function<void(double done)>;

// The host's services are available. What can be refused beforehand is refused before an output is made; a
// run that fails leaves none (but see wav_writer::name), and one whose effect does not take its state fails.
// Throws player_error.
render_report render(const render_options& options, player_host& host, abort_callback& abort,
                     const render_progress& progress);

} // namespace player
