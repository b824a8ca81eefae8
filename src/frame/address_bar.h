#pragma once

#include <QToolBar>

#include "ui/window_context.h"

class QLineEdit;
class QStringListModel;
class QToolButton;

namespace tolvar {

/// A field for the path of a key, and a button that goes there. While the user types it offers the keys that the path
/// may go on with.
class CAddressBar final : public QToolBar {
    Q_OBJECT

public:
    static constexpr int kId = 177;
    static constexpr int kMaxTyped = 256; ///< characters that can be typed; a longer path of a shown key is shown whole

    explicit CAddressBar(const WindowContext& context, QWidget* parent);

    /// Shows the path of the current key. What the user is typing stays until it is left.
    void ShowPath(const QString& path);

    /// What stands in the field.
    [[nodiscard]] QString Address() const;

    /// Puts the caret into the field, with all of it selected.
    void StartTyping();

    [[nodiscard]] QLineEdit& Edit() { return *m_pEdit; }
    [[nodiscard]] QToolButton& GoButton() { return *m_btnGo; }

signals:
    void GoWanted();
    /// The user does not want to go anywhere after all.
    void Left();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Offer(const QString& typed);
    void PutBackPath();

    QLineEdit* m_pEdit; ///< all owned by the bar
    QToolButton* m_btnGo;
    QStringListModel* m_pOffers;
    QString m_path; ///< of the current key
};

} // namespace tolvar
