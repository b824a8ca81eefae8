// Random series of changes and undos, with and without force, beside one rule: nothing gets lost. Every value that is
// made holds bytes of its own. Those that are in the registry or in a backup of the journal must be in one of the two
// behind every step, but for what an undo takes back that found its change as it was left.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/journal_session.h"
#include "platform/hive/hive_walk.h"
#include "platform/system/text.h"
#include "registry/key_path.h"

namespace tolvar {
namespace {

using fixtures::JournalSession;
using fixtures::Picture;

using Data = std::vector<std::byte>;

/// All that a hive holds: the paths of its keys below the root, the values of each, and all data.
struct Contents {
    struct Key {
        std::string path; ///< empty: the root
        std::vector<std::string> values;
    };

    explicit Contents(const Hive& hive) : m_hive(&hive) { HiveWalk(hive, *this).Run(hive.Root()); }

    bool OnKey(const KeyNode& key, unsigned depth)
    {
        m_path.resize(depth);
        std::string path;
        if (depth != 0) {
            m_path[depth - 1] = key.name.ToUtf8();
            for (const std::string& name : m_path) {
                AppendPath(path, name);
            }
        }
        keys.push_back({std::move(path), {}});
        return true;
    }
    void OnValue(const ValueRecord& value, const DataView& /*data*/)
    {
        keys.back().values.push_back(value.name.ToUtf8());
        data.insert(m_hive->ReadData(value).value());
    }
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& /*fault*/, unsigned /*depth*/) { ADD_FAILURE() << "the hive is damaged"; }
    [[nodiscard]] bool IsStopped() const { return false; }

    std::vector<Key> keys;
    std::set<Data> data;

private:
    const Hive* m_hive;
    std::vector<std::string> m_path;
};

class Series {
public:
    explicit Series(std::uint32_t seed) : m_random(seed)
    {
        m_store.Put(fixtures::kJournalHive, fixtures::OddHive());
        m_session.emplace(m_store);
        Look();
    }

    void Play()
    {
        constexpr unsigned kSteps = 22;
        for (unsigned step = 0; step < kSteps && !testing::Test::HasFailure(); ++step) {
            const std::size_t choice = m_random() % 12;
            if (choice < 6 || Doc().Journal().empty()) {
                ChangeOne();
            } else if (choice < 8) {
                UndoSome(UndoForce::kNo);
            } else if (choice == 8) {
                UndoChain();
            } else if (choice == 9) {
                UndoSome(UndoForce::kYes);
            } else if (choice == 10) {
                RedoOne();
            } else {
                StartAgain();
            }
        }
        std::vector<std::size_t> all(Doc().Journal().size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = i;
        }
        const UndoReport report = Doc().UndoEntries(all, UndoForce::kYes);
        EXPECT_TRUE(report.failures.empty()) << Describe(report.failures.front());
        EXPECT_EQ(fixtures::Findings(m_session->Reader()), "");
    }

private:
    CTolvarDoc& Doc() { return m_session->Document(); }
    std::size_t Pick(std::size_t count) { return m_random() % count; }

    /// Remembers what is in the registry, and in the journal's backups.
    void Look()
    {
        const Contents now(m_session->Reader());
        m_keys = now.keys;
        m_inRegistry = now.data;
        m_inJournal.clear();
        for (std::size_t i = 0; i < Doc().Journal().size(); ++i) {
            const Result<ChangeSnapshot> snapshot = Doc().SnapshotOf(i);
            ASSERT_TRUE(snapshot) << Doc().Journal()[i];
            if (const KeyImage* image = snapshot->Image()) {
                m_inJournal.merge(Contents(image->Inside()).data);
            }
        }
    }

    /// Looks again. Whatever was there must be there, but for what `mayGo` allows.
    void Compare(const std::string& what, const std::set<Data>& mayGo = {})
    {
        const std::set<Data> before = All();
        Look();
        for (const Data& data : before) {
            if (!m_inRegistry.contains(data) && !m_inJournal.contains(data) && !mayGo.contains(data)) {
                ADD_FAILURE() << what << " loses a value of " << data.size() << " bytes";
            }
        }
    }

    std::string RandomName()
    {
        static const std::string kNames[] = {"a", "A", "b", "B", "se;mi", "@", ""};
        return kNames[Pick(std::size(kNames))];
    }

    void Apply(const ChangeRecord& change)
    {
        m_log += FormatRecord(change, "", "") + "\n";
        const std::string before = Picture(m_session->Reader());
        const std::set<Data> data = All();
        const std::set<Data> inRegistry = m_inRegistry;
        const std::size_t entries = Doc().Journal().size();
        if (!Doc().ApplyChange(change)) {
            EXPECT_EQ(Picture(m_session->Reader()), before) << "a change that fails changes nothing";
        }
        Compare(m_log);
        NoteMade(data, inRegistry, entries);
    }

    void ChangeOne()
    {
        const Contents::Key key = m_keys[Pick(m_keys.size())];
        const std::string path = key.path.empty() ? fixtures::kJournalTop : JoinPath(fixtures::kJournalTop, key.path);
        const std::string value = key.values.empty() ? RandomName() : key.values[Pick(key.values.size())];
        switch (Pick(8)) {
        case 0:
            return Apply(ChangeRecord::NewKey(path, RandomName()));
        case 1:
            return Apply(ChangeRecord::DeleteKey(path));
        case 2:
            return Apply(ChangeRecord::RenameKey(path, RandomName()));
        case 3:
            return Apply(ChangeRecord::DeleteValue(path, value, 3));
        case 4:
            return Apply(ChangeRecord::RenameValue(path, value, RandomName(), 3));
        case 5:
            return MakeGroup(path);
        default:
            return Apply(NewData(path, Pick(2) == 0 ? value : RandomName()));
        }
    }

    /// A value with bytes that no other has.
    ChangeRecord NewData(const std::string& path, const std::string& name)
    {
        ++m_made;
        return ChangeRecord::NewValue(path, name, 3, fmt::format("{:02x} {:02x} ee ", m_made / 256, m_made % 256));
    }

    void MakeGroup(const std::string& path)
    {
        const std::set<Data> data = All();
        const std::set<Data> inRegistry = m_inRegistry;
        const std::size_t entries = Doc().Journal().size();
        {
            ChangeGroup group(Doc());
            for (int i = 0; i < 3; ++i) {
                m_log += "in a group: ";
                static_cast<void>(Doc().ApplyChange(NewData(path, RandomName())));
            }
            if (Pick(2) == 0) {
                EXPECT_TRUE(group.Commit());
            }
        }
        Compare(m_log);
        NoteMade(data, inRegistry, entries);
    }

    /// All data that is anywhere.
    [[nodiscard]] std::set<Data> All() const
    {
        std::set<Data> all = m_inRegistry;
        all.insert(m_inJournal.begin(), m_inJournal.end());
        return all;
    }

    /// Says that data that was nowhere before, or not in the registry, is the work of the entries that have come into
    /// the journal.
    void NoteMade(const std::set<Data>& before, const std::set<Data>& inRegistry, std::size_t entries)
    {
        for (std::size_t i = entries; i < Doc().Journal().size(); ++i) {
            std::set<Data>& made = m_madeBy[Doc().Journal()[i]];
            std::ranges::set_difference(All(), before, std::inserter(made, made.end()));
            std::ranges::set_difference(m_inRegistry, inRegistry, std::inserter(made, made.end()));
        }
    }

    /// What undoing entries may take away: what they made.
    std::set<Data> MadeBy(const std::vector<std::size_t>& entries)
    {
        std::set<Data> made;
        for (const std::size_t entry : entries) {
            const std::set<Data>& own = m_madeBy[Doc().Journal()[entry]];
            made.insert(own.begin(), own.end());
        }
        return made;
    }

    void Undo(const std::vector<std::size_t>& entries, UndoForce force, bool mustWork)
    {
        m_log += force == UndoForce::kYes ? "undo by force" : "undo";
        for (const std::size_t entry : entries) {
            m_log += " " + std::to_string(entry);
        }
        m_log += "\n";
        const std::string before = Picture(m_session->Reader());
        const std::set<Data> data = All();
        const std::set<Data> inRegistry = m_inRegistry;
        const std::set<Data> mayGo = MadeBy(entries);
        const std::size_t left = Doc().Journal().size();
        const UndoReport report = Doc().UndoEntries(entries, force);
        const std::string what = report.failures.empty() ? "" : Describe(report.failures.front());
        EXPECT_TRUE(!mustWork || report.failures.empty()) << m_log << what;
        if (report.undone == 0) {
            EXPECT_EQ(Picture(m_session->Reader()), before) << m_log;
        }
        Compare(m_log, mayGo);
        NoteMade(data, inRegistry, left - report.undone);
    }

    void UndoSome(UndoForce force)
    {
        std::vector<std::size_t> entries = {Pick(Doc().Journal().size())};
        if (Pick(3) == 0) {
            entries.push_back(Pick(Doc().Journal().size()));
        }
        Undo(entries, force, force == UndoForce::kYes);
    }

    void UndoChain()
    {
        // What an undo by force went over is known to no chain.
        Undo(Doc().WithLaterEntries({Pick(Doc().Journal().size())}), UndoForce::kNo, false);
    }

    void RedoOne()
    {
        m_log += "redo\n";
        const std::size_t count = Doc().RedoCount();
        const Result<std::size_t> redone = Doc().Redo();
        EXPECT_EQ(redone.value_or(0), count) << m_log << (redone ? "" : Describe(redone.error()));
        Compare(m_log);
    }

    void StartAgain()
    {
        if (Pick(2) == 0) {
            EXPECT_TRUE(Doc().SaveModified());
        }
        const std::vector<std::string> journal(Doc().Journal().begin(), Doc().Journal().end());
        const std::size_t count = Doc().RedoCount();
        m_session.reset();
        m_session.emplace(m_store);
        ASSERT_TRUE(m_session->Opened()) << Describe(m_session->Opened().error());
        EXPECT_EQ(Doc().RedoCount(), count) << m_log;
        EXPECT_TRUE(std::ranges::is_permutation(Doc().Journal(), journal)) << m_log;
        Compare(m_log);
    }

    std::mt19937 m_random;
    fixtures::PowerCutStore m_store;
    std::optional<JournalSession> m_session;
    std::vector<Contents::Key> m_keys;
    std::set<Data> m_inRegistry;
    std::set<Data> m_inJournal;
    std::map<std::string, std::set<Data>> m_madeBy; ///< by records
    std::string m_log;
    unsigned m_made = 0;
};

/// TOLVAR_UNDO_SERIES asks for more of them; TOLVAR_UNDO_SEED for one alone.
TEST(UndoModel, LosesNothingInWhateverOrder)
{
    const char* const count = std::getenv("TOLVAR_UNDO_SERIES");
    const char* const one = std::getenv("TOLVAR_UNDO_SEED");
    const auto number = [](const char* text) { return static_cast<std::uint32_t>(std::atoi(text)); };
    const std::uint32_t first = one != nullptr ? number(one) : 0;
    const std::uint32_t series = one != nullptr ? 1 : count != nullptr ? number(count) : 60;
    for (std::uint32_t seed = first; seed < first + series && !HasFailure(); ++seed) {
        SCOPED_TRACE("TOLVAR_UNDO_SEED=" + std::to_string(seed));
        Series(seed).Play();
    }
}

} // namespace
} // namespace tolvar
