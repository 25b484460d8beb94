#pragma once
// A scripted worker as a bare process: no relay and no connect, so that a test does these steps itself.

#include "support/fake_worker.h"
#include "worker/commandLine.h"
#include "worker/startWorker.h"
#include "worker/workerProcess.h"

#include <memory>
#include <string>

inline Nv::launchParams raw_params(const fake_worker& fake, const std::string& pipe_name = {})
{
    Nv::launchParams params;
    params.executable = Nv::folderOf(Nv::componentPath()) + "qvxVSTHost64.exe";
    params.arguments =
        Nv::workerArguments(params.executable, Nv::modeProcess, fake.script_path(), 3, {}, pipe_name);
    return params;
}

inline std::shared_ptr<Nv::workerProcess> start_raw(const fake_worker& fake,
                                                    const std::string& pipe_name = {})
{
    return std::make_shared<Nv::workerProcess>(raw_params(fake, pipe_name));
}
