#include "pdu/sms_time.h"

#include <ctime>

#include "pdu/hex.h"

namespace tarnik {

namespace {

// The decimal value of a pair as the digits stand: leading digits count, the first
// other character ends the number ("4F" is 4, "F4" is 0).
uint8_t PairValue(char high, char low) {
    if (high < '0' || high > '9')
        return 0;
    if (low < '0' || low > '9')
        return static_cast<uint8_t>(high - '0');
    return static_cast<uint8_t>((high - '0') * 10 + (low - '0'));
}

bool ToLocal(std::time_t time, std::tm& out) {
#ifdef _WIN32
    return localtime_s(&out, &time) == 0;
#else
    return localtime_r(&time, &out) != nullptr;
#endif
}

// Days from 1970-01-01 to a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

}  // namespace

std::string TimeStampText(std::string_view chars) {
    const std::string s = SwapSemiOctets(chars.substr(0, 12));
    std::string text = "20";
    static constexpr char kSeparators[] = "-- ::";
    for (size_t pair = 0; pair < 6; ++pair) {
        if (pair > 0)
            text.push_back(kSeparators[pair - 1]);
        if (2 * pair < s.size())
            text.append(s, 2 * pair, 2);
    }
    return text;
}

SmsTime DecodeTimeStamp(std::string_view chars) {
    SmsTime t;
    const std::string s = SwapSemiOctets(chars.substr(0, 12));
    uint8_t v[6] = {};
    for (size_t pair = 0; pair < 6 && 2 * pair + 1 < s.size(); ++pair) {
        v[pair] = PairValue(s[2 * pair], s[2 * pair + 1]);
    }
    t.year = v[0];
    t.month = v[1];
    t.day = v[2];
    t.hour = v[3];
    t.minute = v[4];
    t.second = v[5];
    t.text = TimeStampText(chars);
    t.time = LocalCalendarTime(2000 + t.year, t.month, t.day, t.hour, t.minute, t.second);
    t.date = t.time == -1 ? 0.0 : OleDateFromTime(t.time);
    return t;
}

int64_t LocalCalendarTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    tm.tm_isdst = -1;  // the system's rules decide
    return static_cast<int64_t>(std::mktime(&tm));
}

double OleDateFromTime(int64_t time) {
    std::tm local{};
    if (!ToLocal(static_cast<std::time_t>(time), local))
        return 0.0;
    // Day 0 of the OLE calendar is 1899-12-30, 25569 days before 1970-01-01.
    const int64_t days =
        DaysFromCivil(local.tm_year + 1900, static_cast<unsigned>(local.tm_mon + 1),
                      static_cast<unsigned>(local.tm_mday)) +
        25569;
    const int seconds = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    return static_cast<double>(days) + seconds / 86400.0;
}

}  // namespace tarnik
