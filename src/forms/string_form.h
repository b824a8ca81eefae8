#pragma once

#include "forms/value_form.h"

namespace tolvar {

class CRichEditField;

/// Edits one value of a text type. A list shows one string to a line.
class CStringForm final : public CValueForm {
    Q_OBJECT

public:
    CStringForm(const WindowContext& context, QWidget* parent);

    [[nodiscard]] CRichEditField& DataField() { return *m_pData; }

protected:
    void LoadData(const FormRequest& request) override;
    [[nodiscard]] std::string Data() override;
    void resizeEvent(QResizeEvent* event) override; ///< gives the focus to the data
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    CRichEditField* m_pData; ///< owned by the form
    bool m_bList = false;
};

} // namespace tolvar
