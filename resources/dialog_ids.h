#pragma once
// Numbers that the dialog templates and the code of the dialogs agree on. Read by the resource compiler too,
// hence macros.

#define IDD_CHOOSER 101
#define IDD_FOLDERS 102
#define IDD_VIS_SETUP 105

// The chooser.
#define IDC_EFFECT 1002
#define IDC_STATUS 1003
#define IDC_FOLDERS 1004
#define IDC_CHANNELS 1009
#define IDC_FORMAT 1010
#define IDC_LOAD 1013
#define IDC_SAVE 1014

// The folders; the setup of a visualisation has IDC_LIST too.
#define IDC_LIST 1005
#define IDC_ADD 1006
#define IDC_REMOVE 1007
#define IDC_DEFAULT_LIST 1008
