#include "forms/value_form.h"

#include <algorithm>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "forms/rich_edit_field.h"
#include "ui/native_text.h"
#include "ui/profile_font.h"

namespace tolvar {

namespace {

constexpr int kMargin = 8;
constexpr int kMaxName = 16383; // units: the format's own limit for names of values

} // namespace

CValueForm::CValueForm(const WindowContext& context, ButtonPlace buttonPlace, QWidget* parent)
    : QWidget(parent), Pane(*this, TopicId::kValueList), m_context(context), m_pName(new CRichEditLine(context, this)),
      m_pNote(new QLabel(this)), m_pDataLayout(new QVBoxLayout),
      m_pOk(new QPushButton(context.language.String(TextId::kOk), this)),
      m_pCancel(new QPushButton(context.language.String(TextId::kCancel), this))
{
    setFont(ProfileFont(context, "FormFont"));
    setAutoFillBackground(true);
    if (context.m_bThemed) {
        QPalette colors = palette();
        colors.setColor(QPalette::Window, ColorFromNumber(context.theme.Number(ThemeTextId::kPaneColor)));
        setPalette(colors);
    }
    m_pName->setMaxLength(kMaxName);
    m_pName->setAccessibleName(context.language.String(TextId::kNameLabel));
    auto* nameLabel = new QLabel(context.language.String(TextId::kNameLabel), this);
    nameLabel->setBuddy(m_pName);
    m_pNote->setWordWrap(true);
    m_pNote->setTextFormat(Qt::PlainText);
    m_pNote->hide();
    const bool isCorner = buttonPlace == ButtonPlace::kCorner;
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(isCorner ? 1 : 0);
    buttons->addWidget(m_pOk);
    buttons->addWidget(m_pCancel);
    buttons->addStretch(isCorner ? 0 : 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->addWidget(nameLabel);
    layout->addWidget(m_pName);
    layout->addWidget(m_pNote);
    layout->addWidget(new QLabel(context.language.String(TextId::kData), this));
    layout->addLayout(m_pDataLayout, isCorner ? 1 : 0);
    layout->addLayout(buttons);
    layout->addStretch(isCorner ? 0 : 1);
    connect(m_pOk, &QPushButton::clicked, this, &CValueForm::OnOk);
    connect(m_pCancel, &QPushButton::clicked, this, &CValueForm::OnCancel);
    setFocusProxy(m_pName);
}

void CValueForm::SetNote(const QString& note)
{
    m_pNote->setText(note);
    m_pNote->setVisible(!note.isEmpty());
}

void CValueForm::SetFields(std::vector<QWidget*> widgets)
{
    m_tabOrder = std::move(widgets);
    m_tabOrder.insert(m_tabOrder.begin(), m_pName);
    m_tabOrder.insert(m_tabOrder.end(), {m_pOk, m_pCancel});
}

void CValueForm::FollowPointer()
{
    m_pOk->installEventFilter(this);
    m_pCancel->installEventFilter(this);
}

void CValueForm::Open(const ShowPageMessage& message)
{
    LoadValue(message.request != nullptr ? *message.request : FormRequest());
}

void CValueForm::LoadValue(const FormRequest& request)
{
    m_bNewValue = request.isNew;
    m_bStored = request.isStored && !request.isNew;
    m_nType = request.type;
    m_name = request.name;
    m_pName->setText(request.isNew ? QString() : ToQString(request.name));
    m_pName->setReadOnly(!request.isNew); // a form can't rename
    QPalette colors = palette();
    colors.setColor(QPalette::Base, colors.color(request.isNew ? QPalette::Base : QPalette::Window));
    m_pName->setPalette(colors);
    LoadData(request);
    m_loadedData = Data();
    QWidget* const first = request.isNew ? m_pName : m_tabOrder[1];
    first->setFocus(Qt::OtherFocusReason);
}

void CValueForm::OnOk()
{
    const std::string newData = Data();
    if (!m_bNewValue && newData == m_loadedData) {
        OnCancel();
        return;
    }
    // An old name is kept as it came: a line can't show every one of them unchanged.
    const std::string name = m_bNewValue ? FromQString(m_pName->text()) : m_name;
    const ValueEdit edit = {newData, m_bStored, static_cast<std::int32_t>(m_nType), name, name, !m_bNewValue};
    FormDoneMessage done(m_bNewValue, &edit);
    SendToParent(*this, done);
}

void CValueForm::OnCancel()
{
    FormDoneMessage cancelled(m_bNewValue, nullptr);
    SendToParent(*this, cancelled);
}

bool CValueForm::focusNextPrevChild(bool next)
{
    // The focus stays in the form until it is done.
    const QWidget* const now = QApplication::focusWidget();
    const auto focused = std::ranges::find_if(
        m_tabOrder, [now](const QWidget* widget) { return widget == now || widget->isAncestorOf(now); });
    const auto count = std::ssize(m_tabOrder);
    auto place = focused != m_tabOrder.end() ? focused - m_tabOrder.begin() : std::ptrdiff_t{0};
    do {
        place = (place + (next ? 1 : count - 1)) % count;
    } while (!m_tabOrder[static_cast<std::size_t>(place)]->isVisibleTo(this));
    m_tabOrder[static_cast<std::size_t>(place)]->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void CValueForm::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (event->key() == Qt::Key_Escape) {
        OnCancel();
    } else if (isReturn && m_pCancel->hasFocus()) {
        OnCancel();
    } else if (isReturn) {
        OnOk();
    } else {
        QWidget::keyPressEvent(event);
    }
}

bool CValueForm::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Enter) {
        static_cast<QWidget*>(watched)->setFocus(Qt::MouseFocusReason);
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace tolvar
