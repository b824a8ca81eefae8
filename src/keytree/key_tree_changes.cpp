#include <QClipboard>
#include <QGuiApplication>
#include <QMessageBox>
#include <QMimeData>
#include <QScopedValueRollback>

#include "journal/change_record.h"
#include "journal/make_change.h"
#include "journal/pasted_value.h"
#include "keytree/key_tree.h"
#include "platform/registry/change_feed.h"
#include "platform/registry/key_path.h"
#include "platform/system/error.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

/// The code that a message answers.
int CodeOf(const Result<void>& change)
{
    return change ? 0 : static_cast<int>(change.error().code);
}

} // namespace

/// Makes a change, and shows it at the other items of the changed key; what is to be seen at `item` is the caller's
/// matter.
Result<void> CKeyTree::Apply(const ChangeRecord& change, const QModelIndex& item)
{
    const QScopedValueRollback changed(m_changedItem, QPersistentModelIndex(item));
    const ChangeScope gathered;
    return m_applyChange(change);
}

void CKeyTree::ShowFailure(const QString& text)
{
    QMessageBox::critical(this, m_context.language.String(TextId::kChangeTitle), text);
}

void CKeyTree::ShowNotChanged(const Error& failure)
{
    ShowFailure(m_context.language.String(TextId::kRegistryNotChanged) + QStringLiteral("\n\n") +
                ToQString(Describe(failure)));
}

void CKeyTree::ShowSelectionAgain()
{
    if (currentIndex().isValid() && !m_pModel->IsTreeRoot(currentIndex())) {
        ShowSelectedKey(m_pModel->Place(currentIndex()));
    }
}

void CKeyTree::NewKey()
{
    const QModelIndex parent = currentIndex();
    m_pModel->Fill(parent);
    const std::string name = FreshKeyName(m_pModel->FullPath(parent));
    const Result<void> made = Apply(ChangeRecord::NewKey(m_pModel->FullPath(parent), name), parent);
    if (!made) {
        ShowNotChanged(made.error());
        return;
    }
    const QModelIndex item = m_pModel->Insert(parent, name);
    expand(parent);
    Select(item);
    edit(item);
}

void CKeyTree::RenameSelected()
{
    edit(currentIndex());
}

void CKeyTree::OnLabelEdited(const QModelIndex& item, const QString& text)
{
    const std::string name = FromQString(text);
    if (name.empty() || name == m_pModel->Text(item) || m_pModel->IsTreeRoot(item) || m_pModel->IsRootKey(item)) {
        return;
    }
    const Result<void> renamed = Apply(ChangeRecord::RenameKey(m_pModel->FullPath(item), name), item.parent());
    if (!renamed) {
        const bool isTaken = renamed.error().code == ErrorCode::kAlreadyExists;
        ShowFailure(isTaken ? m_context.language.String(TextId::kKeyNameTaken) : ToQString(Describe(renamed.error())));
        return;
    }
    m_pModel->SetText(item, name);
    if (item == currentIndex()) {
        OpenSelectedKey(m_pModel->Place(item));
        ShowSelectionAgain(); // the list and the bars know the key by its path
        ShowSelectedPath();
    }
}

void CKeyTree::DeleteSelected()
{
    const QModelIndex item = currentIndex();
    if (!item.isValid() || m_pModel->IsTreeRoot(item) || m_pModel->IsRootKey(item)) {
        return;
    }
    const Result<void> deleted = Apply(ChangeRecord::DeleteKey(m_pModel->FullPath(item)), item.parent());
    if (deleted) {
        m_pModel->Remove(item); // the view selects a neighbour
    } else {
        ShowFailure(ToQString(Describe(deleted.error())));
        RefreshSelected();
    }
}

void CKeyTree::CutSelected()
{
    m_cutItem = currentIndex();
    m_bCutPending = true;
}

void CKeyTree::PasteValue()
{
    const QMimeData* const clipboard = QGuiApplication::clipboard()->mimeData();
    if (clipboard == nullptr || !clipboard->hasText()) {
        return;
    }
    const Result<ChangeRecord> paste = PasteOf(FromQString(clipboard->text()), m_pModel->FullPath(currentIndex()));
    if (!paste) {
        if (paste.error().code != ErrorCode::kInvalidData) { // any other text is none of ours
            ShowFailure(m_context.language.String(TextId::kClipboardValueNotFound));
        }
        return;
    }
    if (HasValue(m_hSelectedKey.Get(), paste->Name()) &&
        QMessageBox::question(this, m_context.language.String(TextId::kChangeTitle),
                              m_context.language.String(TextId::kReplaceValueQuestion)) != QMessageBox::Yes) {
        return;
    }
    if (const Result<void> pasted = Apply(*paste, currentIndex()); !pasted) {
        ShowNotChanged(pasted.error());
        return;
    }
    if (m_bCutPending && m_cutItem.isValid()) {
        m_bCutPending = false;
        Select(m_cutItem); // the key where the value goes from is the one that was cut, whatever the text says
        const ValueEdit cut = {std::nullopt, false, static_cast<std::int32_t>(paste->type), {}, paste->Name(), true};
        DeleteValueMessage remove(&cut);
        DeleteValue(remove);
    }
    ShowSelectionAgain();
}

void CKeyTree::StoreValue(FormDoneMessage& message)
{
    if (message.edit == nullptr || !message.edit->data) {
        message.result = static_cast<int>(ErrorCode::kInvalidData);
        return;
    }
    const ValueEdit& edit = *message.edit;
    const std::string key = m_pModel->FullPath(currentIndex());
    const auto type = static_cast<DWORD>(edit.type);
    ChangeRecord change = message.isNew ? ChangeRecord::NewValue(key, edit.newName, type, *edit.data)
                                        : ChangeRecord::EditValue(key, edit.newName, type, *edit.data);
    change.isLiteralName = edit.isLiteralName;
    change.form = edit.isStored ? DataForm::kStored : DataForm::kOfType;
    if (const Result<void> stored = Apply(change, currentIndex()); !stored) {
        ShowNotChanged(stored.error());
        message.result = 1;
        return;
    }
    ShowSelectionAgain();
}

void CKeyTree::DeleteValue(DeleteValueMessage& message)
{
    if (message.edit == nullptr) {
        ShowSelectionAgain();
        return;
    }
    ChangeRecord change = ChangeRecord::DeleteValue(m_pModel->FullPath(currentIndex()), message.edit->name,
                                                    static_cast<DWORD>(message.edit->type));
    change.isLiteralName = message.edit->isLiteralName;
    const Result<void> deleted = Apply(change, currentIndex());
    if (!deleted) {
        ShowNotChanged(deleted.error());
        message.result = 1;
    }
}

void CKeyTree::DeleteSubkey(DeleteSubkeyMessage& message)
{
    if (message.edit == nullptr) {
        ShowSelectionAgain();
        return;
    }
    const std::string path = JoinPath(m_pModel->FullPath(currentIndex()), message.edit->name);
    const Result<void> deleted = Apply(ChangeRecord::DeleteKey(path), currentIndex());
    message.result = CodeOf(deleted);
    const QModelIndex item = m_pModel->Child(currentIndex(), message.edit->name);
    if (deleted && item.isValid()) {
        m_pModel->Remove(item);
    }
}

void CKeyTree::RenameFromList(RenameMessage& message)
{
    if (message.edit == nullptr) {
        message.result = ERROR_INVALID_PARAMETER;
        return;
    }
    const ValueEdit& edit = *message.edit;
    const bool isValue = edit.type >= 0;
    const std::string key = m_pModel->FullPath(currentIndex());
    const std::string path = isValue ? key : JoinPath(key, edit.name);
    ChangeRecord change = isValue
                              ? ChangeRecord::RenameValue(key, edit.name, edit.newName, static_cast<DWORD>(edit.type))
                              : ChangeRecord::RenameKey(path, edit.newName);
    change.isLiteralName = edit.isLiteralName;
    const Result<void> renamed = Apply(change, currentIndex());
    message.result = CodeOf(renamed);
    if (!renamed) {
        ShowFailure(ToQString(Describe(renamed.error())));
        RefreshOne(path, false);
    } else {
        RefreshSelected();
    }
    ShowSelectionAgain();
}

} // namespace tolvar
