// The download worker's thread on Windows: the portable download run with its window
// operations done on the chooser's and the download dialog's real windows.
#pragma once

#include <windows.h>

#include <atomic>
#include <vector>

#include "download/download_worker.h"

namespace tarnik {

// The worker thread's one argument. The chooser fills it and gives it away when it
// starts the thread; the worker releases it as its last act.
struct DownloadJob {
    GsmProfile profile{};
    HANDLE* threadHandleSlot = nullptr;  // the chooser's handle of this very thread
    HWND listView = nullptr;             // the download dialog's message list
    HWND statusLabel = nullptr;          // the chooser's status line; its parent is the chooser
    std::vector<MessageGroup>* groups = nullptr;  // the download dialog's rows, one per group
    std::vector<HWND> reenableWindows;            // Cancel, OK, profile list, in this order
    // Set by the chooser when the worker must end now (the plug-in unloads); the chooser
    // outwaits the worker, so the flag outlives it.
    const std::atomic<bool>* stop = nullptr;
};

// Sent by the worker to the chooser (the status line's parent) to end it with WPARAM as
// the result: a modal dialog can only be ended from the thread that runs it.
constexpr UINT kEndChooserMessage = WM_APP + 0x54;

// The thread start routine: takes ownership of the DownloadJob and releases it last.
DWORD WINAPI DownloadWorker(LPVOID job);

// Inserts one row per group at the end of the list view with its four column texts,
// window updates locked so that a long list is drawn once.
void LoadGroupsIntoList(const std::vector<MessageGroup>& groups, HWND listView);

}  // namespace tarnik
