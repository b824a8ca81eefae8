// Makes the hives that the benchmarks read, the same on every machine:
//
//   make_hive large FILE   220,000 keys and 809,000 values in about 250 MB, as a machine that has been used for years
//   make_hive many FILE    a key "Many" with 100,000 subkeys, each with a value, and every fourth with a subkey
//   make_hive values FILE  300 keys with 200 values each, and behind them one with 100,000

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <hivex.h>

#include "fixtures/dice.h"
#include "fixtures/hive_builder.h"

namespace tolvar::bench {

namespace {

using fixtures::BuiltKey;
using fixtures::Dice;
using fixtures::HiveBuilder;

constexpr std::size_t kLargeKeys = 220'000;
constexpr std::size_t kLargeValues = 809'000;
constexpr std::size_t kManySubkeys = 100'000;
constexpr std::size_t kValueKeys = 300;
constexpr std::size_t kValuesOfEach = 200;
constexpr std::size_t kManyValues = 100'000;

constexpr std::uint32_t kRegSz = 1;
constexpr std::uint32_t kRegBinary = 3;
constexpr std::uint32_t kRegDword = 4;

/// One line of a table of chances: this many in a thousand lie between `low` and `high`.
struct Share {
    unsigned perThousand;
    std::size_t low;
    std::size_t high;
};

template <std::size_t N>
std::size_t Draw(const Share (&shares)[N], Dice& dice)
{
    std::size_t place = dice.Between(0, 999);
    for (const Share& share : shares) {
        if (place < share.perThousand) {
            return dice.Between(share.low, share.high);
        }
        place -= share.perThousand;
    }
    return shares[N - 1].high;
}

constexpr Share kSubkeysOfKey[] = {{220, 1, 3}, {600, 4, 18}, {160, 19, 60}, {20, 100, 300}};
constexpr Share kValuesOfKey[] = {{250, 0, 0}, {300, 1, 1}, {300, 2, 5}, {135, 6, 15}, {15, 16, 60}};
constexpr Share kTextUnits[] = {{300, 1, 12}, {450, 13, 60}, {200, 61, 140}, {50, 141, 400}};
constexpr Share kBinaryBytes[] = {{500, 5, 64}, {400, 65, 800}, {92, 801, 4000}, {8, 4001, 14000}};

/// A name of 4 to 30 letters, digits and spaces.
std::string MakeName(Dice& dice)
{
    static constexpr std::string_view kParts[] = {
        "Acc", "Back", "Class",  "Com",    "Dev", "Event",  "File",  "Group", "Host", "Info", "Kernel", "Link",
        "Mod", "Net",  "Object", "Policy", "Run", "Server", "Shell", "Sys",   "Task", "User", "View",   "Work"};
    const std::size_t length = dice.Between(4, 30);
    std::string name;
    while (name.size() < length) {
        if (!name.empty() && dice.Between(0, 7) == 0) {
            name += ' ';
        }
        name += dice.Between(0, 3) == 0 ? std::to_string(dice.Between(0, 9999))
                                        : std::string(kParts[dice.Between(0, std::size(kParts) - 1)]);
    }
    name.resize(length);
    if (name.back() == ' ') {
        name.back() = 'X';
    }
    return name;
}

std::string LowerCase(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

/// So many names that differ not only in case, in the order of a list of subkeys.
std::vector<std::string> MakeNames(std::size_t count, Dice& dice)
{
    std::set<std::string> taken;
    std::vector<std::string> names;
    while (names.size() < count) {
        std::string name = MakeName(dice);
        if (taken.insert(LowerCase(name)).second) {
            names.push_back(std::move(name));
        }
    }
    std::ranges::sort(names, {}, LowerCase);
    return names;
}

std::string MakeText(Dice& dice)
{
    const std::size_t units = Draw(kTextUnits, dice);
    std::string data;
    while (data.size() < 2 * units) {
        data += static_cast<char>(dice.Between(' ', '~'));
        data += '\0';
    }
    return data.append(2, '\0');
}

std::string MakeBytes(std::size_t size, Dice& dice)
{
    std::string data;
    while (data.size() < size) {
        data += static_cast<char>(dice.Next());
    }
    return data;
}

/// The data of a value and its type.
std::pair<std::uint32_t, std::string> MakeData(Dice& dice)
{
    const std::size_t place = dice.Between(0, 99);
    if (place < 50) {
        return {kRegSz, MakeText(dice)};
    }
    if (place < 75) {
        return {kRegDword, MakeBytes(4, dice)};
    }
    return {kRegBinary, MakeBytes(Draw(kBinaryBytes, dice), dice)};
}

void WriteFile(const std::filesystem::path& path, const std::vector<std::byte>& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        throw std::runtime_error(path.string() + " can't be written");
    }
}

/// The hive to begin with: its root, and a key with data in segments, which libhivex can't write.
BuiltKey MakeStart(Dice& dice)
{
    BuiltKey media{.name = u"0Media"};
    for (std::size_t i = 0; i < 60; ++i) {
        const std::string name = "Picture" + std::to_string(100 + i);
        const std::string data = MakeBytes(dice.Between(16'345, 180'000), dice);
        const auto bytes = std::as_bytes(std::span(data));
        media.values.push_back({{name.begin(), name.end()}, kRegBinary, {bytes.begin(), bytes.end()}});
    }
    BuiltKey root{.name = u"ROOT"};
    root.subkeys.push_back(std::move(media));
    return root;
}

/// Adds keys and values to a hive through libhivex.
class Grower {
public:
    Grower(hive_h* hive, Dice& dice) : m_hive(hive), m_dice(dice) {}

    /// Puts `keys` keys below the root, and `values` values into them.
    void Run(std::size_t keys, std::size_t values)
    {
        m_valueCounts.resize(keys);
        std::ranges::generate(m_valueCounts, [this] { return Draw(kValuesOfKey, m_dice); });
        std::size_t sum = std::accumulate(m_valueCounts.begin(), m_valueCounts.end(), std::size_t{0});
        while (sum != values) {
            std::size_t& count = m_valueCounts[m_dice.Between(0, keys - 1)];
            if (sum < values) {
                ++count;
                ++sum;
            } else if (count != 0) {
                --count;
                --sum;
            }
        }
        AddSubkeys(hivex_root(m_hive), keys, 24);
    }

private:
    template <class T>
    static T Need(T result, const char* what)
    {
        if (result == T{}) {
            throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
        }
        return result;
    }

    /// Puts `keys` keys below one, in any shape but no wider than `width`.
    void AddSubkeys(hive_node_h parent, std::size_t keys, std::size_t width)
    {
        if (keys == 0) {
            return;
        }
        width = std::min(width, keys);
        std::vector<std::size_t> below(width, 0);
        std::vector<std::size_t> weights(width);
        std::ranges::generate(weights, [this] { return m_dice.Between(1, 100) * m_dice.Between(1, 100); });
        const std::size_t sum = std::accumulate(weights.begin(), weights.end(), std::size_t{0});
        std::size_t rest = keys - width;
        for (std::size_t i = 0; i < width; ++i) {
            below[i] = (keys - width) * weights[i] / sum;
            rest -= below[i];
        }
        below[0] += rest;
        std::vector<hive_node_h> nodes;
        for (const std::string& name : MakeNames(width, m_dice)) {
            nodes.push_back(Need(hivex_node_add_child(m_hive, parent, name.c_str()), "adding a key"));
        }
        for (std::size_t i = 0; i < width; ++i) {
            AddValues(nodes[i]);
            AddSubkeys(nodes[i], below[i], Draw(kSubkeysOfKey, m_dice));
        }
    }

    void AddValues(hive_node_h key)
    {
        const std::size_t count = m_valueCounts.back();
        m_valueCounts.pop_back();
        if (count == 0) {
            return;
        }
        std::vector<std::string> names = MakeNames(count, m_dice);
        std::vector<std::pair<std::uint32_t, std::string>> data;
        std::vector<hive_set_value> values;
        data.reserve(count);
        for (std::string& name : names) {
            auto& [type, bytes] = data.emplace_back(MakeData(m_dice));
            values.push_back({name.data(), static_cast<hive_type>(type), bytes.size(), bytes.data()});
        }
        if (hivex_node_set_values(m_hive, key, values.size(), values.data(), 0) != 0) {
            throw std::runtime_error(std::string("adding values: ") + std::strerror(errno));
        }
    }

    hive_h* m_hive;
    Dice& m_dice;
    std::vector<std::size_t> m_valueCounts; ///< of the keys that are still to be added
};

struct Close {
    void operator()(hive_h* hive) const noexcept { hivex_close(hive); }
};

void MakeLarge(const std::filesystem::path& path)
{
    Dice dice(20);
    const BuiltKey start = MakeStart(dice);
    WriteFile(path, HiveBuilder().Build(start));
    const std::unique_ptr<hive_h, Close> hive(hivex_open(path.c_str(), HIVEX_OPEN_WRITE));
    if (!hive) {
        throw std::runtime_error(path.string() + ": " + std::strerror(errno));
    }
    const std::size_t keysThere = 1 + start.subkeys.size();
    const std::size_t valuesThere = start.subkeys.front().values.size();
    Grower(hive.get(), dice).Run(kLargeKeys - keysThere, kLargeValues - valuesThere);
    if (hivex_commit(hive.get(), path.c_str(), 0) != 0) {
        throw std::runtime_error(path.string() + ": " + std::strerror(errno));
    }
}

/// Not through libhivex, which writes the whole list again for each subkey that is added.
void MakeMany(const std::filesystem::path& path)
{
    BuiltKey many{.name = u"Many"};
    for (std::size_t i = 0; i < kManySubkeys; ++i) {
        const std::string name = "Key" + std::to_string(kManySubkeys + i);
        const std::u16string units(name.begin(), name.end());
        BuiltKey key{.name = units, .values = {{u"Number", kRegSz, fixtures::TextData(units)}}};
        if (i % 4 == 0) {
            key.subkeys.push_back({.name = u"Below"});
        }
        many.subkeys.push_back(std::move(key));
    }
    BuiltKey root{.name = u"ROOT"};
    root.subkeys.push_back(std::move(many));
    WriteFile(path, HiveBuilder().Build(root));
}

BuiltKey KeyWithValues(const std::string& name, std::size_t count)
{
    BuiltKey key{.name = std::u16string(name.begin(), name.end())};
    for (std::size_t i = 0; i < count; ++i) {
        const std::string text = "Value " + std::to_string(i);
        const std::u16string units(text.begin(), text.end());
        const bool isNumber = i % 3 == 0;
        key.values.push_back({units, isNumber ? kRegDword : kRegSz,
                              isNumber ? std::vector<std::byte>(4, std::byte{7})
                                       : fixtures::TextData(u"The text of the value with the name " + units)});
    }
    return key;
}

void MakeValues(const std::filesystem::path& path)
{
    BuiltKey root{.name = u"ROOT"};
    for (std::size_t i = 0; i < kValueKeys; ++i) {
        root.subkeys.push_back(KeyWithValues("Key" + std::to_string(kValueKeys + i), kValuesOfEach));
    }
    root.subkeys.push_back(KeyWithValues("Many", kManyValues));
    WriteFile(path, HiveBuilder().Build(root));
}

/// A key with 60 texts of one megabyte, and a key with one of a hundred.
void MakeTexts(const std::filesystem::path& path)
{
    constexpr std::size_t kUnits = 512 * 1024; // a megabyte with the terminator
    BuiltKey many{.name = u"A"};
    for (std::size_t i = 0; i < 60; ++i) {
        const std::string name = "Text " + std::to_string(i);
        many.values.push_back(
            {std::u16string(name.begin(), name.end()), kRegSz, fixtures::TextData(std::u16string(kUnits - 1, u't'))});
    }
    const BuiltKey large{.name = u"B",
                         .values = {{u"Text", kRegSz, fixtures::TextData(std::u16string(100 * kUnits - 1, u't'))}}};
    WriteFile(path, HiveBuilder().Build({.name = u"ROOT", .subkeys = {std::move(many), large}}));
}

} // namespace

} // namespace tolvar::bench

int main(int argc, char** argv)
{
    using namespace tolvar::bench;
    const std::map<std::string_view, void (*)(const std::filesystem::path&)> makers = {
        {"large", MakeLarge}, {"many", MakeMany}, {"texts", MakeTexts}, {"values", MakeValues}};
    const auto maker = makers.find(argc == 3 ? argv[1] : "");
    if (maker == makers.end()) {
        std::fprintf(stderr, "usage: make_hive large|many|texts|values FILE\n");
        return EXIT_FAILURE;
    }
    try {
        // Only a whole hive gets the name, so that one that is there is good.
        const std::filesystem::path path = argv[2];
        const std::filesystem::path part = path.string() + ".part";
        maker->second(part);
        std::filesystem::rename(part, path);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "make_hive: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
