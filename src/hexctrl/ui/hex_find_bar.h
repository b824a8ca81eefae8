#pragma once

#include <optional>

#include <QWidget>

#include "hexctrl/hex_find.h"
#include "hexctrl/ui/hex_control.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QToolButton;

namespace tolvar {

/// What a pattern is typed as.
enum class HexPatternKind { kHex, kText, kWideText };

/// The bytes to look for, by what is typed: pairs of digits, UTF-8, or UTF-16. Text that is looked for without regard
/// to case matches both cases of each letter whose cases take the same number of bytes. None for what can't be read.
[[nodiscard]] std::optional<HexPattern> MakeHexPattern(const QString& text, HexPatternKind kind, bool matchesCase);

/// A bar that looks for bytes or text in a hex control: from the caret on, and round at the end.
class HexFindBar final : public QWidget {
    Q_OBJECT

public:
    /// `control` must outlive this.
    HexFindBar(HexControl& control, const HexTexts& texts, QWidget* parent);

    /// Shows the bar with its pattern marked.
    void Open();
    /// Hides it, and the control has the focus.
    void Close();

    enum class Direction { kForward, kBackward };
    /// Looks for the next or the last hit, selects it, and says so where there is none or the search went round. Opens
    /// the bar where there is no pattern yet.
    bool Find(Direction direction);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    [[nodiscard]] std::optional<std::uint64_t> Search(const HexPattern& pattern, Direction direction,
                                                      bool& hasWrapped) const;
    void Say(const QString& text);

    HexControl& m_control;
    HexTexts m_texts;
    // All owned by this widget.
    QLineEdit* m_pPattern;
    QComboBox* m_pKind;
    QCheckBox* m_pMatchCase;
    QLabel* m_pMessage;
};

} // namespace tolvar
