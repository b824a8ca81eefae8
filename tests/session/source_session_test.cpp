#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "journal/pending_log.h"
#include "platform/files/file_store.h"
#include "registry/root_keys.h"
#include "session/settings_file.h"
#include "session/source_session.h"

namespace tolvar {
namespace {

using Kind = SourceProblem::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

/// Hives to open: "good", and "short", which lacks its last bins and can only be read.
class SourceSessionTest : public testing::Test {
protected:
    SourceSessionTest()
    {
        setenv("XDG_DATA_HOME", m_folder.Path().c_str(), 1);
        const std::vector<std::byte> bytes = fixtures::HiveBuilder().Build(
            {.name = u"ROOT", .values = {{.name = u"v", .data = std::vector<std::byte>(20'000)}}});
        m_folder.Write("good", bytes);
        m_folder.Write("short", std::span(bytes).first(8192));
    }

    [[nodiscard]] SourceOptions Options(std::initializer_list<const char*> hives, bool isReadOnly = false) const
    {
        SourceOptions options;
        for (const char* hive : hives) {
            options.hives.push_back((m_folder / hive).string() + "@HKEY_USERS\\" + hive);
        }
        options.embedded = m_folder / "registry";
        options.isReadOnly = isReadOnly;
        return options;
    }

    static std::vector<Kind> Kinds(const std::vector<SourceProblem>& problems)
    {
        std::vector<Kind> kinds;
        std::ranges::transform(problems, std::back_inserter(kinds), &SourceProblem::kind);
        return kinds;
    }

    /// Whether the current session has a key of that path.
    static bool IsKey(const char* path)
    {
        HKEY key = nullptr;
        const bool isThere = OpenKeyPath(path, key, KEY_READ) == ERROR_SUCCESS;
        RegCloseKey(key);
        return isThere;
    }

    fixtures::ScratchFolder m_folder;
    SettingsFile m_settings{m_folder / "none"};
};

TEST_F(SourceSessionTest, OpensWhatCanNotBeWrittenAsItIsAskedTo)
{
    struct Case {
        SourceAccess access;
        bool isReadOnly;
        std::vector<Kind> problems;
        bool isShown;
    };
    for (const Case& c : {
             Case{SourceAccess::kWrite, false, {Kind::kRefused}, false},
             Case{SourceAccess::kWriteOrRead, false, {Kind::kRefused}, true}, // its damage was told with the refusal
             Case{SourceAccess::kRead, false, {Kind::kDamaged}, true},
             Case{SourceAccess::kWrite, true, {Kind::kDamaged}, true},
         }) {
        SCOPED_TRACE(static_cast<int>(c.access));
        SourceSession session(Options({"short", "good"}, c.isReadOnly), m_settings);
        EXPECT_EQ(Kinds(session.Mount(c.access)), c.problems);
        EXPECT_EQ(IsKey("HKEY_USERS\\short"), c.isShown);
        EXPECT_TRUE(IsKey("HKEY_USERS\\good"));
        EXPECT_EQ(session.FirstMount(), c.isShown ? "HKEY_USERS\\short" : "HKEY_USERS\\good");
        EXPECT_FALSE(session.IsInUse());
    }
}

TEST_F(SourceSessionTest, LeavesToAnotherProgramWhatItIsWriting)
{
    const auto lock = SystemFiles().Open(m_folder / "good", FileStore::Mode::kWrite);
    ASSERT_TRUE(lock && (*lock)->Lock());
    SourceSession session(Options({"good"}), m_settings);
    EXPECT_THAT(Kinds(session.Mount(SourceAccess::kWriteOrRead)), ElementsAre(Kind::kRefused));
    EXPECT_TRUE(session.IsInUse());
    EXPECT_FALSE(IsKey("HKEY_USERS\\good"));
}

TEST_F(SourceSessionTest, MakesTheEmbeddedRegistryWhereItMayWrite)
{
    {
        SourceSession looking(Options({}, true), m_settings);
        EXPECT_THAT(looking.Mount(SourceAccess::kWrite), IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(m_folder / "registry"));
    }
    SourceSession session(Options({}), m_settings);
    EXPECT_THAT(session.Mount(SourceAccess::kRead), IsEmpty());
    EXPECT_TRUE(IsKey("HKEY_LOCAL_MACHINE\\SOFTWARE"));
    EXPECT_EQ(session.FirstMount(), "");
}

TEST_F(SourceSessionTest, HasADocumentFromItsMakingToItsEnd)
{
    {
        SourceSession session(Options({"good"}), m_settings);
        ASSERT_THAT(session.Mount(SourceAccess::kWrite), IsEmpty());
        EXPECT_EQ(session.Document(), nullptr);
        session.MakeDocument(JournalAccess::kChange);
        ASSERT_TRUE(session.OpenDocument());
        EXPECT_EQ(session.KeepDays(), 20);
        EXPECT_TRUE(session.Document()->ApplyChange(ChangeRecord::NewKey("HKEY_USERS\\good", "made")));
        EXPECT_THAT(session.Close(), IsEmpty());
        EXPECT_EQ(session.Document(), nullptr);
    }
    SourceSession second(Options({"good"}, true), m_settings);
    EXPECT_THAT(second.Mount(SourceAccess::kRead), IsEmpty());
    EXPECT_TRUE(IsKey("HKEY_USERS\\good\\made"));
    second.MakeDocument(JournalAccess::kChange);
    ASSERT_TRUE(second.OpenDocument());
    EXPECT_EQ(second.Document()->Journal().size(), 1U);
}

TEST_F(SourceSessionTest, SaysWhatItTookBackOfACommandThatACrashCut)
{
    std::filesystem::path pending;
    {
        SourceSession session(Options({"good"}), m_settings);
        ASSERT_THAT(session.Mount(SourceAccess::kWrite), IsEmpty());
        CTolvarDoc& document = session.MakeDocument(JournalAccess::kChange);
        ASSERT_TRUE(session.OpenDocument());
        pending = document.DataFolder().parent_path() / "journal.pending";
        ChangeGroup group(document);
        for (const char* name : {"one", "two"}) {
            ASSERT_TRUE(document.ApplyChange(ChangeRecord::NewKey("HKEY_USERS\\good", name)));
        }
        ASSERT_TRUE(group.Commit());
    } // ends as in a crash
    const auto mark = PendingLog::Open(SystemFiles(), pending);
    ASSERT_TRUE(mark && mark->Entries().back().event == PendingLog::Event::kGroupMade);
    constexpr std::size_t kHead = 13; // bytes of an entry before its record
    std::filesystem::resize_file(pending,
                                 std::filesystem::file_size(pending) - kHead - mark->Entries().back().record.size());

    SourceSession session(Options({"good"}), m_settings);
    ASSERT_THAT(session.Mount(SourceAccess::kWrite), IsEmpty());
    session.MakeDocument(JournalAccess::kChange);
    const Result<std::vector<SourceProblem>> opened = session.OpenDocument();
    ASSERT_TRUE(opened);
    EXPECT_THAT(Kinds(*opened), ElementsAre(Kind::kTakenBack));
    EXPECT_THAT(opened->front().error.context, testing::HasSubstr("2 changes undone"));
    EXPECT_FALSE(IsKey("HKEY_USERS\\good\\one"));
    EXPECT_TRUE(session.Document()->Journal().empty());
}

} // namespace
} // namespace tolvar
