#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tolvar {

/// A day of the calendar, as the first eight digits of a stamp or file name tell it.
struct StampDate {
    int year = 0;
    int month = 0; ///< 1 to 12
    int day = 0;   ///< 1 to 31

    [[nodiscard]] bool operator==(const StampDate&) const = default;
};

/// 17 digits: local year, month, day, hour, minute, second and millisecond of `time` (100 ns since 1601-01-01 UTC).
[[nodiscard]] std::string FormatStamp(std::uint64_t time);

/// Whether a text is a stamp, and so may be the name of a file: a record may come from anywhere.
[[nodiscard]] bool IsStamp(std::string_view text);

/// The stamp of the next millisecond of the same day; nothing behind the last one, or of a text that tells no time.
[[nodiscard]] std::optional<std::string> StampAfter(std::string_view stamp);

/// The date that a name begins with; nothing where it begins with none.
[[nodiscard]] std::optional<StampDate> DateOf(std::string_view name);

/// Times in a row of which every millisecond has its stamp taken: where many changes are made in one millisecond, the
/// search for the next one that is free goes on where the last one ended.
class TakenStamps {
public:
    /// The stamp of `now` (100 ns since 1601-01-01 UTC), or of the first millisecond after it, of which `isTaken` says
    /// no. From then on it is taken. Cost: one question, unless others have taken what comes next.
    [[nodiscard]] std::string TakeNext(std::uint64_t now, const std::function<bool(const std::string&)>& isTaken);

private:
    std::uint64_t m_first = 1; ///< milliseconds
    std::uint64_t m_last = 0;
};

} // namespace tolvar
