#include "platform/system/file_time.h"

#include <array>
#include <ctime>

#include <fmt/format.h>

namespace tolvar {

namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsTo1970 = 11'644'473'600;

} // namespace

void AppendIsoTime(std::string& out, std::uint64_t time)
{
    constexpr std::uint64_t kSecondsPerDay = 86'400;
    const std::uint64_t seconds = time / kTicksPerSecond;
    const std::uint64_t inDay = seconds % kSecondsPerDay;
    // By arithmetic of our own: the calendar of <chrono> ends in the year 32767, hostile times do not.
    const auto days = static_cast<std::int64_t>(seconds / kSecondsPerDay) - 134'774 + 719'468; // since 0000-03-01
    const std::int64_t era = days / 146'097;
    const auto dayOfEra = days - era * 146'097;
    const auto yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const auto dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const auto monthFromMarch = (5 * dayOfYear + 2) / 153;
    const auto day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    const auto month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const auto year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    fmt::format_to(std::back_inserter(out), "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:07}Z", year, month, day,
                   inDay / 3600, inDay / 60 % 60, inDay % 60, time % kTicksPerSecond);
}

namespace {

std::string LocalText(std::uint64_t time, const char* form)
{
    const auto seconds = static_cast<std::time_t>(time / kTicksPerSecond) - kSecondsTo1970;
    std::tm local = {};
    std::array<char, 128> text;
    if (localtime_r(&seconds, &local) != nullptr) {
        if (const std::size_t size = std::strftime(text.data(), text.size(), form, &local); size != 0) {
            return {text.data(), size};
        }
    }
    std::string fallback;
    AppendIsoTime(fallback, time);
    return fallback;
}

} // namespace

std::string LocalTimeText(std::uint64_t time)
{
    return LocalText(time, "%c");
}

std::string LongLocalTimeText(std::uint64_t time)
{
    return LocalText(time, "%A, %d %B %Y, %X");
}

} // namespace tolvar
