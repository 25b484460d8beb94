// Random conversations on the pipe, at either end of it, and random names on the command line between them.

#include "catalogue/settings.h"
#include "dsp/dsp_vst.h"
#include "fuzz/pipe_fuzzing.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/exceptions.h"
#include "support/chunks.h"
#include "support/presets.h"
#include "support/system_counts.h"
#include "support/test_host.h"
#include "support/thread_worker.h"
#include "vsthost/command_line.h"
#include "vsthost/exit_codes.h"
#include "vsthost/worker_driver.h"
#include "win/utf.h"
#include "worker/commandLine.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

#include <shellapi.h>

#include <atomic>
#include <cstring>
#include <thread>

namespace {

constexpr size_t mebibyte = 1 << 20;

// A worker that answers what it likes. What it does not answer in full it ends with: a worker that is silent
// for ever is another test's.
void answer_garbage(thread_worker::ends& player, dice& random)
{
    Nv::streamFormat agreed{};
    std::vector<uint8_t> answer;
    const auto begin = [&](const void* first, size_t size, size_t more) {
        answer.assign(size + more, 0x3F);
        if (size != 0)
            std::memcpy(answer.data(), first, size);
        if (random.one_in(12) && !answer.empty())
            random.fill(&answer[random.below(static_cast<uint32_t>(answer.size()))], 1);
    };
    const auto send = [&] {
        const bool whole = !random.one_in(20);
        const size_t size = whole ? answer.size() : random.below(static_cast<uint32_t>(answer.size()) + 1);
        return player.write(answer.data(), size) && whole && !random.one_in(40);
    };
    Nv::commandHeader header;
    while (player.read(&header, sizeof header)) {
        std::vector<uint8_t> payload(header.byteCount);
        if (!player.read(payload.data(), payload.size()))
            return;
        if (random.one_in(20)) { // seldom: it is read a byte at a time
            char noise[100];
            random.fill(noise, sizeof noise);
            DWORD put = 0;
            WriteFile(player.error.get(), noise, random.below(sizeof noise) + 1, &put, nullptr);
        }
        if (header.code == Nv::cmdSetFormat) {
            std::memcpy(&agreed, payload.data(), sizeof agreed);
            for (uint32_t* word : {&agreed.sampleRate, &agreed.inChannels, &agreed.inChannelMask,
                                   &agreed.outChannels, &agreed.outChannelMask})
                if (random.one_in(8))
                    *word = random.one_in(2) ? random.below(9) : random.number();
            begin(&agreed, sizeof agreed, 0);
            std::memcpy(&agreed, answer.data(), sizeof agreed); // as the player sees it
            if (!send())
                return;
        } else if (header.code == Nv::cmdProcess) {
            const size_t frames = payload.size() / (size_t{8} * std::max(agreed.inChannels, 1u));
            const bool latency = !random.one_in(9);
            begin(nullptr, 0, frames * std::min<size_t>(agreed.outChannels, 256) * 8 + (latency ? 4 : 0));
            if (!send() || !latency)
                return;
        } else if (header.code == Nv::cmdDrainTail) {
            uint32_t size = random.one_in(3) ? random.number() : random.below(5000) * 8;
            begin(&size, sizeof size, std::min(size, random.one_in(4) ? random.below(20000) : 100000));
            std::memcpy(&size, answer.data(), sizeof size);
            if (!send() || answer.size() - sizeof size < size)
                return;
        }
    }
}

void check_chunks(dsp_chunk_list_impl& list)
{
    for (size_t i = 0; i < list.get_count(); ++i) {
        const audio_chunk& chunk = *list.get_item(i);
        const size_t samples = size_t{chunk.get_sample_count()} * chunk.get_channel_count();
        REQUIRE(samples == chunk.get_used_size());
        [[maybe_unused]] volatile double read = 0; // all of it can be
        for (size_t each = 0; each < samples; ++each)
            read = chunk.get_data()[each];
    }
}

// One instance of the DSP with all that a player may do to it.
void play_instance(dice& random, abort_callback_impl& token)
{
    vstConfig_t effect{"C:\\e.vst3", "E", "x64", 3};
    effect.state.resize(random.below(3000));
    effect.outputChannelMask = random.one_in(4) ? random.number() : 0;
    const dsp_preset_impl preset = preset_of(effect);
    const auto dsp = service_new<dsp_vst>(preset, random.below(2));
    audio format;
    for (uint32_t step = random.below(12) + 1; step != 0; --step) {
        if (random.one_in(6)) {
            format.channels = random.below(9) + 1;
            format.rate = random.one_in(2) ? 48000 : 96000;
            format.mask = random.one_in(2) ? (1u << format.channels) - 1 : 0;
        }
        dsp_chunk_list_impl list;
        if (!random.one_in(5)) {
            format.frames = random.below(2000) + 1;
            fill_chunk(*list.add_item(), format);
        }
        if (random.one_in(8))
            dsp->flush();
        if (random.one_in(8))
            dsp->apply_preset(preset);
        try {
            dsp->run_abortable(list, nullptr, list.get_count() == 0 ? dsp_flag_end_of_playback : 0, token);
            check_chunks(list);
        } catch (const std::exception& failure) {
            CHECK(std::strlen(failure.what()) > 0);
        }
    }
}

// What the player would send: the payloads are right, the conversation need not be.
std::vector<uint8_t> any_command(dice& random, const std::vector<uint8_t>& state)
{
    std::vector<uint8_t> payload;
    const uint32_t code = random.below(5) + 1;
    if (code == Nv::cmdSetState) {
        payload = state;
        for (uint32_t changes = random.below(4); changes != 0 && !payload.empty(); --changes)
            random.fill(&payload[random.below(static_cast<uint32_t>(payload.size()))], 1);
        if (random.one_in(4))
            payload.resize(random.below(static_cast<uint32_t>(payload.size()) + 1));
    } else if (code == Nv::cmdSetFormat) {
        Nv::streamFormat format{44100, 2, 3, 2, 3};
        for (uint32_t* word : {&format.sampleRate, &format.inChannels, &format.inChannelMask,
                               &format.outChannels, &format.outChannelMask})
            if (random.one_in(6))
                *word = random.one_in(2) ? random.below(9) : random.number();
        payload.resize(sizeof format);
        std::memcpy(payload.data(), &format, sizeof format);
    } else if (code == Nv::cmdProcess) {
        payload.resize(size_t{random.below(2000)} * 16);
        if (random.one_in(3))
            random.fill(payload.data(), payload.size());
    }
    const Nv::commandHeader header{code, static_cast<uint32_t>(payload.size())};
    std::vector<uint8_t> bytes(sizeof header);
    std::memcpy(bytes.data(), &header, sizeof header);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    if (random.one_in(25))
        random.fill(&bytes[random.below(8)], 1);
    if (random.one_in(40))
        random.fill(bytes.data(), random.below(static_cast<uint32_t>(bytes.size())));
    if (random.one_in(40))
        bytes.resize(random.below(static_cast<uint32_t>(bytes.size())));
    return bytes;
}

// What comes back is read by a thread of its own until the pipe breaks: a worker that nobody listens to
// waits.
class listener {
public:
    explicit listener(HANDLE pipe)
        : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
        , thread_([this, pipe] { listen(pipe); })
    {
    }
    ~listener()
    {
        stop_ = true;
        thread_.join();
    }

private:
    void listen(HANDLE pipe)
    {
        std::vector<char> buffer(1 << 16);
        while (!stop_) {
            OVERLAPPED operation{};
            operation.hEvent = event_.get();
            DWORD count = 0;
            if (!ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, &operation) &&
                GetLastError() != ERROR_IO_PENDING)
                return;
            while (WaitForSingleObject(event_.get(), 20) == WAIT_TIMEOUT && !stop_) {
            }
            if (stop_)
                CancelIoEx(pipe, &operation);
            if (!GetOverlappedResult(pipe, &operation, &count, TRUE))
                return;
        }
    }

    std::atomic<bool> stop_{false};
    win::kernel_handle event_;
    std::thread thread_;
};

// Also what was never touched. The process must not be about to end: some systems then wait for ever.
size_t committed_bytes(HANDLE process)
{
    size_t total = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (char* at = nullptr; VirtualQueryEx(process, at, &region, sizeof region) == sizeof region;
         at = static_cast<char*>(region.BaseAddress) + region.RegionSize)
        total += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
    return total;
}

std::atomic<size_t> most_of_a_worker{0};

// A conversation with a real worker: it goes on, or ends with one of its codes, and never holds more memory
// than 96 MiB and ten times what it was sent. Empty, or what is wrong: only the thread that runs the case
// checks.
std::string talk_to_worker(dice& random)
{
    using namespace worker_driver;
    const std::string& arch = arches()[random.below(static_cast<uint32_t>(arches().size()))];
    launch how{arch, effect_path(arch, random.one_in(2) ? "qvxEcho.vst3" : "qvxGain.vst3"), 3};
    std::vector<uint8_t> state = read_file(dist() + "\\effects\\states\\gain-unity.vstpreset");
    if (random.one_in(2)) {
        how.vst = effect_path(arch, random.one_in(2) ? "qvxEcho.dll" : "qvxGain.dll");
        how.vst_version = 2;
        state = read_file(dist() + "\\effects\\states\\gain-unity.fxp");
    }
    how.float64 = random.one_in(2);
    const bool edits = random.one_in(8);
    if (edits)
        how.editor_mode = "configure-live";
    worker with(how);
    size_t sent = 0;
    std::string wrong;
    {
        std::unique_ptr<listener> reader;
        if (!edits)
            reader = std::make_unique<listener>(with.pipe_handle());
        try {
            for (uint32_t left = random.below(60) + 1; left != 0; --left) {
                const std::vector<uint8_t> bytes = any_command(random, state);
                with.write(bytes.data(), bytes.size());
                sent += bytes.size();
            }
        } catch (const driver_error& error) {
            if (error.what() != std::string("the pipe broke")) // it had enough
                wrong = error.what();
        }
        const size_t held = private_bytes_of(with.process_handle());
        most_of_a_worker = std::max(most_of_a_worker.load(), held);
        if (held > 96 * mebibyte + 10 * sent)
            wrong = std::to_string(held) + " bytes held for " + std::to_string(sent);
    }
    with.break_pipe();
    const uint32_t code = with.wait(20000);
    if (code != static_cast<uint32_t>(vsthost::exit_code::ok) &&
        (code != static_cast<uint32_t>(vsthost::exit_code::protocol) || edits))
        wrong += " ended with " + std::to_string(code) + ": " + with.errors();
    return wrong;
}

std::vector<std::string> as_the_worker_sees(const std::string& line)
{
    std::vector<std::string> words;
    int count = 0;
    wchar_t** const found = CommandLineToArgvW(win::to_utf16(line).c_str(), &count);
    for (int i = 1; i < count; ++i)
        words.push_back(win::to_utf8(found[i]));
    LocalFree(found);
    return words;
}

} // namespace

TEST_CASE("fuzz: both ends of the pipe")
{
    // Real workers are waited for most of the time.
    rounds real;
    std::vector<std::string> wrong;
    std::thread workers([&] {
        while (real.more()) {
            const uint64_t round = real.next();
            dice random(round);
            std::string found;
            try {
                found = talk_to_worker(random);
            } catch (const worker_driver::driver_error& error) {
                found = error.what();
            }
            if (!found.empty())
                wrong.push_back("round " + std::to_string(round) + ": " + found);
        }
    });

    test_host player;
    cfg_process_tail.set(true);
    Nv::setComponentPath(thread_worker::folder() + "component.dll");
    rounds instances;
    std::atomic<uint64_t> answers{0};
    const thread_worker worker([&answers](thread_worker::ends& ends) {
        dice random(++answers);
        answer_garbage(ends, random);
    });
    const size_t before = private_bytes_of(GetCurrentProcess());
    REQUIRE(before != 0);
    size_t most = before;
    while (instances.more()) {
        const uint64_t round = instances.next();
        CAPTURE(round);
        dice random(round);
        answers = round << 8;
        abort_callback_impl token;
        play_instance(random, token);
        most = std::max(most, private_bytes_of(GetCurrentProcess()));
        REQUIRE(player.wait_until_detached_done());
        player.clear_console();
    }
    workers.join();
    for (const std::string& each : wrong)
        FAIL_CHECK(each);
    MESSAGE("instances: ", instances.played(), ", conversations with workers: ", real.played(),
            "; KiB more here: ", (most - before) / 1024, ", a worker's: ", most_of_a_worker / 1024);
    CHECK(instances.played() > 3);
    CHECK(real.played() > 1);
    CHECK(most - before < 128 * mebibyte);
}

TEST_CASE("fuzz: a worker takes no memory for what is only announced")
{
    constexpr uint32_t announced = 256 * mebibyte; // the most that it takes
    for (const std::string& arch : worker_driver::arches())
        for (const uint32_t code : {Nv::cmdSetState, Nv::cmdProcess}) {
            CAPTURE(arch);
            CAPTURE(code);
            worker_driver::worker with({arch, worker_driver::effect_path(arch, "qvxGain.vst3"), 3});
            REQUIRE(with.set_format({44100, 2, 3, 2, 3}).outChannels == 2);
            const size_t before = committed_bytes(with.process_handle());
            CHECK(before > 0);
            const Nv::commandHeader header{code, announced};
            with.write(&header, sizeof header);
            // More than pipe and buffer hold: when this is through, the buffer has grown.
            const std::vector<uint8_t> some(4 * mebibyte);
            with.write(some.data(), some.size());
            CHECK(committed_bytes(with.process_handle()) - before <
                  4 * some.size()); // it has doubled, and was copied
        }
}

TEST_CASE("fuzz: no path brings options of its own onto a worker's command line")
{
    const char* const pieces[] = {
        "\"",      "\\",     " ",      "\t",        "C:\\e.dll", "--vst", "--vst-version",
        "3",       "--data", "--pipe", "--process", "realtime",  "x",     "--window-title",
        "--state", "\\\\\"", "\" ",    " \""};
    const std::string pipe = "\\\\.\\pipe\\0123456789abcdef0123456789abcdef";
    int understood = 0;
    for (uint64_t round = 0; round < (test_options::long_run() ? 1'000'000 : 20'000); ++round) {
        dice random(round);
        // The first one makes a title of all that the component puts behind it.
        std::string path =
            "C:\\e" + std::string(round != 0 ? "" : " f\" --vst-version 3 --data C:\\d --window-title x");
        for (uint32_t left = round == 0 ? 0 : random.below(8); left != 0; --left)
            path += pieces[random.below(std::size(pieces))];
        const bool shows = round != 0 && random.one_in(2);
        const std::string data = random.one_in(2) ? "C:\\T\\00ff" : "C:\\My Temp\\00ff";
        const auto options =
            shows ? Nv::visualizationOptions(false, 0x1A) : Nv::configureOptions(true, data, 0x1A);
        const std::string line = Nv::joinCommandLine(Nv::workerArguments(
            "C:\\a b\\w.exe", shows ? "configure-live" : "configure", path, 3, options, pipe));
        const auto parsed = vsthost::parse_command_line(as_the_worker_sees(line), win::to_utf16(line));
        const auto* const found = std::get_if<vsthost::options>(&parsed);
        if (!found)
            continue;
        ++understood;
        CAPTURE(path);
        CHECK(found->vst_path.find('"') == std::string::npos);
        CHECK(found->pipe_name == pipe);
        CHECK(found->data_path == (shows ? "" : data));
        CHECK(found->state_path.empty());
        CHECK(found->parent_window == 0x1A);
    }
    CHECK(understood > 100);
}
