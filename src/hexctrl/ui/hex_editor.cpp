#include "hexctrl/ui/hex_editor.h"

#include <QAction>
#include <QKeyEvent>
#include <QVBoxLayout>

#include "hexctrl/ui/hex_classes.h"

namespace tolvar {

namespace {

struct CommandKey {
    HexCommand command;
    const char* keys;
    const char* otherKeys = nullptr;
};

// None that the control takes itself: it leaves those with Ctrl, and those that show no character, to its host.
constexpr CommandKey kCommandKeys[] = {
    {HexCommand::kUndo, "Ctrl+Z"},
    {HexCommand::kRedo, "Ctrl+Y", "Ctrl+Shift+Z"},
    {HexCommand::kCut, "Ctrl+X"},
    {HexCommand::kCopy, "Ctrl+C", "Ctrl+Insert"},
    {HexCommand::kPaste, "Ctrl+V", "Shift+Insert"},
    {HexCommand::kDelete, "Ctrl+Delete"},
    {HexCommand::kSelectAll, "Ctrl+A"},
    {HexCommand::kFind, "Ctrl+F"},
    {HexCommand::kFindNext, "F3"},
    {HexCommand::kFindPrevious, "Shift+F3"},
    {HexCommand::kSwitchColumn, "Ctrl+Tab"},
    {HexCommand::kToStart, "Ctrl+Home"},
    {HexCommand::kToEnd, "Ctrl+End"},
};

} // namespace

HexEditor::HexEditor(const HexTexts& texts, QWidget* parent)
    : QWidget(parent), m_pControl(CreateHexControl(kHexMemoryClass, this)),
      m_pFindBar(new HexFindBar(*m_pControl, texts, this)), m_pInspector(new HexInspectorBar(*m_pControl, texts, this))
{
    m_pControl->SetTexts(texts);
    setFocusProxy(m_pControl);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_pControl, 1);
    column->addWidget(m_pFindBar);
    column->addWidget(m_pInspector);
    m_pFindBar->hide();
    for (const CommandKey& row : kCommandKeys) {
        const auto index = static_cast<std::size_t>(row.command);
        m_actions[index] = new QAction(texts.commands[index], this);
        QList<QKeySequence> keys = {QKeySequence(QString::fromLatin1(row.keys))};
        if (row.otherKeys != nullptr) {
            keys.append(QKeySequence(QString::fromLatin1(row.otherKeys)));
        }
        m_actions[index]->setShortcuts(keys);
        m_actions[index]->setShortcutContext(Qt::WidgetShortcut); // shown in menus; ActionOf is what acts on them
        connect(m_actions[index], &QAction::triggered, this, [this, command = row.command] { Run(command); });
        addAction(m_actions[index]);
    }
    for (const auto signal : {&HexControl::ContentChanged, &HexControl::SelectionChanged}) {
        connect(m_pControl, signal, this, &HexEditor::UpdateActions);
    }
    connect(m_pControl, &HexControl::ReadOnlyChanged, this, &HexEditor::UpdateActions);
    UpdateActions();
}

QAction* HexEditor::ActionOf(const QKeyEvent& event) const
{
    const QKeySequence pressed(event.keyCombination());
    for (const CommandKey& row : kCommandKeys) {
        QAction* action = Action(row.command);
        const bool isOfSearch = row.command == HexCommand::kFind || row.command == HexCommand::kFindNext ||
                                row.command == HexCommand::kFindPrevious;
        if (action->shortcuts().contains(pressed) && (isOfSearch || m_pControl->hasFocus())) {
            return action;
        }
    }
    return nullptr;
}

bool HexEditor::event(QEvent* event)
{
    // Or a shortcut of the window with the same keys would be taken, or both would be refused as ambiguous.
    if (event->type() == QEvent::ShortcutOverride && ActionOf(*static_cast<QKeyEvent*>(event)) != nullptr) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

void HexEditor::keyPressEvent(QKeyEvent* event)
{
    QAction* action = ActionOf(*event);
    if (action == nullptr) {
        QWidget::keyPressEvent(event);
        return;
    }
    UpdateActions();
    action->trigger(); // does nothing where it is disabled
}

void HexEditor::UpdateActions()
{
    const bool canEdit = !m_pControl->IsReadOnly();
    const CHexData& content = m_pControl->Data();
    const bool hasBytes = content.Size() > 0;
    const bool isMarked =
        content.selection.zone == static_cast<std::int64_t>(HexZone::kBytes) && content.SelectedRange().size > 0;
    const auto enable = [this](HexCommand command, bool isEnabled) { Action(command)->setEnabled(isEnabled); };
    enable(HexCommand::kUndo, canEdit && m_pControl->Send(HexMessage::kCanUndo) != 0);
    enable(HexCommand::kRedo, canEdit && m_pControl->Send(HexMessage::kCanRedo) != 0);
    enable(HexCommand::kCut, canEdit && isMarked);
    enable(HexCommand::kCopy, isMarked);
    enable(HexCommand::kPaste, canEdit && m_pControl->Send(HexMessage::kCanPaste) != 0);
    enable(HexCommand::kDelete, canEdit && isMarked);
    for (const HexCommand command : {HexCommand::kSelectAll, HexCommand::kFind, HexCommand::kFindNext,
                                     HexCommand::kFindPrevious, HexCommand::kToStart, HexCommand::kToEnd}) {
        enable(command, hasBytes);
    }
}

void HexEditor::Run(HexCommand command)
{
    const std::int64_t size = m_pControl->Data().Size();
    switch (command) {
    case HexCommand::kUndo:
        m_pControl->Send(HexMessage::kUndo);
        break;
    case HexCommand::kRedo:
        m_pControl->Send(HexMessage::kRedo);
        break;
    case HexCommand::kCut:
    case HexCommand::kCopy:
        m_pControl->CopyHexToClipboard();
        if (m_pControl->Send(HexMessage::kCopy) != 0 && command == HexCommand::kCut) {
            m_pControl->Send(HexMessage::kDelete);
        }
        UpdateActions(); // there is something to paste now
        break;
    case HexCommand::kPaste:
        m_pControl->Send(HexMessage::kPaste);
        break;
    case HexCommand::kDelete:
        m_pControl->Send(HexMessage::kDelete);
        break;
    case HexCommand::kSelectAll: {
        HexSelection all{static_cast<std::int64_t>(HexZone::kBytes), 0, size - 1};
        m_pControl->Send(HexMessage::kSetSelection, &all);
        break;
    }
    case HexCommand::kFind:
        m_pFindBar->Open();
        break;
    case HexCommand::kFindNext:
        m_pFindBar->Find(HexFindBar::Direction::kForward);
        break;
    case HexCommand::kFindPrevious:
        m_pFindBar->Find(HexFindBar::Direction::kBackward);
        break;
    case HexCommand::kSwitchColumn:
        m_pControl->SwitchColumn();
        break;
    case HexCommand::kToStart:
        m_pControl->PutCaret(0);
        break;
    case HexCommand::kToEnd:
        m_pControl->PutCaret(size);
        break;
    case HexCommand::kCount:
        break;
    }
}

} // namespace tolvar
