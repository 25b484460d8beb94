#include "ui/sentMessages.h"

#include <windows.h>

void waitAnsweringSentMessages(void* event) noexcept
{
    HANDLE handle = event;
    while (MsgWaitForMultipleObjectsEx(1, &handle, INFINITE, QS_SENDMESSAGE, 0) == WAIT_OBJECT_0 + 1) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}
