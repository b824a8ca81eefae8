#include "journal/stamp.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include <fmt/format.h>

namespace tolvar {

namespace {

constexpr std::size_t kStampLength = 17;
constexpr std::uint64_t kTicksPerMillisecond = 10'000;
constexpr std::uint64_t kMillisecondsTo1970 = 11'644'473'600'000;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

int Digits(std::string_view text)
{
    int number = 0;
    for (const char c : text) {
        number = 10 * number + (c - '0');
    }
    return number;
}

} // namespace

std::string FormatStamp(std::uint64_t time)
{
    const std::uint64_t milliseconds = std::max(time / kTicksPerMillisecond, kMillisecondsTo1970) - kMillisecondsTo1970;
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local = {};
    localtime_r(&seconds, &local);
    return fmt::format("{:04}{:02}{:02}{:02}{:02}{:02}{:03}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                       local.tm_hour, local.tm_min, local.tm_sec, milliseconds % 1000);
}

bool IsStamp(std::string_view text)
{
    return text.size() == kStampLength && std::ranges::all_of(text, IsDigit);
}

std::optional<std::string> StampAfter(std::string_view stamp)
{
    constexpr int kLimits[] = {24, 60, 60, 1000}; // of its hour, minute, second and millisecond
    if (!IsStamp(stamp)) {
        return std::nullopt;
    }
    int parts[] = {Digits(stamp.substr(8, 2)), Digits(stamp.substr(10, 2)), Digits(stamp.substr(12, 2)),
                   Digits(stamp.substr(14, 3))};
    for (std::size_t i = std::size(parts); i-- > 0;) {
        if (++parts[i] < kLimits[i]) {
            return fmt::format("{}{:02}{:02}{:02}{:03}", stamp.substr(0, 8), parts[0], parts[1], parts[2], parts[3]);
        }
        parts[i] = 0;
    }
    return std::nullopt;
}

std::string TakenStamps::TakeNext(std::uint64_t now, const std::function<bool(const std::string&)>& isTaken)
{
    std::uint64_t millisecond = now / kTicksPerMillisecond;
    if (millisecond >= m_first && millisecond <= m_last) {
        millisecond = m_last + 1;
    } else {
        m_first = millisecond;
    }
    std::string stamp = FormatStamp(millisecond * kTicksPerMillisecond);
    while (isTaken(stamp)) {
        ++millisecond;
        stamp = FormatStamp(millisecond * kTicksPerMillisecond);
    }
    m_last = millisecond;
    return stamp;
}

std::optional<StampDate> DateOf(std::string_view name)
{
    constexpr std::size_t kDateLength = 8;
    const std::string_view digits = name.substr(0, kDateLength);
    if (digits.size() != kDateLength || !std::ranges::all_of(digits, IsDigit)) {
        return std::nullopt;
    }
    const StampDate date{Digits(digits.substr(0, 4)), Digits(digits.substr(4, 2)), Digits(digits.substr(6, 2))};
    const std::chrono::year_month_day day{std::chrono::year(date.year),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day))};
    return day.ok() ? std::optional(date) : std::nullopt;
}

} // namespace tolvar
