#include "forms/rich_edit_field.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QTextDocument>

#include "panes/command_ids.h"
#include "ui/image_menu.h"

namespace tolvar {

namespace {

/// Opens the menu of an edit field and does what is chosen. Both kinds of field have the same operations by the same
/// names.
template <class Field>
void TrackEditMenu(const WindowContext& context, Field& field, const QPoint& at, bool hasSelection)
{
    CImageMenu menu(context, MenuId::kEditField, &field);
    const bool isReadOnly = field.isReadOnly();
    const QMimeData* const clipboard = QGuiApplication::clipboard()->mimeData();
    if (!hasSelection || isReadOnly) {
        menu.Gray(CommandId::kCut);
    }
    if (!hasSelection) {
        menu.Gray(CommandId::kCopy);
    }
    if (isReadOnly || clipboard == nullptr || !clipboard->hasText()) {
        menu.Gray(CommandId::kPaste);
    }
    switch (menu.Track(at)) {
    case CommandId::kCut:
        field.cut();
        break;
    case CommandId::kCopy:
        field.copy();
        break;
    case CommandId::kPaste:
        field.paste();
        break;
    case CommandId::kSelectAll:
        field.selectAll();
        break;
    default:
        break;
    }
}

} // namespace

CRichEditField::CRichEditField(const WindowContext& context, QWidget* parent)
    : QPlainTextEdit(parent), m_context(context)
{
    setTabChangesFocus(true);
}

void CRichEditField::SetText(const QString& text)
{
    setPlainText(text);
}

QString CRichEditField::Text() const
{
    // The plain text of a document has blanks for its hard blanks; its raw text has not.
    QString text = document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    return text;
}

void CRichEditField::contextMenuEvent(QContextMenuEvent* event)
{
    TrackEditMenu(m_context, *this, event->globalPos(), textCursor().hasSelection());
}

CRichEditLine::CRichEditLine(const WindowContext& context, QWidget* parent) : QLineEdit(parent), m_context(context) {}

void CRichEditLine::contextMenuEvent(QContextMenuEvent* event)
{
    TrackEditMenu(m_context, *this, event->globalPos(), hasSelectedText());
}

} // namespace tolvar
