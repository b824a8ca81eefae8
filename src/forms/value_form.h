#pragma once

#include <QWidget>

#include "panes/pane.h"
#include "panes/pane_messages.h"
#include "ui/window_context.h"

class QBoxLayout;
class QLabel;
class QPushButton;

namespace tolvar {

class CRichEditLine;

/// The base of the forms that edit one value: its name, its data, OK and Cancel. A form is made for one edit; at its
/// end it sends FormDoneMessage and waits to be taken down.
///
/// OK on an existing value whose data was not changed ends the form as Cancel does: bytes that no one has touched stay
/// as they are.
class CValueForm : public QWidget, public Pane {
    Q_OBJECT

public:
    /// Where OK and Cancel stand: in the corner of a form that fills its pane, or right below a small one's data.
    enum class ButtonPlace { kCorner, kBelowData };

    CValueForm(const WindowContext& context, ButtonPlace buttons, QWidget* parent);

    /// Shows what is to be edited. Once, right after the form was made.
    void LoadValue(const FormRequest& request);
    void Open(const ShowPageMessage& message) override;

    [[nodiscard]] CRichEditLine& NameField() { return *m_pName; }
    [[nodiscard]] QPushButton& OkButton() { return *m_pOk; }
    [[nodiscard]] QPushButton& CancelButton() { return *m_pCancel; }

    void OnOk();
    void OnCancel();

protected:
    /// Where a derived form puts its data field and what else it has, between the labels and the buttons.
    [[nodiscard]] QBoxLayout& DataLayout() { return *m_pDataLayout; }

    /// A line of explanation above the data.
    void SetNote(const QString& note);

    /// `widgets`: the fields of the data in their Tab order, which begins at the name and ends at OK and Cancel.
    void SetFields(std::vector<QWidget*> widgets);

    /// A button under the pointer takes the focus.
    void FollowPointer();

    /// Shows the data in its text form; an empty one for a new value.
    virtual void LoadData(const FormRequest& request) = 0;

    /// The data in its text form.
    [[nodiscard]] virtual std::string Data() = 0;

    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    const WindowContext& m_context;

private:
    bool m_bNewValue = false;
    bool m_bStored = false;
    DWORD m_nType = 0;
    std::string m_name;       ///< of an existing value
    std::string m_loadedData; ///< what Data answered when the value was loaded
    CRichEditLine* m_pName;   ///< all owned by the form
    QLabel* m_pNote;
    QBoxLayout* m_pDataLayout;
    QPushButton* m_pOk;
    QPushButton* m_pCancel;
    std::vector<QWidget*> m_tabOrder;
};

} // namespace tolvar
