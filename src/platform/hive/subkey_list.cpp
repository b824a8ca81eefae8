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
    switch (cell->Get(list_fields::kSignature)) {
    case signatures::kOffsetList:
        break;
    case signatures::kHintList:
        list.kind = ListKind::kHints;
        list.elementSize = kTaggedElement;
        break;
    case signatures::kHashList:
        list.kind = ListKind::kHashes;
        list.elementSize = kTaggedElement;
        break;
    case signatures::kIndex:
        list.kind = ListKind::kIndex;
        break;
    default:
        return Fault(Breach::kListSignature, offset);
    }
    list.count = cell->Get(list_fields::kCount);
    if (list.count > (cell->size - kListHeader) / list.elementSize) {
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
