#include "valuelist/value_list.h"

#include <QAction>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>

#include "registry/root_keys.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"
#include "ui/wait_cursor.h"

namespace tolvar {

namespace {

constexpr int kAccessibleName = 62001;
constexpr int kShowKeysText = 62004;
constexpr int kThemeViewColor = 61505;
constexpr int kHoverTime = 2000; // milliseconds
constexpr QSize kIconSize(16, 16);

/// What the profile and the header know of a column.
struct ColumnSetting {
    KeyColumn column;
    const char* key; ///< in the profile
    bool isOnByDefault;
    int width;      ///< pixels when the column is switched on
    int shownWidth; ///< pixels whenever the list is shown; 0: what the list has room for
};

/// All columns but Name, in their order.
constexpr ColumnSetting kColumns[] = {
    {KeyColumn::kType, "ColumnType", false, 40, 45},     {KeyColumn::kLastChange, "ColumnLastChange", false, 90, 90},
    {KeyColumn::kLength, "ColumnLength", false, 55, 55}, {KeyColumn::kOwner, "ColumnOwner", true, 55, 95},
    {KeyColumn::kData, "ColumnData", true, 500, 0},
};
constexpr int kNameWidth = 120;
constexpr int kLeastDataRoom = 551; ///< with less room than that, the Data column is wider than the list
constexpr int kDataWidth = 800;

/// The highlight colour, nine tenths of the way to the background, so that text stays readable on it.
ListColor LightHighlight(const QPalette& palette)
{
    const QColor highlight = palette.color(QPalette::Highlight);
    const QColor base = palette.color(QPalette::Base);
    const auto mix = [](int from, int to) { return static_cast<ListColor>(from + (to - from) * 9 / 10); };
    return mix(highlight.red(), base.red()) | mix(highlight.green(), base.green()) << 8 |
           mix(highlight.blue(), base.blue()) << 16;
}

} // namespace

CValueList::CValueList(const WindowContext& context, QWidget* parent)
    : CThemeListCtrl(parent), m_context(context), m_pModel(new ValueListModel(context, this)),
      m_bShowKeys(context.profile.GetInt(kSettingsSection, "ShowListKeys", 0) != 0),
      m_bRowColors(context.profile.GetInt(kSettingsSection, "Row Colors", 0) != 0)
{
    setAccessibleName(context.language.String(kAccessibleName));
    setFont(ProfileFont(context, "ListFont"));
    setPalette(ItemViewPalette(context, palette()));
    m_crTint = context.m_bThemed ? context.theme.Number(kThemeViewColor) : LightHighlight(palette());
    setIconSize(kIconSize);
    SetGridLines(context.profile.GetInt(kSettingsSection, "Hilight Lists", 0) != 0);
    SetHoverTime(kHoverTime);
    setModel(m_pModel);
    for (const ColumnSetting& setting : kColumns) {
        m_pModel->SetColumnOn(
            setting.column, context.profile.GetInt(kSettingsSection, setting.key, setting.isOnByDefault ? 1 : 0) != 0);
    }
    SetShownWidths();
    MakeActions();
    connect(this, &QAbstractItemView::doubleClicked, this, &CValueList::OpenRow);
    header()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header(), &QWidget::customContextMenuRequested, this, &CValueList::ShowHeaderMenu);
}

CValueList::~CValueList()
{
    std::string lastKey;
    if (RootKeyName(lastKey, m_hRootKey)) {
        lastKey.append("\\").append(m_szKeyPath);
    }
    m_context.profile.WriteString(kSettingsSection, "LOK", lastKey);
}

void CValueList::MakeActions()
{
    m_pShowKeysAction = new QAction(m_context.language.String(kShowKeysText), this);
    m_pShowKeysAction->setCheckable(true);
    m_pShowKeysAction->setChecked(m_bShowKeys);
    connect(m_pShowKeysAction, &QAction::triggered, this, &CValueList::ToggleShowKeys);
    for (const ColumnSetting& setting : kColumns) {
        auto* action = new QAction(m_pModel->Title(setting.column), this);
        action->setCheckable(true);
        action->setChecked(m_pModel->IsColumnOn(setting.column));
        connect(action, &QAction::triggered, this, [this, column = setting.column] { ToggleColumn(column); });
        m_columnActions[static_cast<std::size_t>(setting.column)] = action;
    }
}

QAction* CValueList::ColumnAction(KeyColumn column) const
{
    return m_columnActions[static_cast<std::size_t>(column)];
}

bool CValueList::event(QEvent* event)
{
    return HandleMessage<ShowKeyMessage>(event, [this](ShowKeyMessage& m) { m.result = ShowKey(m.root, m.subpath); }) ||
           HandleMessage<SelectRowMessage>(event, [this](SelectRowMessage& m) { m.result = SelectRow(m.name); }) ||
           CThemeListCtrl::event(event);
}

LSTATUS CValueList::ShowKey(HKEY root, const std::string& subpath)
{
    m_hRootKey = root;
    m_szKeyPath = subpath;
    if (root == nullptr) {
        m_szKeyPath.clear();
        m_pModel->ShowRoots();
        return ERROR_SUCCESS;
    }
    const WaitCursor waiting;
    return m_pModel->ShowKey(root, m_szKeyPath, m_bShowKeys);
}

void CValueList::ShowAgain()
{
    static_cast<void>(ShowKey(m_hRootKey, std::string(m_szKeyPath))); // what failed is seen in the list
}

int CValueList::SelectRow(std::string_view name)
{
    const std::size_t row = m_pModel->Rows().FindName(name);
    if (row == m_pModel->Rows().Count()) {
        return 1;
    }
    const QModelIndex index = m_pModel->index(static_cast<int>(row), 0);
    scrollTo(index);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    return 0;
}

void CValueList::ToggleColumn(KeyColumn column)
{
    m_pModel->SetColumnOn(column, !m_pModel->IsColumnOn(column));
    for (const ColumnSetting& setting : kColumns) {
        // The four plain columns are written together, Owner for itself.
        if ((setting.column == KeyColumn::kOwner) == (column == KeyColumn::kOwner)) {
            m_context.profile.WriteInt(kSettingsSection, setting.key, m_pModel->IsColumnOn(setting.column) ? 1 : 0);
        }
        if (setting.column == column && m_pModel->IsColumnOn(column)) {
            header()->resizeSection(m_pModel->SectionOf(column), setting.width);
        }
    }
    ColumnAction(column)->setChecked(m_pModel->IsColumnOn(column));
    ShowAgain();
}

void CValueList::ToggleShowKeys()
{
    m_bShowKeys = !m_bShowKeys;
    m_context.profile.WriteInt(kSettingsSection, "ShowListKeys", m_bShowKeys ? 1 : 0);
    m_pShowKeysAction->setChecked(m_bShowKeys);
    ShowAgain();
}

void CValueList::SetShownWidths()
{
    header()->resizeSection(0, kNameWidth);
    for (const ColumnSetting& setting : kColumns) {
        if (const int section = m_pModel->SectionOf(setting.column); section >= 0) {
            const int room = viewport()->width() < kLeastDataRoom ? kDataWidth : viewport()->width();
            header()->resizeSection(section, setting.shownWidth != 0 ? setting.shownWidth : room);
        }
    }
}

void CValueList::showEvent(QShowEvent* event)
{
    CThemeListCtrl::showEvent(event);
    SetShownWidths();
}

void CValueList::hideEvent(QHideEvent* event)
{
    CThemeListCtrl::hideEvent(event);
    SetShownWidths();
}

ListColor CValueList::SubitemBackColor(const ListCell& cell) const
{
    const bool isTinted = m_bRowColors ? cell.row % 2 == 1 : cell.column == 0;
    return isTinted ? m_crTint : kUsualColor;
}

void CValueList::keyPressEvent(QKeyEvent* event)
{
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && isPlain) {
        OpenRow(currentIndex());
        return;
    }
    CThemeListCtrl::keyPressEvent(event);
}

void CValueList::OpenRow(const QModelIndex& index)
{
    if (!index.isValid()) {
        return;
    }
    const auto row = static_cast<std::size_t>(index.row());
    const std::string name = m_pModel->Rows().Cell(row, KeyColumn::kName);
    switch (m_pModel->Rows().Row(row).kind) {
    case KeyRow::Kind::kSubkey:
    case KeyRow::Kind::kRootKey: {
        GoToKeyMessage child(GoToKeyMessage::Sender::kPane, {"./" + name, {}});
        SendToParent(*this, child);
        return;
    }
    case KeyRow::Kind::kParent: {
        GoToKeyMessage parent(GoToKeyMessage::Sender::kPane, {"../" + name, {}});
        SendToParent(*this, parent);
        return;
    }
    case KeyRow::Kind::kDefaultValue:
    case KeyRow::Kind::kValue:
    case KeyRow::Kind::kDenied:
        return;
    }
}

void CValueList::ShowHeaderMenu(const QPoint& at)
{
    QMenu menu(this);
    menu.addAction(m_pShowKeysAction);
    menu.addSeparator();
    for (const ColumnSetting& setting : kColumns) {
        menu.addAction(ColumnAction(setting.column));
    }
    menu.exec(header()->mapToGlobal(at));
}

} // namespace tolvar
