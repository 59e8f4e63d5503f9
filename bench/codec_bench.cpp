// Throughput of the PDU codec on the corpus of bench/codec_corpus.h.
//
// With libgammu the same hexadecimal PDUs are decoded by it too. It takes binary, so the
// hex-to-binary step is timed with it, as our decoder's own hex reading is.
//
// Each decoder runs twice in the one process: with TZ unset, as a user's machine runs it
// (the system's zone file), and with TZ=Europe/Warsaw, so both ratios come from one run.
//
// Run: build/native/bench/tarnik-codec-bench  (about ten seconds)
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/codec_corpus.h"
#include "pdu/pdu_decoder.h"
#include "pdu/submit_encoder.h"

#ifdef TARNIK_HAVE_GAMMU
#include <gammu.h>
#endif

namespace tarnik {
namespace {

constexpr double kMinSeconds = 1.0;

using bench::Corpus;

// The zone of one benchmark, by its argument (0: TZ unset, 1: Europe/Warsaw), for as long
// as it runs; the decoders read it as calendar time is converted.
class Zone {
public:
    explicit Zone(benchmark::State& state) {
        const char* old = std::getenv("TZ");
        saved_ = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
        if (state.range(0) == 0) {
            unsetenv("TZ");
            state.SetLabel("TZ unset");
        } else {
            setenv("TZ", "Europe/Warsaw", 1);
            state.SetLabel("TZ=Europe/Warsaw");
        }
        tzset();
    }
    ~Zone() {
        if (saved_)
            setenv("TZ", saved_->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> saved_;
};

void BM_TarnikDecode(benchmark::State& state) {
    const Zone zone(state);
    const std::vector<std::string>& corpus = Corpus();
    for (const std::string& pdu : corpus) {
        if (!DecodePdu(pdu).decoded) {
            state.SkipWithError(("corpus PDU does not decode: " + pdu).c_str());
            return;
        }
    }
    for (auto _ : state) {
        for (const std::string& pdu : corpus) {
            SmsPdu record = DecodePdu(pdu);
            benchmark::DoNotOptimize(record);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * corpus.size()));
}
BENCHMARK(BM_TarnikDecode)->ArgName("warsaw")->Arg(0)->Arg(1)->MinTime(kMinSeconds);

void BM_TarnikEncode(benchmark::State& state) {
    std::mt19937 random(7);
    std::vector<SmsSubmitParams> params(200);
    std::vector<std::string> numbers;
    for (size_t i = 0; i < params.size(); ++i) {
        SmsSubmitParams& p = params[i];
        numbers.push_back("48" + std::to_string(600000000 + random() % 100000000) +
                          (i % 3 == 0 ? "1" : ""));
        const size_t length = i % 4 == 0 ? 153 : 5 + random() % 150;
        p.text = std::string(length, 'a');
        // Letters, digits, escaped characters ({}[]~ and the euro sign) and the pound sign.
        static constexpr char kChars[] = "abcdefgh ijklmnop RSTUV 0123456789.,!?{}[]~\xA3\x80";
        for (char& c : p.text)
            c = kChars[random() % (sizeof kChars - 1)];
        p.messageRef = static_cast<uint8_t>(i);
        p.statusReport = i % 2;
        p.vpPresent = i % 5 != 0;
        p.vp = 0xAA;
        p.flash = i % 17 == 0;
        if (i % 4 == 0) {
            p.concat = 1;
            p.concatRef = static_cast<uint32_t>(i);
            p.concatTotal = 3;
            p.concatSeq = 1 + static_cast<uint32_t>(i % 3);
        }
    }
    for (auto _ : state) {
        for (size_t i = 0; i < params.size(); ++i) {
            params[i].number = numbers[i];  // the encoder pads it, so it is set for every part
            std::string pdu = EncodeSubmit(params[i]);
            benchmark::DoNotOptimize(pdu);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * params.size()));
}
BENCHMARK(BM_TarnikEncode)->MinTime(kMinSeconds);

#ifdef TARNIK_HAVE_GAMMU
void BM_GammuDecode(benchmark::State& state) {
    const Zone zone(state);
    const std::vector<std::string>& corpus = Corpus();
    GSM_Debug_Info* debug = GSM_GetGlobalDebug();
    GSM_SMSMessage sms;
    std::vector<unsigned char> binary;
    auto decode = [&](const std::string& hex) {
        binary.resize(hex.size() / 2);
        if (!DecodeHexBin(binary.data(), reinterpret_cast<const unsigned char*>(hex.data()),
                          hex.size())) {
            return ERR_UNKNOWN;
        }
        std::memset(&sms, 0, sizeof sms);
        return GSM_DecodePDUFrame(debug, &sms, binary.data(), binary.size(), nullptr, TRUE);
    };
    for (const std::string& pdu : corpus) {
        if (decode(pdu) != ERR_NONE) {
            state.SkipWithError(("libgammu refuses corpus PDU: " + pdu).c_str());
            return;
        }
    }
    for (auto _ : state) {
        for (const std::string& pdu : corpus) {
            benchmark::DoNotOptimize(decode(pdu));
            benchmark::DoNotOptimize(sms);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * corpus.size()));
}
BENCHMARK(BM_GammuDecode)->ArgName("warsaw")->Arg(0)->Arg(1)->MinTime(kMinSeconds);
#endif

}  // namespace
}  // namespace tarnik

BENCHMARK_MAIN();
