// Runs the fuzz target of the journal's files over broken copies of good ones, with any compiler.

#include <cstdio>
#include <exception>
#include <random>

#include "fixtures/journal_session.h"
#include "fuzz/journal_reading.h"

namespace {

using namespace tolvar;

/// The files that a session leaves behind, one of each kind.
std::vector<std::vector<std::byte>> GoodFiles()
{
    fixtures::PowerCutStore store;
    store.Put(fixtures::kJournalHive, fixtures::OddHive());
    fixtures::JournalSession session(store);
    CTolvarDoc& document = session.Document();
    const std::string odd = std::string(fixtures::kJournalTop) + "\\Odd";
    static_cast<void>(document.ApplyChange(ChangeRecord::RenameValue(odd, "semi;colon", "@", 7)));
    static_cast<void>(document.ApplyChange(ChangeRecord::DeleteKey(odd)));
    document.SetBookmarks({"one", std::string(300, 'b')}, {"two"});
    std::vector<std::vector<std::byte>> files = {store.Content("/d/journal.pending")};
    for (const char* folder : {"/d/backups", "/d/snapshots"}) {
        const std::vector<std::string> names = store.List(folder).value();
        for (const std::string& name : names) {
            files.push_back(store.Content(std::string(folder) + "/" + name));
        }
    }
    static_cast<void>(document.SaveModified());
    files.push_back(store.Content("/d/backups/index"));
    return files;
}

} // namespace

int main()
{
    constexpr unsigned kCopies = 150; // of each file
    std::mt19937 random(1);
    for (const std::vector<std::byte>& file : GoodFiles()) {
        for (unsigned copy = 0; copy < kCopies; ++copy) {
            std::vector<std::byte> broken = file;
            for (unsigned i = copy == 0 ? 0 : 1 + random() % 4; i != 0 && !broken.empty(); --i) {
                broken[random() % broken.size()] = static_cast<std::byte>(random());
            }
            if (copy % 3 == 2) {
                broken.resize(random() % (broken.size() + 1));
            }
            try {
                fuzz::ReadJournalFiles(broken);
            } catch (const std::exception& error) {
                std::printf("copy %u of a file of %zu bytes: %s\n", copy, file.size(), error.what());
                return 1;
            }
        }
    }
    return 0;
}
