#include "fuzz/hive_mutation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

namespace tolvar::fuzz {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kBinHeader = 32;

/// A cell of the hive, free or not.
struct CellPlace {
    std::size_t at = 0;   ///< of its size field, in the file
    std::size_t size = 0; ///< bytes, with the size field

    [[nodiscard]] std::uint32_t Offset() const noexcept { return static_cast<std::uint32_t>(at - kPage); }
};

template <class T>
T Load(const std::vector<std::byte>& file, std::size_t at)
{
    T value;
    std::memcpy(&value, file.data() + at, sizeof value);
    return value;
}

template <class T>
void Store(std::vector<std::byte>& file, std::size_t at, T value)
{
    if (at + sizeof value <= file.size()) {
        std::memcpy(file.data() + at, &value, sizeof value);
    }
}

/// The cells of every page that begins a bin.
std::vector<CellPlace> FindCells(const std::vector<std::byte>& file)
{
    std::vector<CellPlace> cells;
    for (std::size_t bin = kPage; bin + kPage <= file.size();) {
        const std::size_t binSize = Load<std::uint32_t>(file, bin + 8);
        if (std::memcmp(file.data() + bin, "hbin", 4) != 0 || binSize < kPage || binSize > file.size() - bin) {
            bin += kPage;
            continue;
        }
        const std::size_t end = bin + binSize;
        for (std::size_t at = bin + kBinHeader; at + 8 <= end;) {
            const auto stored = Load<std::int32_t>(file, at);
            const std::size_t size =
                stored < 0 ? 0U - static_cast<std::uint32_t>(stored) : static_cast<std::uint32_t>(stored);
            if (size < 8 || size % 8 != 0 || size > end - at) {
                break;
            }
            cells.push_back({at, size});
            at += size;
        }
        bin += (binSize + kPage - 1) / kPage * kPage;
    }
    return cells;
}

std::uint32_t TurnedNumber(std::uint32_t number, Dice& dice)
{
    constexpr std::array<std::uint32_t, 16> kEdges = {
        0, 1, 2, 3, 4, 8, 0x20, 0xFF, 0x100, 0x3FD8, 0x3FD9, 0x7FFF, 0xFFFF, 0x7FFFFFF8, 0x80000000, 0xFFFFFFFF};
    switch (dice.Below(5)) {
    case 0:
        return number + 1;
    case 1:
        return number - 1;
    case 2:
        return number ^ (1U << dice.Below(32));
    case 3:
        return static_cast<std::uint32_t>(dice.Next());
    default:
        return kEdges[dice.Below(kEdges.size())];
    }
}

/// One of the places near the start of a cell, where the fields of its record lie, or anywhere in it.
std::size_t FieldOf(const CellPlace& cell, std::size_t step, Dice& dice)
{
    const std::size_t steps = (cell.size - 4) / step;
    const std::size_t near = std::min<std::size_t>(steps, 80 / step);
    return cell.at + 4 + step * dice.Below(dice.Below(8) == 0 ? steps : near);
}

/// Changes one thing about a hive that has cells.
class Breakage {
public:
    Breakage(std::vector<std::byte>& file, const std::vector<CellPlace>& cells, Dice& dice)
        : m_file(file), m_cells(cells), m_dice(dice)
    {}

    void Once()
    {
        switch (m_dice.Below(12)) {
        case 0:
        case 1:
        case 2:
            return TurnOffset();
        case 3:
        case 4:
            return TurnField();
        case 5:
            return TurnHalfField();
        case 6:
            return TurnSize();
        case 7:
            return ChangeRecord();
        case 8:
            return CopyRecord();
        case 9:
            return TurnByte();
        case 10:
            return TurnBaseBlock();
        default:
            return m_dice.Below(4) == 0 ? CutShort() : TurnOffset();
        }
    }

private:
    [[nodiscard]] const CellPlace& AnyCell() { return m_cells[m_dice.Below(m_cells.size())]; }

    /// A field now names another cell, or a place within one.
    void TurnOffset()
    {
        const std::uint32_t within = m_dice.Below(8) == 0 ? static_cast<std::uint32_t>(8 * m_dice.Below(12)) : 0;
        Store(m_file, FieldOf(AnyCell(), 4, m_dice), AnyCell().Offset() + within);
    }

    void TurnField()
    {
        const std::size_t at = FieldOf(AnyCell(), 4, m_dice);
        Store(m_file, at, TurnedNumber(Load<std::uint32_t>(m_file, at), m_dice));
    }

    void TurnHalfField()
    {
        const std::size_t at = FieldOf(AnyCell(), 2, m_dice);
        Store(m_file, at, static_cast<std::uint16_t>(TurnedNumber(Load<std::uint16_t>(m_file, at), m_dice)));
    }

    /// The cell is free, larger, smaller or of no size at all.
    void TurnSize()
    {
        const CellPlace& cell = AnyCell();
        const auto stored = Load<std::uint32_t>(m_file, cell.at);
        switch (m_dice.Below(4)) {
        case 0:
            return Store(m_file, cell.at, 0U - stored);
        case 1:
            return Store(m_file, cell.at, stored + 8);
        case 2:
            return Store(m_file, cell.at, stored - static_cast<std::uint32_t>(8 * m_dice.Below(64)));
        default:
            return Store(m_file, cell.at, TurnedNumber(stored, m_dice));
        }
    }

    void ChangeRecord()
    {
        constexpr std::array<std::string_view, 8> kSignatures = {"nk", "vk", "sk", "db", "li", "lf", "lh", "ri"};
        const std::string_view signature = kSignatures[m_dice.Below(kSignatures.size())];
        std::memcpy(m_file.data() + AnyCell().at + 4, signature.data(), signature.size());
    }

    /// The record of one cell lies in another one, too.
    void CopyRecord()
    {
        const CellPlace& from = AnyCell();
        const CellPlace& to = AnyCell();
        std::memmove(m_file.data() + to.at + 4, m_file.data() + from.at + 4, std::min(from.size, to.size) - 4);
    }

    void TurnByte() { m_file[kPage + m_dice.Below(m_file.size() - kPage)] = static_cast<std::byte>(m_dice.Below(256)); }

    void TurnBaseBlock()
    {
        constexpr std::array<std::size_t, 9> kFields = {4, 8, 24, 28, 32, 36, 40, 508, kPage - 4};
        const std::size_t at = kFields[m_dice.Below(kFields.size())];
        Store(m_file, at, at == 36 ? AnyCell().Offset() : TurnedNumber(Load<std::uint32_t>(m_file, at), m_dice));
    }

    void CutShort()
    {
        const std::size_t rest = m_file.size() - kPage;
        m_file.resize(m_dice.Below(2) == 0 ? kPage + m_dice.Below(rest) : kPage + m_dice.Below(rest / 512) * 512);
        m_isCut = true;
    }

public:
    [[nodiscard]] bool IsCut() const noexcept { return m_isCut; }

private:
    std::vector<std::byte>& m_file;
    const std::vector<CellPlace>& m_cells;
    Dice& m_dice;
    bool m_isCut = false;
};

} // namespace

void MutateHive(std::vector<std::byte>& file, Dice& dice)
{
    const std::vector<CellPlace> cells = FindCells(file);
    const std::size_t places = 1 + dice.Below(4);
    if (cells.empty()) {
        for (std::size_t i = 0; i < places && !file.empty(); ++i) {
            file[dice.Below(file.size())] = static_cast<std::byte>(dice.Below(256));
        }
        return;
    }
    Breakage breakage(file, cells, dice);
    for (std::size_t i = 0; i < places && !breakage.IsCut(); ++i) {
        breakage.Once();
    }
}

} // namespace tolvar::fuzz
