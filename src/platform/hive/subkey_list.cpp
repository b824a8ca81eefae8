#include "platform/hive/subkey_list.h"

#include "platform/hive/hive.h"

namespace tolvar {

Checked<SubkeyList> SubkeyList::Parse(const Hive& hive, CellOffset offset) noexcept
{
    const Checked<CellView> cell = hive.Cell(offset);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    SubkeyList list;
    list.cell = *cell;
    switch (cell->Field<std::uint16_t>(0)) {
    case 0x696C: // "li"
        break;
    case 0x666C: // "lf"
        list.kind = ListKind::kHints;
        list.elementSize = 8;
        break;
    case 0x686C: // "lh"
        list.kind = ListKind::kHashes;
        list.elementSize = 8;
        break;
    case 0x6972: // "ri"
        list.kind = ListKind::kIndex;
        break;
    default:
        return Fault(Breach::kListSignature, offset);
    }
    list.count = cell->Field<std::uint16_t>(2);
    if (list.count > (cell->size - 4) / list.elementSize) {
        return Fault(Breach::kListCount, offset);
    }
    return list;
}

Checked<SubkeyList> SubkeyList::ParseLeaf(const Hive& hive, CellOffset offset) noexcept
{
    Checked<SubkeyList> list = Parse(hive, offset);
    if (list && list->kind == ListKind::kIndex) {
        return Fault(Breach::kListNested, offset);
    }
    return list;
}

} // namespace tolvar
