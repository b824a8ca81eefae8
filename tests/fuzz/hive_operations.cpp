#include "fuzz/hive_operations.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "fixtures/hive_model.h"
#include "fixtures/power_cut_store.h"
#include "fuzz/hive_reading.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"
#include "platform/system/text.h"

namespace tolvar::fuzz {

namespace {

using fixtures::ModelKey;
using fixtures::ModelValue;
using fixtures::PowerCutStore;

constexpr const char* kFile = "HIVE";

void Expect(bool isTrue, const std::string& what)
{
    if (!isTrue) {
        throw BrokenPromise(what);
    }
}

/// Numbers from the input's bytes; zeros behind its end.
class Source {
public:
    explicit Source(std::span<const std::byte> input) : m_input(input) {}

    [[nodiscard]] bool IsEmpty() const { return m_input.empty(); }
    unsigned Byte()
    {
        if (m_input.empty()) {
            return 0;
        }
        const auto byte = std::to_integer<unsigned>(m_input.front());
        m_input = m_input.subspan(1);
        return byte;
    }
    std::size_t Below(std::size_t count) { return (Byte() * 256U + Byte()) % count; }

    /// Few different names, so that they meet again; some long, some that are no text.
    std::u16string Name()
    {
        constexpr std::u16string_view kUnits = u"aBc\xD800\x178\xFF_";
        const unsigned shape = Byte();
        std::u16string name(shape % 16 == 0 ? 1 + Byte() % 200 : 1 + shape % 2, u'a');
        for (std::size_t i = 0; i < std::min<std::size_t>(3, name.size()); ++i) {
            name[i] = kUnits[Byte() % kUnits.size()];
        }
        return name;
    }

    std::vector<std::byte> Data()
    {
        constexpr std::size_t kSizes[] = {0, 1, 4, 5, 30, 300, 4000, 16344, 16345, 40'000};
        const unsigned shape = Byte();
        return std::vector<std::byte>(kSizes[shape % std::size(kSizes)] + shape / 64, static_cast<std::byte>(Byte()));
    }

private:
    std::span<const std::byte> m_input;
};

class NoClock final : public Clock {
public:
    [[nodiscard]] std::uint64_t Now() const override { return 1; }
};

/// The hive and the model that go through the changes side by side.
class Changes {
public:
    explicit Changes(std::uint32_t minor)
    {
        m_store.Put(kFile, EmptyHive(u"ROOT", 1, minor));
        m_hive = WritableHive::Open(m_store, kFile, m_clock).value();
        m_model = fixtures::ReadModel(m_hive->Reader(), m_hive->Reader().Root());
    }

    void Step(Source& source)
    {
        ModelKey* parent = nullptr;
        ModelKey* key = &m_model;
        CellOffset cell = m_hive->Reader().Root();
        for (unsigned down = source.Byte() % 4; down != 0 && !key->subkeys.empty(); --down) {
            parent = key;
            key = key->subkeys[source.Below(key->subkeys.size())].get();
            cell = m_hive->Reader().FindSubkey(*m_hive->Reader().Key(cell), key->name).value();
            Expect(!cell.IsNil(), "a key of the model is in the hive");
        }
        switch (source.Byte() % 9) {
        case 0:
        case 1:
            return Create(*key, cell, source);
        case 2:
            return Delete(parent, *key, cell);
        case 3:
            return Rename(parent, *key, cell, source.Name());
        case 4:
        case 5:
            return SetValue(*key, cell, source);
        case 6:
            return DeleteValue(*key, cell, source);
        case 7:
            return RenameValue(*key, cell, source);
        default:
            Expect(m_hive->Flush().has_value(), "a flush ends well");
            if (source.Byte() % 4 == 0) {
                Open();
            }
        }
    }

    void Finish()
    {
        Expect(m_hive->Flush().has_value(), "the last flush ends well");
        Open();
    }

private:
    void Open()
    {
        m_hive.reset();
        m_hive = WritableHive::Open(m_store, kFile, m_clock).value();
        const Hive& hive = m_hive->Reader();
        Expect(fixtures::Difference(hive, hive.Root(), m_model).empty(), "hive and model are equal");
        Expect(fixtures::Findings(hive).empty(), "the validator finds nothing");
    }

    void Create(ModelKey& key, CellOffset cell, Source& source)
    {
        auto made = std::make_unique<ModelKey>();
        made->name = source.Name();
        made->security = key.security;
        made->className = source.Byte() % 4 == 0 ? source.Name() : std::u16string();
        const bool isAllowed = key.Subkey(made->name) == nullptr;
        Expect(m_hive->Writer().CreateKey(cell, made->name, made->className).has_value() == isAllowed, "create");
        if (isAllowed) {
            const auto at = static_cast<std::ptrdiff_t>(key.Place(made->name));
            key.subkeys.insert(key.subkeys.begin() + at, std::move(made));
        }
    }

    void Delete(ModelKey* parent, ModelKey& key, CellOffset cell)
    {
        const bool isAllowed = parent != nullptr && key.subkeys.empty();
        Expect(m_hive->Writer().DeleteKey(cell).has_value() == isAllowed, "delete");
        if (isAllowed) {
            parent->subkeys.erase(parent->subkeys.begin() + static_cast<std::ptrdiff_t>(parent->Place(key.name)));
        }
    }

    void Rename(ModelKey* parent, ModelKey& key, CellOffset cell, const std::u16string& name)
    {
        const ModelKey* taken = parent != nullptr ? parent->Subkey(name) : nullptr;
        const bool isAllowed = parent != nullptr && (taken == nullptr || taken == &key);
        Expect(m_hive->Writer().RenameKey(cell, name).has_value() == isAllowed, "rename");
        if (isAllowed) {
            const auto at = parent->subkeys.begin() + static_cast<std::ptrdiff_t>(parent->Place(key.name));
            std::unique_ptr<ModelKey> moved = std::move(*at);
            parent->subkeys.erase(at);
            moved->name = name;
            const auto to = static_cast<std::ptrdiff_t>(parent->Place(name));
            parent->subkeys.insert(parent->subkeys.begin() + to, std::move(moved));
        }
    }

    void SetValue(ModelKey& key, CellOffset cell, Source& source)
    {
        const std::u16string name = source.Name();
        const std::vector<std::byte> data = source.Data();
        const auto type = static_cast<std::uint32_t>(data.size() % 12);
        Expect(m_hive->Writer().SetValue(cell, name, type, data).has_value(), "set");
        if (ModelValue* value = key.Value(name); value != nullptr) {
            value->type = type;
            value->data = data;
        } else {
            key.values.push_back({name, type, data});
        }
    }

    void DeleteValue(ModelKey& key, CellOffset cell, Source& source)
    {
        const std::u16string name =
            key.values.empty() ? source.Name() : key.values[source.Below(key.values.size())].name;
        const bool isThere = key.Value(name) != nullptr;
        Expect(m_hive->Writer().DeleteValue(cell, name).has_value() == isThere, "delete value");
        std::erase_if(key.values, [&](const ModelValue& value) { return CompareNames(value.name, name) == 0; });
    }

    void RenameValue(ModelKey& key, CellOffset cell, Source& source)
    {
        const std::u16string name =
            key.values.empty() ? source.Name() : key.values[source.Below(key.values.size())].name;
        const std::u16string newName = source.Name();
        ModelValue* value = key.Value(name);
        const ModelValue* taken = key.Value(newName);
        const bool isAllowed = value != nullptr && (taken == nullptr || taken == value);
        Expect(m_hive->Writer().RenameValue(cell, name, newName).has_value() == isAllowed, "rename value");
        if (isAllowed) {
            value->name = newName;
        }
    }

    PowerCutStore m_store;
    NoClock m_clock;
    std::unique_ptr<WritableHive> m_hive;
    ModelKey m_model;
};

} // namespace

void RunOperations(std::span<const std::byte> input)
{
    Source source(input);
    Changes changes(source.Byte() % 2 == 0 ? 3 : 5);
    while (!source.IsEmpty()) {
        changes.Step(source);
    }
    changes.Finish();
}

void RecoverAndRead(std::span<const std::byte> input)
{
    PowerCutStore store;
    const auto take = [&input](std::size_t size) {
        const auto part = input.first(std::min(size, input.size()));
        input = input.subspan(part.size());
        return std::vector<std::byte>(part.begin(), part.end());
    };
    store.Put(kFile, take(input.size() / 3));
    store.Put(std::string(kFile) + ".LOG1", take(input.size() / 2));
    store.Put(std::string(kFile) + ".LOG2", take(input.size()));
    MappedFile copy = store.Map(kFile, std::size_t{1} << 31).value();
    if (copy.Bytes().size() < 512 || !NeedsRecovery(copy.Bytes())) {
        return;
    }
    const HiveLogs logs = HiveLogs::Find(store, kFile).value();
    if (const Result<RecoveryReport> report = RecoverHive(copy, logs); report && report->DidAnything()) {
        Expect(!NeedsRecovery(copy.Bytes()), "a recovered hive is clean");
        constexpr std::size_t kMost = std::size_t{1} << 24; // an entry may ask for two gigabytes of zeros
        const auto bytes = copy.Bytes().first(std::min(copy.Bytes().size(), kMost));
        static_cast<void>(ReadHiveFile(bytes));
    }
}

} // namespace tolvar::fuzz
