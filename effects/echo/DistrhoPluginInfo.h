#pragma once
// What the framework wants to know about the echo at compile time.

#define DISTRHO_PLUGIN_BRAND "qvx"
#define DISTRHO_PLUGIN_NAME "qvxEcho"
#define DISTRHO_PLUGIN_URI "urn:qvx:echo"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_NUM_OUTPUTS 2
#define DISTRHO_PLUGIN_HAS_UI 0
#define DISTRHO_PLUGIN_IS_RT_SAFE 1
