#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include <fmt/format.h>

#include "fixtures/dice.h"
#include "fuzz/damaged_writes.h"
#include "fuzz/hive_series.h"
#include "fuzz/seed_hives.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/scratch_hive.h"
#include "platform/system/text.h"

// Writes hives in every way there is, for programs that know nothing of ours to look at: written_hives FOLDER.
// TOLVAR_SERIES_OPERATIONS is the length of the series of changes, TOLVAR_SERIES_SEED its seed.
//
//   empty-1.N.hive                  new ones
//   composed-1.N-SEED.hive          fresh copies of hives that have all kinds of records
//   changed-1.N-SEED.hive           the same after some writing calls
//   series-1.N.hive, .compact.hive  what a long series of changes left, and a fresh copy of that; series-1.N.model is
//                                   what they hold, a line of JSON for each key

namespace tolvar::fuzz {

namespace {

using fixtures::ModelKey;

std::uint64_t Setting(const char* name, std::uint64_t otherwise)
{
    const char* setting = std::getenv(name);
    return setting != nullptr ? std::strtoull(setting, nullptr, 10) : otherwise;
}

void WriteFile(const std::filesystem::path& file, std::span<const std::byte> bytes)
{
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::byte> Composed(const Hive& hive)
{
    return HiveComposer(hive, {}, [](const HiveFault&) {}).Compose(hive.Root()).value();
}

std::string Hex(std::span<const std::byte> bytes)
{
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[std::to_integer<unsigned>(byte) >> 4];
        text += kDigits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

/// The key and all below it. Texts as the bytes of UTF-16, which nothing has to escape.
void WriteModel(std::ostream& out, const ModelKey& key, const std::string& path)
{
    const auto text = [](std::u16string_view units) { return Hex(std::as_bytes(std::span(units))); };
    out << fmt::format(R"({{"path":"{}","class":"{}","security":"{}","values":[)", path, text(key.className),
                       Hex(key.security));
    for (std::size_t i = 0; i < key.values.size(); ++i) {
        const fixtures::ModelValue& value = key.values[i];
        out << fmt::format(R"({}["{}",{},"{}"])", i == 0 ? "" : ",", text(value.name), value.type, Hex(value.data));
    }
    out << "]}\n";
    for (const auto& subkey : key.subkeys) {
        WriteModel(out, *subkey, path + text(u"\\" + subkey->name));
    }
}

void WriteSmallOnes(const std::filesystem::path& folder)
{
    for (const std::uint32_t minor : {3U, 4U, 5U, 6U}) {
        WriteFile(folder / fmt::format("empty-1.{}.hive", minor), EmptyHive(u"ROOT", 1, minor));
    }
    unsigned number = 0;
    for (const SeedHive& seed : MakeSeedHives()) {
        const Hive hive = Hive::FromBytes(seed.file, seed.name).value();
        const std::vector<std::byte> composed = Composed(hive);
        const std::string name = fmt::format("-1.{}-{}.hive", std::max(hive.Base().minor, 3U), seed.name);
        WriteFile(folder / ("composed" + name), composed);
        fixtures::Dice dice(++number);
        std::vector<std::byte> changed;
        static_cast<void>(WriteIntoDamaged(composed, dice, 60, &changed));
        WriteFile(folder / ("changed" + name), changed);
    }
}

void WriteSeries(const std::filesystem::path& folder, const SeriesPlan& plan)
{
    const std::string name = fmt::format("series-1.{}", plan.minor);
    std::printf("%s: %u operations, seed %llu\n", name.c_str(), plan.operations,
                static_cast<unsigned long long>(plan.seed));
    std::fflush(stdout);
    ModelKey model;
    const SeriesTally tally = RunSeries(folder / (name + ".hive"), plan, model);
    std::ofstream out(folder / (name + ".model"));
    WriteModel(out, model, {});
    const Hive hive = Hive::Open(folder / (name + ".hive")).value();
    WriteFile(folder / (name + ".compact.hive"), Composed(hive));
    const ValidationSummary summary = ValidateHive(hive, [](const Finding&) {});
    std::printf("%u done, %u refused, %u flushes, %u openings; %llu keys, %llu values with %llu bytes are left\n",
                tally.done, tally.refused, tally.flushes, tally.openings, static_cast<unsigned long long>(summary.keys),
                static_cast<unsigned long long>(summary.values), static_cast<unsigned long long>(summary.dataBytes));
}

} // namespace

} // namespace tolvar::fuzz

int main(int argc, char** argv)
{
    using namespace tolvar::fuzz;
    if (argc != 2) {
        std::fprintf(stderr, "usage: written_hives FOLDER\n");
        return EXIT_FAILURE;
    }
    try {
        WriteSmallOnes(argv[1]);
        for (const std::uint32_t minor : {3U, 5U}) {
            WriteSeries(argv[1], {minor, Setting("TOLVAR_SERIES_SEED", 1),
                                  static_cast<unsigned>(Setting("TOLVAR_SERIES_OPERATIONS", 3000))});
        }
    } catch (const std::exception& failure) {
        std::printf("%s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
