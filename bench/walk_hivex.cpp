// Walks a whole hive with libhivex, for comparison: walk_hivex HIVE.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include <hivex.h>

#include "walk_tally.h"

namespace tolvar::bench {

namespace {

struct Free {
    void operator()(void* block) const noexcept { std::free(block); }
};
struct Close {
    void operator()(hive_h* hive) const noexcept { hivex_close(hive); }
};
template <class T>
using Block = std::unique_ptr<T, Free>;

/// A block that the library handed out, or an exception with what could not be done.
template <class T>
Block<T> Need(T* block, const char* what)
{
    if (block == nullptr) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
    }
    return Block<T>(block);
}

std::span<const std::byte> BytesOf(const Block<char>& text)
{
    return std::as_bytes(std::span(text.get(), std::strlen(text.get())));
}

void WalkValue(hive_h* hive, hive_value_h value, WalkTally& tally)
{
    const Block<char> name = Need(hivex_value_key(hive, value), "the name of a value");
    hive_type type = hive_t_none;
    std::size_t size = 0;
    const Block<char> data = Need(hivex_value_value(hive, value, &type, &size), "the data of a value");
    tally.AddValue(BytesOf(name), static_cast<std::uint32_t>(type));
    if (size != 0) {
        tally.AddData(size, static_cast<std::byte>(data.get()[0]), static_cast<std::byte>(data.get()[size - 1]));
    }
}

void WalkKey(hive_h* hive, hive_node_h key, WalkTally& tally)
{
    tally.AddKey(BytesOf(Need(hivex_node_name(hive, key), "the name of a key")));
    const Block<hive_value_h> values = Need(hivex_node_values(hive, key), "the values of a key");
    for (const hive_value_h* value = values.get(); *value != 0; ++value) {
        WalkValue(hive, *value, tally);
    }
    const Block<hive_node_h> children = Need(hivex_node_children(hive, key), "the subkeys of a key");
    for (const hive_node_h* child = children.get(); *child != 0; ++child) {
        WalkKey(hive, *child, tally);
    }
}

void Walk(const char* file)
{
    const std::unique_ptr<hive_h, Close> hive(hivex_open(file, 0));
    if (!hive) {
        throw std::runtime_error(std::string(file) + ": " + std::strerror(errno));
    }
    WalkTally tally;
    WalkKey(hive.get(), hivex_root(hive.get()), tally);
    tally.Print();
}

} // namespace

} // namespace tolvar::bench

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: walk_hivex HIVE\n");
        return EXIT_FAILURE;
    }
    try {
        tolvar::bench::Walk(argv[1]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
