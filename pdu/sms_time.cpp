#include "pdu/sms_time.h"

#include <ctime>

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

int64_t FloorDiv(int64_t a, int64_t b) {
    return a / b - (a % b != 0 && (a < 0) != (b < 0));
}

// Seconds since 1970 of calendar fields read as UTC, out-of-range fields carried over as
// mktime carries them: a month beyond December moves the year, the rest add up linearly.
int64_t FieldSeconds(int64_t year, int64_t month0, int64_t day, int64_t hour, int64_t minute,
                     int64_t second) {
    const int64_t years = FloorDiv(month0, 12);
    const auto month = static_cast<unsigned>(month0 - 12 * years + 1);
    const int64_t days = DaysFromCivil(year + years, month, 1) + day - 1;
    return days * 86400 + hour * 3600 + minute * 60 + second;
}

// Local time minus UTC at an instant, in seconds, and whether it is daylight saving time.
bool LocalOffset(int64_t time, int64_t& offset, bool* daylight = nullptr) {
    std::tm local{};
    if (!ToLocal(static_cast<std::time_t>(time), local))
        return false;
    offset = FieldSeconds(local.tm_year + 1900, local.tm_mon, local.tm_mday, local.tm_hour,
                          local.tm_min, local.tm_sec) -
             time;
    if (daylight)
        *daylight = local.tm_isdst > 0;
    return true;
}

// The instant at which the local clock shows `wall` (local fields read as UTC seconds); -1
// when the system cannot convert. `steady` tells that no change of offset lies within a day
// of it, so that the local time of the result is `wall` itself.
//
// mktime is not used: with TZ unset glibc's mktime reads /etc/localtime again on every call,
// and with tm_isdst -1 it reads the repeated autumn hour as either of its passes, depending
// on the time converted before. Here the repeated hour is always read as its first pass,
// the one the clock showed first, as a user reading the phone's list expects. A time that
// the spring change skips reads as mktime has always read it: the reading that lands in
// daylight saving time (with the offset before the change, where summer time is daylight
// saving time), or, where both or neither do, the offset before the change.
int64_t TimeFromWallClock(int64_t wall, bool& steady) {
    steady = false;
    int64_t before = 0, after = 0;
    if (!LocalOffset(wall - 86400, before) || !LocalOffset(wall + 86400, after))
        return -1;
    if (before == after) {
        steady = true;
        return wall - before;
    }
    int64_t offset = 0;
    bool firstDaylight = false, secondDaylight = false;
    const int64_t first = wall - before;  // still the old offset: also the first pass
    if (!LocalOffset(first, offset, &firstDaylight))
        return -1;
    if (offset == before)
        return first;
    const int64_t second = wall - after;  // already the new one
    if (!LocalOffset(second, offset, &secondDaylight))
        return -1;
    if (offset == after)
        return second;
    return secondDaylight && !firstDaylight ? second : first;  // the gap
}

// OLE automation date of local wall-clock seconds. Day 0 of the OLE calendar is 1899-12-30,
// 25569 days before 1970-01-01.
double OleDateFromWallClock(int64_t wall) {
    const int64_t days = FloorDiv(wall, 86400);
    const auto seconds = static_cast<int>(wall - days * 86400);
    return static_cast<double>(days + 25569) + seconds / 86400.0;
}

}  // namespace

std::string TimeStampText(std::string_view chars) {
    // Pairs as they stand, swapped back: only whole pairs of the first twelve characters.
    const size_t length = chars.size() < 12 ? chars.size() : 12;
    std::string text;
    text.reserve(19);
    text += "20";
    static constexpr char kSeparators[] = "-- ::";
    for (size_t pair = 0; pair < 6; ++pair) {
        if (pair > 0)
            text.push_back(kSeparators[pair - 1]);
        if (2 * pair + 1 < length) {
            text.push_back(chars[2 * pair + 1]);
            text.push_back(chars[2 * pair]);
        }
    }
    return text;
}

SmsTime DecodeTimeStamp(std::string_view chars) {
    SmsTime t;
    const size_t length = chars.size() < 12 ? chars.size() : 12;
    uint8_t v[6] = {};
    for (size_t pair = 0; pair < 6 && 2 * pair + 1 < length; ++pair) {
        v[pair] = PairValue(chars[2 * pair + 1], chars[2 * pair]);
    }
    t.year = v[0];
    t.month = v[1];
    t.day = v[2];
    t.hour = v[3];
    t.minute = v[4];
    t.second = v[5];
    t.text = TimeStampText(chars);
    const int64_t wall =
        FieldSeconds(2000 + t.year, t.month - 1, t.day, t.hour, t.minute, t.second);
    bool steady = false;
    t.time = TimeFromWallClock(wall, steady);
    if (t.time == -1)
        t.date = 0.0;
    else
        t.date = steady ? OleDateFromWallClock(wall) : OleDateFromTime(t.time);
    return t;
}

double OleDateFromTime(int64_t time) {
    std::tm local{};
    if (!ToLocal(static_cast<std::time_t>(time), local))
        return 0.0;
    return OleDateFromWallClock(FieldSeconds(local.tm_year + 1900, local.tm_mon, local.tm_mday,
                                             local.tm_hour, local.tm_min, local.tm_sec));
}

}  // namespace tarnik
