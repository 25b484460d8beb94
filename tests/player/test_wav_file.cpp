#include "player/wav/wav_file.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "support/temp_folder.h"

#include <doctest/doctest.h>

#include <filesystem>

using namespace player;

namespace {

using bytes = std::vector<uint8_t>;

bytes operator+(bytes a, const bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bytes word(uint32_t value)
{
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
            static_cast<uint8_t>(value >> 24)};
}

bytes text(const char* four)
{
    return bytes(four, four + 4);
}

bytes chunk(const char* id, const bytes& content)
{
    return text(id) + word(static_cast<uint32_t>(content.size())) + content +
           (content.size() & 1 ? bytes{0} : bytes{});
}

bytes riff(const bytes& chunks)
{
    return text("RIFF") + word(static_cast<uint32_t>(chunks.size() + 4)) + text("WAVE") + chunks;
}

const bytes fmt16 = chunk("fmt ", write_fmt({sample_type::int16, 44100, 2, 3}));

} // namespace

TEST_CASE("wav file: damaged and foreign files are refused by name, with what to do")
{
    const temp_folder folder;
    const bytes audio(400, 1);
    const bytes whole = riff(fmt16 + chunk("data", audio));
    const std::pair<const char*, bytes> rows[] = {
        {"not a WAV file", {}},
        {"not a WAV file", text("RIFF")},
        {"of a form that is not supported", text("RIFX") + bytes(whole.begin() + 4, whole.end())},
        {"of a form that is not supported",
         text("RF64") + word(0xFFFFFFFF) + bytes(whole.begin() + 8, whole.end())},
        {"not a WAV file", text("RIFF") + word(4) + text("AVI ") + chunk("data", audio)},
        {"not a WAV file", bytes(5000, 0x5A)},
        {"truncated (it ends before its audio)", riff({})},
        {"truncated (it ends before its audio)", riff(fmt16)},
        {"format chunk too short", bytes(whole.begin(), whole.begin() + 30)},
        {"399 of 400 bytes", bytes(whole.begin(), whole.end() - 1)},
        {"0 of 400 bytes", bytes(whole.begin(), whole.end() - 400)},
        {"400 of 4294967295 bytes", riff(fmt16 + text("data") + word(0xFFFFFFFF) + audio)},
        {"audio before its format", riff(chunk("data", audio) + fmt16)},
        // A size that leads back to the start when it is taken as a signed number.
        {"truncated (it ends before its audio)",
         riff(fmt16 + text("junk") + word(0xFFFFFFE0) + chunk("data", audio))},
        {"truncated (it ends before its audio)", riff(fmt16 + chunk("dat2", audio))},
        {"no channels", riff(chunk("fmt ", bytes{1, 0, 0, 0} + word(44100) + word(0) + bytes{0, 0, 16, 0}) +
                             chunk("data", audio))},
    };
    for (const auto& [reason, content] : rows) {
        folder.write("in.wav", content);
        CHECK_THROWS_WITH_AS(wav_reader(folder.path("in.wav")), doctest::Contains(reason), player_error);
    }
    // Beyond 2 GiB; only its length is on the disk.
    folder.write("big.wav", whole);
    std::filesystem::resize_file(win::to_utf16(folder.path("big.wav")), 0x80000000);
    CHECK_THROWS_WITH_AS(wav_reader(folder.path("big.wav")), doctest::Contains("larger than 2 GiB"),
                         player_error);
    CHECK_THROWS_WITH_AS(wav_reader(folder.path("no.wav")), doctest::Contains("no.wav: cannot be opened"),
                         player_error);
    CHECK_THROWS_WITH_AS(wav_reader(folder.path()), doctest::Contains("is a folder"), player_error);
}

TEST_CASE("wav file: harmless oddities are read")
{
    const temp_folder folder;
    const bytes audio = {1, 2, 3, 4, 5, 6, 7, 8};
    const bytes data = chunk("data", audio);
    bytes wrong_outer = riff(fmt16 + data);
    wrong_outer[4] = 0xFF; // the outer size claims more than there is
    const std::pair<bytes, uint64_t> rows[] = {
        {riff(chunk("LIST", text("INFO") + bytes(7, 1)) + fmt16 + chunk("odd ", {1, 2, 3}) + data +
              chunk("id3 ", {1})),
         2},
        {riff(fmt16 + data) + bytes(100, 0xAA), 2},         // rubbish behind the end
        {riff(fmt16 + chunk("data", audio + bytes{9})), 2}, // a broken last frame
        {riff(fmt16 + chunk("data", {})), 0},
        {wrong_outer, 2},
    };
    for (const auto& [content, frames] : rows) {
        folder.write("in.wav", content);
        wav_reader reader(folder.path("in.wav"));
        CHECK(reader.frame_count() == frames);
        std::vector<double> samples(4);
        CHECK(reader.read(samples.data(), 2) == frames);
        if (frames)
            CHECK(samples[3] == 0x0807 / 32768.0);
    }
}

TEST_CASE("wav file: an output appears under its name only when it is finished, and long paths work")
{
    const temp_folder folder;
    const std::string part(100, 'x'), deep = part + "\\" + part + "\\" + part + ".wav";
    folder.make(part);
    folder.make(part + "\\" + part);
    folder.write(deep, {1, 2, 3});
    for (const bool finishes : {false, true}) {
        wav_writer writer(folder.path(deep));
        writer.begin({sample_type::int8, 8000, 1, 4});
        const double samples[3] = {0.5, -0.5, 0};
        writer.write(samples, 3); // an odd size, so that the chunk is padded
        CHECK(*read_whole_file(folder.path(deep), 100) == bytes{1, 2, 3});
        if (finishes)
            writer.finish();
    }
    CHECK(wav_reader(folder.path(deep)).frame_count() == 3);
    CHECK(read_whole_file(folder.path(deep), 1000)->size() == 12 + 24 + 8 + 4);
    CHECK_FALSE(path_exists(folder.path(deep + "." + std::to_string(GetCurrentProcessId()) + ".part")));

    CHECK_THROWS_WITH_AS(wav_writer(folder.path("missing\\out.wav")),
                         doctest::Contains("missing\\out.wav: cannot be written"), player_error);
    CHECK_THROWS_WITH_AS(wav_writer(folder.path()), doctest::Contains("is a folder"), player_error);
}
