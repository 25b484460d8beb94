// What is heard, into a file, by the engine without a window and without a device.

#include "player/playback/playback_engine.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "running_host.h"
#include "support/chunks.h"
#include "support/patched_import.h"

#include <doctest/doctest.h>

#include <optional>

using namespace player;

namespace {

constexpr uint32_t rate = 8000, frames = rate / 5;

struct capture_fixture : running_host {
    void write(const std::string& name, uint32_t file_rate) const
    {
        wav_writer writer(folder.path(name));
        writer.begin({sample_type::float32, file_rate, 1, 4});
        const auto chunk = chunk_of(0.5, frames, 1, 4, file_rate);
        writer.write(chunk.get_data(), frames);
        writer.finish();
    }
    void start()
    {
        engine = std::make_unique<playback_engine>(
            host.chain(), host.capture(), chain_runner::maker_t(),
            [this] { has_played = has_played || engine->status().state == play_state::playing; },
            playback_engine::options{folder.path("heard.wav"), true});
    }
    // To its end.
    void play(const std::string& name)
    {
        has_played = false;
        engine->open(std::make_unique<wav_reader>(folder.path(name)));
        engine->play();
        for (int i = 0; i < 3000 && !(has_played && engine->status().state != play_state::playing); ++i)
            Sleep(10);
        CHECK(engine->status().state == play_state::stopped);
    }
    std::string failure_at_the_end()
    {
        REQUIRE(engine->shut_down(std::chrono::seconds(30)));
        return engine->capture_failure();
    }
    uint64_t frames_in(const std::string& name) const { return wav_reader(folder.path(name)).frame_count(); }

    std::atomic<bool> has_played{false};
    std::unique_ptr<playback_engine> engine;
};

int large_writes_left;
std::optional<patched_import> write_file;

// Of the first one for which there is no room a half is still written, as real disks do it.
BOOL WINAPI write_to_full_disk(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED how)
{
    const bool has_room = size < 100 || large_writes_left-- > 0;
    SetLastError(1); // of an earlier call
    return write_file->original<decltype(&WriteFile)>()(file, bytes, has_room ? size : size / 2, written,
                                                        how);
}

} // namespace

TEST_CASE("capture: a file that is played before or after is not replaced when the format changes")
{
    for (const bool after : {false, true}) {
        CAPTURE(after);
        capture_fixture test;
        test.write("heard-2.wav", rate);
        test.write("first.wav", rate);
        test.write("other.wav", 2 * rate);
        const auto before = read_whole_file(test.folder.path("heard-2.wav"), 1 << 20);
        test.start();
        test.play(after ? "first.wav" : "heard-2.wav");
        test.play("other.wav");
        if (after)
            test.play("heard-2.wav");
        CHECK(test.failure_at_the_end() == "");
        CHECK(read_whole_file(test.folder.path("heard-2.wav"), 1 << 20) == before);
        CHECK(test.frames_in("heard.wav") == frames);
        const std::string second = after ? "heard-4.wav" : "heard-3.wav";
        CHECK(wav_reader(test.folder.path(second)).format().rate == 2 * rate);
        CHECK(test.frames_in(second) == frames);
    }
}

TEST_CASE("capture: what was heard before the disk was full is kept, and the music goes on")
{
    capture_fixture test;
    test.write("in.wav", rate);
    test.start();
    large_writes_left = 5;
    write_file.emplace("WriteFile", reinterpret_cast<void*>(&write_to_full_disk));
    test.play("in.wav");
    write_file.reset();
    CHECK(test.engine->status().capture_failed);
    CHECK(test.frames_in("heard.wav") == 5 * rate / 50);
    CHECK(test.folder.file_count() == 2);
    const std::string failure = test.failure_at_the_end();
    CAPTURE(failure);
    CHECK(failure.find("heard.wav: cannot be written: ") != std::string::npos);
    CHECK(failure.find("; free some space; ") != std::string::npos);
    CHECK(failure.ends_with("; what was heard before that is in " + test.folder.path("heard.wav")));
}

TEST_CASE("capture: what could not replace a file is told at once, or kept under another name")
{
    capture_fixture test;
    test.write("heard.wav", rate);
    const std::wstring name = win::to_utf16(test.folder.path("heard.wav"));
    SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY);
    CHECK_THROWS_WITH_AS(test.start(), doctest::Contains("heard.wav: is write-protected"), player_error);
    SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_NORMAL);
    {
        const wav_reader open_elsewhere(test.folder.path("heard.wav"));
        CHECK_THROWS_WITH_AS(test.start(), doctest::Contains("heard.wav: cannot be replaced"), player_error);
    }
    CHECK(test.folder.file_count() == 1);

    // What is there under the temporary name may be the sound of an earlier failure.
    test.folder.write("heard.wav." + std::to_string(GetCurrentProcessId()) + ".part", {1});
    test.write("in.wav", rate);
    test.start();
    test.play("in.wav");
    DeleteFileW(name.c_str());
    test.folder.make("heard.wav");
    const std::string failure = test.failure_at_the_end();
    const std::string kept = "heard.wav." + std::to_string(GetCurrentProcessId()) + "-2.part";
    CAPTURE(failure);
    CHECK(failure.find("heard.wav: cannot be replaced: ") != std::string::npos);
    CHECK(failure.find("the sound is in " + test.folder.path(kept)) != std::string::npos);
    CHECK(test.frames_in(kept) == frames);
}
