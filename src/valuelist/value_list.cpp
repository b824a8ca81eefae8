#include "valuelist/value_list.h"

#include <QHeaderView>

#include "registry/root_keys.h"
#include "ui/image_menu.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"
#include "ui/wait_cursor.h"

namespace tolvar {

namespace {

constexpr int kHoverTime = 2000; // milliseconds
constexpr int kTipDelay = 300;

/// What the profile and the header know of a column.
struct ColumnSetting {
    KeyColumn column;
    CommandId command;
    const char* key; ///< in the profile
    bool isOnByDefault;
    int width;      ///< when the column is switched on (see ColumnWidth)
    int shownWidth; ///< whenever the list is shown; 0: what the list has room for
};

/// All columns but Name, in their order.
constexpr ColumnSetting kColumns[] = {
    {KeyColumn::kType, CommandId::kColumnType, "ColumnType", false, 40, 45},
    {KeyColumn::kLastChange, CommandId::kColumnLastChange, "ColumnLastChange", false, 90, 90},
    {KeyColumn::kLength, CommandId::kColumnLength, "ColumnLength", false, 55, 55},
    {KeyColumn::kOwner, CommandId::kColumnOwner, "ColumnOwner", true, 55, 95},
    {KeyColumn::kData, CommandId::kColumnData, "ColumnData", true, 500, 0},
};
constexpr int kNameWidth = 120;
constexpr int kLeastDataRoom = 551; ///< with less room than that, the Data column is wider than the list
constexpr int kDataWidth = 800;

RowTipTexts TipTexts(const ResourceLibrary& language)
{
    const auto text = [&language](TextId id) { return FromQString(language.String(id)); };
    return {text(TextId::kName),           text(TextId::kType),          text(TextId::kLength),
            text(TextId::kData),           text(TextId::kTipLastChange), text(TextId::kOwner),
            text(TextId::kTipGroup),       text(TextId::kTipKey),        text(TextId::kTipClass),
            text(TextId::kTipValues),      text(TextId::kTipValueNames), text(TextId::kTipSubkeys),
            text(TextId::kTipSubkeyNames), text(TextId::kNoClass),       text(TextId::kDefaultName),
            text(TextId::kUnknownTime),    text(TextId::kTipUpToKey),    text(TextId::kTipUpToRoots),
            text(TextId::kComputer)};
}

} // namespace

CValueList::CValueList(const WindowContext& context, QWidget* parent)
    : CThemeListCtrl(parent), Pane(*this, TopicId::kValueList), m_context(context),
      m_pModel(new ValueListModel(context, this)), m_tipTexts(TipTexts(context.language)), m_pTip(new CTipWindow(this)),
      m_bTips(context.profile.GetInt(kSettingsSection, "Show ToolTips", 1) != 0),
      m_bShowKeys(context.profile.GetInt(kSettingsSection, "ShowListKeys", 0) != 0),
      m_bRowColors(context.profile.GetInt(kSettingsSection, "Row Colors", 0) != 0)
{
    setAccessibleName(context.language.String(TextId::kValueListName));
    ApplySettings(context);
    m_crTint = RowTint(context, palette());
    SetHoverTime(kHoverTime);
    setModel(m_pModel);
    for (const ColumnSetting& setting : kColumns) {
        m_pModel->SetColumnOn(
            setting.column, context.profile.GetInt(kSettingsSection, setting.key, setting.isOnByDefault ? 1 : 0) != 0);
    }
    SetShownWidths();
    connect(this, &QAbstractItemView::doubleClicked, this, &CValueList::OpenRow);
    connect(m_pModel, &ValueListModel::NameEdited, this, &CValueList::OnNameEdited);
    m_tipTimer.setSingleShot(true);
    m_tipTimer.setInterval(kTipDelay);
    connect(&m_tipTimer, &QTimer::timeout, this, &CValueList::ShowTip);
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, &CValueList::StartTip);
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { TellFacts(); });
    connect(m_pModel, &QAbstractItemModel::modelReset, this, [this] { TellFacts(); });
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

bool CValueList::Offers(CommandId command) const
{
    return HasCommand(Commands(), command);
}

void CValueList::Run(CommandId command)
{
    RunCommand(*this, Commands(), command);
}

void CValueList::AddFacts(PaneFacts& facts) const
{
    if (const KeyRow* const row = isHidden() ? nullptr : MarkedRow(); row != nullptr) {
        const bool isKey = row->kind == KeyRow::Kind::kSubkey || row->kind == KeyRow::Kind::kRootKey;
        facts.row = row->kind == KeyRow::Kind::kParent ? PaneFacts::Row::kParent
                    : isKey                            ? PaneFacts::Row::kKey
                                                       : PaneFacts::Row::kValue;
    }
}

const KeyRow* CValueList::MarkedRow() const
{
    return currentIndex().isValid() ? &m_pModel->Rows().Row(static_cast<std::size_t>(currentIndex().row())) : nullptr;
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
            header()->resizeSection(m_pModel->SectionOf(column), ColumnWidth(setting.width));
        }
    }
    ShowAgain();
}

void CValueList::ToggleShowKeys()
{
    m_bShowKeys = !m_bShowKeys;
    m_context.profile.WriteInt(kSettingsSection, "ShowListKeys", m_bShowKeys ? 1 : 0);
    ShowAgain();
}

void CValueList::SetShownWidths()
{
    header()->resizeSection(0, ColumnWidth(kNameWidth));
    for (const ColumnSetting& setting : kColumns) {
        if (const int section = m_pModel->SectionOf(setting.column); section >= 0) {
            const int room = viewport()->width() < kLeastDataRoom ? kDataWidth : viewport()->width();
            header()->resizeSection(section, setting.shownWidth != 0 ? ColumnWidth(setting.shownWidth) : room);
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

void CValueList::ShowHeaderMenu(const QPoint& at)
{
    CImageMenu menu(m_context, MenuId::kColumnHeads, this);
    menu.Check(CommandId::kShowKeys, m_bShowKeys);
    for (const ColumnSetting& setting : kColumns) {
        menu.Check(setting.command, m_pModel->IsColumnOn(setting.column));
    }
    Run(menu.Track(header()->mapToGlobal(at)));
}

} // namespace tolvar
