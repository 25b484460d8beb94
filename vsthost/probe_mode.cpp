#include "vsthost/exit_codes.h"
#include "vsthost/modes.h"

void vsthost::run_probe_mode(const options&)
{
    throw fatal_error(exit_code::mode_missing, "this version of the program has no mode \"probe\" yet");
}
