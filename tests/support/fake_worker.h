#pragma once
// The tests' side of the scripted worker (tests/programs/README.md): writes the script, names its files and
// events, reads the record back. Everything lies in a temporary folder of its own, which goes with the
// object; the worker must have ended by then.

#include "catalogue/vstConfig.h"
#include "support/temp_folder.h"
#include "win/handle.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class fake_worker {
public:
    struct command {
        uint32_t code;
        uint32_t byte_count;
        std::string payload; // empty when longer than 100000 bytes
    };

    // `script`: its text; "{event:NAME}" stands for the event of that name (made here, not signalled, manual
    // reset). A `record` statement is put in front. The folder's name has a space.
    explicit fake_worker(std::string script, const char* folder_name = "fake worker");

    // Sends every launch in this program to the scripted worker.
    static void use_for_launches();

    // An effect whose worker plays the script.
    vstConfig_t effect(const char* arch = "x64") const;
    const std::string& script_path() const noexcept { return script_path_; }

    std::string event_name(const std::string& event) const; // for other programs
    void signal(const std::string& event);
    void reset(const std::string& event); // not signalled any more
    bool wait_for(const std::string& event, double limit_seconds = 10);

    std::string file(const std::string& name) const; // its bytes; empty when it is not there
    std::vector<std::string> record() const;         // the lines
    std::vector<command> commands() const;
    std::vector<std::string> arguments() const; // of the first start
    std::vector<uint32_t> process_ids() const;  // of all starts

private:
    temp_folder folder_;
    std::string script_path_;
    std::map<std::string, win::kernel_handle> events_;
};
