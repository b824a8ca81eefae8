#include "fuzz/hive_series.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "fixtures/dice.h"
#include "fuzz/hive_reading.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"
#include "platform/system/text.h"

namespace tolvar::fuzz {

namespace {

using fixtures::Dice;
using fixtures::ModelKey;
using fixtures::ModelValue;

constexpr std::size_t kManyKeys = 5'000;     ///< more are not left to stand
constexpr std::size_t kManyBytes = 40 << 20; ///< of data, likewise

void Expect(bool isTrue, const std::string& what)
{
    if (!isTrue) {
        throw BrokenPromise(what);
    }
}

class CountingClock final : public Clock {
public:
    [[nodiscard]] std::uint64_t Now() const override { return m_now += 10'000'000; }

private:
    mutable std::uint64_t m_now = 130'000'000'000'000'000; ///< in 2012
};

class Series {
public:
    Series(const std::filesystem::path& file, const SeriesPlan& plan, ModelKey& model)
        : m_file(file), m_plan(plan), m_dice(10 * plan.seed + plan.minor), m_model(model)
    {
        const std::vector<std::byte> empty = EmptyHive(u"ROOT", 1, plan.minor);
        const auto stored = SystemFiles().Open(file, FileStore::Mode::kCreate).value();
        Expect(stored->Resize(0) && stored->Write(0, empty), "an empty hive is written");
        m_hive = WritableHive::Open(SystemFiles(), m_file, m_clock).value();
        m_model = fixtures::ReadModel(m_hive->Reader(), m_hive->Reader().Root());
    }

    SeriesTally Run()
    {
        while (m_tally.done + m_tally.refused < m_plan.operations) {
            Step();
        }
        Reopen();
        return m_tally;
    }

private:
    /// A key by chance, in the model and in the hive.
    struct Spot {
        ModelKey* parent = nullptr;
        ModelKey* key = nullptr;
        CellOffset cell;
    };

    Spot AnySpot()
    {
        Spot spot{nullptr, &m_model, m_hive->Reader().Root()};
        while (!spot.key->subkeys.empty() && m_dice.Below(5) != 0) {
            spot.parent = spot.key;
            spot.key = spot.key->subkeys[m_dice.Below(spot.key->subkeys.size())].get();
            spot.cell = m_hive->Reader().FindSubkey(*m_hive->Reader().Key(spot.cell), spot.key->name).value();
            Expect(!spot.cell.IsNil(), "a key of the model is in the hive: " + ToUtf8(spot.key->name));
        }
        return spot;
    }

    void Step()
    {
        if (m_keys > kManyKeys || m_bytes > kManyBytes) {
            ThinOut();
            return;
        }
        const Spot spot = AnySpot();
        const std::size_t kind = m_dice.Below(1000);
        if (kind < 200) {
            Create(spot, KeyName());
        } else if (kind < 260) {
            Delete(spot);
        } else if (kind < 270) {
            DeleteTree(spot);
        } else if (kind < 330) {
            Rename(spot, KeyName());
        } else if (kind < 640) {
            SetValue(spot, ValueName());
        } else if (kind < 760) {
            DeleteValue(spot);
        } else if (kind < 830) {
            RenameValue(spot);
        } else if (kind < 910) {
            SetSecurity(spot);
        } else if (kind < 970) {
            SetClass(spot);
        } else if (kind < 974) {
            FillUp(spot);
        } else if (kind < 998) {
            Flush();
        } else {
            Reopen();
        }
    }

    void Count(bool isDone) { ++(isDone ? m_tally.done : m_tally.refused); }

    void Flush()
    {
        Expect(m_hive->Flush().has_value(), "a flush ends well");
        ++m_tally.flushes;
        Count(true);
    }

    void Reopen()
    {
        Flush();
        m_hive.reset();
        m_hive = WritableHive::Open(SystemFiles(), m_file, m_clock).value();
        const Hive& hive = m_hive->Reader();
        const std::string difference = fixtures::Difference(hive, hive.Root(), m_model);
        Expect(difference.empty(), "hive and model are equal: " + difference);
        const std::string findings = fixtures::Findings(hive);
        Expect(findings.empty(), "the validator finds nothing: " + findings);
        ++m_tally.openings;
    }

    /// Takes whole trees, or the values of a key, until there is room again.
    void ThinOut()
    {
        const Spot spot = AnySpot();
        if (spot.parent != nullptr && m_dice.Below(4) == 0) {
            DeleteTree(spot);
        } else if (!spot.key->values.empty()) {
            DeleteValue(spot);
        } else {
            Delete(spot);
        }
    }

    void Create(const Spot& spot, const std::u16string& name)
    {
        auto made = std::make_unique<ModelKey>();
        made->name = name;
        made->className = m_dice.Below(4) == 0 ? ValueName() : std::u16string();
        made->security = spot.key->security;
        const bool isAllowed = !name.empty() && spot.key->Subkey(name) == nullptr;
        Expect(m_hive->Writer().CreateKey(spot.cell, name, made->className).has_value() == isAllowed, "create");
        if (isAllowed) {
            const auto at = static_cast<std::ptrdiff_t>(spot.key->Place(name));
            spot.key->subkeys.insert(spot.key->subkeys.begin() + at, std::move(made));
            ++m_keys;
        }
        Count(isAllowed);
    }

    void Delete(const Spot& spot)
    {
        const bool isAllowed = spot.parent != nullptr && spot.key->subkeys.empty();
        Expect(m_hive->Writer().DeleteKey(spot.cell).has_value() == isAllowed, "delete");
        if (isAllowed) {
            Forget(spot);
        }
        Count(isAllowed);
    }

    void DeleteTree(const Spot& spot)
    {
        const bool isAllowed = spot.parent != nullptr;
        Expect(m_hive->Writer().DeleteTree(spot.cell, [](CellOffset) {}).has_value() == isAllowed, "delete tree");
        if (isAllowed) {
            Forget(spot);
        }
        Count(isAllowed);
    }

    void Forget(const Spot& spot)
    {
        Discount(*spot.key);
        std::erase_if(spot.parent->subkeys, [&](const auto& key) { return key.get() == spot.key; });
    }

    void Discount(const ModelKey& key)
    {
        --m_keys;
        for (const ModelValue& value : key.values) {
            m_bytes -= value.data.size();
        }
        for (const auto& subkey : key.subkeys) {
            Discount(*subkey);
        }
    }

    void Rename(const Spot& spot, const std::u16string& name)
    {
        const ModelKey* taken = spot.parent != nullptr ? spot.parent->Subkey(name) : nullptr;
        const bool isAllowed = spot.parent != nullptr && (taken == nullptr || taken == spot.key);
        Expect(m_hive->Writer().RenameKey(spot.cell, name).has_value() == isAllowed, "rename");
        if (isAllowed) {
            auto& sisters = spot.parent->subkeys;
            const auto at = sisters.begin() + static_cast<std::ptrdiff_t>(spot.parent->Place(spot.key->name));
            std::unique_ptr<ModelKey> moved = std::move(*at);
            sisters.erase(at);
            moved->name = name;
            sisters.insert(sisters.begin() + static_cast<std::ptrdiff_t>(spot.parent->Place(name)), std::move(moved));
        }
        Count(isAllowed);
    }

    void SetValue(const Spot& spot, const std::u16string& name)
    {
        ModelValue made = Value(name);
        const bool isAllowed = m_plan.minor >= 4 || made.data.size() <= (std::size_t{1} << 20) - 4;
        const bool isInsert = m_dice.Below(4) == 0;
        const std::size_t place = m_dice.Below(spot.key->values.size() + 1);
        HiveWriter& writer = m_hive->Writer();
        const Result<void> set =
            isInsert ? writer.InsertValue(spot.cell, static_cast<std::uint32_t>(place), name, made.type, made.data)
                     : writer.SetValue(spot.cell, name, made.type, made.data);
        Expect(set.has_value() == isAllowed, "set");
        Count(isAllowed);
        if (!isAllowed) {
            return;
        }
        m_bytes += made.data.size();
        auto& values = spot.key->values;
        if (ModelValue* value = spot.key->Value(name); value != nullptr) {
            m_bytes -= value->data.size();
            made.name = value->name;
            *value = std::move(made);
        } else {
            values.insert(isInsert ? values.begin() + static_cast<std::ptrdiff_t>(place) : values.end(),
                          std::move(made));
        }
    }

    void DeleteValue(const Spot& spot)
    {
        const std::u16string name = AnyValue(*spot.key);
        const ModelValue* value = spot.key->Value(name);
        const bool isAllowed = value != nullptr;
        Expect(m_hive->Writer().DeleteValue(spot.cell, name).has_value() == isAllowed, "delete value");
        if (isAllowed) {
            m_bytes -= value->data.size();
            spot.key->values.erase(spot.key->values.begin() + (value - spot.key->values.data()));
        }
        Count(isAllowed);
    }

    void RenameValue(const Spot& spot)
    {
        const std::u16string name = AnyValue(*spot.key);
        const std::u16string newName = ValueName();
        ModelValue* value = spot.key->Value(name);
        const ModelValue* taken = spot.key->Value(newName);
        const bool isAllowed = value != nullptr && (taken == nullptr || taken == value);
        Expect(m_hive->Writer().RenameValue(spot.cell, name, newName).has_value() == isAllowed, "rename value");
        if (isAllowed) {
            value->name = newName;
        }
        Count(isAllowed);
    }

    void SetSecurity(const Spot& spot)
    {
        // Another mask in the first entry of the access list, which lies behind the two headers.
        std::vector<std::byte> descriptor = m_model.security;
        std::uint32_t list = 0;
        std::memcpy(&list, descriptor.data() + 16, sizeof list);
        descriptor[list + 12] = static_cast<std::byte>(m_dice.Below(40));
        spot.key->security = descriptor;
        Expect(m_hive->Writer().SetSecurity(spot.cell, descriptor).has_value(), "set security");
        Count(true);
    }

    void SetClass(const Spot& spot)
    {
        spot.key->className = m_dice.Below(3) == 0 ? std::u16string() : ValueName();
        Expect(m_hive->Writer().SetClass(spot.cell, spot.key->className).has_value(), "set class");
        Count(true);
    }

    /// Many values or subkeys in one key, so that its lists become long ones.
    void FillUp(const Spot& spot)
    {
        const bool isKeys = m_dice.Below(2) == 0;
        const std::size_t count = m_dice.Between(50, 1200);
        const std::size_t first = m_dice.Below(1000);
        for (std::size_t i = 0; i < count && m_tally.done + m_tally.refused < m_plan.operations; ++i) {
            const std::string digits = std::to_string(first + i);
            const std::u16string name = u"Entry " + std::u16string(digits.begin(), digits.end());
            isKeys ? Create(spot, name) : SetValue(spot, name);
        }
    }

    std::u16string AnyValue(const ModelKey& key)
    {
        return key.values.empty() || m_dice.Below(20) == 0 ? ValueName()
                                                           : key.values[m_dice.Below(key.values.size())].name;
    }

    /// Few different names, so that they meet again, in both widths; now and then one of the greatest length.
    std::u16string KeyName()
    {
        static constexpr std::u16string_view kParts[] = {
            u"a", u"A",    u"b",    u"B",     u"Key",  u"key",   u"_",     u" x",     u"~",
            u"7", u"\xE4", u"\xFF", u"\x178", u"\xDF", u"\x416", u"\x436", u"\x4E00", u"\U0001F600"};
        std::u16string name = m_dice.Below(100) == 0 ? std::u16string(250, u'n') : std::u16string();
        for (std::size_t parts = m_dice.Between(1, 3); parts != 0 && name.size() < 253; --parts) {
            name += kParts[m_dice.Below(std::size(kParts))];
        }
        return name;
    }

    std::u16string ValueName()
    {
        const std::size_t shape = m_dice.Below(40);
        return shape == 0 ? std::u16string() : shape == 1 ? KeyName() + std::u16string(2000, u'v') : KeyName();
    }

    ModelValue Value(const std::u16string& name)
    {
        static constexpr std::size_t kSizes[] = {0, 1, 2, 3, 4, 5, 8, 30, 100, 300, 300, 4000};
        static constexpr std::size_t kLarge[] = {16343, 16344, 16345, 32688, 32689, 100'000, 1'048'572, 1'048'573};
        const std::size_t size =
            m_dice.Below(50) == 0 ? kLarge[m_dice.Below(std::size(kLarge))] : kSizes[m_dice.Below(std::size(kSizes))];
        switch (m_dice.Below(8)) {
        case 0:
            return {name, 4, Bytes(4)};
        case 1:
            return {name, 11, Bytes(8)};
        case 2: { // a text with its end
            const std::u16string text = KeyName() + u'\0';
            const auto bytes = std::as_bytes(std::span(text));
            return {name, 1, {bytes.begin(), bytes.end()}};
        }
        default:
            return {name, 3, Bytes(size)};
        }
    }

    std::vector<std::byte> Bytes(std::size_t size)
    {
        std::vector<std::byte> bytes(size);
        const std::uint64_t step = m_dice.Next();
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<std::byte>((step >> (i % 57)) + i / 57);
        }
        return bytes;
    }

    std::filesystem::path m_file;
    SeriesPlan m_plan;
    Dice m_dice;
    CountingClock m_clock;
    std::unique_ptr<WritableHive> m_hive;
    ModelKey& m_model;
    std::size_t m_keys = 1;
    std::size_t m_bytes = 0; ///< of all data
    SeriesTally m_tally;
};

} // namespace

SeriesTally RunSeries(const std::filesystem::path& file, const SeriesPlan& plan, ModelKey& model)
{
    return Series(file, plan, model).Run();
}

} // namespace tolvar::fuzz
