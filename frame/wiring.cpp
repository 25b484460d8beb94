#include "frame/wiring.h"

#include "catalogue/settings.h"
#include "dsp/configurationInterface.h"
#include "frame/quit_actions.h"
#include "ui/CDialogChooseVST.h"
#include "ui/CDialogFolders.h"
#include "ui/CDialogVisSetup.h"
#include "ui/dsp_dialog.h"
#include "vis/menuConfigureRun.h"

void wire_rooms()
{
    setConfigurationInterface({&dsp_dialog, &dsp_dialog_v2, &dsp_dialog_v3});
    set_rescan_callback(&CDialogChooseVST::rescan_all);
    add_quit_action(&endMenuConfigureRun);
    // The code of windows goes with the module.
    add_quit_action([] {
        CDialogChooseVST::close_all();
        CDialogFolders::close();
        CDialogVisSetup::close_all();
    });
}
