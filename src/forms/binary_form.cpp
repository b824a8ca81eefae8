#include "forms/binary_form.h"

#include <QBoxLayout>
#include <QContextMenuEvent>

#include "hexctrl/hex_messages.h"
#include "hexctrl/ui/hex_editor.h"
#include "panes/command_ids.h"
#include "registry/value_text.h"
#include "ui/image_menu.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr int kMenu = 106;
constexpr int kUnusualType = 61723;
constexpr int kStoredNote = 62050;
constexpr int kFirstCommandText = 62210;
constexpr int kFirstReadingText = 62230;

HexTexts TextsOf(const ResourceLibrary& language)
{
    HexTexts texts;
    texts.controlName = language.String(62200);
    texts.caretAt = language.String(62201);
    texts.selected = language.String(62202);
    texts.emptyData = language.String(62203);
    for (std::size_t i = 0; i < texts.commands.size(); ++i) {
        texts.commands[i] = language.String(kFirstCommandText + static_cast<int>(i));
    }
    for (std::size_t i = 0; i < texts.readings.size(); ++i) {
        texts.readings[i] = language.String(kFirstReadingText + static_cast<int>(i));
    }
    texts.findPattern = language.String(62240);
    texts.findHex = language.String(62241);
    texts.findText = language.String(62242);
    texts.findWideText = language.String(62243);
    texts.matchCase = language.String(62244);
    texts.closeFind = language.String(62245);
    texts.badHex = language.String(62246);
    texts.notFound = language.String(62247);
    texts.wrappedToStart = language.String(62248);
    texts.wrappedToEnd = language.String(62249);
    return texts;
}

bool IsPlainBytes(DWORD type)
{
    return type == REG_NONE || type == REG_BINARY || type == REG_RESOURCE_LIST || type == REG_FULL_RESOURCE_DESCRIPTOR;
}

} // namespace

CBinaryForm::CBinaryForm(const WindowContext& context, QWidget* parent)
    : CValueForm(context, ButtonPlace::kCorner, parent), m_pEditor(new HexEditor(TextsOf(context.language), this))
{
    DataLayout().addWidget(m_pEditor);
    HexControl& control = m_pEditor->Control();
    control.SetRowStep(8);
    control.SetFocusFollowsMouse(false);
    control.viewport()->installEventFilter(this);
    control.installEventFilter(this);
    SetFields({&control});
    FollowPointer();
}

void CBinaryForm::LoadData(const FormRequest& request)
{
    const std::string text = request.isNew ? std::string() : request.text;
    std::vector<BYTE> bytes = ValueFromText(REG_BINARY, text).value_or(std::vector<BYTE>());
    HexDataBlock block = {};
    block.size = static_cast<std::int64_t>(bytes.size());
    block.data = bytes.data();
    HexSelection start = {};
    m_pEditor->Control().Send(HexMessage::kLoad, &block);
    m_pEditor->Control().Send(HexMessage::kSetSelection, &start);
    SetNote(request.isStored && !request.isNew ? m_context.language.String(kStoredNote)
            : IsPlainBytes(request.type)       ? QString()
                                               : m_context.language.String(kUnusualType));
}

std::string CBinaryForm::Data()
{
    return ValueToText(REG_BINARY, m_pEditor->Control().Bytes(), ExpandStrings::kNo);
}

bool CBinaryForm::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ContextMenu) {
        ShowHexMenu(static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    }
    return CValueForm::eventFilter(watched, event);
}

void CBinaryForm::ShowHexMenu(const QPoint& at)
{
    struct Entry {
        CommandId command;
        HexCommand action;
    };
    constexpr Entry kEntries[] = {{CommandId::kCut, HexCommand::kCut},
                                  {CommandId::kCopy, HexCommand::kCopy},
                                  {CommandId::kPaste, HexCommand::kPaste},
                                  {CommandId::kSelectAll, HexCommand::kSelectAll}};
    CImageMenu menu(m_context, kMenu, this);
    m_pEditor->UpdateActions();
    for (const Entry& entry : kEntries) {
        if (!m_pEditor->Action(entry.action)->isEnabled()) {
            menu.Gray(static_cast<int>(entry.command));
        }
    }
    const int chosen = menu.Track(at);
    for (const Entry& entry : kEntries) {
        if (chosen == static_cast<int>(entry.command)) {
            m_pEditor->Action(entry.action)->trigger();
        }
    }
}

} // namespace tolvar
