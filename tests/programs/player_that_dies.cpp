// Plays a player that launches one worker and then does nothing until it is killed: the test's way to see
// what becomes of a worker whose player dies. Argument: the worker's script.

#include "support/fake_worker.h"
#include "support/test_host.h"
#include "win/utf.h"
#include "worker/startWorker.h"

#include <windows.h>

int wmain(int argc, wchar_t** argv)
{
    constexpr DWORD life_limit_ms = 60000;
    if (argc != 2)
        return 2;
    test_host host;
    fake_worker::use_for_launches();
    vstConfig_t effect;
    effect.path = win::to_utf8(argv[1]);
    effect.arch = "x64";
    effect.vstVersion = 3;
    Nv::winPipeServerLite pipe;
    Nv::startWorker(pipe, effect, Nv::modeProcess, Nv::processOptions(effect, 0));
    Sleep(life_limit_ms);
    return 1;
}
