#include "frame/address_bar.h"

#include <algorithm>

#include <QAbstractItemView>
#include <QCompleter>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStringListModel>
#include <QToolButton>

#include "panes/command_ids.h"
#include "registry/path_completion.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"

namespace tolvar {

namespace {

constexpr std::size_t kMaxOffers = 50;

/// The button's icon: calm at rest, lively under the pointer.
QIcon GoIcon(const ResourceLibrary& theme)
{
    constexpr int kSizes[] = {16, 24, 32};
    QIcon icon;
    for (const int size : kSizes) {
        icon.addPixmap(theme.Icon(IconId::kGoAtRest).pixmap(size), QIcon::Normal);
        icon.addPixmap(theme.Icon(IconId::kGo).pixmap(size), QIcon::Active);
    }
    return icon;
}

} // namespace

CAddressBar::CAddressBar(const WindowContext& context, QWidget* parent)
    : QToolBar(context.language.String(TextId::kAddressBarName), parent), m_pEdit(new QLineEdit(this)),
      m_btnGo(new QToolButton(this)), m_pOffers(new QStringListModel(this))
{
    setObjectName(QString::number(kId)); // names the bar in the saved state
    setAccessibleName(windowTitle());
    const QFont font = ProfileFont(context, "FormFont");
    m_pEdit->setFont(font);
    m_pEdit->setMaxLength(kMaxTyped);
    m_pEdit->setClearButtonEnabled(true);
    m_pEdit->setPlaceholderText(context.language.String(TextId::kAddressFieldName));
    m_pEdit->setAccessibleName(context.language.String(TextId::kAddressFieldName));
    m_pEdit->addAction(context.theme.Icon(IconId::kKey), QLineEdit::LeadingPosition);
    m_btnGo->setFont(font);
    m_btnGo->setIcon(GoIcon(context.theme));
    m_btnGo->setText(context.language.String(TextId::kGo));
    m_btnGo->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_btnGo->setAutoRaise(true);
    m_btnGo->setFocusPolicy(Qt::StrongFocus);
    m_btnGo->setToolTip(context.language.String(CommandId::kGo).section(u'\n', 0, 0));
    addWidget(m_pEdit);
    addWidget(m_btnGo);

    auto* completer = new QCompleter(m_pOffers, this);
    completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_pEdit->setCompleter(completer);
    connect(m_pEdit, &QLineEdit::textEdited, this, &CAddressBar::Offer);
    connect(m_pEdit, &QLineEdit::returnPressed, this, &CAddressBar::GoWanted);
    connect(m_btnGo, &QToolButton::clicked, this, &CAddressBar::GoWanted);
    m_pEdit->installEventFilter(this);
    m_btnGo->installEventFilter(this);
}

void CAddressBar::ShowPath(const QString& path)
{
    m_path = path;
    PutBackPath();
}

void CAddressBar::PutBackPath()
{
    m_pEdit->setMaxLength(std::max(kMaxTyped, static_cast<int>(m_path.size())));
    m_pEdit->setText(m_path);
    m_pEdit->setCursorPosition(0);
}

QString CAddressBar::Address() const
{
    return m_pEdit->text();
}

void CAddressBar::StartTyping()
{
    m_pEdit->setFocus(Qt::ShortcutFocusReason);
    m_pEdit->selectAll();
}

void CAddressBar::Offer(const QString& typed)
{
    QStringList offers;
    if (!typed.trimmed().isEmpty()) {
        for (const std::string& path : CompleteKeyPath(FromQString(typed), kMaxOffers)) {
            offers.append(ToQString(path));
        }
    }
    m_pOffers->setStringList(offers);
}

bool CAddressBar::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Enter:
        // What the pointer rests on takes the keys, here as everywhere in this bar.
        static_cast<QWidget*>(watched)->setFocus(Qt::MouseFocusReason);
        break;
    case QEvent::KeyPress:
        if (watched == m_pEdit && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            PutBackPath();
            emit Left();
            return true;
        }
        break;
    default:
        break;
    }
    return QToolBar::eventFilter(watched, event);
}

} // namespace tolvar
