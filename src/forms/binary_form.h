#pragma once

#include "forms/value_form.h"

namespace tolvar {

class HexEditor;

/// Edits one value of any type as bytes, in the hex control.
class CBinaryForm final : public CValueForm {
    Q_OBJECT

public:
    /// The classes of the hex control must be registered.
    CBinaryForm(const WindowContext& context, QWidget* parent);

    [[nodiscard]] HexEditor& Editor() { return *m_pEditor; }

protected:
    void LoadData(const FormRequest& request) override;
    [[nodiscard]] std::string Data() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowHexMenu(const QPoint& at);

    HexEditor* m_pEditor; ///< owned by the form
};

} // namespace tolvar
