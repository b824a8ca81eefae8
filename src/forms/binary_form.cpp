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

constexpr std::array kCommandTexts = {
    TextId::kHexUndo,         TextId::kHexRedo,      TextId::kHexCut,   TextId::kHexCopy,     TextId::kHexPaste,
    TextId::kHexDelete,       TextId::kHexSelectAll, TextId::kHexFind,  TextId::kHexFindNext, TextId::kHexFindPrevious,
    TextId::kHexSwitchColumn, TextId::kHexToStart,   TextId::kHexToEnd,
};
static_assert(kCommandTexts.size() == static_cast<std::size_t>(HexCommand::kCount));

constexpr std::array kReadingTexts = {
    TextId::kHex8Bit, TextId::kHex16Bit, TextId::kHex32Bit,    TextId::kHex64Bit,
    TextId::kHexTime, TextId::kHexGuid,  TextId::kHexWideText,
};
static_assert(kReadingTexts.size() == static_cast<std::size_t>(HexReading::kCount));

HexTexts TextsOf(const ResourceLibrary& language)
{
    HexTexts texts;
    texts.controlName = language.String(TextId::kHexName);
    texts.caretAt = language.String(TextId::kHexCaret);
    texts.selected = language.String(TextId::kHexSelection);
    texts.emptyData = language.String(TextId::kHexNoBytes);
    for (std::size_t i = 0; i < texts.commands.size(); ++i) {
        texts.commands[i] = language.String(kCommandTexts[i]);
    }
    for (std::size_t i = 0; i < texts.readings.size(); ++i) {
        texts.readings[i] = language.String(kReadingTexts[i]);
    }
    texts.findPattern = language.String(TextId::kHexPattern);
    texts.findHex = language.String(TextId::kHexFindHex);
    texts.findText = language.String(TextId::kHexFindText);
    texts.findWideText = language.String(TextId::kHexFindWideText);
    texts.matchCase = language.String(TextId::kHexMatchCase);
    texts.closeFind = language.String(TextId::kHexCloseFind);
    texts.badHex = language.String(TextId::kHexBadPattern);
    texts.notFound = language.String(TextId::kHexNotFound);
    texts.wrappedToStart = language.String(TextId::kHexWrappedToStart);
    texts.wrappedToEnd = language.String(TextId::kHexWrappedToEnd);
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
    SetNote(request.isStored && !request.isNew ? m_context.language.String(TextId::kStoredBytesNote)
            : IsPlainBytes(request.type)       ? QString()
                                               : m_context.language.String(TextId::kUnusualType));
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
    CImageMenu menu(m_context, MenuId::kEditField, this);
    m_pEditor->UpdateActions();
    for (const Entry& entry : kEntries) {
        if (!m_pEditor->Action(entry.action)->isEnabled()) {
            menu.Gray(entry.command);
        }
    }
    const CommandId chosen = menu.Track(at);
    for (const Entry& entry : kEntries) {
        if (chosen == entry.command) {
            m_pEditor->Action(entry.action)->trigger();
        }
    }
}

} // namespace tolvar
