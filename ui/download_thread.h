// The download worker's thread on Windows: the portable download run with its window
// operations done on the chooser's and the download dialog's real windows.
#pragma once

#include <windows.h>

#include "download/download_worker.h"

namespace tarnik {

// Sent by the worker to the chooser (the status line's parent) to end it with WPARAM as
// the result: a modal dialog can only be ended from the thread that runs it.
constexpr UINT kEndChooserMessage = WM_APP + 0x54;

// The thread start routine: takes ownership of the DownloadJob and releases it last.
DWORD WINAPI DownloadWorker(LPVOID job);

// Inserts one row per group at the end of the list view with its four column texts,
// window updates locked so that a long list is drawn once.
void LoadGroupsIntoList(const std::vector<MessageGroup>& groups, HWND listView);

}  // namespace tarnik
