#include "forms/string_form.h"

#include <QBoxLayout>
#include <QKeyEvent>

#include "forms/rich_edit_field.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {} // namespace

CStringForm::CStringForm(const WindowContext& context, QWidget* parent)
    : CValueForm(context, ButtonPlace::kCorner, parent), m_pData(new CRichEditField(context, this))
{
    m_pData->setAccessibleName(context.language.String(TextId::kData));
    m_pData->installEventFilter(this);
    DataLayout().addWidget(m_pData);
    SetFields({m_pData});
}

void CStringForm::LoadData(const FormRequest& request)
{
    m_bList = request.type == REG_MULTI_SZ;
    QString text = request.isNew ? QString() : ToQString(request.text);
    if (m_bList) {
        text.replace(u';', u'\n');
    }
    m_pData->SetText(text);
}

std::string CStringForm::Data()
{
    QString text = m_pData->Text();
    if (m_bList) {
        text.remove(u'\r').replace(u'\n', u';');
    }
    return FromQString(text);
}

void CStringForm::resizeEvent(QResizeEvent* event)
{
    CValueForm::resizeEvent(event);
    m_pData->setFocus(Qt::OtherFocusReason);
}

bool CStringForm::eventFilter(QObject* watched, QEvent* event)
{
    // Return makes a new line in the field, and with Ctrl it ends the form.
    if (event->type() == QEvent::KeyPress) {
        const auto* const key = static_cast<QKeyEvent*>(event);
        const bool isReturn = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        if (isReturn && key->modifiers().testFlag(Qt::ControlModifier)) {
            OnOk();
            return true;
        }
    }
    return CValueForm::eventFilter(watched, event);
}

} // namespace tolvar
