#include "journal/ui/journal_list.h"

#include <algorithm>
#include <numeric>

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>

#include "journal/change_places.h"
#include "platform/registry/change_feed.h"
#include "platform/registry/key_path.h"
#include "ui/image_menu.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"
#include "ui/shown_text_delegate.h"
#include "ui/wait_cursor.h"

namespace tolvar {

namespace {

constexpr int kWidths[] = {45, 105, 120, 180, 95}; ///< of all columns but the last (see ColumnWidth)
constexpr int kLeastKeyWidth = 200;
constexpr std::size_t kMostNamed = 5; // entries in a question
constexpr qsizetype kNameUnits = 80;

} // namespace

CJournalList::CJournalList(const WindowContext& context, CTolvarDoc& document, QWidget* parent)
    : CThemeListCtrl(parent), Pane(*this, TopicId::kJournal), m_context(context), m_document(document),
      m_pModel(new JournalListModel(context, document, this)),
      m_bRowColors(context.profile.GetInt(kSettingsSection, "Row Colors", 0) != 0)
{
    setAccessibleName(context.language.String(TextId::kJournalListName));
    ApplySettings(context);
    m_crTint = RowTint(context, palette());
    setSelectionMode(ExtendedSelection);
    setModel(m_pModel);
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { TellFacts(); });
    document.SetObserver(this);
}

CJournalList::~CJournalList()
{
    m_document.SetObserver(nullptr);
}

std::span<const CommandEntry<CJournalList>> CJournalList::Commands()
{
    static constexpr CommandEntry<CJournalList> commands[] = {
        {CommandId::kUndoEntry, &CJournalList::UndoSelected},
        {CommandId::kUndoAllEntries, &CJournalList::UndoAll},
        {CommandId::kRedo, &CJournalList::Redo},
        {CommandId::kRemoveEntry, &CJournalList::RemoveSelected},
        {CommandId::kRemoveAllEntries, &CJournalList::RemoveAll},
    };
    return commands;
}

bool CJournalList::Offers(CommandId command) const
{
    return HasCommand(Commands(), command);
}

bool CJournalList::IsEnabled(CommandId command) const
{
    if (command == CommandId::kRedo) {
        return m_document.RedoCount() != 0;
    }
    return Offers(command) && currentIndex().isValid();
}

void CJournalList::Run(CommandId command)
{
    RunCommand(*this, Commands(), command);
}

void CJournalList::FillFromJournal()
{
    m_pModel->FillFromJournal();
    TellFacts();
}

void CJournalList::OnRecordAdded(std::string_view /*record*/)
{
    m_pModel->AddJournalRow();
    scrollToBottom();
    TellFacts(); // what was undone before can't be redone any more
}

std::vector<std::size_t> CJournalList::SelectedRows() const
{
    std::vector<std::size_t> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows()) {
        rows.push_back(static_cast<std::size_t>(index.row()));
    }
    return rows;
}

std::vector<std::size_t> CJournalList::AllRows() const
{
    std::vector<std::size_t> rows(static_cast<std::size_t>(m_pModel->rowCount()));
    std::iota(rows.begin(), rows.end(), std::size_t{0});
    return rows;
}

void CJournalList::UndoSelected()
{
    UndoRows(SelectedRows(), false);
}

void CJournalList::UndoAll()
{
    if (m_pModel->rowCount() != 0 && Confirms(m_context.language.String(TextId::kUndoAllQuestion))) {
        UndoRows(AllRows(), true);
    }
}

void CJournalList::Redo()
{
    if (m_document.RedoCount() == 0) {
        return;
    }
    const Result<std::size_t> redone = [this] {
        const WaitCursor waiting;
        const ChangeScope gathered;
        return m_document.Redo();
    }();
    ShowChangedKey(true);
    if (!redone) {
        ShowFailure(ToQString(Describe(redone.error())));
    }
}

void CJournalList::RemoveSelected()
{
    Remove(SelectedRows());
}

void CJournalList::RemoveAll()
{
    if (m_pModel->rowCount() != 0 && Confirms(m_context.language.String(TextId::kRemoveAllQuestion))) {
        Remove(AllRows());
    }
}

void CJournalList::UndoRows(std::vector<std::size_t> entries, bool showsKeyAgain)
{
    if (entries.empty()) {
        return;
    }
    const UndoReport report = UndoAsking(m_document, std::move(entries), *this);
    ShowChangedKey(showsKeyAgain);
    if (!report.failures.empty()) {
        ShowFailure(m_context.language.String(TextId::kChangesNotUndone).arg(report.failures.size()) +
                    QStringLiteral("\n\n") + ToQString(Describe(report.failures.front())));
    }
}

void CJournalList::ShowChangedKey(bool showsKeyAgain)
{
    FillFromJournal();
    RefreshKeyMessage refresh;
    SendToParent(*this, refresh);
    if (showsKeyAgain) {
        DeleteValueMessage show(nullptr);
        SendToParent(*this, show);
    }
}

UndoReport CJournalList::Undo(std::vector<std::size_t> entries, UndoForce force)
{
    const WaitCursor waiting;
    const ChangeScope gathered;
    return m_document.UndoEntries(std::move(entries), force);
}

bool CJournalList::WantsLater(const std::vector<std::size_t>& later)
{
    return WantsUndone(TextId::kUndoLaterQuestion, later);
}

bool CJournalList::WantsAllTheSame(const std::vector<std::size_t>& changed)
{
    return WantsUndone(TextId::kUndoChangedQuestion, changed);
}

/// Asks about entries in the middle of undoing.
bool CJournalList::WantsUndone(TextId question, const std::vector<std::size_t>& entries)
{
    FillFromJournal(); // the rows are seen behind the question
    QStringList named;
    for (const std::size_t entry : std::span(entries).first(std::min(entries.size(), kMostNamed))) {
        const auto text = [&](JournalListModel::Column column) {
            return m_pModel->index(static_cast<int>(entry), column).data().toString();
        };
        named.append(
            ShownText(QStringLiteral("%1: %2").arg(text(JournalListModel::kOperation), text(JournalListModel::kWhat)),
                      kNameUnits));
    }
    if (entries.size() > kMostNamed) {
        named.append(m_context.language.String(TextId::kAndMore).arg(entries.size() - kMostNamed));
    }
    return Confirms(m_context.language.String(question).arg(QString::number(entries.size()), named.join(u'\n')));
}

void CJournalList::Remove(const std::vector<std::size_t>& entries)
{
    const Result<void> removed = m_document.RemoveEntries(entries);
    FillFromJournal();
    if (!removed) {
        ShowFailure(ToQString(Describe(removed.error())));
    }
}

/// Goes to what the marked change left, or to the key above it that is still there.
void CJournalList::GoToKeyOfMark()
{
    if (!currentIndex().isValid()) {
        return;
    }
    const ChangePlace place = PlacesOf(m_document.ChangeAt(static_cast<std::size_t>(currentIndex().row()))).back();
    KeyTarget target = {place.key, place.value.value_or(std::string())};
    if (place.value && place.value->empty()) {
        target.valueName = FromQString(m_context.language.String(TextId::kDefaultName)); // as its row is called
    }
    while (!target.path.empty()) {
        GoToKeyMessage message(GoToKeyMessage::Sender::kPane, target);
        if (SendToParent(*this, message) == 0) {
            return;
        }
        target = {std::string(ParentPath(target.path)), {}};
    }
}

bool CJournalList::Confirms(const QString& question)
{
    return Show(QMessageBox::Question, question, QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

void CJournalList::ShowFailure(const QString& text)
{
    Show(QMessageBox::Critical, text, QMessageBox::Ok);
}

/// Names of keys and values are in such texts, and may look like markup.
int CJournalList::Show(QMessageBox::Icon icon, const QString& text, QMessageBox::StandardButtons buttons)
{
    QMessageBox box(icon, m_context.language.String(TextId::kJournal), text, buttons, this);
    box.setTextFormat(Qt::PlainText);
    return box.exec();
}

ListColor CJournalList::ItemBackColor(const ListItem& item) const
{
    return item.row % 2 == 1 ? m_crTint : kUsualColor;
}

bool CJournalList::focusNextPrevChild(bool next)
{
    if (!next) {
        return CThemeListCtrl::focusNextPrevChild(next);
    }
    NextOutputPageMessage page;
    SendToParent(*this, page);
    return true;
}

void CJournalList::focusInEvent(QFocusEvent* event)
{
    CThemeListCtrl::focusInEvent(event);
    const QModelIndex mark = currentIndex().isValid() ? currentIndex() : m_pModel->index(0, 0);
    if (mark.isValid() && !selectionModel()->hasSelection()) {
        selectionModel()->setCurrentIndex(mark, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
}

void CJournalList::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) {
        RemoveSelected();
        return;
    }
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        GoToKeyOfMark();
        return;
    }
    if (event->key() == Qt::Key_Y && event->modifiers() == Qt::ControlModifier) {
        Redo(); // in this list alone: fields of text have the key for their own
        return;
    }
    CThemeListCtrl::keyPressEvent(event);
}

void CJournalList::showEvent(QShowEvent* event)
{
    CThemeListCtrl::showEvent(event);
    for (int column = 0; column < static_cast<int>(std::size(kWidths)); ++column) {
        header()->resizeSection(column, ColumnWidth(kWidths[column]));
    }
    FitKeyColumn();
}

void CJournalList::resizeEvent(QResizeEvent* event)
{
    CThemeListCtrl::resizeEvent(event);
    FitKeyColumn();
}

/// The last column has what the others leave.
void CJournalList::FitKeyColumn()
{
    const int taken = header()->sectionPosition(JournalListModel::kKey);
    header()->resizeSection(JournalListModel::kKey, std::max(viewport()->width() - taken, kLeastKeyWidth));
}

void CJournalList::contextMenuEvent(QContextMenuEvent* event)
{
    const bool isByMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex row = isByMouse ? indexAt(event->pos()) : currentIndex();
    CImageMenu menu(m_context, MenuId::kJournal, this);
    menu.GrayUnless([this](CommandId command) { return IsEnabled(command); });
    const QPoint icon =
        visualRect(row.siblingAtColumn(0)).topLeft() + QPoint(iconSize().width() / 2, iconSize().height() / 2);
    Run(menu.Track(viewport()->mapToGlobal(isByMouse ? event->pos() : icon)));
}

void CJournalList::paintEvent(QPaintEvent* event)
{
    CThemeListCtrl::paintEvent(event);
    if (m_pModel->rowCount() == 0) {
        QPainter painter(viewport());
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap,
                         m_context.language.String(TextId::kNoChanges));
    }
}

} // namespace tolvar
