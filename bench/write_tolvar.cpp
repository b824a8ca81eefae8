// Changes a hive through our writer and prints what it took:
//   write_tolvar one HIVE    one value set and made durable, milliseconds; then what as many syncs of small writes take
//   write_tolvar many HIVE   100,000 keys with 3 values each in one flush, keys a second; then bytes, compacted and not
//   write_tolvar churn HIVE  10,000 keys deleted and made again, 50 times: the length after the second and the last
//   round
//   write_tolvar keys HIVE   100,000 new keys in one, each looked up before it is made, in one flush, milliseconds;
//   then deleted again, first to last, in another flush
//   write_tolvar values HIVE  likewise values of one key
//   write_tolvar large HIVE  100 MiB set, set again and deleted, each with its flush: how far the memory's peak lies
//   above the hive's length after each, MiB
//   write_tolvar empty MINOR HIVE  an empty hive of version 1.MINOR to begin with

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/resource.h>

#include "platform/hive/hive_composer.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"

namespace {

using namespace tolvar;
using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

std::u16string Name(const char* prefix, unsigned number)
{
    const std::string text = prefix + std::to_string(100'000 + number);
    return {text.begin(), text.end()};
}

void AddKeys(WritableHive& hive, unsigned parents, unsigned perParent)
{
    std::vector<std::byte> text(40, std::byte{'x'});
    std::vector<std::byte> number(4, std::byte{7});
    for (unsigned p = 0; p < parents; ++p) {
        const CellOffset parent = hive.Writer().CreateKey(hive.Reader().Root(), Name("Parent", p)).value();
        for (unsigned k = 0; k < perParent; ++k) {
            const CellOffset key = hive.Writer().CreateKey(parent, Name("Key", k)).value();
            static_cast<void>(hive.Writer().SetValue(key, u"Text", 1, text));
            static_cast<void>(hive.Writer().SetValue(key, u"Number", 4, number));
            static_cast<void>(hive.Writer().SetValue(key, u"Data", 3, text));
        }
    }
}

int One(const char* file)
{
    const auto start = Clock::now();
    {
        const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
        const std::vector<std::byte> data(8, static_cast<std::byte>(start.time_since_epoch().count()));
        if (!hive->Writer().SetValue(hive->Reader().Root(), u"Bench", 3, data) || !hive->Flush()) {
            return 1;
        }
    }
    const double ours = Milliseconds(start);
    // What the disk takes by itself for the syncs of a flush: log, base block, pages, base block, and a folder for the
    // log.
    const std::string plain = std::string(file) + ".sync";
    const auto stored = SystemFiles().Open(plain, FileStore::Mode::kCreate).value();
    static_cast<void>(stored->Write(0, std::vector<std::byte>(65536)));
    static_cast<void>(stored->Sync());
    const auto disk = Clock::now();
    for (unsigned i = 0; i < 5; ++i) {
        static_cast<void>(stored->Write(4096 * i, std::vector<std::byte>(4096, static_cast<std::byte>(i + 1))));
        static_cast<void>(stored->Sync());
    }
    std::printf("%.2f %.2f\n", ours, Milliseconds(disk));
    return SystemFiles().Remove(plain) ? 0 : 1;
}

int Many(const char* file)
{
    constexpr unsigned kParents = 1000;
    constexpr unsigned kPerParent = 100;
    const auto start = Clock::now();
    const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    AddKeys(*hive, kParents, kPerParent);
    if (!hive->Flush()) {
        return 1;
    }
    const double taken = Milliseconds(start);
    HiveComposer composer(hive->Reader(), {}, [](const HiveFault&) {});
    const std::size_t compact = composer.Compose(hive->Reader().Root()).value().size();
    std::printf("%.0f %zu %zu\n", 1000.0 * kParents * kPerParent / taken, hive->Reader().FileBytes().size(), compact);
    return 0;
}

/// Makes and deletes 100,000 of something in one key, each way with its flush.
template <class Make, class Remove>
int OneKey(const char* file, Make&& make, Remove&& remove)
{
    constexpr unsigned kCount = 100'000;
    const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    const CellOffset key = hive->Writer().CreateKey(hive->Reader().Root(), u"One").value();
    const auto time = [&](auto& change) {
        const auto start = Clock::now();
        for (unsigned i = 0; i < kCount; ++i) {
            if (!change(*hive, key, Name("Entry", i))) {
                return -1.0;
            }
        }
        return hive->Flush() ? Milliseconds(start) : -1.0;
    };
    const double made = time(make);
    const double removed = time(remove);
    std::printf("%.0f %.0f\n", made, removed);
    return made < 0 || removed < 0 ? 1 : 0;
}

int Keys(const char* file)
{
    const auto find = [](const WritableHive& hive, CellOffset key, const std::u16string& name) {
        return hive.Reader().FindSubkey(*hive.Reader().Key(key), name).value();
    };
    return OneKey(
        file,
        [&](WritableHive& hive, CellOffset key, const std::u16string& name) {
            return find(hive, key, name).IsNil() && hive.Writer().CreateKey(key, name);
        },
        [&](WritableHive& hive, CellOffset key, const std::u16string& name) {
            return hive.Writer().DeleteKey(find(hive, key, name)).has_value();
        });
}

int Values(const char* file)
{
    const auto isThere = [](const WritableHive& hive, CellOffset key, const std::u16string& name) {
        return hive.Reader().FindValue(*hive.Reader().Key(key), name).value().has_value();
    };
    const std::vector<std::byte> data(8, std::byte{7});
    return OneKey(
        file,
        [&](WritableHive& hive, CellOffset key, const std::u16string& name) {
            return !isThere(hive, key, name) && hive.Writer().SetValue(key, name, 3, data);
        },
        [&](WritableHive& hive, CellOffset key, const std::u16string& name) {
            return isThere(hive, key, name) && hive.Writer().DeleteValue(key, name);
        });
}

int Empty(const char* minor, const char* file)
{
    const std::vector<std::byte> hive = EmptyHive(u"ROOT", 0, static_cast<std::uint32_t>(std::atoi(minor)));
    const auto stored = SystemFiles().Open(file, FileStore::Mode::kCreate).value();
    return stored->Resize(0) && stored->Write(0, hive) && stored->Sync() ? 0 : 1;
}

int Churn(const char* file)
{
    const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    std::uint32_t second = 0;
    for (int round = 0; round < 50; ++round) {
        AddKeys(*hive, 10, 1000);
        for (unsigned p = 0; p < 10; ++p) {
            const CellOffset parent =
                hive->Reader().FindSubkey(*hive->Reader().Key(hive->Reader().Root()), Name("Parent", p)).value();
            for (unsigned k = 0; k < 1000; ++k) {
                const CellOffset key = hive->Reader().FindSubkey(*hive->Reader().Key(parent), Name("Key", k)).value();
                static_cast<void>(hive->Writer().DeleteKey(key));
            }
            static_cast<void>(hive->Writer().DeleteKey(parent));
        }
        if (!hive->Flush()) {
            return 1;
        }
        second = round == 1 ? hive->Reader().Length() : second;
    }
    std::printf("%u %u\n", second, hive->Reader().Length());
    return 0;
}

/// What the process had at most, beside the hive, which is mapped and private.
long PeakBeside(const WritableHive& hive)
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024 - static_cast<long>(hive.Reader().Length() >> 20U);
}

int Large(const char* file)
{
    const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    const CellOffset root = hive->Reader().Root();
    for (const int value : {1, 2}) {
        const std::vector<std::byte> data(std::size_t{100} << 20U, static_cast<std::byte>(value));
        if (!hive->Writer().SetValue(root, u"Large", 3, data)) {
            return 1;
        }
        std::printf("%ld ", PeakBeside(*hive));
        if (!hive->Flush()) {
            return 1;
        }
        std::printf("%ld ", PeakBeside(*hive));
    }
    if (!hive->Writer().DeleteValue(root, u"Large") || !hive->Flush()) {
        return 1;
    }
    std::printf("%ld\n", PeakBeside(*hive));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc >= 3 ? argv[1] : "";
    if (what == "empty" && argc == 4) {
        return Empty(argv[2], argv[3]);
    }
    if (what == "one") {
        return One(argv[2]);
    }
    if (what == "many") {
        return Many(argv[2]);
    }
    if (what == "large") {
        return Large(argv[2]);
    }
    if (what == "churn") {
        return Churn(argv[2]);
    }
    if (what == "keys") {
        return Keys(argv[2]);
    }
    if (what == "values") {
        return Values(argv[2]);
    }
    std::fprintf(stderr,
                 "usage: write_tolvar one|many|churn|keys|values|large HIVE, or write_tolvar empty MINOR HIVE\n");
    return 2;
}
