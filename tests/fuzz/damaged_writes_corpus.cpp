#include <cstdio>
#include <cstdlib>
#include <exception>

#include "fixtures/hive_builder.h"
#include "fuzz/damaged_writes.h"
#include "fuzz/hive_mutation.h"
#include "fuzz/seed_hives.h"

// Writes into hives that were broken at random: TOLVAR_DAMAGED_HIVES of them, or a few hundred. With a number as
// argument it is that one alone, as it was printed.

namespace tolvar::fuzz {

namespace {

constexpr unsigned kHives = 400;
constexpr unsigned kCalls = 8; ///< on each

WriteTally WriteInto(const std::vector<SeedHive>& seeds, unsigned number)
{
    Dice dice(number);
    std::vector<std::byte> file = seeds[number % seeds.size()].file;
    MutateHive(file, dice);
    if (file.size() > 512) {
        fixtures::HiveBuilder::FixChecksum(file);
    }
    return WriteIntoDamaged(file, dice, kCalls);
}

bool Run(unsigned first, unsigned count)
{
    const std::vector<SeedHive> seeds = MakeSeedHives();
    WriteTally all;
    unsigned failed = 0;
    for (unsigned number = first; number < first + count; ++number) {
        try {
            const WriteTally tally = WriteInto(seeds, number);
            all.done += tally.done;
            all.refused += tally.refused;
        } catch (const std::exception& failure) {
            ++failed;
            std::printf("hive %u, from %s: %s\n", number, seeds[number % seeds.size()].name.c_str(), failure.what());
        }
    }
    std::printf("hives %u to %u: %u calls done, %u refused; %u hives failed\n", first, first + count - 1, all.done,
                all.refused, failed);
    return failed == 0 && all.done + all.refused != 0;
}

} // namespace

} // namespace tolvar::fuzz

int main(int argc, char** argv)
{
    const char* count = std::getenv("TOLVAR_DAMAGED_HIVES");
    const bool isWell = argc > 1 ? tolvar::fuzz::Run(static_cast<unsigned>(std::atoi(argv[1])), 1)
                                 : tolvar::fuzz::Run(0, count != nullptr ? static_cast<unsigned>(std::atoi(count))
                                                                         : tolvar::fuzz::kHives);
    return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
}
