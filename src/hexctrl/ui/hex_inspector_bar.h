#pragma once

#include <array>

#include <QWidget>

#include "hexctrl/ui/hex_control.h"

class QLabel;

namespace tolvar {

/// A line below a hex control that reads the bytes at its caret in every way (see InspectBytes). A window too narrow
/// for all readings wraps them. Each value can be marked and copied.
class HexInspectorBar final : public QWidget {
    Q_OBJECT

public:
    /// `control` must outlive this; of `texts` only `readings` is used.
    HexInspectorBar(HexControl& control, const HexTexts& texts, QWidget* parent);

    [[nodiscard]] QString Value(HexReading reading) const;

    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Row {
        QLabel* name; ///< both owned by this widget
        QLabel* value;
    };

    void Fill();
    void SetColours();
    /// Places the readings in lines of this width, or only measures them; returns the height.
    enum class Arrange { kPlace, kMeasure };
    int ArrangeIn(int width, Arrange arrange) const;

    HexControl& m_control;
    std::array<Row, static_cast<std::size_t>(HexReading::kCount)> m_rows{};
};

} // namespace tolvar
