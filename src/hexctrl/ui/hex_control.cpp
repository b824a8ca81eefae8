#include "hexctrl/ui/hex_control.h"

#include <algorithm>
#include <limits>

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QMessageBox>
#include <QScrollBar>
#include <QStyleHints>

#include "hexctrl/hex_dump.h"

namespace tolvar {

namespace {

constexpr int kCaretMilliseconds = 400;
// The two sentences are fixed texts of the control, as hosts and their users know them.
constexpr const char* kTooMuchChanged = "Too many data was changed";
constexpr const char* kNoMemory = "You do not have enougth virtual memory to perform this action";

} // namespace

HexControl::HexControl(HexWindowClass windowClass, std::shared_ptr<HexClipboard> clipboard, QWidget* parent)
    : QAbstractScrollArea(parent), m_windowClass(windowClass), m_data(std::move(clipboard)), m_cells(m_fontFields),
      m_colours(HexColours::Of(palette())), m_pAnswers(std::make_shared<HexAnswers>()), m_pHost(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAttribute(Qt::WA_InputMethodEnabled);
    viewport()->setMouseTracking(true);
    viewport()->setCursor(Qt::ArrowCursor);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    Layout();
}

HexControl::~HexControl() = default;

HexControl::State HexControl::Now() const
{
    return {m_data.selection, m_data.pane, m_data.Log().Count(), m_nLoads, m_data.IsModified(), m_view.TopRow()};
}

/// Brings window, signals and notifications in line with what an action has changed.
void HexControl::Announce(const State& before, Origin origin)
{
    const bool isContent = before.changes != m_data.Log().Count() || before.loads != m_nLoads;
    const bool isSelection = before.selection != m_data.selection || before.pane != m_data.pane;
    if (isContent) {
        Layout();
    }
    UpdateScrollBar();
    RestartCaret();
    viewport()->update();
    if (origin == Origin::kUser && before.topRow != m_view.TopRow()) {
        m_pAnswers->topOffset = m_view.TopOffset();
        m_pAnswers->bytesInView = m_view.BytesInView();
        Post(m_pHost, HexNotice::kScrolled, reinterpret_cast<quintptr>(&m_pAnswers->bytesInView),
             reinterpret_cast<quintptr>(&m_pAnswers->topOffset));
    }
    if (isContent) {
        emit ContentChanged();
    }
    if (before.isModified != m_data.IsModified()) {
        emit ModifiedChanged(m_data.IsModified());
    }
    if (isSelection || isContent) {
        emit SelectionChanged();
        if (QAccessible::isActive()) {
            QAccessibleValueChangeEvent changed(this, AccessibleValue());
            QAccessible::updateAccessibility(&changed);
        }
    }
}

void HexControl::ActOn(const std::function<HexEffect()>& action)
{
    const HexEffect effect = Act(Origin::kUser, action);
    if (effect.selected) {
        m_pAnswers->selection = m_data.selection;
        Post(m_pHost, HexNotice::kSelected, 0, reinterpret_cast<quintptr>(&m_pAnswers->selection));
    }
    ShowOutcome(effect.outcome);
}

void HexControl::ShowOutcome(HexOutcome outcome)
{
    switch (outcome) {
    case HexOutcome::kDone:
    case HexOutcome::kOutside:
        return;
    case HexOutcome::kNothing:
        QApplication::beep();
        return;
    case HexOutcome::kTooMuchChanged:
    case HexOutcome::kNoMemory: {
        const char* text = outcome == HexOutcome::kNoMemory ? kNoMemory : kTooMuchChanged;
        auto* box = new QMessageBox(QMessageBox::NoIcon, {}, QString::fromLatin1(text), QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
        return;
    }
    }
}

void HexControl::Post(QObject* receiver, HexNotice notice, quintptr wParam, quintptr lParam)
{
    if (receiver != nullptr) {
        QCoreApplication::postEvent(receiver, new HexNotification(notice, wParam, lParam, m_pAnswers));
    }
}

qintptr HexControl::SendNotice(QObject* receiver, HexNotice notice, quintptr wParam, quintptr lParam)
{
    if (receiver == nullptr) {
        return 0;
    }
    HexNotification notification(notice, wParam, lParam, m_pAnswers);
    QCoreApplication::sendEvent(receiver, &notification);
    return notification.result;
}

// Calls of a host.

bool HexControl::LoadBytes(std::span<const std::uint8_t> bytes)
{
    // The block is the host's to read from as well as to write to, which is why it holds no pointer to const.
    HexDataBlock block{static_cast<std::int64_t>(bytes.size()), 0, 0, const_cast<std::uint8_t*>(bytes.data())};
    if (Send(HexMessage::kLoad, &block) != 0) {
        return false;
    }
    PutCaret(0);
    return true;
}

void HexControl::SetReadOnly(bool isReadOnly)
{
    if (m_input.isReadOnly != isReadOnly) {
        m_input.isReadOnly = isReadOnly;
        setAttribute(Qt::WA_InputMethodEnabled, !isReadOnly);
        emit ReadOnlyChanged(isReadOnly);
    }
}

void HexControl::SetInserting(bool isInserting)
{
    if (m_input.isInserting != isInserting) {
        m_input.isInserting = isInserting;
        RestartCaret();
        emit InsertingChanged(isInserting);
    }
}

void HexControl::SetRowStep(int bytes)
{
    m_view.SetRowStep(std::max(bytes, 1));
    Layout();
    viewport()->update();
}

void HexControl::SetTexts(const HexTexts& texts)
{
    m_texts = texts;
    setAccessibleName(texts.controlName);
}

QString HexControl::AccessibleValue() const
{
    if (m_data.Size() == 0 || m_texts.caretAt.isEmpty() || m_texts.selected.isEmpty()) {
        return m_texts.emptyData;
    }
    const auto address = [this](std::int64_t offset) {
        return QString::fromStdString(
            HexAddress(static_cast<std::uint64_t>(m_data.baseAddress) + static_cast<std::uint64_t>(offset),
                       m_view.AddressDigits()));
    };
    const CHexData::Range range = m_data.SelectedRange();
    if (range.size > 1) {
        return m_texts.selected.arg(address(range.start), address(range.start + range.size - 1)).arg(range.size);
    }
    std::uint8_t byte = 0;
    const bool isByte = m_data.Read(m_data.selection.start, {&byte, 1}) == 1;
    const char32_t character = m_cells.Characters()[byte];
    return m_texts.caretAt.arg(address(m_data.selection.start),
                               isByte ? QString::fromStdString(HexPair(byte)) : QString(),
                               isByte ? QString::fromUcs4(&character, 1) : QString());
}

void HexControl::PutCaret(std::int64_t offset)
{
    Act(Origin::kUser, [&] {
        const auto zone = m_data.pane == HexPane::kText ? HexZone::kBytes : HexZone::kHighDigit;
        m_data.SetSelection({static_cast<std::int64_t>(zone), offset, offset});
        return m_view.Show(m_data.selection.start);
    });
}

void HexControl::SelectBytes(std::int64_t offset, std::int64_t size)
{
    Act(Origin::kUser, [&] {
        m_data.SetSelection(
            {static_cast<std::int64_t>(HexZone::kBytes), offset, offset + std::max<std::int64_t>(size, 1) - 1});
        m_view.Show(m_data.selection.end);
        return m_view.Show(m_data.selection.start);
    });
}

void HexControl::SwitchColumn()
{
    Act(Origin::kUser, [&] {
        m_data.pane = m_data.pane == HexPane::kHex ? HexPane::kText : HexPane::kHex;
        if (m_data.selection.start == m_data.selection.end) {
            const bool isText = m_data.pane == HexPane::kText && m_data.selection.start < m_data.Size();
            m_data.selection.zone = static_cast<std::int64_t>(isText ? HexZone::kBytes : HexZone::kHighDigit);
        }
        return m_view.Show(m_data.selection.start);
    });
}

bool HexControl::CopyHexToClipboard() const
{
    const CHexData::Range range = m_data.SelectedRange();
    if (range.size == 0 || range.size > kMostCopiedBytes) {
        return false;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(range.size));
    m_data.Read(range.start, bytes);
    QGuiApplication::clipboard()->setText(QString::fromStdString(HexPairs(bytes)));
    return true;
}

// The window.

QSize HexControl::sizeHint() const
{
    constexpr int kRows = 16;
    const int columns = m_view.AddressDigits() + 4 * kRows + 5;
    return {columns * m_cells.CharWidth() + verticalScrollBar()->sizeHint().width() + 2 * frameWidth(),
            kRows * m_cells.CharHeight() + 2 * frameWidth()};
}

void HexControl::Layout()
{
    m_view.Layout(m_cells.ColumnsIn(viewport()->width()), m_cells.RowsIn(viewport()->height()));
    UpdateScrollBar();
}

void HexControl::RemakeFont()
{
    m_cells = HexCells(m_fontFields);
    Layout();
    updateGeometry();
    viewport()->update();
}

void HexControl::UpdateScrollBar()
{
    m_nScrollShift = 0;
    while (m_view.LastTopRow() >> m_nScrollShift > std::numeric_limits<int>::max()) {
        ++m_nScrollShift;
    }
    const auto steps = [this](std::int64_t rows) { return static_cast<int>(rows >> m_nScrollShift); };
    QScrollBar* bar = verticalScrollBar();
    const QSignalBlocker blocker(bar); // the view has moved already
    bar->setRange(0, steps(m_view.LastTopRow()));
    bar->setPageStep(std::max(steps(m_view.RowsInView()), 1));
    bar->setValue(steps(m_view.TopRow()));
}

void HexControl::scrollContentsBy(int /*dx*/, int /*dy*/)
{
    Act(Origin::kUser, [&] { return m_view.ScrollTo(std::int64_t{verticalScrollBar()->value()} << m_nScrollShift); });
}

void HexControl::RestartCaret()
{
    m_caret = {hasFocus(), false, m_input.isInserting};
    if (m_caret.hasFocus) {
        if (QGuiApplication::styleHints()->cursorFlashTime() > 0) {
            m_caretTimer.start(kCaretMilliseconds, this);
        }
    } else {
        m_caretTimer.stop();
    }
    UpdateCaretRow();
}

void HexControl::UpdateCaretRow()
{
    const std::int64_t row = m_view.RowOf(m_data.selection.start) - m_view.TopRow();
    if (row >= 0 && row <= m_view.RowsInView()) {
        viewport()->update(0, m_cells.YOf(static_cast<int>(row)), viewport()->width(), m_cells.CharHeight());
    }
}

void HexControl::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    HexPainter(m_data, m_view, m_cells, m_colours, m_caret).Paint(painter, viewport()->rect(), event->rect());
}

void HexControl::resizeEvent(QResizeEvent* /*event*/)
{
    Layout();
}

void HexControl::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !m_colours.isHosts) {
        m_colours = HexColours::Of(palette());
        viewport()->update();
    } else if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        RemakeFont();
    }
}

} // namespace tolvar
