#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include <QAbstractItemModel>
#include <QIcon>

#include "platform/registry/winreg.h"
#include "ui/window_context.h"

namespace tolvar {

/// A key by its root and the path below it, which is empty for the root itself.
struct KeyPlace {
    HKEY root = nullptr;
    std::string subpath;
};

/// The registry as a tree that fills itself on demand. An item carries its text and its picture, and no key: a key's
/// identity is its path, put together from the texts each time it is needed. Whether an item has a plus sign is decided
/// when its parent is filled; its children are read once, and again only after Reset.
///
/// The top item stands for the machine; below it are the root keys.
class KeyTreeModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    /// Pictures of items. A key shows an open folder while it is selected.
    enum Image : std::uint8_t { kMachine, kKey, kRefusedKey, kImageCount };

    KeyTreeModel(const WindowContext& context, QObject* parent);
    ~KeyTreeModel() override;

    [[nodiscard]] QModelIndex TreeRoot() const { return index(0, 0); }
    [[nodiscard]] bool IsTreeRoot(const QModelIndex& item) const { return item.isValid() && !item.parent().isValid(); }
    [[nodiscard]] bool IsRootKey(const QModelIndex& item) const { return item.isValid() && IsTreeRoot(item.parent()); }

    /// The item's own text.
    [[nodiscard]] const std::string& Text(const QModelIndex& item) const;

    /// The full path of a root key or key; empty for the tree root.
    [[nodiscard]] std::string FullPath(const QModelIndex& item) const;

    /// Root handle and subpath of a root key or key; a null root for the tree root.
    [[nodiscard]] KeyPlace Place(const QModelIndex& item) const;

    /// The child with exactly that text; an invalid index for none. Only children that have been read are found.
    [[nodiscard]] QModelIndex Child(const QModelIndex& item, std::string_view text) const;

    /// The same for a name that may stand there in another case.
    [[nodiscard]] QModelIndex ChildByName(const QModelIndex& item, std::string_view name) const;

    /// Reads the children, unless that was done since the last Reset.
    void Fill(const QModelIndex& item);

    /// Forgets the children of a root key or key, and asks the registry again whether there are any.
    void Reset(const QModelIndex& item);

    /// Adds a key as the last child. The children must have been read.
    QModelIndex Insert(const QModelIndex& parent, std::string name);

    /// Takes out a key that is there no more.
    void Remove(const QModelIndex& item);

    /// Gives a key that was renamed its new text; it keeps its place.
    void SetText(const QModelIndex& item, std::string text);

    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& item) const override;
    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& item) const override;
    [[nodiscard]] int rowCount(const QModelIndex& item = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& item = {}) const override;
    [[nodiscard]] bool hasChildren(const QModelIndex& item = {}) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& item) const override;
    void fetchMore(const QModelIndex& item) override { Fill(item); }
    [[nodiscard]] QVariant data(const QModelIndex& item, int role) const override;

signals:
    /// A filled item turned out to have no children: its plus sign has to go.
    void FilledEmpty(const QModelIndex& item);

private:
    struct Node;
    using Nodes = std::vector<std::unique_ptr<Node>>;

    [[nodiscard]] Node& NodeOf(const QModelIndex& item) const;
    [[nodiscard]] static Nodes ReadChildren(const KeyPlace& place, Node& parent);

    std::unique_ptr<Node> m_pTop;
    std::array<QIcon, kImageCount> m_images;
};

} // namespace tolvar
