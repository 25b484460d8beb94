#include "frame/wiring.h"

#include "frame/quit_actions.h"
#include "vis/menuConfigureRun.h"

void wire_rooms()
{
    add_quit_action(&endMenuConfigureRun);
}
