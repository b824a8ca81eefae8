#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "session/hive_journal.h"
#include "session/journal_source.h"
#include "session/settings_file.h"
#include "session/source_session.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Settings in memory.
class Settings final : public Profile {
public:
    std::map<std::string, std::string, std::less<>> texts;

    [[nodiscard]] int GetInt(std::string_view /*section*/, std::string_view /*key*/, int fallback) const override
    {
        return fallback;
    }
    [[nodiscard]] std::string GetString(std::string_view /*section*/, std::string_view key,
                                        std::string_view fallback) const override
    {
        const auto found = texts.find(key);
        return found != texts.end() ? found->second : std::string(fallback);
    }
    void WriteInt(std::string_view /*section*/, std::string_view /*key*/, int /*value*/) override {}
    void WriteString(std::string_view /*section*/, std::string_view key, std::string_view value) override
    {
        texts[std::string(key)] = value;
    }
};

class JournalSourceTest : public testing::Test {
protected:
    JournalSourceTest() { setenv("XDG_DATA_HOME", (m_folder / "data").c_str(), 1); }

    /// A machine's hive: ten keys that were written at `time` and after.
    void PutHive(const std::string& name, std::uint64_t time) const
    {
        fixtures::BuiltKey root{.name = u"ROOT", .lastWrite = time + 100};
        for (unsigned i = 0; i < 10; ++i) {
            root.subkeys.push_back({.name = {u'k', static_cast<char16_t>(u'0' + i)}, .lastWrite = time + i});
        }
        m_folder.Write(name, fixtures::HiveBuilder().Build(root));
    }

    /// What came of a run of a program.
    struct Run {
        std::vector<std::string> told; ///< codes and texts of problems
        std::vector<std::string> journal;
        bool isOpen = false;
    };

    /// One run over hives, "FILE@KEY" each. `change`: is called when all is open.
    Run Start(std::vector<std::string> hives, JournalAccess access, bool isCrashing = false,
              const std::function<void(CTolvarDoc&)>& change = {})
    {
        SourceOptions options;
        for (std::string& hive : hives) {
            options.hives.push_back((m_folder / hive).string());
        }
        SourceSession session(options, m_settings);
        Run run;
        EXPECT_THAT(session.Mount(access == JournalAccess::kShow ? SourceAccess::kRead : SourceAccess::kWrite),
                    IsEmpty());
        CTolvarDoc& document = session.MakeDocument(access);
        const Result<std::vector<SourceProblem>> opened = session.OpenDocument();
        run.isOpen = opened.has_value();
        for (const SourceProblem& problem : opened.value_or(std::vector<SourceProblem>())) {
            run.told.push_back(Describe(problem.error));
        }
        if (!opened) {
            run.told.push_back(Describe(opened.error()));
        } else if (change) {
            change(document);
        }
        run.journal.assign(document.Journal().begin(), document.Journal().end());
        if (!isCrashing) {
            EXPECT_THAT(session.Close(), IsEmpty());
        }
        return run;
    }

    /// Makes the key "made" in the hive at a key.
    static std::function<void(CTolvarDoc&)> Make(const char* key)
    {
        return [key](CTolvarDoc& document) {
            const Result<void> made = document.ApplyChange(ChangeRecord::NewKey(key, "made"));
            EXPECT_TRUE(made) << Describe(made.error());
        };
    }

    fixtures::ScratchFolder m_folder;
    Settings m_settings;
};

TEST_F(JournalSourceTest, FindsAHivesJournalUnderAnyKeyAndBesideOthers)
{
    PutHive("a", 1000);
    PutHive("b", 2000);
    EXPECT_THAT(Start({"a@HKEY_USERS\\A"}, JournalAccess::kChange, false, Make("HKEY_USERS\\A")).told, IsEmpty());
    std::filesystem::create_symlink(m_folder / "a", m_folder / "link");
    for (const std::vector<std::string>& hives : {std::vector<std::string>{"a"},
                                                  {"link@HKEY_USERS\\X"},
                                                  {"b", "a@HKEY_USERS\\Y"},
                                                  {"../" + m_folder.Path().filename().string() + "/a"}}) {
        const Run run = Start(hives, JournalAccess::kShow);
        EXPECT_EQ(run.journal.size(), 1U) << hives.front();
        EXPECT_THAT(run.told, IsEmpty());
    }
    EXPECT_THAT(Start({"b"}, JournalAccess::kShow).journal, IsEmpty());
    const Run undone = Start({"b", "a@HKEY_USERS\\Y"}, JournalAccess::kEdit, false, [](CTolvarDoc& document) {
        const Result<UndoOutcome> outcome = document.UndoEntry(0);
        EXPECT_TRUE(outcome) << Describe(outcome.error());
    });
    EXPECT_THAT(undone.journal, IsEmpty());
    EXPECT_THAT(Start({"a"}, JournalAccess::kShow).journal, IsEmpty());
}

TEST_F(JournalSourceTest, OffersNoUndoOfAnotherMachinesHive)
{
    PutHive("a", 1000);
    static_cast<void>(Start({"a@HKEY_USERS\\A"}, JournalAccess::kChange, false, Make("HKEY_USERS\\A")));
    std::filesystem::rename(m_folder / "a", m_folder / "kept");
    PutHive("a", 5000);

    const Run refused = Start({"a"}, JournalAccess::kEdit);
    EXPECT_FALSE(refused.isOpen);
    EXPECT_THAT(refused.told, ElementsAre(HasSubstr("is another hive than the one that was there")));
    const Run shown = Start({"a"}, JournalAccess::kShow);
    EXPECT_THAT(shown.told, ElementsAre(HasSubstr("(1006)")));
    EXPECT_THAT(shown.journal, IsEmpty());

    const auto make = Make("HKEY_USERS\\A");
    EXPECT_THAT(Start({"a@HKEY_USERS\\A"}, JournalAccess::kChange, false, make).told, ElementsAre(HasSubstr("(0)")));
    const Run own = Start({"a"}, JournalAccess::kEdit); // from now on it has a journal of its own
    EXPECT_THAT(own.told, IsEmpty());
    EXPECT_EQ(own.journal.size(), 1U);

    std::filesystem::rename(m_folder / "kept", m_folder / "a"); // and the first one comes back to its own
    const Run back = Start({"a"}, JournalAccess::kEdit);
    EXPECT_THAT(back.told, IsEmpty());
    ASSERT_EQ(back.journal.size(), 1U);
    EXPECT_NE(back.journal, own.journal);
}

TEST_F(JournalSourceTest, KnowsAHiveAgainOfWhichItChangedNearlyAll)
{
    const auto changeAll = [](CTolvarDoc& document) {
        for (char i = '0'; i < '9'; ++i) {
            const std::string key = std::string("HKEY_USERS\\A\\k") + i;
            EXPECT_TRUE(document.ApplyChange(ChangeRecord::EditValue(key, "v", REG_SZ, "x")));
        }
    };
    for (const bool isCrashing : {true, false}) {
        SCOPED_TRACE(isCrashing);
        const std::string name = isCrashing ? "crashed" : "closed";
        PutHive(name, 1000);
        static_cast<void>(Start({name + "@HKEY_USERS\\A"}, JournalAccess::kChange, isCrashing, changeAll));
        const Run run = Start({name + "@HKEY_USERS\\B"}, JournalAccess::kEdit, false, [](CTolvarDoc& document) {
            EXPECT_EQ(document.UndoEntries({0, 1, 2, 3, 4, 5, 6, 7}).undone, 8U);
        });
        EXPECT_THAT(run.told, IsEmpty());
        EXPECT_EQ(run.journal.size(), 1U);
        EXPECT_EQ(Start({name}, JournalAccess::kShow).journal.size(), 1U);
    }
}

TEST_F(JournalSourceTest, TakesNoForeignOrDamagedMarkForMoreThanItIs)
{
    PutHive("a", 1000);
    static_cast<void>(Start({"a@HKEY_USERS\\A"}, JournalAccess::kChange, false, Make("HKEY_USERS\\A")));
    const auto journal = *std::filesystem::directory_iterator(m_folder / "data" / "tolvar" / "sources");
    const std::filesystem::path mark = journal.path() / "hive";
    const Result<MappedFile> map = SystemFiles().Map(mark, 0);
    ASSERT_TRUE(map);
    const std::vector<std::byte> whole(map->Bytes().begin(), map->Bytes().end());
    ASSERT_GT(whole.size(), 100U);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::vector<std::byte> damaged = whole;
        damaged[i] ^= std::byte{0x41};
        m_folder.Write(std::filesystem::relative(mark, m_folder.Path()).string(), damaged);
        EXPECT_EQ(Start({"a"}, JournalAccess::kShow).journal.size(), 1U) << i; // the place alone decides
    }
    std::filesystem::resize_file(mark, whole.size() / 2);
    EXPECT_EQ(Start({"a"}, JournalAccess::kChange).journal.size(), 1U);
    EXPECT_GT(std::filesystem::file_size(mark), whole.size() / 2); // made anew
}

TEST_F(JournalSourceTest, KeepsJournalsFromOthers)
{
    PutHive("a", 1000);
    static_cast<void>(Start({"a@HKEY_USERS\\A"}, JournalAccess::kChange, false, Make("HKEY_USERS\\A")));
    using std::filesystem::perms;
    const perms others = perms::group_all | perms::others_all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder / "data")) {
        const bool isMark = entry.path().filename() == "hive"; // holds names of keys, in a folder that is closed
        EXPECT_TRUE(isMark || (entry.status().permissions() & others) == perms::none) << entry.path();
    }
}

TEST_F(JournalSourceTest, TakesNoFolderThatIsNoFullPath)
{
    const std::filesystem::path fallback = m_folder / "data" / "tolvar" / "Backups";
    for (const char* path : {"", "backups", "../x"}) {
        m_settings.texts = {{"Data Path", path}};
        const JournalPlace place = EmbeddedJournalPlace(m_settings);
        EXPECT_EQ(place.dataFolder, fallback) << path;
        EXPECT_TRUE(place.notice && place.notice->code == ErrorCode::kSuccess);
        EXPECT_EQ(m_settings.texts["Data Path"], path);
    }
    m_settings.texts = {};
    EXPECT_EQ(EmbeddedJournalPlace(m_settings).dataFolder, m_folder / "data" / "tolvar" / "backups");
    m_settings.texts = {{"Data Path", (m_folder / "mine").string()}};
    const JournalPlace place = EmbeddedJournalPlace(m_settings);
    EXPECT_EQ(place.dataFolder, m_folder / "mine");
    EXPECT_FALSE(place.notice);
}

} // namespace
} // namespace tolvar
