#include "hexctrl/ui/hex_accessible.h"

#include <QAccessibleWidget>

#include "hexctrl/ui/hex_control.h"

namespace tolvar {

namespace {

class HexAccessible final : public QAccessibleWidget {
public:
    explicit HexAccessible(HexControl* control) : QAccessibleWidget(control, QAccessible::EditableText) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? Control().AccessibleValue() : QAccessibleWidget::text(kind);
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.multiLine = true;
        state.editable = !Control().IsReadOnly();
        state.readOnly = Control().IsReadOnly();
        return state;
    }

private:
    [[nodiscard]] const HexControl& Control() const { return *static_cast<const HexControl*>(object()); }
};

QAccessibleInterface* MakeHexAccessible(const QString& /*className*/, QObject* object)
{
    auto* control = qobject_cast<HexControl*>(object);
    return control == nullptr ? nullptr : new HexAccessible(control); // the accessibility cache owns it
}

} // namespace

void InstallHexAccessibility()
{
    QAccessible::installFactory(&MakeHexAccessible);
}

} // namespace tolvar
