#include <algorithm>

#include <QScopedValueRollback>

#include "keytree/key_aliases.h"
#include "keytree/key_tree.h"
#include "platform/registry/change_feed.h"
#include "platform/registry/key_path.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

/// All paths that the key may stand at in the tree.
std::vector<std::string> ShownPaths(const ChangedKey& key)
{
    std::vector<std::string> paths = {key.path};
    paths.insert(paths.end(), key.aliases.begin(), key.aliases.end());
    for (std::size_t i = 0; i <= key.aliases.size(); ++i) {
        std::string mirror = MirrorPath(paths[i]);
        const bool isNew =
            std::ranges::none_of(paths, [&](const std::string& path) { return CompareNames(path, mirror) == 0; });
        if (!mirror.empty() && isNew) {
            paths.push_back(std::move(mirror));
        }
    }
    return paths;
}

/// Whether `item` is `top`, or below it.
bool IsWithin(QModelIndex item, const QModelIndex& top)
{
    while (item.isValid() && item != top) {
        item = item.parent();
    }
    return item.isValid();
}

} // namespace

void CKeyTree::RefreshSelected()
{
    const QModelIndex item = currentIndex();
    if (!item.isValid() || m_pModel->IsTreeRoot(item)) {
        return;
    }
    ReadAnew(item);
}

void CKeyTree::ReadAnew(const QModelIndex& item)
{
    const bool wasExpanded = isExpanded(item);
    collapse(item);
    m_pModel->Reset(item);
    if (wasExpanded) {
        Expand(item);
    }
}

void CKeyTree::RefreshPath(const std::string& path)
{
    const std::string selected = m_pModel->FullPath(currentIndex());
    const std::string refreshed = path.empty() ? selected : path;
    if (refreshed.empty()) {
        return;
    }
    RefreshOne(refreshed, true);
    if (const std::string mirror = MirrorPath(refreshed); !mirror.empty()) {
        RefreshOne(mirror, false);
    }
    ReadShownItems(AliasesOf(refreshed));
    SelectNearest(selected);
}

/// Selects the key again that was selected before its items were read anew; where it has gone, the nearest key above.
void CKeyTree::SelectNearest(const std::string& path)
{
    if (path.empty() || m_pModel->FullPath(currentIndex()) == path) {
        return;
    }
    Select(WalkTo(path, Walk::kExpanding).item);
}

void CKeyTree::RefreshOne(const std::string& path, bool expandsTarget)
{
    const QModelIndex target = WalkTo(path, Walk::kAsRead).item;
    if (m_pModel->IsTreeRoot(target)) {
        return;
    }
    collapse(target);
    m_pModel->Reset(target);
    ShowSelectedKey(m_pModel->Place(currentIndex()));
    if (expandsTarget && !m_pModel->IsRootKey(target)) {
        Expand(target);
    }
}

/// The change feed: items of keys that have other subkeys now are read anew. The value list is left alone, unless the
/// selected key has gone.
void CKeyTree::OnKeysChanged(std::span<const ChangedKey> keys)
{
    const std::string selected = m_pModel->FullPath(currentIndex());
    const QPersistentModelIndex before = currentIndex();
    {
        const QScopedValueRollback reading(m_bReadingAnew, true);
        for (const ChangedKey& key : keys) {
            if (key.Has(KeyChange::kSubkeys) || key.Has(KeyChange::kAll)) {
                ReadShownItems(ShownPaths(key));
            }
        }
        SelectNearest(selected);
    }
    if (m_pModel->FullPath(currentIndex()) != selected) {
        OnSelectionChanged(currentIndex());
    } else if (before != currentIndex()) {
        OpenSelectedKey(m_pModel->Place(currentIndex())); // it may be another key by now
    }
}

void CKeyTree::ReadShownItems(std::span<const std::string> paths)
{
    for (const std::string& path : paths) {
        const QModelIndex item = ShownItem(path);
        if (item.isValid() && !m_pModel->IsTreeRoot(item) && !IsWithin(item, m_changedItem)) {
            ReadAnew(item);
        }
    }
}

/// The item of the path where it is in the tree, whatever the case of its names; nothing is read for it.
QModelIndex CKeyTree::ShownItem(std::string_view path) const
{
    QModelIndex item = m_pModel->TreeRoot();
    while (!path.empty() && item.isValid()) {
        const auto [name, rest] = SplitFirst(path);
        item = m_pModel->ChildByName(item, name);
        path = rest;
    }
    return item;
}

} // namespace tolvar
