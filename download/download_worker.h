// Fetching every SMS stored in the user's phone, on a worker thread of its own: open the
// profile's link, select the storages and list each with AT+CMGL=4 (TS 27.005 3.1, 3.4.2;
// PDU mode, stat 4 "all messages"), decode, join long messages and fill the download
// list, with one status line of progress in the profile chooser.
//
// The windows it works on stay behind DownloadUi, so that this part builds without the
// platform; the platform's thread routine builds its DownloadUi over its windows and
// calls RunDownload.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "download/long_messages.h"
#include "link/job_environment.h"
#include "plugin/gsm_profile.h"
#include "text/user_text.h"

namespace tarnik {

// The last status of a download, also shown when the worker cannot start.
constexpr UserText kFinished{1036, u"Zakończono."};

// What the worker does to windows, and nothing more. Each call reaches a window of the
// user-interface thread synchronously, while that thread runs the chooser's modal loop.
class DownloadUi {
public:
    virtual ~DownloadUi() = default;

    // Takes the list view and the status line into window objects of the worker's
    // thread; Detach lets them go again before the windows are re-enabled.
    virtual void Attach() = 0;
    virtual void Detach() = 0;

    virtual void ShowStatus(const std::u16string& text) = 0;
    virtual void ClearList() = 0;
    // One row per group at the end of the list, with ListRowOf's texts, drawn once.
    virtual void FillList(const std::vector<MessageGroup>& groups) = 0;

    // Closes the handle in the chooser's thread-handle slot and leaves the slot all ones,
    // the platform's invalid handle: nobody waits for this thread.
    virtual void ReleaseThreadHandle() = 0;
    // Enables the chooser's controls again (Cancel, OK, profile list, in this order).
    virtual void ReenableWindows() = 0;
    // Ends the chooser, the status line's parent dialog, with `result`.
    virtual void EndChooser(int result) = 0;
};

// The download needs no seam beyond those every job on the phone has.
using DownloadEnvironment = JobEnvironment;

// The chooser's result after a download that got an answer to "AT" (the dialog OK).
constexpr int kChooserDownloaded = 1;

// One whole run, from the first status text to the end operations. `groups` is emptied
// first and then holds the result. True when the phone answered "AT": the storages and
// listings may still have given nothing. On every path the status line ends with
// "Zakończono.", the thread handle is released and the windows are enabled again; only
// a success ends the chooser.
bool RunDownload(const GsmProfile& profile, std::vector<MessageGroup>& groups, DownloadUi& ui,
                 DownloadEnvironment& env);

}  // namespace tarnik
