#include <QClipboard>
#include <QGuiApplication>
#include <QMessageBox>
#include <QMimeData>

#include "journal/change_record.h"
#include "journal/make_change.h"
#include "journal/pasted_value.h"
#include "keytree/key_tree.h"
#include "platform/system/error.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr int kTitle = 62045;
constexpr int kNotChanged = 61511;
constexpr int kNameTaken = 61531;
constexpr int kNotFoundText = 61535;
constexpr int kReplaceQuestion = 61536;

} // namespace

int CKeyTree::Apply(const ChangeRecord& change, std::string& failure)
{
    ApplyChangeMessage message(change);
    SendToParent(*this, message);
    failure = message.failure;
    return message.result;
}

void CKeyTree::ShowFailure(const QString& text)
{
    QMessageBox::critical(this, m_context.language.String(kTitle), text);
}

void CKeyTree::ShowNotChanged(const std::string& failure)
{
    ShowFailure(m_context.language.String(kNotChanged) + QStringLiteral("\n\n") + ToQString(failure));
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
    std::string failure;
    if (Apply(ChangeRecord::NewKey(m_pModel->FullPath(parent), name), failure) != 0) {
        ShowNotChanged(failure);
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
    std::string failure;
    const int code = Apply(ChangeRecord::RenameKey(m_pModel->FullPath(item), name), failure);
    if (code != 0) {
        ShowFailure(code == ERROR_ALREADY_EXISTS ? m_context.language.String(kNameTaken) : ToQString(failure));
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
    std::string failure;
    if (Apply(ChangeRecord::DeleteKey(m_pModel->FullPath(item)), failure) == 0) {
        m_pModel->Remove(item); // the view selects a neighbour
    } else {
        ShowFailure(ToQString(failure));
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
            ShowFailure(m_context.language.String(kNotFoundText));
        }
        return;
    }
    if (HasValue(m_hSelectedKey.Get(), paste->Name()) &&
        QMessageBox::question(this, m_context.language.String(kTitle), m_context.language.String(kReplaceQuestion)) !=
            QMessageBox::Yes) {
        return;
    }
    std::string failure;
    if (Apply(*paste, failure) != 0) {
        ShowNotChanged(failure);
        return;
    }
    if (m_bCutPending && m_cutItem.isValid()) {
        m_bCutPending = false;
        Select(m_cutItem); // the key where the value goes from is the one that was cut, whatever the text says
        const ValueEdit cut = {std::nullopt, false, static_cast<std::int32_t>(paste->type), {}, paste->Name()};
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
    change.form = edit.isStored ? DataForm::kStored : DataForm::kOfType;
    std::string failure;
    if (Apply(change, failure) != 0) {
        ShowNotChanged(failure);
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
    std::string failure;
    const ChangeRecord change = ChangeRecord::DeleteValue(m_pModel->FullPath(currentIndex()), message.edit->name,
                                                          static_cast<DWORD>(message.edit->type));
    if (Apply(change, failure) != 0) {
        ShowNotChanged(failure);
        message.result = 1;
    }
}

void CKeyTree::DeleteSubkey(DeleteSubkeyMessage& message)
{
    if (message.edit == nullptr) {
        ShowSelectionAgain();
        return;
    }
    std::string failure;
    message.result =
        Apply(ChangeRecord::DeleteKey(m_pModel->FullPath(currentIndex()) + "\\" + message.edit->name), failure);
    const QModelIndex item = m_pModel->Child(currentIndex(), message.edit->name);
    if (message.result == 0 && item.isValid()) {
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
    const std::string path = isValue ? key : key + "\\" + edit.name;
    std::string failure;
    message.result =
        Apply(isValue ? ChangeRecord::RenameValue(key, edit.name, edit.newName, static_cast<DWORD>(edit.type))
                      : ChangeRecord::RenameKey(path, edit.newName),
              failure);
    if (message.result != 0) {
        ShowFailure(ToQString(failure));
        RefreshOne(path, false);
    } else {
        RefreshSelected();
    }
    ShowSelectionAgain();
}

} // namespace tolvar
