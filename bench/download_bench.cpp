// What the download costs once the phone has answered: its listing of a full phone read
// and decoded, the parts of long messages joined, and the rows of the message list made.
//
// The answer is the emulator's own: the configuration written by make_phone_store.py is
// loaded into tarnik-phone's command processor, which is asked AT+CPMS="MT" and
// AT+CMGL=4 as the download worker asks them, so these are the bytes the plug-in would
// gather, echo and final result included. Beside each step's time stand the answer's size
// ("reply_bytes") and the time it takes on a 115200-baud line ("line_s"); every step counts
// the whole answer's bytes in bytes/s, so it compares with the line's 11.5 kB/s.
//
// Run: build/native/bench/tarnik-download-bench [--store=FILE] [benchmark options]
// (without --store, the 1000-message store made at build time)
#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "download/cmgl_listing.h"
#include "download/long_messages.h"
#include "phone/config.h"
#include "phone/event_log.h"
#include "phone/modem.h"

namespace tarnik {
namespace {

constexpr double kLineBitsPerByte = 10.0;  // 8N1: start bit, eight data bits, stop bit
constexpr double kLineBaud = 115200.0;
constexpr std::string_view kStorage = "MT";

struct Listing {
    std::string reply;
    size_t stored = 0;  // messages in the configuration
    std::vector<SmsPdu> records;
    std::vector<MessageGroup> groups;
};

Listing& TheListing() {
    static Listing listing;
    return listing;
}

double LineSeconds(size_t bytes) {
    return static_cast<double>(bytes) * kLineBitsPerByte / kLineBaud;
}

bool LoadListing(const std::string& path, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    phone::PhoneConfig config;
    if (!phone::ParseConfig(in, config, error)) {
        error = path + ": " + error;
        return false;
    }
    Listing& listing = TheListing();
    for (const char* storage : {"ME", "SM"})
        listing.stored += config.messages[storage].size();

    phone::EventLog log;
    phone::Modem modem(std::move(config), log, [] { return std::time(nullptr); });
    const auto now = phone::Modem::Clock::now();
    modem.Receive("AT+CPMS=\"MT\"\r", now);
    modem.TakeOutput();
    modem.Receive("AT+CMGL=4\r", now);
    for (const phone::Emission& e : modem.TakeOutput()) {
        if (e.kind == phone::Emission::kBytes)
            listing.reply += e.bytes;
    }
    if (listing.reply.find("\r\nOK\r\n") == std::string::npos) {
        error = "the phone did not list its messages";
        return false;
    }
    ParseCmglListing(listing.reply, listing.records, kStorage);
    JoinLongMessages(listing.records, listing.groups);
    return true;
}

void Report(benchmark::State& state, size_t items) {
    const Listing& listing = TheListing();
    const auto iterations = static_cast<int64_t>(state.iterations());
    state.SetItemsProcessed(iterations * static_cast<int64_t>(items));
    state.SetBytesProcessed(iterations * static_cast<int64_t>(listing.reply.size()));
    state.counters["reply_bytes"] = static_cast<double>(listing.reply.size());
    state.counters["line_s"] = LineSeconds(listing.reply.size());
}

void BM_ParseCmglListing(benchmark::State& state) {
    const Listing& listing = TheListing();
    for (auto _ : state) {
        std::vector<SmsPdu> records;
        ParseCmglListing(listing.reply, records, kStorage);
        benchmark::DoNotOptimize(records.data());
    }
    Report(state, listing.stored);
}

void BM_JoinLongMessages(benchmark::State& state) {
    const Listing& listing = TheListing();
    for (auto _ : state) {
        std::vector<MessageGroup> groups;
        JoinLongMessages(listing.records, groups);
        benchmark::DoNotOptimize(groups.data());
    }
    Report(state, listing.records.size());
}

void BM_ListRows(benchmark::State& state) {
    const Listing& listing = TheListing();
    for (auto _ : state) {
        for (const MessageGroup& group : listing.groups) {
            MessageListRow row = ListRowOf(group);
            benchmark::DoNotOptimize(row);
        }
    }
    Report(state, listing.groups.size());
}

// As the download worker goes from the gathered reply to the rows it hands the window.
void BM_WholeDownload(benchmark::State& state) {
    const Listing& listing = TheListing();
    for (auto _ : state) {
        std::vector<SmsPdu> records;
        std::vector<MessageGroup> groups;
        ParseCmglListing(listing.reply, records, kStorage);
        JoinLongMessages(records, groups);
        for (const MessageGroup& group : groups) {
            MessageListRow row = ListRowOf(group);
            benchmark::DoNotOptimize(row);
        }
    }
    Report(state, listing.stored);
}

BENCHMARK(BM_ParseCmglListing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JoinLongMessages)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ListRows)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WholeDownload)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tarnik

int main(int argc, char** argv) {
    std::string store = TARNIK_DEFAULT_PHONE_STORE;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        constexpr std::string_view kOption = "--store=";
        if (std::string_view(argv[i]).substr(0, kOption.size()) == kOption) {
            store = argv[i] + kOption.size();
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;

    std::string error;
    if (!tarnik::LoadListing(store, error)) {
        std::fprintf(stderr, "tarnik-download-bench: %s\n", error.c_str());
        return 1;
    }
    const tarnik::Listing& listing = tarnik::TheListing();
    size_t parts = 0;
    size_t longGroups = 0;
    for (const tarnik::MessageGroup& group : listing.groups) {
        if (group.reference >= 0) {
            ++longGroups;
            parts += group.parts.size();
        }
    }
    char summary[256];
    std::snprintf(summary, sizeof summary,
                  "%zu bytes, %.2f s at 115200 baud; %zu stored, %zu read back, %zu rows "
                  "(%zu long of %zu parts)",
                  listing.reply.size(), tarnik::LineSeconds(listing.reply.size()), listing.stored,
                  listing.records.size(), listing.groups.size(), longGroups, parts);
    benchmark::AddCustomContext("store", store);
    benchmark::AddCustomContext("listing", summary);
    if (listing.records.size() != listing.stored) {
        std::fprintf(stderr, "tarnik-download-bench: %zu of %zu stored messages read back\n",
                     listing.records.size(), listing.stored);
    }

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
