#include "effects/echo/echo_plugin.h"

START_NAMESPACE_DISTRHO

Plugin* createPlugin()
{
    return new echo_plugin;
}

END_NAMESPACE_DISTRHO
