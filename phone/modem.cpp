#include "phone/modem.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "pdu/pdu_builder.h"
#include "pdu/pdu_decoder.h"

namespace tarnik::phone {

namespace {

constexpr char kCtrlZ = 0x1A;
constexpr char kEscape = 0x1B;
// V.25ter 5.2.1 asks for at least 40 characters; phones take a few hundred.
constexpr size_t kMaxLine = 1024;
// TS 27.005 3.5.1: an SMSC field of 12 octets and a TPDU of 164, in hexadecimal.
constexpr size_t kMaxPduChars = 2 * (12 + 164);
// TS 27.005 3.2.5 <err> values.
constexpr int kCmsOperationNotAllowed = 302;
constexpr int kCmsOperationNotSupported = 303;
constexpr int kCmsInvalidPduParameter = 304;
constexpr int kCmsInvalidIndex = 321;

// V.25ter 5.7.1 information text.
std::string Info(const std::string& text) {
    return "\r\n" + text + "\r\n";
}

// A decimal parameter; false for anything else, empty text included.
bool ParseNumber(const std::string& text, int min, int max, int& value) {
    const std::string t = Trim(text);
    if (t.empty() || t.size() > 6 || t.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    value = std::atoi(t.c_str());
    return value >= min && value <= max;
}

// Comma-separated parameters with their double quotes removed.
std::vector<std::string> Parameters(const std::string& text) {
    std::vector<std::string> out;
    std::string current;
    bool quoted = false;
    for (const char c : text) {
        if (c == '"') {
            quoted = !quoted;
        } else if (c == ',' && !quoted) {
            out.push_back(Trim(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    out.push_back(Trim(current));
    return out;
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

bool IsSetSuffix(const std::string& suffix) {
    return suffix.size() > 1 && suffix[0] == '=' && suffix != "=?";
}

using Result = Modem::Result;

Result Accept(bool accepted) {
    Result r;
    r.kind = accepted ? Result::kOk : Result::kError;
    return r;
}

Result Cms(int code) {
    Result r;
    r.kind = Result::kCms;
    r.code = code;
    return r;
}

// An action command that shows a fixed text; its test form answers OK alone.
Result Fixed(const std::string& suffix, const std::string& text) {
    Result r = Accept(suffix.empty() || suffix == "=?");
    if (suffix.empty())
        r.info = Info(text);
    return r;
}

// An extended command with read (?), test (=?) and set (=<value>) forms: `read` and `test`
// are the texts they show ("" for none), `set` takes the value and refuses it with false.
template <typename Set>
Result Form(const std::string& suffix, const std::string& read, const std::string& test, Set set) {
    Result r;
    if (suffix == "?" || suffix == "=?") {
        const std::string& text = suffix == "?" ? read : test;
        if (!text.empty())
            r.info = Info(text);
    } else if (!IsSetSuffix(suffix) || !set(suffix.substr(1), r)) {
        return Accept(false);
    }
    return r;
}

// A set form that takes any value.
bool AnyValue(const std::string&, Result&) {
    return true;
}

// A set form that keeps a number from 0 to `max` in `field`.
auto Keep(int& field, int max) {
    return [&field, max](const std::string& value, Result&) {
        int n = 0;
        if (!ParseNumber(value, 0, max, n))
            return false;
        field = n;
        return true;
    };
}

}  // namespace

Modem::Modem(PhoneConfig config, EventLog& log, std::function<std::time_t()> wallClock)
    : config_(std::move(config)), log_(log), wallClock_(std::move(wallClock)) {
    for (const char* name : {"ME", "SM", "SR"}) {
        Storage& storage = storages_[name];
        storage.capacity = config_.capacity[name];
        for (const StoredMessage& m : config_.messages[name])
            storage.slots[m.index] = m;
    }
    smsc_ = config_.smsc;
    nextMessageRef_ = config_.firstMessageRef;
    ResetSettings();
}

void Modem::ResetSettings() {
    echo_ = config_.echo;
    textMode_ = false;
    cmee_ = 0;
    cnmi_ = {0, 0, 0, 0, 0};
}

void Modem::LinkReset() {
    line_.clear();
    lineOverflow_ = false;
    prompt_ = false;
    pdu_.clear();
}

std::vector<Emission> Modem::TakeOutput() {
    std::vector<Emission> out;
    out.swap(output_);
    return out;
}

void Modem::Receive(std::string_view bytes, Clock::time_point now) {
    now_ = now;
    for (const char c : bytes) {
        if (prompt_) {
            PromptByte(c, now);
        } else if (c == '\r') {
            std::string line;
            line.swap(line_);
            if (lineOverflow_) {
                lineOverflow_ = false;
                log_.Line("RX", line + "...");
                Send(Info("ERROR"));
            } else {
                CommandLine(line);
            }
        } else if (c == '\n' && line_.empty()) {
            // The LF of a CR LF terminator: V.25ter ends the line at S3 (CR) alone.
        } else if (c == '\b' || c == 0x7F) {
            if (!line_.empty())
                line_.pop_back();
        } else if (line_.size() < kMaxLine) {
            line_.push_back(c);
        } else {
            lineOverflow_ = true;
        }
    }
}

void Modem::CommandLine(const std::string& raw) {
    std::string line = Trim(raw);
    if (line.empty())
        return;
    log_.Line("RX", line);
    // V.25ter 5.2.1: whatever precedes the "AT" prefix is not part of the command.
    const size_t at = Upper(line).find("AT");
    const std::string key = at == std::string::npos ? std::string() : Upper(line.substr(at));
    if (Strike(FaultStage::kLine, key))
        return;
    const size_t first = output_.size();
    Answer(raw, line, at, key);
    Strike(FaultStage::kPace, key, {}, first);
}

void Modem::Answer(const std::string& raw, const std::string& line, size_t at,
                   const std::string& key) {
    if (echo_)
        output_.push_back({Emission::kBytes, raw + "\r"});
    answerStart_ = output_.size();
    if (at == std::string::npos || Strike(FaultStage::kCommand, key))
        return;

    const std::string body = line.substr(at + 2);
    std::string reply;
    Result failure;
    bool failed = false;
    size_t pos = 0;
    while (pos < body.size() && !failed) {
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(body[pos])));
        Result r;
        if (c == ';' || c == ' ') {
            ++pos;
            continue;
        }
        if (c == '+' || c == '*' || c == '^' || c == '$' || c == '%') {
            size_t end = pos + 1;
            while (end < body.size() && std::isalnum(static_cast<unsigned char>(body[end])))
                ++end;
            size_t stop = end;
            bool quoted = false;
            while (stop < body.size() && (quoted || body[stop] != ';')) {
                if (body[stop] == '"')
                    quoted = !quoted;
                ++stop;
            }
            r = Run(Upper(body.substr(pos, end - pos)), body.substr(end, stop - end));
            pos = stop;
        } else if (c == 'S' || c == '&' || std::isalpha(static_cast<unsigned char>(c))) {
            size_t end = pos + 1;
            if (c == '&' && end < body.size())
                ++end;
            const bool sRegister = c == 'S';
            while (end < body.size() && (std::isdigit(static_cast<unsigned char>(body[end])) ||
                                         (sRegister && (body[end] == '=' || body[end] == '?')))) {
                ++end;
            }
            r = Run(std::string(1, c), Upper(body.substr(pos + 1, end - pos - 1)));
            pos = end;
        } else {
            r.kind = Result::kError;
        }
        reply += r.info;
        if (r.kind == Result::kPrompt) {
            // TS 27.005 3.5.1: the PDU follows the prompt; the rest of the line is lost.
            Reply(reply + "\r\n> ", key);
            prompt_ = true;
            pdu_.clear();
            return;
        }
        if (r.kind != Result::kOk) {
            failure = r;
            failed = true;
        }
    }
    if (!failed) {
        reply += Info("OK");
    } else if (failure.kind == Result::kCms) {
        reply += Info("+CMS ERROR: " + std::to_string(failure.code));
    } else {
        reply += Info("ERROR");
    }
    Reply(reply, key);
}

// A command carried out by one of the processor's own members.
template <auto method>
auto Call(Modem& modem, const std::string& suffix) {
    return (modem.*method)(suffix);
}

struct Modem::Command {
    const char* names;      // after "AT", one or more separated by blanks
    const char* arguments;  // what may follow the name, for the help
    const char* help;
    Result (*handler)(Modem& modem, const std::string& suffix);
};

const std::vector<Modem::Command>& Modem::Commands() {
    // Basic commands get their digits (or, for S, "<n>=<v>" and "<n>?") upper-cased, the
    // extended ones the rest of the command up to ";" as typed.
    static const std::vector<Command> kCommands = {
        {"E", "[0|1]", "echo of command lines off or on",
         [](Modem& m, const std::string& a) {
             if (a != "" && a != "0" && a != "1")
                 return Accept(false);
             m.echo_ = a == "1";
             return Accept(true);
         }},
        {"V", "1", "verbose result codes, the only kind",
         [](Modem&, const std::string& a) { return Accept(a == "1"); }},
        {"Q", "[0]", "result codes sent, the only choice",
         [](Modem&, const std::string& a) { return Accept(a == "" || a == "0"); }},
        {"Z", "", "resets echo, +CMGF, +CMEE and +CNMI",
         [](Modem& m, const std::string&) {
             m.ResetSettings();
             return Accept(true);
         }},
        {"I", "", "manufacturer and model, then revision",
         [](Modem& m, const std::string&) {
             Result r;
             r.info =
                 Info(m.config_.manufacturer + " " + m.config_.model) + Info(m.config_.revision);
             return r;
         }},
        {"X H L M", "[<n>]", "accepted and ignored",
         [](Modem&, const std::string&) { return Accept(true); }},
        // S<n>=<v> is accepted and forgotten; S<n>? reads the V.25ter defaults.
        {"S", "<n>=<v>|<n>?", "values forgotten; S3/S4/S5 read 013/010/008",
         [](Modem&, const std::string& a) {
             Result r = Accept(!a.empty());
             if (a.find('?') != std::string::npos) {
                 const int n = std::atoi(a.c_str());
                 const int value = n == 3 ? 13 : n == 4 ? 10 : n == 5 ? 8 : 0;
                 char text[8];
                 std::snprintf(text, sizeof text, "%03d", value);
                 r.info = Info(text);
             }
             return r;
         }},
        {"&", "<x>[<n>]", "&F as Z, any other accepted and ignored",
         [](Modem& m, const std::string& a) {
             if (!a.empty() && a[0] == 'F')
                 m.ResetSettings();
             return Accept(!a.empty());
         }},
        {"+CGMI +GMI", "", "manufacturer",
         [](Modem& m, const std::string& s) { return Fixed(s, m.config_.manufacturer); }},
        {"+CGMM +GMM", "", "model",
         [](Modem& m, const std::string& s) { return Fixed(s, m.config_.model); }},
        {"+CGMR +GMR", "", "revision",
         [](Modem& m, const std::string& s) { return Fixed(s, m.config_.revision); }},
        {"+CGSN +GSN", "", "IMEI",
         [](Modem& m, const std::string& s) { return Fixed(s, m.config_.imei); }},
        {"+CIMI", "", "IMSI",
         [](Modem& m, const std::string& s) { return Fixed(s, m.config_.imsi); }},
        {"+GCAP", "", "capabilities: +CGSM",
         [](Modem&, const std::string& s) { return Fixed(s, "+GCAP: +CGSM"); }},
        {"+CSQ", "", "signal quality: 21,99",
         [](Modem&, const std::string& s) { return Fixed(s, "+CSQ: 21,99"); }},
        {"+CBC", "", "battery: 0,80",
         [](Modem&, const std::string& s) { return Fixed(s, "+CBC: 0,80"); }},
        {"+CNUM", "", "own numbers: none",
         [](Modem&, const std::string& s) { return Accept(s.empty() || s == "=?"); }},
        {"+CPIN", "?|=<pin>", "SIM ready, any PIN accepted",
         [](Modem&, const std::string& s) { return Form(s, "+CPIN: READY", "", AnyValue); }},
        {"+CFUN", "?|=<fun>[,<rst>]", "full functionality",
         [](Modem&, const std::string& s) {
             return Form(s, "+CFUN: 1", "+CFUN: (0,1),(0,1)", AnyValue);
         }},
        {"+COPS", "?|=<mode>[,...]", "registered to TARNIK NET",
         [](Modem&, const std::string& s) {
             return Form(s, "+COPS: 0,0,\"TARNIK NET\"", "", AnyValue);
         }},
        {"+CREG", "?|=0..2", "home network; the setting is kept",
         [](Modem& m, const std::string& s) {
             return Form(s, "+CREG: " + std::to_string(m.creg_) + ",1", "+CREG: (0-2)",
                         Keep(m.creg_, 2));
         }},
        {"+CMEE", "?|=0..2", "kept; errors stay ERROR, +CMS ERROR",
         [](Modem& m, const std::string& s) {
             return Form(s, "+CMEE: " + std::to_string(m.cmee_), "+CMEE: (0-2)", Keep(m.cmee_, 2));
         }},
        {"+CSCS", "?|=<set>", "GSM, IRA, 8859-1, PCCP437, UCS2 or HEX",
         [](Modem& m, const std::string& s) {
             static const std::vector<std::string> kSets{"GSM",     "IRA",  "8859-1",
                                                         "PCCP437", "UCS2", "HEX"};
             return Form(s, "+CSCS: " + Quoted(m.charset_),
                         "+CSCS: (\"GSM\",\"IRA\",\"8859-1\",\"PCCP437\",\"UCS2\",\"HEX\")",
                         [&m](const std::string& v, Result&) {
                             const std::string set = Upper(Parameters(v).front());
                             if (std::find(kSets.begin(), kSets.end(), set) == kSets.end())
                                 return false;
                             m.charset_ = set;
                             return true;
                         });
         }},
        {"+CSCA", "?|=<number>[,<type>]", "service centre address",
         [](Modem& m, const std::string& s) {
             const bool international = !m.smsc_.empty() && m.smsc_.front() == '+';
             return Form(s, "+CSCA: " + Quoted(m.smsc_) + "," + (international ? "145" : "129"), "",
                         [&m](const std::string& v, Result&) {
                             m.smsc_ = Parameters(v).front();
                             return true;
                         });
         }},
        // TS 27.005 3.2.1: phase 2+ services all supported.
        {"+CSMS", "?|=0|1", "phase 2+ services, all supported",
         [](Modem&, const std::string& s) {
             return Form(s, "+CSMS: 0,1,1,1", "+CSMS: (0,1)", [](const std::string& v, Result& r) {
                 int n = 0;
                 if (!ParseNumber(v, 0, 1, n))
                     return false;
                 r.info = Info("+CSMS: 1,1,1");
                 return true;
             });
         }},
        {"+CMGF", "?|=0|1", "PDU mode; text mode only if configured",
         [](Modem& m, const std::string& s) {
             return Form(s, m.textMode_ ? "+CMGF: 1" : "+CMGF: 0",
                         m.config_.textMode ? "+CMGF: (0,1)" : "+CMGF: (0)",
                         [&m](const std::string& v, Result&) {
                             int n = 0;
                             if (!ParseNumber(v, 0, m.config_.textMode ? 1 : 0, n))
                                 return false;
                             m.textMode_ = n == 1;
                             return true;
                         });
         }},
        {"+CPMS", "?|=<mem1>[,<mem2>[,<mem3>]]", "storages ME, SM, MT (both), SR (reports)",
         Call<&Modem::Cpms>},
        {"+CNMI", "?|=<mode>,<mt>,<bm>,<ds>,<bfr>", "reports as +CDS (ds 1) or +CDSI (ds 2)",
         Call<&Modem::Cnmi>},
        {"+CMGL", "[=<stat>]", "lists <mem1>, 4 for every message", Call<&Modem::Cmgl>},
        {"+CMGR", "=<index>", "reads one message of <mem1>", Call<&Modem::Cmgr>},
        {"+CMGD", "=<index>[,<flag>]", "deletes one, or by status with <flag>", Call<&Modem::Cmgd>},
        {"+CMGS", "=<length>", "PDU after \"> \"; Ctrl-Z sends, Esc cancels", Call<&Modem::Cmgs>},
    };
    return kCommands;
}

Modem::Result Modem::Run(const std::string& name, const std::string& suffix) {
    for (const Command& command : Commands()) {
        if ((std::string(" ") + command.names + " ").find(" " + name + " ") != std::string::npos)
            return command.handler(*this, suffix);
    }
    return Accept(false);
}

std::string Modem::CommandHelp() {
    std::string help =
        "Commands, several to a line after one \"AT\" (the extended ones separated by \";\");\n"
        "every extended command also answers its test form \"=?\":\n";
    for (const Command& command : Commands()) {
        std::string usage = "AT" + std::string(command.names);
        for (size_t blank = usage.find(' '); blank != std::string::npos;
             blank = usage.find(' ', blank + 4))
            usage.replace(blank, 1, ", AT");
        help += HelpRow("  " + usage + command.arguments, 36, command.help);
    }
    return help + "\n";
}

bool Modem::StorageRefused(const std::string& name) const {
    return config_.refusedStorages.count(name) != 0;
}

std::vector<Modem::Slot> Modem::View(const std::string& storage) const {
    std::vector<Slot> slots;
    if (storage == "MT") {
        const int meCapacity = storages_.at("ME").capacity;
        for (const auto& [index, m] : storages_.at("ME").slots)
            slots.push_back({"ME", index, index});
        for (const auto& [index, m] : storages_.at("SM").slots) {
            slots.push_back({"SM", index, meCapacity + index});
        }
        return slots;
    }
    for (const auto& [index, m] : storages_.at(storage).slots)
        slots.push_back({storage, index, index});
    return slots;
}

std::optional<Modem::Slot> Modem::Find(const std::string& storage, int shown) const {
    for (const Slot& slot : View(storage)) {
        if (slot.shown == shown)
            return slot;
    }
    return std::nullopt;
}

std::string Modem::Usage(const std::string& storage) const {
    int used = 0;
    int total = 0;
    for (const char* part : {"ME", "SM"}) {
        if (storage == "MT" || storage == part) {
            used += static_cast<int>(storages_.at(part).slots.size());
            total += storages_.at(part).capacity;
        }
    }
    if (storage == "SR") {
        used = static_cast<int>(storages_.at("SR").slots.size());
        total = storages_.at("SR").capacity;
    }
    return std::to_string(used) + "," + std::to_string(total);
}

Modem::Result Modem::Cpms(const std::string& suffix) {
    Result r;
    if (suffix == "?") {
        r.info = Info("+CPMS: " + Quoted(mem1_) + "," + Usage(mem1_) + "," + Quoted(mem2_) + "," +
                      Usage(mem2_) + "," + Quoted(mem3_) + "," + Usage(mem3_));
        return r;
    }
    if (suffix == "=?") {
        std::string reading, writing;
        for (const char* name : {"ME", "SM", "MT", "SR"}) {
            if (StorageRefused(name))
                continue;
            reading += std::string(reading.empty() ? "" : ",") + Quoted(name);
            if (std::string(name) != "SR")
                writing += std::string(writing.empty() ? "" : ",") + Quoted(name);
        }
        r.info = Info("+CPMS: (" + reading + "),(" + writing + "),(" + writing + ")");
        return r;
    }
    if (!IsSetSuffix(suffix))
        return Accept(false);
    const std::vector<std::string> names = Parameters(suffix.substr(1));
    if (names.size() > 3)
        return Accept(false);
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string name = Upper(names[i]);
        const bool known = name == "MT" || name == "ME" || name == "SM" || (name == "SR" && i == 0);
        if (!known || StorageRefused(name)) {
            const Refusal& refusal = config_.storageRefusal;
            return refusal.kind == Refusal::kCms ? Cms(refusal.code) : Accept(false);
        }
    }
    mem1_ = Upper(names[0]);
    if (names.size() > 1)
        mem2_ = Upper(names[1]);
    if (names.size() > 2)
        mem3_ = Upper(names[2]);
    r.info = Info("+CPMS: " + Usage(mem1_) + "," + Usage(mem2_) + "," + Usage(mem3_));
    return r;
}

Modem::Result Modem::Cnmi(const std::string& suffix) {
    Result r;
    if (suffix == "?") {
        std::string values;
        for (const int v : cnmi_)
            values += (values.empty() ? "" : ",") + std::to_string(v);
        r.info = Info("+CNMI: " + values);
        return r;
    }
    if (suffix == "=?") {
        r.info = Info("+CNMI: (0-2),(0-3),(0,2),(0-2),(0,1)");
        return r;
    }
    std::string setting;
    for (const char c : suffix.substr(suffix.empty() ? 0 : 1)) {
        if (c != ' ')
            setting.push_back(c);
    }
    static const int kMax[5] = {3, 3, 3, 2, 1};  // TS 27.005 3.4.1 <mode>,<mt>,<bm>,<ds>,<bfr>
    std::vector<std::string> values = Parameters(setting);
    std::vector<int> next = cnmi_;
    bool valid = IsSetSuffix(suffix) && values.size() <= 5;
    for (size_t i = 0; valid && i < values.size(); ++i) {
        if (values[i].empty())
            continue;
        valid = ParseNumber(values[i], 0, kMax[i], next[i]);
    }
    if (!valid || (!config_.cnmiAccepted.empty() && config_.cnmiAccepted.count(setting) == 0))
        return Cms(kCmsOperationNotSupported);
    cnmi_ = next;
    return r;
}

Modem::Result Modem::Cmgl(const std::string& suffix) {
    Result r;
    if (suffix == "=?") {
        r.info = Info("+CMGL: (0-4)");
        return r;
    }
    int stat = 0;  // TS 27.005 3.4.2: without <stat>, received unread messages
    if (!suffix.empty() && !(IsSetSuffix(suffix) && ParseNumber(suffix.substr(1), 0, 4, stat)))
        return Accept(false);
    if (textMode_)
        return Cms(kCmsOperationNotAllowed);
    std::vector<std::string> entries;
    for (const Slot& slot : View(mem1_)) {
        StoredMessage& m = storages_[slot.storage].slots[slot.index];
        if (stat != 4 && m.stat != stat)
            continue;
        entries.push_back("+CMGL: " + std::to_string(slot.shown) + "," + std::to_string(m.stat) +
                          ",," + std::to_string(TpduOctets(m.pdu)) + "\r\n" + m.pdu);
        if (m.stat == 0)
            m.stat = 1;  // listing reads the message (TS 27.005 3.4.2)
    }
    if (!entries.empty()) {
        std::string joined;
        for (const std::string& e : entries)
            joined += (joined.empty() ? "" : "\r\n") + e;
        r.info = Info(joined);
    }
    return r;
}

Modem::Result Modem::Cmgr(const std::string& suffix) {
    Result r;
    if (suffix == "=?")
        return r;
    int index = 0;
    if (!IsSetSuffix(suffix) || !ParseNumber(suffix.substr(1), 0, 100000, index))
        return Accept(false);
    if (textMode_)
        return Cms(kCmsOperationNotAllowed);
    const std::optional<Slot> slot = Find(mem1_, index);
    if (!slot)
        return Cms(kCmsInvalidIndex);
    StoredMessage& m = storages_[slot->storage].slots[slot->index];
    r.info = Info("+CMGR: " + std::to_string(m.stat) + ",," + std::to_string(TpduOctets(m.pdu)) +
                  "\r\n" + m.pdu);
    if (m.stat == 0)
        m.stat = 1;
    return r;
}

Modem::Result Modem::Cmgd(const std::string& suffix) {
    Result r;
    if (suffix == "=?") {
        std::string indexes;
        for (const Slot& slot : View(mem1_)) {
            indexes += (indexes.empty() ? "" : ",") + std::to_string(slot.shown);
        }
        r.info = Info("+CMGD: (" + indexes + "),(0-4)");
        return r;
    }
    const std::vector<std::string> values =
        IsSetSuffix(suffix) ? Parameters(suffix.substr(1)) : std::vector<std::string>{};
    int index = 0;
    int flag = 0;
    if (values.empty() || values.size() > 2 || !ParseNumber(values[0], 0, 100000, index) ||
        (values.size() == 2 && !ParseNumber(values[1], 0, 4, flag)))
        return Accept(false);
    if (flag == 0) {
        if (const std::optional<Slot> slot = Find(mem1_, index)) {
            storages_[slot->storage].slots.erase(slot->index);
        }
        return r;
    }
    // TS 27.005 3.5.4: flags 1 to 4 delete by status, widening from read to all.
    for (const Slot& slot : View(mem1_)) {
        const int stat = storages_[slot.storage].slots[slot.index].stat;
        const bool erase =
            flag == 4 || stat == 1 || (flag >= 2 && stat == 3) || (flag >= 3 && stat == 2);
        if (erase)
            storages_[slot.storage].slots.erase(slot.index);
    }
    return r;
}

Modem::Result Modem::Cmgs(const std::string& suffix) {
    Result r;
    if (suffix == "=?")
        return r;
    if (textMode_)
        return Cms(kCmsOperationNotAllowed);
    if (!IsSetSuffix(suffix) || !ParseNumber(suffix.substr(1), 1, 255, announcedLength_))
        return Accept(false);
    r.kind = Result::kPrompt;
    return r;
}

void Modem::PromptByte(char c, Clock::time_point now) {
    if (c == kEscape) {
        // TS 27.005 3.5.1: ESC quits without sending.
        prompt_ = false;
        log_.Line("RX", "<ESC> " + pdu_);
        Send(Info("OK"));
        return;
    }
    if (c != kCtrlZ) {
        if (pdu_.size() < 2 * kMaxPduChars)
            pdu_.push_back(c);
        return;
    }
    prompt_ = false;
    std::string received;
    received.swap(pdu_);
    if (echo_)
        output_.push_back({Emission::kBytes, received});
    const size_t answer = output_.size();
    std::string pdu;
    for (const char b : received) {
        if (b != '\r' && b != '\n' && b != ' ')
            pdu.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(b))));
    }
    Submit(pdu, now);
    if (config_.submitAnswerDelay.count() > 0)
        Hold(answer, now + config_.submitAnswerDelay);
}

void Modem::Hold(size_t first, Clock::time_point until) {
    if (first >= output_.size())
        return;
    held_.insert(held_.end(), output_.begin() + static_cast<std::ptrdiff_t>(first), output_.end());
    output_.resize(first);
    heldUntil_ = until;
}

void Modem::Submit(const std::string& pdu, Clock::time_point now) {
    log_.Line("PDU", pdu);
    SubmitHeader header;
    std::string problem;
    if (pdu.size() > kMaxPduChars || !ReadSubmitHeader(pdu, header)) {
        problem = "not an SMS-SUBMIT PDU";
    } else if (header.tpduOctets != static_cast<size_t>(announcedLength_)) {
        problem = "AT+CMGS announced " + std::to_string(announcedLength_) +
                  " octets, the TPDU has " + std::to_string(header.tpduOctets);
    }
    if (!problem.empty()) {
        log_.Line("SUBMIT", "rejected: " + problem);
        Send(Info("+CMS ERROR: " + std::to_string(kCmsInvalidPduParameter)));
        return;
    }

    const SmsPdu decoded = DecodePdu(pdu);
    std::string summary =
        "to=" + decoded.address.number + " srr=" + (header.reportRequested ? "1" : "0");
    if (decoded.concat) {
        summary += " part=" + std::to_string(decoded.concatSeq) + "/" +
                   std::to_string(decoded.concatTotal) +
                   " ref=" + std::to_string(decoded.concatRef);
    }
    summary += " text=" + decoded.text;
    log_.Line("SUBMIT", summary);

    const size_t attempt = submissions_++;
    const Refusal outcome =
        attempt < config_.submitOutcomes.size() ? config_.submitOutcomes[attempt] : Refusal{};
    switch (outcome.kind) {
        case Refusal::kSilent:
            log_.Line("SUBMIT", "outcome silent");
            return;
        case Refusal::kError:
            log_.Line("SUBMIT", "outcome error");
            Send(Info("ERROR"));
            return;
        case Refusal::kCms:
            log_.Line("SUBMIT", "outcome cms " + std::to_string(outcome.code));
            Send(Info("+CMS ERROR: " + std::to_string(outcome.code)));
            return;
        case Refusal::kOk:
            break;
    }
    const int mr = nextMessageRef_;
    nextMessageRef_ = (nextMessageRef_ + 1) % 256;
    log_.Line("SUBMIT", "outcome ok mr=" + std::to_string(mr));
    if (header.reportRequested) {
        PendingReport report;
        report.due = now + config_.reportDelay;
        report.fields.smsc = smsc_;
        report.fields.messageRef = static_cast<uint8_t>(mr);
        report.fields.recipient = config_.reportRecipient.empty()
                                      ? header.destination
                                      : BuildAddress(config_.reportRecipient);
        report.fields.submitted = wallClock_();
        pending_.push_back(report);
    }
    Send(Info("+CMGS: " + std::to_string(mr)) + Info("OK"));
}

std::optional<Modem::Clock::time_point> Modem::NextDeadline() const {
    if (!held_.empty() && (pending_.empty() || heldUntil_ < pending_.front().due))
        return heldUntil_;
    if (pending_.empty())
        return std::nullopt;
    return pending_.front().due;
}

void Modem::Tick(Clock::time_point now) {
    if (!held_.empty() && now >= heldUntil_) {
        output_.insert(output_.end(), held_.begin(), held_.end());
        held_.clear();
    }
    // TS 27.005 3.4.1 <mode> 1 and 2: indications wait while a command is in progress.
    while (!pending_.empty() && pending_.front().due <= now && !prompt_ && line_.empty()) {
        PendingReport report = pending_.front();
        pending_.pop_front();
        report.fields.discharged = wallClock_();
        const size_t i = std::min(reports_++, config_.reportStatuses.size() - 1);
        report.fields.status = config_.reportStatuses[i];
        DeliverReport(report);
    }
}

int Modem::StoreReport(const std::string& pdu) {
    Storage& sr = storages_["SR"];
    for (int index = 1; index <= sr.capacity; ++index) {
        if (sr.slots.count(index) == 0) {
            sr.slots[index] = StoredMessage{index, 0, pdu};
            return index;
        }
    }
    return -1;
}

void Modem::DeliverReport(const PendingReport& report) {
    const std::string pdu = EncodeStatusReport(report.fields);
    char status[8];
    std::snprintf(status, sizeof status, "0x%02X", report.fields.status);
    const std::string about =
        "mr=" + std::to_string(report.fields.messageRef) + " status=" + status + " pdu=" + pdu;
    if (!config_.reportIndication.empty()) {
        std::string text;
        for (const std::string& line : config_.reportIndication)
            text += (text.empty() ? "" : "\r\n") + line;
        log_.Line("REPORT", "indication instead of " + about);
        Send(Info(text));
        return;
    }
    const int mode = cnmi_[0];
    const int ds = cnmi_[3];
    if (ds == 1 && mode != 0) {
        std::string cds = pdu;
        if (!config_.cdsWithSmsc)
            cds.erase(0, pdu.size() - 2 * static_cast<size_t>(TpduOctets(pdu)));
        log_.Line("REPORT", "direct " + about);
        Send(Info("+CDS: " + std::to_string(TpduOctets(pdu)) + "\r\n" + cds));
        return;
    }
    const int index = StoreReport(pdu);
    if (index < 0) {
        log_.Line("REPORT", "lost, SR full " + about);
        return;
    }
    log_.Line("REPORT", "stored SR," + std::to_string(index) + " " + about);
    if (ds == 2 && mode != 0)
        Send(Info("+CDSI: \"SR\"," + std::to_string(index)));
}

bool Modem::FaultFires(size_t kind, const std::string& line) {
    for (FaultRule& rule : config_.faults) {
        if (rule.kind != kind || rule.command != line || rule.remaining == 0)
            continue;
        if (rule.remaining > 0)
            --rule.remaining;
        return true;
    }
    return false;
}

bool Modem::Strike(FaultStage stage, const std::string& line, const std::string& answer,
                   size_t first) {
    for (size_t kind = 0; kind < std::size(kFaultKinds); ++kind) {
        const FaultKind& fault = kFaultKinds[kind];
        if (fault.stage != stage || !FaultFires(kind, line))
            continue;
        const bool half = fault.effect == FaultEffect::kHalfThenHangUp ||
                          fault.effect == FaultEffect::kHalfThenHold;
        if (half)
            Send(answer.substr(0, answer.size() / 2));
        log_.Line("FAULT", fault.log + line);
        switch (fault.effect) {
            case FaultEffect::kSwallow:
                return true;
            case FaultEffect::kRefuse:
                // A phone that turns the command down; the answer's faults still apply.
                Reply(Info("ERROR"), line);
                return true;
            case FaultEffect::kNoiseFirst:
                output_.push_back({Emission::kBytes, config_.garbageBytes});
                break;
            case FaultEffect::kHalfThenHangUp:
                output_.push_back({Emission::kDisconnect, {}});
                return true;
            case FaultEffect::kHalfThenHold:
                output_.push_back({Emission::kEndless, {}});
                return true;
            case FaultEffect::kEndless:
                output_.push_back({Emission::kEndless, fault.pattern.empty()
                                                           ? config_.garbageBytes
                                                           : std::string(fault.pattern)});
                return true;
            case FaultEffect::kSlow:
                for (size_t i = first; i < output_.size(); ++i)
                    output_[i].byteDelay = config_.slowByteDelay;
                break;
            case FaultEffect::kLate:
                Hold(answerStart_, now_ + config_.lateDelay);
                break;
        }
    }
    return false;
}

void Modem::Reply(const std::string& bytes, const std::string& line) {
    if (!Strike(FaultStage::kAnswer, line, bytes))
        Send(bytes);
}

void Modem::Send(const std::string& bytes) {
    size_t start = 0;
    while (start < bytes.size()) {
        const size_t end = bytes.find_first_of("\r\n", start);
        const size_t stop = end == std::string::npos ? bytes.size() : end;
        if (stop > start)
            log_.Line("TX", bytes.substr(start, stop - start));
        start = stop + 1;
    }
    output_.push_back({Emission::kBytes, bytes});
}

}  // namespace tarnik::phone
