// libFuzzer's way into the hive reader.

#include <cstring>
#include <span>

#include "fuzz/hive_mutation.h"
#include "fuzz/hive_reading.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::byte> file = tolvar::fuzz::ShapeFile(std::as_bytes(std::span(data, size)));
    static_cast<void>(tolvar::fuzz::ReadHiveFile(file));
    return 0;
}

/// Two mutations in three know the format; the third is one of libFuzzer's own.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
    tolvar::fuzz::Dice dice(seed);
    if (dice.Below(3) == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const std::span<const std::byte> input = std::as_bytes(std::span(data, size));
    std::vector<std::byte> file(input.begin(), input.end());
    tolvar::fuzz::MutateHive(file, dice);
    if (!file.empty()) {
        std::memcpy(data, file.data(), file.size());
    }
    return file.size();
}
