// libFuzzer's way into the journal's files.

#include "fuzz/journal_reading.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tolvar::fuzz::ReadJournalFiles(std::as_bytes(std::span(data, size)));
    return 0;
}
