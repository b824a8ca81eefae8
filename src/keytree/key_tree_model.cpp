#include "keytree/key_tree_model.h"

#include <algorithm>

#include "platform/registry/key_path.h"
#include "platform/registry/subkey_listing.h"
#include "platform/system/text.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "ui/native_text.h"
#include "ui/wait_cursor.h"

namespace tolvar {

namespace {

struct ItemIcon {
    IconId atRest;
    IconId selected;
};

/// By KeyTreeModel::Image.
constexpr std::array<ItemIcon, KeyTreeModel::kImageCount> kIcons = {
    ItemIcon{IconId::kMachine, IconId::kMachine},
    {IconId::kKey, IconId::kOpenKey},
    {IconId::kRefusedKey, IconId::kRefusedKey},
};
constexpr REGSAM kListAccess = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;

} // namespace

/// Kept small: a key with 100,000 subkeys has as many of these.
struct KeyTreeModel::Node {
    std::string text;
    Node* parent = nullptr;
    std::unique_ptr<Nodes> children; ///< null while there are none
    std::uint32_t row = 0;
    Image image = kKey;
    bool mayHaveChildren = false; ///< there is a plus sign, though the children may not have been read
    bool isFilled = false;        ///< the children were read
};

KeyTreeModel::KeyTreeModel(const WindowContext& context, QObject* parent)
    : QAbstractItemModel(parent), m_pTop(std::make_unique<Node>())
{
    for (std::size_t i = 0; i < m_images.size(); ++i) {
        m_images[i] = context.theme.Icon(kIcons[i].atRest, kIcons[i].selected);
    }
    auto machine = std::make_unique<Node>();
    machine->text = FromQString(context.language.String(TextId::kComputer));
    machine->parent = m_pTop.get();
    machine->image = kMachine;
    machine->mayHaveChildren = machine->isFilled = true;
    machine->children = std::make_unique<Nodes>();
    for (const RootKey& root : ShownRootKeys()) {
        auto node = std::make_unique<Node>();
        node->text = root.name;
        node->parent = machine.get();
        node->mayHaveChildren = true;
        machine->children->push_back(std::move(node));
    }
    std::ranges::sort(*machine->children, {}, [](const auto& node) { return std::string_view(node->text); });
    for (std::uint32_t row = 0; row < machine->children->size(); ++row) {
        (*machine->children)[row]->row = row;
    }
    m_pTop->children = std::make_unique<Nodes>();
    m_pTop->children->push_back(std::move(machine));
    m_pTop->isFilled = true;
}

KeyTreeModel::~KeyTreeModel() = default;

KeyTreeModel::Node& KeyTreeModel::NodeOf(const QModelIndex& item) const
{
    return item.isValid() ? *static_cast<Node*>(item.internalPointer()) : *m_pTop;
}

const std::string& KeyTreeModel::Text(const QModelIndex& item) const
{
    return NodeOf(item).text;
}

std::string KeyTreeModel::FullPath(const QModelIndex& item) const
{
    std::string path;
    for (QModelIndex at = item; at.isValid() && !IsTreeRoot(at); at = at.parent()) {
        path.insert(0, path.empty() ? Text(at) : Text(at) + kPathSeparator);
    }
    return path;
}

KeyPlace KeyTreeModel::Place(const QModelIndex& item) const
{
    const std::string path = FullPath(item);
    return {RootKeyFromName(path), std::string(SplitFirst(path).rest)};
}

QModelIndex KeyTreeModel::Child(const QModelIndex& item, std::string_view text) const
{
    const Node& node = NodeOf(item);
    if (!node.children) {
        return {};
    }
    const auto found =
        std::ranges::find(*node.children, text, [](const auto& child) -> std::string_view { return child->text; });
    return found != node.children->end() ? createIndex(static_cast<int>((*found)->row), 0, found->get())
                                         : QModelIndex();
}

QModelIndex KeyTreeModel::ChildByName(const QModelIndex& item, std::string_view name) const
{
    if (const QModelIndex child = Child(item, name); child.isValid()) {
        return child;
    }
    const Node& node = NodeOf(item);
    if (!node.children) {
        return {};
    }
    const auto found = std::ranges::find_if(*node.children,
                                            [name](const auto& child) { return CompareNames(child->text, name) == 0; });
    return found != node.children->end() ? createIndex(static_cast<int>((*found)->row), 0, found->get())
                                         : QModelIndex();
}

KeyTreeModel::Nodes KeyTreeModel::ReadChildren(const KeyPlace& place, Node& parent)
{
    Nodes nodes;
    RegKey key;
    if (RegOpenKeyExA(place.root, place.subpath.c_str(), 0, kListAccess, key.Put()) != ERROR_SUCCESS) {
        return nodes; // the item stays without children, and the list says why when it is selected
    }
    // In this root a key never shows as refused: it merges two places, and one of them may let the user in.
    const bool showsRefusals = place.root != HKEY_CLASSES_ROOT;
    static_cast<void>(ListSubkeys(key.Get(), kListAccess, [&](const ListedSubkey& subkey) {
        auto node = std::make_unique<Node>();
        node->text = subkey.name;
        node->parent = &parent;
        node->image = subkey.isRefused && showsRefusals ? kRefusedKey : kKey;
        node->mayHaveChildren = subkey.hasSubkeys;
        nodes.push_back(std::move(node));
    }));
    const auto isBefore = [](const std::unique_ptr<Node>& left, const std::unique_ptr<Node>& right) {
        return CompareNames(std::string_view(left->text), std::string_view(right->text)) < 0;
    };
    if (!std::ranges::is_sorted(nodes, isBefore)) { // a hive lists its keys in this very order
        std::ranges::stable_sort(nodes, isBefore);
    }
    for (std::uint32_t row = 0; row < nodes.size(); ++row) {
        nodes[row]->row = row;
    }
    return nodes;
}

void KeyTreeModel::Fill(const QModelIndex& item)
{
    Node& node = NodeOf(item);
    if (node.isFilled || !node.mayHaveChildren) {
        return;
    }
    const WaitCursor waiting;
    node.isFilled = true;
    Nodes children = ReadChildren(Place(item), node);
    node.mayHaveChildren = !children.empty();
    if (children.empty()) {
        emit FilledEmpty(item);
        return;
    }
    beginInsertRows(item, 0, static_cast<int>(children.size()) - 1);
    node.children = std::make_unique<Nodes>(std::move(children));
    endInsertRows();
}

void KeyTreeModel::Reset(const QModelIndex& item)
{
    Node& node = NodeOf(item);
    if (node.children) {
        beginRemoveRows(item, 0, static_cast<int>(node.children->size()) - 1);
        const std::unique_ptr<Nodes> old = std::move(node.children);
        endRemoveRows();
    }
    node.isFilled = false;
    RegKey key;
    DWORD subkeys = 0;
    const KeyPlace place = Place(item);
    const bool isReadable =
        RegOpenKeyExA(place.root, place.subpath.c_str(), 0, kListAccess, key.Put()) == ERROR_SUCCESS &&
        RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr) == ERROR_SUCCESS;
    node.mayHaveChildren = isReadable && subkeys != 0;
    emit dataChanged(item, item);
}

QModelIndex KeyTreeModel::Insert(const QModelIndex& parent, std::string name)
{
    Node& node = NodeOf(parent);
    auto child = std::make_unique<Node>();
    child->text = std::move(name);
    child->parent = &node;
    const int row = rowCount(parent);
    child->row = static_cast<std::uint32_t>(row);
    beginInsertRows(parent, row, row);
    if (!node.children) {
        node.children = std::make_unique<Nodes>();
    }
    node.children->push_back(std::move(child));
    node.mayHaveChildren = node.isFilled = true;
    endInsertRows();
    return index(row, 0, parent);
}

void KeyTreeModel::Remove(const QModelIndex& item)
{
    const QModelIndex parentItem = item.parent();
    Node& node = NodeOf(parentItem);
    const auto row = static_cast<std::size_t>(item.row());
    beginRemoveRows(parentItem, item.row(), item.row());
    node.children->erase(node.children->begin() + item.row());
    for (std::size_t next = row; next < node.children->size(); ++next) {
        --(*node.children)[next]->row;
    }
    if (node.children->empty()) {
        node.children.reset();
        node.mayHaveChildren = false;
    }
    endRemoveRows();
}

void KeyTreeModel::SetText(const QModelIndex& item, std::string text)
{
    NodeOf(item).text = std::move(text);
    emit dataChanged(item, item);
}

Qt::ItemFlags KeyTreeModel::flags(const QModelIndex& item) const
{
    const Qt::ItemFlags usual = QAbstractItemModel::flags(item);
    return item.isValid() && !IsTreeRoot(item) && !IsRootKey(item) ? usual | Qt::ItemIsEditable : usual;
}

QModelIndex KeyTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const Node& node = NodeOf(parent);
    const bool isThere =
        column == 0 && row >= 0 && node.children && static_cast<std::size_t>(row) < node.children->size();
    return isThere ? createIndex(row, 0, (*node.children)[static_cast<std::size_t>(row)].get()) : QModelIndex();
}

QModelIndex KeyTreeModel::parent(const QModelIndex& item) const
{
    Node* parent = item.isValid() ? NodeOf(item).parent : nullptr;
    return parent == nullptr || parent == m_pTop.get() ? QModelIndex()
                                                       : createIndex(static_cast<int>(parent->row), 0, parent);
}

int KeyTreeModel::rowCount(const QModelIndex& item) const
{
    const Node& node = NodeOf(item);
    return node.children ? static_cast<int>(node.children->size()) : 0;
}

int KeyTreeModel::columnCount(const QModelIndex& /*item*/) const
{
    return 1;
}

bool KeyTreeModel::hasChildren(const QModelIndex& item) const
{
    const Node& node = NodeOf(item);
    return node.mayHaveChildren || node.children != nullptr;
}

bool KeyTreeModel::canFetchMore(const QModelIndex& item) const
{
    const Node& node = NodeOf(item);
    return node.mayHaveChildren && !node.isFilled;
}

QVariant KeyTreeModel::data(const QModelIndex& item, int role) const
{
    const Node& node = NodeOf(item);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::AccessibleTextRole:
        return ToQString(node.text);
    case Qt::DecorationRole:
        return m_images[node.image];
    default:
        return {};
    }
}

} // namespace tolvar
