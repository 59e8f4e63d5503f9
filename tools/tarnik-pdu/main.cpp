// tarnik-pdu: the PDU codec and the listing parser on the command line, for people
// and for the checks that compare them with other decoders.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "download/cmgl_listing.h"
#include "download/long_messages.h"
#include "pdu/code_page.h"
#include "pdu/hex_bytes.h"
#include "pdu/pdu_decoder.h"
#include "pdu/submit_encoder.h"
#include "tarnik-pdu/json_writer.h"
#include "tarnik-pdu/pdu_problem.h"
#include "tarnik-pdu/utf8.h"

namespace tarnik {
namespace {

constexpr char kUsage[] =
    "Usage:\n"
    "  tarnik-pdu decode [HEX ...]\n"
    "      Decodes each argument, or each line of standard input when there is none, as one\n"
    "      PDU as a phone shows it in PDU mode (hexadecimal, SMSC field first). Prints one\n"
    "      JSON object per PDU; an undecodable PDU prints \"decoded\": false, and a PDU\n"
    "      with something wrong (cut short, not hexadecimal, a reserved type) a \"reason\".\n"
    "  tarnik-pdu encode --number DIGITS (--text TEXT | --text-hex HEX) [--mr N] [--flash]\n"
    "                    [--report] [--concat REF,TOTAL,SEQ] [--json]\n"
    "      Prints the SMS-SUBMIT PDU of one part, as sent after AT+CMGS (validity period four\n"
    "      days). --text is UTF-8, converted to the narrow code page; --text-hex gives the\n"
    "      narrow bytes. --json prints {\"pdu\":...,\"cmgsLength\":...}.\n"
    "  tarnik-pdu listing [FILE|-] [--storage NAME] [--join]\n"
    "      Parses a phone's reply to AT+CMGL=4 (default: standard input; storage MT) and\n"
    "      prints one JSON object per decoded record, or with --join one per message group.\n"
    "Narrow text is shown as UTF-8 through the code page the plug-in uses.\n";

int UsageError(const std::string& message) {
    std::fprintf(stderr, "tarnik-pdu: %s\n%s", message.c_str(), kUsage);
    return 2;
}

std::string Utf8OfNarrow(std::string_view narrow) {
    return Utf8FromUtf16(WidenNarrow(narrow));
}

void WriteAddress(JsonWriter& json, std::string_view key, const SmsAddress& a) {
    json.BeginObject(key)
        .Number("ton", a.ton)
        .Number("npi", a.npi)
        .Bool("extBit", a.extBit)
        .String("number", Utf8OfNarrow(a.number))
        .EndObject();
}

std::string RecordJson(const SmsPdu& r, bool withPlace, const std::string& reason = {}) {
    JsonWriter json;
    json.BeginObject();
    if (withPlace)
        json.String("index", r.index).String("storage", r.storage);
    json.Bool("decoded", r.decoded);
    if (!reason.empty())
        json.String("reason", reason);
    const SmsFirstOctet& f = r.firstOctet;
    json.BeginObject("firstOctet")
        .Number("replyPath", f.replyPath)
        .Number("udhi", f.udhi)
        .Number("statusReport", f.statusReport)
        .Number("moreMessages", f.moreMessages)
        .Number("mti", f.mti)
        .Number("vpf", f.vpf)
        .EndObject();
    WriteAddress(json, "smsc", r.smsc);
    WriteAddress(json, "address", r.address);
    const SmsTime& t = r.timestamp;
    json.BeginObject("timestamp")
        .String("text", Utf8OfNarrow(t.text))
        .Number("year", t.year)
        .Number("month", t.month)
        .Number("day", t.day)
        .Number("hour", t.hour)
        .Number("minute", t.minute)
        .Number("second", t.second)
        .Number("time", t.time)
        .Double("date", t.date)
        .EndObject();
    json.Number("alphabet", r.alphabet)
        .String("text", Utf8OfNarrow(r.text))
        .String("textHex", HexFromBytes(r.text))
        .Bool("concat", r.concat)
        .Number("concatRef", r.concatRef)
        .Number("concatTotal", r.concatTotal)
        .Number("concatSeq", r.concatSeq)
        .Bool("incoming", r.incoming)
        .Number("status", r.status)
        .String("sentTime", Utf8OfNarrow(r.sentTime))
        .String("doneTime", Utf8OfNarrow(r.doneTime))
        .EndObject();
    return json.str();
}

std::string TrimLine(std::string line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' ')) {
        line.pop_back();
    }
    return line;
}

void DecodeOne(const std::string& hex) {
    PduEnd end;
    const SmsPdu record = DecodePdu(hex, end);
    std::cout << RecordJson(record, false, PduProblem(hex, end)) << '\n';
}

int Decode(const std::vector<std::string>& args) {
    for (const std::string& hex : args)
        DecodeOne(hex);
    if (!args.empty())
        return 0;
    std::string line;
    while (std::getline(std::cin, line))
        DecodeOne(TrimLine(line));
    return 0;
}

bool ParseUnsigned(const std::string& text, unsigned long max, unsigned long& value) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    value = std::strtoul(text.c_str(), nullptr, 10);
    return text.size() <= 10 && value <= max;
}

int Encode(const std::vector<std::string>& args) {
    SmsSubmitParams p;
    p.vpPresent = 1;
    p.vp = 0xAA;  // four days, as every message the plug-in sends
    bool haveNumber = false, haveText = false, json = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        unsigned long n = 0;
        if (a == "--number" && hasValue) {
            p.number = args[++i];
            if (p.number.find_first_not_of("0123456789") != std::string::npos) {
                return UsageError("--number takes digits only");
            }
            haveNumber = true;
        } else if (a == "--text" && hasValue) {
            p.text = NarrowFromUtf16(Utf16FromUtf8(args[++i]));
            haveText = true;
        } else if (a == "--text-hex" && hasValue) {
            if (!BytesFromHex(args[++i], p.text))
                return UsageError("--text-hex takes hex pairs");
            haveText = true;
        } else if (a == "--mr" && hasValue) {
            if (!ParseUnsigned(args[++i], 255, n))
                return UsageError("--mr takes 0 to 255");
            p.messageRef = static_cast<uint8_t>(n);
        } else if (a == "--concat" && hasValue) {
            std::stringstream fields(args[++i]);
            std::string part;
            unsigned long v[3] = {};
            int count = 0;
            while (std::getline(fields, part, ',')) {
                if (count == 3 || !ParseUnsigned(part, 255, v[count])) {
                    return UsageError("--concat takes REF,TOTAL,SEQ, each 0 to 255");
                }
                ++count;
            }
            if (count != 3)
                return UsageError("--concat takes REF,TOTAL,SEQ, each 0 to 255");
            p.concat = 1;
            p.concatRef = static_cast<uint32_t>(v[0]);
            p.concatTotal = static_cast<uint32_t>(v[1]);
            p.concatSeq = static_cast<uint32_t>(v[2]);
        } else if (a == "--flash") {
            p.flash = 1;
        } else if (a == "--report") {
            p.statusReport = 1;
        } else if (a == "--json") {
            json = true;
        } else {
            return UsageError("unknown or incomplete option: " + a);
        }
    }
    if (!haveNumber || !haveText)
        return UsageError("encode needs --number and a text");
    const std::string pdu = EncodeSubmit(p);
    if (json) {
        JsonWriter w;
        w.BeginObject().String("pdu", pdu).Number("cmgsLength", CmgsLength(pdu)).EndObject();
        std::cout << w.str() << '\n';
    } else {
        std::cout << pdu << '\n';
    }
    return 0;
}

std::string GroupJson(const MessageGroup& g) {
    const SmsPdu& first = g.parts.front();
    JsonWriter json;
    json.BeginObject()
        .Number("reference", g.reference)
        .Number("total", g.total)
        .String("number", Utf8OfNarrow(first.address.number))
        .String("date", Utf8OfNarrow(first.timestamp.text))
        .String("text", Utf8FromUtf16(g.joinedText))
        .Number("parts", static_cast<int64_t>(g.parts.size()))
        .EndObject();
    return json.str();
}

int Listing(const std::vector<std::string>& args) {
    std::string path = "-";
    std::string storage = "MT";
    bool join = false;
    bool havePath = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--storage" && i + 1 < args.size()) {
            storage = args[++i];
        } else if (args[i] == "--join") {
            join = true;
        } else if (!havePath && (args[i] == "-" || args[i].rfind("--", 0) != 0)) {
            path = args[i];
            havePath = true;
        } else {
            return UsageError("unknown or incomplete option: " + args[i]);
        }
    }
    std::string reply;
    if (path == "-") {
        reply.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    } else {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "tarnik-pdu: cannot read %s\n", path.c_str());
            return 1;
        }
        reply.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::vector<SmsPdu> records;
    ParseCmglListing(reply, records, storage);
    if (!join) {
        for (const SmsPdu& r : records)
            std::cout << RecordJson(r, true) << '\n';
        return 0;
    }
    std::vector<MessageGroup> groups;
    JoinLongMessages(records, groups);
    for (const MessageGroup& g : groups)
        std::cout << GroupJson(g) << '\n';
    return 0;
}

}  // namespace
}  // namespace tarnik

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    if (argc < 2)
        return tarnik::UsageError("no command");
    const std::string command = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    if (command == "decode")
        return tarnik::Decode(args);
    if (command == "encode")
        return tarnik::Encode(args);
    if (command == "listing")
        return tarnik::Listing(args);
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(tarnik::kUsage, stdout);
        return 0;
    }
    return tarnik::UsageError("unknown command: " + command);
}
