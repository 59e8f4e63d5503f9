// How long the download's last stage takes on a real list view: LoadGroupsIntoList with
// the groups of a listing reply, into a report-view list as the download dialog has it.
// Runs under Wine (no Google Benchmark for this target): repeated fills, median printed.
//
// usage: tarnik-list-fill-bench REPLY-FILE [REPEATS]
#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "download/cmgl_listing.h"
#include "download/long_messages.h"
#include "ui/download_thread.h"

using namespace tarnik;

namespace {

double Milliseconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

template <typename F>
double Median(int repeats, F&& run) {
    std::vector<double> times;
    for (int i = 0; i < repeats; ++i)
        times.push_back(run());
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: tarnik-list-fill-bench REPLY-FILE [REPEATS]\n");
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::string reply((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    const int repeats = argc > 2 ? std::max(1, std::atoi(argv[2])) : 9;

    std::vector<SmsPdu> records;
    std::vector<MessageGroup> groups;
    const double parse = Median(repeats, [&] {
        const auto start = std::chrono::steady_clock::now();
        records.clear();
        ParseCmglListing(reply, records, "MT");
        return Milliseconds(std::chrono::steady_clock::now() - start);
    });
    const double join = Median(repeats, [&] {
        const auto start = std::chrono::steady_clock::now();
        groups.clear();
        JoinLongMessages(records, groups);
        return Milliseconds(std::chrono::steady_clock::now() - start);
    });

    INITCOMMONCONTROLSEX classes{sizeof classes, ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&classes);
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 700, 500, nullptr,
                                  nullptr, nullptr, nullptr);
    HWND list =
        CreateWindowExW(0, WC_LISTVIEWW, L"", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_NOSORTHEADER,
                        0, 0, 680, 300, parent, nullptr, nullptr, nullptr);
    ShowWindow(parent, SW_SHOW);
    SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    const int widths[] = {120, 130, 140, 190};
    for (int c = 0; c < 4; ++c) {
        LVCOLUMNW column{};
        column.mask = LVCF_WIDTH | LVCF_TEXT;
        column.cx = widths[c];
        column.pszText = const_cast<wchar_t*>(L"");
        SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(c),
                     reinterpret_cast<LPARAM>(&column));
    }
    const double fill = Median(repeats, [&] {
        SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
        const auto start = std::chrono::steady_clock::now();
        LoadGroupsIntoList(groups, list);
        UpdateWindow(list);  // the one redraw after the lock
        return Milliseconds(std::chrono::steady_clock::now() - start);
    });
    std::printf("reply_bytes=%zu records=%zu rows=%zu parse_ms=%.2f join_ms=%.2f fill_ms=%.2f\n",
                reply.size(), records.size(), groups.size(), parse, join, fill);
    DestroyWindow(parent);
    return 0;
}
