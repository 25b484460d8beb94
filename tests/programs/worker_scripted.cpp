// A worker that does what a script tells it; README.md is its manual. It takes the command line that the
// component builds; the effect's path names the script.

#include "win/handle.h"
#include "win/utf.h"
#include "worker/protocol.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr unsigned code_failed = 90;
constexpr unsigned code_too_long = 99;
constexpr DWORD event_limit_ms = 30000;
constexpr DWORD life_limit_ms = 120000;
constexpr uint64_t payload_limit = 256 << 20;
constexpr size_t recorded_payload_limit = 100000;

using failure = std::runtime_error; // the worker says why and ends
struct broken_pipe {};

using statement = std::vector<std::string>; // never empty; the first word is the verb

uint64_t number_of(const std::string& word)
{
    size_t end = 0;
    const uint64_t value = std::stoull(word, &end, 0);
    if (end != word.size())
        throw failure("not a number: " + word);
    return value;
}

uint32_t word32(const std::string& word)
{
    return static_cast<uint32_t>(number_of(word));
}

statement behind(const statement& words, size_t count)
{
    if (words.size() <= count)
        throw failure("a word is missing");
    return statement(words.begin() + static_cast<ptrdiff_t>(count), words.end());
}

win::kernel_handle open_event(const std::string& name)
{
    win::kernel_handle event(
        OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, win::to_utf16(name).c_str()));
    if (!event)
        throw failure("no event " + name);
    return event;
}

// `at` stands on the opening quotation mark and ends behind the closing one. Throws when there is none.
std::string quoted_word(const std::string& line, size_t& at)
{
    std::string word;
    for (++at; line.at(at) != '"'; ++at) {
        if (line[at] != '\\') {
            word += line[at];
            continue;
        }
        const char escape = line.at(++at);
        if (escape == 'x') {
            word += static_cast<char>(std::stoi(line.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            const size_t known = std::string_view("rn0").find(escape);
            word += known == std::string_view::npos ? escape : "\r\n\0"[known];
        }
    }
    ++at;
    return word;
}

// `options`: what a word $--option stands for.
statement parse_line(const std::string& line, const std::map<std::string, std::string>& options)
{
    statement words;
    for (size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string::npos;) {
        if (line[at] == '"') {
            words.push_back(quoted_word(line, at));
            continue;
        }
        const std::string word = line.substr(at, line.find(' ', at) - at);
        at += word.size();
        words.push_back(word.starts_with("$--") ? options.at(word.substr(1)) : word);
    }
    return words;
}

// Ends without running exit handlers: another thread may hang in a write.
[[noreturn]] void end_process(unsigned code)
{
    TerminateProcess(GetCurrentProcess(), code);
    Sleep(INFINITE);
    std::abort();
}

bool write_all(HANDLE file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const DWORD piece = static_cast<DWORD>(std::min<size_t>(bytes.size(), 0x1000000));
        DWORD written = 0;
        if (!WriteFile(file, bytes.data(), piece, &written, nullptr) || written == 0)
            return false;
        bytes.remove_prefix(written);
    }
    return true;
}

void write_stderr(std::string_view bytes)
{
    write_all(GetStdHandle(STD_ERROR_HANDLE), bytes);
}

std::string as_bytes(const auto& value)
{
    return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

class worker {
public:
    explicit worker(std::vector<std::string> arguments)
        : arguments_(std::move(arguments))
    {
        for (size_t i = 2; i + 1 < arguments_.size(); i += 2) // behind the program and the mode
            options_[arguments_[i]] = arguments_[i + 1];
        script_ = win::to_utf16(options_.at("--vst"));
    }

    void run()
    {
        std::ifstream text(script_, std::ios::binary);
        for (std::string line; std::getline(text, line);)
            if (const statement words = parse_line(line, options_); !words.empty())
                execute(words);
    }
    void note(const std::string& line)
    {
        if (record_)
            write_all(record_.get(), line + "\n");
    }

private:
    struct hook {
        uint32_t code;
        std::optional<uint64_t> nth;
        statement action;
    };

    // Statements by their verbs: what it does on its pipe and streams, what it will answer, and the rest.
    using actions = std::map<std::string_view, void (*)(worker& self, const statement& words)>;
    static const actions transfers, answers, deeds;

    void execute(const statement& words);
    void on_broken_pipe();
    std::filesystem::path file_path(const std::string& name) const
    {
        return script_.parent_path() / win::to_utf16(name); // a whole path stands for itself
    }

    void connect();
    std::string read_pipe(uint64_t byte_count);
    void write_pipe(std::string_view bytes);
    std::pair<uint32_t, std::string> read_command();
    void serve(uint64_t count);
    std::string answer_to(uint32_t code, const std::string& payload);
    std::string processed(const std::string& input) const;
    std::string agreed_format(const std::string& request);

    std::vector<std::string> arguments_;
    std::map<std::string, std::string> options_;
    std::filesystem::path script_;
    win::file_handle pipe_, record_;

    std::array<std::string, 5> format_ = {"=", "=", "=", "=", "="};
    std::optional<Nv::streamFormat> agreed_;
    double factor_ = 1;
    uint32_t latency_ = 0;
    uint32_t tail_bytes_ = 0;
    double tail_value_ = 0;
    statement at_broken_pipe_ = {"exit", "0"};
    std::vector<hook> hooks_;
    std::map<uint32_t, uint64_t> seen_;
    bool no_reply_ = false;
};

void worker::connect()
{
    const auto name = options_.find("--pipe");
    if (name == options_.end())
        throw failure("no --pipe");
    pipe_.reset(CreateFileW(win::to_utf16(name->second).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            OPEN_EXISTING, 0, nullptr));
    if (!pipe_)
        throw failure("cannot open the pipe, error " + std::to_string(GetLastError()));
    note("connected");
}

std::string worker::read_pipe(uint64_t byte_count)
{
    if (byte_count > payload_limit)
        throw failure("byte count " + std::to_string(byte_count));
    std::string bytes(static_cast<size_t>(byte_count), '\0');
    size_t done = 0;
    while (done < bytes.size()) {
        DWORD got = 0;
        if (!ReadFile(pipe_.get(), bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &got,
                      nullptr) ||
            got == 0)
            throw broken_pipe();
        done += got;
    }
    return bytes;
}

void worker::write_pipe(std::string_view bytes)
{
    if (!write_all(pipe_.get(), bytes))
        throw broken_pipe();
}

std::pair<uint32_t, std::string> worker::read_command()
{
    const std::string head = read_pipe(sizeof(Nv::commandHeader));
    Nv::commandHeader header;
    std::memcpy(&header, head.data(), sizeof(header));
    std::string payload = read_pipe(header.byteCount);

    std::string digits = payload.empty() || payload.size() > recorded_payload_limit ? "-" : "";
    for (size_t i = 0; digits != "-" && i < payload.size(); ++i)
        for (const int half : {payload[i] >> 4 & 15, payload[i] & 15})
            digits += "0123456789abcdef"[half];
    note("command " + std::to_string(header.code) + " " + std::to_string(header.byteCount) + " " + digits);
    return {header.code, std::move(payload)};
}

void worker::serve(uint64_t count)
{
    for (; count > 0 && pipe_; --count) {
        const auto [code, payload] = read_command();
        const uint64_t nth = ++seen_[code];
        const std::string answer = answer_to(code, payload);
        for (const hook& each : std::vector<hook>(hooks_)) {
            if (each.code == code && (!each.nth || *each.nth == nth))
                execute(each.action);
        }
        if (std::exchange(no_reply_, false) || !pipe_)
            continue;
        write_pipe(answer);
    }
}

std::string worker::answer_to(uint32_t code, const std::string& payload)
{
    switch (code) {
    case Nv::cmdProcess:
        return processed(payload);
    case Nv::cmdSetFormat:
        return agreed_format(payload);
    case Nv::cmdDrainTail: {
        std::string tail;
        while (tail.size() < tail_bytes_)
            tail += as_bytes(tail_value_);
        tail.resize(tail_bytes_);
        return as_bytes(tail_bytes_) + tail;
    }
    case Nv::cmdSetState:
    case Nv::cmdReset:
        return {};
    default:
        throw failure("command " + std::to_string(code));
    }
}

std::string worker::processed(const std::string& input) const
{
    if (!agreed_ || agreed_->inChannels == 0)
        throw failure("audio without a format");
    const size_t in = agreed_->inChannels;
    const size_t out = agreed_->outChannels;
    const size_t frames = input.size() / (in * sizeof(double));
    std::string output(frames * out * sizeof(double), '\0');
    for (size_t frame = 0; frame < frames; ++frame) {
        for (size_t channel = 0; channel < std::min(in, out); ++channel) {
            double sample = 0;
            std::memcpy(&sample, input.data() + (frame * in + channel) * sizeof(double), sizeof(sample));
            if (factor_ != 1) // bit patterns pass unchanged
                sample *= factor_;
            std::memcpy(output.data() + (frame * out + channel) * sizeof(double), &sample, sizeof(sample));
        }
    }
    return output + as_bytes(latency_);
}

std::string worker::agreed_format(const std::string& request)
{
    if (request.size() != sizeof(Nv::streamFormat))
        throw failure("format of " + std::to_string(request.size()) + " bytes");
    Nv::streamFormat format;
    std::memcpy(&format, request.data(), sizeof(format));
    uint32_t* const fields[] = {&format.sampleRate, &format.inChannels, &format.inChannelMask,
                                &format.outChannels, &format.outChannelMask};
    for (size_t i = 0; i < format_.size(); ++i) {
        if (format_[i] != "=")
            *fields[i] = word32(format_[i]);
    }
    agreed_ = format;
    return as_bytes(format);
}

void worker::on_broken_pipe()
{
    note("broken-pipe");
    const statement action = at_broken_pipe_;
    execute(action);
    execute({"exit", "0"});
}

const worker::actions worker::transfers = {
    {"connect", [](worker& self, const statement&) { self.connect(); }},
    {"close-pipe", [](worker& self, const statement&) { self.pipe_.reset(); }},
    {"read", [](worker& self, const statement& words) { self.read_pipe(number_of(words.at(1))); }},
    {"serve",
     [](worker& self, const statement& words) {
         self.serve(words.size() > 1 ? number_of(words[1]) : UINT64_MAX);
     }},
    {"reply-words",
     [](worker& self, const statement& words) {
         for (size_t i = 1; i < words.size(); ++i)
             self.write_pipe(as_bytes(word32(words[i])));
     }},
    {"reply-garbage",
     [](worker& self, const statement& words) {
         std::string bytes(static_cast<size_t>(number_of(words.at(1))), '\0');
         uint32_t state = 12345;
         for (char& byte : bytes)
             byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
         self.write_pipe(bytes);
     }},
    {"write-stderr", [](worker&, const statement& words) { write_stderr(words.at(1)); }},
    {"close-stderr", [](worker&, const statement&) { CloseHandle(GetStdHandle(STD_ERROR_HANDLE)); }},
    {"echo-input",
     [](worker&, const statement&) {
         char byte = 0;
         DWORD got = 0;
         while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &got, nullptr) && got == 1)
             write_all(GetStdHandle(STD_OUTPUT_HANDLE), {&byte, 1});
     }},
};

const worker::actions worker::answers = {
    {"format",
     [](worker& self, const statement& words) {
         for (size_t i = 0; i < self.format_.size(); ++i)
             self.format_[i] = words.at(i + 1);
     }},
    {"audio",
     [](worker& self, const statement& words) {
         self.factor_ = std::stod(words.at(1));
         self.latency_ = word32(words.at(2));
     }},
    {"tail",
     [](worker& self, const statement& words) {
         self.tail_bytes_ = word32(words.at(1));
         self.tail_value_ = std::stod(words.at(2));
     }},
    {"no-reply", [](worker& self, const statement&) { self.no_reply_ = true; }},
    {"on-broken-pipe", [](worker& self, const statement& words) { self.at_broken_pipe_ = behind(words, 1); }},
    {"on",
     [](worker& self, const statement& words) {
         std::optional<uint64_t> nth;
         if (words.at(2) != "*")
             nth = number_of(words[2]);
         self.hooks_.push_back({word32(words[1]), nth, behind(words, 3)});
     }},
};

const worker::actions worker::deeds = {
    {"record",
     [](worker& self, const statement& words) {
         // Each piece goes behind what other workers have written meanwhile.
         self.record_.reset(CreateFileW(self.file_path(words.at(1)).c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0,
                                        nullptr));
         self.note("start " + std::to_string(GetCurrentProcessId()));
         for (const std::string& argument : self.arguments_)
             self.note("argument " + argument);
     }},
    {"write-file",
     [](worker& self, const statement& words) {
         if (!(std::ofstream(self.file_path(words.at(1)), std::ios::binary) << words.at(2)).flush())
             throw failure("cannot write " + words[1]);
     }},
    {"sleep", [](worker&, const statement& words) { Sleep(word32(words.at(1))); }},
    {"hang", [](worker&, const statement&) { Sleep(INFINITE); }},
    {"crash", [](worker&, const statement&) { *static_cast<volatile int*>(nullptr) = 1; }},
    {"exit",
     [](worker& self, const statement& words) {
         self.note("exit " + words.at(1));
         end_process(word32(words[1]));
     }},
    {"signal-event", [](worker&, const statement& words) { SetEvent(open_event(words.at(1)).get()); }},
    {"wait-event",
     [](worker&, const statement& words) {
         if (WaitForSingleObject(open_event(words.at(1)).get(), event_limit_ms) != WAIT_OBJECT_0)
             throw failure(words[1] + " did not come");
     }},
};

void worker::execute(const statement& words)
{
    try {
        for (const actions* const some : {&transfers, &answers, &deeds})
            if (const auto found = some->find(words[0]); found != some->end())
                return found->second(*this, words);
        throw failure("unknown statement " + words[0]);
    } catch (const broken_pipe&) {
        on_broken_pipe();
    }
}

DWORD WINAPI end_after_life_limit(void*)
{
    Sleep(life_limit_ms);
    end_process(code_too_long);
}

// Without it a crash may wait for a debugger's dialog.
LONG WINAPI end_with_exception_code(EXCEPTION_POINTERS* exception)
{
    end_process(exception->ExceptionRecord->ExceptionCode);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    SetUnhandledExceptionFilter(&end_with_exception_code);
    const win::kernel_handle limit(CreateThread(nullptr, 0, &end_after_life_limit, nullptr, 0, nullptr));

    std::vector<std::string> arguments;
    for (int i = 0; i < argc; ++i)
        arguments.push_back(win::to_utf8(argv[i]));
    try {
        worker playing(std::move(arguments));
        playing.run();
        playing.note("exit 0");
    } catch (const std::exception& failed) {
        write_stderr(std::string("fake worker: ") + failed.what() + "\n");
        end_process(code_failed);
    }
    end_process(0);
}
