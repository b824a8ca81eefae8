#include "fuzz/damaged_writes.h"

#include <iterator>
#include <string>

#include "fixtures/hive_contents.h"
#include "fixtures/hive_model.h"
#include "fuzz/hive_reading.h"
#include "fuzz/seed_hives.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/scratch_hive.h"

namespace tolvar::fuzz {

namespace {

using fixtures::Dice;
using fixtures::HiveContents;

class NoClock final : public Clock {
public:
    [[nodiscard]] std::uint64_t Now() const override { return 1; }
};

/// A hive that another one takes keys from.
const Hive& Source()
{
    static const std::vector<std::byte> file = MakeSeedHives()[3].file;
    static const Hive hive = Hive::FromBytes(file, "source").value();
    return hive;
}

/// The calls on one hive.
class Writes {
public:
    Writes(ScratchHive& scratch, Dice& dice) : m_hive(scratch.hive), m_writer(scratch.writer), m_dice(dice)
    {
        m_contents = fixtures::ContentsOf(m_hive);
        m_breaches = fixtures::CountBreaches(m_hive);
    }

    [[nodiscard]] bool HasKeys() const { return !m_contents.empty(); }

    /// Whether the call was done.
    bool Once()
    {
        const auto key = std::next(m_contents.begin(), static_cast<std::ptrdiff_t>(m_dice.Below(m_contents.size())));
        const std::string path = key->first;
        const unsigned kind = static_cast<unsigned>(m_dice.Below(12));
        const bool isDone = Call(kind, key->second.cell);
        const std::string what = "call " + std::to_string(kind) + " on \"" + path + "\": ";
        const HiveContents after = fixtures::ContentsOf(m_hive);
        // A key of another name stands somewhere else below the one above.
        const bool isMove = kind == 8;
        const std::string touched = isMove ? fixtures::PathAbove(path) : path;
        const std::string difference = fixtures::UntouchedDifference(m_contents, after, isDone ? &touched : nullptr);
        if (!difference.empty()) {
            throw BrokenPromise(what + difference);
        }
        const std::size_t breaches = fixtures::CountBreaches(m_hive);
        if (breaches > m_breaches) {
            throw BrokenPromise(what + std::to_string(m_breaches) + " breaches before, now " +
                                std::to_string(breaches) + ":\n" + fixtures::Findings(m_hive));
        }
        m_contents = after;
        return isDone;
    }

private:
    bool Call(unsigned kind, CellOffset key)
    {
        const std::vector<std::byte> data(m_dice.Below(3) == 0 ? m_dice.Below(40'000) : m_dice.Below(40), std::byte{9});
        const std::u16string name = u"new" + std::u16string(m_dice.Below(30), u'n');
        const std::u16string value = m_dice.Below(3) == 0 ? name : AnyValue(key);
        switch (kind) {
        case 0:
        case 1:
            return m_writer.SetValue(key, value, 3, data).has_value();
        case 2:
            return m_writer.InsertValue(key, 1, name, 3, data).has_value();
        case 3:
            return m_writer.DeleteValue(key, value).has_value();
        case 4:
            return m_writer.RenameValue(key, value, name).has_value();
        case 5:
            return m_writer.CreateKey(key, name, m_dice.Below(2) == 0 ? u"" : u"class").has_value();
        case 6:
            return m_writer.DeleteKey(key).has_value();
        case 7:
            return m_writer.DeleteTree(key, [](CellOffset) {}).has_value();
        case 8:
            return m_writer.RenameKey(key, name).has_value();
        case 9: {
            std::vector<std::byte> descriptor(Descriptor().begin(), Descriptor().end());
            descriptor.back() = static_cast<std::byte>(m_dice.Below(4));
            return m_writer.SetSecurity(key, descriptor).has_value();
        }
        case 10:
            return m_writer.SetClass(key, name).has_value();
        default:
            return (m_dice.Below(2) == 0 ? m_writer.Replace(key, Source(), Source().Root())
                                         : m_writer.Merge(key, Source(), Source().Root()))
                .has_value();
        }
    }

    [[nodiscard]] static std::span<const std::byte> Descriptor()
    {
        return *Source().SecurityDescriptor(*Source().Key(Source().Root()));
    }

    /// The name of a value of the key, where one can be read.
    [[nodiscard]] std::u16string AnyValue(CellOffset key)
    {
        const Checked<ValueListView> values = m_hive.Values(*m_hive.Key(key));
        if (!values || values->count == 0) {
            return u"none";
        }
        const Checked<ValueRecord> value =
            m_hive.Value((*values)[static_cast<std::uint32_t>(m_dice.Below(values->count))]);
        return value ? value->name.ToUtf16() : u"none";
    }

    const Hive& m_hive;
    HiveWriter& m_writer;
    Dice& m_dice;
    HiveContents m_contents;
    std::size_t m_breaches;
};

} // namespace

WriteTally WriteIntoDamaged(std::span<const std::byte> file, Dice& dice, unsigned calls, std::vector<std::byte>* left)
{
    WriteTally tally;
    const NoClock clock;
    const auto scratch = ScratchHive::Make(file, file.size() + (std::size_t{16} << 20), "damaged", clock);
    if (!scratch || (*scratch)->hive.Damage()) {
        return tally;
    }
    Writes writes(**scratch, dice);
    for (unsigned i = 0; i < calls && writes.HasKeys(); ++i) {
        ++(writes.Once() ? tally.done : tally.refused);
    }
    const Hive& hive = (*scratch)->hive;
    const Result<std::vector<std::byte>> composed =
        HiveComposer(hive, {}, [](const HiveFault&) {}).Compose(hive.Root());
    if (composed && composed->size() > 2 * hive.FileBytes().size() + (std::size_t{1} << 16)) {
        throw BrokenPromise("a copy of twice the size");
    }
    if (left != nullptr) {
        left->assign(hive.FileBytes().begin(), hive.FileBytes().end());
        StoreBaseBlock(std::span(*left).first(kBaseBlockChecked), 1, 1, hive.Length(), file_type::kHive);
    }
    return tally;
}

} // namespace tolvar::fuzz
