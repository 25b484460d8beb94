#pragma once

// Waits without limit until `event` (a HANDLE) is signalled and answers meanwhile what other threads and
// processes send to windows of this thread. Posted messages, input among them, stay in the queue: nothing
// that a user or a timer does comes in between.
//
// For a main thread that waits for a worker with a window on one of ours: the worker cannot destroy that
// window before this thread has taken the messages that come with it.
void waitAnsweringSentMessages(void* event) noexcept;
