#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QPointer>

#include "hexctrl/hex_input.h"
#include "hexctrl/hex_messages.h"
#include "hexctrl/ui/hex_cells.h"
#include "hexctrl/ui/hex_colours.h"
#include "hexctrl/ui/hex_notification.h"
#include "hexctrl/ui/hex_painter.h"
#include "hexctrl/ui/hex_texts.h"

namespace tolvar {

/// The two window classes of the control. The one for devices shows an empty control for now.
enum class HexWindowClass { kMemory, kDevice };

/// A hex editor as a child control: addresses, hexadecimal digits and characters of the bytes that it holds, changed in
/// place and undone without end.
///
/// A host talks to it by numbered messages (see HexMessage) and hears of it by HexNotification events to the widget
/// that it was created in; or by the calls and signals below, which do the same. Any number of controls can hold data
/// at once. It takes no key with Ctrl or Alt, so that the host's shortcuts see them. Made by CreateHexControl.
class HexControl final : public QAbstractScrollArea {
    Q_OBJECT

public:
    /// The parent at creation is the one that the notifications go to.
    HexControl(HexWindowClass windowClass, std::shared_ptr<HexClipboard> clipboard, QWidget* parent);
    ~HexControl() override;

    /// One message. 0 for a number that isn't one of its window class.
    qintptr Send(HexMessage message, quintptr wParam = 0, quintptr lParam = 0)
    {
        return Send(static_cast<std::uint32_t>(message), wParam, lParam);
    }
    qintptr Send(std::uint32_t message, quintptr wParam, quintptr lParam);
    /// The same with a block, of which the address is sent.
    template <typename Block>
    qintptr Send(HexMessage message, Block* block)
    {
        return Send(message, 0, reinterpret_cast<quintptr>(block));
    }

    /// Replaces the data, with the caret at its start. False: no memory, and nothing has changed.
    bool LoadBytes(std::span<const std::uint8_t> bytes);
    [[nodiscard]] std::vector<std::uint8_t> Bytes() const { return m_data.Bytes(); }
    /// Whether anything was changed since the load or the last save (see CHexData::IsModified).
    [[nodiscard]] bool IsModified() const { return m_data.IsModified(); }

    /// The user can look, select and copy, and change nothing. Messages of the host still change the data.
    void SetReadOnly(bool isReadOnly);
    [[nodiscard]] bool IsReadOnly() const { return m_input.isReadOnly; }
    /// Whether typed bytes are put in front of the caret instead of over it: what the Insert key toggles.
    void SetInserting(bool isInserting);
    [[nodiscard]] bool IsInserting() const { return m_input.isInserting; }
    /// Rows hold a multiple of this many bytes where there is room; 1, the default, fills the window.
    void SetRowStep(int bytes);
    /// Whether the pointer brings the focus with it when it moves over the control; it does by default.
    void SetFocusFollowsMouse(bool follows) { m_bFocusFollowsMouse = follows; }
    /// For those who can't see the control: controlName, caretAt, selected and emptyData.
    void SetTexts(const HexTexts& texts);
    /// What a screen reader says of the caret or the selection.
    [[nodiscard]] QString AccessibleValue() const;

    /// Puts the caret on a byte, or the selection on `size` of them, and brings it into view.
    void PutCaret(std::int64_t offset);
    void SelectBytes(std::int64_t offset, std::int64_t size);
    /// Moves the caret between the hexadecimal and the text column.
    void SwitchColumn();
    /// Puts the selected bytes on the system's clipboard as text, "4d 5a 90 ". False where there are none, or more than
    /// kMostCopiedBytes.
    bool CopyHexToClipboard() const;
    static constexpr std::int64_t kMostCopiedBytes = std::int64_t{16} * 1024 * 1024;

    [[nodiscard]] const CHexData& Data() const { return m_data; }
    [[nodiscard]] const HexView& View() const { return m_view; }
    [[nodiscard]] const HexCells& Cells() const { return m_cells; }
    [[nodiscard]] QSize sizeHint() const override;

signals:
    void ContentChanged(); ///< the bytes, or what can be undone
    void ModifiedChanged(bool isModified);
    void SelectionChanged(); ///< caret, selection or column
    void ReadOnlyChanged(bool isReadOnly);
    void InsertingChanged(bool isInserting);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    [[nodiscard]] QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct Messages; ///< the table of messages
    /// What the outside is told of when it changes.
    struct State {
        HexSelection selection;
        HexPane pane;
        std::size_t changes;
        std::size_t loads;
        bool isModified;
        std::int64_t topRow;
    };
    enum class Origin { kUser, kHost };

    [[nodiscard]] State Now() const;
    void Announce(const State& before, Origin origin);
    template <typename Action>
    auto Act(Origin origin, const Action& action);
    void ActOn(const std::function<HexEffect()>& action); ///< what the user does
    void TypeText(const QString& text);
    void Layout();
    void RemakeFont();
    void UpdateScrollBar();
    void UpdateCaretRow();
    void RestartCaret();
    void ShowOutcome(HexOutcome outcome);
    void DragTo(QPoint point);
    void Hover(QPoint point);
    void Post(QObject* receiver, HexNotice notice, quintptr wParam, quintptr lParam);
    qintptr SendNotice(QObject* receiver, HexNotice notice, quintptr wParam, quintptr lParam);
    [[nodiscard]] bool IsOwnKey(const QKeyEvent& event) const;
    [[nodiscard]] qintptr FindNext(QObject* receiver);

    const HexWindowClass m_windowClass;
    CHexData m_data;
    HexView m_view{m_data};
    HexInput m_input{m_data, m_view};
    HexFont m_fontFields;
    HexCells m_cells;
    HexColours m_colours;
    HexCaretLook m_caret;
    HexTexts m_texts;
    std::shared_ptr<HexAnswers> m_pAnswers;
    QPointer<QWidget> m_pHost;
    QBasicTimer m_caretTimer;
    QBasicTimer m_dragTimer; ///< scrolls while the mouse is held at an edge
    QPoint m_dragPoint;
    std::size_t m_nLoads = 0;
    int m_nWheelRest = 0;   ///< of a turn too small for a row
    int m_nScrollShift = 0; ///< rows per step of the scroll bar, as a power of two, for more rows than it can count
    bool m_bFocusFollowsMouse = true;
    bool m_bMousePressed = false;
};

/// Does something to the data or the view, and then tells the outside what has changed.
template <typename Action>
auto HexControl::Act(Origin origin, const Action& action)
{
    const State before = Now();
    const auto result = action();
    Announce(before, origin);
    return result;
}

} // namespace tolvar
