// Times the journal: journal_tolvar delete FOLDER | open FOLDER. Prints milliseconds.
//   delete   a plain copy of a subtree with 100,000 keys into a hive file, deleting it through the journal, undoing
//   that;
//            all of them durable
//   open     a journal of 100,000 records, each with its backup in the data folder

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "journal/index_file.h"
#include "journal/tolvar_doc.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"
#include "platform/registry/registry.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace {

using namespace tolvar;
using Watch = std::chrono::steady_clock;

double Milliseconds(Watch::time_point since)
{
    return std::chrono::duration<double, std::milli>(Watch::now() - since).count();
}

std::u16string Name(const char* prefix, unsigned number)
{
    const std::string text = prefix + std::to_string(100'000 + number);
    return {text.begin(), text.end()};
}

/// A hive whose key "Large" holds 100,000 keys with three values each.
void MakeHive(const std::filesystem::path& file)
{
    const std::vector<std::byte> empty = EmptyHive(u"ROOT", 0);
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(empty.data()), std::ssize(empty));
    const auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    HiveWriter& writer = hive->Writer();
    const std::vector<std::byte> text(40, std::byte{'x'});
    const std::vector<std::byte> number(4, std::byte{7});
    const CellOffset top = writer.CreateKey(hive->Reader().Root(), u"Large").value();
    for (unsigned p = 0; p < 1000; ++p) {
        const CellOffset parent = writer.CreateKey(top, Name("Parent", p)).value();
        for (unsigned k = 0; k < 99; ++k) {
            const CellOffset key = writer.CreateKey(parent, Name("Key", k)).value();
            static_cast<void>(writer.SetValue(key, u"Text", 1, text));
            static_cast<void>(writer.SetValue(key, u"Number", 4, number));
            static_cast<void>(writer.SetValue(key, u"Data", 3, text));
        }
    }
    static_cast<void>(hive->Flush());
}

int Delete(const std::filesystem::path& folder)
{
    MakeHive(folder / "hive");
    Registry registry;
    const Session session(registry);
    JournalOptions options;
    options.place.dataFolder = folder / "data" / "backups";
    CTolvarDoc document(options);
    if (!registry.Mount({folder / "hive", "HKEY_USERS\\W"}, MountMode::kWritable) || !document.OnNewDocument()) {
        return 1;
    }
    for (int round = 0; round < 6; ++round) {
        const std::filesystem::path copy = folder / ("copy" + std::to_string(round));
        RegKey key;
        OpenKeyPath("HKEY_USERS\\W\\Large", *key.Put(), KEY_READ);
        auto start = Watch::now();
        const bool isSaved = RegSaveKeyA(key.Get(), copy.c_str(), nullptr) == ERROR_SUCCESS;
        const double saved = Milliseconds(start);
        std::filesystem::remove(copy);
        key.Close();
        start = Watch::now();
        const Result<void> deleted = document.ApplyChange(ChangeRecord::DeleteKey("HKEY_USERS\\W\\Large"));
        const double deleting = Milliseconds(start);
        start = Watch::now();
        const auto undone = deleted ? document.UndoEntry(0) : tl::unexpected(deleted.error());
        if (!isSaved || !undone) {
            return 1;
        }
        std::printf("%.1f %.1f %.1f\n", saved, deleting, Milliseconds(start));
    }
    return 0;
}

int Open(const std::filesystem::path& folder)
{
    constexpr unsigned kRecords = 100'000;
    JournalOptions options;
    options.place.dataFolder = folder / "data" / "backups";
    options.keepDays = 100'000;
    std::filesystem::create_directories(options.place.dataFolder);
    JournalIndex index;
    for (unsigned i = 0; i < kRecords; ++i) {
        const std::string stamp = "20260101" + std::to_string(100'000'000 + i);
        index.journal.push_back("6;2;HKEY_CURRENT_USER\\Software\\Vendor\\Product\\Key" + std::to_string(i) +
                                ";HKEY_CURRENT_USER\\Software\\Vendor\\Product\\Key" + std::to_string(i) +
                                ";1;Value;Value;user;" + stamp);
        std::ofstream(options.place.dataFolder / stamp) << "Value=1:before";
    }
    const std::vector<std::byte> bytes = EncodeIndex(index);
    std::ofstream(options.place.dataFolder / "index", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    for (int round = 0; round < 6; ++round) {
        const auto start = Watch::now();
        CTolvarDoc document(options);
        if (!document.OnNewDocument() || document.Journal().size() != kRecords) {
            return 1;
        }
        std::printf("%.1f\n", Milliseconds(start));
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc == 3 ? argv[1] : "";
    if (what == "delete") {
        return Delete(argv[2]);
    }
    if (what == "open") {
        return Open(argv[2]);
    }
    std::fprintf(stderr, "usage: journal_tolvar delete|open FOLDER\n");
    return 2;
}
