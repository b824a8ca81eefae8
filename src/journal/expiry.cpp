#include "journal/expiry.h"

#include <chrono>

namespace tolvar {

namespace {

std::chrono::sys_days DayOf(const StampDate& date)
{
    return std::chrono::year_month_day{std::chrono::year(date.year),
                                       std::chrono::month(static_cast<unsigned>(date.month)),
                                       std::chrono::day(static_cast<unsigned>(date.day))};
}

} // namespace

bool HasExpired(const StampDate& date, const StampDate& today, int keepDays)
{
    constexpr int kMonth = 30;
    const int limit = today.month * kMonth + today.day - keepDays;
    const int value = date.month * kMonth + date.day;
    const bool isOldByRule = date.year == today.year ? value < limit : value > limit;
    return isOldByRule && (DayOf(today) - DayOf(date)).count() > keepDays;
}

} // namespace tolvar
