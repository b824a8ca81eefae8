#pragma once

#include <cstdint>
#include <string>

namespace tolvar {

// Times of the registry count 100 ns since 1601-01-01 UTC. They come from files, so any number may be one.

/// Appends a time as "2004-03-23T21:28:00.0000000Z".
void AppendIsoTime(std::string& out, std::uint64_t time);

/// A time for a person: local date and time as the user's locale writes them (strftime's "%c"). A time that the
/// calendar of the system can't tell comes in the form of AppendIsoTime.
[[nodiscard]] std::string LocalTimeText(std::uint64_t time);

/// The same in the long form: with the name of the day and the month in words.
[[nodiscard]] std::string LongLocalTimeText(std::uint64_t time);

} // namespace tolvar
