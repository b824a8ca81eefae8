// Random series of changes, undone in random order, beside a model of what has to come out: the rules of undoing, over
// plain memory. The model knows nothing of hives, texts or snapshots.

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <ranges>

#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/journal_session.h"
#include "platform/system/text.h"

namespace tolvar {
namespace {

using fixtures::JournalSession;
using fixtures::ModelValue;

/// A key of the model. Its subkeys are kept by name, its values in the order of the list.
struct Node {
    std::u16string name;
    std::u16string className;
    std::vector<std::byte> security;
    std::vector<ModelValue> values;
    std::vector<Node> subkeys;

    bool operator==(const Node&) const = default;

    std::vector<Node>::iterator Place(std::u16string_view wanted)
    {
        return std::ranges::find_if(subkeys, [&](const Node& key) { return CompareNames(key.name, wanted) >= 0; });
    }
    Node* Find(std::u16string_view wanted)
    {
        const auto at = Place(wanted);
        return at != subkeys.end() && CompareNames(at->name, wanted) == 0 ? &*at : nullptr;
    }
    Node* Make(std::u16string_view wanted)
    {
        Node* found = Find(wanted);
        return found != nullptr ? found
                                : &*subkeys.insert(Place(wanted), Node{std::u16string(wanted), {}, security, {}, {}});
    }
    void Remove(std::u16string_view gone)
    {
        std::erase_if(subkeys, [&](const Node& key) { return CompareNames(key.name, gone) == 0; });
    }
    std::vector<ModelValue>::iterator ValueAt(std::u16string_view wanted)
    {
        return std::ranges::find_if(values, [&](const ModelValue& v) { return CompareNames(v.name, wanted) == 0; });
    }
    void SetValue(const ModelValue& value, std::size_t place)
    {
        if (const auto at = ValueAt(value.name); at != values.end()) {
            at->type = value.type;
            at->data = value.data;
        } else {
            values.insert(values.begin() + static_cast<std::ptrdiff_t>(std::min(place, values.size())), value);
        }
    }
    void RemoveValue(std::u16string_view gone)
    {
        std::erase_if(values, [&](const ModelValue& v) { return CompareNames(v.name, gone) == 0; });
    }
    void Merge(const Node& image)
    {
        className = image.className;
        security = image.security;
        for (const ModelValue& value : image.values) {
            SetValue(value, values.size());
        }
        for (const Node& child : image.subkeys) {
            Make(child.name)->Merge(child);
        }
    }
};

Node ReadNode(const Hive& hive, CellOffset cell)
{
    const KeyNode key = hive.Key(cell).value();
    const auto security = hive.SecurityDescriptor(key).value();
    Node node{key.name.ToUtf16(), hive.ClassName(key)->ToUtf16(), {security.begin(), security.end()}, {}, {}};
    const ValueListView values = hive.Values(key).value();
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const ValueRecord value = hive.Value(values[i]).value();
        node.values.push_back({value.name.ToUtf16(), value.type, hive.ReadData(value).value()});
    }
    SubkeyCursor cursor = hive.Subkeys(key);
    for (auto next = cursor.Next(); next && !next->IsNil(); next = cursor.Next()) {
        node.subkeys.push_back(ReadNode(hive, *next));
    }
    return node;
}

/// The first key in which two trees differ, with its values' names; empty where they are equal.
std::string FirstDifference(const Node& real, const Node& model, const std::string& path)
{
    const auto names = [](const Node& node) {
        std::string text = "class " + ToUtf8(node.className) + ", values";
        for (const ModelValue& value : node.values) {
            text += " " + ToUtf8(value.name) + "(" + std::to_string(value.data.size()) + ")";
        }
        text += ", subkeys";
        for (const Node& subkey : node.subkeys) {
            text += " " + ToUtf8(subkey.name);
        }
        return text;
    };
    for (std::size_t i = 0; i < std::min(real.subkeys.size(), model.subkeys.size()); ++i) {
        const std::string below =
            FirstDifference(real.subkeys[i], model.subkeys[i], path + "\\" + ToUtf8(real.subkeys[i].name));
        if (!below.empty()) {
            return below;
        }
    }
    return real == model ? "" : path + ": " + names(real) + "\n  but should be: " + names(model);
}

using Path = std::vector<std::u16string>;

/// What undoing an entry of the model needs.
struct ModelEntry {
    ChangeKind kind;
    bool isKey;
    Path path;                                              ///< of the key; for a new key, of its parent
    std::u16string name;                                    ///< of a value before
    std::u16string newName;                                 ///< of a value or key afterwards
    Node key;                                               ///< before a key was deleted or renamed
    std::vector<std::pair<std::size_t, ModelValue>> values; ///< with their places
};

class Model {
public:
    explicit Model(Node root) : m_root(std::move(root)) {}

    [[nodiscard]] const Node& Root() const { return m_root; }
    Node* At(const Path& path)
    {
        Node* at = &m_root;
        for (const std::u16string& name : path) {
            at = at != nullptr ? at->Find(name) : nullptr;
        }
        return at;
    }
    Path RandomPath(std::mt19937& random)
    {
        Path path;
        for (Node* at = &m_root; !at->subkeys.empty() && random() % 4 != 0;) {
            at = &at->subkeys[random() % at->subkeys.size()];
            path.push_back(at->name);
        }
        return path;
    }

    void Undo(const ModelEntry& entry)
    {
        if (entry.kind == ChangeKind::kNew) {
            if (Node* key = At(entry.path)) {
                entry.isKey ? key->Remove(entry.newName) : key->RemoveValue(entry.newName);
            }
            return;
        }
        Node* key = &m_root;
        for (std::size_t i = 0; i < entry.path.size(); ++i) {
            const bool isLast = i + 1 == entry.path.size();
            key = key->Make(isLast && entry.isKey ? entry.key.name : entry.path[i]);
        }
        if (entry.isKey) {
            key->Merge(entry.key);
        } else {
            if (entry.kind == ChangeKind::kRename) {
                key->RemoveValue(entry.newName);
            }
            for (const auto& [place, value] : entry.values) {
                key->SetValue(value, place);
            }
        }
        const bool isOtherName =
            entry.isKey && entry.kind == ChangeKind::kRename && CompareNames(entry.path.back(), entry.newName) != 0;
        if (isOtherName) {
            At({entry.path.begin(), entry.path.end() - 1})->Remove(entry.newName);
        }
    }

private:
    Node m_root;
};

std::string FullPath(const Path& path)
{
    std::string text = fixtures::kJournalTop;
    for (const std::u16string& name : path) {
        text.append("\\").append(ToUtf8(name));
    }
    return text;
}

std::u16string RandomName(std::mt19937& random)
{
    static const std::u16string kNames[] = {u"a",
                                            u"A",
                                            u"b",
                                            u"tempkey",
                                            u"se;mi",
                                            u"x:y=[",
                                            u"[k]",
                                            u"@",
                                            std::u16string(u"n\0l", 3),
                                            u"l\nf",
                                            std::u16string(1, char16_t{0xDC00}),
                                            u"long name with blanks",
                                            u"\u00e9\u0451"};
    return kNames[random() % std::size(kNames)];
}

/// Plays one series on the real thing and on the model, and compares them at every step.
class Series {
public:
    explicit Series(std::uint32_t seed) : m_random(seed)
    {
        m_store.Put(fixtures::kJournalHive, fixtures::OddHive());
        m_session.emplace(m_store);
        m_model.emplace(ReadNode(m_session->Reader(), m_session->Reader().Root()));
    }

    void Play(bool isLastFirst)
    {
        const Node before = m_model->Root();
        for (unsigned step = 0; step < 14 && !testing::Test::HasFailure(); ++step) {
            if (!isLastFirst && m_random() % 5 == 0 && !m_entries.empty()) {
                UndoOne(m_random() % m_entries.size());
            } else {
                ChangeOne();
            }
            if (m_random() % 6 == 0) {
                StartAgain(m_random() % 2 == 0);
            }
        }
        while (!m_entries.empty() && !testing::Test::HasFailure()) {
            UndoOne(isLastFirst ? m_entries.size() - 1 : m_random() % m_entries.size());
        }
        if (isLastFirst && !m_hasOtherSpelling) {
            EXPECT_TRUE(m_model->Root() == before) << "an order in which all comes back exactly";
        }
        EXPECT_EQ(fixtures::Findings(m_session->Reader()), "");
        EXPECT_EQ(m_store.List("/d/backups").value(), std::vector<std::string>{"index"});
    }

private:
    void Compare(const char* what)
    {
        const Node real = ReadNode(m_session->Reader(), m_session->Reader().Root());
        if (!(real == m_model->Root())) {
            ADD_FAILURE() << "the registry is not what it should be after: " << what << "\n"
                          << FirstDifference(real, m_model->Root(), "top");
        }
        EXPECT_EQ(m_session->Document().Journal().size(), m_entries.size()) << what;
    }

    /// As another run of a program would, after a clean end or after none.
    void StartAgain(bool isCleanEnd)
    {
        if (isCleanEnd) {
            EXPECT_TRUE(m_session->Document().SaveModified());
        }
        m_session.reset();
        m_session.emplace(m_store);
        ASSERT_TRUE(m_session->Opened()) << Describe(m_session->Opened().error());
        Compare("the next start");
    }

    /// Undoes an entry, and where later ones stand on it those with it.
    void UndoOne(std::size_t index)
    {
        CTolvarDoc& document = m_session->Document();
        std::vector<std::size_t> indices = {index};
        if (const auto undone = document.UndoEntry(index); !undone) {
            ASSERT_EQ(undone.error().code, ErrorCode::kBusy) << Describe(undone.error());
            Compare("a refused undo");
            indices = document.WithLaterEntries(indices);
            ASSERT_GT(indices.size(), 1U) << Describe(undone.error());
            const UndoReport report = document.UndoEntries(indices);
            ASSERT_TRUE(report.failures.empty()) << Describe(report.failures.front());
        }
        for (const std::size_t undone : indices | std::views::reverse) {
            m_model->Undo(m_entries[undone]);
            m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(undone));
        }
        Compare("undo");
    }

    void Apply(const ChangeRecord& change, bool isPossible, const ModelEntry& entry)
    {
        const Result<void> applied = m_session->Document().ApplyChange(change);
        ASSERT_EQ(applied.has_value(), isPossible)
            << FormatRecord(change, "", "") << (applied ? "" : Describe(applied.error()));
        if (isPossible) {
            m_entries.push_back(entry);
        }
        Compare(FormatRecord(change, "", "").c_str());
    }

    void ChangeOne()
    {
        const Path path = m_model->RandomPath(m_random);
        switch (m_random() % 7) {
        case 0:
            return MakeKey(path);
        case 1:
            return path.empty() ? MakeKey(path) : TakeKey(path, {});
        case 2:
            return path.empty() ? MakeKey(path) : TakeKey(path, RandomName(m_random));
        case 3:
        case 4:
            return StoreValue(path);
        case 5:
            return TakeValue(path, {});
        default:
            return TakeValue(path, RandomName(m_random));
        }
    }

    void MakeKey(const Path& path)
    {
        const std::u16string name = RandomName(m_random);
        Node* parent = m_model->At(path);
        const bool isFree = parent->Find(name) == nullptr;
        parent->Make(name);
        Apply(ChangeRecord::NewKey(FullPath(path), ToUtf8(name)), isFree,
              {ChangeKind::kNew, true, path, {}, name, {}, {}});
    }

    /// Deletes a key, or gives it another name.
    void TakeKey(const Path& path, const std::optional<std::u16string>& newName)
    {
        Node* parent = m_model->At({path.begin(), path.end() - 1});
        const Node before = *parent->Find(path.back());
        const bool isOwn = newName && CompareNames(*newName, path.back()) == 0;
        const bool isFree = !newName || isOwn || parent->Find(*newName) == nullptr;
        if (isFree) {
            parent->Remove(path.back());
            if (newName) {
                Node moved = before;
                moved.name = *newName;
                *parent->Make(*newName) = std::move(moved);
            }
            m_hasOtherSpelling = m_hasOtherSpelling || (isOwn && *newName != before.name);
        }
        Apply(newName ? ChangeRecord::RenameKey(FullPath(path), ToUtf8(*newName))
                      : ChangeRecord::DeleteKey(FullPath(path)),
              isFree,
              {newName ? ChangeKind::kRename : ChangeKind::kDelete, true, path, {}, newName.value_or(u""), before, {}});
    }

    void StoreValue(const Path& path)
    {
        Node* key = m_model->At(path);
        const bool isKnown = !key->values.empty() && m_random() % 2 == 0;
        const std::u16string name = isKnown ? key->values[m_random() % key->values.size()].name : RandomName(m_random);
        static constexpr std::uint32_t kTypes[] = {0, 3, 4, 6, 12, 0xFFFFFFFF};
        ModelValue value{name, kTypes[m_random() % std::size(kTypes)], std::vector<std::byte>(m_random() % 30)};
        std::ranges::generate(value.data, [&] { return static_cast<std::byte>(m_random()); });
        std::string text;
        for (const std::byte byte : value.data) {
            constexpr std::string_view kDigits = "0123456789ABCDEF";
            text += {kDigits[static_cast<unsigned>(byte) >> 4U], kDigits[static_cast<unsigned>(byte) & 15U], ' '};
        }
        ChangeRecord change = ChangeRecord::NewValue(FullPath(path), ToUtf8(name), value.type, text);
        change.form = DataForm::kBytes;
        ModelEntry entry{ChangeKind::kNew, false, path, name, name, {}, {}};
        if (const auto at = key->ValueAt(name); at != key->values.end()) {
            entry.kind = ChangeKind::kModify;
            entry.values.emplace_back(at - key->values.begin(), *at);
        }
        key->SetValue(value, key->values.size());
        Apply(change, true, entry);
    }

    /// Deletes a value, or gives it another name.
    void TakeValue(const Path& path, const std::optional<std::u16string>& newName)
    {
        Node* key = m_model->At(path);
        const bool isThere = !key->values.empty();
        const std::u16string name = isThere ? key->values[m_random() % key->values.size()].name : u"none";
        ModelEntry entry{
            newName ? ChangeKind::kRename : ChangeKind::kDelete, false, path, name, newName.value_or(u""), {}, {}};
        if (isThere) {
            const auto remember = [&](std::u16string_view which) {
                const auto at = key->ValueAt(which);
                if (at != key->values.end()) {
                    entry.values.emplace_back(at - key->values.begin(), *at);
                }
            };
            remember(name);
            if (newName && CompareNames(*newName, name) != 0) {
                remember(*newName);
                key->RemoveValue(*newName);
            }
            std::ranges::sort(entry.values, {}, [](const auto& pair) { return pair.first; });
            if (newName) {
                key->ValueAt(name)->name = *newName;
            } else {
                key->RemoveValue(name);
            }
        }
        Apply(newName ? ChangeRecord::RenameValue(FullPath(path), ToUtf8(name), ToUtf8(*newName), 0)
                      : ChangeRecord::DeleteValue(FullPath(path), ToUtf8(name), 0),
              isThere, entry);
    }

    std::mt19937 m_random;
    fixtures::PowerCutStore m_store;
    std::optional<JournalSession> m_session;
    std::optional<Model> m_model;
    std::vector<ModelEntry> m_entries;
    bool m_hasOtherSpelling = false; ///< a key's name changed in case alone, which undoing leaves
};

/// TOLVAR_JOURNAL_SERIES asks for more of them; TOLVAR_JOURNAL_SEED for one alone.
void PlayMany(bool isLastFirst)
{
    const char* count = std::getenv("TOLVAR_JOURNAL_SERIES");
    const char* one = std::getenv("TOLVAR_JOURNAL_SEED");
    const std::uint32_t first = one != nullptr ? static_cast<std::uint32_t>(std::atoi(one)) : 0;
    const std::uint32_t series = one != nullptr     ? 1
                                 : count != nullptr ? static_cast<std::uint32_t>(std::atoi(count))
                                                    : 40;
    for (std::uint32_t seed = first; seed < first + series && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("TOLVAR_JOURNAL_SEED=" + std::to_string(seed));
        Series(seed).Play(isLastFirst);
    }
}

TEST(JournalModel, UndoingInAnyOrderGivesWhatTheRulesSay)
{
    PlayMany(false);
}

TEST(JournalModel, UndoingTheLastFirstGivesBackExactlyWhatWas)
{
    PlayMany(true);
}

} // namespace
} // namespace tolvar
