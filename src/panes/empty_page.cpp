#include "panes/empty_page.h"

#include <QKeyEvent>

#include "panes/pane_messages.h"

namespace tolvar {

EmptyPage::EmptyPage(TopicId helpTopic, const QString& name, const QString& text, QWidget* parent)
    : QLabel(text, parent), Pane(*this, helpTopic)
{
    setAccessibleName(name);
    setAccessibleDescription(text);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    setForegroundRole(QPalette::PlaceholderText);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(1, 1);
}

bool EmptyPage::event(QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto* const key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Tab && key->modifiers() == Qt::NoModifier) {
            OnTabKey();
            return true;
        }
        if (key->key() == Qt::Key_Escape) {
            OnEscapeKey();
            return true;
        }
    }
    return QLabel::event(event);
}

EmptyTabPage::EmptyTabPage(TopicId helpTopic, const QString& name, const QString& text, TabKey tabKey, QWidget* parent)
    : EmptyPage(helpTopic, name, text, parent), m_tabKey(tabKey)
{}

void EmptyTabPage::OnTabKey()
{
    if (m_tabKey == TabKey::kToFirstTab) {
        FocusTabMessage first(0);
        SendToParent(*this, first);
    } else {
        NextOutputPageMessage next;
        SendToParent(*this, next);
    }
}

void EmptyForm::OnEscapeKey()
{
    FormDoneMessage cancelled(false, nullptr);
    SendToParent(*this, cancelled);
}

} // namespace tolvar
