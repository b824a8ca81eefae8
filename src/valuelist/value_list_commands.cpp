#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>

#include "platform/registry/change_feed.h"
#include "platform/system/error.h"
#include "registry/editable_value.h"
#include "registry/root_keys.h"
#include "registry/value_reference.h"
#include "ui/image_menu.h"
#include "ui/native_text.h"
#include "ui/shown_text_delegate.h"
#include "valuelist/value_list.h"

namespace tolvar {

namespace {

constexpr DWORD kCustomType = 12;
constexpr DWORD kQwordSize = 8;
constexpr qsizetype kTipLineUnits = 2000;

bool IsValue(KeyRow::Kind kind)
{
    return kind == KeyRow::Kind::kValue || kind == KeyRow::Kind::kDefaultValue;
}

PageId FormOf(DWORD type, bool isStored)
{
    if (isStored) {
        return PageId::kBinaryForm;
    }
    switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_LINK:
    case REG_MULTI_SZ:
        return PageId::kStringForm;
    case REG_DWORD:
    case REG_DWORD_BIG_ENDIAN:
        return PageId::kDwordForm;
    default:
        return PageId::kBinaryForm;
    }
}

} // namespace

std::span<const CommandEntry<CValueList>> CValueList::Commands()
{
    static constexpr CommandEntry<CValueList> commands[] = {
        {CommandId::kShowKeys, &CValueList::ToggleShowKeys},
        {CommandId::kColumnType, &CValueList::Toggle<KeyColumn::kType>},
        {CommandId::kColumnLastChange, &CValueList::Toggle<KeyColumn::kLastChange>},
        {CommandId::kColumnLength, &CValueList::Toggle<KeyColumn::kLength>},
        {CommandId::kColumnOwner, &CValueList::Toggle<KeyColumn::kOwner>},
        {CommandId::kColumnData, &CValueList::Toggle<KeyColumn::kData>},
        {CommandId::kCopy, &CValueList::CopyMarked},
        {CommandId::kPaste, &CValueList::Paste},
        {CommandId::kModify, &CValueList::Modify},
        {CommandId::kModifyNumber, &CValueList::ModifyNumber},
        {CommandId::kDelete, &CValueList::DeleteSelected},
        {CommandId::kRename, &CValueList::RenameMarked},
        {CommandId::kNewString, &CValueList::NewValue<REG_SZ>},
        {CommandId::kNewExpandString, &CValueList::NewValue<REG_EXPAND_SZ>},
        {CommandId::kNewMultiString, &CValueList::NewValue<REG_MULTI_SZ>},
        {CommandId::kNewDword, &CValueList::NewValue<REG_DWORD>},
        {CommandId::kNewBinary, &CValueList::NewValue<REG_BINARY>},
        {CommandId::kNewResourceList, &CValueList::NewValue<REG_RESOURCE_LIST>},
        {CommandId::kNewCustom, &CValueList::NewValue<kCustomType>},
    };
    return commands;
}

void CValueList::keyPressEvent(QKeyEvent* event)
{
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    const bool isEditing = state() == EditingState; // then a Return has come here through the name's editor
    switch (isPlain && !isEditing ? event->key() : 0) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        Modify();
        return;
    case Qt::Key_Delete:
        DeleteSelected();
        return;
    case Qt::Key_F2:
        RenameMarked();
        return;
    default:
        break;
    }
    if (event->matches(QKeySequence::Paste)) {
        Paste();
        return;
    }
    if (event->matches(QKeySequence::Copy)) {
        CopyMarked();
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
    const std::string name = m_pModel->Rows().Name(row);
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
        ShowForm(name, false);
        return;
    case KeyRow::Kind::kDenied:
        return;
    }
}

void CValueList::Modify()
{
    OpenRow(currentIndex());
}

void CValueList::ModifyNumber()
{
    const KeyRow* const row = MarkedRow();
    if (row != nullptr && row->kind == KeyRow::Kind::kValue && row->type == REG_QWORD) {
        ShowForm(m_pModel->Rows().Name(static_cast<std::size_t>(currentIndex().row())), true);
    }
}

/// `asNumber`: in the form of numbers, where the value has the size of one.
void CValueList::ShowForm(const std::string& name, bool asNumber)
{
    RegKey key;
    EditableValue value;
    LSTATUS code = RegOpenKeyExA(m_hRootKey, m_szKeyPath.c_str(), 0, KEY_ALL_ACCESS, key.Put());
    if (code == ERROR_SUCCESS) {
        code = ReadEditableValue(key.Get(), name, value);
    }
    if (code == ERROR_FILE_NOT_FOUND && name.empty() && key) {
        ShowNewForm(REG_NONE); // a default value that is not there
        return;
    }
    if (code != ERROR_SUCCESS) {
        QMessageBox::critical(this, m_context.language.String(TextId::kChangeTitle),
                              ToQString(FormatMessageText(static_cast<ErrorCode>(code))));
        return;
    }
    key.Close();
    const FormRequest request = {value.text, value.isStored, false, value.type, name};
    constexpr std::size_t kQwordText = 3 * std::size_t{kQwordSize};
    const bool isNumber = asNumber && !value.isStored && value.text.size() == kQwordText;
    ShowPageMessage page(isNumber ? PageId::kDwordForm : FormOf(value.type, value.isStored), request);
    SendToParent(*this, page);
}

void CValueList::ShowNewForm(DWORD type)
{
    if (m_hRootKey == nullptr) {
        return;
    }
    const FormRequest request = {{}, false, true, type, {}};
    ShowPageMessage page(FormOf(type, false), request);
    SendToParent(*this, page);
}

void CValueList::DeleteSelected()
{
    // Before the first one goes: the rows are read from the key, which changes under them.
    std::vector<ValueEdit> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows()) {
        const auto row = static_cast<std::size_t>(index.row());
        const KeyRow& shown = m_pModel->Rows().Row(row);
        if (shown.kind != KeyRow::Kind::kParent && shown.kind != KeyRow::Kind::kDenied) {
            rows.push_back({std::nullopt,
                            false,
                            static_cast<std::int32_t>(shown.ItemData()),
                            {},
                            m_pModel->Rows().Name(row),
                            true});
        }
    }
    if (rows.empty()) {
        return;
    }
    DeleteRows(rows);
    DeleteValueMessage showAgain(nullptr);
    SendToParent(*this, showAgain);
}

void CValueList::DeleteRows(const std::vector<ValueEdit>& rows)
{
    const ChangeScope gathered;
    for (const ValueEdit& row : rows) {
        if (!Delete(row)) {
            const QString name = ShownText(ToQString(row.name), kTipLineUnits);
            QMessageBox::information(this, m_context.language.String(TextId::kChangeTitle),
                                     m_context.language.String(TextId::kValueNotDeleted).arg(name));
        }
    }
}

/// False where no one has told the user of a failure yet.
bool CValueList::Delete(const ValueEdit& row)
{
    if (row.type < 0) {
        DeleteSubkeyMessage subkey(&row);
        return SendToParent(*this, subkey) == 0 && subkey.isAccepted();
    }
    DeleteValueMessage value(&row);
    SendToParent(*this, value);
    return true;
}

void CValueList::RenameMarked()
{
    const KeyRow* const row = MarkedRow();
    const bool hasName = row != nullptr && (row->kind == KeyRow::Kind::kSubkey || row->kind == KeyRow::Kind::kValue) &&
                         !m_pModel->Rows().Name(static_cast<std::size_t>(currentIndex().row())).empty();
    if (hasName) {
        m_pModel->SetEditing(true);
        edit(currentIndex().siblingAtColumn(0));
        m_pModel->SetEditing(false);
    }
}

void CValueList::OnNameEdited(int row, const QString& name)
{
    const auto place = static_cast<std::size_t>(row);
    const std::string oldName = m_pModel->Rows().Name(place);
    const std::string newName = FromQString(name);
    if (newName.empty() || newName == oldName) {
        return;
    }
    const std::size_t taken = m_pModel->Rows().FindName(newName);
    const bool isTaken = taken != m_pModel->Rows().Count() && taken != 0; // the first row is the parent's
    if (isTaken && QMessageBox::question(this, m_context.language.String(TextId::kChangeTitle),
                                         m_context.language.String(TextId::kReplaceRowQuestion)) != QMessageBox::Yes) {
        return;
    }
    const ValueEdit edit = {std::nullopt, false,   static_cast<std::int32_t>(m_pModel->Rows().Row(place).ItemData()),
                            newName,      oldName, true};
    RenameMessage rename(&edit);
    SendToParent(*this, rename);
    SelectRow(newName);
}

void CValueList::CopyMarked()
{
    const KeyRow* const row = MarkedRow();
    if (row == nullptr || row->kind == KeyRow::Kind::kParent || row->kind == KeyRow::Kind::kDenied) {
        return;
    }
    const std::string name = m_pModel->Rows().Name(static_cast<std::size_t>(currentIndex().row()));
    std::string text;
    if (RootKeyName(text, m_hRootKey) && !m_szKeyPath.empty()) {
        text.append("\\").append(m_szKeyPath);
    }
    if (row->kind == KeyRow::Kind::kValue || row->kind == KeyRow::Kind::kDefaultValue) {
        text = FormatValueReference({text, name});
    } else {
        text.append(text.empty() ? "" : "\\").append(name);
    }
    QGuiApplication::clipboard()->setText(ToQString(text));
}

void CValueList::Paste()
{
    PasteValueMessage paste;
    SendToParent(*this, paste);
}

void CValueList::contextMenuEvent(QContextMenuEvent* event)
{
    const bool isByMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex index = isByMouse ? indexAt(event->pos()) : currentIndex();
    const KeyRow* const row = index.isValid() ? MarkedRow() : nullptr;
    if (row == nullptr || row->kind == KeyRow::Kind::kParent || row->kind == KeyRow::Kind::kDenied) {
        return;
    }
    CImageMenu menu(m_context, MenuId::kListRow, this);
    menu.SetDefault(CommandId::kModify);
    menu.GrayUnless([this](CommandId command) { return Offers(command); });
    const bool isDefault = m_pModel->Rows().Name(static_cast<std::size_t>(index.row())).empty();
    if (IsValue(row->kind) || !m_context.m_bIsNT) {
        menu.Gray(CommandId::kPermissions);
        menu.Gray(CommandId::kTakeOwnership);
    }
    if (row->kind == KeyRow::Kind::kRootKey || (IsValue(row->kind) && isDefault)) {
        menu.Gray(CommandId::kRename);
    }
    if (row->kind != KeyRow::Kind::kValue || row->type != REG_QWORD) {
        menu.Remove(CommandId::kModifyNumber);
    }
    const QMimeData* const clipboard = QGuiApplication::clipboard()->mimeData();
    if (clipboard == nullptr || !clipboard->hasText()) {
        menu.Gray(CommandId::kPaste);
    }
    const QPoint middle(viewport()->width() / 2, visualRect(index).center().y());
    Run(menu.Track(viewport()->mapToGlobal(isByMouse ? event->pos() : middle)));
}

void CValueList::StartTip(const QModelIndex& row)
{
    m_pTip->hide();
    m_tipTimer.stop();
    if (m_bTips && row.isValid() && hasFocus()) {
        m_tipTimer.start();
    }
}

void CValueList::focusOutEvent(QFocusEvent* event)
{
    m_tipTimer.stop();
    CThemeListCtrl::focusOutEvent(event);
}

void CValueList::ShowTip()
{
    const QModelIndex index = currentIndex();
    const KeyRow* const row = MarkedRow();
    if (row == nullptr || !isVisible() || !isActiveWindow() || state() == EditingState) {
        return;
    }
    const std::string name = m_pModel->Rows().Name(static_cast<std::size_t>(index.row()));
    QStringList lines;
    for (const std::string& line : RowTip(m_tipTexts, m_context.m_bIsNT, {m_hRootKey, m_szKeyPath}, row->kind, name)) {
        lines.append(ShownText(ToQString(line), kTipLineUnits));
    }
    if (!lines.isEmpty()) {
        const QRect shown = visualRect(index.siblingAtColumn(0));
        m_pTip->ShowLines(lines, viewport()->mapToGlobal(shown.bottomLeft() + QPoint(shown.height(), 2)));
    }
}

} // namespace tolvar
