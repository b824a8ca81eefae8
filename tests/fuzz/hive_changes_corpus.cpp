// Runs the fuzz targets of the writer and of the recovery over fixed rows of inputs, with any compiler.

#include <cstdio>
#include <cstring>
#include <exception>
#include <random>
#include <vector>

#include "fixtures/log_file.h"
#include "fuzz/hive_operations.h"
#include "platform/hive/hive_log.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"

namespace {

using namespace tolvar;

constexpr unsigned kRows = 150;

std::vector<std::byte> RandomBytes(std::mt19937& random, std::size_t size)
{
    std::vector<std::byte> bytes(size);
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    return bytes;
}

/// A dirty hive with two logs of three equal parts in all, and some of its bytes broken.
std::vector<std::byte> BrokenLogs(std::mt19937& random)
{
    constexpr std::size_t kPart = 3 * 4096;
    std::vector<std::byte> hive = EmptyHive(u"ROOT", 1);
    const bool isOld = random() % 2 == 0;
    StoreBaseBlock(std::span(hive).first(512), isOld ? 8 : 9, 7, 4096, 0);
    const ChangedRun run{0, 4096};
    std::vector<std::byte> input = hive;
    input.resize(kPart);
    for (const std::uint32_t sequence : {8U, 9U}) {
        std::vector<std::byte> log =
            fixtures::LogFile(isOld ? HiveLog::Kind::kOldFormat : HiveLog::Kind::kNewFormat, std::span(hive).first(512),
                              sequence, {&run, 1}, std::span(hive).subspan(4096));
        log.resize(kPart);
        input.insert(input.end(), log.begin(), log.end());
    }
    for (unsigned broken = random() % 4; broken != 0; --broken) {
        input[random() % input.size()] = static_cast<std::byte>(random());
    }
    return input;
}

} // namespace

int main()
{
    for (unsigned row = 0; row < kRows; ++row) {
        std::mt19937 random(row);
        try {
            fuzz::RunOperations(RandomBytes(random, 20 + 20 * row));
            for (int i = 0; i < 4; ++i) {
                fuzz::RecoverAndRead(BrokenLogs(random));
            }
        } catch (const std::exception& error) {
            std::printf("row %u: %s\n", row, error.what());
            return 1;
        }
    }
    return 0;
}
