// Runs the fuzz target over the seed hives and over a fixed row of broken ones, with any compiler.
//
//   hive_fuzz_corpus               all of it
//   hive_fuzz_corpus NUMBER        one broken hive of the row, by the number that was printed last
//   hive_fuzz_corpus write FOLDER  writes the seed hives, for libFuzzer to start from
//   hive_fuzz_corpus read FILE     one input, such as libFuzzer keeps of a crash

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/hive_mutation.h"
#include "fuzz/hive_reading.h"
#include "fuzz/seed_hives.h"

namespace tolvar::fuzz {

namespace {

constexpr unsigned kBrokenHives = 2000;

/// What reading the broken hives came to.
struct Tally {
    unsigned refused = 0;
    unsigned faulty = 0; ///< read with faults
    unsigned whole = 0;  ///< read without
};

void Expect(bool isTrue, const std::string& what)
{
    if (!isTrue) {
        throw BrokenPromise(what);
    }
}

void ReadSeeds(const std::vector<SeedHive>& seeds)
{
    for (const SeedHive& seed : seeds) {
        std::printf("%s\n", seed.name.c_str());
        Expect(ShapeFile(seed.file) == seed.file, "a sound hive keeps its shape");
        const Reading reading = ReadHiveFile(seed.file);
        Expect(reading.isOpen && reading.faults == 0 && reading.errors == 0, "a sound hive is read without faults");
        Expect(reading.keys == seed.keys, "all keys are read");
        Expect(reading.values == seed.values, "all values are read");
        Expect(reading.dataBytes == seed.dataBytes, "all data is read");
        Expect(reading.lookups + 1 == reading.keys + reading.values, "every key and value but the root is looked up");
    }
}

/// The broken hive with this number: it stays the same as long as the seed hives do.
std::vector<std::byte> BrokenHive(const std::vector<SeedHive>& seeds, unsigned number)
{
    std::vector<std::byte> file = seeds[number % seeds.size()].file;
    Dice dice(number);
    MutateHive(file, dice);
    return ShapeFile(file);
}

void ReadBroken(const std::vector<SeedHive>& seeds, unsigned number, Tally& tally)
{
    // Printed before it is read, since a sanitizer ends the program on the spot.
    std::printf("broken hive %u, from %s\n", number, seeds[number % seeds.size()].name.c_str());
    std::fflush(stdout);
    const Reading reading = ReadHiveFile(BrokenHive(seeds, number));
    ++(!reading.isOpen ? tally.refused : reading.faults != 0 ? tally.faulty : tally.whole);
}

void ReadAll(const std::vector<SeedHive>& seeds)
{
    ReadSeeds(seeds);
    Tally tally;
    for (unsigned number = 0; number < kBrokenHives; ++number) {
        ReadBroken(seeds, number, tally);
    }
    std::printf("%u refused, %u with faults, %u without\n", tally.refused, tally.faulty, tally.whole);
    Expect(tally.refused != 0, "some breakage reaches the base block");
    Expect(tally.faulty > kBrokenHives / 4, "much of the breakage is met by the walk");
    Expect(tally.whole > kBrokenHives / 10, "some breakage leaves the hive readable");
}

void WriteSeeds(const std::vector<SeedHive>& seeds, const std::filesystem::path& folder)
{
    std::filesystem::create_directories(folder);
    for (const SeedHive& seed : seeds) {
        std::ofstream out(folder / (seed.name + ".hive"), std::ios::binary);
        out.write(reinterpret_cast<const char*>(seed.file.data()), static_cast<std::streamsize>(seed.file.size()));
        out.close();
        Expect(out.good(), "writing " + seed.name);
    }
}

void ReadInput(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    Expect(in.good(), "reading " + path.string());
    const std::string input{std::istreambuf_iterator<char>(in), {}};
    const std::vector<std::byte> file = ShapeFile(std::as_bytes(std::span(input)));
    const Reading reading = ReadHiveFile(file);
    std::printf("%s: %llu keys, %llu values, %llu faults, %llu errors\n", reading.isOpen ? "open" : "refused",
                static_cast<unsigned long long>(reading.keys), static_cast<unsigned long long>(reading.values),
                static_cast<unsigned long long>(reading.faults), static_cast<unsigned long long>(reading.errors));
}

void Run(const std::vector<std::string>& arguments)
{
    const std::vector<SeedHive> seeds = MakeSeedHives();
    if (arguments.empty()) {
        ReadAll(seeds);
    } else if (arguments.size() == 2 && arguments[0] == "write") {
        WriteSeeds(seeds, arguments[1]);
    } else if (arguments.size() == 2 && arguments[0] == "read") {
        ReadInput(arguments[1]);
    } else {
        Tally tally;
        ReadBroken(seeds, static_cast<unsigned>(std::stoul(arguments[0])), tally);
    }
}

} // namespace

} // namespace tolvar::fuzz

int main(int argc, char** argv)
{
    try {
        tolvar::fuzz::Run({argv + 1, argv + argc});
    } catch (const std::exception& failure) {
        std::printf("failed: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
