#include "phone/config.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <sstream>
#include <type_traits>
#include <utility>

#include "pdu/hex_bytes.h"
#include "phone/sms_encoder.h"

namespace tarnik::phone {

namespace {

// Up to the rows of the fault kinds.
constexpr char kHelpHead[] =
    "Configuration file: \"key = value\" lines under [section] headers; lines starting\n"
    "with '#' and blank lines are ignored; keys before the first header belong to [phone].\n"
    "\n"
    "[phone]\n"
    "  echo = on|off             command echo after start and ATZ (default on)\n"
    "  manufacturer = TEXT       AT+CGMI (also model: AT+CGMM, revision: AT+CGMR,\n"
    "                            imei: AT+CGSN, imsi: AT+CIMI)\n"
    "  smsc = NUMBER             AT+CSCA? and the SMSC field of reports (+48601000310)\n"
    "  text_mode = on|off        whether AT+CMGF=1 is accepted (default on; SMS commands\n"
    "                            still work in PDU mode only)\n"
    "  refuse_storage = NAME ... storages AT+CPMS refuses: MT, ME, SM, SR\n"
    "  storage_refusal = cms N | error\n"
    "                            the answer to a refused storage (default cms 302)\n"
    "  cnmi = M,MT,BM,DS,BFR     one accepted AT+CNMI setting, compared without blanks;\n"
    "                            repeat the key for more; without any, all are accepted\n"
    "  byte_delay_us = N         pause before every byte the phone sends (default 0)\n"
    "\n"
    "[storage ME], [storage SM], [storage SR]   (MT is ME and SM together; SM indexes\n"
    "                            appear in MT after the ME capacity)\n"
    "  capacity = N              size of the storage (ME 50, SM 20, SR 20)\n"
    "  pdu = STAT HEX            a stored PDU at the next free index; STAT 0 received\n"
    "                            unread, 1 received read, 2 stored unsent, 3 stored sent\n"
    "  pdu.N = STAT HEX          the same at index N\n"
    "  deliver = STAT SENDER TEXT\n"
    "                            an SMS-DELIVER from SENDER (digits, '+' for an\n"
    "                            international number) in GSM 7-bit, received now\n"
    "\n"
    "[submit]\n"
    "  outcome = ok | cms N | error | silent\n"
    "                            answers to submissions (PDU + Ctrl-Z) in order, one per\n"
    "                            key or comma-separated; after the last, ok. A refused\n"
    "                            submission gets no reference and no report. A PDU\n"
    "                            that is no SMS-SUBMIT or whose TPDU length differs\n"
    "                            from AT+CMGS=<n> always gets +CMS ERROR: 304\n"
    "  first_mr = N              the first \"+CMGS:\" reference, counting up (default 1)\n"
    "  answer_ms = N             silence from Ctrl-Z to the answer (default 0)\n"
    "\n"
    "[report]   for submissions with TP-SRR, routed by the AT+CNMI in force when due:\n"
    "           <ds> 1 gives +CDS, <ds> 2 stores in SR and gives +CDSI, <ds> 0 or\n"
    "           <mode> 0 store in SR without a word\n"
    "  delay_ms = N              from \"+CMGS:\" to the report (default 2000)\n"
    "  status = N, N, ...        TP-Status of reports in order, last repeated (default 0)\n"
    "  cds_smsc = on|off         whether +CDS PDUs carry the SMSC field (default on)\n"
    "  recipient = NUMBER        TP-RA of every report, instead of the submission's TP-DA\n"
    "  indication = TEXT         sent instead of the report (nothing is stored); repeat\n"
    "                            the key for more lines\n"
    "\n"
    "[fault]    COMMAND is a whole command line, case ignored; N limits how often the\n"
    "           fault fires (default: every time)\n";

// After the faults' own rows.
constexpr char kHelpTail[] =
    "  garbage_bytes = HEX       the noise (default FF7E3F0D)\n"
    "  slow_byte_ms = N          the pace of slow (default 150)\n"
    "  late_ms = N               the silence of late (default 1000)\n"
    "\n"
    "Example: a phone without the MT storage that answers reports only when stored,\n"
    "turns down the first submission as congested and reports a delivery failure:\n"
    "  refuse_storage = MT\n"
    "  cnmi = 1,0,0,2,1\n"
    "  [storage SM]\n"
    "  deliver = 0 +48601234567 See you at eight\n"
    "  [submit]\n"
    "  outcome = cms 42\n"
    "  [report]\n"
    "  delay_ms = 3000\n"
    "  status = 0x46\n";

bool ParseInt(const std::string& text, long min, long max, long& value) {
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtol(text.c_str(), &end, 0);  // 0x.. for statuses
    return *end == '\0' && value >= min && value <= max;
}

bool ParseBool(const std::string& text, bool& value) {
    const std::string v = Upper(text);
    const bool on = v == "ON" || v == "YES" || v == "1" || v == "TRUE";
    if (!on && v != "OFF" && v != "NO" && v != "0" && v != "FALSE")
        return false;
    value = on;
    return true;
}

bool ParseRefusal(const std::string& text, Refusal& refusal) {
    std::istringstream words(Upper(text));
    std::string kind, extra;
    words >> kind;
    if (kind == "CMS") {
        std::string code;
        long value = 0;
        if (!(words >> code) || !ParseInt(code, 0, 511, value))
            return false;
        refusal = {Refusal::kCms, static_cast<int>(value)};
    } else if (kind == "OK") {
        refusal = {Refusal::kOk, 0};
    } else if (kind == "ERROR") {
        refusal = {Refusal::kError, 0};
    } else if (kind == "SILENT") {
        refusal = {Refusal::kSilent, 0};
    } else {
        return false;
    }
    return !(words >> extra);
}

bool ParseFault(const std::string& text, FaultRule& rule) {
    rule = {};
    std::string rest = text;
    if (!rest.empty() && std::isdigit(static_cast<unsigned char>(rest.front()))) {
        const size_t space = rest.find(' ');
        long count = 0;
        if (space == std::string::npos || !ParseInt(rest.substr(0, space), 1, 1000000, count)) {
            return false;
        }
        rule.remaining = static_cast<int>(count);
        rest = Trim(rest.substr(space));
    }
    if (Upper(rest.substr(0, 2)) != "AT")
        return false;
    rule.command = Upper(rest);
    return true;
}

struct Deliver {
    std::string storage;
    size_t position;
    std::string sender;
    std::string text;
};

// Where one value goes, and what the parser knows while it reads it.
struct Reading {
    PhoneConfig& config;
    std::string storage;  // of the current [storage] section
    std::string key;
    std::vector<Deliver> delivers;  // built at the end, with the whole file's SMSC
};

// Reads one value into the configuration; false when the value is bad.
using ReadValue = bool (*)(Reading& reading, const std::string& value);

template <auto field>
bool Flag(Reading& r, const std::string& value) {
    return ParseBool(value, r.config.*field);
}

// Any text but none.
template <auto field>
bool Text(Reading& r, const std::string& value) {
    r.config.*field = value;
    return !value.empty();
}

// A number from `min` to `max`, in the field's own unit.
template <auto field, long min, long max>
bool Number(Reading& r, const std::string& value) {
    long n = 0;
    if (!ParseInt(value, min, max, n))
        return false;
    r.config.*field = std::remove_reference_t<decltype(r.config.*field)>(n);
    return true;
}

// An SMSC: none, or digits with an optional '+' before them.
bool Smsc(Reading& r, const std::string& value) {
    r.config.smsc = value;
    return value.empty() ||
           value.find_first_not_of("0123456789", value.front() == '+' ? 1 : 0) == std::string::npos;
}

bool Recipient(Reading& r, const std::string& value) {
    r.config.reportRecipient = value;
    return !value.empty() && value.find_first_not_of("+0123456789") == std::string::npos;
}

bool RefusedStorages(Reading& r, const std::string& value) {
    std::istringstream words(Upper(value));
    std::string name;
    while (words >> name) {
        if (name != "MT" && name != "ME" && name != "SM" && name != "SR")
            return false;
        r.config.refusedStorages.insert(name);
    }
    return true;
}

bool StorageRefusal(Reading& r, const std::string& value) {
    return ParseRefusal(value, r.config.storageRefusal) &&
           (r.config.storageRefusal.kind == Refusal::kCms ||
            r.config.storageRefusal.kind == Refusal::kError);
}

bool Cnmi(Reading& r, const std::string& value) {
    std::string setting;
    for (const char c : value) {
        if (c != ' ' && c != '\t')
            setting.push_back(c);
    }
    if (setting.empty() || setting.find_first_not_of("0123456789,") != std::string::npos)
        return false;
    r.config.cnmiAccepted.insert(setting);
    return true;
}

bool Capacity(Reading& r, const std::string& value) {
    long n = 0;
    if (!ParseInt(value, 1, 1000, n))
        return false;
    r.config.capacity[r.storage] = static_cast<int>(n);
    return true;
}

// "STAT HEX" for pdu and pdu.N, "STAT SENDER TEXT" for deliver.
bool Message(Reading& r, const std::string& value) {
    std::istringstream words(value);
    std::string statText;
    long stat = 0;
    if (!(words >> statText) || !ParseInt(statText, 0, 3, stat))
        return false;
    StoredMessage message;
    message.stat = static_cast<int>(stat);
    std::vector<StoredMessage>& messages = r.config.messages[r.storage];
    if (r.key == "deliver") {
        std::string sender, text;
        if (!(words >> sender))
            return false;
        std::getline(words, text);
        r.delivers.push_back({r.storage, messages.size(), sender, Trim(text)});
    } else {
        std::string hex, extra, bytes;
        if (!(words >> hex) || (words >> extra))
            return false;
        message.pdu = Upper(hex);
        if (!BytesFromHex(message.pdu, bytes) || TpduOctets(message.pdu) < 1)
            return false;
        long n = 0;
        if (r.key != "pdu") {
            if (!ParseInt(r.key.substr(4), 1, 1000, n))
                return false;
            message.index = static_cast<int>(n);
        }
    }
    messages.push_back(message);
    return true;
}

bool Outcomes(Reading& r, const std::string& value) {
    std::istringstream items(value);
    std::string item;
    while (std::getline(items, item, ',')) {
        Refusal outcome;
        if (!ParseRefusal(Trim(item), outcome))
            return false;
        r.config.submitOutcomes.push_back(outcome);
    }
    return true;
}

bool Statuses(Reading& r, const std::string& value) {
    r.config.reportStatuses.clear();
    std::istringstream items(value);
    std::string item;
    long n = 0;
    while (std::getline(items, item, ',')) {
        if (!ParseInt(Trim(item), 0, 255, n))
            return false;
        r.config.reportStatuses.push_back(static_cast<uint8_t>(n));
    }
    return !r.config.reportStatuses.empty();
}

bool Indication(Reading& r, const std::string& value) {
    r.config.reportIndication.push_back(value);
    return true;
}

bool Noise(Reading& r, const std::string& value) {
    return !value.empty() && BytesFromHex(value, r.config.garbageBytes);
}

// One key of the file: its section, its name, and how its value is read and where it
// goes. The faults' keys in [fault] are the names in kFaultKinds.
struct Setting {
    const char* section;
    const char* key;  // one ending in '.' takes any ending: "pdu." is pdu.N
    ReadValue read;
};

const Setting kSettings[] = {
    {"phone", "echo", Flag<&PhoneConfig::echo>},
    {"phone", "text_mode", Flag<&PhoneConfig::textMode>},
    {"phone", "manufacturer", Text<&PhoneConfig::manufacturer>},
    {"phone", "model", Text<&PhoneConfig::model>},
    {"phone", "revision", Text<&PhoneConfig::revision>},
    {"phone", "imei", Text<&PhoneConfig::imei>},
    {"phone", "imsi", Text<&PhoneConfig::imsi>},
    {"phone", "smsc", Smsc},
    {"phone", "refuse_storage", RefusedStorages},
    {"phone", "storage_refusal", StorageRefusal},
    {"phone", "cnmi", Cnmi},
    {"phone", "byte_delay_us", Number<&PhoneConfig::byteDelay, 0, 10000000>},
    {"storage", "capacity", Capacity},
    {"storage", "pdu", Message},
    {"storage", "pdu.", Message},
    {"storage", "deliver", Message},
    {"submit", "outcome", Outcomes},
    {"submit", "first_mr", Number<&PhoneConfig::firstMessageRef, 0, 255>},
    {"submit", "answer_ms", Number<&PhoneConfig::submitAnswerDelay, 0, 600000>},
    {"report", "delay_ms", Number<&PhoneConfig::reportDelay, 0, 3600000>},
    {"report", "status", Statuses},
    {"report", "cds_smsc", Flag<&PhoneConfig::cdsWithSmsc>},
    {"report", "recipient", Recipient},
    {"report", "indication", Indication},
    {"fault", "garbage_bytes", Noise},
    {"fault", "slow_byte_ms", Number<&PhoneConfig::slowByteDelay, 1, 60000>},
    {"fault", "late_ms", Number<&PhoneConfig::lateDelay, 0, 600000>},
};

const Setting* FindSetting(const std::string& section, const std::string& key) {
    for (const Setting& s : kSettings) {
        const std::string_view name = s.key;
        const bool prefix = name.back() == '.' && key.rfind(name, 0) == 0;
        if (section == s.section && (key == name || prefix))
            return &s;
    }
    return nullptr;
}

// A fault line, "[N] COMMAND", in [fault] under the name of one of the fault kinds.
std::optional<bool> ReadFault(Reading& r, const std::string& value) {
    for (size_t kind = 0; kind < std::size(kFaultKinds); ++kind) {
        if (r.key != kFaultKinds[kind].name)
            continue;
        FaultRule rule;
        if (!ParseFault(value, rule))
            return false;
        rule.kind = kind;
        r.config.faults.push_back(rule);
        return true;
    }
    return std::nullopt;
}

class Parser {
public:
    explicit Parser(PhoneConfig& config) : reading_{config, {}, {}, {}} {}

    bool Run(std::istream& in, std::string& error) {
        std::string raw;
        int lineNo = 0;
        while (std::getline(in, raw)) {
            ++lineNo;
            const std::string line = Trim(raw);
            if (line.empty() || line.front() == '#')
                continue;
            std::string problem;
            if (!(line.front() == '[' ? Section(line, problem) : KeyValue(line, problem))) {
                error = "line " + std::to_string(lineNo) + ": " + problem;
                return false;
            }
        }
        return Finish(error);
    }

private:
    bool Section(const std::string& line, std::string& problem) {
        if (line.back() != ']')
            return Fail(problem, "unterminated section header");
        std::istringstream words(Trim(line.substr(1, line.size() - 2)));
        std::string name, storage, extra;
        words >> name >> storage >> extra;
        section_ = name;
        reading_.storage = Upper(storage);
        if (!extra.empty())
            return Fail(problem, "unexpected text in section header");
        if (section_ == "storage") {
            const std::string& s = reading_.storage;
            return s == "ME" || s == "SM" || s == "SR" ||
                   Fail(problem, "storage sections are ME, SM and SR");
        }
        if (!storage.empty())
            return Fail(problem, "unexpected text in section header");
        const bool known = std::any_of(std::begin(kSettings), std::end(kSettings),
                                       [&](const Setting& s) { return section_ == s.section; });
        return known || Fail(problem, "unknown section [" + section_ + "]");
    }

    bool KeyValue(const std::string& line, std::string& problem) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            return Fail(problem, "expected key = value");
        const std::string& key = reading_.key = Trim(line.substr(0, equals));
        const std::string value = Trim(line.substr(equals + 1));
        std::optional<bool> ok;
        if (const Setting* setting = FindSetting(section_, key))
            ok = setting->read(reading_, value);
        else if (section_ == "fault")
            ok = ReadFault(reading_, value);
        if (!ok)
            return Fail(problem, "unknown key '" + key + "' in [" + section_ + "]");
        return *ok || Fail(problem, "bad value for '" + key + "': " + value);
    }

    static bool Fail(std::string& problem, std::string text) {
        problem = std::move(text);
        return false;
    }

    // Builds the SMS-DELIVERs and gives every preloaded message without an index the
    // next free one.
    bool Finish(std::string& error) {
        const std::time_t now = std::time(nullptr);
        for (const Deliver& d : reading_.delivers) {
            reading_.config.messages[d.storage][d.position].pdu =
                EncodeDeliver(reading_.config.smsc, d.sender, d.text, now);
        }
        for (auto& [storage, list] : reading_.config.messages) {
            const int capacity = reading_.config.capacity[storage];
            std::set<int> used;
            for (const StoredMessage& m : list) {
                if (m.index == 0)
                    continue;
                if (m.index > capacity || !used.insert(m.index).second) {
                    error = "storage " + storage + ": index " + std::to_string(m.index) +
                            " is taken or beyond the capacity";
                    return false;
                }
            }
            int next = 1;
            for (StoredMessage& m : list) {
                if (m.index != 0)
                    continue;
                while (used.count(next) != 0)
                    ++next;
                if (next > capacity) {
                    error = "storage " + storage + ": more messages than its capacity";
                    return false;
                }
                m.index = next;
                used.insert(next);
            }
            std::sort(list.begin(), list.end(), [](const StoredMessage& a, const StoredMessage& b) {
                return a.index < b.index;
            });
        }
        return true;
    }

    Reading reading_;
    std::string section_ = "phone";
};

}  // namespace

std::string Trim(std::string_view text) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return {};
    const size_t end = text.find_last_not_of(" \t\r\n");
    return std::string(text.substr(begin, end - begin + 1));
}

std::string Upper(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

bool ParseConfig(std::istream& in, PhoneConfig& config, std::string& error) {
    return Parser(config).Run(in, error);
}

std::string ConfigHelp() {
    std::string help = kHelpHead;
    for (const FaultKind& fault : kFaultKinds)
        help += HelpRow("  " + std::string(fault.name) + " = [N] COMMAND", 28, fault.help);
    return help + kHelpTail;
}

std::string HelpRow(const std::string& usage, size_t column, const std::string& text) {
    std::string row = usage + (usage.size() < column ? std::string(column - usage.size(), ' ')
                                                     : "\n" + std::string(column, ' '));
    for (const char c : text)
        row += c == '\n' ? "\n" + std::string(column, ' ') : std::string(1, c);
    return row + "\n";
}

}  // namespace tarnik::phone
