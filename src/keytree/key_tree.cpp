#include "keytree/key_tree.h"

#include <algorithm>
#include <functional>

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QTimer>

#include "platform/registry/key_path.h"
#include "ui/event_sound.h"
#include "ui/image_menu.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"
#include "ui/shown_text_delegate.h"

namespace tolvar {

namespace {

constexpr QSize kIconSize(16, 16);
constexpr int kMaxKeyName = 255; // units: the format's own limit for names of keys

bool IsNewValue(CommandId command)
{
    using enum CommandId;
    constexpr CommandId kNewValues[] = {kNewString, kNewExpandString, kNewMultiString, kNewDword,
                                        kNewBinary, kNewResourceList, kNewCustom};
    return std::ranges::find(kNewValues, command) != std::end(kNewValues);
}

/// Draws the items and lets their names be edited. `tracks`: the item under the mouse is underlined.
class KeyNameDelegate final : public ShownTextDelegate {
public:
    using Rename = std::function<void(const QModelIndex& item, const QString& name)>;

    KeyNameDelegate(QObject* parent, bool tracks, Rename rename)
        : ShownTextDelegate(parent), m_tracks(tracks), m_rename(std::move(rename))
    {}

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QWidget* const editor = ShownTextDelegate::createEditor(parent, option, index);
        if (auto* const edit = qobject_cast<QLineEdit*>(editor)) {
            edit->setMaxLength(kMaxKeyName);
            static const QRegularExpression noBackslash(QStringLiteral("[^\\\\]*"));
            edit->setValidator(new QRegularExpressionValidator(noBackslash, edit));
        }
        return editor;
    }

    void setModelData(QWidget* editor, QAbstractItemModel* /*model*/, const QModelIndex& index) const override
    {
        if (const auto* const edit = qobject_cast<QLineEdit*>(editor)) {
            m_rename(index, edit->text());
        }
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        ShownTextDelegate::initStyleOption(option, index);
        option->font.setUnderline(m_tracks && (option->state & QStyle::State_MouseOver) != 0);
    }

private:
    bool m_tracks;
    Rename m_rename;
};

} // namespace

CKeyTree::CKeyTree(const WindowContext& context, ApplyChange applyChange, QWidget* parent)
    : QTreeView(parent), Pane(*this, TopicId::kKeyTree), m_context(context), m_applyChange(std::move(applyChange)),
      m_pModel(new KeyTreeModel(context, this)),
      m_bPlaySounds(context.profile.GetInt(kSettingsSection, "sounds", 0) != 0),
      m_bSingleExpand(context.profile.GetInt(kSettingsSection, "Single Expand", 0) != 0)
{
    const bool tracks = context.profile.GetInt(kSettingsSection, "Track Selection", 0) != 0;
    setItemDelegate(new KeyNameDelegate(
        this, tracks, [this](const QModelIndex& item, const QString& name) { OnLabelEdited(item, name); }));
    setAccessibleName(context.language.String(TextId::kKeyTreeName));
    setFont(ProfileFont(context, "TreeFont"));
    setPalette(ItemViewPalette(context, palette()));
    setIconSize(kIconSize);
    setUniformRowHeights(true);
    setAnimated(false);
    setHeaderHidden(true);
    setEditTriggers(SelectedClicked);
    setHorizontalScrollMode(ScrollPerPixel);
    header()->setStretchLastSection(false);
    setModel(m_pModel);
    expand(m_pModel->TreeRoot());
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &CKeyTree::FitColumn);
    connect(this, &QTreeView::expanded, this, &CKeyTree::FitColumn);
    connect(this, &QTreeView::collapsed, this, &CKeyTree::FitColumn);

    connect(m_pModel, &KeyTreeModel::FilledEmpty, this, &CKeyTree::OnFilledEmpty);
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, &CKeyTree::OnSelectionChanged);
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { TellFacts(); });
}

bool CKeyTree::event(QEvent* event)
{
    return HandleMessage<GoToKeyMessage>(event, [this](auto& m) { m.result = GoToKey(m); }) ||
           HandleMessage<RefreshKeyMessage>(event, [this](auto& m) { RefreshPath(m.path); }) ||
           HandleMessage<FormDoneMessage>(event, [this](auto& m) { StoreValue(m); }) ||
           HandleMessage<DeleteValueMessage>(event, [this](auto& m) { DeleteValue(m); }) ||
           HandleMessage<DeleteSubkeyMessage>(event, [this](auto& m) { DeleteSubkey(m); }) ||
           HandleMessage<RenameMessage>(event, [this](auto& m) { RenameFromList(m); }) ||
           HandleMessage<PasteValueMessage>(event, [this](auto&) { PasteValue(); }) || QTreeView::event(event);
}

std::span<const CommandEntry<CKeyTree>> CKeyTree::Commands()
{
    static constexpr CommandEntry<CKeyTree> commands[] = {
        {CommandId::kExpand, &CKeyTree::ExpandSelected},   {CommandId::kCollapse, &CKeyTree::CollapseSelected},
        {CommandId::kRefresh, &CKeyTree::RefreshSelected}, {CommandId::kCopy, &CKeyTree::CopyPath},
        {CommandId::kCut, &CKeyTree::CutSelected},         {CommandId::kPaste, &CKeyTree::PasteValue},
        {CommandId::kNewKey, &CKeyTree::NewKey},           {CommandId::kRename, &CKeyTree::RenameSelected},
        {CommandId::kDelete, &CKeyTree::DeleteSelected},
    };
    return commands;
}

bool CKeyTree::Offers(CommandId command) const
{
    return HasCommand(Commands(), command) || IsNewValue(command);
}

bool CKeyTree::IsEnabled(CommandId command) const
{
    const bool isEdit = command == CommandId::kDelete || command == CommandId::kRename || command == CommandId::kCut;
    return Offers(command) && !(isEdit && isHidden());
}

void CKeyTree::showEvent(QShowEvent* event)
{
    QTreeView::showEvent(event);
    TellFacts();
}

void CKeyTree::hideEvent(QHideEvent* event)
{
    QTreeView::hideEvent(event);
    if (isHidden()) { // not where the whole window goes
        TellFacts();
    }
}

void CKeyTree::Run(CommandId command)
{
    if (IsNewValue(command)) {
        CommandMessage forwarded(command); // the list makes new values
        SendToParent(*this, forwarded);
    } else {
        RunCommand(*this, Commands(), command);
    }
}

void CKeyTree::AddFacts(PaneFacts& facts) const
{
    const QModelIndex selected = currentIndex();
    facts.selection = !selected.isValid()              ? PaneFacts::Level::kNone
                      : m_pModel->IsTreeRoot(selected) ? PaneFacts::Level::kTreeRoot
                      : m_pModel->IsRootKey(selected)  ? PaneFacts::Level::kRootKey
                                                       : PaneFacts::Level::kKey;
    facts.isCutMarked = m_cutItem.isValid();
}

void CKeyTree::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) {
        DeleteSelected();
        return;
    }
    QTreeView::keyPressEvent(event);
}

bool CKeyTree::focusNextPrevChild(bool next)
{
    if (!next) {
        return QTreeView::focusNextPrevChild(next);
    }
    FocusTabMessage help(1); // the other page of the pane; F6 leaves it
    SendToParent(*this, help);
    return true;
}

void CKeyTree::contextMenuEvent(QContextMenuEvent* event)
{
    const bool isByMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex item = isByMouse ? indexAt(event->pos()) : currentIndex();
    if (!item.isValid() || m_pModel->IsTreeRoot(item)) {
        return;
    }
    Select(item);
    CImageMenu menu(m_context, MenuId::kKey, this);
    if (m_pModel->IsRootKey(item)) {
        menu.Remove(CommandId::kRename);
        menu.Remove(CommandId::kDelete);
        menu.RemoveSeparator(0);
    }
    menu.Remove(isExpanded(item) ? CommandId::kExpand : CommandId::kCollapse);
    menu.SetDefault(isExpanded(item) ? CommandId::kCollapse : CommandId::kExpand);
    menu.GrayUnless([this](CommandId command) {
        return Offers(command) && (command != CommandId::kPermissions || m_context.m_bIsNT);
    });
    const QPoint middle = visualRect(item).center();
    Run(menu.Track(viewport()->mapToGlobal(isByMouse ? event->pos() : middle)));
}

void CKeyTree::ExpandSelected()
{
    Expand(currentIndex());
}

void CKeyTree::CollapseSelected()
{
    collapse(currentIndex());
}

void CKeyTree::CopyPath()
{
    QGuiApplication::clipboard()->setText(ToQString(m_pModel->FullPath(currentIndex())));
}

void CKeyTree::resizeEvent(QResizeEvent* event)
{
    QTreeView::resizeEvent(event);
    FitColumn();
}

void CKeyTree::FitColumn()
{
    // As wide as the widest item in view, so that it can be scrolled to, and never narrower than the view, so that an
    // item can be hit and is marked over the whole width.
    header()->resizeSection(0, std::max(sizeHintForColumn(0), viewport()->width()));
}

void CKeyTree::OnSelectionChanged(const QModelIndex& item)
{
    if (m_bReadingAnew) {
        return;
    }
    m_hSelectedKey.Close();
    if (!item.isValid() || m_pModel->IsTreeRoot(item)) {
        ShowKeyMessage roots(nullptr, {});
        SendToParent(*this, roots);
    } else {
        const KeyPlace place = m_pModel->Place(item);
        OpenSelectedKey(place);
        ShowSelectedKey(place);
        ShowSelectedPath();
    }
    if (m_bPlaySounds) {
        PlayEventSound("select");
    }
    if (m_bSingleExpand && item.isValid()) {
        Expand(item);
        for (int row = 0; row < m_pModel->rowCount(item.parent()); ++row) {
            if (row != item.row()) {
                collapse(item.siblingAtRow(row));
            }
        }
    }
}

void CKeyTree::OpenSelectedKey(const KeyPlace& place)
{
    // A key that can't be opened stays selected; the list says why it is empty.
    static_cast<void>(RegOpenKeyExA(place.root, place.subpath.c_str(), 0, KEY_READ, m_hSelectedKey.Put()));
}

void CKeyTree::ShowSelectedPath()
{
    StatusTextMessage status(m_pModel->FullPath(currentIndex()));
    SendToParent(*this, status);
}

void CKeyTree::ShowSelectedKey(const KeyPlace& place)
{
    ShowPageMessage page(PageId::kValueList);
    SendToParent(*this, page);
    ShowKeyMessage key(place.root, place.subpath);
    SendToParent(*this, key);
}

void CKeyTree::OnFilledEmpty(const QModelIndex& item)
{
    // Not at once: the view is in the middle of laying this item out.
    QTimer::singleShot(0, this, [this, empty = QPersistentModelIndex(item)] {
        if (empty.isValid()) {
            collapse(empty);
            scheduleDelayedItemsLayout();
        }
    });
}

void CKeyTree::SelectTreeRoot()
{
    Select(m_pModel->TreeRoot());
}

void CKeyTree::Expand(const QModelIndex& item)
{
    m_pModel->Fill(item); // the view itself asks for children only once it is laid out
    expand(item);
}

void CKeyTree::Select(const QModelIndex& item)
{
    selectionModel()->setCurrentIndex(item, QItemSelectionModel::ClearAndSelect);
}

int CKeyTree::GoToKey(GoToKeyMessage& message)
{
    const std::string_view path = message.target.path;
    if (path.starts_with("./")) {
        return GoToChild(path.substr(2));
    }
    if (path.starts_with("../")) {
        return GoToParent();
    }
    return GoToPath(message);
}

int CKeyTree::GoToChild(std::string_view name)
{
    const QModelIndex selected = currentIndex();
    if (!selected.isValid()) {
        return 0;
    }
    Expand(selected);
    if (const QModelIndex child = m_pModel->Child(selected, name); child.isValid()) {
        Select(child);
    }
    return 0;
}

int CKeyTree::GoToParent()
{
    const QModelIndex parent = currentIndex().parent();
    if (parent.isValid()) {
        scrollTo(parent);
        Select(parent);
    }
    return 0;
}

/// Goes down the path as far as there are items of exactly its names.
CKeyTree::Reached CKeyTree::WalkTo(std::string_view path, Walk how)
{
    QModelIndex item = m_pModel->TreeRoot();
    while (!path.empty()) {
        const auto [name, rest] = SplitFirst(path);
        if (how == Walk::kExpanding) {
            Expand(item);
        }
        const QModelIndex child = m_pModel->Child(item, name);
        if (!child.isValid()) {
            return {item, false};
        }
        item = child;
        path = rest;
    }
    return {item, true};
}

int CKeyTree::GoToPath(GoToKeyMessage& message)
{
    const auto [item, isAll] = WalkTo(message.target.path, Walk::kExpanding);
    if (!isAll) {
        return 1;
    }
    if (message.sender == GoToKeyMessage::Sender::kAddressBar) {
        Select(item);
    } else {
        SelectTreeRoot(); // so that the selection changes, and the list is built anew even for the same key
        Expand(item);
        Select(item);
        scrollTo(item, PositionAtTop);
    }
    if (!message.target.valueName.empty()) {
        SelectRowMessage row(message.target.valueName);
        SendToParent(*this, row);
    }
    return 0;
}

} // namespace tolvar
