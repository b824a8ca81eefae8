#include "frame/tolvar_view.h"

#include <QCoreApplication>

#include "forms/binary_form.h"
#include "forms/dword_form.h"
#include "forms/string_form.h"
#include "panes/empty_page.h"
#include "ui/profile_font.h"
#include "valuelist/value_list.h"

namespace tolvar {

namespace {

constexpr int kBackColor = 61495;
constexpr int kHelpName = 61494;
constexpr int kHelpText = 62024;
constexpr int kSearchText = 62025;
constexpr int kEscapeText = 62029;

} // namespace

void CTolvarView::DeleteLater::operator()(QWidget* form) const
{
    form->hide();
    form->deleteLater();
}

CTolvarView::CTolvarView(const WindowContext& context, QWidget* parent)
    : CPaneView(parent), m_context(context), m_pList(new CValueList(context, this))
{
    if (context.m_bThemed) {
        QPalette colors = palette();
        colors.setColor(QPalette::Window, ColorFromNumber(context.theme.Number(kBackColor)));
        setPalette(colors);
        setAutoFillBackground(true);
    }
}

CTolvarView::~CTolvarView()
{
    DropForms();
}

QWidget* CTolvarView::ActiveChild() const
{
    for (const Form* form : {&m_pBinaryForm, &m_pStringForm, &m_pDwordForm, &m_pSearchForm}) {
        if (*form) {
            return form->get();
        }
    }
    return m_pBrowser != nullptr && !m_pBrowser->isHidden() ? m_pBrowser : m_pList;
}

void CTolvarView::FocusChild()
{
    ActiveChild()->setFocus(Qt::OtherFocusReason);
}

int CTolvarView::HelpTopic() const
{
    constexpr int kListTopic = 229;
    constexpr int kSearchTopic = 198;
    return m_pSearchForm ? kSearchTopic : kListTopic;
}

bool CTolvarView::Offers(CommandId command) const
{
    return ActiveChild() == m_pList && m_pList->Offers(command); // no row is acted on that can't be seen
}

void CTolvarView::RunCommand(CommandId command)
{
    CommandMessage message(command);
    QCoreApplication::sendEvent(m_pList, &message);
}

void CTolvarView::ShowPage(const ShowPageMessage& message)
{
    if (message.page != PageId::kBrowser) {
        if (m_pBrowser != nullptr) {
            m_pBrowser->hide();
        }
        DropForms();
    }
    if (message.page != PageId::kValueList) {
        m_pList->hide();
    }
    switch (message.page) {
    case PageId::kStringForm:
        return ShowValueForm<CStringForm>(m_pStringForm, message);
    case PageId::kDwordForm:
        return ShowValueForm<CDwordForm>(m_pDwordForm, message);
    case PageId::kBinaryForm:
        return ShowValueForm<CBinaryForm>(m_pBinaryForm, message);
    case PageId::kSearchForm: {
        const QString name = m_context.language.String(kSearchText);
        const QString text = name + u'\n' + m_context.language.String(kEscapeText);
        ShowForm(m_pSearchForm, new EmptyForm(static_cast<int>(PageId::kSearchForm), name, text, this));
        m_pSearchForm->setFocus(Qt::OtherFocusReason);
        return;
    }
    case PageId::kBrowser:
        return ShowBrowser();
    case PageId::kValueList:
    case PageId::kNoPage:
        break;
    }
    ShowList();
}

void CTolvarView::ShowBrowser()
{
    if (m_pBrowser == nullptr || m_pBrowser->isHidden()) {
        DropForms();
    }
    if (m_pBrowser == nullptr) {
        m_pBrowser = new EmptyPage(static_cast<int>(PageId::kBrowser), m_context.language.String(kHelpName),
                                   m_context.language.String(kHelpText), this);
    }
    PlaceChildren();
    m_pBrowser->show();
}

void CTolvarView::ShowForm(Form& form, QWidget* made)
{
    form.reset(made);
    PlaceChildren();
    form->show();
}

template <class ValueForm>
void CTolvarView::ShowValueForm(Form& form, const ShowPageMessage& message)
{
    auto* const made = new ValueForm(m_context, this);
    made->setProperty("pageId", static_cast<int>(message.page));
    ShowForm(form, made);
    made->LoadValue(message.request != nullptr ? *message.request : FormRequest());
}

void CTolvarView::DropForms()
{
    for (Form* form : {&m_pStringForm, &m_pDwordForm, &m_pBinaryForm, &m_pSearchForm}) {
        form->reset();
    }
}

void CTolvarView::ShowList()
{
    PlaceChildren();
    m_pList->show();
}

void CTolvarView::PlaceChildren()
{
    m_pList->setGeometry(rect());
    if (QWidget* const child = ActiveChild(); child != m_pList) {
        child->setGeometry(rect());
    }
    if (m_pBrowser != nullptr) {
        m_pBrowser->setGeometry(rect());
    }
}

void CTolvarView::resizeEvent(QResizeEvent* event)
{
    CPaneView::resizeEvent(event);
    PlaceChildren();
}

bool CTolvarView::event(QEvent* event)
{
    switch (static_cast<int>(event->type())) {
    case SelectRowMessage::kType:
        DropForms();
        ShowList();
        return QCoreApplication::sendEvent(m_pList, event);
    case ShowKeyMessage::kType:
        return QCoreApplication::sendEvent(m_pList, event);
    case FormDoneMessage::kType:
    case StartSearchMessage::kType:
        // The form has said its last word. What it asks for is for others to do: the message goes on up.
        DropForms();
        ShowList();
        FocusChild();
        event->ignore();
        return false;
    default:
        return HandleMessage<ShowPageMessage>(event, [this](const ShowPageMessage& m) { ShowPage(m); }) ||
               CPaneView::event(event);
    }
}

} // namespace tolvar
