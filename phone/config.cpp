#include "phone/config.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <utility>

#include "pdu/hex.h"
#include "phone/sms_encoder.h"

namespace tarnik::phone {

namespace {

constexpr char kHelp[] =
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
    "           fault fires (default: every time)\n"
    "  silence = [N] COMMAND     neither echo nor answer\n"
    "  garbage = [N] COMMAND     noise bytes before the answer\n"
    "  garbage_bytes = HEX       the noise (default FF7E3F0D)\n"
    "  disconnect = [N] COMMAND  half of the answer, then the pty closes and PATH is\n"
    "                            linked to a new one\n"
    "  error = [N] COMMAND       \"ERROR\" (after the echo) instead of the answer; the\n"
    "                            command line is not carried out\n"
    "  endless_nul = [N] COMMAND      after the echo, NUL bytes without end instead of\n"
    "  endless_garbage = [N] COMMAND  the answer (the noise of garbage_bytes, or\n"
    "  endless_ring = [N] COMMAND     \"RING\" lines), until the client closes the port\n"
    "  dead = [N] COMMAND        half of the answer, then nothing until the client closes\n"
    "                            the port; the pty stays open\n"
    "  slow = [N] COMMAND        echo and answer one byte at a time, slow_byte_ms apart\n"
    "  slow_byte_ms = N          the pace of slow (default 150)\n"
    "  late = [N] COMMAND        the echo at once, the answer after late_ms of silence\n"
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

std::string Trim(std::string_view text) {
    const size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos)
        return {};
    const size_t end = text.find_last_not_of(" \t\r");
    return std::string(text.substr(begin, end - begin + 1));
}

std::string Upper(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

bool ParseInt(const std::string& text, long min, long max, long& value) {
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtol(text.c_str(), &end, 0);  // 0x.. for statuses
    return *end == '\0' && value >= min && value <= max;
}

bool ParseBool(const std::string& text, bool& value) {
    const std::string v = Upper(text);
    if (v == "ON" || v == "YES" || v == "1" || v == "TRUE") {
        value = true;
        return true;
    }
    if (v == "OFF" || v == "NO" || v == "0" || v == "FALSE") {
        value = false;
        return true;
    }
    return false;
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

bool ParseHexBytes(const std::string& hex, std::string& bytes) {
    const std::string h = Upper(hex);
    if (h.empty() || h.size() % 2 != 0 ||
        h.find_first_not_of("0123456789ABCDEF") != std::string::npos) {
        return false;
    }
    bytes.clear();
    for (size_t i = 0; i < h.size(); i += 2) {
        bytes.push_back(static_cast<char>(HexPairValue(h[i], h[i + 1])));
    }
    return true;
}

bool IsStorage(const std::string& name) {
    return name == "MT" || name == "ME" || name == "SM" || name == "SR";
}

class Parser {
public:
    explicit Parser(PhoneConfig& config) : config_(config) {}

    bool Run(std::istream& in, std::string& error) {
        std::string raw;
        int lineNo = 0;
        while (std::getline(in, raw)) {
            ++lineNo;
            const std::string line = Trim(raw);
            if (line.empty() || line.front() == '#')
                continue;
            std::string problem;
            if (!Line(line, problem)) {
                error = "line " + std::to_string(lineNo) + ": " + problem;
                return false;
            }
        }
        return Finish(error);
    }

private:
    bool Line(const std::string& line, std::string& problem) {
        if (line.front() == '[') {
            if (line.back() != ']')
                return Fail(problem, "unterminated section header");
            std::istringstream words(Trim(line.substr(1, line.size() - 2)));
            std::string name, storage, extra;
            words >> name >> storage >> extra;
            section_ = name;
            storage_ = Upper(storage);
            if (!extra.empty())
                return Fail(problem, "unexpected text in section header");
            if (section_ == "storage") {
                if (storage_ != "ME" && storage_ != "SM" && storage_ != "SR") {
                    return Fail(problem, "storage sections are ME, SM and SR");
                }
                return true;
            }
            if (!storage_.empty())
                return Fail(problem, "unexpected text in section header");
            if (section_ == "phone" || section_ == "submit" || section_ == "report" ||
                section_ == "fault") {
                return true;
            }
            return Fail(problem, "unknown section [" + section_ + "]");
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            return Fail(problem, "expected key = value");
        const std::string key = Trim(line.substr(0, equals));
        const std::string value = Trim(line.substr(equals + 1));
        bool known = true;
        bool ok = false;
        if (section_ == "phone") {
            ok = Phone(key, value, known);
        } else if (section_ == "storage") {
            ok = Storage(key, value, known);
        } else if (section_ == "submit") {
            ok = Submit(key, value, known);
        } else if (section_ == "report") {
            ok = Report(key, value, known);
        } else {
            ok = Fault(key, value, known);
        }
        if (!known)
            return Fail(problem, "unknown key '" + key + "' in [" + section_ + "]");
        if (!ok)
            return Fail(problem, "bad value for '" + key + "': " + value);
        return true;
    }

    bool Phone(const std::string& key, const std::string& value, bool& known) {
        long n = 0;
        if (key == "echo")
            return ParseBool(value, config_.echo);
        if (key == "text_mode")
            return ParseBool(value, config_.textMode);
        if (key == "manufacturer")
            return Text(value, config_.manufacturer);
        if (key == "model")
            return Text(value, config_.model);
        if (key == "revision")
            return Text(value, config_.revision);
        if (key == "imei")
            return Text(value, config_.imei);
        if (key == "imsi")
            return Text(value, config_.imsi);
        if (key == "smsc") {
            config_.smsc = value;
            return value.empty() ||
                   value.find_first_not_of("0123456789", value.front() == '+' ? 1 : 0) ==
                       std::string::npos;
        }
        if (key == "refuse_storage") {
            std::istringstream words(Upper(value));
            std::string name;
            while (words >> name) {
                if (!IsStorage(name))
                    return false;
                config_.refusedStorages.insert(name);
            }
            return true;
        }
        if (key == "storage_refusal") {
            return ParseRefusal(value, config_.storageRefusal) &&
                   (config_.storageRefusal.kind == Refusal::kCms ||
                    config_.storageRefusal.kind == Refusal::kError);
        }
        if (key == "cnmi") {
            std::string setting;
            for (const char c : value) {
                if (c != ' ' && c != '\t')
                    setting.push_back(c);
            }
            if (setting.empty() || setting.find_first_not_of("0123456789,") != std::string::npos) {
                return false;
            }
            config_.cnmiAccepted.insert(setting);
            return true;
        }
        if (key == "byte_delay_us") {
            if (!ParseInt(value, 0, 10000000, n))
                return false;
            config_.byteDelay = std::chrono::microseconds(n);
            return true;
        }
        known = false;
        return false;
    }

    bool Storage(const std::string& key, const std::string& value, bool& known) {
        long n = 0;
        if (key == "capacity") {
            if (!ParseInt(value, 1, 1000, n))
                return false;
            config_.capacity[storage_] = static_cast<int>(n);
            return true;
        }
        std::istringstream words(value);
        std::string statText;
        long stat = 0;
        if (!(words >> statText) || !ParseInt(statText, 0, 3, stat)) {
            known = key == "pdu" || key.rfind("pdu.", 0) == 0 || key == "deliver";
            return false;
        }
        StoredMessage message;
        message.stat = static_cast<int>(stat);
        if (key == "deliver") {
            std::string sender;
            if (!(words >> sender))
                return false;
            std::string text;
            std::getline(words, text);
            // Built in Finish, with the service centre of the whole file.
            delivers_.push_back({storage_, config_.messages[storage_].size(), sender, Trim(text)});
        } else if (key == "pdu" || key.rfind("pdu.", 0) == 0) {
            std::string hex, extra;
            if (!(words >> hex) || (words >> extra))
                return false;
            message.pdu = Upper(hex);
            std::string bytes;
            if (!ParseHexBytes(message.pdu, bytes) || TpduOctets(message.pdu) < 1)
                return false;
            if (key != "pdu") {
                if (!ParseInt(key.substr(4), 1, 1000, n))
                    return false;
                message.index = static_cast<int>(n);
            }
        } else {
            known = false;
            return false;
        }
        config_.messages[storage_].push_back(message);
        return true;
    }

    bool Submit(const std::string& key, const std::string& value, bool& known) {
        long n = 0;
        if (key == "outcome") {
            std::istringstream items(value);
            std::string item;
            while (std::getline(items, item, ',')) {
                Refusal outcome;
                if (!ParseRefusal(Trim(item), outcome))
                    return false;
                config_.submitOutcomes.push_back(outcome);
            }
            return true;
        }
        if (key == "answer_ms") {
            if (!ParseInt(value, 0, 600000, n))
                return false;
            config_.submitAnswerDelay = std::chrono::milliseconds(n);
            return true;
        }
        if (key == "first_mr") {
            if (!ParseInt(value, 0, 255, n))
                return false;
            config_.firstMessageRef = static_cast<int>(n);
            return true;
        }
        known = false;
        return false;
    }

    bool Report(const std::string& key, const std::string& value, bool& known) {
        long n = 0;
        if (key == "delay_ms") {
            if (!ParseInt(value, 0, 3600000, n))
                return false;
            config_.reportDelay = std::chrono::milliseconds(n);
            return true;
        }
        if (key == "status") {
            config_.reportStatuses.clear();
            std::istringstream items(value);
            std::string item;
            while (std::getline(items, item, ',')) {
                if (!ParseInt(Trim(item), 0, 255, n))
                    return false;
                config_.reportStatuses.push_back(static_cast<uint8_t>(n));
            }
            return !config_.reportStatuses.empty();
        }
        if (key == "cds_smsc")
            return ParseBool(value, config_.cdsWithSmsc);
        if (key == "recipient") {
            config_.reportRecipient = value;
            return !value.empty() && value.find_first_not_of("+0123456789") == std::string::npos;
        }
        if (key == "indication") {
            config_.reportIndication.push_back(value);
            return true;
        }
        known = false;
        return false;
    }

    bool Fault(const std::string& key, const std::string& value, bool& known) {
        static const std::pair<const char*, std::vector<FaultRule> PhoneConfig::*> kRules[] = {
            {"silence", &PhoneConfig::silence},
            {"garbage", &PhoneConfig::garbage},
            {"disconnect", &PhoneConfig::disconnect},
            {"error", &PhoneConfig::error},
            {"endless_nul", &PhoneConfig::endlessNul},
            {"endless_garbage", &PhoneConfig::endlessGarbage},
            {"endless_ring", &PhoneConfig::endlessRing},
            {"dead", &PhoneConfig::dead},
            {"slow", &PhoneConfig::slow},
            {"late", &PhoneConfig::late},
        };
        if (key == "garbage_bytes")
            return ParseHexBytes(value, config_.garbageBytes);
        if (key == "late_ms") {
            long n = 0;
            if (!ParseInt(value, 0, 600000, n))
                return false;
            config_.lateDelay = std::chrono::milliseconds(n);
            return true;
        }
        if (key == "slow_byte_ms") {
            long n = 0;
            if (!ParseInt(value, 1, 60000, n))
                return false;
            config_.slowByteDelay = std::chrono::milliseconds(n);
            return true;
        }
        for (const auto& [name, list] : kRules) {
            if (key != name)
                continue;
            FaultRule rule;
            if (!ParseFault(value, rule))
                return false;
            (config_.*list).push_back(rule);
            return true;
        }
        known = false;
        return false;
    }

    static bool Text(const std::string& value, std::string& field) {
        field = value;
        return !value.empty();
    }

    static bool Fail(std::string& problem, std::string text) {
        problem = std::move(text);
        return false;
    }

    // Builds the SMS-DELIVERs and gives every preloaded message without an index the
    // next free one.
    bool Finish(std::string& error) {
        const std::time_t now = std::time(nullptr);
        for (const Deliver& d : delivers_) {
            config_.messages[d.storage][d.position].pdu =
                EncodeDeliver(config_.smsc, d.sender, d.text, now);
        }
        for (auto& [storage, list] : config_.messages) {
            const int capacity = config_.capacity[storage];
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

    struct Deliver {
        std::string storage;
        size_t position;
        std::string sender;
        std::string text;
    };

    PhoneConfig& config_;
    std::vector<Deliver> delivers_;
    std::string section_ = "phone";
    std::string storage_;
};

}  // namespace

bool ParseConfig(std::istream& in, PhoneConfig& config, std::string& error) {
    return Parser(config).Run(in, error);
}

const char* ConfigHelp() {
    return kHelp;
}

}  // namespace tarnik::phone
