#include "frame/status_bar.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>

#include "frame/path_label.h"
#include "platform/system/keyboard_locks.h"
#include "ui/profile_font.h"

namespace tolvar {

namespace {

constexpr std::array kLockTexts = {TextId::kCapsLock, TextId::kNumLock, TextId::kScrollLock};

} // namespace

CStatusBar::CStatusBar(const WindowContext& context, QWidget* parent)
    : QStatusBar(parent), m_pPath(new PathLabel(context.language.String(TextId::kPathLabelName), this))
{
    setFont(ProfileFont(context, kTabFont));
    addWidget(m_pPath, 1);
    static_assert(std::tuple_size_v<decltype(m_locks)> == kLockTexts.size());
    for (std::size_t i = 0; i < m_locks.size(); ++i) {
        m_lockTexts[i] = context.language.String(kLockTexts[i]);
        m_locks[i] = new QLabel(this);
        m_locks[i]->setFixedWidth(kPaneWidth);
        m_locks[i]->setAlignment(Qt::AlignCenter);
        m_locks[i]->setAccessibleName(m_lockTexts[i]);
        addPermanentWidget(m_locks[i]);
    }
    ShowLocks();
    qApp->installEventFilter(this);
}

void CStatusBar::SetPathText(const QString& text)
{
    m_pPath->SetText(text);
}

QString CStatusBar::PathText() const
{
    return m_pPath->Text();
}

void CStatusBar::ShowLocks()
{
    const KeyboardLocks locks = ReadKeyboardLocks();
    const std::array isOn = {locks.isCapsOn, locks.isNumOn, locks.isScrollOn};
    for (std::size_t i = 0; i < m_locks.size(); ++i) {
        m_locks[i]->setText(isOn[i] ? m_lockTexts[i] : QString());
    }
}

bool CStatusBar::eventFilter(QObject* watched, QEvent* event)
{
    // Other programs change the locks too: look again when the window comes to the front.
    const auto isLockKey = [event] {
        const int key = static_cast<QKeyEvent*>(event)->key();
        return key == Qt::Key_CapsLock || key == Qt::Key_NumLock || key == Qt::Key_ScrollLock;
    };
    if (event->type() == QEvent::ApplicationActivate || (event->type() == QEvent::KeyRelease && isLockKey())) {
        ShowLocks();
    }
    return QStatusBar::eventFilter(watched, event);
}

} // namespace tolvar
