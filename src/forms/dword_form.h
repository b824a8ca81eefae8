#pragma once

#include "forms/number_text.h"
#include "forms/value_form.h"

class QRadioButton;

namespace tolvar {

/// Edits one number of 32 bits, or of 64 for type 11, in decimal or hexadecimal.
class CDwordForm final : public CValueForm {
    Q_OBJECT

public:
    CDwordForm(const WindowContext& context, QWidget* parent);

    [[nodiscard]] CRichEditLine& NumberField() { return *m_pNumber; }
    [[nodiscard]] QRadioButton& DecimalButton() { return *m_pDecimal; }
    [[nodiscard]] QRadioButton& HexadecimalButton() { return *m_pHexadecimal; }

protected:
    void LoadData(const FormRequest& request) override;
    [[nodiscard]] std::string Data() override;

private:
    void SwitchTo(NumberBase base);
    void Filter();

    CRichEditLine* m_pNumber; ///< all owned by the form
    QRadioButton* m_pDecimal;
    QRadioButton* m_pHexadecimal;
    NumberFormat m_format;
    DWORD m_nNumberType = 0;
};

} // namespace tolvar
