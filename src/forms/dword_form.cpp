#include "forms/dword_form.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QRadioButton>

#include "forms/rich_edit_field.h"
#include "registry/value_text.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr int kNameWidth = 260;

} // namespace

CDwordForm::CDwordForm(const WindowContext& context, QWidget* parent)
    : CValueForm(context, ButtonPlace::kBelowData, parent), m_pNumber(new CRichEditLine(context, this)),
      m_pDecimal(new QRadioButton(context.language.String(TextId::kDecimal), this)),
      m_pHexadecimal(new QRadioButton(context.language.String(TextId::kHexadecimal), this))
{
    NameField().setMaximumWidth(kNameWidth);
    m_pNumber->setAccessibleName(context.language.String(TextId::kData));
    m_pNumber->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0")) * 14);
    m_pNumber->setMaximumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0")) * 24);
    if (context.profile.GetInt(kSettingsSection, "Show ToolTips", 1) != 0) {
        m_pDecimal->setToolTip(context.language.String(TextId::kDecimalTip));
        m_pHexadecimal->setToolTip(context.language.String(TextId::kHexadecimalTip));
    }
    auto* row = new QHBoxLayout;
    row->addWidget(m_pNumber);
    row->addWidget(m_pDecimal);
    row->addWidget(m_pHexadecimal);
    row->addStretch();
    DataLayout().addLayout(row);
    m_pDecimal->setChecked(true);
    connect(m_pNumber, &QLineEdit::textEdited, this, &CDwordForm::Filter);
    connect(m_pDecimal, &QRadioButton::clicked, this, [this] { SwitchTo(NumberBase::kDecimal); });
    connect(m_pHexadecimal, &QRadioButton::clicked, this, [this] { SwitchTo(NumberBase::kHexadecimal); });
    SetFields({m_pNumber, m_pDecimal, m_pHexadecimal});
    FollowPointer();
}

void CDwordForm::LoadData(const FormRequest& request)
{
    m_nNumberType = request.type;
    m_format = {NumberBase::kDecimal, request.type == REG_QWORD ? 64U : 32U};
    m_pDecimal->setChecked(true);
    m_pNumber->setText(request.isNew ? QString()
                                     : QString::fromStdString(NumberToText(
                                           NumberFromValueText(request.type, request.text).value_or(0), m_format)));
    m_pNumber->selectAll();
}

std::string CDwordForm::Data()
{
    const std::uint64_t number = NumberFromText(m_pNumber->text().toStdString(), m_format);
    return NumberToValueText(m_nNumberType, number).value_or(std::string());
}

void CDwordForm::SwitchTo(NumberBase base)
{
    if (base == m_format.base) {
        return;
    }
    const std::uint64_t number = NumberFromText(m_pNumber->text().toStdString(), m_format);
    m_format.base = base;
    m_pNumber->setText(QString::fromStdString(NumberToText(number, m_format)));
}

void CDwordForm::Filter()
{
    const FilteredNumber filtered = FilterNumber(m_pNumber->text().toStdString(), m_format);
    const QString text = QString::fromStdString(filtered.text);
    if (text != m_pNumber->text()) {
        const int caret = m_pNumber->cursorPosition() - static_cast<int>(m_pNumber->text().size() - text.size());
        m_pNumber->setText(text);
        m_pNumber->setCursorPosition(std::max(caret, 0));
    }
    if (filtered.isTooLarge) {
        QApplication::beep();
    }
}

} // namespace tolvar
