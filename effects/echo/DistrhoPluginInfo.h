#pragma once
// What the framework wants to know about the echo at compile time.

#define DISTRHO_PLUGIN_BRAND "qvx"
#define DISTRHO_PLUGIN_NAME "qvxEcho"
#define DISTRHO_PLUGIN_URI "urn:qvx:echo"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_NUM_OUTPUTS 2
#define DISTRHO_PLUGIN_IS_RT_SAFE 1

// An editor of our own that the framework only embeds. It reads levels straight from the effect.
#define DISTRHO_PLUGIN_HAS_UI 1
#define DISTRHO_PLUGIN_HAS_EMBED_UI 1
#define DISTRHO_PLUGIN_HAS_EXTERNAL_UI 1
#define DISTRHO_PLUGIN_WANT_DIRECT_ACCESS 1
#define DISTRHO_UI_USER_RESIZABLE 1
