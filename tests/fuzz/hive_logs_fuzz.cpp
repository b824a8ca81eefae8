// libFuzzer's way into the recovery.

#include "fuzz/hive_operations.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tolvar::fuzz::RecoverAndRead(std::as_bytes(std::span(data, size)));
    return 0;
}
