// The same as write_tolvar one and many, with the other library: write_hivex one|many HIVE.

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include <hivex.h>

namespace {

using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

hive_set_value Value(const char* key, hive_type type, std::string& data)
{
    hive_set_value value = {};
    value.key = const_cast<char*>(key);
    value.t = type;
    value.len = data.size();
    value.value = data.data();
    return value;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc == 3 ? argv[1] : "";
    if (what != "one" && what != "many") {
        std::fprintf(stderr, "usage: write_hivex one|many HIVE\n");
        return 2;
    }
    const auto start = Clock::now();
    hive_h* hive = hivex_open(argv[2], HIVEX_OPEN_WRITE);
    if (hive == nullptr) {
        std::perror("hivex_open");
        return 1;
    }
    const hive_node_h root = hivex_root(hive);
    if (what == "one") {
        std::string data(8, static_cast<char>(start.time_since_epoch().count()));
        const hive_set_value value = Value("Bench", hive_t_REG_BINARY, data);
        if (hivex_node_set_value(hive, root, &value, 0) != 0 || hivex_commit(hive, nullptr, 0) != 0) {
            return 1;
        }
        hivex_close(hive);
        std::printf("%.2f\n", Milliseconds(start));
        return 0;
    }
    constexpr unsigned kParents = 1000;
    constexpr unsigned kPerParent = 100;
    std::string text(40, 'x');
    std::string number(4, '\7');
    for (unsigned p = 0; p < kParents; ++p) {
        const hive_node_h parent = hivex_node_add_child(hive, root, ("Parent" + std::to_string(100'000 + p)).c_str());
        for (unsigned k = 0; k < kPerParent; ++k) {
            const hive_node_h key = hivex_node_add_child(hive, parent, ("Key" + std::to_string(100'000 + k)).c_str());
            hive_set_value values[] = {Value("Text", hive_t_REG_SZ, text), Value("Number", hive_t_REG_DWORD, number),
                                       Value("Data", hive_t_REG_BINARY, text)};
            if (key == 0 || hivex_node_set_values(hive, key, 3, values, 0) != 0) {
                return 1;
            }
        }
    }
    if (hivex_commit(hive, nullptr, 0) != 0) {
        return 1;
    }
    hivex_close(hive);
    std::printf("%.0f\n", 1000.0 * kParents * kPerParent / Milliseconds(start));
    return 0;
}
